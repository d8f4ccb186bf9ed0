#!/usr/bin/env python3
"""A page in a browser: it is complete and quiet, fits a phone, and can be read in the light and in the dark."""

import unittest

import support
from reporting import browser
from support import HOME, HOSTILE, STATION

LONG = "anamewithoutanend" * 10
CROWD = {
    "radio-wl0.csv": support.radio(),
    f"radio-{LONG}.csv": support.radio(),
    f"station-{STATION}.csv": support.station(400),
    f"station-{HOSTILE.replace('/', '-')}.csv": support.station(),
    "wan.csv": support.wan(),
    f"{LONG}.csv": "no header",
    "issues.txt": f'radio wl0\n{{"Issues": [{{"Issue": "{LONG}", "Score": 9.875}}, {{}}]}}\n{support.ISSUES}',
    "dhcp_lan.leases": f"1 {STATION} 192.0.2.7 {LONG * 2} *\n",
}

# The contrast of each text with what is behind it, as accessibility guidelines define it; returns those below 4.5.
FAINT = """(() => {
    const linear = c => (c /= 255) <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4;
    const light = ([r, g, b]) => 0.2126 * linear(r) + 0.7152 * linear(g) + 0.0722 * linear(b);
    const colour = text => text.match(/[\\d.]+/g).map(Number);
    const behind = e => { for (; e; e = e.parentElement) {
        const c = colour(getComputedStyle(e).backgroundColor); if (c.length < 4 || c[3] > 0) return c; }
        return [255, 255, 255]; };
    const ratio = (a, b) => (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
    return [...document.querySelectorAll('h1, h2, h3, h4, p, li, th, td, figcaption, .badge, svg text')].filter(e => {
        const style = getComputedStyle(e);
        return ratio(light(colour(e.closest('svg') ? style.fill : style.color)), light(behind(e))) < 4.5;
    }).map(e => e.tagName + ' ' + e.textContent.slice(0, 40)); })()"""

# What reaches out of the screen, to the right or to the left.
OUTSIDE = """[...document.querySelectorAll('body *')].filter(e => {
    const box = e.getBoundingClientRect(); return box.width > 0 && (box.right > innerWidth + 0.5 || box.left < -0.5);
}).map(e => e.tagName + ' ' + e.textContent.slice(0, 40))"""


class Shown(support.Folder):
    @classmethod
    def setUpClass(cls):
        if browser.program() is None:
            support.missing("chromium is not installed")
        cls.browser = browser.Browser()
        cls.enterClassContext(cls.browser)

    def show(self, files, width, dark=False):
        self.html_of(files)
        self.browser.show(self.page, width, dark=dark)

    def test_each_radio_station_and_line_has_its_charts(self):
        self.show(HOME, 1000)
        count = "[...document.querySelectorAll('%s')].map(e => e.querySelectorAll('svg').length)"
        for selector, charts in ((".radio", [3]), (".station", [3]), (".wan", [1])):
            self.assertEqual(self.browser.value(count % selector), charts, selector)

    def test_charts_are_drawn_in_the_colours_of_their_legend(self):
        self.show(HOME, 1000)
        self.assertEqual(self.browser.value("""
            [...document.querySelectorAll('figure')].filter(figure => {
                const drawn = [...figure.querySelectorAll('svg polygon, svg path')]
                    .flatMap(e => [getComputedStyle(e).fill, getComputedStyle(e).stroke]);
                const swatches = [...figure.querySelectorAll('i')].map(i => getComputedStyle(i).backgroundColor);
                return swatches.some(colour => !drawn.includes(colour));
            }).map(figure => figure.textContent)"""), [])

    def test_nothing_is_asked_of_the_network_and_nothing_complains(self):
        for files in (HOME, CROWD):
            self.show(files, 1000)
            self.assertEqual(self.browser.requests(), [self.page.resolve().as_uri()])
            self.assertEqual(self.browser.complaints(), [])

    def test_hostile_text_makes_no_element(self):
        self.show(CROWD, 1000)
        unwanted = "document.querySelectorAll('script, img, iframe, object, a').length"
        self.assertEqual(self.browser.value(unwanted), 0)
        self.assertIn("<script>alert(2)<-script>", self.browser.value("document.body.textContent"))

    def test_a_page_fits_on_a_phone(self):
        for width in (360, 320):
            for files in (HOME, CROWD):
                self.show(files, width)
                self.assertEqual(self.browser.value("innerWidth"), width)
                self.assertLessEqual(self.browser.value("document.documentElement.scrollWidth"), width)
                self.assertEqual(self.browser.value(OUTSIDE), [])

    def test_charts_on_a_phone_have_text_that_can_be_read(self):
        self.show(HOME, 360)
        heights = self.browser.value(
            "[...document.querySelectorAll('svg text')].map(e => e.getBoundingClientRect().height)")
        self.assertGreater(len(heights), 7 * 4)
        self.assertGreater(min(heights), 10)

    def test_texts_stand_out_in_the_light_and_in_the_dark(self):
        for dark in (False, True):
            for files in (HOME, CROWD):
                self.show(files, 360, dark)
                self.assertEqual(self.browser.value(FAINT), [], f"dark: {dark}")

    def test_the_dark_page_is_dark(self):
        backgrounds = []
        for dark in (False, True):
            self.show(HOME, 360, dark)
            backgrounds.append(self.browser.value(
                "getComputedStyle(document.body).backgroundColor.match(/\\d+/g).map(Number)"))
        self.assertGreater(min(backgrounds[0]), 200)
        self.assertLess(max(backgrounds[1]), 50)


if __name__ == "__main__":
    support.main()
