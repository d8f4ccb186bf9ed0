// Files that cannot keep the program waiting: see private/stream.hpp.

#include "stream.hpp"

#include <cerrno>
#include <climits>
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

bool has_text(int fd)
{
    pollfd waiting = {fd, POLLIN, 0};
    int ready;
    do {
        ready = poll(&waiting, 1, patience_ms);
    } while (ready < 0 && errno == EINTR);
    return ready > 0 && (waiting.revents & POLLIN) != 0;
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
    const bool is_file = stream != nullptr && fstat(fileno(stream), &info) == 0 && S_ISREG(info.st_mode);
    return is_file ? LONG_MAX : usual_lines;
}

bool finish(file_stream stream)
{
    // What is still in the buffer; what failed before has left its mark, and its reason if nothing came between.
    const bool flushed = fflush(stream.get()) == 0;
    const bool failed = ferror(stream.get()) != 0;
    return fclose(stream.release()) == 0 && flushed && !failed;
}

} // namespace vantu
