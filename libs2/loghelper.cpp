// Log sinks: see vantu-libs2/loghelper.h.

#include "vantu-libs2/loghelper.h"

#include "printable.hpp"
#include "vantu-libs2/temporary-storage.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <syslog.h>
#include <unistd.h>

namespace
{

constexpr size_t line_size = 256;
constexpr char dump_directory[] = "/tmp/log";

// The event's message, cut to the buffer.
void format_message(log_Event *ev, char *out, size_t size)
{
    vantu::bounded_text text(out, static_cast<int>(size));
    const auto add = [](void *to, std::string_view part) { static_cast<vantu::bounded_text *>(to)->add(part); };
    vantu::format_printable({&text, add}, ev->fmt, ev->ap);
}

// Its line in a file: the prefix and the message.
void format_line(log_Event *ev, char (&out)[line_size])
{
    char when[64] = "";
    if (ev->time != nullptr)
        when[strftime(when, sizeof(when), "%Y-%m-%d %H:%M:%S", ev->time)] = '\0';
    const int prefix =
        snprintf(out, sizeof(out), "%s %-5s %s:%d: ", when, log_level_string(ev->level), ev->file, ev->line);
    if (prefix >= 0 && static_cast<size_t>(prefix) < sizeof(out))
        format_message(ev, out + prefix, sizeof(out) - static_cast<size_t>(prefix));
}

const char *program_name(const log_Event *ev)
{
    const auto *path = static_cast<const char *>(ev->udata);
    if (path == nullptr)
        return "";
    const char *slash = strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

int priority_of(int level)
{
    switch (level) {
    case LOG_C_TRACE:
    case LOG_C_DEBUG:
        return LOG_DEBUG;
    case LOG_C_INFO:
        return LOG_NOTICE;
    case LOG_C_WARN:
        return LOG_WARNING;
    case LOG_C_FATAL:
        return LOG_CRIT;
    default:
        return LOG_ERR;
    }
}

// Opens the folder of a path, which has to be one itself, and not a link to one.
int open_folder(const char *path)
{
    const char *slash = strrchr(path, '/');
    char folder[PATH_MAX] = ".";
    // The first slash of a path belongs to the name of its folder.
    const size_t length = slash == nullptr ? 1 : static_cast<size_t>(std::max<ptrdiff_t>(slash - path, 1));
    if (length >= sizeof(folder)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    if (slash != nullptr)
        vantu::copy_text(folder, {path, length});
    const int opened = open(folder, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    struct stat info;
    if (opened < 0 && errno == ENOTDIR)
        errno = lstat(folder, &info) == 0 && S_ISLNK(info.st_mode) ? ELOOP : ENOTDIR;
    return opened;
}

int give_up(int fd, int reason)
{
    (void)close(fd);
    errno = reason;
    return -1;
}

// Opens a log for appending. A link that someone planted in a directory that all may write to is not followed, be it
// the file or its folder, and a FIFO is none: it would block, or end the program when its reader goes.
int open_log(const char *path, int how)
{
    const int folder = open_folder(path);
    if (folder < 0)
        return -1;
    const char *slash = strrchr(path, '/');
    const int fd = openat(folder, slash == nullptr ? path : slash + 1,
                          O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | how, 0600);
    const int reason = errno;
    (void)close(folder);
    errno = reason;
    struct stat info;
    if (fd >= 0 && fstat(fd, &info) == 0 && S_ISFIFO(info.st_mode))
        return give_up(fd, ENXIO);
    return fd;
}

// Writes a text and a line end as a whole or not at all: what was written of a line that did not fit (a full disk) is
// taken back, so that the next line does not run into it.
bool write_line(int fd, const char *text, size_t length)
{
    struct stat before;
    const bool size_is_known = fstat(fd, &before) == 0;
    iovec parts[] = {{const_cast<char *>(text), length}, {const_cast<char *>("\n"), 1}};
    ssize_t written;
    do {
        written = writev(fd, parts, 2);
    } while (written < 0 && errno == EINTR);
    if (written == static_cast<ssize_t>(length) + 1)
        return true;
    if (written > 0) {
        struct stat now;
        if (size_is_known && fstat(fd, &now) == 0 && now.st_size == before.st_size + written)
            (void)!ftruncate(fd, before.st_size); // nobody else has written meanwhile
        errno = ENOSPC;
    }
    return false;
}

// Whether the open file is still the one at its path.
bool is_current(int fd, const char *path)
{
    struct stat open_file;
    struct stat at_path;
    return fstat(fd, &open_file) == 0 && lstat(path, &at_path) == 0 && open_file.st_dev == at_path.st_dev &&
           open_file.st_ino == at_path.st_ino;
}

void close_log(int *fd)
{
    (void)close(*fd);
    *fd = -1;
}

// The name of a rotated file, PATH.n. One that is longer than any path does not fit and must not be used: cut, it
// would be another file's.
class rotated_name
{
public:
    rotated_name(const char *path, int n)
    {
        const int length = snprintf(text_, sizeof(text_), "%s.%d", path, n);
        fits_ = length > 0 && static_cast<size_t>(length) < sizeof(text_);
    }
    bool fits() const { return fits_; }
    const char *text() const { return text_; }

private:
    char text_[PATH_MAX + 16];
    bool fits_;
};

void move(const rotated_name &from, const rotated_name &to)
{
    if (from.fits() && to.fits())
        (void)rename(from.text(), to.text());
}

// The rotating file's name and descriptor.
struct {
    char name[256];
    int fd = -1;
} file_log;

// The dumper's ring of lines.
struct {
    char lines[MAX_LINES_DUMP][line_size];
    int next;
} recent;

// Writes all lines but the one that is next to be overwritten, oldest first.
void write_dump(int fd)
{
    for (int i = 1; i < MAX_LINES_DUMP; i++) {
        const char *line = recent.lines[(recent.next + i) % MAX_LINES_DUMP];
        if (!write_line(fd, line, strlen(line) + 1))
            (void)printf("failed to write to file (errno %d)\n", errno);
    }
}

void remember(log_Event *ev)
{
    format_line(ev, recent.lines[recent.next]);
    recent.next = (recent.next + 1) % MAX_LINES_DUMP;
}

} // namespace

void syslog_helper_callback(log_Event *ev)
{
    static char name[32];
    static bool opened;
    if (!opened) {
        opened = true;
        vantu::copy_text(name, program_name(ev));
        openlog(name, 0, LOG_DAEMON);
    }
    char text[128];
    format_message(ev, text, sizeof(text));
    syslog(priority_of(ev->level), "%s", text);
}

void filelogger_helper_callback(log_Event *ev)
{
    if (file_log.name[0] == '\0') {
        const char *directory = vantu_get_or_create_tmp_path();
        if (directory[0] == '\0')
            return;
        (void)snprintf(file_log.name, sizeof(file_log.name), "%s/%s.txt", directory, program_name(ev));
    }
    char line[line_size];
    format_line(ev, line);
    filelogger_write_line(&file_log.fd, file_log.name, MAX_ROTATIONS, MAX_LOGFILE_SIZE, line);
}

int remove_rotated_file(const char *path, int n)
{
    const rotated_name name(path, n);
    return name.fits() && unlink(name.text()) == 0 ? 1 : 0;
}

int _rotate_log(const char *path, int rotations)
{
    for (int n = rotations; n >= 1; n--)
        move(rotated_name(path, n), rotated_name(path, n + 1));
    const rotated_name first(path, 1);
    if (first.fits())
        (void)rename(path, first.text());
    return 0;
}

void filelogger_write_line(int *fd, const char *path, int rotations, size_t max_size, const char *line)
{
    if (*fd >= 0 && !is_current(*fd, path))
        close_log(fd);
    if (*fd < 0)
        *fd = open_log(path, O_APPEND);
    if (*fd < 0) {
        perror("log_to_file/open");
        return;
    }
    const size_t length = strlen(line);
    if (!write_line(*fd, line, length))
        perror("log_to_file/write");

    struct stat info;
    if (fstat(*fd, &info) != 0) {
        perror("log_to_file/stat");
        return;
    }
    if (max_size > static_cast<size_t>(info.st_size) + length)
        return;

    close_log(fd);
    (void)_rotate_log(path, rotations);
    *fd = open_log(path, O_APPEND);
    if (*fd < 0)
        perror("rotate_log/open");
    for (int n = rotations + 1; remove_rotated_file(path, n) != 0; n++) {
    }
}

void error_dumper_helper_callback(log_Event *ev)
{
    if (ev->level < LOG_C_ERROR) {
        remember(ev);
        return;
    }
    char name[64];
    (void)snprintf(name, sizeof(name), "%s/%s.txt", dump_directory, "dumpfile");
    const int fd = open_log(name, O_TRUNC | O_APPEND);
    if (fd < 0) {
        perror("log_to_file/open");
        return;
    }
    remember(ev);
    write_dump(fd);
    (void)close(fd);
}
