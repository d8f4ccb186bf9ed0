"""Looks at a page in Chromium: what a person would see of it, on a screen of any size, light or dark.

The browser is driven through its remote debugging pipe: JSON messages that end with a zero byte.
"""

import base64
import fcntl
import json
import os
import shutil
import signal
import tempfile
import time

SECONDS = 60  # for anything that the browser is asked


def program():
    """The path of the browser; None when it is not installed."""
    return shutil.which("chromium")


class Failure(Exception):
    """The browser did not do what it was asked."""


def _pipe():
    """A pipe whose ends are not 3 and 4, which the browser wants for its own."""
    ends = os.pipe()
    moved = tuple(fcntl.fcntl(end, fcntl.F_DUPFD_CLOEXEC, 10) for end in ends)
    for end in ends:
        os.close(end)
    return moved


class Browser:
    """One page of a headless browser. To be used with `with`."""

    def __enter__(self):
        self._profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        from_us, self._to = _pipe()
        self._from, to_us = _pipe()
        options = ["--headless=new", "--remote-debugging-pipe", "--disable-gpu", "--disable-dev-shm-usage",
                   "--hide-scrollbars", "--no-first-run", "--disable-background-networking", "--disable-sync",
                   f"--user-data-dir={self._profile.name}"]
        if os.geteuid() == 0:
            options.append("--no-sandbox")
        self._process = os.posix_spawn(
            program(), ["chromium", *options, "about:blank"], os.environ,
            file_actions=[(os.POSIX_SPAWN_DUP2, from_us, 3), (os.POSIX_SPAWN_DUP2, to_us, 4),
                          (os.POSIX_SPAWN_OPEN, 1, "/dev/null", os.O_WRONLY, 0),
                          (os.POSIX_SPAWN_OPEN, 2, "/dev/null", os.O_WRONLY, 0)],
        )
        os.close(from_us)
        os.close(to_us)
        self.events = []  # (method, parameters), since the last page was loaded
        self._received = b""
        self._number = 0
        self._session = None
        os.set_blocking(self._from, False)
        target = self._ask("Target.createTarget", url="about:blank")["targetId"]
        self._session = self._ask("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self._ask(f"{domain}.enable")
        return self

    def __exit__(self, *_):
        os.kill(self._process, signal.SIGTERM)
        os.close(self._to)
        os.waitpid(self._process, 0)
        os.close(self._from)
        self._profile.cleanup()

    def _message(self, until):
        while b"\0" not in self._received:
            if time.monotonic() > until:
                raise Failure("the browser does not answer")
            try:
                data = os.read(self._from, 1 << 20)
            except BlockingIOError:
                time.sleep(0.01)
                continue
            if not data:
                raise Failure("the browser ended")
            self._received += data
        message, _, self._received = self._received.partition(b"\0")
        return json.loads(message)

    def _ask(self, method, **parameters):
        self._number += 1
        question = {"id": self._number, "method": method, "params": parameters}
        if self._session:
            question["sessionId"] = self._session
        os.write(self._to, json.dumps(question).encode() + b"\0")
        until = time.monotonic() + SECONDS
        while True:
            message = self._message(until)
            if "method" in message:
                self.events.append((message["method"], message["params"]))
            elif message.get("id") == self._number:
                if "error" in message:
                    raise Failure(f"{method}: {message['error']['message']}")
                return message["result"]

    def show(self, path, width, height=800, dark=False):
        """Loads a file of this machine. The width and height are of the screen, in the page's pixels."""
        self._ask("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                  mobile=width < 600)
        scheme = "dark" if dark else "light"
        self._ask("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
        self.events = []
        self._ask("Page.navigate", url=path.resolve().as_uri())
        until = time.monotonic() + SECONDS
        while not any(method == "Page.loadEventFired" for method, _ in self.events):
            message = self._message(until)
            if "method" in message:
                self.events.append((message["method"], message["params"]))

    def value(self, expression):
        """What a JavaScript expression is in the page."""
        answer = self._ask("Runtime.evaluate", expression=expression, returnByValue=True)
        if "exceptionDetails" in answer:
            raise Failure(f"{expression}: {answer['exceptionDetails']['text']}")
        return answer["result"].get("value")

    def png(self):
        """A picture of the screen."""
        return base64.b64decode(self._ask("Page.captureScreenshot", format="png")["data"])

    def requests(self):
        """The addresses that the page has asked for."""
        return [event["request"]["url"] for method, event in self.events if method == "Network.requestWillBeSent"]

    def complaints(self):
        """What a developer would see on the console."""
        return [event for method, event in self.events
                if method in ("Runtime.exceptionThrown", "Runtime.consoleAPICalled", "Log.entryAdded")]
