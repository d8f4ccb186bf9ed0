// The log sinks. They keep their names and descriptors for the whole process, so every case that calls one runs in a
// child process, with a /tmp and a /dev of its own: their files and the socket of the system log stand at fixed places.

#include "vantu-libs2/loghelper.h"

#include "vantu-ll-api/logging.h"

#include "support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <random>
#include <sched.h>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;

namespace
{

static_assert(MAX_LOGFILE_SIZE == 65536);
static_assert(MAX_ROTATIONS == 3);
static_assert(MAX_LINES_DUMP == 256);

// What the C library's calls do instead of their work.
struct {
    int fstat = 0;                                           // the error that every fstat ends with
    int rename = 0;                                          // the error that every rename ends with
    std::function<ssize_t(int, const void *, size_t)> write; // what write and writev do
} faults;

// The function may write itself.
ssize_t write_instead(int fd, const void *text, size_t length)
{
    const auto instead = std::move(faults.write);
    faults.write = nullptr;
    const ssize_t written = instead(fd, text, length);
    faults.write = instead;
    return written;
}

} // namespace

// These four stand before the C library's.
extern "C" int fstat(int fd, struct stat *info) noexcept
{
    static const auto next = real<int(int, struct stat *)>("fstat");
    if (faults.fstat == 0)
        return next(fd, info);
    errno = faults.fstat;
    return -1;
}

extern "C" int rename(const char *from, const char *to) noexcept
{
    static const auto next = real<int(const char *, const char *)>("rename");
    if (faults.rename == 0)
        return next(from, to);
    errno = faults.rename;
    return -1;
}

extern "C" ssize_t write(int fd, const void *text, size_t length)
{
    static const auto next = real<ssize_t(int, const void *, size_t)>("write");
    return faults.write ? write_instead(fd, text, length) : next(fd, text, length);
}

extern "C" ssize_t writev(int fd, const iovec *parts, int count)
{
    static const auto next = real<ssize_t(int, const iovec *, int)>("writev");
    if (!faults.write)
        return next(fd, parts, count);
    std::string text;
    for (int i = 0; i < count; i++)
        text.append(static_cast<const char *>(parts[i].iov_base), parts[i].iov_len);
    return write_instead(fd, text.data(), text.size());
}

namespace
{

// Standard output or standard error goes to memory while this lives.
class capture
{
public:
    explicit capture(int which)
        : which_(which), file_(memfd_create("capture", MFD_CLOEXEC)), saved_(fcntl(which, F_DUPFD_CLOEXEC, 0))
    {
        (void)fflush(stdout);
        if (file_ < 0 || saved_ < 0 || dup2(file_, which_) < 0)
            abort();
    }
    ~capture()
    {
        (void)fflush(stdout);
        (void)dup2(saved_, which_);
        (void)close(saved_);
        (void)close(file_);
    }
    capture(const capture &) = delete;
    capture &operator=(const capture &) = delete;

    size_t size() const
    {
        (void)fflush(stdout);
        return static_cast<size_t>(lseek(file_, 0, SEEK_END));
    }
    // What was written since so many bytes.
    std::string text(size_t from = 0) const
    {
        std::string all(size() - from, '\0');
        if (pread(file_, all.data(), all.size(), static_cast<off_t>(from)) != static_cast<ssize_t>(all.size()))
            abort();
        return all;
    }

private:
    int which_;
    int file_;
    int saved_;
};

template <typename F>
std::string standard_error_of(const F &run)
{
    const capture standard_error(STDERR_FILENO);
    run();
    return standard_error.text();
}

template <typename F>
std::string standard_output_of(const F &run)
{
    const capture standard_output(STDOUT_FILENO);
    run();
    return standard_output.text();
}

// "WHAT: reason" as perror writes it.
std::string failed(const std::string &what, int error)
{
    return what + ": " + strerror(error) + "\n";
}

std::optional<std::string> text_of(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    if (!fs::is_regular_file(fs::symlink_status(path)) || !file)
        return std::nullopt;
    std::string text(static_cast<size_t>(fs::file_size(path)), '\0');
    if (!file.read(text.data(), static_cast<std::streamsize>(text.size())))
        return std::nullopt;
    return text;
}

std::string numbered(const std::string &path, int n)
{
    return n == 0 ? path : path + "." + std::to_string(n);
}

mode_t permissions(const std::string &path)
{
    struct stat info = {};
    return lstat(path.c_str(), &info) == 0 ? info.st_mode & 07777U : 0;
}

bool write_map(const char *path, const std::string &map)
{
    return !!(std::ofstream(path) << map << std::flush);
}

// Root makes mounts of its own directly. Anyone else, and root in many containers, needs to be root of something first.
bool enter_mount_namespace()
{
    if (unshare(CLONE_NEWNS) != 0) {
        const std::string user = std::to_string(getuid());
        const std::string group = std::to_string(getgid());
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 || !write_map("/proc/self/uid_map", "0 " + user + " 1\n") ||
            !write_map("/proc/self/setgroups", "deny") || !write_map("/proc/self/gid_map", "0 " + group + " 1\n"))
            return false;
    }
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("none", "/tmp", "tmpfs", 0, "mode=1777") == 0 && mount("none", "/dev", "tmpfs", 0, "mode=755") == 0;
}

// Runs a case in a child process, whose /tmp and /dev are empty and its own. It fails when an expectation in it failed
// or it did not end by itself, and is skipped where namespaces are not allowed. In CI they are, and a skip would
// hide for months that nothing is tested.
void in_own_places(const std::function<void()> &run)
{
    constexpr int not_allowed = 77;
    const int status = wait_status_of([&] {
        if (!enter_mount_namespace())
            _exit(not_allowed);
        (void)alarm(300); // whatever would wait for ever
        run();
    });
    if (WIFEXITED(status) && WEXITSTATUS(status) == not_allowed) {
        const char *ci = getenv("CI");
        ASSERT_NE(ci == nullptr ? "" : ci, "true"s) << "namespaces are not allowed here, and CI must not skip";
        GTEST_SKIP() << "namespaces are not allowed here";
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "wait status " << status;
}

void mount_disk(const std::string &path, const std::string &options)
{
    ASSERT_EQ(mount("none", path.c_str(), "tmpfs", 0, options.c_str()), 0) << strerror(errno);
}

// What a line of `event` begins with, and what stands between its level (five characters) and its message.
const std::string date = "2028-02-29 13:04:05 ";
const std::string unit = " unit.cpp:42: ";

// Hands an event of a fixed time and place to a sink.
__attribute__((format(printf, 4, 5))) void event(log_LogFn sink, const char *program, int level, const char *fmt, ...)
{
    tm when = {};
    when.tm_year = 128;
    when.tm_mon = 1;
    when.tm_mday = 29;
    when.tm_hour = 13;
    when.tm_min = 4;
    when.tm_sec = 5;
    log_Event ev = {};
    ev.fmt = fmt;
    ev.file = "unit.cpp";
    ev.line = 42;
    ev.time = &when;
    ev.udata = const_cast<char *>(program);
    ev.level = level;
    va_start(ev.ap, fmt);
    sink(&ev);
    va_end(ev.ap);
}

// Texts of a message, and how a sink shows them.
const struct {
    std::string text;
    std::string shown;
} hostile[] = {
    {"", ""},
    {"%n %s %d %% %m", "%n %s %d %% %m"},
    {"$(reboot); `id` | tee", "$(reboot); `id` | tee"},
    {"one\ntwo\r\nthree", "one\\x0atwo\\x0d\\x0athree"},
    {"\033[31mred\033[0m", "\\x1b[31mred\\x1b[0m"},
    {"\t\x7f\xc2\x9b", "\\x09\\x7f\\xc2\\x9b"},
    {"\"a\",'b',=1+1", "\"a\",'b',=1+1"},
    {"\xff\xfe\xc3(", "\\xff\\xfe\\xc3("},
    {"B\xc3\xbcro", "B\xc3\xbcro"},
};

// ---------------------------------------------------------------- the rotating file

// The rotation, restated: a line goes to the current file. When the file's size then, plus once more the line's length,
// reaches the limit, each file gets the next number, the current one is number 1, a new one is begun, and the file
// whose number exceeds the kept ones is gone.
class rotation_model
{
public:
    rotation_model(int rotations, size_t limit) : limit_(limit), files_(static_cast<size_t>(rotations) + 1) {}

    void write(const std::string &line, bool reached_the_disk = true)
    {
        std::string &current = files_.front().emplace(files_.front().value_or(""));
        if (reached_the_disk)
            current += line + "\n";
        if (current.size() + line.size() < limit_)
            return;
        files_.pop_back();
        files_.emplace(files_.begin(), "");
    }

    // Somebody else removes a file; 0 is the current one.
    void remove(size_t n) { files_[n].reset(); }

    const std::optional<std::string> &file(int n) const { return files_[static_cast<size_t>(n)]; }
    int rotations() const { return static_cast<int>(files_.size()) - 1; }

    // All that is kept, oldest first.
    std::string kept() const
    {
        std::string all;
        for (auto file = files_.rbegin(); file != files_.rend(); ++file)
            all += file->value_or("");
        return all;
    }

private:
    size_t limit_;
    std::vector<std::optional<std::string>> files_;
};

// A short account of where two long texts part.
std::string difference(const std::optional<std::string> &want, const std::optional<std::string> &got)
{
    if (want == got)
        return "";
    if (!want || !got)
        return want ? "the file is missing" : "there is a file";
    const auto part = std::mismatch(want->begin(), want->end(), got->begin(), got->end());
    const auto at = static_cast<size_t>(part.first - want->begin());
    return "byte " + std::to_string(at) + " of " + std::to_string(want->size()) + " (got " +
           std::to_string(got->size()) + "): want \"" + want->substr(at, 80) + "\", got \"" + got->substr(at, 80) +
           "\"";
}

// Whether the files are those of the model, and there is none beyond.
void expect_files(const rotation_model &model, const std::string &path, const std::string &when)
{
    for (int n = 0; n <= model.rotations(); n++)
        EXPECT_EQ(difference(model.file(n), text_of(numbered(path, n))), "") << when << ", file " << n;
    EXPECT_FALSE(fs::exists(fs::symlink_status(numbered(path, model.rotations() + 1)))) << when;
}

// A log file with its descriptor, as a caller of filelogger_write_line keeps it.
class log_file
{
public:
    log_file(std::string path, int rotations, size_t limit)
        : model(rotations, limit), path_(std::move(path)), rotations_(rotations), limit_(limit)
    {
    }
    ~log_file()
    {
        if (fd >= 0)
            (void)close(fd);
    }
    log_file(const log_file &) = delete;
    log_file &operator=(const log_file &) = delete;

    // Writes a line and tells the model; `reached_the_disk` is what the model is told.
    void write(const std::string &line, bool reached_the_disk = true)
    {
        write_untold(line);
        model.write(line, reached_the_disk);
    }
    void write_untold(const std::string &line)
    {
        filelogger_write_line(&fd, path_.c_str(), rotations_, limit_, line.c_str());
    }

    const std::string &path() const { return path_; }
    void expect(const std::string &when) const { expect_files(model, path_, when); }

    rotation_model model;
    int fd = -1;

private:
    std::string path_;
    int rotations_;
    size_t limit_;
};

TEST(FileloggerWriteLine, CreatesTheFileForItsOwnerAndKeepsItOpenForAppending)
{
    const temp_dir dir;
    const mode_t mask = umask(0);
    log_file log(dir / "log.txt", 3, 1000);
    EXPECT_EQ(standard_error_of([&log] { log.write("first"); }), "");
    (void)umask(mask);
    ASSERT_GE(log.fd, 0);
    EXPECT_EQ(permissions(log.path()), 0600U);
    EXPECT_EQ(fcntl(log.fd, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(log.fd, F_GETFL) & (O_ACCMODE | O_APPEND), O_WRONLY | O_APPEND);

    const int fd = log.fd;
    log.write("second");
    EXPECT_EQ(log.fd, fd);
    EXPECT_EQ(text_of(log.path()), "first\nsecond\n");
}

TEST(FileloggerWriteLine, DescriptorIsNotPassedOnAfterARotationEither)
{
    const temp_dir dir;
    log_file log(dir / "log.txt", 3, 0);
    log.write("line");
    ASSERT_GE(log.fd, 0);
    EXPECT_EQ(fcntl(log.fd, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(log.fd, F_GETFL) & (O_ACCMODE | O_APPEND), O_WRONLY | O_APPEND);
    EXPECT_EQ(permissions(log.path()), 0600U);
}

TEST(FileloggerWriteLine, AppendsToAFileThatIsThereAndCountsWhatItHolds)
{
    const temp_dir dir;
    write_file(dir / "log.txt", std::string(90, 'o') + "\n");
    log_file log(dir / "log.txt", 3, 100);
    log.write_untold("1");
    EXPECT_EQ(text_of(log.path()), std::string(90, 'o') + "\n1\n");
    log.write_untold("12345");
    EXPECT_EQ(text_of(log.path()), "");
    EXPECT_EQ(text_of(log.path() + ".1"), std::string(90, 'o') + "\n1\n12345\n");
}

TEST(FileloggerWriteLine, TakesTheTextAsItStands)
{
    for (const auto &[text, shown] : hostile) {
        const temp_dir dir;
        log_file log(dir / "log.txt", 3, 1000);
        log.write_untold(text);
        log.write_untold("next");
        EXPECT_EQ(text_of(log.path()), text + "\nnext\n");
    }
}

// The line is counted a second time, without its line end: the file that rotates may still have had room for one.
TEST(FileloggerWriteLine, RotatesWhenTheSizeAfterTheWritePlusTheLineReachesTheLimitWhichIsKept)
{
    struct limit_case {
        const char *name;
        size_t limit;
        bool rotated;
    };
    // The first line makes 11 bytes, the second 21 after its write, and its length is 9.
    const limit_case cases[] = {
        {"one above the sum", 31, false},      {"exactly the sum", 30, true}, {"one below the sum", 29, true},
        {"exactly the file's size", 21, true}, {"one line before", 22, true},
    };
    for (const limit_case &row : cases) {
        const temp_dir dir;
        log_file log(dir / "log.txt", 3, row.limit);
        write_file(log.path(), "0123456789\n");
        log.write_untold("012345678");
        const std::string both = "0123456789\n012345678\n";
        EXPECT_EQ(text_of(log.path()), row.rotated ? "" : both) << row.name;
        EXPECT_EQ(text_of(log.path() + ".1"), row.rotated ? std::optional(both) : std::nullopt) << row.name;
    }
}

TEST(FileloggerWriteLine, FileThatReaches64KiBIsInNumberOneAndTheNewOneStartsEmpty)
{
    const temp_dir dir;
    log_file log(dir / "log.txt", 3, 65536);
    const std::string line(255, 'x');
    for (int i = 0; i < 255; i++)
        log.write(line);
    EXPECT_FALSE(fs::exists(log.path() + ".1"));
    log.write(line);
    EXPECT_EQ(fs::file_size(log.path() + ".1"), 65536U);
    EXPECT_EQ(text_of(log.path()), "");
    log.write("next");
    EXPECT_EQ(text_of(log.path()), "next\n");
    log.expect("one rotation");
}

TEST(FileloggerWriteLine, FourthRotationDropsTheOldestFile)
{
    const temp_dir dir;
    log_file log(dir / "log.txt", 3, 6); // "a" and its line end leave no room for a second "b" of three
    for (const char *line : {"a1", "a22", "b1", "b22", "c1", "c22"})
        log.write(line);
    EXPECT_EQ(text_of(log.path() + ".3"), "a1\na22\n");
    EXPECT_EQ(text_of(log.path() + ".2"), "b1\nb22\n");
    EXPECT_EQ(text_of(log.path() + ".1"), "c1\nc22\n");
    log.expect("three rotations");
    log.write("d1");
    log.write("d22");
    EXPECT_EQ(text_of(log.path() + ".3"), "b1\nb22\n");
    EXPECT_EQ(text_of(log.path() + ".2"), "c1\nc22\n");
    EXPECT_EQ(text_of(log.path() + ".1"), "d1\nd22\n");
    EXPECT_EQ(text_of(log.path()), "");
    EXPECT_FALSE(fs::exists(log.path() + ".4"));
}

TEST(FileloggerWriteLine, KeepsAsManyOldFilesAsItIsToldTo)
{
    for (const int rotations : {0, 1, 2, 3, 9, 10, 12, 100}) {
        const temp_dir dir;
        log_file log(dir / "log.txt", rotations, 40);
        for (int i = 0; i < 1000; i++)
            log.write("line " + std::to_string(i));
        log.expect(std::to_string(rotations) + " rotations");
    }
}

TEST(FileloggerWriteLine, ALimitThatEveryLineReachesRotatesAtEachAndLosesNone)
{
    const temp_dir dir;
    for (const size_t limit : {size_t{0}, size_t{1}, size_t{5}}) {
        log_file log(dir / ("log" + std::to_string(limit)), 3, limit);
        for (const char *line : {"one", "a line that is longer than the limit", "three", "four"})
            log.write(line);
        EXPECT_EQ(log.model.kept(), "a line that is longer than the limit\nthree\nfour\n");
        log.expect("limit " + std::to_string(limit));
    }
}

// They stay behind when a program is told to keep fewer.
TEST(FileloggerWriteLine, RemovesFilesOfHigherNumbersUpToTheFirstGap)
{
    const temp_dir dir;
    log_file log(dir / "log.txt", 3, 0);
    for (const int n : {1, 2, 3, 4, 5, 6, 8})
        write_file(numbered(log.path(), n), "old " + std::to_string(n));
    log.write_untold("line");
    EXPECT_EQ(text_of(log.path() + ".1"), "line\n");
    EXPECT_EQ(text_of(log.path() + ".2"), "old 1");
    EXPECT_EQ(text_of(log.path() + ".3"), "old 2");
    for (const int n : {4, 5, 6, 7})
        EXPECT_FALSE(fs::exists(numbered(log.path(), n))) << n;
    EXPECT_EQ(text_of(log.path() + ".8"), "old 8");
}

// The number is written behind the path wherever the path ends.
TEST(FileloggerWriteLine, PathOfAnyLengthRotatesAndLosesNothing)
{
    for (const size_t length : {100U, 255U, 256U, 500U, 507U, 508U, 509U, 510U, 511U, 512U, 513U, 1000U, 4000U}) {
        const temp_dir dir;
        std::string path = dir / "d";
        while (path.size() + 202 < length)
            path += "/" + std::string(100, 'd');
        fs::create_directories(path);
        path += "/" + std::string(length - path.size() - 1, 'f');
        ASSERT_EQ(path.size(), length);
        log_file log(path, 12, 60);
        for (int i = 0; i < 300; i++)
            log.write("line " + std::to_string(i));
        log.expect("a path of " + std::to_string(length));
    }
}

TEST(FileloggerWriteLine, NameThatLeavesNoRoomForANumberIsNotRotatedAndLosesNothing)
{
    const temp_dir dir;
    log_file log(dir / std::string(255, 'f'), 3, 40);
    std::string all;
    for (int i = 0; i < 100; i++) {
        log.write_untold("line " + std::to_string(i));
        all += "line " + std::to_string(i) + "\n";
    }
    EXPECT_EQ(text_of(log.path()), all);
}

TEST(FileloggerWriteLine, GrowsOnWhenFilesCannotBeRenamedAndLosesNothing)
{
    const temp_dir dir;
    log_file log(dir / "log.txt", 3, 40);
    write_file(log.path() + ".1", "old 1\n");
    write_file(log.path() + ".3", "old 3\n");
    std::string all;
    faults.rename = EACCES;
    for (int i = 0; i < 100; i++) {
        log.write_untold("line " + std::to_string(i));
        all += "line " + std::to_string(i) + "\n";
    }
    faults.rename = 0;
    EXPECT_EQ(text_of(log.path()), all);
    EXPECT_EQ(text_of(log.path() + ".1"), "old 1\n");
    EXPECT_EQ(text_of(log.path() + ".3"), "old 3\n");
}

TEST(FileloggerWriteLine, ADirectoryInAnOldFilesPlaceDoesNotCostALine)
{
    const temp_dir dir;
    log_file log(dir / "log.txt", 3, 40);
    fs::create_directories(log.path() + ".1/inside");
    std::string all;
    for (int i = 0; i < 300; i++) {
        log.write("line " + std::to_string(i));
        all += "line " + std::to_string(i) + "\n";
    }
    std::string kept;
    for (int n = 3; n >= 0; n--)
        kept += text_of(numbered(log.path(), n)).value_or("");
    EXPECT_EQ(kept, log.model.kept());
}

// What may stand at the path, and why it cannot be opened.
struct open_case {
    const char *name;
    std::function<void(const temp_dir &)> prepare;
    const char *path;
    int error;
};

const open_case open_cases[] = {
    {"no directory", [](const temp_dir &) {}, "missing/log.txt", ENOENT},
    {"a file for a directory", [](const temp_dir &dir) { write_file(dir / "file", ""); }, "file/log.txt", ENOTDIR},
    {"a directory", [](const temp_dir &dir) { fs::create_directory(dir / "log.txt"); }, "log.txt", EISDIR},
    {"a link to a file", [](const temp_dir &dir) { fs::create_symlink("victim", dir / "log.txt"); }, "log.txt", ELOOP},
    {"a link to nothing", [](const temp_dir &dir) { fs::create_symlink("nothing", dir / "log.txt"); }, "log.txt",
     ELOOP},
    {"a link to the folder",
     [](const temp_dir &dir) {
         fs::create_directory(dir / "elsewhere");
         fs::create_directory_symlink("elsewhere", dir / "folder");
     },
     "folder/log.txt", ELOOP},
    {"a FIFO that nobody reads", [](const temp_dir &dir) { (void)mkfifo((dir / "log.txt").c_str(), 0600); }, "log.txt",
     ENXIO},
};

TEST(FileloggerWriteLine, FileThatCannotBeOpenedIsReportedAndTriedAgainAtTheNextLine)
{
    for (const open_case &row : open_cases) {
        const temp_dir dir;
        (void)alarm(60); // whatever would wait for a reader
        write_file(dir / "victim", "kept");
        row.prepare(dir);
        log_file log(dir / row.path, 3, 10);
        const size_t before = open_descriptors();
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(standard_error_of([&log] { log.write_untold("some line"); }),
                      failed("log_to_file/open", row.error))
                << row.name;
            EXPECT_EQ(log.fd, -1) << row.name;
        }
        EXPECT_EQ(open_descriptors(), before) << row.name;
        EXPECT_EQ(text_of(dir / "victim"), "kept") << row.name;
        EXPECT_FALSE(fs::exists(dir / "nothing")) << row.name;
        EXPECT_FALSE(fs::exists(fs::symlink_status(log.path() + ".1"))) << row.name << ": nothing is rotated";

        fs::remove(dir / "folder");
        fs::remove_all(fs::path(log.path()).filename() == "log.txt" && row.error != ENOTDIR ? log.path()
                                                                                            : dir / "file");
        fs::create_directories(fs::path(log.path()).parent_path());
        EXPECT_EQ(standard_error_of([&log] { log.write("next"); }), "") << row.name;
        EXPECT_EQ(text_of(log.path()), "next\n") << row.name;
    }
    (void)alarm(0);
}

TEST(FileloggerWriteLine, AFifoIsNoLogSinceItsReaderMayGo)
{
    const temp_dir dir;
    log_file log(dir / "log.txt", 3, 1000);
    ASSERT_EQ(mkfifo(log.path().c_str(), 0600), 0);
    const int reader = open(log.path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_EQ(standard_error_of([&log] { log.write_untold("lost"); }), failed("log_to_file/open", ENXIO));
    (void)close(reader);
}

TEST(FileloggerWriteLine, AFolderThatIsLongerThanAnyIsReported)
{
    log_file log("/" + std::string(PATH_MAX, 'x') + "/log.txt", 3, 1000);
    EXPECT_EQ(standard_error_of([&log] { log.write_untold("lost"); }), failed("log_to_file/open", ENAMETOOLONG));
}

TEST(FileloggerWriteLine, AFileWithoutAFolderStandsInTheWorkingDirectory)
{
    const temp_dir dir;
    const int status = support::in_child([&dir] {
        int fd = -1;
        if (chdir(dir.path().c_str()) != 0)
            return 1;
        filelogger_write_line(&fd, "log.txt", 3, 1000, "here");
        return 0;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(text_of(dir / "log.txt"), "here\n");
}

TEST(FileloggerWriteLine, LinkThatTakesTheOpenFilesPlaceIsNotFollowed)
{
    const temp_dir dir;
    write_file(dir / "victim", "kept");
    log_file log(dir / "log.txt", 3, 1000);
    log.write_untold("first");
    fs::rename(log.path(), dir / "moved");
    fs::create_symlink("victim", log.path());
    EXPECT_EQ(standard_error_of([&log] { log.write_untold("lost"); }), failed("log_to_file/open", ELOOP));
    EXPECT_EQ(text_of(dir / "victim"), "kept");
    EXPECT_EQ(text_of(dir / "moved"), "first\n");
    fs::remove(log.path());
    EXPECT_EQ(standard_error_of([&log] { log.write_untold("next"); }), "");
    EXPECT_EQ(text_of(log.path()), "next\n");
}

TEST(FileloggerWriteLine, LinksInTheOldFilesPlacesAreMovedAndReplacedButNotFollowed)
{
    const temp_dir dir;
    write_file(dir / "victim", "kept");
    log_file log(dir / "log.txt", 3, 0);
    for (int n = 1; n <= 5; n++)
        fs::create_symlink("victim", numbered(log.path(), n));
    for (int i = 0; i < 4; i++)
        log.write("line " + std::to_string(i));
    EXPECT_EQ(text_of(dir / "victim"), "kept");
    log.expect("four rotations");
    EXPECT_FALSE(fs::exists(fs::symlink_status(log.path() + ".5")));
}

TEST(FileloggerWriteLine, FileThatIsDeletedFromOutsideIsBegunAnewWithTheNextLine)
{
    const temp_dir dir;
    log_file log(dir / "log.txt", 3, 100);
    log.write_untold("first");
    const size_t before = open_descriptors();
    for (int i = 0; i < 100; i++) {
        fs::remove(log.path());
        EXPECT_EQ(standard_error_of([&log] { log.write_untold("next"); }), "");
        EXPECT_EQ(text_of(log.path()), "next\n");
    }
    EXPECT_EQ(open_descriptors(), before) << "descriptors of deleted files are closed";
    EXPECT_FALSE(fs::exists(log.path() + ".1")) << "a deleted file's size does not count";
}

TEST(FileloggerWriteLine, FileThatIsMovedAwayKeepsItsLinesAndTheNextOnesGoToANewFile)
{
    const temp_dir dir;
    log_file log(dir / "log.txt", 3, 100);
    log.write_untold("first");
    fs::rename(log.path(), dir / "moved");
    log.write_untold("second");
    EXPECT_EQ(text_of(dir / "moved"), "first\n");
    EXPECT_EQ(text_of(log.path()), "second\n");

    write_file(dir / "other", "third\n");
    fs::rename(dir / "other", log.path());
    log.write_untold("fourth");
    EXPECT_EQ(text_of(log.path()), "third\nfourth\n");
}

TEST(FileloggerWriteLine, DirectoryThatVanishesIsReportedUntilItIsBack)
{
    const temp_dir dir;
    fs::create_directory(dir / "logs");
    log_file log(dir / "logs/log.txt", 3, 100);
    log.write_untold("first");
    fs::remove_all(dir / "logs");
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(standard_error_of([&log] { log.write_untold("lost"); }), failed("log_to_file/open", ENOENT));
    fs::create_directory(dir / "logs");
    EXPECT_EQ(standard_error_of([&log] { log.write_untold("next"); }), "");
    EXPECT_EQ(text_of(log.path()), "next\n");
}

TEST(FileloggerWriteLine, DescriptorThatWasClosedFromOutsideIsOpenedAgain)
{
    const temp_dir dir;
    log_file log(dir / "log.txt", 3, 100);
    log.write_untold("first");
    const std::string messages = standard_error_of([&log] {
        (void)close(log.fd); // and nobody else has got its number yet
        log.write_untold("second");
    });
    EXPECT_EQ(messages, "");
    EXPECT_EQ(text_of(log.path()), "first\nsecond\n");
}

// Two programs of one name, or two runs of one, share a file.
TEST(FileloggerWriteLine, TwoWritersOfOneFileLoseNothing)
{
    const temp_dir dir;
    log_file one(dir / "log.txt", 3, 300);
    log_file other(dir / "log.txt", 3, 300);
    std::mt19937 random(1);
    for (int i = 0; i < 5000; i++) {
        const std::string line = "line " + std::to_string(i);
        (random() % 2 == 0 ? one : other).write_untold(line);
        one.model.write(line);
        if (i % 100 == 0)
            one.expect("after line " + std::to_string(i));
    }
    one.expect("at the end");
}

TEST(FileloggerWriteLine, WriteThatASignalInterruptsIsRepeated)
{
    const temp_dir dir;
    log_file log(dir / "log.txt", 3, 40);
    int calls = 0;
    faults.write = [&calls](int fd, const void *text, size_t length) -> ssize_t {
        if (++calls % 4 == 0)
            return write(fd, text, length);
        errno = EINTR;
        return -1;
    };
    const std::string messages = standard_error_of([&log] {
        for (int i = 0; i < 50; i++)
            log.write("line " + std::to_string(i));
    });
    faults.write = nullptr;
    EXPECT_EQ(messages, "");
    log.expect("after interrupted writes");
}

// Whether the rest is written or the beginning taken back, there is no part of a line.
TEST(FileloggerWriteLine, ShortWriteLosesNoMoreThanItsLineWhichIsThenReported)
{
    const temp_dir dir;
    log_file log(dir / "log.txt", 3, 1000);
    std::mt19937 random(1);
    int shortened = 0;
    faults.write = [&](int fd, const void *text, size_t length) -> ssize_t {
        if (length < 2 || random() % 3 != 0)
            return write(fd, text, length);
        shortened++;
        return write(fd, text, 1 + random() % (length - 1));
    };
    const capture standard_error(STDERR_FILENO);
    for (int i = 0; i < 1000; i++) {
        const std::string line = "line " + std::to_string(i);
        const size_t before = standard_error.size();
        log.write_untold(line);
        log.model.write(line, standard_error.size() == before);
    }
    faults.write = nullptr;
    log.expect("after short writes");
    EXPECT_GT(shortened, 100);
}

TEST(FileloggerWriteLine, LineIsWrittenAndTheFailureReportedWhenTheSizeCannotBeRead)
{
    const temp_dir dir;
    log_file log(dir / "log.txt", 3, 10);
    faults.fstat = EIO;
    const std::string messages = standard_error_of([&log] { log.write_untold("0123456789"); });
    faults.fstat = 0;
    EXPECT_EQ(messages, failed("log_to_file/stat", EIO));
    EXPECT_EQ(text_of(log.path()), "0123456789\n");
    EXPECT_FALSE(fs::exists(log.path() + ".1")) << "not rotated";
}

void limit_file_size(rlim_t bytes)
{
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    limit.rlim_cur = bytes;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

TEST(FileloggerWriteLine, WriteThatEndsAtAnyByteIsReportedAndLeavesNoPartOfTheLine)
{
    in_own_places([] {
        (void)signal(SIGXFSZ, SIG_IGN);
        const std::string line = "0123456789 0123456789";
        const std::string before(8000, 'o'); // more than what is printed meanwhile
        for (size_t room = 0; room <= line.size() + 1; room++) {
            log_file log("/tmp/log" + std::to_string(room), 3, 100000);
            log.write_untold(before);
            limit_file_size(before.size() + 1 + room);
            const std::string messages = standard_error_of([&] { log.write_untold(line); });
            limit_file_size(RLIM_INFINITY);
            log.write_untold("next");

            const bool fits = room == line.size() + 1;
            if (fits)
                EXPECT_EQ(messages, "");
            else
                EXPECT_EQ(messages.substr(0, messages.find(':')), "log_to_file/write") << "room for " << room;
            EXPECT_EQ(text_of(log.path()), before + "\n" + (fits ? line + "\n" : "") + "next\n") << "room for " << room;
        }
    });
}

TEST(FileloggerWriteLine, FailedLineStillCountsForTheRotationWhichIsKept)
{
    in_own_places([] {
        (void)signal(SIGXFSZ, SIG_IGN);
        log_file log("/tmp/log.txt", 3, 8100);
        log.write(std::string(4000, 'o'));
        log.write("12");
        limit_file_size(4010);
        const std::string messages = standard_error_of([&] { log.write(std::string(4096, 'x'), false); });
        limit_file_size(RLIM_INFINITY);
        EXPECT_EQ(messages.substr(0, messages.find(':')), "log_to_file/write");
        EXPECT_EQ(fs::file_size("/tmp/log.txt.1"), 4004U);
        log.expect("after the failed line");
    });
}

// With room for the current file and three old ones the fifth cannot be begun before the oldest is gone.
TEST(FileloggerWriteLine, NewFileThatCannotBeBegunIsReportedAndBegunWithTheNextLine)
{
    in_own_places([] {
        fs::create_directory("/tmp/small");
        mount_disk("/tmp/small", "nr_inodes=5"); // the directory's own and four files
        log_file log("/tmp/small/log.txt", 3, 0);
        for (const char *line : {"one", "two", "three"})
            EXPECT_EQ(standard_error_of([&] { log.write(line); }), "");
        for (const char *line : {"four", "five"}) {
            EXPECT_EQ(standard_error_of([&] { log.write_untold(line); }), failed("rotate_log/open", ENOSPC));
            EXPECT_EQ(log.fd, -1);
            EXPECT_FALSE(fs::exists("/tmp/small/log.txt"));
            EXPECT_FALSE(fs::exists("/tmp/small/log.txt.4")) << "is removed all the same";
            EXPECT_EQ(text_of("/tmp/small/log.txt.1"), line + "\n"s);
        }
        EXPECT_EQ(text_of("/tmp/small/log.txt.2"), "four\n");
        EXPECT_EQ(text_of("/tmp/small/log.txt.3"), "three\n");
    });
}

constexpr int many = 100000;

// Lines of all lengths, each with its number: most of them short, a few longer than a page or a whole file.
class line_source
{
public:
    line_source()
    {
        for (char &c : pool_)
            c = static_cast<char>(' ' + random() % 95);
    }

    std::string line(int number)
    {
        const size_t most = number % 9973 == 5 ? 70000 : number % 101 == 5 ? 5000 : 250;
        const size_t length = random() % (most + 1);
        return std::to_string(number) + " " + pool_.substr(random() % (pool_.size() - length), length);
    }

    std::mt19937 random{20260101};

private:
    std::string pool_ = std::string(100000, ' ');
};

bool ends_with(const std::string &text, const std::string &end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

TEST(FileloggerWriteLine, ManyLinesAreKeptOnceAndInOrderAsFarAsTheRotationKeepsThem)
{
    const temp_dir dir;
    log_file log(dir / "log.txt", MAX_ROTATIONS, MAX_LOGFILE_SIZE);
    line_source source;
    std::string all;
    const capture standard_error(STDERR_FILENO);
    for (int i = 0; i < many && !testing::Test::HasFailure(); i++) {
        const std::string line = source.line(i);
        log.write(line);
        all += line + "\n";
        if (i % 1000 == 999)
            log.expect("after line " + std::to_string(i));
    }
    log.expect("at the end");
    EXPECT_EQ(standard_error.text(), "");
    EXPECT_TRUE(ends_with(all, log.model.kept()));
    EXPECT_GT(log.model.kept().size(), 2 * MAX_LOGFILE_SIZE);
    EXPECT_GT(all.size(), 100 * MAX_LOGFILE_SIZE);
}

TEST(FileloggerWriteLine, ManyLinesWhileFilesAreDeletedAndMovedAwayLoseOnlyWhatWasInThem)
{
    const temp_dir dir;
    log_file log(dir / "log.txt", MAX_ROTATIONS, MAX_LOGFILE_SIZE);
    line_source source;
    const capture standard_error(STDERR_FILENO);
    int deleted = 0;
    for (int i = 0; i < many && !testing::Test::HasFailure(); i++) {
        log.write(source.line(i));
        if (i % 1000 == 999)
            log.expect("after line " + std::to_string(i));
        if (source.random() % 300 != 0)
            continue;
        const size_t n = source.random() % (MAX_ROTATIONS + 1);
        const std::string path = numbered(log.path(), static_cast<int>(n));
        if (source.random() % 2 == 0) {
            deleted += unlink(path.c_str()) == 0 ? 1 : 0;
        } else if (rename(path.c_str(), (dir / "moved").c_str()) == 0) {
            EXPECT_EQ(difference(log.model.file(static_cast<int>(n)), text_of(dir / "moved")), "") << path;
        }
        log.model.remove(n);
    }
    log.expect("at the end");
    EXPECT_EQ(standard_error.text(), "");
    EXPECT_GT(deleted, 50);
}

// Fills the disk until so many bytes are left, or gives all of it back.
void fill_disk(const std::string &disk, size_t left)
{
    std::ofstream ballast(disk + "/ballast", std::ios::binary | std::ios::trunc);
    const std::string block(4096, 'b');
    struct statvfs info = {};
    while (ballast && statvfs(disk.c_str(), &info) == 0 && info.f_bavail * info.f_bsize > left)
        ballast << block << std::flush;
}

TEST(FileloggerWriteLine, ManyLinesWhileTheDiskIsFullLoseOnlyThoseThatAreReportedAndNoneInPart)
{
    in_own_places([] {
        fs::create_directory("/tmp/disk");
        mount_disk("/tmp/disk", "size=512k");
        log_file log("/tmp/disk/log.txt", MAX_ROTATIONS, MAX_LOGFILE_SIZE);
        line_source source;
        std::string written;
        int lost = 0;
        int written_while_filled = 0;
        const capture standard_error(STDERR_FILENO);
        for (int i = 0; i < many && !testing::Test::HasFailure(); i++) {
            const bool filled = i / 500 % 2 == 1;
            if (i % 1000 == 500)
                fill_disk("/tmp/disk", source.random() % 65536);
            if (i % 1000 == 0)
                fill_disk("/tmp/disk", 512 * 1024);

            const std::string line = source.line(i);
            const size_t before = standard_error.size();
            log.write_untold(line);
            const std::string messages = standard_error.text(before);
            log.model.write(line, messages.empty());
            if (messages.empty()) {
                written += line + "\n";
                written_while_filled += filled ? 1 : 0;
            } else {
                EXPECT_EQ(messages, failed("log_to_file/write", ENOSPC)) << "line " << i;
                EXPECT_TRUE(filled) << "line " << i << " is lost though there is room";
                lost++;
            }
            if (i % 250 == 249)
                log.expect("after line " + std::to_string(i));
        }
        log.expect("at the end");
        EXPECT_TRUE(ends_with(written, log.model.kept()));
        EXPECT_GT(lost, 1000) << "the disk was full";
        EXPECT_GT(written_while_filled, 1000) << "and had some room at times";
    });
}

// ---------------------------------------------------------------- rotation

TEST(RotateLog, MovesEveryFileOneNumberUpAndReturnsZero)
{
    const temp_dir dir;
    const std::string path = dir / "log.txt";
    for (int n = 0; n <= 5; n++)
        write_file(numbered(path, n), std::to_string(n));
    EXPECT_EQ(_rotate_log(path.c_str(), 3), 0);
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(text_of(path + ".1"), "0");
    EXPECT_EQ(text_of(path + ".2"), "1");
    EXPECT_EQ(text_of(path + ".3"), "2");
    EXPECT_EQ(text_of(path + ".4"), "3") << "the number that is too high stays for the caller to remove";
    EXPECT_EQ(text_of(path + ".5"), "5");
}

TEST(RotateLog, OfNoKeptFilesMovesTheCurrentOneOnly)
{
    const temp_dir dir;
    const std::string path = dir / "log.txt";
    for (int n = 0; n <= 2; n++)
        write_file(numbered(path, n), std::to_string(n));
    EXPECT_EQ(_rotate_log(path.c_str(), 0), 0);
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(text_of(path + ".1"), "0");
    EXPECT_EQ(text_of(path + ".2"), "2");
}

TEST(RotateLog, MovesAGapAlong)
{
    const temp_dir dir;
    const std::string path = dir / "log.txt";
    write_file(path, "0");
    write_file(path + ".2", "2");
    EXPECT_EQ(_rotate_log(path.c_str(), 3), 0);
    EXPECT_EQ(text_of(path + ".1"), "0");
    EXPECT_FALSE(fs::exists(path + ".2"));
    EXPECT_EQ(text_of(path + ".3"), "2");
    EXPECT_FALSE(fs::exists(path + ".4"));
}

TEST(RotateLog, ReturnsZeroSilentlyWhenThereIsNothingToMoveOrItCannotBeMoved)
{
    const temp_dir dir;
    write_file(dir / "file", "kept");
    const std::string messages = standard_error_of([&dir] {
        for (const std::string &path : {dir / "none", dir / "missing/none", dir / "file/none"})
            EXPECT_EQ(_rotate_log(path.c_str(), 3), 0) << path;
        faults.rename = EACCES;
        EXPECT_EQ(_rotate_log((dir / "file").c_str(), 3), 0);
        faults.rename = 0;
    });
    EXPECT_EQ(messages, "");
    EXPECT_EQ(text_of(dir / "file"), "kept");
}

TEST(RemoveRotatedFile, ReturnsOneWhenItRemovedTheFileOfThatNumber)
{
    const temp_dir dir;
    const std::string path = dir / "log.txt";
    for (const int n : {0, 1, 10, 11})
        write_file(numbered(path, n), "");
    write_file(path + ".-1", "");
    EXPECT_EQ(remove_rotated_file(path.c_str(), 1), 1);
    EXPECT_FALSE(fs::exists(path + ".1"));
    EXPECT_TRUE(fs::exists(path + ".10"));
    EXPECT_EQ(remove_rotated_file(path.c_str(), 1), 0);
    EXPECT_EQ(remove_rotated_file(path.c_str(), 10), 1);
    EXPECT_TRUE(fs::exists(path + ".11"));
    EXPECT_EQ(remove_rotated_file(path.c_str(), -1), 1);
    EXPECT_TRUE(fs::exists(path)) << "the current file has no number";
    EXPECT_EQ(remove_rotated_file(path.c_str(), 0), 0);
}

TEST(RemoveRotatedFile, ReturnsZeroSilentlyForWhatItCannotRemove)
{
    const temp_dir dir;
    fs::create_directory(dir / "log.1");
    const std::string messages = standard_error_of([&dir] {
        EXPECT_EQ(remove_rotated_file((dir / "log").c_str(), 1), 0);
        EXPECT_EQ(remove_rotated_file((dir / "missing/log").c_str(), 1), 0);
    });
    EXPECT_EQ(messages, "");
    EXPECT_TRUE(fs::is_directory(dir / "log.1"));
}

TEST(RemoveRotatedFile, RemovesALinkAndNotWhatItPointsTo)
{
    const temp_dir dir;
    write_file(dir / "victim", "kept");
    fs::create_symlink("victim", dir / "log.1");
    EXPECT_EQ(remove_rotated_file((dir / "log").c_str(), 1), 1);
    EXPECT_FALSE(fs::exists(fs::symlink_status(dir / "log.1")));
    EXPECT_EQ(text_of(dir / "victim"), "kept");
}

TEST(RemoveRotatedFile, OfALongPathRemovesNoOtherFile)
{
    const temp_dir dir;
    for (size_t length = 500; length <= 520; length++) {
        std::string path = dir / std::string(200, 'd') + "/" + std::string(200, 'd');
        fs::create_directories(path);
        path += "/" + std::string(length - path.size() - 1, 'f');
        for (const int n : {0, 1, 12})
            write_file(numbered(path, n), "kept");
        write_file(path + ".", "kept");
        EXPECT_EQ(remove_rotated_file(path.c_str(), 123), 0) << length;
        EXPECT_EQ(remove_rotated_file(path.c_str(), 12), 1) << length;
        EXPECT_FALSE(fs::exists(path + ".12")) << length;
        for (const std::string &other : {path, path + ".", path + ".1"})
            EXPECT_TRUE(fs::exists(other)) << length << ": " << other.size();
    }
}

// ---------------------------------------------------------------- the file sink

constexpr char program_file[] = "/tmp/vantu/program.txt";

TEST(FileSink, WritesALineOfEachLevelWithTimeAndPlaceToTheProgramsFile)
{
    in_own_places([] {
        const mode_t mask = umask(0);
        EXPECT_EQ(standard_error_of([] { event(filelogger_helper_callback, "program", LOG_C_TRACE, "message"); }),
                  "create folder\n");
        (void)umask(mask);
        for (const int level : {LOG_C_DEBUG, LOG_C_INFO, LOG_C_WARN, LOG_C_ERROR, LOG_C_FATAL})
            event(filelogger_helper_callback, "program", level, "%s %d of %.1f", "message", level, 5.0);
        EXPECT_EQ(text_of(program_file), "2028-02-29 13:04:05 TRACE unit.cpp:42: message\n"
                                         "2028-02-29 13:04:05 DEBUG unit.cpp:42: message 1 of 5.0\n"
                                         "2028-02-29 13:04:05 INFO  unit.cpp:42: message 2 of 5.0\n"
                                         "2028-02-29 13:04:05 WARN  unit.cpp:42: message 3 of 5.0\n"
                                         "2028-02-29 13:04:05 ERROR unit.cpp:42: message 4 of 5.0\n"
                                         "2028-02-29 13:04:05 FATAL unit.cpp:42: message 5 of 5.0\n");
        EXPECT_EQ(permissions(program_file), 0600U);
    });
}

TEST(FileSink, NamesTheFileAfterTheProgramWithoutItsDirectories)
{
    struct name_case {
        const char *program;
        std::string file;
    };
    // As much of a name as fits into 255 characters of path, whatever becomes of the ending.
    const std::string longest(240, 'p');
    const std::string longer(241, 'p');
    const std::string too_long(300, 'p');
    const name_case cases[] = {
        {"program", "program.txt"},
        {"./program", "program.txt"},
        {"/usr/bin/program", "program.txt"},
        {"a/b/program.bin", "program.bin.txt"},
        {"", ".txt"},
        {nullptr, ".txt"},
        {longest.c_str(), longest + ".txt"},
        {longer.c_str(), longer + ".tx"},
        {too_long.c_str(), std::string(244, 'p')},
    };
    for (const name_case &row : cases) {
        in_own_places([&row] {
            fs::create_directory("/tmp/vantu");
            EXPECT_EQ(standard_error_of([&row] { event(filelogger_helper_callback, row.program, LOG_C_INFO, "m"); }),
                      "");
            EXPECT_EQ(text_of("/tmp/vantu/" + row.file), date + "INFO " + unit + "m\n") << row.file;
        });
    }
}

TEST(FileSink, KeepsTheNameOfTheFirstCall)
{
    in_own_places([] {
        fs::create_directory("/tmp/vantu");
        char name[] = "program";
        event(filelogger_helper_callback, name, LOG_C_INFO, "first");
        name[0] = 'q';
        event(filelogger_helper_callback, name, LOG_C_INFO, "second");
        event(filelogger_helper_callback, "other", LOG_C_INFO, "third");
        EXPECT_EQ(text_of(program_file), date + "INFO " + unit + "first\n" + date + "INFO " + unit + "second\n" + date +
                                             "INFO " + unit + "third\n");
        EXPECT_FALSE(fs::exists("/tmp/vantu/other.txt"));
    });
}

TEST(FileSink, CutsALineTo255Characters)
{
    in_own_places([] {
        fs::create_directory("/tmp/vantu");
        const std::string prefix = date + "INFO " + unit;
        std::string want;
        for (const size_t length : {254U, 255U, 256U, 257U, 5000U}) {
            const std::string line = prefix + std::string(length - prefix.size() - 1, 'm') + "!";
            event(filelogger_helper_callback, "program", LOG_C_INFO, "%s", line.c_str() + prefix.size());
            want += line.substr(0, 255) + "\n";
        }
        EXPECT_EQ(text_of(program_file), want);
    });
}

TEST(FileSink, CutsAPlaceThatIsLongerThanTheLine)
{
    in_own_places([] {
        fs::create_directory("/tmp/vantu");
        log_set_quiet(true);
        ASSERT_EQ(log_add_callback(filelogger_helper_callback, const_cast<char *>("program"), 0), 0);
        for (const size_t length : {220U, 225U, 226U, 227U, 228U, 229U, 230U, 255U, 256U, 1000U})
            log_log(LOG_C_INFO, std::string(length, 'f').c_str(), 42, "message");
        std::ifstream file(program_file);
        texts lines;
        for (std::string line; std::getline(file, line);)
            lines.push_back(line.substr(date.size())); // the time is now
        const auto line = [](size_t length) {
            return ("INFO  " + std::string(length, 'f') + ":42: message").substr(0, 255 - date.size());
        };
        EXPECT_EQ(lines, (texts{line(220), line(225), line(226), line(227), line(228), line(229), line(230), line(255),
                                line(256), line(1000)}));
    });
}

TEST(FileSink, KeepsAMessageInOneLineAndShowsWhatDoesNotPrint)
{
    in_own_places([] {
        fs::create_directory("/tmp/vantu");
        std::string want;
        for (const auto &[text, shown] : hostile) {
            event(filelogger_helper_callback, "program", LOG_C_WARN, "%s", text.c_str());
            want += date + "WARN " + unit + shown + "\n";
        }
        EXPECT_EQ(text_of(program_file), want);
    });
}

TEST(FileSink, MessageWithAnUnknownConversionLeavesALineOfItsOwn)
{
    in_own_places([] {
        fs::create_directory("/tmp/vantu");
        event(filelogger_helper_callback, "program", LOG_C_WARN, "wide %ls", L"\u20ac");
        event(filelogger_helper_callback, "program", LOG_C_WARN, "next");
        EXPECT_EQ(text_of(program_file), date + "WARN " + unit + "wide %ls\n" + date + "WARN " + unit + "next\n");
    });
}

TEST(FileSink, WritesNothingAndTriesAgainWhileSomethingElseStandsInTheDirectorysPlace)
{
    in_own_places([] {
        write_file("/tmp/vantu", "kept");
        for (int i = 0; i < 3; i++)
            EXPECT_EQ(standard_error_of([] { event(filelogger_helper_callback, "early", LOG_C_INFO, "lost"); }),
                      "error: /tmp/vantu exists, but is not a directory\n");
        EXPECT_EQ(text_of("/tmp/vantu"), "kept");
        fs::remove("/tmp/vantu");
        EXPECT_EQ(standard_error_of([] { event(filelogger_helper_callback, "program", LOG_C_INFO, "first"); }),
                  "create folder\n");
        EXPECT_EQ(standard_error_of([] { event(filelogger_helper_callback, "late", LOG_C_INFO, "second"); }), "");
        EXPECT_EQ(text_of(program_file), date + "INFO " + unit + "first\n" + date + "INFO " + unit + "second\n");
    });
}

TEST(FileSink, WritesNothingAndTriesAgainWhileALinkStandsInThePlaceOfTheDirectory)
{
    in_own_places([] {
        fs::create_directory("/tmp/victim");
        for (const char *target : {"/nowhere/at/all", "/tmp/victim"}) {
            fs::remove("/tmp/vantu");
            fs::create_directory_symlink(target, "/tmp/vantu");
            for (int i = 0; i < 3; i++)
                EXPECT_EQ(standard_error_of([] { event(filelogger_helper_callback, "program", LOG_C_INFO, "lost"); }),
                          "error: /tmp/vantu exists, but is not a directory\n");
        }
        EXPECT_TRUE(fs::is_empty("/tmp/victim")) << "whoever plants a link does not choose where a program writes";
        fs::remove("/tmp/vantu");
        fs::create_directory("/tmp/vantu");
        EXPECT_EQ(standard_error_of([] { event(filelogger_helper_callback, "program", LOG_C_INFO, "first"); }), "");
        EXPECT_EQ(text_of(program_file), date + "INFO " + unit + "first\n");
    });
}

TEST(FileSink, WritesNothingAndTriesAgainSilentlyWhileThereIsNoTmp)
{
    in_own_places([] {
        ASSERT_TRUE(fs::create_directories("/tmp/root/proc")); // the leak check wants /proc
        ASSERT_EQ(mount("/proc", "/tmp/root/proc", nullptr, MS_BIND | MS_REC, nullptr), 0);
        ASSERT_EQ(chroot("/tmp/root"), 0);
        ASSERT_EQ(chdir("/"), 0);
        for (int i = 0; i < 2; i++)
            EXPECT_EQ(standard_error_of([] { event(filelogger_helper_callback, "program", LOG_C_INFO, "lost"); }), "");
        write_file("/tmp", "kept");
        EXPECT_EQ(standard_error_of([] { event(filelogger_helper_callback, "program", LOG_C_INFO, "lost"); }), "");
        EXPECT_EQ(text_of("/tmp"), "kept");
        fs::remove("/tmp");
        fs::create_directory("/tmp");
        EXPECT_EQ(standard_error_of([] { event(filelogger_helper_callback, "program", LOG_C_INFO, "first"); }),
                  "create folder\n");
        EXPECT_EQ(text_of(program_file), date + "INFO " + unit + "first\n");
    });
}

TEST(FileSink, DirectoryThatVanishesLaterIsReportedUntilItIsBack)
{
    in_own_places([] {
        fs::create_directory("/tmp/vantu");
        event(filelogger_helper_callback, "program", LOG_C_INFO, "first");
        fs::remove_all("/tmp/vantu");
        for (int i = 0; i < 2; i++)
            EXPECT_EQ(standard_error_of([] { event(filelogger_helper_callback, "program", LOG_C_INFO, "lost"); }),
                      failed("log_to_file/open", ENOENT));
        write_file("/tmp/vantu", "a file");
        EXPECT_EQ(standard_error_of([] { event(filelogger_helper_callback, "program", LOG_C_INFO, "lost"); }),
                  failed("log_to_file/open", ENOTDIR));
        fs::remove("/tmp/vantu");
        fs::create_directory("/tmp/vantu");
        EXPECT_EQ(standard_error_of([] { event(filelogger_helper_callback, "program", LOG_C_INFO, "next"); }), "");
        EXPECT_EQ(text_of(program_file), date + "INFO " + unit + "next\n");
    });
}

TEST(FileSink, LinkThatWasPlantedForTheFileIsNotFollowed)
{
    in_own_places([] {
        fs::create_directory("/tmp/vantu");
        write_file("/tmp/victim", "kept");
        fs::create_symlink("/tmp/victim", program_file);
        EXPECT_EQ(standard_error_of([] { event(filelogger_helper_callback, "program", LOG_C_INFO, "lost"); }),
                  failed("log_to_file/open", ELOOP));
        EXPECT_EQ(text_of("/tmp/victim"), "kept");
    });
}

// Sends a message that is cut to what a line has room for, and tells the model.
void send(rotation_model &model, const std::string &message, bool reached_the_disk = true)
{
    event(filelogger_helper_callback, "/usr/bin/program", LOG_C_INFO, "%s", message.c_str());
    model.write((date + "INFO " + unit + message).substr(0, 255), reached_the_disk);
}

TEST(FileSink, ManyEventsAreKeptOnceAndInOrderAsFarAsTheRotationKeepsThem)
{
    in_own_places([] {
        fs::create_directory("/tmp/vantu");
        rotation_model model(3, 65536);
        line_source source;
        const capture standard_error(STDERR_FILENO);
        for (int i = 0; i < many && !testing::Test::HasFailure(); i++) {
            send(model, source.line(i));
            if (i % 1000 == 999)
                expect_files(model, program_file, "after event " + std::to_string(i));
        }
        expect_files(model, program_file, "at the end");
        EXPECT_EQ(standard_error.text(), "");

        // The kept lines are numbered without a gap up to the last, and the old files are about full.
        std::istringstream kept(model.kept());
        const size_t at = (date + "INFO " + unit).size();
        int last = -1;
        for (std::string line; std::getline(kept, line);) {
            const int number = std::stoi(line.substr(at));
            EXPECT_TRUE(last == -1 || number == last + 1) << number << " follows " << last;
            last = number;
        }
        EXPECT_EQ(last, many - 1);
        for (int n = 1; n <= 3; n++) {
            EXPECT_GT(model.file(n)->size(), 65536U - 2 * 256);
            EXPECT_LE(model.file(n)->size(), 65536U);
        }
    });
}

TEST(FileSink, ManyEventsWhileTheFileIsDeletedAndTheDirectoryComesAndGoesLoseOnlyWhatIsReported)
{
    in_own_places([] {
        fs::create_directory("/tmp/vantu");
        rotation_model model(3, 65536);
        line_source source;
        bool there = true;
        int lost = 0;
        const capture standard_error(STDERR_FILENO);
        for (int i = 0; i < many && !testing::Test::HasFailure(); i++) {
            const std::string message = source.line(i);
            const size_t before = standard_error.size();
            if (there)
                send(model, message);
            else
                event(filelogger_helper_callback, "program", LOG_C_INFO, "%s", message.c_str());
            EXPECT_EQ(standard_error.text(before), there ? "" : failed("log_to_file/open", ENOENT)) << "event " << i;
            lost += there ? 0 : 1;

            if (source.random() % 500 == 0 && there) {
                fs::remove(program_file);
                model.remove(0);
            }
            if (source.random() % 1000 == 0) {
                there = !there;
                fs::rename(there ? "/tmp/away" : "/tmp/vantu", there ? "/tmp/vantu" : "/tmp/away");
            }
            if (there && i % 1000 == 999)
                expect_files(model, program_file, "after event " + std::to_string(i));
        }
        expect_files(model, there ? program_file : "/tmp/away/program.txt", "at the end");
        EXPECT_GT(lost, 1000);
    });
}

TEST(FileSink, ManyEventsWhileTheDiskIsFullLoseOnlyThoseThatAreReportedAndNoneInPart)
{
    in_own_places([] {
        fs::create_directory("/tmp/vantu");
        mount_disk("/tmp/vantu", "size=512k");
        rotation_model model(3, 65536);
        line_source source;
        int lost = 0;
        const capture standard_error(STDERR_FILENO);
        for (int i = 0; i < many && !testing::Test::HasFailure(); i++) {
            if (i % 2000 == 1000)
                fill_disk("/tmp/vantu", source.random() % 65536);
            if (i % 2000 == 0)
                fill_disk("/tmp/vantu", 512 * 1024);
            const std::string message = source.line(i);
            const size_t before = standard_error.size();
            event(filelogger_helper_callback, "program", LOG_C_INFO, "%s", message.c_str());
            const std::string messages = standard_error.text(before);
            model.write((date + "INFO " + unit + message).substr(0, 255), messages.empty());
            if (!messages.empty()) {
                EXPECT_EQ(messages, failed("log_to_file/write", ENOSPC)) << "event " << i;
                EXPECT_EQ(i / 1000 % 2, 1) << "event " << i << " is lost though there is room";
                lost++;
            }
            if (i % 500 == 499)
                expect_files(model, program_file, "after event " + std::to_string(i));
        }
        expect_files(model, program_file, "at the end");
        EXPECT_GT(lost, 1000) << "the disk was full";
    });
}

// ---------------------------------------------------------------- the system log

// What the system log's daemon received.
struct record {
    int priority;
    std::string name;
    std::string text;
};

bool operator==(const record &a, const record &b)
{
    return a.priority == b.priority && a.name == b.name && a.text == b.text;
}

std::ostream &operator<<(std::ostream &out, const record &r)
{
    return out << "<" << r.priority << "> " << r.name << ": " << r.text;
}

// The daemon's end of the socket.
class syslog_socket
{
public:
    syslog_socket() : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        memcpy(address.sun_path, _PATH_LOG, sizeof(_PATH_LOG));
        if (fd_ < 0 || bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0)
            abort();
    }
    ~syslog_socket()
    {
        (void)close(fd_);
        (void)unlink(_PATH_LOG);
    }
    syslog_socket(const syslog_socket &) = delete;
    syslog_socket &operator=(const syslog_socket &) = delete;

    // The next message, "<30>Feb 29 13:04:05 program: text"; one of priority -1 when there is none or it is no message.
    record receive() const
    {
        char packet[2048];
        const ssize_t length = recv(fd_, packet, sizeof(packet), 0);
        if (length < 0)
            return {-1, "", "nothing"};
        const std::string all(packet, static_cast<size_t>(length));
        int priority = -1;
        int at = -1;
        if (sscanf(all.c_str(), "<%d>%*3[A-Za-z] %*2[ 0-9] %*2[0-9]:%*2[0-9]:%*2[0-9]%n", &priority, &at) < 1 ||
            at < 0 || all.size() <= static_cast<size_t>(at) || all[static_cast<size_t>(at)] != ' ')
            return {-1, "", all};
        const std::string rest = all.substr(static_cast<size_t>(at) + 1);
        const size_t colon = rest.find(": ");
        if (colon == std::string::npos)
            return {-1, "", all};
        return {priority, rest.substr(0, colon), rest.substr(colon + 2)};
    }

private:
    int fd_;
};

const record nothing = {-1, "", "nothing"};

TEST(SyslogSink, SendsTheMessageWithoutLevelAndPlaceUnderThePriorityOfItsLevel)
{
    struct priority_case {
        int level;
        int priority; // on the wire, of the facility DAEMON
    };
    static_assert(LOG_DAEMON == 24);
    const priority_case cases[] = {
        {LOG_C_TRACE, 31}, {LOG_C_DEBUG, 31}, {LOG_C_INFO, 29}, {LOG_C_WARN, 28}, {LOG_C_ERROR, 27},
        {LOG_C_FATAL, 26}, {6, 27},           {-1, 27},         {1000, 27},
    };
    in_own_places([&cases] {
        const syslog_socket daemon;
        const std::string messages = standard_error_of([&] {
            for (const priority_case &row : cases) {
                event(syslog_helper_callback, "program", row.level, "%s %d of %.1f", "message", 7, 8.0);
                EXPECT_EQ(daemon.receive(), (record{row.priority, "program", "message 7 of 8.0"})) << row.level;
                EXPECT_EQ(daemon.receive(), nothing) << row.level;
            }
        });
        EXPECT_EQ(messages, "");
    });
}

TEST(SyslogSink, NamesTheProgramWithoutItsDirectoriesAndWithAtMost31Characters)
{
    struct name_case {
        const char *program;
        std::string name;
    };
    const std::string letters = "abcdefghijklmnopqrstuvwxyz0123456789";
    const std::string fits = "/usr/bin/" + letters.substr(0, 31);
    const std::string too_long = "/usr/bin/" + letters.substr(0, 32);
    const name_case cases[] = {
        {"program", "program"},
        {"./program", "program"},
        {"/usr/sbin/program", "program"},
        {"", ""},
        {nullptr, ""},
        {fits.c_str(), letters.substr(0, 31)},
        {too_long.c_str(), letters.substr(0, 31)},
    };
    for (const name_case &row : cases) {
        in_own_places([&row] {
            const syslog_socket daemon;
            event(syslog_helper_callback, row.program, LOG_C_INFO, "message");
            EXPECT_EQ(daemon.receive(), (record{29, row.name, "message"}));
        });
    }
}

TEST(SyslogSink, KeepsTheNameOfTheFirstCall)
{
    in_own_places([] {
        const syslog_socket daemon;
        char name[] = "/bin/program";
        event(syslog_helper_callback, name, LOG_C_INFO, "first");
        EXPECT_EQ(daemon.receive(), (record{29, "program", "first"}));
        memset(name, 'x', sizeof(name) - 1);
        event(syslog_helper_callback, name, LOG_C_INFO, "second");
        EXPECT_EQ(daemon.receive(), (record{29, "program", "second"}));
        event(syslog_helper_callback, "other", LOG_C_INFO, "third");
        EXPECT_EQ(daemon.receive(), (record{29, "program", "third"}));
        event(syslog_helper_callback, nullptr, LOG_C_INFO, "fourth");
        EXPECT_EQ(daemon.receive(), (record{29, "program", "fourth"}));
    });
}

TEST(SyslogSink, CutsTheMessageTo127Characters)
{
    in_own_places([] {
        const syslog_socket daemon;
        for (const size_t length : {1U, 126U, 127U, 128U, 129U, 5000U}) {
            const std::string text = std::string(length - 1, 'm') + "!";
            event(syslog_helper_callback, "program", LOG_C_WARN, "%s", text.c_str());
            EXPECT_EQ(daemon.receive(), (record{28, "program", text.substr(0, 127)})) << length;
        }
    });
}

TEST(SyslogSink, ShowsWhatDoesNotPrint)
{
    in_own_places([] {
        const syslog_socket daemon;
        for (const auto &[text, shown] : hostile) {
            event(syslog_helper_callback, "program", LOG_C_ERROR, "%s", text.c_str());
            EXPECT_EQ(daemon.receive(), (record{27, "program", shown}));
        }
        event(syslog_helper_callback, "program", LOG_C_ERROR, "wide %ls", L"\u20ac"); // an unknown conversion
        EXPECT_EQ(daemon.receive(), (record{27, "program", "wide %ls"}));
    });
}

TEST(SyslogSink, IsSilentWhileNobodyListensAndGoesOnWhenSomebodyDoes)
{
    in_own_places([] {
        const std::string output = standard_output_of([] {
            const std::string messages = standard_error_of([] {
                event(syslog_helper_callback, "program", LOG_C_FATAL, "lost");
                {
                    const syslog_socket daemon;
                    event(syslog_helper_callback, "program", LOG_C_INFO, "first");
                    EXPECT_EQ(daemon.receive(), (record{29, "program", "first"}));
                }
                event(syslog_helper_callback, "program", LOG_C_FATAL, "lost");
                const syslog_socket daemon;
                event(syslog_helper_callback, "program", LOG_C_INFO, "second");
                EXPECT_EQ(daemon.receive(), (record{29, "program", "second"}));
                EXPECT_EQ(daemon.receive(), nothing);
            });
            EXPECT_EQ(messages, "");
        });
        EXPECT_EQ(output, "");
    });
}

TEST(Sinks, ReceiveTheEventsOfTheirLevelsFromTheLogger)
{
    in_own_places([] {
        fs::create_directory("/tmp/vantu");
        const syslog_socket daemon;
        vantu_log_init("/usr/bin/program", filelogger_helper_callback, syslog_helper_callback, LOG_C_TRACE, LOG_C_INFO,
                       LOG_C_ERROR);
        log_set_quiet(true);
        log_debug("for nobody");
        log_warn("for the %s", "file");
        log_error("for %d sinks", 2);
        EXPECT_EQ(daemon.receive(), (record{27, "program", "for 2 sinks"}));
        EXPECT_EQ(daemon.receive(), nothing);

        std::ifstream file(program_file);
        texts lines;
        for (std::string line; std::getline(file, line);)
            lines.push_back(line.substr(date.size(), 24) + "..." + line.substr(line.rfind(": ")));
        EXPECT_EQ(lines,
                  (texts{"WARN  loghelper_test.cpp...: for the file", "ERROR loghelper_test.cpp...: for 2 sinks"}));
    });
}

// ---------------------------------------------------------------- the error dumper

constexpr char dump_file[] = "/tmp/log/dumpfile.txt";

void dumped(int level, const std::string &message)
{
    event(error_dumper_helper_callback, "program", level, "%s", message.c_str());
}

// The dump of so many lines, oldest first: those of the missing ones are empty, and each has its terminating NUL.
std::string dump_of(texts lines)
{
    constexpr size_t slots = 255;
    if (lines.size() > slots)
        lines.erase(lines.begin(), lines.end() - slots);
    lines.insert(lines.begin(), slots - lines.size(), "");
    std::string all;
    for (const std::string &line : lines)
        all += line + "\0\n"s;
    return all;
}

std::string line_of(const std::string &level, const std::string &message)
{
    return (date + level + unit + message).substr(0, 255);
}

// A case with the directory that the dump goes to.
void with_dump_directory(const std::function<void()> &run)
{
    in_own_places([&run] {
        fs::create_directory("/tmp/log");
        run();
    });
}

TEST(ErrorDumper, WritesNothingBelowError)
{
    with_dump_directory([] {
        for (int i = 0; i < 300; i++) {
            for (const int level : {LOG_C_TRACE, LOG_C_DEBUG, LOG_C_INFO, LOG_C_WARN})
                dumped(level, "message");
        }
        EXPECT_TRUE(fs::is_empty("/tmp/log"));
    });
}

TEST(ErrorDumper, FirstErrorWrites255LinesThatAreEmptyButTheLast)
{
    for (const int level : {LOG_C_ERROR, LOG_C_FATAL}) {
        with_dump_directory([level] {
            const mode_t mask = umask(0);
            const size_t before = open_descriptors();
            dumped(level, "message");
            (void)umask(mask);
            const std::string line = line_of(level == LOG_C_ERROR ? "ERROR" : "FATAL", "message");
            std::string want;
            for (int i = 0; i < 254; i++)
                want += "\0\n"s;
            EXPECT_EQ(difference(want + line + "\0\n"s, text_of(dump_file)), "");
            EXPECT_EQ(permissions(dump_file), 0600U);
            EXPECT_EQ(open_descriptors(), before) << "the file is closed after the dump";
        });
    }
}

TEST(ErrorDumper, DumpsTheLinesBeforeTheErrorOldestFirst)
{
    // How many events there were before; the ring has 256 slots and its next one is not dumped.
    for (const int events : {1, 2, 253, 254, 255, 256, 257, 258, 510, 511, 512, 513, 1000}) {
        with_dump_directory([events] {
            const char *const levels[] = {"TRACE", "DEBUG", "INFO ", "WARN "};
            texts lines;
            for (int i = 0; i < events; i++) {
                dumped(i % 4, "event " + std::to_string(i));
                lines.push_back(line_of(levels[i % 4], "event " + std::to_string(i)));
            }
            dumped(LOG_C_ERROR, "error");
            lines.push_back(line_of("ERROR", "error"));
            EXPECT_EQ(difference(dump_of(lines), text_of(dump_file)), "") << events;
        });
    }
}

TEST(ErrorDumper, EachErrorReplacesTheDumpAndIsPartOfTheNext)
{
    with_dump_directory([] {
        texts lines;
        for (int i = 0; i < 600; i++) {
            const bool error = i % 7 == 0;
            const std::string message = "event " + std::to_string(i);
            dumped(error ? LOG_C_ERROR : LOG_C_INFO, message);
            lines.push_back(line_of(error ? "ERROR" : "INFO ", message));
            if (error) {
                EXPECT_EQ(difference(dump_of(lines), text_of(dump_file)), "") << i;
            }
        }
    });
}

TEST(ErrorDumper, ShorterDumpLeavesNothingOfALongerOneBehind)
{
    with_dump_directory([] {
        for (int i = 0; i < 256; i++)
            dumped(LOG_C_INFO, std::string(200, 'x'));
        dumped(LOG_C_ERROR, "first");
        const auto before = fs::file_size(dump_file);
        for (int i = 0; i < 256; i++)
            dumped(LOG_C_INFO, "");
        dumped(LOG_C_ERROR, "second");
        EXPECT_LT(fs::file_size(dump_file), before);
        texts lines(254, line_of("INFO ", ""));
        lines.push_back(line_of("ERROR", "second"));
        EXPECT_EQ(difference(dump_of(lines), text_of(dump_file)), "");
    });
}

TEST(ErrorDumper, ReplacesAFileThatIsThereAndComesBackWhenItIsDeleted)
{
    with_dump_directory([] {
        write_file(dump_file, std::string(100000, 'x'));
        dumped(LOG_C_ERROR, "first");
        EXPECT_EQ(difference(dump_of({line_of("ERROR", "first")}), text_of(dump_file)), "");
        fs::remove(dump_file);
        dumped(LOG_C_INFO, "between");
        EXPECT_FALSE(fs::exists(dump_file));
        dumped(LOG_C_FATAL, "second");
        EXPECT_EQ(
            difference(dump_of({line_of("ERROR", "first"), line_of("INFO ", "between"), line_of("FATAL", "second")}),
                       text_of(dump_file)),
            "");
    });
}

TEST(ErrorDumper, CutsALineTo255CharactersAndItsNul)
{
    with_dump_directory([] {
        const size_t prefix = line_of("INFO ", "").size();
        texts lines;
        for (const size_t length : {254U, 255U, 256U, 257U, 5000U}) {
            const std::string message = std::string(length - prefix - 1, 'm') + "!";
            dumped(LOG_C_INFO, message);
            lines.push_back(line_of("INFO ", message));
        }
        const std::string last(5000, 'e');
        dumped(LOG_C_ERROR, last);
        lines.push_back(line_of("ERROR", last));
        EXPECT_EQ(lines.back().size(), 255U);
        EXPECT_EQ(difference(dump_of(lines), text_of(dump_file)), "");
    });
}

TEST(ErrorDumper, SlotThatHeldALongerLineShowsNothingOfIt)
{
    with_dump_directory([] {
        for (int i = 0; i < 256; i++)
            dumped(LOG_C_INFO, std::string(300, 'x'));
        texts lines;
        for (int i = 0; i < 254; i++) {
            event(error_dumper_helper_callback, "program", LOG_C_INFO, "%ls", L"\u20ac"); // an unknown conversion
            lines.push_back(line_of("INFO ", "%ls"));
        }
        dumped(LOG_C_ERROR, "error");
        lines.push_back(line_of("ERROR", "error"));
        EXPECT_EQ(difference(dump_of(lines), text_of(dump_file)), "");
    });
}

TEST(ErrorDumper, KeepsAMessageInOneLineAndShowsWhatDoesNotPrint)
{
    with_dump_directory([] {
        texts lines;
        for (const auto &[text, shown] : hostile) {
            dumped(LOG_C_WARN, text);
            lines.push_back(line_of("WARN ", shown));
        }
        dumped(LOG_C_ERROR, hostile[3].text);
        lines.push_back(line_of("ERROR", hostile[3].shown));
        EXPECT_EQ(difference(dump_of(lines), text_of(dump_file)), "");
    });
}

TEST(ErrorDumper, ErrorThatCannotBeDumpedIsReportedAndNotRemembered)
{
    struct dump_case {
        const char *name;
        void (*prepare)();
        int error;
    };
    const dump_case cases[] = {
        {"no directory", [] {}, ENOENT},
        {"a file for the directory", [] { write_file("/tmp/log", ""); }, ENOTDIR},
        {"a directory", [] { fs::create_directories(dump_file); }, EISDIR},
        {"a planted link",
         [] {
             fs::create_directory("/tmp/log");
             fs::create_symlink("/tmp/victim", dump_file);
         },
         ELOOP},
        {"a link to the directory",
         [] {
             fs::create_directory("/tmp/elsewhere");
             fs::create_directory_symlink("/tmp/elsewhere", "/tmp/log");
         },
         ELOOP},
        {"a FIFO that nobody reads",
         [] {
             fs::create_directory("/tmp/log");
             (void)mkfifo(dump_file, 0600);
         },
         ENXIO},
    };
    for (const dump_case &row : cases) {
        in_own_places([&row] {
            write_file("/tmp/victim", "kept");
            row.prepare();
            dumped(LOG_C_INFO, "before");
            for (const int level : {LOG_C_ERROR, LOG_C_FATAL})
                EXPECT_EQ(standard_error_of([level] { dumped(level, "lost"); }), failed("log_to_file/open", row.error))
                    << row.name;
            EXPECT_EQ(text_of("/tmp/victim"), "kept") << row.name;
            if (row.error == ENOENT) {
                EXPECT_FALSE(fs::exists("/tmp/log")) << "the directory is not created";
            }

            dumped(LOG_C_INFO, "between");
            fs::remove_all("/tmp/log");
            fs::create_directory("/tmp/log");
            EXPECT_EQ(standard_error_of([] { dumped(LOG_C_ERROR, "error"); }), "") << row.name;
            EXPECT_EQ(difference(
                          dump_of({line_of("INFO ", "before"), line_of("INFO ", "between"), line_of("ERROR", "error")}),
                          text_of(dump_file)),
                      "")
                << row.name;
        });
    }
}

TEST(ErrorDumper, DescriptorIsNotPassedOn)
{
    with_dump_directory([] {
        int flags = -1;
        faults.write = [&flags](int fd, const void *text, size_t length) {
            flags = fcntl(fd, F_GETFD);
            return write(fd, text, length);
        };
        dumped(LOG_C_ERROR, "error");
        faults.write = nullptr;
        EXPECT_EQ(flags, FD_CLOEXEC);
        EXPECT_EQ(difference(dump_of({line_of("ERROR", "error")}), text_of(dump_file)), "");
    });
}

TEST(ErrorDumper, WriteThatASignalInterruptsIsRepeated)
{
    with_dump_directory([] {
        int calls = 0;
        faults.write = [&calls](int fd, const void *text, size_t length) -> ssize_t {
            if (++calls % 3 == 0)
                return write(fd, text, length);
            errno = EINTR;
            return -1;
        };
        const std::string output = standard_output_of([] {
            dumped(LOG_C_ERROR, "error");
            faults.write = nullptr; // what is printed must reach the capture
        });
        EXPECT_EQ(output, "");
        EXPECT_EQ(difference(dump_of({line_of("ERROR", "error")}), text_of(dump_file)), "");
    });
}

// How many lines say that a write failed with this error; -1 when there is any other line.
int reported_failures(const std::string &output, int error)
{
    const std::string message = "failed to write to file (errno " + std::to_string(error) + ")";
    std::istringstream lines(output);
    int count = 0;
    for (std::string line; std::getline(lines, line); count++) {
        if (line != message)
            return -1;
    }
    return count;
}

TEST(ErrorDumper, EveryFailedWriteIsPrintedOnStandardOutputAndTheErrorIsRemembered)
{
    with_dump_directory([] {
        for (const int error : {ENOSPC, EIO}) {
            faults.write = [error](int, const void *, size_t) -> ssize_t {
                errno = error;
                return -1;
            };
            std::string output;
            const std::string messages = standard_error_of([&output] {
                output = standard_output_of([] {
                    dumped(LOG_C_ERROR, "failed");
                    faults.write = nullptr;
                });
            });
            EXPECT_EQ(messages, "");
            EXPECT_GE(reported_failures(output, error), 255) << output.substr(0, 200);
        }
        dumped(LOG_C_ERROR, "last");
        EXPECT_EQ(
            difference(dump_of({line_of("ERROR", "failed"), line_of("ERROR", "failed"), line_of("ERROR", "last")}),
                       text_of(dump_file)),
            "");
    });
}

TEST(ErrorDumper, FullDiskKeepsTheBeginningOfTheDumpAndTheNextErrorWritesAll)
{
    with_dump_directory([] {
        mount_disk("/tmp/log", "size=64k");
        texts lines;
        for (int i = 0; i < 254; i++) {
            dumped(LOG_C_INFO, "event " + std::to_string(i));
            lines.push_back(line_of("INFO ", "event " + std::to_string(i)));
        }
        fill_disk("/tmp/log", 4096);
        const std::string output = standard_output_of([] { dumped(LOG_C_ERROR, "first"); });
        lines.push_back(line_of("ERROR", "first"));
        EXPECT_GT(reported_failures(output, ENOSPC), 100) << output.substr(0, 200);
        const std::string got = text_of(dump_file).value_or("");
        EXPECT_GT(got.size(), 3000U);
        EXPECT_EQ(got, dump_of(lines).substr(0, got.size()));

        fill_disk("/tmp/log", 65536);
        EXPECT_EQ(standard_output_of([] { dumped(LOG_C_ERROR, "second"); }), "");
        lines.push_back(line_of("ERROR", "second"));
        EXPECT_EQ(difference(dump_of(lines), text_of(dump_file)), "");
    });
}

// The disk may have room again right after a write that failed.
TEST(ErrorDumper, LineWhoseWriteFailsHalfwayDoesNotRunIntoTheNextOne)
{
    with_dump_directory([] {
        texts lines;
        for (int i = 0; i < 254; i++) {
            dumped(LOG_C_INFO, "event " + std::to_string(i));
            lines.push_back(line_of("INFO ", "event " + std::to_string(i)));
        }
        // The line of event 100 is cut after 30 bytes, and the next write fails.
        int failing = 0;
        faults.write = [&failing](int fd, const void *text, size_t length) -> ssize_t {
            if (failing == 1) {
                failing = 2;
                errno = ENOSPC;
                return -1;
            }
            if (failing == 0 && memmem(text, length, "event 100", 9) != nullptr) {
                failing = 1;
                return write(fd, text, 30);
            }
            return write(fd, text, length);
        };
        const std::string output = standard_output_of([] {
            dumped(LOG_C_ERROR, "error");
            faults.write = nullptr;
        });
        lines.push_back(line_of("ERROR", "error"));
        EXPECT_EQ(failing, 2);
        ASSERT_GE(reported_failures(output, ENOSPC), 1) << output.substr(0, 200);

        // What failed is missing or stands there in part, on a line of its own. The others are whole and in order.
        std::istringstream got(text_of(dump_file).value_or(""));
        auto rest = lines.cbegin();
        int whole = 0;
        for (std::string line; std::getline(got, line);) {
            if (line.empty() || line.back() != '\0')
                continue;
            line.pop_back();
            const auto at = std::find(rest, lines.cend(), line);
            ASSERT_NE(at, lines.cend()) << line;
            rest = at + 1;
            whole++;
        }
        EXPECT_GE(whole + reported_failures(output, ENOSPC), 255);
    });
}

} // namespace
