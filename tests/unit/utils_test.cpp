// The small helpers: the ubus call over a tool that is a script, the heartbeat file, copying and reading
// files, texts and protocol names.

#include "vantu-libs2/utils.h"

#include "support.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

// A test asks for more memory than there is.
extern "C" const char *__asan_default_options()
{
    return "allocator_may_return_null=1:max_allocation_size_mb=512";
}

namespace
{

bool reluctant_writes = false;
int writes = 0;

} // namespace

// Stands before the C library's: on demand every other call is interrupted and the others write a little
// only.
extern "C" ssize_t write(int fd, const void *block, size_t length)
{
    writes++;
    if (reluctant_writes && writes % 2 == 0) {
        errno = EINTR;
        return -1;
    }
    return syscall(SYS_write, fd, block, reluctant_writes && length > 1000 ? 1000 : length);
}

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;

namespace
{

// Sets the mask for new files while it lives.
class file_mask
{
public:
    explicit file_mask(mode_t mask) : before_(umask(mask)) {}
    ~file_mask() { (void)umask(before_); }
    file_mask(const file_mask &) = delete;
    file_mask &operator=(const file_mask &) = delete;

private:
    mode_t before_;
};

mode_t mode_of(const std::string &path)
{
    struct stat info = {};
    EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
    return info.st_mode & 07777U;
}

// A `ubus` that prints `output` and ends with `status`; its arguments are noted one a line.
struct fake_ubus : fake_tool {
    explicit fake_ubus(const std::string &output, int status = 0)
        : fake_tool("ubus", output, status, "for a; do echo \"[$a]\"; done")
    {
    }
};

const std::string called = "[-t]\n[2]\n[-S]\n[call]\n";

TEST(UbusCmdCall, SendsTheArgumentsAndReadsTheFirstLine)
{
    const struct {
        const char *name;
        const char *json;
        const char *sent;
        std::string output;
        const char *reply;
    } rows[] = {
        {"arguments", R"({"name":"lan"})", R"({"name":"lan"})", "{\"up\":true}\n", "{\"up\":true}\n"},
        {"null arguments send the empty object", nullptr, "{}", "{}\n", "{}\n"},
        {"empty arguments stay empty", "", "", "{}\n", "{}\n"},
        {"arguments with blanks are one word", R"({ "a" : "b  c" })", R"({ "a" : "b  c" })", "x\n", "x\n"},
        {"the shell expands nothing", "$PATH `id` $(id) * ; \\ \"", "$PATH `id` $(id) * ; \\ \"", "x\n", "x\n"},
        {"format characters stay", "%s%n", "%s%n", "%s%n\n", "%s%n\n"},
        {"the first of several lines", nullptr, "{}", "first\nsecond\n", "first\n"},
        {"no last newline", nullptr, "{}", "{}", "{}"},
        {"a blank line", nullptr, "{}", "\n{}\n", "\n"},
    };
    for (const auto &row : rows) {
        const fake_ubus ubus(row.output);
        log_capture log;
        char reply[64];
        memset(reply, '#', sizeof(reply));
        EXPECT_EQ(ubus_cmd_call("system", "board", row.json, reply, sizeof(reply)), 0) << row.name;
        EXPECT_STREQ(reply, row.reply) << row.name;
        EXPECT_EQ(ubus.calls(), called + "[system]\n[board]\n[" + row.sent + "]\n") << row.name;
        const texts lines = {"TRACE ubus_cmd_call maxlen 64",
                             "TRACE calling ubus -t 2 -S call system board '"s + row.sent + "'"};
        EXPECT_EQ(log.lines, lines) << row.name;
        EXPECT_TRUE(no_child_is_left()) << row.name;
    }
}

TEST(UbusCmdCall, CutsTheReplyAtOneLessThanItsLength)
{
    const struct {
        const char *name;
        int maxlen;
        const char *reply;
    } rows[] = {
        {"room for more than the line", 16, "0123456789\n"},
        {"the line fits", 12, "0123456789\n"},
        {"the newline does not fit", 11, "0123456789"},
        {"cut", 5, "0123"},
        {"one character", 2, "0"},
        {"none", 1, ""},
    };
    for (const auto &row : rows) {
        const fake_ubus ubus("0123456789\nmore\n");
        log_capture log;
        char reply[17];
        memset(reply, '#', sizeof(reply));
        EXPECT_EQ(ubus_cmd_call("o", "m", nullptr, reply, row.maxlen), 0) << row.name;
        EXPECT_STREQ(reply, row.reply) << row.name;
        EXPECT_EQ(reply[row.maxlen], '#') << row.name;
        EXPECT_EQ(log.lines.size(), 2U) << row.name;
    }
}

TEST(UbusCmdCall, AReplyOfNoLengthIsNotTouched)
{
    const fake_ubus ubus("{}\n");
    log_capture log;
    char reply[] = "#";
    EXPECT_EQ(ubus_cmd_call("o", "m", nullptr, reply, 0), 0);
    EXPECT_STREQ(reply, "#");
    const texts lines = {"TRACE ubus_cmd_call maxlen 0", "TRACE calling ubus -t 2 -S call o m '{}'",
                         "ERROR fgets returned NULL"};
    EXPECT_EQ(log.lines, lines);
}

TEST(UbusCmdCall, LeavesAnEmptyReplyWhenNothingCame)
{
    const texts lines = {"TRACE ubus_cmd_call maxlen 8", "TRACE calling ubus -t 2 -S call o m '{}'",
                         "ERROR fgets returned NULL"};
    for (const int status : {0, 4}) {
        const fake_ubus ubus("", status);
        log_capture log;
        char reply[8] = "old";
        EXPECT_EQ(ubus_cmd_call("o", "m", nullptr, reply, sizeof(reply)), 0) << status;
        EXPECT_STREQ(reply, "") << status;
        EXPECT_EQ(log.lines, lines) << status;
    }
    const temp_dir nothing;
    const search_path path(nothing.path(), true);
    log_capture log;
    char reply[8] = "old";
    EXPECT_EQ(ubus_cmd_call("o", "m", nullptr, reply, sizeof(reply)), 0) << "missing tool";
    EXPECT_STREQ(reply, "") << "missing tool";
    EXPECT_EQ(log.lines, lines) << "missing tool";
    EXPECT_TRUE(no_child_is_left());
}

TEST(UbusCmdCall, IgnoresTheToolsExitStatus)
{
    const fake_ubus ubus("{}\n", 9);
    log_capture log;
    char reply[8];
    EXPECT_EQ(ubus_cmd_call("o", "m", nullptr, reply, sizeof(reply)), 0);
    EXPECT_STREQ(reply, "{}\n");
    EXPECT_EQ(log.lines.size(), 2U);
}

TEST(UbusCmdCall, DoesNotWaitForAReaderOfTheRest)
{
    const fake_ubus ubus("first\n" + std::string(300000, 'x') + "\n");
    const quiet_log quiet;
    char reply[16];
    const size_t before = open_descriptors();
    EXPECT_EQ(ubus_cmd_call("o", "m", nullptr, reply, sizeof(reply)), 0);
    EXPECT_STREQ(reply, "first\n");
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_TRUE(no_child_is_left());
}

TEST(UbusCmdCall, TheCommandLineIsCutAt511Characters)
{
    const std::string start = "ubus -t 2 -S call o m '";
    const std::string whole(511 - start.size() - 1, 'x');
    {
        const fake_ubus ubus("{}\n");
        log_capture log;
        char reply[8];
        EXPECT_EQ(ubus_cmd_call("o", "m", whole.c_str(), reply, sizeof(reply)), 0);
        EXPECT_EQ(ubus.calls(), called + "[o]\n[m]\n[" + whole + "]\n");
        EXPECT_STREQ(reply, "{}\n");
        EXPECT_EQ(log.lines.back(), "TRACE calling " + start + whole + "'");
    }
    // One more loses the closing quote, so that the shell refuses the line.
    const fake_ubus ubus("{}\n");
    log_capture log;
    char reply[8];
    EXPECT_EQ(ubus_cmd_call("o", "m", (whole + "x").c_str(), reply, sizeof(reply)), 0);
    EXPECT_EQ(ubus.calls(), "");
    EXPECT_STREQ(reply, "");
    const texts lines = {"TRACE ubus_cmd_call maxlen 8", "TRACE calling " + start + whole + "x",
                         "ERROR fgets returned NULL"};
    EXPECT_EQ(log.lines, lines);
}

TEST(UbusCmdCall, AToolThatWasAlreadyReapedIsLogged)
{
    const fake_ubus ubus("{}\n");
    log_capture log;
    char reply[8];
    const auto before = signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(ubus_cmd_call("o", "m", nullptr, reply, sizeof(reply)), 0);
    (void)signal(SIGCHLD, before);
    EXPECT_STREQ(reply, "{}\n");
    const std::string reason = std::to_string(ECHILD) + ", " + strerror(ECHILD);
    ASSERT_EQ(log.lines.size(), 3U);
    EXPECT_EQ(log.lines[2], "ERROR ubus -t 2 -S call o m '{}' errno:" + reason);
}

TEST(UbusCmdCall, ReturnsOneWithAMessageWhenThePipeCannotBeOpened)
{
    EXPECT_EQ(in_child([] {
                  log_capture log;
                  forbid_new_descriptors();
                  char reply[8] = "";
                  if (ubus_cmd_call("o", "m", nullptr, reply, sizeof(reply)) != 1)
                      return 1;
                  const texts lines = {"TRACE ubus_cmd_call maxlen 8", "TRACE calling ubus -t 2 -S call o m '{}'",
                                       "ERROR Failed to run ubus -t 2 -S call o m '{}'"};
                  return log.lines == lines ? 0 : 2;
              }),
              0);
}

struct file_times {
    time_t access;
    time_t modification;
};

file_times times_of(const std::string &path)
{
    struct stat info = {};
    EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
    return {info.st_atime, info.st_mtime};
}

void set_times(const std::string &path, file_times times)
{
    const timespec both[2] = {{times.access, 0}, {times.modification, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), both, 0), 0) << path;
}

TEST(Heartbeat, CreatesAMissingFileReadOnlyForAll)
{
    const temp_dir dir;
    const file_mask mask(0);
    log_capture log;
    const time_t before = time(nullptr);
    EXPECT_EQ(heartbeat((dir / "beat").c_str()), 0);
    EXPECT_EQ(mode_of(dir / "beat"), 0444U);
    EXPECT_EQ(fs::file_size(dir / "beat"), 0U);
    EXPECT_GE(times_of(dir / "beat").modification, before);
    EXPECT_EQ(log.lines, texts{});
}

TEST(Heartbeat, MovesThePreviousModificationTimeToTheAccessTime)
{
    const temp_dir dir;
    write_file(dir / "beat", "content");
    set_times(dir / "beat", {5, 1000000});
    (void)chmod((dir / "beat").c_str(), 0640);

    const time_t before = time(nullptr);
    EXPECT_EQ(heartbeat((dir / "beat").c_str()), 0);
    const file_times first = times_of(dir / "beat");
    EXPECT_EQ(first.access, 1000000);
    EXPECT_GE(first.modification, before);
    EXPECT_LE(first.modification, time(nullptr));

    EXPECT_EQ(heartbeat((dir / "beat").c_str()), 0);
    EXPECT_EQ(times_of(dir / "beat").access, first.modification);

    EXPECT_EQ(content_of(dir / "beat"), "content");
    EXPECT_EQ(mode_of(dir / "beat"), 0640U);
}

TEST(Heartbeat, OfAPathThatCannotBeOpenedLogsAnErrorAndReturnsZero)
{
    const temp_dir dir;
    write_file(dir / "file", "");
    fs::create_directory(dir / "directory");
    fs::create_symlink("loop", dir / "loop");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, (dir / "socket").c_str());
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof(address)), 0);

    const struct {
        const char *name;
        std::string path;
    } rows[] = {
        {"missing directory", dir / "none/beat"},
        {"a file as directory", dir / "file/beat"},
        {"symbolic links in a circle", dir / "loop"},
        {"an empty path", ""},
        {"a name of 300 characters", dir / std::string(300, 'x')},
        {"a directory", dir / "directory"},
        {"a socket", dir / "socket"},
    };
    for (const auto &row : rows) {
        log_capture log;
        EXPECT_EQ(heartbeat(row.path.c_str()), 0) << row.name;
        EXPECT_EQ(log.lines.size(), 1U) << row.name;
        for (const std::string &line : log.lines) {
            EXPECT_EQ(line.rfind("ERROR ", 0), 0U) << row.name;
            EXPECT_NE(line.find(row.path), std::string::npos) << row.name;
        }
    }
    (void)close(listener);
}

TEST(Heartbeat, DoesNotWaitForTheOtherEndOfAPipe)
{
    const temp_dir dir;
    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0644), 0);
    set_times(dir / "pipe", {5, 1000000});
    EXPECT_EQ(heartbeat((dir / "pipe").c_str()), 0);
    EXPECT_EQ(times_of(dir / "pipe").access, 1000000);
}

TEST(Heartbeat, WithoutDescriptorsLogsAnErrorAndReturnsZero)
{
    const temp_dir dir;
    EXPECT_EQ(in_child([&] {
                  log_capture log;
                  forbid_new_descriptors();
                  if (heartbeat((dir / "beat").c_str()) != 0)
                      return 1;
                  return log.lines.size() == 1 && log.lines[0].rfind("ERROR ", 0) == 0 ? 0 : 2;
              }),
              0);
    EXPECT_FALSE(fs::exists(dir / "beat"));
}

TEST(Heartbeat, IsMinusOneWhenTheFileBecomesDescriptorZero)
{
    const temp_dir dir;
    EXPECT_EQ(in_child([&] {
                  (void)close(0);
                  return heartbeat((dir / "beat").c_str()) == -1 ? 0 : 1;
              }),
              0);
    EXPECT_TRUE(fs::exists(dir / "beat"));
}

TEST(Heartbeat, LeavesNoDescriptorOpen)
{
    const temp_dir dir;
    const size_t before = open_descriptors();
    EXPECT_EQ(heartbeat((dir / "beat").c_str()), 0);
    EXPECT_EQ(open_descriptors(), before);
}

// Bytes of every value, in another order in each block.
std::string binary(size_t size)
{
    std::string out(size, '\0');
    for (size_t i = 0; i < size; i++)
        out[i] = static_cast<char>(i + i / 4096 * 7);
    return out;
}

TEST(VantuCp, CopiesFilesOfAnySize)
{
    for (const size_t size : {0U, 1U, 4095U, 4096U, 4097U, 8192U, 5U * 4096U + 17U, 1U << 20U}) {
        const temp_dir dir;
        write_file(dir / "from", binary(size));
        log_capture log;
        const size_t before = open_descriptors();
        EXPECT_EQ(vantu_cp((dir / "to").c_str(), (dir / "from").c_str()), 0) << size;
        EXPECT_TRUE(content_of(dir / "to") == binary(size)) << size;
        EXPECT_TRUE(content_of(dir / "from") == binary(size)) << size;
        EXPECT_EQ(open_descriptors(), before) << size;
        EXPECT_EQ(log.lines, texts{}) << size;
    }
}

TEST(VantuCp, TheCopyHasMode0666LessTheMask)
{
    const temp_dir dir;
    write_file(dir / "from", "x");
    (void)chmod((dir / "from").c_str(), 0755);
    const struct {
        mode_t mask;
        mode_t mode;
    } rows[] = {{0, 0666}, {022, 0644}, {027, 0640}};
    for (const auto &row : rows) {
        const file_mask mask(row.mask);
        const std::string to = dir / std::to_string(row.mask);
        EXPECT_EQ(vantu_cp(to.c_str(), (dir / "from").c_str()), 0);
        EXPECT_EQ(mode_of(to), row.mode);
    }
}

TEST(VantuCp, FailuresAreLoggedWithErrnoWhichStaysAndLeaveNothingBehind)
{
    const temp_dir dir;
    write_file(dir / "from", "new");
    write_file(dir / "existing", "old");
    fs::create_directory(dir / "directory");
    fs::create_symlink("nowhere", dir / "dangling");
    const struct {
        const char *name;
        const char *to;
        const char *from;
        int reason;
        const char *left; // content of the target, null when there is to be none
    } rows[] = {
        {"the target exists", "existing", "from", EEXIST, "old"},
        {"the target is the source", "from", "from", EEXIST, "new"},
        {"the target is a link to nothing", "dangling", "from", EEXIST, nullptr},
        {"the target's directory is missing", "none/to", "from", ENOENT, nullptr},
        {"the target's directory is a file", "existing/to", "from", ENOTDIR, nullptr},
        {"the source is missing", "to", "none", ENOENT, nullptr},
        {"the source is missing and the target exists", "existing", "none", ENOENT, "old"},
        {"the source is a directory, which opens but cannot be read", "to", "directory", EISDIR, nullptr},
    };
    for (const auto &row : rows) {
        log_capture log;
        errno = 0;
        const int result = vantu_cp((dir / row.to).c_str(), (dir / row.from).c_str());
        const int reason = errno;
        EXPECT_EQ(result, -1) << row.name;
        EXPECT_EQ(reason, row.reason) << row.name;
        EXPECT_EQ(log.lines, texts{"ERROR cp failed with errno " + std::to_string(row.reason)}) << row.name;
        EXPECT_EQ(fs::exists(dir / row.to), row.left != nullptr) << row.name;
        if (row.left != nullptr) {
            EXPECT_EQ(content_of(dir / row.to), row.left) << row.name;
        }
    }
    EXPECT_TRUE(fs::is_symlink(dir / "dangling"));
    EXPECT_FALSE(fs::exists(dir / "nowhere"));
}

bool sinks_change_errno = false;

TEST(VantuCp, ErrnoSurvivesASinkThatChangesIt)
{
    (void)log_add_callback(
        [](log_Event *) {
            if (sinks_change_errno)
                errno = ENOSPC;
        },
        nullptr, LOG_C_TRACE);
    const temp_dir dir;
    const quiet_log quiet;
    sinks_change_errno = true;
    errno = 0;
    const int result = vantu_cp((dir / "to").c_str(), (dir / "none").c_str());
    const int reason = errno;
    sinks_change_errno = false;
    EXPECT_EQ(result, -1);
    EXPECT_EQ(reason, ENOENT);
}

TEST(VantuCp, WhenTheDiskFillsNoPartOfTheCopyStays)
{
    const temp_dir dir;
    write_file(dir / "from", binary(20000));
    for (const rlim_t limit : {0U, 1U, 4096U, 5000U, 19999U}) {
        EXPECT_EQ(in_child([&] {
                      log_capture log;
                      (void)signal(SIGXFSZ, SIG_IGN);
                      limit_file_size(limit);
                      errno = 0;
                      const int result = vantu_cp((dir / "to").c_str(), (dir / "from").c_str());
                      const int reason = errno;
                      if (result != -1)
                          return 1;
                      if (reason != EFBIG)
                          return 2;
                      return log.lines == texts{"ERROR cp failed with errno " + std::to_string(EFBIG)} ? 0 : 3;
                  }),
                  0)
            << limit;
        EXPECT_FALSE(fs::exists(dir / "to")) << limit;
    }
    EXPECT_EQ(in_child([&] {
                  limit_file_size(20000);
                  return vantu_cp((dir / "to").c_str(), (dir / "from").c_str());
              }),
              0);
    EXPECT_TRUE(content_of(dir / "to") == binary(20000));
}

TEST(VantuCp, PartialWritesContinueAndInterruptedOnesAreRepeated)
{
    const temp_dir dir;
    write_file(dir / "from", binary(10000));
    log_capture log;
    writes = 0;
    reluctant_writes = true;
    const int result = vantu_cp((dir / "to").c_str(), (dir / "from").c_str());
    reluctant_writes = false;
    EXPECT_EQ(result, 0);
    EXPECT_GE(writes, 10);
    EXPECT_TRUE(content_of(dir / "to") == binary(10000));
    EXPECT_EQ(log.lines, texts{});
}

TEST(VantuCp, SignalsDoNotDisturbIt)
{
    const temp_dir dir;
    ASSERT_EQ(mkfifo((dir / "from").c_str(), 0600), 0);
    struct sigaction ignoring = {};
    ignoring.sa_handler = [](int) {}; // and no SA_RESTART: a read that waits ends with EINTR
    struct sigaction before = {};
    ASSERT_EQ(sigaction(SIGUSR1, &ignoring, &before), 0);
    const std::string from = dir / "from";
    const pid_t parent = getpid();
    const pid_t writer = fork();
    if (writer == 0) {
        const int pipe = open(from.c_str(), O_WRONLY);
        bool sent = pipe >= 0;
        for (int i = 0; i < 20 && sent; i++) {
            (void)kill(parent, SIGUSR1);
            (void)usleep(1000);
            sent = write(pipe, "x", 1) == 1;
        }
        _exit(sent ? 0 : 1);
    }
    log_capture log;
    EXPECT_EQ(vantu_cp((dir / "to").c_str(), from.c_str()), 0);
    int status = -1;
    while (waitpid(writer, &status, 0) == -1 && errno == EINTR) {
    }
    (void)sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(content_of(dir / "to"), std::string(20, 'x'));
    EXPECT_EQ(log.lines, texts{});
}

TEST(VantuCp, WaitsForNoFifoWithoutAWriter)
{
    const temp_dir dir;
    ASSERT_EQ(mkfifo((dir / "from").c_str(), 0600), 0);
    (void)alarm(60);
    log_capture log;
    EXPECT_EQ(vantu_cp((dir / "to").c_str(), (dir / "from").c_str()), -1);
    (void)alarm(0);
    EXPECT_EQ(log.lines, texts{"ERROR cp failed with errno " + std::to_string(ENXIO)});
    EXPECT_FALSE(fs::exists(dir / "to"));
}

TEST(VantuCp, CopiesWhenTheSourceBecomesDescriptorZero)
{
    const temp_dir dir;
    write_file(dir / "from", "x");
    EXPECT_EQ(in_child([&] {
                  (void)close(0);
                  return vantu_cp((dir / "to").c_str(), (dir / "from").c_str());
              }),
              0);
    EXPECT_EQ(content_of(dir / "to"), "x");
}

struct text_owner {
    explicit text_owner(char *owned) : text(owned) {}
    ~text_owner() { free(text); }
    text_owner(const text_owner &) = delete;
    text_owner &operator=(const text_owner &) = delete;
    char *text;
};

TEST(ReadFileToChar, GivesTheWholeFileAndATerminator)
{
    const struct {
        const char *name;
        std::string content;
    } rows[] = {
        {"empty", ""},
        {"one character", "x"},
        {"lines", "first\nsecond\r\nthird"},
        {"NUL bytes", "a\0b\0\0"s},
        {"every byte", binary(256)},
        {"large", binary(300001)},
    };
    for (const auto &row : rows) {
        const temp_dir dir;
        write_file(dir / "file", row.content);
        log_capture log;
        const size_t before = open_descriptors();
        const text_owner got(vantu_read_file_to_char((dir / "file").c_str()));
        EXPECT_EQ(open_descriptors(), before) << row.name;
        ASSERT_NE(got.text, nullptr) << row.name;
        EXPECT_EQ(memcmp(got.text, row.content.data(), row.content.size()), 0) << row.name;
        EXPECT_EQ(got.text[row.content.size()], '\0') << row.name;
        EXPECT_EQ(log.lines, texts{}) << row.name;
    }
}

TEST(ReadFileToChar, AHoleReadsAsNulBytes)
{
    const temp_dir dir;
    write_file(dir / "file", "begin");
    fs::resize_file(dir / "file", 100000);
    const text_owner got(vantu_read_file_to_char((dir / "file").c_str()));
    ASSERT_NE(got.text, nullptr);
    EXPECT_STREQ(got.text, "begin");
    EXPECT_EQ(std::string(got.text + 5, 100001 - 5), std::string(100001 - 5, '\0'));
}

TEST(ReadFileToChar, IsNullWithAMessageWhenTheFileCannotBeOpened)
{
    const temp_dir dir;
    write_file(dir / "file", "x");
    for (const std::string &path : {dir / "none", dir / "file/none", ""s}) {
        log_capture log;
        EXPECT_EQ(vantu_read_file_to_char(path.c_str()), nullptr) << path;
        EXPECT_EQ(log.lines, texts{"DEBUG unable to open " + path}) << path;
    }
}

// Such are the files of /sys, which claim a whole page.
TEST(ReadFileToChar, AShortReadIsLoggedAndGivesWhatWasRead)
{
    const char *path = "/sys/class/net/lo/mtu";
    const std::string content = content_of(path);
    if (content.empty())
        GTEST_SKIP() << path << " is not there";
    const std::string size = std::to_string(fs::file_size(path));
    ASSERT_NE(size, std::to_string(content.size()));
    log_capture log;
    const text_owner got(vantu_read_file_to_char(path));
    ASSERT_NE(got.text, nullptr);
    EXPECT_EQ(got.text, content);
    EXPECT_EQ(log.lines, texts{"ERROR file size != read length (" + size + " " + std::to_string(content.size()) + ")"});
}

TEST(ReadFileToChar, ADirectoryGivesAnEmptyTextAndTheMessageOfAShortRead)
{
    const temp_dir dir;
    struct stat info = {};
    ASSERT_EQ(stat(dir.path().c_str(), &info), 0);
    if (info.st_size == 0)
        GTEST_SKIP() << "directories have no size here";
    log_capture log;
    const text_owner got(vantu_read_file_to_char(dir.path().c_str()));
    ASSERT_NE(got.text, nullptr);
    EXPECT_STREQ(got.text, "");
    EXPECT_EQ(log.lines, texts{"ERROR file size != read length (" + std::to_string(info.st_size) + " 0)"});
}

// Such are the files of /proc.
TEST(ReadFileToChar, AFileWithoutSizeIsReadToItsEnd)
{
    const std::string content = content_of("/proc/version");
    ASSERT_NE(content, "");
    log_capture log;
    const text_owner got(vantu_read_file_to_char("/proc/version"));
    ASSERT_NE(got.text, nullptr);
    EXPECT_EQ(got.text, content);
    EXPECT_EQ(log.lines, texts{});
}

TEST(ReadFileToChar, AFileWithoutSizeMayBeLong)
{
    const std::string content = content_of("/proc/kallsyms");
    if (content.size() < 100000)
        GTEST_SKIP() << "/proc/kallsyms is short here";
    log_capture log;
    const text_owner got(vantu_read_file_to_char("/proc/kallsyms"));
    ASSERT_NE(got.text, nullptr);
    EXPECT_EQ(got.text, content);
    EXPECT_EQ(log.lines, texts{});
}

TEST(ReadFileToChar, ADeviceOrAFifoIsEmpty)
{
    const temp_dir dir;
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
    const int both_ends = open((dir / "fifo").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(write(both_ends, "text", 4), 4);
    (void)alarm(60);
    for (const std::string &path : {dir / "fifo", "/dev/zero"s}) {
        const text_owner got(vantu_read_file_to_char(path.c_str()));
        ASSERT_NE(got.text, nullptr) << path;
        EXPECT_STREQ(got.text, "") << path;
    }
    (void)alarm(0);
    (void)close(both_ends);
}

// Half a gigabyte; with AddressSanitizer its option above does this.
void limit_memory()
{
#ifndef __SANITIZE_ADDRESS__
    const rlimit memory = {512U << 20U, 512U << 20U};
    (void)setrlimit(RLIMIT_AS, &memory);
#endif
}

TEST(ReadFileToChar, IsNullWhenMemoryIsShort)
{
    const temp_dir dir;
    write_file(dir / "file", "");
    fs::resize_file(dir / "file", 1U << 30U);
    EXPECT_EQ(in_child([&] {
                  const quiet_log quiet;
                  limit_memory();
                  return vantu_read_file_to_char((dir / "file").c_str()) == nullptr ? 0 : 1;
              }),
              0);
}

TEST(Case, Texts)
{
    const struct {
        const char *text;
        const char *upper;
        const char *lower;
    } rows[] = {
        {"", "", ""},
        {"abcXYZ", "ABCXYZ", "abcxyz"},
        {"0123456789", "0123456789", "0123456789"},
        {"02:00:5e:aB:Cd:09", "02:00:5E:AB:CD:09", "02:00:5e:ab:cd:09"},
        {"@[`{ \t\n~", "@[`{ \t\n~", "@[`{ \t\n~"},
        {"b\xc3\xbcro \xe4\xc4\xff\x80", "B\xc3\xbcRO \xe4\xc4\xff\x80", "b\xc3\xbcro \xe4\xc4\xff\x80"},
    };
    for (const auto &row : rows) {
        char text[32];
        strcpy(text, row.text);
        vantu_strtoupper(text);
        EXPECT_STREQ(text, row.upper);
        strcpy(text, row.text);
        vantu_strtolower(text);
        EXPECT_STREQ(text, row.lower);
    }
}

TEST(Case, OfEveryCharacterOnlyLettersChange)
{
    for (int c = 1; c < 256; c++) {
        const int upper = c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c;
        const int lower = c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c;
        char text[2] = {static_cast<char>(c), '\0'};
        vantu_strtoupper(text);
        EXPECT_EQ(text[0], static_cast<char>(upper)) << c;
        text[0] = static_cast<char>(c);
        vantu_strtolower(text);
        EXPECT_EQ(text[0], static_cast<char>(lower)) << c;
        EXPECT_EQ(text[1], '\0') << c;
    }
}

TEST(Case, StopsAtTheTerminator)
{
    char text[] = "ab\0cD";
    vantu_strtoupper(text);
    EXPECT_EQ(memcmp(text, "AB\0cD", 6), 0);
    vantu_strtolower(text);
    EXPECT_EQ(memcmp(text, "ab\0cD", 6), 0);
}

TEST(CaseDeathTest, NullIsAccepted)
{
    EXPECT_EXIT(
        {
            vantu_strtoupper(nullptr);
            vantu_strtolower(nullptr);
            _exit(0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(VantuStrncpy, AlwaysTerminatesAndFillsUpWithNul)
{
    const struct {
        const char *name;
        const char *src;
        size_t len;
        const char *after; // of eight characters '#'
    } rows[] = {
        {"no length: nothing is touched", "abc", 0, "########"},
        {"room for the terminator only", "abc", 1, "\0#######"},
        {"longer than the room", "abcdef", 4, "abc\0####"},
        {"one too long", "abcd", 4, "abc\0####"},
        {"exactly", "abc", 4, "abc\0####"},
        {"shorter is filled up", "ab", 6, "ab\0\0\0\0##"},
        {"empty", "", 3, "\0\0\0#####"},
        {"the whole array", "abcdefghij", 8, "abcdefg\0"},
    };
    for (const auto &row : rows) {
        char dst[8];
        memset(dst, '#', sizeof(dst));
        EXPECT_EQ(vantu_strncpy(dst, row.src, row.len), dst) << row.name;
        EXPECT_EQ(std::string(dst, sizeof(dst)), std::string(row.after, sizeof(dst))) << row.name;
    }
}

TEST(ProtocolName, IsTcpForTcpAndDeliberatelyForUdpAndNullForAllOthers)
{
    for (int proto = -1; proto <= 256; proto++) {
        if (proto == 6 || proto == 17) {
            EXPECT_STREQ(vantu_ip_proto_to_str(proto), "tcp") << proto;
        } else {
            EXPECT_EQ(vantu_ip_proto_to_str(proto), nullptr) << proto;
        }
    }
    EXPECT_EQ(vantu_ip_proto_to_str(6 + 256), nullptr);
}

} // namespace
