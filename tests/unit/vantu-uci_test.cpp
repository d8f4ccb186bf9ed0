// Values of the configuration store, in directories of each test's own: what callers get and what is in the files
// afterwards. Asserts only what every store with this header promises.

#include "vantu-libs2/vantu-uci.h"

#include "support.hpp"
#include "text.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <fcntl.h>
#include <functional>
#include <malloc.h>
#include <map>
#include <memory>
#include <poll.h>
#include <random>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <uci.h>
#include <unistd.h>
#include <vector>

using namespace std::string_literals;
using support::call_outcome;
using support::content_of;
using support::in_child;
using support::in_fresh_process;
using support::joined;
using support::log_capture;
using support::open_descriptors;
using support::outcome_of;
using support::printable;
using support::quiet_log;
using support::standard_error_of;
using support::temp_dir;
using support::texts;
using support::write_file;

// ---- Calls that a test makes fail, or counts ----

namespace
{

int perror_calls;
bool no_memory_for_context;
size_t no_memory_for_size; // of a realloc
std::function<void()> while_waiting;

// The store's call that fails, and how.
std::string broken_call;
int broken_with;

// Breaks a call of the store's while it lives.
class breaks
{
public:
    breaks(const char *call, int error)
    {
        broken_call = call;
        broken_with = error;
    }
    ~breaks() { broken_call.clear(); }
    breaks(const breaks &) = delete;
    breaks &operator=(const breaks &) = delete;
};

template <typename Real>
int answer(const char *call, uci_context *context, Real real)
{
    if (broken_call != call)
        return real();
    context->err = broken_with;
    return broken_with;
}

} // namespace

// Called instead of the functions of these names, which the linker renames.
extern "C" {
void __real_uci_perror(uci_context *context, const char *prefix);
uci_context *__real_uci_alloc_context(void);
int __real_uci_set_confdir(uci_context *context, const char *dir);
int __real_uci_delete(uci_context *context, uci_ptr *ptr);
int __real_uci_del_list(uci_context *context, uci_ptr *ptr);
int __real_uci_commit(uci_context *context, uci_package **package, bool overwrite);
void *__real_realloc(void *memory, size_t size);
int __real_poll(pollfd *fds, nfds_t count, int timeout);

void __wrap_uci_perror(uci_context *context, const char *prefix);
void __wrap_uci_perror(uci_context *context, const char *prefix)
{
    perror_calls++;
    __real_uci_perror(context, prefix);
}

uci_context *__wrap_uci_alloc_context(void);
uci_context *__wrap_uci_alloc_context(void)
{
    return no_memory_for_context ? nullptr : __real_uci_alloc_context();
}

int __wrap_uci_set_confdir(uci_context *context, const char *dir);
int __wrap_uci_set_confdir(uci_context *context, const char *dir)
{
    return answer("uci_set_confdir", context, [&] { return __real_uci_set_confdir(context, dir); });
}

int __wrap_uci_delete(uci_context *context, uci_ptr *ptr);
int __wrap_uci_delete(uci_context *context, uci_ptr *ptr)
{
    return answer("uci_delete", context, [&] { return __real_uci_delete(context, ptr); });
}

int __wrap_uci_del_list(uci_context *context, uci_ptr *ptr);
int __wrap_uci_del_list(uci_context *context, uci_ptr *ptr)
{
    return answer("uci_del_list", context, [&] { return __real_uci_del_list(context, ptr); });
}

int __wrap_uci_commit(uci_context *context, uci_package **package, bool overwrite);
int __wrap_uci_commit(uci_context *context, uci_package **package, bool overwrite)
{
    return answer("uci_commit", context, [&] { return __real_uci_commit(context, package, overwrite); });
}

void *__wrap_realloc(void *memory, size_t size);
void *__wrap_realloc(void *memory, size_t size)
{
    return size != 0 && size == no_memory_for_size ? nullptr : __real_realloc(memory, size);
}

int __wrap_poll(pollfd *fds, nfds_t count, int timeout);
int __wrap_poll(pollfd *fds, nfds_t count, int timeout)
{
    if (!while_waiting)
        return __real_poll(fds, count, timeout);
    while_waiting();
    return 0;
}
}

namespace
{

const std::string before = "\nconfig wifi-iface 'main'\n"
                           "\toption ssid 'home'\n"
                           "\toption channel '05'\n"
                           "\tlist mac 'aa'\n"
                           "\tlist mac 'bb'\n"
                           "\tlist mac '1'\n"
                           "\tlist mac 'aa'\n"
                           "\nconfig rule\n"
                           "\toption name 'first'\n"
                           "\nconfig rule\n"
                           "\toption name 'Second'\n"
                           "\toption target 'x'\n"
                           "\n";

std::string replaced(std::string text, const std::string &from, const std::string &to)
{
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

std::string repeated(const std::string &text, int times)
{
    std::string out;
    for (int i = 0; i < times; i++)
        out += text;
    return out;
}

bool starts_with(const std::string &text, const std::string &beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

// A value as it stands in a file.
std::string quoted(const std::string &value)
{
    std::string out = "'";
    for (const char c : value)
        out += c == '\'' ? "'\\''"s : std::string(1, c);
    return out + "'";
}

// A child that runs at the same time; it ends with 0 when all expectations in it held.
pid_t start(const std::function<void()> &run)
{
    const pid_t child = fork();
    if (child == 0) {
        run();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    EXPECT_GT(child, 0);
    return child;
}

bool ended_well(pid_t child)
{
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Calls an operation and compares all that it leaves behind, but for the file.
void expect(const std::string &name, const std::function<int()> &call, int result, const std::string &errors,
            const texts &log)
{
    const call_outcome got = outcome_of(call);
    EXPECT_EQ(got.result, result) << name;
    EXPECT_EQ(got.errors, errors) << name;
    EXPECT_EQ(got.log, log) << name;
    EXPECT_EQ(got.output, "") << name;
}

// A call that prints what the store itself says: only the beginning of its first line is certain.
void expect_begin(const std::string &name, const std::function<int()> &call, int result, const std::string &errors)
{
    const call_outcome got = outcome_of(call);
    EXPECT_EQ(got.result, result) << name;
    EXPECT_TRUE(starts_with(got.errors, errors)) << name << ": want " << errors << ", got " << got.errors;
}

struct step {
    const char *name;
    std::function<int()> call;
    int result;
    std::string errors; // on standard error
    texts log;
    std::string file; // afterwards
};

// A context on directories of the test's own, and the package "vtest" in it.
class VantuUci : public testing::Test
{
protected:
    VantuUci()
    {
        (void)umask(022);
        std::filesystem::create_directory(conf);
        write(before);
        const quiet_log quiet;
        EXPECT_EQ(vantu_uci_init(), 0);
        EXPECT_EQ(uci_set_confdir(vantu_get_uci_context(), conf.c_str()), 0);
        EXPECT_EQ(uci_set_savedir(vantu_get_uci_context(), save.c_str()), 0);
    }
    ~VantuUci() override { vantu_routercfg_close(); }

    void write(const std::string &content) const { write_file(conf + "/vtest", content); }
    std::string file() const { return content_of(conf + "/vtest"); }
    std::string pending() const { return content_of(save + "/vtest"); }

    static std::string get(const std::string &lookup)
    {
        const quiet_log quiet;
        char out[1024];
        const int result = get_param_str(lookup.c_str(), out, sizeof(out));
        return result == E_OK ? out : "error " + std::to_string(result);
    }
    static int set(const std::string &lookup, const std::string &value)
    {
        const quiet_log quiet;
        return set_param_str(lookup.c_str(), value.c_str());
    }
    static int compare(const std::string &lookup, const std::string &value)
    {
        const quiet_log quiet;
        return cmp_param_str(lookup.c_str(), value.c_str());
    }

    // Every step begins with the package as it was, and leaves no change pending.
    void expect_steps(const std::vector<step> &steps) const
    {
        for (const step &row : steps) {
            write(before);
            expect(row.name, row.call, row.result, row.errors, row.log);
            EXPECT_EQ(file(), row.file) << row.name;
            EXPECT_EQ(pending(), "") << row.name;
        }
    }

    const temp_dir dir;
    const std::string conf = dir / "config";
    const std::string save = dir / "save";
};

// ---- The context ----

TEST(VantuUciContext, InitLogsTheDirectoryAndReturnsZero)
{
    expect("init", vantu_uci_init, 0, "", {"TRACE uci filepath set to /etc/config"});
    ASSERT_NE(vantu_get_uci_context(), nullptr);
    EXPECT_STREQ(vantu_get_uci_context()->confdir, "/etc/config");
    vantu_routercfg_close();
}

TEST(VantuUciContext, SecondInitIsRefusedAndKeepsTheFirstContext)
{
    expect("first", vantu_uci_init, 0, "", {"TRACE uci filepath set to /etc/config"});
    uci_context *first = vantu_get_uci_context();
    ASSERT_EQ(uci_set_confdir(first, "/nowhere"), 0);
    expect("second", vantu_uci_init, -4, "", {"DEBUG vantu_uci_init: already initialized"});
    EXPECT_EQ(vantu_get_uci_context(), first);
    EXPECT_STREQ(first->confdir, "/nowhere");
    vantu_routercfg_close();
}

TEST(VantuUciContext, InitWithoutMemoryMakesNoContext)
{
    no_memory_for_context = true;
    expect("init", vantu_uci_init, -1, "", {"ERROR vantu_uci_init: uci_alloc_context() failed"});
    no_memory_for_context = false;
    const log_capture log;
    EXPECT_EQ(vantu_get_uci_context(), nullptr);
}

TEST(VantuUciContext, InitReturnsWhatTheStoreSaysToTheDirectoryAndKeepsTheContext)
{
    {
        const breaks broken("uci_set_confdir", UCI_ERR_MEM);
        expect("init", vantu_uci_init, UCI_ERR_MEM, "", {"ERROR Failed to set config directory"});
    }
    EXPECT_NE(vantu_get_uci_context(), nullptr);
    expect("again", vantu_uci_init, -4, "", {"DEBUG vantu_uci_init: already initialized"});
    vantu_routercfg_close();
}

TEST(VantuUciContext, ThereIsNoneBeforeInitAndAfterClose)
{
    const auto context_is_null = [] { return vantu_get_uci_context() == nullptr ? 1 : 0; };
    const texts log = {"ERROR vantu_get_uci_context not initilized"};
    expect("before", context_is_null, 1, "", log);
    {
        const quiet_log quiet;
        ASSERT_EQ(vantu_uci_init(), 0);
    }
    expect("with one", context_is_null, 0, "", {});
    vantu_routercfg_close();
    expect("after", context_is_null, 1, "", log);
    vantu_routercfg_close();
    expect("after another close", context_is_null, 1, "", log);
}

TEST(VantuUciContext, CloseAndInitMakesAFreshOne)
{
    const quiet_log quiet;
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(vantu_uci_init(), 0);
        EXPECT_STREQ(vantu_get_uci_context()->confdir, "/etc/config");
        EXPECT_EQ(uci_set_confdir(vantu_get_uci_context(), "/nowhere"), 0);
        vantu_routercfg_close();
    }
}

TEST(VantuUciContext, WithoutOneEveryOperationIsRefusedByName)
{
    char out[8] = "before";
    char *text = nullptr;
    int64_t number = 77;
    int index = 77;
    const struct {
        const char *named;
        std::function<int()> call;
    } rows[] = {
        {"get_param_str", [&] { return get_param_str("vtest.main.ssid", out, sizeof(out)); }},
        {"get_param_str_alloc", [&] { return get_param_str_alloc("vtest.main.ssid", &text); }},
        {"get_param_s64", [&] { return get_param_s64("vtest.main.ssid", &number); }},
        {"cmp_param_str", [] { return cmp_param_str("vtest.main.ssid", "x"); }},
        {"cmp_param_str", [] { return cmp_param_s64("vtest.main.ssid", 1); }},
        {"set_param_str", [] { return set_param_str("vtest.main.ssid", "x"); }},
        {"set_param_str", [] { return set_param_s64("vtest.main.ssid", 1); }},
        {"mod_list_param_str", [] { return mod_list_param_str("vtest.main.ssid", "x", 0); }},
        {"add_anonymous_section", [] { return add_anonymous_section("vtest", "rule"); }},
        {"del_anonymous_param", [] { return del_anonymous_param("vtest.main.ssid", "x"); }},
        {"del_param", [] { return del_param("vtest.main.ssid"); }},
        {"vantu_find_uci_index_from_anonlist",
         [&] { return vantu_find_uci_index_from_anonlist("vtest.@rule", "name", "x", &index); }},
        {"vantu_list_uci_configs", [&] { return vantu_list_uci_configs("vtest", out, sizeof(out)); }},
    };
    for (const auto &row : rows)
        expect(row.named, row.call, -4, "", {"ERROR "s + row.named + " called when rtcfg_context.uci is NULL"});
    EXPECT_STREQ(out, "before");
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(number, 77);
    EXPECT_EQ(index, 77);
}

TEST(VantuUciContext, WithoutOneABatchIsRefusedBeforeItsFirstPair)
{
    expect("batch", [] { return vantu_update_config("vtest.main", "a,b", "1,2"); }, -4, "",
           {"ERROR vantu_update_config called when rtcfg_context.uci is NULL"});
}

TEST(VantuUciConstants, AreTheInterface)
{
    const int got[] = {E_CMP_NOT_EQUAL,  E_CMP_EQUAL,    E_OK,          E_NOMEM,
                       E_NOTIMPLEMENTED, E_NOTSUPPORTED, E_MISUSE,      E_PARAMNOTFOUND,
                       E_PARAMSETFAILED, E_GENERAL,      E_INVALIDPARAM};
    int want = 2;
    for (const int code : got)
        EXPECT_EQ(code, want--);
    EXPECT_EQ(VANTU_DEVICE_UCI_MAX, 1000);
    EXPECT_STREQ(UCI_CONFDIR, "/etc/config");
}

// ---- Reading ----

TEST_F(VantuUci, GetGivesOptionsListsAndTypes)
{
    const struct {
        const char *lookup;
        const char *value;
    } rows[] = {
        {"vtest.main.ssid", "home"},           {"vtest.main.mac", "aa bb 1 aa"},   {"vtest.main", "wifi-iface"},
        {"vtest.@wifi-iface[0].ssid", "home"}, {"vtest.@rule[0]", "rule"},         {"vtest.@rule[0].name", "first"},
        {"vtest.@rule[1].name", "Second"},     {"vtest.@rule[-1].name", "Second"},
    };
    for (const auto &row : rows) {
        char out[64];
        expect(row.lookup, [&] { return get_param_str(row.lookup, out, sizeof(out)); }, 0, "", {});
        EXPECT_STREQ(out, row.value) << row.lookup;
    }
}

TEST_F(VantuUci, GetOfAPackageIsZeroAndLeavesTheOutput)
{
    char out[] = "before";
    expect("package", [&] { return get_param_str("vtest", out, sizeof(out)); }, 0, "", {});
    EXPECT_STREQ(out, "before");
}

TEST_F(VantuUci, GetOfAnElementThatIsNotThereIsQuietAndLeavesTheOutput)
{
    for (const char *lookup : {"vtest.main.none", "vtest.none", "vtest.none.ssid", "vtest.@rule[2]",
                               "vtest.@rule[2].name", "vtest.@none[0].name"}) {
        char out[] = "before";
        expect(lookup, [&] { return get_param_str(lookup, out, sizeof(out)); }, -5, "", {});
        EXPECT_STREQ(out, "before") << lookup;
    }
}

TEST_F(VantuUci, GetOfAPackageThatIsNotThereIsLogged)
{
    char out[] = "before";
    expect("package", [&] { return get_param_str("vtest2.main.ssid", out, sizeof(out)); }, -5, "",
           {"DEBUG get_param_str: failed to read \"vtest2.main.ssid\" err=3"});
    EXPECT_STREQ(out, "before");
    EXPECT_FALSE(std::filesystem::exists(conf + "/vtest2"));
}

TEST_F(VantuUci, GetOfATextThatIsNoLookupIsLogged)
{
    const struct {
        std::string lookup;
        int error;
    } rows[] = {
        {"", 5},       {"vtest.main.ssid.x", 5},  {"vtest.main.", 5}, {"vtest.main.no-name", 5},
        {"vtest.", 2}, {"vtest.no name.ssid", 2}, {"vtest.@rule", 2}, {"vtest.@rule[x].name", 2},
    };
    in_fresh_process([&] {
        for (const auto &row : rows) {
            char out[] = "before";
            const call_outcome got = outcome_of([&] { return get_param_str(row.lookup.c_str(), out, sizeof(out)); });
            EXPECT_EQ(got.result, -5) << row.lookup;
            EXPECT_EQ(got.log, texts{"DEBUG get_param_str: failed to read \"" + row.lookup +
                                     "\" err=" + std::to_string(row.error)});
            EXPECT_STREQ(out, "before") << row.lookup;
        }
    });
}

TEST_F(VantuUci, LookupOf512CharactersIsNotRead)
{
    const std::string option(511 - strlen("vtest.main."), 'o');
    write("\nconfig wifi-iface 'main'\n\toption " + option + " 'x'\n\toption " + option + "o 'x'\n\n");
    EXPECT_EQ(get("vtest.main." + option), "x");
    EXPECT_EQ(get("vtest.main." + option + "o"), "error -5");
}

TEST_F(VantuUci, GetCutsAValueToTheSizeAndSaysSo)
{
    const struct {
        const char *lookup;
        int size;
        const char *value; // in the buffer, before the bytes that stay
        int logged;        // length of the value; 0: nothing is logged
    } rows[] = {
        {"vtest.main.ssid", 5, "home", 0},       {"vtest.main.ssid", 4, "hom", 4},
        {"vtest.main.ssid", 2, "h", 4},          {"vtest.main.ssid", 1, "", 4},
        {"vtest.main.mac", 11, "aa bb 1 aa", 0}, {"vtest.main.mac", 10, "aa bb 1 a", 10},
        {"vtest.main.mac", 3, "aa", 10},         {"vtest.main.mac", 4, "aa ", 10},
        {"vtest.main", 11, "wifi-iface", 0},     {"vtest.main", 10, "wifi-ifac", 10},
    };
    for (const auto &row : rows) {
        const std::string name = row.lookup + " in "s + std::to_string(row.size);
        // From malloc, so that the sanitizer sees a byte too many.
        const std::unique_ptr<char, void (*)(void *)> out(static_cast<char *>(malloc(static_cast<size_t>(row.size))),
                                                          free);
        memset(out.get(), '#', static_cast<size_t>(row.size));
        texts log;
        if (row.logged != 0)
            log = {"ERROR get_param_str(\""s + row.lookup + "\"): value is longer (" + std::to_string(row.logged) +
                   ") than buffer size (" + std::to_string(row.size) + ")"};
        expect(
            name, [&] { return get_param_str(row.lookup, out.get(), row.size); }, 0, "", log);
        EXPECT_STREQ(out.get(), row.value) << name;
    }
}

TEST_F(VantuUci, GetIntoNoRoomWritesNothingAndSaysSo)
{
    for (const int size : {0, -1, INT_MIN}) {
        char out[] = "before";
        expect(std::to_string(size), [&] { return get_param_str("vtest.main.ssid", out, size); }, 0, "",
               {"ERROR get_param_str(\"vtest.main.ssid\"): value is longer (4) than buffer size (" +
                std::to_string(size) + ")"});
        EXPECT_STREQ(out, "before") << size;
    }
    expect("no buffer", [] { return get_param_str("vtest.main.ssid", nullptr, 0); }, 0, "",
           {"ERROR get_param_str(\"vtest.main.ssid\"): value is longer (4) than buffer size (0)"});
}

TEST_F(VantuUci, ListsOfEmptyItemsAreTheirBlanks)
{
    write("\nconfig t 's'\n\tlist one ''\n\tlist three ''\n\tlist three ''\n\tlist three ''\n\tlist mixed ''\n"
          "\tlist mixed 'x'\n\n");
    EXPECT_EQ(get("vtest.s.one"), "");
    EXPECT_EQ(get("vtest.s.three"), "  ");
    EXPECT_EQ(get("vtest.s.mixed"), " x");
}

TEST_F(VantuUci, AllocGivesValuesOfAnyLength)
{
    const std::string large(5000, 'v');
    write("\nconfig t 's'\n\toption short 'x'\n\toption large '" + large + "'\n\tlist items '" + large +
          "'\n\tlist items 'two words'\n\tlist items ''\n\tlist items 'z'\n\tlist one ''\n\n");
    const struct {
        const char *lookup;
        std::string value;
    } rows[] = {
        {"vtest.s.short", "x"},
        {"vtest.s.large", large},
        {"vtest.s.items", large + " two words  z"},
        {"vtest.@t[0].one", ""},
    };
    for (const auto &row : rows) {
        char *out = nullptr;
        expect(row.lookup, [&] { return get_param_str_alloc(row.lookup, &out); }, 0, "", {});
        ASSERT_NE(out, nullptr) << row.lookup;
        EXPECT_EQ(out, row.value) << row.lookup;
        free(out);
    }
}

TEST_F(VantuUci, AllocNeedsAnEmptyOutput)
{
    expect("null", [] { return get_param_str_alloc("vtest.main.ssid", nullptr); }, -4, "",
           {"ERROR get_param_str_alloc(\"vtest.main.ssid\"): value NULL"});
    char text[] = "before";
    char *out = text;
    expect("not empty", [&] { return get_param_str_alloc("vtest.main.ssid", &out); }, -4, "",
           {"ERROR get_param_str_alloc(\"vtest.main.ssid\"): *value is not  NULL"});
    EXPECT_EQ(out, text);
    EXPECT_STREQ(text, "before");
}

TEST_F(VantuUci, AllocOfWhatIsNotThereIsPrinted)
{
    for (const std::string lookup : {"vtest2.main.ssid", "vtest.none.ssid", "vtest.main.none", "vtest.@rule[7].name"}) {
        char *out = nullptr;
        expect(lookup, [&] { return get_param_str_alloc(lookup.c_str(), &out); }, -5,
               "get_param_str_alloc: failed to read '" + lookup + "': Entry not found\n", {});
        EXPECT_EQ(out, nullptr) << lookup;
    }
    char *out = nullptr;
    expect("no lookup", [&] { return get_param_str_alloc("vtest.", &out); }, -5,
           "get_param_str_alloc: failed to read 'vtest.': Invalid argument\n", {});
    EXPECT_EQ(out, nullptr);
}

TEST_F(VantuUci, AllocOfASectionOrPackageIsAnUnknownType)
{
    for (const char *lookup : {"vtest", "vtest.main"}) {
        char *out = nullptr;
        const call_outcome got = outcome_of([&] { return get_param_str_alloc(lookup, &out); });
        EXPECT_EQ(got.result, -5) << lookup;
        EXPECT_EQ(got.errors, "") << lookup;
        ASSERT_EQ(got.log.size(), 1U) << lookup;
        EXPECT_TRUE(starts_with(got.log[0], "DEBUG get_param_str_alloc: unknown option type ")) << got.log[0];
        EXPECT_EQ(out, nullptr) << lookup;
    }
}

// A leak of the part that was read already fails the test under the leak check.
TEST_F(VantuUci, AllocWithoutMemoryLeavesNothing)
{
    const std::string item(1000, 'v');
    write("\nconfig t 's'\n\tlist items '" + item + "'\n\tlist items '" + item + "'\n\toption text '" + item + "'\n\n");
    const struct {
        const char *lookup;
        size_t size;
    } rows[] = {{"vtest.s.items", 1001}, {"vtest.s.items", 2002}, {"vtest.s.text", 1001}};
    for (const auto &row : rows) {
        char *out = nullptr;
        no_memory_for_size = row.size;
        expect(row.lookup, [&] { return get_param_str_alloc(row.lookup, &out); }, -1, "",
               {"ERROR realloc(" + std::to_string(row.size) + ") failed"});
        no_memory_for_size = 0;
        EXPECT_EQ(out, nullptr) << row.size;
    }
}

TEST_F(VantuUci, GetS64ReadsDecimalNumbers)
{
    const struct {
        const char *value;
        int64_t number;
    } rows[] = {
        {"0", 0},
        {"5", 5},
        {"05", 5},
        {"+7", 7},
        {"-7", -7},
        {"-0", 0},
        {" 12", 12},
        {"\t12", 12},
        {"0000000000000000000000000000000000000012", 12},
        {"2147483648", 2147483648},
        {"9223372036854775807", INT64_MAX},
        {"-9223372036854775808", INT64_MIN},
    };
    for (const auto &row : rows) {
        write("\nconfig t 's'\n\toption n '"s + row.value + "'\n\n");
        int64_t number = 77;
        expect(row.value, [&] { return get_param_s64("vtest.s.n", &number); }, 0, "", {});
        EXPECT_EQ(number, row.number) << row.value;
    }
}

TEST_F(VantuUci, GetS64RefusesWhatIsNotExactlyANumber)
{
    const struct {
        const char *value;
        const char *problem;
    } rows[] = {
        {"12ab", "contains extra characters"},
        {"12 ", "contains extra characters"},
        {"0x10", "contains extra characters"},
        {"1.5", "contains extra characters"},
        {"1,000", "contains extra characters"},
        {"5 6", "contains extra characters"},
        {"ab", nullptr},
        {"-", nullptr},
        {" ", nullptr},
        {"- 5", nullptr},
        {"9223372036854775808", nullptr},
        {"-9223372036854775809", nullptr},
        {"99999999999999999999999999x", nullptr},
    };
    for (const auto &row : rows) {
        write("\nconfig t 's'\n\toption n '"s + row.value + "'\n\n");
        int64_t number = 77;
        const call_outcome got = outcome_of([&] { return get_param_s64("vtest.@t[0].n", &number); });
        EXPECT_EQ(got.result, -5) << row.value;
        EXPECT_EQ(number, 77) << row.value;
        EXPECT_EQ(got.errors, "") << row.value;
        ASSERT_EQ(got.log.size(), 1U) << row.value;
        // The section stands there by its own name.
        const std::string begin = "ERROR get_param_s64(vtest.s.n): value \""s + row.value + "\" ";
        EXPECT_TRUE(starts_with(got.log[0], begin)) << got.log[0];
        if (row.problem != nullptr) {
            EXPECT_EQ(got.log[0], begin + row.problem);
        }
    }
}

// An error of an earlier call of the C library says nothing about a value.
TEST_F(VantuUci, GetS64OfZeroIgnoresAnErrorFromBefore)
{
    write("\nconfig t 's'\n\toption n '0'\n\n");
    int64_t number = 77;
    errno = ERANGE;
    expect("zero", [&] { return get_param_s64("vtest.s.n", &number); }, 0, "", {});
    EXPECT_EQ(number, 0);
}

TEST_F(VantuUci, GetS64OfWhatIsNotThereIsLogged)
{
    for (const std::string lookup :
         {"vtest2.main.n", "vtest.none.n", "vtest.main.none", "vtest.@rule[7].n", "vtest.", "vtest", "vtest.main"}) {
        int64_t number = 77;
        const call_outcome got = outcome_of([&] { return get_param_s64(lookup.c_str(), &number); });
        EXPECT_EQ(got.result, -5) << lookup;
        EXPECT_EQ(got.errors, "") << lookup;
        EXPECT_EQ(got.log, texts{"DEBUG get_param_s64: failed to read \"" + lookup + "\""});
        EXPECT_EQ(number, 77) << lookup;
    }
}

TEST_F(VantuUci, CompareIsByText)
{
    const struct {
        const char *lookup;
        const char *value;
        int result;
    } rows[] = {
        {"vtest.main.ssid", "home", E_CMP_EQUAL},           {"vtest.main.ssid", "Home", E_CMP_NOT_EQUAL},
        {"vtest.main.ssid", "homes", E_CMP_NOT_EQUAL},      {"vtest.main.ssid", "hom", E_CMP_NOT_EQUAL},
        {"vtest.main.ssid", "", E_CMP_NOT_EQUAL},           {"vtest.main.ssid", "\"home\"", E_CMP_NOT_EQUAL},
        {"vtest.main.mac", "aa bb 1 aa", E_CMP_EQUAL},      {"vtest.main.mac", "aa bb 1", E_CMP_NOT_EQUAL},
        {"vtest.main.mac", "aa bb 1 aa ", E_CMP_NOT_EQUAL}, {"vtest.main.mac", "aabb1aa", E_CMP_NOT_EQUAL},
        {"vtest.main", "wifi-iface", E_CMP_EQUAL},          {"vtest.@rule[1].name", "Second", E_CMP_EQUAL},
        {"vtest.@rule[1].name", "first", E_CMP_NOT_EQUAL},
    };
    for (const auto &row : rows)
        expect(row.lookup + "="s + row.value, [&] { return cmp_param_str(row.lookup, row.value); }, row.result, "", {});
}

TEST_F(VantuUci, CompareWithANumberIsByText)
{
    const struct {
        const char *value;
        int64_t number;
        int result;
    } rows[] = {
        {"05", 5, E_CMP_NOT_EQUAL},
        {"5", 5, E_CMP_EQUAL},
        {"5 ", 5, E_CMP_NOT_EQUAL},
        {"+5", 5, E_CMP_NOT_EQUAL},
        {"-5", -5, E_CMP_EQUAL},
        {"0", 0, E_CMP_EQUAL},
        {"9223372036854775807", INT64_MAX, E_CMP_EQUAL},
        {"-9223372036854775808", INT64_MIN, E_CMP_EQUAL},
        {"five", 5, E_CMP_NOT_EQUAL},
    };
    for (const auto &row : rows) {
        write("\nconfig t 's'\n\toption n '"s + row.value + "'\n\n");
        expect(row.value, [&] { return cmp_param_s64("vtest.s.n", row.number); }, row.result, "", {});
    }
}

TEST_F(VantuUci, CompareReturnsTheErrorOfReading)
{
    expect("no option", [] { return cmp_param_str("vtest.main.none", "x"); }, -5, "", {});
    expect("no option, number", [] { return cmp_param_s64("vtest.main.none", 0); }, -5, "", {});
    expect("no package", [] { return cmp_param_str("vtest2.main.ssid", "x"); }, -5, "",
           {"DEBUG get_param_str: failed to read \"vtest2.main.ssid\" err=3"});
}

TEST_F(VantuUci, CompareOfLongValuesLooksAtAllOfThem)
{
    for (const size_t length : {63U, 64U, 65U, 127U, 200U, 3000U}) {
        const std::string value(length, 'v');
        write("\nconfig t 's'\n\toption text '" + value + "'\n\n");
        texts log;
        if (length >= 64)
            log = {"ERROR get_param_str(\"vtest.s.text\"): value is longer (" + std::to_string(length) +
                   ") than buffer size (64)"};
        const std::pair<std::string, int> rows[] = {
            {value, E_CMP_EQUAL},
            {value + "v", E_CMP_NOT_EQUAL},
            {value.substr(1), E_CMP_NOT_EQUAL},
            {value.substr(1) + "w", E_CMP_NOT_EQUAL},
            {std::string(63, 'v'), length == 63 ? E_CMP_EQUAL : E_CMP_NOT_EQUAL}};
        for (const auto &row : rows)
            expect(
                std::to_string(length), [&] { return cmp_param_str("vtest.s.text", row.first.c_str()); }, row.second,
                "", log);
    }
}

// ---- Writing ----

TEST_F(VantuUci, SetStoresTheValueAndLogsTheSuccess)
{
    const auto success = [](const std::string &lookup) { return texts{"DEBUG set_param_set success " + lookup}; };
    const std::vector<step> steps = {
        {"changed", [] { return set_param_str("vtest.main.ssid", "guest"); }, 0, "", success("vtest.main.ssid"),
         replaced(before, "'home'", "'guest'")},
        {"same", [] { return set_param_str("vtest.main.ssid", "home"); }, 0, "", success("vtest.main.ssid"), before},
        {"new, behind the others", [] { return set_param_str("vtest.main.key", "k"); }, 0, "",
         success("vtest.main.key"), replaced(before, "'aa'\n\n", "'aa'\n\toption key 'k'\n\n")},
        {"by index", [] { return set_param_str("vtest.@rule[1].name", "x"); }, 0, "", success("vtest.@rule[1].name"),
         replaced(before, "'Second'", "'x'")},
        {"a list becomes a text", [] { return set_param_str("vtest.main.mac", "cc"); }, 0, "",
         success("vtest.main.mac"),
         replaced(before, "\tlist mac 'aa'\n\tlist mac 'bb'\n\tlist mac '1'\n\tlist mac 'aa'\n",
                  "\toption mac 'cc'\n")},
        {"a new section", [] { return set_param_str("vtest.more", "rule"); }, 0, "", success("vtest.more"),
         before + "config rule 'more'\n\n"},
        {"a number", [] { return set_param_s64("vtest.main.channel", 36); }, 0, "", success("vtest.main.channel"),
         replaced(before, "'05'", "'36'")},
        {"the largest", [] { return set_param_s64("vtest.main.channel", INT64_MAX); }, 0, "",
         success("vtest.main.channel"), replaced(before, "'05'", "'9223372036854775807'")},
        {"the smallest", [] { return set_param_s64("vtest.main.channel", INT64_MIN); }, 0, "",
         success("vtest.main.channel"), replaced(before, "'05'", "'-9223372036854775808'")},
    };
    expect_steps(steps);
}

TEST_F(VantuUci, SetOfAnEmptyValueRemovesTheOption)
{
    const std::vector<step> steps = {
        {"a text",
         [] { return set_param_str("vtest.main.ssid", ""); },
         0,
         "",
         {"DEBUG set_param_set success vtest.main.ssid"},
         replaced(before, "\toption ssid 'home'\n", "")},
        {"what is not there",
         [] { return set_param_str("vtest.main.none", ""); },
         0,
         "",
         {"DEBUG set_param_set success vtest.main.none"},
         before},
        {"by index",
         [] { return set_param_str("vtest.@rule[0].name", ""); },
         0,
         "",
         {"DEBUG set_param_set success vtest.@rule[0].name"},
         replaced(before, "\toption name 'first'\n", "")},
    };
    expect_steps(steps);
    EXPECT_EQ(get("vtest.@rule[0].name"), "error -5");
}

TEST_F(VantuUci, SetOfWhatTheStoreCannotReadIsPrinted)
{
    const std::vector<step> steps = {
        {"no package",
         [] { return set_param_str("vtest2.main.ssid", "x"); },
         -5,
         "set_param_str: failed to read 'vtest2.main.ssid' err:3: Entry not found\n",
         {},
         before},
        {"no package, number",
         [] { return set_param_s64("vtest2.main.ssid", 1); },
         -5,
         "set_param_str: failed to read 'vtest2.main.ssid' err:3: Entry not found\n",
         {},
         before},
        {"no section name",
         [] { return set_param_str("vtest..ssid", "x"); },
         -5,
         "set_param_str: failed to read 'vtest..ssid' err:2: Invalid argument\n",
         {},
         before},
        {"no index",
         [] { return set_param_str("vtest.@rule.name", "x"); },
         -5,
         "set_param_str: failed to read 'vtest.@rule.name' err:2: Invalid argument\n",
         {},
         before},
    };
    expect_steps(steps);
    EXPECT_FALSE(std::filesystem::exists(conf + "/vtest2"));

    in_fresh_process([this] {
        for (const std::string lookup : {"", "vtest.main.ssid.x", "vtest.main.no-name", "vtest.main."})
            expect_begin(
                lookup, [&] { return set_param_str(lookup.c_str(), "x"); }, -5,
                "set_param_str: failed to read '" + lookup + "' err:5: Parse error");
        for (const char *value : {"a\001b", "\033[31m", "bell\a"})
            expect_begin(
                printable(value), [&] { return set_param_str("vtest.main.ssid", value); }, -5,
                "set_param_str: failed to read 'vtest.main.ssid' err:5: Parse error");
        EXPECT_EQ(file(), before);
    });
}

// The value would begin at the lookup's "=".
TEST_F(VantuUci, LookupOfAChangeHasNoValueOfItsOwn)
{
    const std::function<int()> calls[] = {
        [] { return set_param_str("vtest.main.ssid=x", "y"); },
        [] { return mod_list_param_str("vtest.main.mac=x", "y", 0); },
        [] { return mod_list_param_str("vtest.main.mac=aa", "y", 1); },
        [] { return del_anonymous_param("vtest.main.mac=aa", "aa"); },
        [] { return del_param("vtest.main.ssid=x"); },
    };
    for (const auto &call : calls)
        EXPECT_EQ(outcome_of(call).result, -5);
    EXPECT_EQ(file(), before);
}

TEST_F(VantuUci, SetThatTheStoreRefusesIsPrinted)
{
    const std::vector<step> steps = {
        {"no section",
         [] { return set_param_str("vtest.none.ssid", "x"); },
         -6,
         "set_param_str: uci_set failed: Invalid argument\n",
         {},
         before},
        {"a package",
         [] { return set_param_str("vtest", "x"); },
         -6,
         "set_param_str: uci_set failed: Invalid argument\n",
         {},
         before},
        {"no type",
         [] { return set_param_str("vtest.more", "two words"); },
         -6,
         "set_param_str: uci_set failed: Invalid argument\n",
         {},
         before},
    };
    expect_steps(steps);
    for (const char *lookup : {"vtest.@rule[2].name", "vtest.@none[0].name", "vtest.@rule[2]"})
        expect_begin(
            lookup, [&] { return set_param_str(lookup, "x"); }, -6, "set_param_str: uci_set failed: ");
    EXPECT_EQ(file(), before);
    EXPECT_EQ(pending(), "");
}

// Lookup and value share a buffer of 255 bytes.
TEST_F(VantuUci, ChangeHasRoomFor254Characters)
{
    const std::string lookup = "vtest.main.mac";
    const std::string fits(254 - lookup.size() - 1, 'v');
    const std::string last_fits = "vtest.main." + std::string(254 - strlen("vtest.main."), 'o');
    const struct {
        const char *function;
        std::function<int(const std::string &value)> call;
    } rows[] = {
        {"set_param_str", [&](const std::string &value) { return set_param_str(lookup.c_str(), value.c_str()); }},
        {"mod_list_param_str",
         [&](const std::string &value) { return mod_list_param_str(lookup.c_str(), value.c_str(), 0); }},
        {"mod_list_param_str",
         [&](const std::string &value) { return mod_list_param_str(lookup.c_str(), value.c_str(), 1); }},
        {"del_anonymous_param",
         [&](const std::string &value) { return del_anonymous_param(lookup.c_str(), value.c_str()); }},
    };
    for (const auto &row : rows) {
        const std::string text = replaced(before, "'bb'", quoted(fits));
        write(text);
        expect(row.function, [&] { return row.call(fits + "v"); }, -5,
               row.function + ": failed to read 'vtest.main.mac' err:2: Invalid argument\n"s, {});
        EXPECT_EQ(file(), text) << row.function;
        EXPECT_EQ(outcome_of([&] { return row.call(fits); }).result, 0) << row.function;
        EXPECT_NE(file(), text) << row.function;
    }
    ASSERT_EQ(set(lookup, fits), 0);
    EXPECT_EQ(get(lookup), fits);
    EXPECT_EQ(compare(lookup, fits), E_CMP_EQUAL);

    write(replaced(before, "\toption ssid", "\toption " + last_fits.substr(11) + " 'x'\n\toption ssid"));
    expect("one too long", [&] { return del_param((last_fits + "o").c_str()); }, -5,
           "del_param: failed to read '" + last_fits + "o' err:2: Invalid argument\n", {});
    expect("exactly full", [&] { return del_param(last_fits.c_str()); }, 0, "", {});
    EXPECT_EQ(file(), before);
}

const char *const hostile[] = {
    "two words",
    " blanks around ",
    "it's",
    "'single'",
    "\"double\"",
    "'",
    "''",
    "\"",
    "line\nbreak",
    "\n",
    "end\n",
    "cr\rlf\r\n",
    "tab\there",
    "back\\slash",
    "\\",
    "\\'",
    "# no comment",
    "x#y",
    "a=b=c",
    "=",
    "x.y.z",
    "1",
    "0",
    "-1",
    "@rule[0]",
    "a,b;c|d",
    "$HOME $(id) `id`",
    "%n%s%d",
    "config x 'y'",
    "\n\toption evil '1'",
    "d\xc3\xa9j\xc3\xa0 vu",
    "=1+1",
    "option",
};

TEST_F(VantuUci, EveryValueIsReadAsItWasSet)
{
    for (const char *value : hostile) {
        SCOPED_TRACE(printable(value));
        write(before);
        ASSERT_EQ(set("vtest.main.ssid", value), 0);
        EXPECT_EQ(file(), replaced(before, "'home'", quoted(value)));
        EXPECT_EQ(get("vtest.main.ssid"), value);
        EXPECT_EQ(compare("vtest.main.ssid", value), E_CMP_EQUAL);
        EXPECT_EQ(compare("vtest.main.ssid", value + "x"s), E_CMP_NOT_EQUAL);
        char *text = nullptr;
        ASSERT_EQ(get_param_str_alloc("vtest.main.ssid", &text), 0);
        EXPECT_STREQ(text, value);
        free(text);
        const quiet_log quiet;
        EXPECT_EQ(del_anonymous_param("vtest.main.ssid", value), 0);
        EXPECT_EQ(file(), replaced(before, "\toption ssid 'home'\n", ""));
    }
}

TEST_F(VantuUci, EveryItemIsReadAndRemovedAsItWasAdded)
{
    const quiet_log quiet;
    for (const char *value : hostile) {
        SCOPED_TRACE(printable(value));
        write(replaced(before, "\tlist mac '1'\n", ""));
        const std::string without = file();
        for (const bool by_list : {true, false}) {
            ASSERT_EQ(mod_list_param_str("vtest.main.mac", value, 0), 0);
            EXPECT_EQ(file(), replaced(without, "'aa'\n\n", "'aa'\n\tlist mac " + quoted(value) + "\n\n"));
            EXPECT_EQ(get("vtest.main.mac"), "aa bb aa "s + value);
            EXPECT_EQ(by_list ? mod_list_param_str("vtest.main.mac", value, 1)
                              : del_anonymous_param("vtest.main.mac", value),
                      0);
            EXPECT_EQ(file(), without);
        }
    }
}

TEST_F(VantuUci, NumbersAreReadAsTheyWereSet)
{
    const quiet_log quiet;
    for (const int64_t number : {int64_t(0), int64_t(-1), int64_t(42), INT64_MAX, INT64_MIN}) {
        ASSERT_EQ(set_param_s64("vtest.main.n", number), 0);
        int64_t got = 77;
        EXPECT_EQ(get_param_s64("vtest.main.n", &got), 0);
        EXPECT_EQ(got, number);
        EXPECT_EQ(cmp_param_s64("vtest.main.n", number), E_CMP_EQUAL);
        EXPECT_EQ(cmp_param_s64("vtest.main.n", number ^ 1), E_CMP_NOT_EQUAL);
    }
}

TEST_F(VantuUci, ModListAppendsAndRemovesByValue)
{
    const std::string last = "\tlist mac 'aa'\n\n";
    const std::vector<step> steps = {
        {"append",
         [] { return mod_list_param_str("vtest.main.mac", "cc", 0); },
         0,
         "",
         {},
         replaced(before, last, "\tlist mac 'aa'\n\tlist mac 'cc'\n\n")},
        {"append once more",
         [] { return mod_list_param_str("vtest.main.mac", "bb", 0); },
         0,
         "",
         {},
         replaced(before, last, "\tlist mac 'aa'\n\tlist mac 'bb'\n\n")},
        {"append an empty one",
         [] { return mod_list_param_str("vtest.main.mac", "", 0); },
         0,
         "",
         {},
         replaced(before, last, "\tlist mac 'aa'\n\tlist mac ''\n\n")},
        {"a new list",
         [] { return mod_list_param_str("vtest.@rule[0].ip", "192.0.2.1", 0); },
         0,
         "",
         {},
         replaced(before, "'first'\n", "'first'\n\tlist ip '192.0.2.1'\n")},
        {"a text becomes a list",
         [] { return mod_list_param_str("vtest.main.ssid", "guest", 0); },
         0,
         "",
         {},
         replaced(before, "\toption ssid 'home'\n", "\tlist ssid 'home'\n\tlist ssid 'guest'\n")},
        {"remove one",
         [] { return mod_list_param_str("vtest.main.mac", "bb", 1); },
         0,
         "",
         {},
         replaced(before, "\tlist mac 'bb'\n", "")},
        {"remove all that are equal",
         [] { return mod_list_param_str("vtest.main.mac", "aa", -1); },
         0,
         "",
         {},
         replaced(replaced(before, "\tlist mac 'aa'\n", ""), "\tlist mac 'aa'\n", "")},
        {"remove a value, no index",
         [] { return mod_list_param_str("vtest.main.mac", "1", 1); },
         0,
         "",
         {},
         replaced(before, "\tlist mac '1'\n", "")},
        {"remove what is not in it", [] { return mod_list_param_str("vtest.main.mac", "zz", 1); }, 0, "", {}, before},
        {"remove from a text", [] { return mod_list_param_str("vtest.main.ssid", "home", 1); }, 0, "", {}, before},
        {"remove from no list", [] { return mod_list_param_str("vtest.main.none", "x", 1); }, 0, "", {}, before},
    };
    expect_steps(steps);
}

TEST_F(VantuUci, ListWithoutItemsIsNotThere)
{
    const quiet_log quiet;
    for (const char *value : {"aa", "bb", "1"})
        EXPECT_EQ(mod_list_param_str("vtest.main.mac", value, 1), 0);
    EXPECT_EQ(get("vtest.main.mac"), "error -5");
    EXPECT_EQ(file().find("mac"), std::string::npos);
}

TEST_F(VantuUci, ModListFailuresArePrinted)
{
    for (const int remove : {0, 1}) {
        const std::vector<step> steps = {
            {"no section",
             [=] { return mod_list_param_str("vtest.none.mac", "x", remove); },
             -6,
             "mod_list_param_str: uci_set failed: Invalid argument\n",
             {},
             before},
            {"no such index",
             [=] { return mod_list_param_str("vtest.@rule[2].mac", "x", remove); },
             -6,
             "mod_list_param_str: uci_set failed: Invalid argument\n",
             {},
             before},
            {"no package",
             [=] { return mod_list_param_str("vtest2.main.mac", "x", remove); },
             -5,
             "mod_list_param_str: failed to read 'vtest2.main.mac' err:3: Entry not found\n",
             {},
             before},
        };
        expect_steps(steps);
    }
}

TEST_F(VantuUci, DelAnonymousRemovesByValueNeverByIndex)
{
    const std::vector<step> steps = {
        {"an item",
         [] { return del_anonymous_param("vtest.main.mac", "bb"); },
         0,
         "",
         {},
         replaced(before, "\tlist mac 'bb'\n", "")},
        {"items that are equal",
         [] { return del_anonymous_param("vtest.main.mac", "aa"); },
         0,
         "",
         {},
         replaced(replaced(before, "\tlist mac 'aa'\n", ""), "\tlist mac 'aa'\n", "")},
        {"an item that looks like an index",
         [] { return del_anonymous_param("vtest.main.mac", "1"); },
         0,
         "",
         {},
         replaced(before, "\tlist mac '1'\n", "")},
        {"a text",
         [] { return del_anonymous_param("vtest.main.ssid", "home"); },
         0,
         "",
         {},
         replaced(before, "\toption ssid 'home'\n", "")},
        {"a text by index",
         [] { return del_anonymous_param("vtest.@rule[1].name", "Second"); },
         0,
         "",
         {},
         replaced(before, "\toption name 'Second'\n", "")},
    };
    expect_steps(steps);
}

TEST_F(VantuUci, DelAnonymousOfAValueThatNothingHasIsPrinted)
{
    const std::pair<const char *, const char *> rows[] = {
        {"vtest.main.mac", "0"},      {"vtest.main.mac", "3"},         {"vtest.main.mac", "-1"},
        {"vtest.main.mac", "zz"},     {"vtest.main.mac", "a"},         {"vtest.main.mac", "aa "},
        {"vtest.main.mac", "AA"},     {"vtest.main.mac", ""},          {"vtest.main.mac", "\"aa\""},
        {"vtest.main.mac", "aa bb"},  {"vtest.main.ssid", "Home"},     {"vtest.main.ssid", "hom"},
        {"vtest.main.ssid", ""},      {"vtest.main.ssid", "\"home\""}, {"vtest.main.none", "x"},
        {"vtest.none.ssid", "home"},  {"vtest.main", "wifi-iface"},    {"vtest", "x"},
        {"vtest.@rule[2].name", "x"}, {"vtest2.main.ssid", "home"},
    };
    for (const auto &row : rows) {
        const std::string name = row.first + "="s + row.second;
        expect(name, [&] { return del_anonymous_param(row.first, row.second); }, -5,
               "del_anonymous_param: failed to read '"s + row.first + "' err:3: Entry not found\n", {});
        EXPECT_EQ(file(), before) << name;
    }
}

TEST_F(VantuUci, DelAnonymousThatTheStoreRefusesIsPrinted)
{
    {
        const breaks broken("uci_delete", UCI_ERR_MEM);
        expect("a text", [] { return del_anonymous_param("vtest.main.ssid", "home"); }, -6,
               "del_anonymous_param: uci_delete failed: Out of memory\n", {});
    }
    const breaks broken("uci_del_list", UCI_ERR_INVAL);
    expect_begin(
        "an item", [] { return del_anonymous_param("vtest.main.mac", "aa"); }, -6, "del_anonymous_param: ");
    EXPECT_EQ(file(), before);
}

TEST_F(VantuUci, DelRemovesOptionsAndSections)
{
    const std::string list = "\tlist mac 'aa'\n\tlist mac 'bb'\n\tlist mac '1'\n\tlist mac 'aa'\n";
    const std::string main = before.substr(0, before.find("\nconfig rule"));
    const std::vector<step> steps = {
        {"a text",
         [] { return del_param("vtest.main.ssid"); },
         0,
         "",
         {},
         replaced(before, "\toption ssid 'home'\n", "")},
        {"a list", [] { return del_param("vtest.main.mac"); }, 0, "", {}, replaced(before, list, "")},
        {"a section", [] { return del_param("vtest.main"); }, 0, "", {}, replaced(before, main, "")},
        {"a section by index",
         [] { return del_param("vtest.@rule[0]"); },
         0,
         "",
         {},
         replaced(before, "\nconfig rule\n\toption name 'first'\n", "")},
        {"an option by index",
         [] { return del_param("vtest.@rule[-1].target"); },
         0,
         "",
         {},
         replaced(before, "\toption target 'x'\n", "")},
    };
    expect_steps(steps);
}

TEST_F(VantuUci, DelFailuresArePrinted)
{
    const std::vector<step> steps = {
        {"no option",
         [] { return del_param("vtest.main.none"); },
         -6,
         "del_param: uci_delete failed: Entry not found\n",
         {},
         before},
        {"no section",
         [] { return del_param("vtest.none"); },
         -6,
         "del_param: uci_delete failed: Entry not found\n",
         {},
         before},
        {"no option in no section",
         [] { return del_param("vtest.none.x"); },
         -6,
         "del_param: uci_delete failed: Entry not found\n",
         {},
         before},
        {"no such index",
         [] { return del_param("vtest.@rule[2]"); },
         -6,
         "del_param: uci_delete failed: Entry not found\n",
         {},
         before},
        {"a package",
         [] { return del_param("vtest"); },
         -6,
         "del_param: uci_delete failed: Invalid argument\n",
         {},
         before},
        {"no package",
         [] { return del_param("vtest2.main.ssid"); },
         -5,
         "del_param: failed to read 'vtest2.main.ssid' err:3: Entry not found\n",
         {},
         before},
        {"no lookup",
         [] { return del_param("vtest."); },
         -5,
         "del_param: failed to read 'vtest.' err:2: Invalid argument\n",
         {},
         before},
    };
    expect_steps(steps);
}

TEST_F(VantuUci, CommitThatFailsIsPrintedAndTheResultIsZeroWhichIsKept)
{
    const struct {
        const char *function;
        const char *lookup;
        std::function<int()> call;
    } rows[] = {
        {"set_param_str", "vtest.main.ssid", [] { return set_param_str("vtest.main.ssid", "guest"); }},
        {"set_param_str", "vtest.main.ssid", [] { return set_param_s64("vtest.main.ssid", 5); }},
        {"mod_list_param_str", "vtest.main.mac", [] { return mod_list_param_str("vtest.main.mac", "cc", 0); }},
        {"mod_list_param_str", "vtest.main.mac", [] { return mod_list_param_str("vtest.main.mac", "aa", 1); }},
        {"del_anonymous_param", "vtest.main.mac", [] { return del_anonymous_param("vtest.main.mac", "aa"); }},
        {"del_param", "vtest.main.ssid", [] { return del_param("vtest.main.ssid"); }},
    };
    // A directory for pending changes that is a file.
    write_file(save, "");
    for (const auto &row : rows) {
        const std::string errors = row.function + ": uci_commit failed '"s + row.lookup + "' err:4: I/O error\n";
        expect(row.function, row.call, 0, errors, {});
        const breaks broken("uci_commit", UCI_ERR_IO);
        expect(row.function, row.call, 0, errors, {});
    }
    EXPECT_EQ(file(), before);
    // What was not committed is not read, either, and is not committed later.
    EXPECT_EQ(get("vtest.main.ssid"), "home");
    EXPECT_EQ(get("vtest.main.mac"), "aa bb 1 aa");
    std::filesystem::remove(save);
    EXPECT_EQ(set("vtest.main.channel", "6"), 0);
    EXPECT_EQ(file(), replaced(before, "'05'", "'6'"));
}

TEST_F(VantuUci, AddSectionSavesAndTheNextChangeCommits)
{
    const texts log = {"DEBUG add_anonymous_param: config section: vtest rule"};
    expect(
        "add", [] { return add_anonymous_section("vtest", "rule"); }, 0, "", log);
    EXPECT_EQ(file(), before);
    EXPECT_NE(pending().find("='rule'"), std::string::npos);
    EXPECT_EQ(get("vtest.@rule[2]"), "rule");

    expect(
        "another", [] { return add_anonymous_section("vtest", "rule"); }, 0, "", log);
    EXPECT_EQ(set("vtest.@rule[3].name", "fourth"), 0);
    EXPECT_EQ(file(), before + "config rule\n\nconfig rule\n\toption name 'fourth'\n\n");
    EXPECT_EQ(pending(), "");
}

TEST_F(VantuUci, AddSectionReturnsTheErrorOfTheStepThatFails)
{
    const struct {
        const char *package;
        const char *type;
        int error;
        const char *step;
    } rows[] = {
        {"vtest2", "rule", 3, "uci_lookup_ptr"},
        {"", "rule", 5, "uci_lookup_ptr"},
        {"vtest", "", 2, "uci_add_section"},
        {"vtest", "two words", 2, "uci_add_section"},
        {"vtest", "line\nbreak", 2, "uci_add_section"},
        {"vtest", "d\xc3\xa9j\xc3\xa0", 2, "uci_add_section"},
    };
    for (const auto &row : rows)
        expect(row.step, [&] { return add_anonymous_section(row.package, row.type); }, row.error, "",
               {"DEBUG add_anonymous_param: config section: "s + row.package + " " + row.type,
                "ERROR add_anonymous_param: "s + row.step + " err:" + std::to_string(row.error)});
    write_file(save, "");
    expect("save", [] { return add_anonymous_section("vtest", "rule"); }, 4, "",
           {"DEBUG add_anonymous_param: config section: vtest rule", "ERROR add_anonymous_param: uci_save err:4"});
    EXPECT_EQ(get("vtest.@rule[2]"), "error -5");
    EXPECT_EQ(file(), before);
    EXPECT_FALSE(std::filesystem::exists(conf + "/vtest2"));
}

// ---- The search for a section ----

// A package of anonymous sections: one for each value; a null one has no option.
std::string rules(const std::vector<const char *> &values)
{
    std::string out;
    for (const char *value : values)
        out += "\nconfig rule\n"s + (value != nullptr ? "\toption name '"s + value + "'\n" : "");
    return out + "\n";
}

TEST_F(VantuUci, FindGivesTheFirstSectionWithTheValueIgnoringCase)
{
    write("\nconfig other\n\toption name 'b'\n" + rules({"a", "B", "b", nullptr, "two words", "rule"}));
    const struct {
        const char *value;
        int index;
    } rows[] = {{"a", 0}, {"A", 0}, {"b", 1}, {"B", 1}, {"TWO WORDS", 4}};
    for (const auto &row : rows) {
        int index = 77;
        expect(row.value, [&] { return vantu_find_uci_index_from_anonlist("vtest.@rule", "name", row.value, &index); },
               0, "", {});
        EXPECT_EQ(index, row.index) << row.value;
    }
}

TEST_F(VantuUci, FindComparesTheTypeOfASectionWithoutTheOptionWhichIsKept)
{
    write(rules({"a", nullptr, "rule"}));
    int index = 77;
    expect("type", [&] { return vantu_find_uci_index_from_anonlist("vtest.@rule", "name", "Rule", &index); }, 0, "",
           {});
    EXPECT_EQ(index, 1);
    expect("no option at all",
           [&] { return vantu_find_uci_index_from_anonlist("vtest.@rule", "none", "rule", &index); }, 0, "", {});
    EXPECT_EQ(index, 0);
}

TEST_F(VantuUci, FindWithoutSuccessGivesMinusOne)
{
    write(rules({"a", "b"}));
    const struct {
        const char *type;
        const char *value;
        texts log;
    } rows[] = {
        {"vtest.@rule", "c", {"DEBUG vantu_find_uci_index_from_anonlist vtest.@rule name c NOT FOUND"}},
        {"vtest.@rule", "", {"DEBUG vantu_find_uci_index_from_anonlist vtest.@rule name  NOT FOUND"}},
        {"vtest.@none", "a", {"DEBUG vantu_find_uci_index_from_anonlist vtest.@none name a NOT FOUND"}},
        {"vtest2.@rule",
         "a",
         {"DEBUG get_param_str: failed to read \"vtest2.@rule[0]\" err=3",
          "DEBUG vantu_find_uci_index_from_anonlist vtest2.@rule name a NOT FOUND"}},
    };
    for (const auto &row : rows) {
        int index = 77;
        expect(
            row.type, [&] { return vantu_find_uci_index_from_anonlist(row.type, "name", row.value, &index); }, -5, "",
            row.log);
        EXPECT_EQ(index, -1) << row.type;
    }
}

TEST_F(VantuUci, FindComparesALongValueWholeAndTellsThatItIsLong)
{
    const std::string value = "abcdefghijklmnopqrstuvwxyz012345"; // 32
    const std::string begin = value.substr(0, 31);
    const auto find = [](const std::string &wanted) {
        int index = 77;
        const call_outcome got = outcome_of(
            [&] { return vantu_find_uci_index_from_anonlist("vtest.@rule", "name", wanted.c_str(), &index); });
        return std::to_string(got.result) + " " + std::to_string(index) + " " + joined(got.log);
    };
    const auto not_found = [](const std::string &wanted) {
        return "DEBUG vantu_find_uci_index_from_anonlist vtest.@rule name " + wanted + " NOT FOUND";
    };
    const std::string too_long =
        "ERROR get_param_str(\"vtest.@rule[0].name\"): value is longer (32) than buffer size (32)";

    write(rules({value.c_str()}));
    EXPECT_EQ(find(value), "0 0 " + too_long);
    EXPECT_EQ(find(begin), "-5 -1 " + too_long + "," + not_found(begin));
    EXPECT_EQ(find(value + "6"), "-5 -1 " + too_long + "," + not_found(value + "6"));
    write(rules({begin.c_str()}));
    EXPECT_EQ(find(begin), "0 0 ");
    EXPECT_EQ(find(value), "-5 -1 " + not_found(value));
}

TEST_F(VantuUci, FindLooksAt1001SectionsAndSpeaksUpAtExactly1000WhichIsKept)
{
    const texts limit = {"ERROR vantu_find_uci_index_from_anonlist: Reached max devices on uci"};
    const texts not_found = {"DEBUG vantu_find_uci_index_from_anonlist vtest.@rule name x NOT FOUND"};
    const struct {
        int sections;
        int with_value; // -1: none
        int result;
        int index;
        texts log;
    } rows[] = {
        {999, -1, -5, -1, not_found}, {1000, -1, -7, 77, limit}, {1001, -1, -5, -1, not_found},
        {1000, 999, 0, 999, {}},      {1001, 1000, 0, 1000, {}}, {1002, 1001, -5, -1, not_found},
    };
    for (const auto &row : rows) {
        std::vector<const char *> values(static_cast<size_t>(row.sections), "y");
        if (row.with_value >= 0)
            values[static_cast<size_t>(row.with_value)] = "x";
        write(rules(values));
        const std::string name = std::to_string(row.sections) + " sections, " + std::to_string(row.with_value);
        int index = 77;
        expect(
            name, [&] { return vantu_find_uci_index_from_anonlist("vtest.@rule", "name", "x", &index); }, row.result,
            "", row.log);
        EXPECT_EQ(index, row.index) << name;
    }
}

// ---- Batches ----

TEST_F(VantuUci, BatchSetsEachPairAndLeavesOutBlanksAndEmptyParts)
{
    const struct {
        const char *lookups;
        const char *values;
        const char *options; // behind those that are there
        texts pairs;
    } rows[] = {
        {"a, b", "1, 2", "\toption a '1'\n\toption b '2'\n", {"a=1", "b=2"}},
        {" a , b ", " 1 , 2 ", "\toption a '1'\n\toption b '2'\n", {"a=1", "b=2"}},
        {"a a", "two words", "\toption aa 'twowords'\n", {"aa=twowords"}},
        {"a", "tab\tkept", "\toption a 'tab\tkept'\n", {"a=tab\tkept"}},
        {"a", "1", "\toption a '1'\n", {"a=1"}},
        {"a,,c", "1,2,3", "\toption a '1'\n\toption c '3'\n", {"a=1", "c=3"}},
        {"a,b,c", "1,,3", "\toption a '1'\n\toption c '3'\n", {"a=1", "c=3"}},
        {"a,b,c", " ,  ,3", "\toption c '3'\n", {"c=3"}},
        {",a", ",1", "\toption a '1'\n", {"a=1"}},
        {"a,", "1,", "\toption a '1'\n", {"a=1"}},
        {"", "", "", {}},
        {"a", "", "", {}},
        {"", "1", "", {}},
        {",,", ",,", "", {}},
        {"a,a", "1,2", "\toption a '2'\n", {"a=1", "a=2"}},
    };
    const std::string empty = "\nconfig t 'x'\n";
    for (const auto &row : rows) {
        write(empty + "\n");
        const std::string name = row.lookups + "="s + row.values;
        texts log;
        for (const std::string &pair : row.pairs) {
            const std::string lookup = "vtest.x." + pair.substr(0, pair.find('='));
            log.push_back("DEBUG " + lookup + "='" + pair.substr(pair.find('=') + 1) + "'");
            log.push_back("DEBUG set_param_set success " + lookup);
        }
        expect(
            name, [&] { return vantu_update_config("vtest.x", row.lookups, row.values); }, 0, "", log);
        EXPECT_EQ(file(), empty + row.options + "\n") << name;
    }
}

TEST_F(VantuUci, BatchOfDifferentLengthsChangesNothing)
{
    const struct {
        const char *lookups;
        const char *values;
        const char *counts;
    } rows[] = {
        {"ssid,b", "1", "lookup_list: 1 != values_list: 0"},
        {"ssid", "1,2", "lookup_list: 0 != values_list: 1"},
        {"ssid,b,c", "1,2", "lookup_list: 2 != values_list: 1"},
        {"", ",", "lookup_list: 0 != values_list: 1"},
    };
    for (const auto &row : rows) {
        expect(row.counts, [&] { return vantu_update_config("vtest.main", row.lookups, row.values); }, -8, "",
               {"ERROR Invalid arguments: "s + row.counts});
        EXPECT_EQ(file(), before) << row.counts;
    }
}

TEST_F(VantuUci, BatchStopsAtTheFirstFailureAndKeepsThePairsBefore)
{
    expect("refused", [] { return vantu_update_config("vtest", "main.ssid,none.x,main.channel", "guest,1,6"); }, -6,
           "set_param_str: uci_set failed: Invalid argument\n",
           {"DEBUG vtest.main.ssid='guest'", "DEBUG set_param_set success vtest.main.ssid", "DEBUG vtest.none.x='1'",
            "ERROR vantu_update_config: UCIERRR: -6, lookup: vtest.none.x, value: 1"});
    EXPECT_EQ(file(), replaced(before, "'home'", "'guest'"));
    expect("not found", [] { return vantu_update_config("vtest2.main", "a,b", "1,2"); }, -5,
           "set_param_str: failed to read 'vtest2.main.a' err:3: Entry not found\n",
           {"DEBUG vtest2.main.a='1'", "ERROR vantu_update_config: UCIERRR: -5, lookup: vtest2.main.a, value: 1"});
}

TEST_F(VantuUci, BatchTakes64CharactersOfThePrefix)
{
    const std::string section(64 - strlen("vtest."), 's');
    write("\nconfig t '" + section + "'\n\n");
    const quiet_log quiet;
    EXPECT_EQ(vantu_update_config(("vtest." + section).c_str(), "a", "1"), 0);
    EXPECT_EQ(vantu_update_config(("vtest." + section + "tail").c_str(), "b", "2"), 0);
    EXPECT_EQ(file(), "\nconfig t '" + section + "'\n\toption a '1'\n\toption b '2'\n\n");
}

TEST_F(VantuUci, BatchTakes255CharactersOfEachListBeforeBlanksAreRemoved)
{
    const auto blanks = [](int count) { return repeated(" ", count); };
    const struct {
        std::string lookups;
        std::string values;
        const char *options;
    } rows[] = {
        {"a", blanks(253) + "12", "\toption a '12'\n"},
        {"a", blanks(254) + "12", "\toption a '1'\n"},
        {"a", blanks(255) + "12", ""},
        {blanks(253) + "ab", "1", "\toption ab '1'\n"},
        {blanks(254) + "ab", "1", "\toption a '1'\n"},
        {blanks(255) + "ab", "1", ""},
        // Commas are counted before the lists are cut.
        {"a,b", "1" + blanks(254) + ",2", "\toption a '1'\n"},
        {"a" + blanks(254) + ",b", "1,2", "\toption a '1'\n"},
    };
    const std::string empty = "\nconfig t 'x'\n";
    for (const auto &row : rows) {
        write(empty + "\n");
        const quiet_log quiet;
        EXPECT_EQ(vantu_update_config("vtest.x", row.lookups.c_str(), row.values.c_str()), 0);
        EXPECT_EQ(file(), empty + row.options + "\n") << row.lookups << "=" << row.values;
    }
}

// ---- Whole packages ----

const std::string printed = "vtest.main.ssid\nhome\nvtest.main.channel\n05\nvtest.main.mac\naa bb 1 aa\n"
                            "vtest.cfg0292bd.name\nfirst\nvtest.cfg0392bd.name\nSecond\nvtest.cfg0392bd.target\nx\n";

TEST_F(VantuUci, ListPrintsEveryOptionUnderItsSectionsOwnName)
{
    char out[1024];
    expect("all", [&] { return vantu_list_uci_configs("vtest", out, sizeof(out)); }, static_cast<int>(printed.size()),
           "", {});
    EXPECT_EQ(out, printed);
}

TEST_F(VantuUci, ListIsCutToTheSize)
{
    for (size_t size = 1; size <= printed.size() + 2; size++) {
        const std::unique_ptr<char, void (*)(void *)> out(static_cast<char *>(malloc(size)), free);
        memset(out.get(), '#', size);
        const int written = vantu_list_uci_configs("vtest", out.get(), static_cast<int>(size));
        const std::string want = printed.substr(0, size - 1);
        EXPECT_EQ(written, static_cast<int>(want.size())) << size;
        EXPECT_EQ(out.get(), want) << size;
    }
    for (const int size : {0, -1}) {
        char out[] = "before";
        EXPECT_EQ(vantu_list_uci_configs("vtest", out, size), 0);
        EXPECT_STREQ(out, "before");
    }
}

TEST_F(VantuUci, ListOfAPackageWithoutOptionsIsEmpty)
{
    for (const char *content : {"", "# nothing\n", "\nconfig t 's'\n\n"}) {
        write(content);
        char out[] = "before";
        expect(content, [&] { return vantu_list_uci_configs("vtest", out, sizeof(out)); }, 0, "", {});
        EXPECT_STREQ(out, "") << content;
    }
}

TEST_F(VantuUci, ListOfWhatIsNotThereIsReported)
{
    char out[16] = "";
    expect("no package", [&] { return vantu_list_uci_configs("vtest2", out, sizeof(out)); }, 0,
           "get_config_entry Error: Entry not found\n", {"WARN vantu_list_uci_configs: Failed to get vtest2"});
    EXPECT_STREQ(out, "");
}

// ---- Files that are wrong ----

const char *const some_lookup = "vtest.main.ssid";

// Every operation that looks up, and how it says that it failed.
struct reader {
    const char *prefix;
    int result;
    std::function<int()> call;
};

const reader readers[] = {
    {"get_param_str: failed to read \"vtest.main.ssid\" err=5", -5,
     [] {
         char out[8];
         return get_param_str(some_lookup, out, sizeof(out));
     }},
    {"get_param_str_alloc: failed to read 'vtest.main.ssid'", -5,
     [] {
         char *out = nullptr;
         return get_param_str_alloc(some_lookup, &out);
     }},
    {"get_param_s64: failed to read \"vtest.main.ssid\"", -5,
     [] {
         int64_t out = 0;
         return get_param_s64(some_lookup, &out);
     }},
    {"get_param_str: failed to read \"vtest.main.ssid\" err=5", -5, [] { return cmp_param_str(some_lookup, "x"); }},
    {"get_param_str: failed to read \"vtest.@rule[0]\" err=5", -5,
     [] {
         int index = 0;
         return vantu_find_uci_index_from_anonlist("vtest.@rule", "name", "x", &index);
     }},
    {"get_config_entry Error", 0,
     [] {
         char out[8];
         return vantu_list_uci_configs("vtest", out, sizeof(out));
     }},
    {"set_param_str: failed to read 'vtest.main.ssid' err:5", -5, [] { return set_param_str(some_lookup, "x"); }},
    {"set_param_str: failed to read 'vtest.main.ssid' err:5", -5, [] { return set_param_str(some_lookup, ""); }},
    {"mod_list_param_str: failed to read 'vtest.main.ssid' err:5", -5,
     [] { return mod_list_param_str(some_lookup, "x", 0); }},
    {"mod_list_param_str: failed to read 'vtest.main.ssid' err:5", -5,
     [] { return mod_list_param_str(some_lookup, "x", 1); }},
    {"del_anonymous_param: failed to read 'vtest.main.ssid' err:5", -5,
     [] { return del_anonymous_param(some_lookup, "x"); }},
    {"del_param: failed to read 'vtest.main.ssid' err:5", -5, [] { return del_param(some_lookup); }},
    {"set_param_str: failed to read 'vtest.main.ssid' err:5", -5,
     [] { return vantu_update_config("vtest.main", "ssid", "x"); }},
};

TEST_F(VantuUci, MalformedFileIsReportedWithItsLineByEveryOperationAndStays)
{
    const std::string content = "\nconfig wifi-iface 'main'\n\toption ssid 'home'\noptions\n";
    write(content);
    in_fresh_process([&] {
        for (const reader &row : readers) {
            expect_begin(row.prefix, row.call, row.result,
                         row.prefix + ": Parse error (invalid command) at line 4, byte "s);
            EXPECT_EQ(file(), content) << row.prefix;
        }
    });
    const auto add = [] { return add_anonymous_section("vtest", "rule"); };
    expect_begin("add", add, 5,
                 "add_anonymous_param: uci_lookup_ptr err:5: Parse error (invalid command) at line 4, byte ");
    EXPECT_EQ(outcome_of(add).log, (texts{"DEBUG add_anonymous_param: config section: vtest rule",
                                          "ERROR add_anonymous_param: uci_lookup_ptr err:5"}));
    EXPECT_EQ(file(), content);
    EXPECT_EQ(pending(), "");
}

TEST_F(VantuUci, MalformedFileIsReportedWithItsReason)
{
    const struct {
        const char *content;
        const char *reason;
        int line;
    } rows[] = {
        {"config\n", "invalid command", 1},
        {"config t 's'\n\toption\n", "invalid command", 2},
        {"option a 'b'\n", "option/list command found before the first section", 1},
        {"config t 's'\n\n\toption a b c\n", "too many arguments", 3},
        {"config t 's'\n\toption a-b 'c'\n", "invalid character in name field", 2},
        {"config t 's'\n\nconfig u 's'\n", "section of different type overwrites prior section with same name", 3},
    };
    in_fresh_process([&] {
        for (const auto &row : rows) {
            write(row.content);
            expect_begin(
                row.reason, [] { return set_param_str(some_lookup, "x"); }, -5,
                "set_param_str: failed to read 'vtest.main.ssid' err:5: Parse error ("s + row.reason + ") at line " +
                    std::to_string(row.line));
            EXPECT_EQ(file(), row.content);
        }
    });
}

TEST_F(VantuUci, FileThatIsRepairedIsReadAgain)
{
    in_fresh_process([&] {
        write("config\n");
        const quiet_log quiet;
        (void)standard_error_of([] { EXPECT_EQ(get("vtest.main.ssid"), "error -5"); });
        write(before);
        EXPECT_EQ(get("vtest.main.ssid"), "home");
    });
}

TEST_F(VantuUci, DirectoryThatIsMissingIsNotMade)
{
    std::filesystem::remove_all(conf);
    for (const reader &row : readers) {
        const call_outcome got = outcome_of(row.call);
        EXPECT_EQ(got.result, row.result) << row.prefix;
        std::string prefix = row.prefix;
        if (prefix.back() == '5')
            prefix.back() = '3';
        if (got.errors.empty()) {
            EXPECT_FALSE(got.log.empty()) << prefix;
        } else {
            EXPECT_EQ(got.errors, prefix + ": Entry not found\n");
        }
    }
    EXPECT_EQ(outcome_of([] { return add_anonymous_section("vtest", "rule"); }).result, 3);
    EXPECT_FALSE(std::filesystem::exists(conf));
    EXPECT_EQ(pending(), "");
}

// As in a file system that is mounted read-only, and in a directory in which the file could be written but not
// replaced.
TEST_F(VantuUci, FileThatCannotBeWrittenOrReplacedStays)
{
    constexpr uid_t nobody = 65534;
    constexpr int cannot_be_tested = 77;
    std::filesystem::create_directory(save);
    ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
    if (geteuid() == 0 && chown(save.c_str(), nobody, nobody) != 0)
        GTEST_SKIP() << "root cannot give a directory to another user here";
    for (const mode_t file_mode : {0444U, 0666U}) {
        ASSERT_EQ(chmod((conf + "/vtest").c_str(), file_mode), 0);
        ASSERT_EQ(chmod(conf.c_str(), 0555), 0);
        const int result = in_child([&] {
            if (geteuid() == 0 && setresuid(nobody, nobody, nobody) != 0)
                return cannot_be_tested;
            expect_begin(
                "set", [] { return set_param_str("vtest.main.ssid", "guest"); }, 0,
                "set_param_str: uci_commit failed 'vtest.main.ssid' err:");
            expect_begin(
                "delete", [] { return del_param("vtest.main.channel"); }, 0,
                "del_param: uci_commit failed 'vtest.main.channel' err:");
            EXPECT_EQ(get("vtest.@rule[0].name"), "first");
            (void)fflush(nullptr);
            return HasFailure() ? 1 : 0;
        });
        ASSERT_EQ(chmod(conf.c_str(), 0755), 0);
        if (result == cannot_be_tested)
            GTEST_SKIP() << "root cannot become another user here, and may write everything";
        EXPECT_EQ(result, 0) << std::oct << file_mode;
        EXPECT_EQ(file(), before) << std::oct << file_mode;
    }
}

// ---- Other processes ----

TEST_F(VantuUci, EveryReadSeesWhatAnotherProcessHasCommitted)
{
    EXPECT_EQ(get("vtest.main.ssid"), "home");
    in_fresh_process([] {
        EXPECT_EQ(set("vtest.main.ssid", "7"), 0);
        EXPECT_EQ(set("vtest.@rule[1].name", "third"), 0);
    });
    const quiet_log quiet;
    int64_t number = 0;
    EXPECT_EQ(get_param_s64("vtest.main.ssid", &number), 0);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(compare("vtest.main.ssid", "7"), E_CMP_EQUAL);
    in_fresh_process([] { EXPECT_EQ(set("vtest.main.ssid", "8"), 0); });
    EXPECT_EQ(compare("vtest.main.ssid", "8"), E_CMP_EQUAL);
    in_fresh_process([] { EXPECT_EQ(set("vtest.main.ssid", "9"), 0); });
    EXPECT_EQ(get("vtest.main.ssid"), "9");
    in_fresh_process([] { EXPECT_EQ(set("vtest.main.ssid", "10"), 0); });
    char *text = nullptr;
    EXPECT_EQ(get_param_str_alloc("vtest.main.ssid", &text), 0);
    EXPECT_STREQ(text, "10");
    free(text);
    int index = 77;
    EXPECT_EQ(vantu_find_uci_index_from_anonlist("vtest.@rule", "name", "third", &index), 0);
    EXPECT_EQ(index, 1);
    in_fresh_process([] { EXPECT_EQ(del_param("vtest.main"), 0); });
    char out[1024];
    EXPECT_GT(vantu_list_uci_configs("vtest", out, sizeof(out)), 0);
    EXPECT_TRUE(starts_with(out, "vtest.cfg0192bd.name\n")) << out;
}

TEST_F(VantuUci, ChangeKeepsWhatAnotherProcessHasCommitted)
{
    EXPECT_EQ(get("vtest.main.ssid"), "home");
    in_fresh_process([] { EXPECT_EQ(set("vtest.main.channel", "6"), 0); });
    write(replaced(file(), "'first'", "'edited'"));
    EXPECT_EQ(set("vtest.main.ssid", "guest"), 0);
    EXPECT_EQ(file(), replaced(replaced(replaced(before, "'home'", "'guest'"), "'05'", "'6'"), "'first'", "'edited'"));
}

TEST_F(VantuUci, TwoWritersLoseNothingAndAReaderNeverFails)
{
    constexpr int options = 200;
    write("\nconfig t 's'\n\toption always 'x'\n\n");
    const auto writer = [](const std::string &name) {
        return start([=] {
            const quiet_log quiet;
            for (int i = 0; i < options; i++)
                EXPECT_EQ(set_param_s64(("vtest.s." + name + std::to_string(i)).c_str(), i), 0);
        });
    };
    const pid_t writers[] = {writer("a"), writer("b")};
    const pid_t reader = start([] {
        for (int i = 0; i < 2 * options; i++)
            EXPECT_EQ(get("vtest.s.always"), "x");
    });
    for (const pid_t child : writers)
        EXPECT_TRUE(ended_well(child));
    EXPECT_TRUE(ended_well(reader));
    for (int i = 0; i < options; i++) {
        EXPECT_EQ(get("vtest.s.a" + std::to_string(i)), std::to_string(i));
        EXPECT_EQ(get("vtest.s.b" + std::to_string(i)), std::to_string(i));
    }
    EXPECT_EQ(pending(), "");
}

// Adding to a list and adding sections are changes that build on what is there.
TEST_F(VantuUci, TwoWritersOfOneListLoseNothing)
{
    constexpr int items = 50;
    write("\nconfig t 's'\n\n");
    const auto writer = [](const char *item) {
        return start([=] {
            const quiet_log quiet;
            for (int i = 0; i < items; i++) {
                EXPECT_EQ(mod_list_param_str("vtest.s.items", item, 0), 0);
                EXPECT_EQ(add_anonymous_section("vtest", item), 0);
            }
        });
    };
    const pid_t writers[] = {writer("a"), writer("b")};
    for (const pid_t child : writers)
        EXPECT_TRUE(ended_well(child));
    EXPECT_EQ(set("vtest.s.done", "1"), 0);
    const std::string content = file();
    for (const std::string item : {"a", "b"}) {
        int found = 0;
        for (size_t at = 0; (at = content.find("\tlist items '" + item + "'\n", at)) != std::string::npos; at++)
            found++;
        EXPECT_EQ(found, items);
        EXPECT_EQ(get("vtest.@" + item + "[" + std::to_string(items - 1) + "]"), item);
        EXPECT_EQ(get("vtest.@" + item + "[" + std::to_string(items) + "]"), "error -5");
    }
}

// Holds the lock of the directory until it is released.
class other_process_lock
{
public:
    explicit other_process_lock(const std::string &path) : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC))
    {
        EXPECT_EQ(flock(fd_, LOCK_EX), 0);
    }
    ~other_process_lock() { release(); }
    other_process_lock(const other_process_lock &) = delete;
    other_process_lock &operator=(const other_process_lock &) = delete;

    void release()
    {
        if (fd_ >= 0)
            (void)close(fd_);
        fd_ = -1;
    }

private:
    int fd_;
};

TEST_F(VantuUci, ChangeWaitsForTheOneThatHasTheLock)
{
    other_process_lock lock(conf);
    int waits = 0;
    while_waiting = [&] {
        EXPECT_EQ(file(), before);
        if (++waits == 3)
            lock.release();
    };
    EXPECT_EQ(set("vtest.main.ssid", "guest"), 0);
    while_waiting = nullptr;
    EXPECT_EQ(waits, 3);
    EXPECT_EQ(get("vtest.main.ssid"), "guest");
}

TEST_F(VantuUci, LockThatStaysTakenEndsTheChange)
{
    const other_process_lock lock(conf);
    const std::string message = "ERROR " + conf + " cannot be locked: Resource temporarily unavailable";
    const struct {
        const char *name;
        std::function<int()> call;
        int result;
        texts log;
    } rows[] = {
        {"set", [] { return set_param_str("vtest.main.ssid", "guest"); }, -6, {message}},
        {"list", [] { return mod_list_param_str("vtest.main.mac", "cc", 0); }, -6, {message}},
        {"delete", [] { return del_param("vtest.main.ssid"); }, -6, {message}},
        {"delete by value", [] { return del_anonymous_param("vtest.main.ssid", "home"); }, -6, {message}},
        {"add",
         [] { return add_anonymous_section("vtest", "rule"); },
         4,
         {"DEBUG add_anonymous_param: config section: vtest rule", message}},
    };
    int waits = 0;
    while_waiting = [&] { waits++; };
    for (const auto &row : rows) {
        waits = 0;
        expect(row.name, row.call, row.result, "", row.log);
        EXPECT_GT(waits, 100) << row.name;
    }
    while_waiting = nullptr;
    // Reading needs no lock.
    EXPECT_EQ(get("vtest.main.ssid"), "home");
    EXPECT_EQ(file(), before);
    EXPECT_EQ(pending(), "");
}

TEST_F(VantuUci, LockIsFreeAfterEveryChange)
{
    const std::function<int()> calls[] = {
        [] { return set_param_str("vtest.main.ssid", "guest"); }, [] { return set_param_str("vtest.none.ssid", "x"); },
        [] { return set_param_str("vtest2.main.ssid", "x"); },    [] { return add_anonymous_section("vtest", "rule"); },
        [] { return add_anonymous_section("vtest", ""); },        [] { return del_param("vtest.main.none"); },
    };
    for (const auto &call : calls) {
        (void)outcome_of(call);
        const int fd = open(conf.c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(flock(fd, LOCK_EX | LOCK_NB), 0);
        (void)close(fd);
    }
}

// A package that is long to write, with a number that grows.
std::string long_package(int64_t number)
{
    std::string out = "\nconfig t 's'\n\toption n '" + std::to_string(number) + "'\n";
    for (int i = 0; i < 500; i++)
        out += "\toption filler" + std::to_string(i) + " 'some value to fill a line with'\n";
    return out + "\n";
}

TEST_F(VantuUci, WriterThatIsKilledLeavesTheOldOrTheNewFile)
{
    std::mt19937 random(1);
    write(long_package(0));
    int64_t last = 0;
    for (int round = 0; round < 100; round++) {
        int gate[2];
        ASSERT_EQ(pipe(gate), 0);
        const pid_t child = fork();
        if (child == 0) {
            const quiet_log quiet;
            for (int64_t number = last + 1;; number++) {
                if (set_param_s64("vtest.s.n", number) != 0)
                    _exit(1);
                if (::write(gate[1], ".", 1) != 1)
                    _exit(1);
            }
        }
        (void)close(gate[1]);
        char byte = 0;
        EXPECT_EQ(::read(gate[0], &byte, 1), 1); // it is at work
        (void)usleep(std::uniform_int_distribution<useconds_t>(0, 8000)(random));
        (void)kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status)) << "round " << round;
        (void)close(gate[0]);

        const std::string content = file();
        const size_t at = content.find("option n '");
        ASSERT_NE(at, std::string::npos) << "round " << round;
        const int64_t number = strtoll(content.c_str() + at + strlen("option n '"), nullptr, 10);
        ASSERT_EQ(content, long_package(number)) << "round " << round;
        EXPECT_GT(number, last) << "round " << round;
        last = number;
    }
    // What the last one left behind is in nobody's way.
    EXPECT_EQ(set("vtest.s.n", "-1"), 0);
    EXPECT_EQ(file(), long_package(-1));
}

// ---- Programs that run for long ----

TEST_F(VantuUci, TenThousandFailuresDoNoHarm)
{
    write_file(conf + "/broken", "config t 's'\n\toption\n");
    const std::function<int()> failures[] = {
        [] { return set_param_str("broken.s.x", "1"); },
        [] { return set_param_str("vtest2.s.x", "1"); },
        [] { return set_param_str("vtest.none.x", "1"); },
        [] { return set_param_str("a.b.c.d", "1"); },
        [] { return set_param_str("vtest.main.ssid", "\001"); },
        [] { return mod_list_param_str("broken.s.x", "1", 1); },
        [] { return mod_list_param_str("vtest.none.x", "1", 0); },
        [] { return del_anonymous_param("broken.s.x", "1"); },
        [] { return del_anonymous_param("vtest.main.mac", "zz"); },
        [] { return del_param("broken.s.x"); },
        [] { return del_param("vtest.main.none"); },
        [] { return vantu_update_config("broken.s", "x", "1"); },
        [] {
            char *out = nullptr;
            return get_param_str_alloc("broken.s.x", &out);
        },
        [] {
            char *out = nullptr;
            return get_param_str_alloc("vtest.main.none", &out);
        },
        [] {
            char out[8];
            return get_param_str("broken.s.x", out, sizeof(out));
        },
        [] {
            int64_t out = 0;
            return get_param_s64("broken.s.x", &out);
        },
        [] {
            char out[8];
            return vantu_list_uci_configs("broken", out, sizeof(out)) == 0 ? -1 : 0;
        },
        [] { return cmp_param_str("broken.s.x", "x"); },
        [] {
            int index = 0;
            return vantu_find_uci_index_from_anonlist("broken.@t", "x", "y", &index);
        },
        [] {
            const breaks broken("uci_commit", UCI_ERR_IO);
            return set_param_str("vtest.main.ssid", "guest") - 1;
        },
    };
    constexpr int rounds = 10000 / std::size(failures);

    in_fresh_process([&] {
        const quiet_log quiet;
        const auto fail_all = [&] {
            for (const auto &call : failures)
                EXPECT_LT(call(), 0);
        };
        size_t descriptors[2] = {};
        size_t memory[2] = {};
        const auto measure = [&](int when) {
            descriptors[when] = open_descriptors();
            memory[when] = mallinfo2().uordblks;
        };
        perror_calls = 0;
        const std::string errors = standard_error_of([&] {
            for (int i = 0; i < 20; i++)
                fail_all();
            measure(0);
            for (int i = 20; i < rounds; i++)
                fail_all();
            measure(1);
        });
        EXPECT_EQ(descriptors[0], descriptors[1]);
        EXPECT_LT(memory[1], memory[0] + 4096);
        // The store's own limit is higher.
        EXPECT_LT(perror_calls, 100);
        // Nevertheless each of them is reported.
        size_t lines = 0;
        for (const std::string &line : support::split_lines(errors))
            lines += line.empty() ? 0 : 1;
        EXPECT_EQ(lines, rounds * std::size(failures));
    });
    EXPECT_EQ(file(), before);
    EXPECT_EQ(pending(), "");
}

TEST_F(VantuUci, ThousandsOfGoodCallsLeaveNothingOpen)
{
    const quiet_log quiet;
    const auto all = [&](int i) {
        EXPECT_EQ(get("vtest.main.ssid"), "home");
        EXPECT_EQ(compare("vtest.main.mac", "aa bb 1 aa"), E_CMP_EQUAL);
        EXPECT_EQ(get("vtest.main.none"), "error -5");
        EXPECT_EQ(set("vtest.main.channel", std::to_string(i % 10)), 0);
    };
    for (int i = 0; i < 20; i++)
        all(i);
    const size_t descriptors = open_descriptors();
    const size_t memory = mallinfo2().uordblks;
    for (int i = 0; i < 500; i++)
        all(i);
    EXPECT_EQ(open_descriptors(), descriptors);
    // What the allocator keeps at hand for later counts as used; a leak of one text a call would be more.
    EXPECT_LT(mallinfo2().uordblks, memory + 16384);
}

// ---- Random sequences ----

// What a package holds, as plain C++.
class model
{
public:
    struct value {
        bool is_list;
        texts items; // one, when it is no list
    };
    std::map<std::string, std::map<std::string, value>> sections = {{"a", {}}, {"b", {}}};

    value *find(const std::string &section, const std::string &option)
    {
        auto &options = sections[section];
        const auto it = options.find(option);
        return it == options.end() ? nullptr : &it->second;
    }

    void set(const std::string &section, const std::string &option, const std::string &text)
    {
        if (text.empty())
            sections[section].erase(option);
        else
            sections[section][option] = {false, {text}};
    }

    void add(const std::string &section, const std::string &option, const std::string &text)
    {
        value &out = sections[section][option];
        out.is_list = true;
        out.items.push_back(text);
    }

    bool remove_items(const std::string &section, const std::string &option, const std::string &text)
    {
        value *found = find(section, option);
        if (found == nullptr || !found->is_list)
            return false;
        texts kept;
        for (const std::string &item : found->items) {
            if (item != text)
                kept.push_back(item);
        }
        const bool removed = kept.size() != found->items.size();
        found->items = kept;
        if (kept.empty())
            sections[section].erase(option);
        return removed;
    }

    int remove_value(const std::string &section, const std::string &option, const std::string &text)
    {
        const value *found = find(section, option);
        if (found == nullptr)
            return E_PARAMNOTFOUND;
        if (found->is_list)
            return remove_items(section, option, text) ? E_OK : E_PARAMNOTFOUND;
        if (found->items[0] != text)
            return E_PARAMNOTFOUND;
        sections[section].erase(option);
        return E_OK;
    }
};

TEST_F(VantuUci, RandomSequencesDoAsAMapDoes)
{
    const std::string options[] = {"x", "y", "z"};
    const std::string values[] = {"1", "0", "home", "two words", "it's", "\"q\"", "line\nbreak", "a=b", "", "1"};
    for (unsigned int seed = 1; seed <= 12; seed++) {
        std::mt19937 random(seed);
        const auto below = [&](size_t count) { return random() % count; };
        write("\nconfig t 'a'\n\nconfig t 'b'\n\n");
        model want;
        std::string history;
        for (int i = 0; i < 120; i++) {
            const std::string section = below(2) == 0 ? "a" : "b";
            const std::string option = options[below(std::size(options))];
            const std::string lookup = "vtest." + section + "." + option;
            const std::string value = values[below(std::size(values))];
            const bool was_there = want.find(section, option) != nullptr;
            const size_t operation = below(6);
            history += std::to_string(operation) + " " + lookup + "=" + printable(value) + "\n";
            SCOPED_TRACE("seed " + std::to_string(seed) + ":\n" + history);
            const call_outcome got = outcome_of([&] {
                switch (operation) {
                case 0:
                case 1:
                    return set_param_str(lookup.c_str(), value.c_str());
                case 2:
                    return mod_list_param_str(lookup.c_str(), value.c_str(), 0);
                case 3:
                    return value.empty() ? 0 : mod_list_param_str(lookup.c_str(), value.c_str(), 1);
                case 4:
                    return value.empty() ? 0 : del_anonymous_param(lookup.c_str(), value.c_str());
                default:
                    return del_param(lookup.c_str());
                }
            });
            int result = E_OK;
            if (operation <= 1)
                want.set(section, option, value);
            else if (operation == 2)
                want.add(section, option, value);
            else if (operation == 3 && !value.empty())
                (void)want.remove_items(section, option, value);
            else if (operation == 4 && !value.empty())
                result = want.remove_value(section, option, value);
            else if (operation == 5) {
                result = was_there ? E_OK : E_PARAMSETFAILED;
                want.sections[section].erase(option);
            }
            ASSERT_EQ(got.result, result);
            for (const std::string name : {"a", "b"}) {
                for (const std::string &key : options) {
                    const model::value *held = want.find(name, key);
                    const std::string at = "vtest." + name + "." + key;
                    const std::string text = held != nullptr ? joined(held->items, " ") : "error -5";
                    ASSERT_EQ(get(at), text) << at;
                    ASSERT_EQ(compare(at, text), held != nullptr ? int(E_CMP_EQUAL) : int(E_PARAMNOTFOUND)) << at;
                }
            }
            ASSERT_EQ(pending(), "");
        }
    }
}

// ---- Texts ----

TEST(VantuUciTexts, RemoveSpacesCopiesWithoutBlanks)
{
    const std::pair<const char *, const char *> rows[] = {
        {"", ""}, {" ", ""}, {"   ", ""}, {"a", "a"}, {" a b  c ", "abc"}, {"a\tb\nc", "a\tb\nc"}, {"abc", "abc"},
    };
    for (const auto &row : rows) {
        char out[16] = "###############";
        vantu_remove_spaces(row.first, out);
        EXPECT_STREQ(out, row.second) << row.first;
        support::put(out, row.first);
        vantu_remove_spaces(out, out);
        EXPECT_STREQ(out, row.second) << row.first << ", in place";
    }
}

TEST(VantuUciTexts, RemoveCharRemovesEveryOne)
{
    const struct {
        const char *text;
        char c;
        const char *want;
    } rows[] = {
        {"", 'x', ""},        {"x", 'x', ""},
        {"xxx", 'x', ""},     {"axbxc", 'x', "abc"},
        {"abc", 'x', "abc"},  {"xabcx", 'x', "abc"},
        {"a b", ' ', "ab"},   {"\"q\"", '"', "q"},
        {"aXbx", 'x', "aXb"}, {"\xff\xfe", '\xff', "\xfe"},
        {"abc", '\0', "abc"},
    };
    for (const auto &row : rows) {
        char text[16];
        support::put(text, row.text);
        vantu_remove_char(text, row.c);
        EXPECT_STREQ(text, row.want) << row.text;
    }
}

TEST(VantuUciTexts, CountCharsCounts)
{
    EXPECT_EQ(vantu_count_chars("", ','), 0);
    EXPECT_EQ(vantu_count_chars("abc", ','), 0);
    EXPECT_EQ(vantu_count_chars(",", ','), 1);
    EXPECT_EQ(vantu_count_chars(",a,,b,", ','), 4);
    EXPECT_EQ(vantu_count_chars("\xff\xfe\xff", '\xff'), 2);
    EXPECT_EQ(vantu_count_chars(std::string(100000, ',').c_str(), ','), 100000);
}

TEST(BoundedText, HoldsWhatFitsAndCountsAll)
{
    const struct {
        int size;
        texts parts;
        const char *text;
        size_t length;
    } rows[] = {
        {8, {}, "", 0},
        {8, {"abc"}, "abc", 3},
        {8, {"abc", "", "defg"}, "abcdefg", 7}, // exactly full
        {8, {"abc", "defgh"}, "abcdefg", 8},    // one too long
        {8, {"abcdefg", "h", "i"}, "abcdefg", 9},
        {8, {"abcdefghij", "k"}, "abcdefg", 11},
        {2, {"abc"}, "a", 3},
        {1, {}, "", 0},
        {1, {"a"}, "", 1},
        {1, {"", ""}, "", 0},
    };
    for (const auto &row : rows) {
        const std::unique_ptr<char, void (*)(void *)> out(static_cast<char *>(malloc(static_cast<size_t>(row.size))),
                                                          free);
        memset(out.get(), '#', static_cast<size_t>(row.size));
        vantu::bounded_text text(out.get(), row.size);
        for (const std::string &part : row.parts) {
            text.add(part);
            EXPECT_NE(memchr(out.get(), '\0', static_cast<size_t>(row.size)), nullptr) << joined(row.parts);
        }
        EXPECT_STREQ(out.get(), row.text) << joined(row.parts);
        EXPECT_EQ(text.written(), strlen(row.text)) << joined(row.parts);
        EXPECT_EQ(text.length(), row.length) << joined(row.parts);
    }
}

TEST(BoundedText, WithoutRoomWritesNothingAndCountsAll)
{
    for (const int size : {0, -1, INT_MIN}) {
        char out[] = "before";
        vantu::bounded_text text(out, size);
        text.add("abc");
        text.add("");
        text.add("de");
        EXPECT_STREQ(out, "before") << size;
        EXPECT_EQ(text.written(), 0U) << size;
        EXPECT_EQ(text.length(), 5U) << size;
    }
}

TEST(BoundedText, TakesNoBufferAndNoText)
{
    vantu::bounded_text nowhere(nullptr, 0);
    nowhere.add("abc");
    EXPECT_EQ(nowhere.written(), 0U);
    EXPECT_EQ(nowhere.length(), 3U);
    char out[4] = "###";
    vantu::bounded_text text(out, sizeof(out));
    text.add({});
    EXPECT_STREQ(out, "");
    EXPECT_EQ(text.length(), 0U);
}

TEST(BoundedText, TakesPartsOfTextsAndBytes)
{
    char out[8];
    vantu::bounded_text text(out, sizeof(out));
    text.add(std::string_view("abcdef").substr(2, 2));
    text.add(std::string_view("\0x", 2));
    EXPECT_EQ(std::string(out, 5), "cd\0x\0"s);
    EXPECT_EQ(text.written(), 4U);
}

} // namespace
