// What only our configuration store promises: no crash, kill, full disk or lack of memory loses or halves a file.

#include <uci.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace std::string_literals;

namespace
{

// What the wrapped calls do: fail from the n-th on (or only the n-th), or kill the process before the n-th.
struct fault {
    enum { none, fail, kill_before } what = none;
    const char *call = ""; // "" for each of them
    long remaining = -1;
    size_t short_write = 0; // bytes that a failing write still puts
};
fault system_fault;
long allocations_left = -1;

bool hits(const char *call)
{
    if (system_fault.what == fault::none || (*system_fault.call != '\0' && strcmp(system_fault.call, call) != 0))
        return false;
    if (system_fault.remaining-- != 0)
        return false;
    if (system_fault.what == fault::kill_before)
        (void)raise(SIGKILL);
    errno = ENOSPC;
    return true;
}

unsigned long waited; // microseconds

bool memory_is_short()
{
    return allocations_left >= 0 && allocations_left-- == 0;
}

} // namespace

extern "C" {
void *__real_malloc(size_t size);
void *__real_realloc(void *block, size_t size);
char *__real_strdup(const char *text);
ssize_t __real_pwrite(int fd, const void *data, size_t size, off_t at);
ssize_t __real_pread(int fd, void *data, size_t size, off_t at);
int __real_fsync(int fd);
int __real_rename(const char *from, const char *to);
int __real_ftruncate(int fd, off_t length);
int __real_fchmod(int fd, mode_t mode);
int __real_mkostemp(char *pattern, int flags);
int __real_flock(int fd, int operation);
char *__real_realpath(const char *path, char *resolved);

void *__wrap_malloc(size_t size)
{
    return memory_is_short() ? nullptr : __real_malloc(size);
}
void *__wrap_realloc(void *block, size_t size)
{
    return memory_is_short() ? nullptr : __real_realloc(block, size);
}
char *__wrap_strdup(const char *text)
{
    return memory_is_short() ? nullptr : __real_strdup(text);
}
ssize_t __wrap_pwrite(int fd, const void *data, size_t size, off_t at)
{
    if (system_fault.short_write > 0 && size > system_fault.short_write)
        return __real_pwrite(fd, data, system_fault.short_write, at);
    return hits("pwrite") ? -1 : __real_pwrite(fd, data, size, at);
}
ssize_t __wrap_pread(int fd, void *data, size_t size, off_t at)
{
    return hits("pread") ? -1 : __real_pread(fd, data, size, at);
}
int __wrap_fsync(int fd)
{
    return hits("fsync") ? -1 : __real_fsync(fd);
}
int __wrap_rename(const char *from, const char *to)
{
    return hits("rename") ? -1 : __real_rename(from, to);
}
int __wrap_ftruncate(int fd, off_t length)
{
    return hits("ftruncate") ? -1 : __real_ftruncate(fd, length);
}
int __wrap_fchmod(int fd, mode_t mode)
{
    return hits("fchmod") ? -1 : __real_fchmod(fd, mode);
}
int __wrap_mkostemp(char *pattern, int flags)
{
    return hits("mkostemp") ? -1 : __real_mkostemp(pattern, flags);
}
char *__wrap_realpath(const char *path, char *resolved)
{
    return hits("realpath") ? nullptr : __real_realpath(path, resolved);
}
int __wrap_flock(int fd, int operation)
{
    return hits("flock") ? -1 : __real_flock(fd, operation);
}
// Waiting takes no time here.
int __wrap_usleep(useconds_t microseconds)
{
    waited += microseconds;
    return 0;
}
}

namespace
{

constexpr char old_text[] = "config t 'main'\n\toption a 'old'\n\tlist l 'x'\n\tlist l 'y'\n\tlist l 'z'\n"
                            "config rule\n\toption n '0'\nconfig rule\n\toption n '1'\nconfig rule\n\toption n '2'\n";
// Changes that would do harm if they were made twice.
constexpr const char *changes[] = {"=c.main.a=new", "|c.main.l=w", "-c.main.l=0", "-c.@rule[0]", "+c",
                                   "=c.s=t",        "=c.s.o=v"};
constexpr char new_text[] = "\nconfig t 'main'\n\toption a 'new'\n\tlist l 'y'\n\tlist l 'z'\n\tlist l 'w'\n"
                            "\nconfig rule\n\toption n '1'\n\nconfig rule\n\toption n '2'\n\nconfig rule\n"
                            "\nconfig t 's'\n\toption o 'v'\n\n";

class UciCompat : public testing::Test
{
protected:
    UciCompat()
    {
        (void)umask(022);
        char pattern[] = "/tmp/uci-compat-XXXXXX";
        root_ = mkdtemp(pattern);
        conf = root_ / "config";
        save = root_ / "save";
        reset();
    }
    ~UciCompat() override
    {
        system_fault = {};
        fs::remove_all(root_);
    }
    void reset()
    {
        fs::remove_all(conf);
        fs::remove_all(save);
        fs::create_directory(conf);
        write(conf / "c", old_text);
    }
    static void write(const fs::path &path, const std::string &content)
    {
        std::ofstream(path, std::ios::binary) << content;
    }
    static std::string read(const fs::path &path)
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void is_pending(const std::string &records) const
    {
        fs::create_directory(save);
        write(save / "c", records);
    }
    uci_context *context() const
    {
        uci_context *ctx = uci_alloc_context();
        if (ctx == nullptr)
            return nullptr;
        if (uci_set_confdir(ctx, conf.c_str()) == 0 && uci_set_savedir(ctx, save.c_str()) == 0)
            return ctx;
        uci_free_context(ctx);
        return nullptr;
    }
    // One change, its kind being the first character; the first failure is returned.
    static int change(uci_context *ctx, const char *text)
    {
        char address[128];
        (void)snprintf(address, sizeof(address), "%s", text + 1);
        uci_ptr ptr = {};
        uci_section *added = nullptr;
        const int rc = uci_lookup_ptr(ctx, &ptr, address, true);
        if (rc != 0)
            return rc;
        switch (*text) {
        case '=':
            return uci_set(ctx, &ptr);
        case '|':
            return uci_add_list(ctx, &ptr);
        case '~':
            return uci_del_list(ctx, &ptr);
        case '-':
            return uci_delete(ctx, &ptr);
        case '+':
            return uci_add_section(ctx, ptr.p, "rule", &added);
        case 's':
            return uci_save(ctx, ptr.p);
        default:
            return uci_commit(ctx, &ptr.p, false);
        }
    }
    // The value of an option, or the type of a section; nothing when it is not there.
    static std::string value(uci_context *ctx, std::string address)
    {
        uci_ptr ptr = {};
        if (uci_lookup_ptr(ctx, &ptr, address.data(), true) != 0)
            return "failed";
        if (ptr.o != nullptr)
            return ptr.o->v.string;
        return ptr.s != nullptr ? ptr.s->type : "";
    }
    static int make_changes(uci_context *ctx)
    {
        for (const char *each : changes) {
            const int rc = change(ctx, each);
            if (rc != 0)
                return rc;
        }
        return 0;
    }
    std::set<std::string> names() const
    {
        std::set<std::string> out;
        for (const auto &entry : fs::directory_iterator(conf))
            out.insert(entry.path().filename());
        return out;
    }

    fs::path root_;
    fs::path conf;
    fs::path save;
};

int exit_of(pid_t child)
{
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
}

TEST_F(UciCompat, FreesNoContext)
{
    uci_free_context(nullptr);
    uci_get_errorstr(nullptr, nullptr, "x");
}

TEST_F(UciCompat, CallsACodeThatIsNoneUnknown)
{
    uci_context *ctx = context();
    for (const int code : {static_cast<int>(UCI_ERR_UNKNOWN), static_cast<int>(UCI_ERR_LAST), 99, -1}) {
        char *text = nullptr;
        ctx->err = code;
        uci_get_errorstr(ctx, &text, "x");
        EXPECT_STREQ("x: Unknown error", text) << code;
        free(text);
    }
    uci_free_context(ctx);
}

// The changes are saved, then the commit is killed before each of its system calls: the file is the old or the new
// one, and the next commit makes every change exactly once.
TEST_F(UciCompat, CommitsOnceWhereverItIsKilled)
{
    int killed = 0;
    for (long n = 0; n < 100; n++) {
        SCOPED_TRACE(n);
        reset();
        const pid_t child = fork();
        if (child == 0) {
            uci_context *ctx = context();
            if (make_changes(ctx) != 0 || change(ctx, "sc") != 0)
                _exit(1);
            system_fault.what = fault::kill_before;
            system_fault.remaining = n;
            _exit(change(ctx, "cc"));
        }
        const int status = exit_of(child);
        if (WIFEXITED(status)) {
            EXPECT_EQ(WEXITSTATUS(status), 0);
            EXPECT_EQ(read(conf / "c"), new_text);
            break;
        }
        killed++;
        const std::string after = read(conf / "c");
        EXPECT_TRUE(after == old_text || after == new_text) << after;
        uci_context *ctx = context();
        EXPECT_EQ(change(ctx, "cc"), 0);
        uci_free_context(ctx);
        EXPECT_EQ(read(conf / "c"), new_text);
        EXPECT_EQ(read(save / "c"), "");
    }
    EXPECT_GT(killed, 8);
}

// A process was killed between rename and truncate; others save and commit more before anybody cleans up.
TEST_F(UciCompat, PassesOverCommittedRecordsAndAppliesLaterOnes)
{
    const pid_t child = fork();
    if (child == 0) {
        uci_context *ctx = context();
        (void)make_changes(ctx);
        (void)change(ctx, "sc");
        system_fault.what = fault::kill_before;
        system_fault.call = "ftruncate";
        system_fault.remaining = 0;
        _exit(change(ctx, "cc"));
    }
    EXPECT_TRUE(WIFSIGNALED(exit_of(child)));
    ASSERT_EQ(read(conf / "c"), new_text);
    ASSERT_NE(read(save / "c"), "");
    uci_context *ctx = context();
    EXPECT_EQ(change(ctx, "|c.main.l=late"), 0);
    EXPECT_EQ(change(ctx, "sc"), 0);
    uci_free_context(ctx);
    ctx = context();
    EXPECT_EQ(change(ctx, "cc"), 0);
    uci_free_context(ctx);
    std::string expected = new_text;
    expected.insert(expected.find("\tlist l 'w'\n") + strlen("\tlist l 'w'\n"), "\tlist l 'late'\n");
    EXPECT_EQ(read(conf / "c"), expected);
    EXPECT_EQ(read(save / "c"), "");
}

// Elsewhere it might not be on the same file system, nor allowed.
TEST_F(UciCompat, WritesTheNewFileBesideTheOldOne)
{
    const pid_t child = fork();
    if (child == 0) {
        uci_context *ctx = context();
        if (change(ctx, "=c.main.a=x") != 0)
            _exit(1);
        system_fault.what = fault::kill_before;
        system_fault.call = "rename";
        system_fault.remaining = 0;
        _exit(change(ctx, "cc"));
    }
    EXPECT_EQ(exit_of(child), SIGKILL);
    const std::set<std::string> found = names();
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found.begin()->rfind(".c.uci-", 0), 0U) << *found.begin();
}

TEST_F(UciCompat, LeavesAFileWholeWhenKilledAtAnyTime)
{
    std::mt19937 random(7);
    for (int round = 0; round < 60; round++) {
        const pid_t child = fork();
        if (child == 0) {
            uci_context *ctx = context();
            for (int i = 0;; i++)
                (void)(change(ctx, i % 2 != 0 ? "=c.main.a=odd" : "=c.main.a=even"), change(ctx, "cc"));
        }
        (void)usleep(static_cast<useconds_t>(random() % 8000));
        (void)kill(child, SIGKILL);
        (void)exit_of(child);
        uci_context *ctx = context();
        uci_package *p = nullptr;
        ASSERT_EQ(uci_load(ctx, "c", &p), 0);
        int sections = 0;
        uci_element *e = nullptr;
        uci_foreach_element(&p->sections, e) sections++;
        EXPECT_EQ(sections, 4);
        uci_free_context(ctx);
    }
}

// A record that was cut off by a kill is dropped and does not swallow the next one.
TEST_F(UciCompat, IgnoresAPendingRecordThatWasCutOff)
{
    const std::string records = "c.main.a='new'\nc.main.b='it'\\''s\nc.main.a='x'\ntwo'\n";
    for (size_t length = 0; length < records.size(); length++) {
        SCOPED_TRACE(length);
        reset();
        is_pending(records.substr(0, length));
        uci_context *ctx = context();
        ASSERT_EQ(change(ctx, "=c.main.k=later"), 0);
        ASSERT_EQ(change(ctx, "cc"), 0);
        uci_free_context(ctx);
        const std::string text = read(conf / "c");
        EXPECT_NE(text.find("option k 'later'"), std::string::npos);
        EXPECT_EQ(text.find("option b"), std::string::npos) << text;
        EXPECT_EQ(text.find("option a 'new'") != std::string::npos, length >= strlen("c.main.a='new'\n")) << text;
    }
}

// Lines without words, which somebody's editor left, do not make such a record a whole one.
TEST_F(UciCompat, IgnoresACutOffRecordBehindALineWithoutWords)
{
    for (const std::string records : {"\nc.main.a", "# edited\nc.main.a", " \n\nc.main.a='x"}) {
        SCOPED_TRACE(records);
        reset();
        is_pending(records);
        uci_context *ctx = context();
        ASSERT_EQ(change(ctx, "=c.main.k=later"), 0);
        ASSERT_EQ(change(ctx, "cc"), 0);
        uci_free_context(ctx);
        EXPECT_NE(read(conf / "c").find("option k 'later'"), std::string::npos);
    }
}

// Any failing system call: an error (or success), the old or the new file, no temporary, and a later commit succeeds.
TEST_F(UciCompat, FailsCleanlyWhereverASystemCallFails)
{
    constexpr const char *calls[] = {"pwrite", "pread",    "fsync", "rename",  "ftruncate",
                                     "fchmod", "mkostemp", "flock", "realpath"};
    for (const char *call : calls) {
        int failed = 0;
        for (long n = 0; n < 20; n++) {
            SCOPED_TRACE(call + std::to_string(n));
            reset();
            uci_context *ctx = context();
            ASSERT_EQ(make_changes(ctx), 0);
            system_fault = {};
            system_fault.what = fault::fail;
            system_fault.call = call;
            system_fault.remaining = n;
            const int rc = change(ctx, "cc");
            const bool was_hit = system_fault.remaining < 0;
            system_fault = {};
            failed += rc != 0 ? 1 : 0;
            EXPECT_TRUE(rc == 0 || rc == UCI_ERR_IO) << rc;
            EXPECT_EQ(read(conf / "c"), rc == 0 ? new_text : old_text);
            EXPECT_EQ(names(), std::set<std::string>{"c"});
            EXPECT_EQ(change(ctx, "cc"), 0);
            EXPECT_EQ(read(conf / "c"), new_text);
            uci_free_context(ctx);
            if (!was_hit)
                break;
        }
        if (strcmp(call, "ftruncate") != 0) {
            EXPECT_GT(failed, 0) << call;
        }
    }
}

TEST_F(UciCompat, TakesBackAPartialWriteOfPendingChanges)
{
    uci_context *ctx = context();
    ASSERT_EQ(change(ctx, "=c.main.a=one"), 0);
    ASSERT_EQ(change(ctx, "sc"), 0);
    const std::string before = read(save / "c");
    ASSERT_EQ(change(ctx, "=c.main.b=two"), 0);
    system_fault.what = fault::fail;
    system_fault.call = "pwrite";
    system_fault.short_write = 5;
    system_fault.remaining = 0;
    EXPECT_EQ(change(ctx, "sc"), UCI_ERR_IO);
    system_fault = {};
    EXPECT_EQ(read(save / "c"), before);
    EXPECT_EQ(change(ctx, "sc"), 0);
    EXPECT_EQ(read(save / "c"), before + "c.main.b='two'\n");
    uci_free_context(ctx);
}

TEST_F(UciCompat, SurvivesEveryFailedAllocation)
{
    long n = 0;
    for (bool succeeded = false; !succeeded; n++) {
        SCOPED_TRACE(n);
        ASSERT_LT(n, 2000);
        reset();
        allocations_left = n;
        uci_context *ctx = context();
        int rc = ctx != nullptr ? make_changes(ctx) : UCI_ERR_MEM;
        if (rc == 0)
            rc = change(ctx, "sc");
        if (rc == 0)
            rc = change(ctx, "~c.main.l=none");
        if (rc == 0)
            rc = change(ctx, "cc");
        succeeded = allocations_left >= 0;
        allocations_left = -1;
        EXPECT_TRUE(rc == 0 || rc == UCI_ERR_MEM) << rc;
        EXPECT_EQ(succeeded ? rc : 0, 0);
        EXPECT_EQ(names(), std::set<std::string>{"c"});
        const std::string after = read(conf / "c");
        EXPECT_TRUE(after == old_text || after == new_text) << after;
        if (ctx != nullptr) {
            // The context is as usable as before.
            EXPECT_EQ(change(ctx, "=c.main.z=1"), 0);
            EXPECT_EQ(change(ctx, "cc"), 0);
            EXPECT_NE(read(conf / "c").find("\toption z '1'\n"), std::string::npos);
        }
        uci_free_context(ctx);
    }
    EXPECT_GT(n, 50);
}

TEST_F(UciCompat, MakesAChangeWhollyOrNotAtAll)
{
    for (const char *each :
         {"=c.main.a=new", "=c.main.l=string", "|c.main.a=item", "|c.main.new=item", "+c", "=c.s=t"}) {
        for (long n = 0; n < 20; n++) {
            SCOPED_TRACE(each + std::to_string(n));
            reset();
            uci_context *ctx = context();
            uci_package *p = nullptr;
            ASSERT_EQ(uci_load(ctx, "c", &p), 0);
            allocations_left = n;
            const int rc = change(ctx, each);
            allocations_left = -1;
            EXPECT_EQ(change(ctx, "cc"), 0);
            EXPECT_EQ(read(conf / "c") == old_text, rc != 0);
            uci_free_context(ctx);
            if (rc == 0)
                break;
        }
    }
}

TEST_F(UciCompat, PrintsErrorsWithoutEnd)
{
    uci_context *ctx = context();
    write(conf / "bad", "config a\nfoo\n");
    testing::internal::CaptureStderr();
    std::string expected;
    for (int i = 0; i < 2000; i++) {
        EXPECT_EQ(change(ctx, "=bad.a.b=c"), UCI_ERR_PARSE);
        uci_perror(ctx, "bad");
        EXPECT_EQ(change(ctx, "=none.a.b=c"), UCI_ERR_NOTFOUND);
        uci_perror(ctx, "none");
        expected += "bad: Parse error (invalid command) at line 2, byte 0\nnone: Entry not found\n";
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), expected);
    const std::string prefix(100000, 'p');
    char *text = nullptr;
    uci_get_errorstr(ctx, &text, prefix.c_str());
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text, prefix + ": Entry not found");
    free(text);
    ctx->err = 99;
    uci_get_errorstr(ctx, &text, nullptr);
    EXPECT_STREQ(text, "Unknown error");
    free(text);
    ctx->err = -1;
    uci_get_errorstr(ctx, &text, nullptr);
    EXPECT_STREQ(text, "Unknown error");
    free(text);
    uci_free_context(ctx);
}

TEST_F(UciCompat, RefusesHostileFiles)
{
    struct row {
        const char *name;
        std::string content;
        int rc;
    };
    const row rows[] = {
        {"NUL", "config a\n\toption x 'a\0b'\n"s, 5},
        {"NUL in a comment", "# \0\nconfig a\n"s, 5},
        {"only NUL", std::string(10000, '\0'), 5},
        {"binary",
         "\x7f"
         "ELF\x02\x01\x01\xff\xfe"s,
         5},
        {"huge word", std::string(2000000, 'x'), 5},
        {"huge value", "config a\n\toption x " + std::string(2000000, 'x') + "\n", 0},
        {"many words", "config a" + std::string(500000, ' ') + std::string("b c d e f g h"), 5},
        {"words without end",
         [] {
             std::string s = "config";
             for (int i = 0; i < 100000; i++)
                 s += " x";
             return s;
         }(),
         5},
        {"quotes without end", std::string(100001, '\''), 5},
        {"backslashes", "config a\n option x " + std::string(100000, '\\') + "\n", 0},
        {"backslash at the end", "config a\n option x y\\", 0},
        {"backslash at the end in quotes", "config a\n option x \"y\\", 5},
        {"blank lines", std::string(1000000, '\n'), 0},
        {"joined lines",
         [] {
             std::string s = "config a";
             for (int i = 0; i < 100000; i++)
                 s += " \\\n";
             return s;
         }(),
         0},
        {"many sections",
         [] {
             std::string s;
             for (int i = 0; i < 3000; i++)
                 s += "config a\n";
             return s;
         }(),
         0},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(r.name);
        write(conf / "h", r.content);
        uci_context *ctx = context();
        uci_package *p = nullptr;
        EXPECT_EQ(uci_load(ctx, "h", &p), r.rc);
        EXPECT_EQ(p == nullptr, r.rc != 0);
        if (r.rc != 0) {
            EXPECT_EQ(change(ctx, "=h.a.b=c"), 5);
        }
        EXPECT_EQ(read(conf / "h"), r.content);
        uci_free_context(ctx);
    }
}

TEST_F(UciCompat, SurvivesCorruptedFilesAndPendingChanges)
{
    std::mt19937 random(3);
    const std::string records =
        "c.main.a='new'\n|c.main.l='w'\n-c.main.l='0'\n+c.cfg05='rule'\n~c.main.l='y'\n-c.s\n!c='0'\n";
    fs::create_directory(save);
    for (int round = 0; round < 1000; round++) {
        std::string config = old_text;
        std::string pending = records;
        for (size_t i = random() % 4; i > 0; i--)
            config[random() % config.size()] = static_cast<char>(random());
        for (size_t i = random() % 4; i > 0; i--)
            pending[random() % pending.size()] = static_cast<char>(random());
        if (round % 10 == 0)
            std::generate(config.begin(), config.end(), [&] { return static_cast<char>(random()); });
        write(conf / "c", config);
        write(save / "c", pending);
        uci_context *ctx = context();
        uci_package *p = nullptr;
        const int rc = uci_load(ctx, "c", &p);
        ASSERT_TRUE(rc == 0 || rc == 5) << rc;
        ASSERT_EQ(read(conf / "c"), config);
        if (rc == 0) {
            // What is written is readable again.
            ASSERT_EQ(uci_commit(ctx, &p, false), 0);
            uci_context *other = context();
            ASSERT_EQ(uci_load(other, "c", nullptr), 0) << read(conf / "c");
            uci_free_context(other);
        }
        uci_free_context(ctx);
    }
}

TEST_F(UciCompat, EscapesTypesThatWouldNotReadBack)
{
    uci_context *ctx = context();
    for (const char *type : {"it's", "a\"b", "a#b", "a\\b", "#", "'"}) {
        uci_package *p = nullptr;
        write(conf / "types", "");
        ASSERT_EQ(uci_load(ctx, "types", &p), 0);
        uci_section *s = nullptr;
        ASSERT_EQ(uci_add_section(ctx, p, type, &s), 0);
        ASSERT_EQ(uci_commit(ctx, &p, false), 0);
        ASSERT_EQ(uci_unload(ctx, p), 0);
        ASSERT_EQ(uci_load(ctx, "types", &p), 0);
        ASSERT_FALSE(uci_list_empty(&p->sections));
        EXPECT_STREQ(uci_to_section(uci_list_to_element(p->sections.next))->type, type);
        ASSERT_EQ(uci_unload(ctx, p), 0);
    }
    uci_free_context(ctx);
}

TEST_F(UciCompat, TakesAValueThatIsPartOfTheStore)
{
    uci_context *ctx = context();
    char address[] = "c.main.l";
    uci_ptr ptr = {};
    ASSERT_EQ(uci_lookup_ptr(ctx, &ptr, address, true), 0);
    ptr.value = uci_list_to_element(ptr.o->v.list.next)->name;
    EXPECT_EQ(uci_add_list(ctx, &ptr), 0);
    EXPECT_EQ(uci_del_list(ctx, &ptr), 0);
    char other[] = "c.main.a";
    ASSERT_EQ(uci_lookup_ptr(ctx, &ptr, other, true), 0);
    ptr.value = ptr.o->v.string;
    EXPECT_EQ(uci_add_list(ctx, &ptr), 0);
    uci_free_context(ctx);
}

// Generated names are not reserved: a file may give one to a section of its own.
TEST_F(UciCompat, GivesAnAnonymousSectionAnotherNameWhenASectionOfTheFileTakesIts)
{
    uci_context *ctx = context();
    write(conf / "d", "config rule\n\toption n 'first'\n");
    uci_package *p = nullptr;
    ASSERT_EQ(uci_load(ctx, "d", &p), 0);
    const std::string generated = uci_list_to_element(p->sections.next)->name;
    ASSERT_EQ(uci_unload(ctx, p), 0);
    write(conf / "d", "config rule\n\toption n 'first'\nconfig rule '" + generated + "'\n\toption n 'second'\n");
    EXPECT_EQ(value(ctx, "d.@rule[0].n"), "first");
    EXPECT_EQ(value(ctx, "d." + generated + ".n"), "second");
    uci_free_context(ctx);
}

TEST_F(UciCompat, GivesAPendingAnonymousSectionAnotherNameWhenItsNameIsTaken)
{
    is_pending("+c.main='rule'\n");
    uci_context *ctx = context();
    EXPECT_EQ(value(ctx, "c.main.a"), "old");
    EXPECT_EQ(value(ctx, "c.@rule[3]"), "rule");
    uci_free_context(ctx);
}

TEST_F(UciCompat, DeletesASectionThatIsGivenAnEmptyTypeAtOnceOrByAPendingRecord)
{
    for (const bool at_once : {true, false}) {
        reset();
        if (!at_once)
            is_pending("c.main=''\nc.none=''\n");
        uci_context *ctx = context();
        if (at_once) {
            ASSERT_EQ(change(ctx, "=c.main="), 0);
        }
        EXPECT_EQ(value(ctx, "c.main"), "") << at_once;
        EXPECT_EQ(value(ctx, "c.@rule[0].n"), "0") << at_once;
        uci_free_context(ctx);
    }
}

TEST_F(UciCompat, LooksUpFromPointersThatWereFilledByHand)
{
    uci_context *ctx = context();
    uci_ptr ptr = {};
    char address[] = "c.main";
    ASSERT_EQ(uci_lookup_ptr(ctx, &ptr, address, false), 0);
    uci_ptr again = {};
    again.p = ptr.p;
    again.s = ptr.s;
    again.option = "a";
    ASSERT_EQ(uci_lookup_ptr(ctx, &again, nullptr, false), 0);
    ASSERT_NE(again.o, nullptr);
    EXPECT_STREQ(again.o->v.string, "old");
    uci_ptr senseless = {};
    senseless.package = "c";
    senseless.option = "a";
    EXPECT_EQ(uci_lookup_ptr(ctx, &senseless, nullptr, false), UCI_ERR_INVAL);
    uci_free_context(ctx);
}

TEST_F(UciCompat, RefusesNamesThatNoPackageCanHave)
{
    uci_context *ctx = context();
    for (const char *name : {"", "a b", "a/b", "/tmp/a b"})
        EXPECT_EQ(uci_load(ctx, name, nullptr), UCI_ERR_INVAL) << name;
    write(conf / "a'b", old_text);
    EXPECT_EQ(change(ctx, "=a'b.main.a=x"), UCI_ERR_INVAL) << "no record can hold the name";
    EXPECT_EQ(uci_set_savedir(ctx, save.c_str()), 0) << "a second time";
    uci_free_context(ctx);
}

TEST_F(UciCompat, DeletesNothingMoreWhenCalledTwice)
{
    uci_context *ctx = context();
    for (const char *text : {"c.main.a", "c.@rule[0]"}) {
        char address[32];
        (void)snprintf(address, sizeof(address), "%s", text);
        uci_ptr ptr = {};
        ASSERT_EQ(uci_lookup_ptr(ctx, &ptr, address, true), 0);
        EXPECT_EQ(uci_delete(ctx, &ptr), 0);
        EXPECT_NE(uci_delete(ctx, &ptr), 0);
    }
    uci_package *p = nullptr;
    EXPECT_EQ(change(ctx, "cc"), 0);
    EXPECT_NE(read(conf / "c").find("'main'"), std::string::npos);
    EXPECT_NE(read(conf / "c").find("option n '1'"), std::string::npos);
    EXPECT_EQ(uci_load(ctx, "c", &p), UCI_ERR_DUPLICATE);
    uci_free_context(ctx);
}

TEST_F(UciCompat, WritesNoRecordThroughALink)
{
    fs::create_directory(save);
    write(root_ / "victim", "untouched");
    fs::create_symlink(root_ / "victim", save / "c");
    uci_context *ctx = context();
    ASSERT_EQ(change(ctx, "=c.main.a=x"), 0);
    EXPECT_EQ(change(ctx, "sc"), UCI_ERR_IO);
    EXPECT_EQ(read(root_ / "victim"), "untouched");
    uci_free_context(ctx);
}

// What another user may have put into the save directory is neither read nor written to.
TEST_F(UciCompat, TrustsNoSaveDirectoryThatAnotherMayHaveFilled)
{
    const struct {
        const char *name;
        std::function<bool()> prepare; // false where that is not allowed
    } rows[] = {
        {"everybody may write there", [&] { return chmod(save.c_str(), 0777) == 0; }},
        {"it is another's", [&] { return chown(save.c_str(), 65534, 65534) == 0; }},
        {"another's link leads there",
         [&] {
             fs::rename(save, root_ / "elsewhere");
             fs::create_symlink(root_ / "elsewhere", save);
             return lchown(save.c_str(), 65534, 65534) == 0;
         }},
    };
    for (const auto &row : rows) {
        reset();
        is_pending("c.main.a='evil'\n");
        if (!row.prepare()) {
            fs::remove_all(root_ / "elsewhere");
            continue;
        }
        uci_context *ctx = context();
        ASSERT_EQ(change(ctx, "=c.main.a=x"), 0) << row.name;
        EXPECT_EQ(change(ctx, "cc"), UCI_ERR_IO) << row.name;
        EXPECT_EQ(read(conf / "c"), old_text) << row.name;
        EXPECT_EQ(read(save / "c"), "c.main.a='evil'\n") << row.name;
        uci_free_context(ctx);
        EXPECT_TRUE(lchown(save.c_str(), geteuid(), getegid()) == 0 || geteuid() != 0); // so that it can be removed
        fs::remove_all(root_ / "elsewhere");
    }
}

TEST_F(UciCompat, FollowsALinkOfOnesOwnToTheSaveDirectory)
{
    fs::create_directory(root_ / "elsewhere");
    fs::create_directory_symlink(root_ / "elsewhere", save);
    uci_context *ctx = context();
    ASSERT_EQ(change(ctx, "=c.main.a=x"), 0);
    EXPECT_EQ(change(ctx, "sc"), 0);
    EXPECT_EQ(read(root_ / "elsewhere" / "c"), "c.main.a='x'\n");
    uci_free_context(ctx);
    fs::remove(save);
}

TEST_F(UciCompat, WaitsTenSecondsForALock)
{
    const int holder = open((conf / "c").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(__real_flock(holder, LOCK_EX), 0);
    waited = 0;
    uci_context *ctx = context();
    EXPECT_EQ(uci_load(ctx, "c", nullptr), UCI_ERR_IO);
    EXPECT_EQ(waited, 10000000U);
    ASSERT_EQ(close(holder), 0);
    EXPECT_EQ(uci_load(ctx, "c", nullptr), 0);
    uci_free_context(ctx);
}

TEST_F(UciCompat, WaitsForNoNamedPipe)
{
    ASSERT_EQ(mkfifo((conf / "pipe").c_str(), 0600), 0);
    uci_context *ctx = context();
    EXPECT_EQ(uci_load(ctx, "pipe", nullptr), UCI_ERR_NOTFOUND);
    uci_free_context(ctx);
}

} // namespace
