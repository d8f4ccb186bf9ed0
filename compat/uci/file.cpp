// Files of the store: locked, read whole, written whole.

#include "store.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace store
{

text &text::add(std::string_view more)
{
    char *room = reserve(more.size());
    if (room == nullptr)
        return *this;
    if (!more.empty())
        memcpy(room, more.data(), more.size());
    grow(more.size());
    return *this;
}

char *text::reserve(size_t more)
{
    if (failed_)
        return nullptr;
    const size_t needed = length_ + more + 1;
    if (needed > size_) {
        const size_t doubled = size_ * 2 > needed ? size_ * 2 : needed;
        auto *bigger = static_cast<char *>(realloc(data_, doubled));
        if (bigger == nullptr) {
            failed_ = true;
            return nullptr;
        }
        data_ = bigger;
        size_ = doubled;
    }
    return data_ + length_;
}

void text::cut(size_t length)
{
    failed_ = false;
    length_ = length;
    if (data_ != nullptr)
        data_[length] = '\0';
}

namespace
{

bool same_file(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Waits ten seconds at most: who may read a file may also lock it, and what holds a lock for longer hangs.
bool lock(int descriptor, int operation)
{
    for (int tries = 1000; flock(descriptor, operation | LOCK_NB) != 0; tries--) {
        if ((errno != EWOULDBLOCK && errno != EINTR) || tries == 0)
            return false;
        (void)usleep(10000);
    }
    return true;
}

} // namespace

bool file::open_locked(const char *path, int flags, int operation, mode_t mode)
{
    for (;;) {
        // Without O_NONBLOCK a named pipe in the directory would stop us for good.
        descriptor_ = open(path, flags | O_CLOEXEC | O_NONBLOCK, mode);
        if (descriptor_ < 0)
            return false;
        struct stat ours = {};
        if (fstat(descriptor_, &ours) != 0)
            return false;
        if (!S_ISREG(ours.st_mode)) {
            errno = EISDIR;
            return false;
        }
        if (!lock(descriptor_, operation))
            return false;
        // A commit replaces the file: who waited for its lock holds the lock of a file that is gone.
        struct stat named = {};
        if (stat(path, &named) == 0 && same_file(ours, named))
            return true;
        (void)close();
    }
}

bool file::create_temporary(char *pattern)
{
    descriptor_ = mkostemp(pattern, O_CLOEXEC);
    return descriptor_ >= 0;
}

bool file::close()
{
    const int descriptor = descriptor_;
    descriptor_ = -1;
    return descriptor < 0 || ::close(descriptor) == 0;
}

mode_t file::mode() const
{
    struct stat status = {};
    return fstat(descriptor_, &status) == 0 ? status.st_mode & 07777 : 0600;
}

int file::read(text &out) const
{
    struct stat status = {};
    size_t step = 4096;
    if (fstat(descriptor_, &status) == 0 && status.st_size > 0)
        step = static_cast<size_t>(status.st_size) + 1; // the one more sees the end at once
    for (;;) {
        char *room = out.reserve(step);
        if (room == nullptr)
            return UCI_ERR_MEM;
        const ssize_t got = pread(descriptor_, room, step, static_cast<off_t>(out.length()));
        if (got > 0)
            out.grow(static_cast<size_t>(got));
        else if (got == 0)
            break;
        else if (errno != EINTR)
            return UCI_ERR_IO;
    }
    out.grow(0);
    return UCI_OK;
}

bool file::append(std::string_view more, size_t at) const
{
    size_t end = at;
    while (!more.empty()) {
        const ssize_t put = pwrite(descriptor_, more.data(), more.size(), static_cast<off_t>(end));
        if (put > 0) {
            more.remove_prefix(static_cast<size_t>(put));
            end += static_cast<size_t>(put);
        } else if (put == 0 || errno != EINTR) {
            (void)truncate(at);
            return false;
        }
    }
    return true;
}

bool file::truncate(size_t length) const
{
    return ftruncate(descriptor_, static_cast<off_t>(length)) == 0;
}

bool file::sync() const
{
    return fsync(descriptor_) == 0;
}

bool file::set_mode(mode_t mode) const
{
    return fchmod(descriptor_, mode) == 0;
}

void join_path(text &out, std::string_view directory, std::string_view name)
{
    out.add(directory).add("/").add(name);
}

bool sync_directory_of(const char *path)
{
    text directory;
    directory.add({path, static_cast<size_t>(strrchr(path, '/') - path) + 1});
    if (!directory.ok())
        return false;
    const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    const bool synced = fsync(descriptor) == 0;
    (void)::close(descriptor);
    return synced;
}

} // namespace store
