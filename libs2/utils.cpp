// Small helpers: see vantu-libs2/utils.h.

#include "vantu-libs2/utils.h"

#include "stream.hpp"
#include "tool.hpp"
#include "vantu-ll-api/log.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

namespace
{

// Both are "tcp": flow marking asks for the protocol under this name.
constexpr char tcpstr[] = "tcp";
constexpr char udpstr[] = "tcp";

constexpr size_t longest_unsized = 16U << 20U;

class descriptor
{
public:
    explicit descriptor(int number) : number_(number) {}
    ~descriptor() { (void)close(); }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;

    bool is_open() const { return number_ >= 0; }
    int number() const { return number_; }

    // Closes at once, for a caller that must know whether all was written.
    bool close()
    {
        const int closing = number_;
        number_ = -1;
        return closing < 0 || ::close(closing) == 0;
    }

private:
    int number_;
};

bool write_all(int to, const char *block, size_t length)
{
    while (length > 0) {
        const ssize_t written = write(to, block, length);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        block += written;
        length -= static_cast<size_t>(written);
    }
    return true;
}

bool copy_all(int to, int from)
{
    char block[4096];
    for (;;) {
        const ssize_t length = read(from, block, sizeof(block));
        if (length == 0)
            return true;
        if (length < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        if (!write_all(to, block, static_cast<size_t>(length)))
            return false;
    }
}

// False with errno set; a part of a copy is removed again.
bool copy_to_new_file(const char *to, const char *from)
{
    const vantu::file_stream source(vantu::open_file(from, "re"));
    if (source == nullptr)
        return false;
    descriptor target(open(to, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!target.is_open())
        return false;
    if (copy_all(target.number(), fileno(source.get())) && target.close())
        return true;

    const int reason = errno;
    (void)unlink(to);
    errno = reason;
    return false;
}

bool touch(const char *path)
{
    struct stat info;
    if (stat(path, &info) != 0)
        return false;
    const utimbuf times = {info.st_mtime, time(nullptr)};
    return utime(path, &times) == 0;
}

// Reads what tells no size before. What has no end either is cut, which is logged.
char *read_to_end(FILE *stream, const char *path)
{
    size_t size = 2048;
    size_t length = 0;
    char *text = nullptr;
    do {
        size *= 2;
        auto *bigger = static_cast<char *>(realloc(text, size));
        if (bigger == nullptr) {
            log_error("no memory for the %d bytes of %s", static_cast<int>(size), path);
            free(text);
            return nullptr;
        }
        text = bigger;
        length += fread(text + length, 1, size - 1 - length, stream);
    } while (length == size - 1 && size < longest_unsized);
    if (length == size - 1)
        log_error("%s does not end: the rest is not read", path);
    text[length] = '\0';
    return text;
}

void convert(char *text, int (*to_case)(int))
{
    if (text == nullptr)
        return;
    for (; *text != '\0'; text++) {
        const auto character = static_cast<unsigned char>(*text);
        if (isdigit(character) == 0)
            *text = static_cast<char>(to_case(character));
    }
}

} // namespace

int ubus_cmd_call(const char *object, const char *method, const char *json, char *reply, int maxlen)
{
    log_trace("%s maxlen %d", __func__, maxlen);
    const vantu::command_line<512> command("ubus -t 2 -S call %s %s '%s'", object, method,
                                           vantu::quoted{json != nullptr ? json : "{}"});
    log_trace("calling %s", command.text());
    if (maxlen > 0)
        reply[0] = '\0';

    const auto report = [](const char *text) { log_error("Failed to run %s", text); };
    FILE *pipe = vantu::open_tool(command, {nullptr, 1, report});
    if (pipe == nullptr)
        return 1;
    if (fgets(reply, maxlen, pipe) == nullptr)
        log_error("fgets returned NULL");
    if (pclose(pipe) == -1)
        log_error("%s errno:%d, %s", command.text(), errno, strerror(errno));
    return 0;
}

int heartbeat(const char *path)
{
    // Not blocking, for the case that something else than a file stands there.
    descriptor file(open(path, O_RDONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0444));
    if (file.number() == 0)
        return -1;
    if (!file.is_open() || !touch(path))
        log_error("heartbeat of %s failed: %s", path, strerror(errno));
    return 0;
}

int vantu_cp(const char *to, const char *from)
{
    if (copy_to_new_file(to, from))
        return 0;
    log_error("cp failed with errno %d", errno);
    return -1;
}

char *vantu_read_file_to_char(const char *path)
{
    const vantu::file_stream stream(vantu::open_file(path, "rbe"));
    struct stat info;
    if (stream == nullptr || fstat(fileno(stream.get()), &info) != 0) {
        log_debug("unable to open %s", path);
        return nullptr;
    }
    if (S_ISREG(info.st_mode) && info.st_size == 0) // a file of the kernel's tells no size
        return read_to_end(stream.get(), path);
    const auto size = static_cast<size_t>(info.st_size);
    auto *text = static_cast<char *>(malloc(size + 1));
    if (text == nullptr) {
        log_error("no memory for the %d bytes of %s", static_cast<int>(size), path);
        return nullptr;
    }
    const size_t length = fread(text, 1, size, stream.get());
    if (length != size)
        log_error("file size != read length (%d %d)", static_cast<int>(size), static_cast<int>(length));
    text[length] = '\0';
    return text;
}

void vantu_strtoupper(char *text)
{
    convert(text, toupper);
}

void vantu_strtolower(char *text)
{
    convert(text, tolower);
}

char *vantu_strncpy(char *dst, const char *src, size_t len)
{
    if (len > 0) {
        strncpy(dst, src, len);
        dst[len - 1] = '\0';
    }
    return dst;
}

const char *vantu_ip_proto_to_str(int proto)
{
    switch (proto) {
    case IPPROTO_TCP:
        return tcpstr;
    case IPPROTO_UDP:
        return udpstr;
    default:
        return nullptr;
    }
}
