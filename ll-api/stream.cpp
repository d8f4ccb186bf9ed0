// Files that cannot keep the program waiting: see private/stream.hpp.

#include "stream.hpp"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vantu
{

namespace
{

constexpr int patience_ms = 1000;

bool is_fifo(const char *path)
{
    struct stat info;
    return stat(path, &info) == 0 && S_ISFIFO(info.st_mode);
}

FILE *give_up(int fd, int reason)
{
    (void)close(fd);
    errno = reason;
    return nullptr;
}

int64_t now_ms()
{
    timespec now = {};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// Waits for text, through signals too.
bool has_text(int fd)
{
    const int64_t end = now_ms() + patience_ms;
    for (int64_t left = patience_ms; left >= 0; left = end - now_ms()) {
        pollfd waiting = {fd, POLLIN, 0};
        const int ready = poll(&waiting, 1, static_cast<int>(left));
        if (ready >= 0 || errno != EINTR)
            return ready > 0 && (waiting.revents & POLLIN) != 0;
    }
    return false;
}

FILE *open_fifo(const char *path, const char *mode)
{
    const bool reading = mode[0] == 'r';
    // For writing this fails when nobody reads; for reading it succeeds, and whether someone writes shows later.
    const int fd = open(path, (reading ? O_RDONLY : O_WRONLY) | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return nullptr;
    if (reading && !has_text(fd))
        return give_up(fd, ENXIO);
    const bool waits = fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK) == 0;
    FILE *stream = waits ? fdopen(fd, mode) : nullptr;
    return stream != nullptr ? stream : give_up(fd, errno);
}

} // namespace

FILE *open_file(const char *path, const char *mode)
{
    return is_fifo(path) ? open_fifo(path, mode) : fopen(path, mode);
}

long most_lines(FILE *stream)
{
    struct stat info;
    const bool is_device = stream != nullptr && fstat(fileno(stream), &info) == 0 && S_ISCHR(info.st_mode);
    return is_device ? usual_lines : LONG_MAX;
}

bool finish(file_stream stream)
{
    // What is still in the buffer; what failed before has left its mark, and its reason if nothing came between.
    const bool flushed = fflush(stream.get()) == 0;
    const bool failed = ferror(stream.get()) != 0;
    return fclose(stream.release()) == 0 && flushed && !failed;
}

} // namespace vantu
