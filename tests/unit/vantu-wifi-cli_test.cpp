// The entry: options, required arguments, assertion macros, and the tests that the harness itself holds.

#include "harness.h"
#include "ops-registry.h"
#include "support.hpp"
#include "vantu-ll-api/vantu_ll_wrt.h"
#include "vantu-wifi-cli_internal.h"

#include <csignal>
#include <fcntl.h>
#include <getopt.h>
#include <gtest/gtest.h>

using support::standard_error_of;

int vantu_wifi_cli_main(int argc, char **argv);

// What the entry hands to the logging core, and how often it frees the registry.
namespace
{
struct {
    std::string programname;
    log_LogFn file_sink;
    log_LogFn syslog_sink;
    int levels[3];
} log_start;
int registry_frees;
} // namespace

extern "C" {
void __real_vantu_log_init(const char *, log_LogFn, log_LogFn, int, int, int);
void __real_free_opsfuncs(void);

void __wrap_vantu_log_init(const char *programname, log_LogFn file_sink, log_LogFn syslog_sink, int console, int file,
                           int syslog)
{
    log_start = {programname, file_sink, syslog_sink, {console, file, syslog}};
}

void __wrap_free_opsfuncs(void)
{
    registry_frees++;
    __real_free_opsfuncs();
}
}

namespace
{

int parse(std::vector<std::string> words)
{
    for (char *buffer :
         {option_csvfile, option_platformfile, option_function, option_macaddress, option_radio, option_websocket_ip})
        buffer[0] = '\0';
    words.insert(words.begin(), "vantu-wifi-cli");
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    optind = 0;
    return parse_options("vantu-wifi-cli", static_cast<int>(words.size()), arguments.data());
}

TEST(Options, EachFillsItsBuffer)
{
    EXPECT_EQ(0, parse({"-c", "a.csv", "-d", "p.so", "-f", "get_radios", "-m", "02:00:00:00:00:01", "-r", "wl0", "-i",
                        "192.168.1.9"}));
    EXPECT_STREQ("a.csv", option_csvfile);
    EXPECT_STREQ("p.so", option_platformfile);
    EXPECT_STREQ("get_radios", option_function);
    EXPECT_STREQ("02:00:00:00:00:01", option_macaddress);
    EXPECT_STREQ("wl0", option_radio);
    EXPECT_STREQ("192.168.1.9", option_websocket_ip);
}

TEST(Options, ATextThatFitsIsKeptWholeAndALongerOneIsCutToItsBuffer)
{
    const struct {
        const char *letter;
        const char *buffer;
        size_t kept;
    } rows[] = {
        {"-c", option_csvfile, 255},    {"-d", option_platformfile, 127}, {"-f", option_function, 127},
        {"-m", option_macaddress, 127}, {"-r", option_radio, 127},        {"-i", option_websocket_ip, 16},
    };
    for (const auto &row : rows) {
        for (const size_t length : {row.kept - 1, row.kept, row.kept + 1, size_t{1000}}) {
            EXPECT_EQ(0, parse({row.letter, std::string(length, 'x')}));
            EXPECT_EQ(std::string(std::min(length, row.kept), 'x'), row.buffer) << row.letter << " " << length;
        }
    }
}

TEST(Options, TheLastOfARepeatedOptionCounts)
{
    EXPECT_EQ(0, parse({"-f", "a_long_name", "-f", "short"}));
    EXPECT_STREQ("short", option_function);
}

TEST(Options, VerboseIsAlreadyOn)
{
    EXPECT_EQ(1, verbose_flag);
    EXPECT_EQ(0, parse({"-v"}));
    EXPECT_EQ(1, verbose_flag);
}

TEST(Options, HelpAnUnknownOptionAndAMissingArgumentAreRefused)
{
    opterr = 0;
    EXPECT_EQ(1, parse({"-h"}));
    EXPECT_EQ(1, parse({"-x"}));
    for (const char *letter : {"-c", "-d", "-f", "-m", "-r", "-i"})
        EXPECT_EQ(1, parse({letter})) << letter;
    opterr = 1;
}

TEST(RequiredArguments, ANameThatWasNotAskedForGivesZero)
{
    (void)parse({"-f", "get_radios"});
    EXPECT_EQ(0, check_function_args("get_radio", 1, 1));
    EXPECT_EQ(0, check_function_args("Get_radios", 1, 1)) << "the comparison is case-sensitive";
    EXPECT_EQ(0, check_function_args("", 0, 0));
}

TEST(RequiredArguments, GivenArgumentsGiveOne)
{
    (void)parse({"-f", "is_device_active", "-r", "wl0", "-m", "02:00:00:00:00:01"});
    EXPECT_EQ(1, check_function_args("is_device_active", 1, 1));
    EXPECT_EQ(1, check_function_args("is_device_active", 0, 0));
}

TEST(RequiredArguments, AMissingRadioEndsTheProcessWith255AndIsCheckedFirst)
{
    (void)parse({"-f", "is_device_active"});
    EXPECT_EXIT((void)check_function_args("is_device_active", 1, 1), ::testing::ExitedWithCode(255),
                "is_device_active needs radio!");
}

TEST(RequiredArguments, AMissingMacEndsTheProcessWith255)
{
    (void)parse({"-f", "is_device_active", "-r", "wl0"});
    EXPECT_EXIT((void)check_function_args("is_device_active", 1, 1), ::testing::ExitedWithCode(255),
                "is_device_active needs mac!");
}

TEST(FunctionCheck, ASetSlotGivesZeroAndAnEmptyOneIsReported)
{
    support::log_capture log;
    EXPECT_EQ(0, _check_funcptr("parse", parse));
    EXPECT_TRUE(log.lines.empty());
    int (*empty)(void) = nullptr;
    EXPECT_EQ(-1, _check_funcptr("get_radios", empty));
    ASSERT_EQ(1U, log.lines.size());
    EXPECT_EQ("DEBUG \033[31m  function get_radios not implemented!\033[0m", log.lines[0]);
}

int evaluations;

int failing_call()
{
    evaluations++;
    return -7;
}

int assert_number(int wanted)
{
    ASSERT_NUM(failing_call(), wanted);
    return 0;
}

int assert_true(bool value)
{
    ASSERT(value);
    return 0;
}

int assert_text(const char *text)
{
    ASSERT_STR(text, "wanted");
    return 0;
}

TEST(Assertions, AFailingNumberIsEvaluatedTwiceAndPrintedWithItsSourceText)
{
    evaluations = 0;
    int result = 0;
    EXPECT_EQ("failing_call(): -7 != 0 \n", standard_error_of([&] { result = assert_number(0); }));
    EXPECT_EQ(1, result);
    EXPECT_EQ(2, evaluations);
}

TEST(Assertions, APassingNumberIsEvaluatedOnceAndSilent)
{
    evaluations = 0;
    EXPECT_EQ("", standard_error_of([] { EXPECT_EQ(0, assert_number(-7)); }));
    EXPECT_EQ(1, evaluations);
}

TEST(Assertions, AFalseExpressionIsPrintedWithItsSourceText)
{
    EXPECT_EQ("value failed!\n", standard_error_of([] { EXPECT_EQ(1, assert_true(false)); }));
    EXPECT_EQ("", standard_error_of([] { EXPECT_EQ(0, assert_true(true)); }));
}

TEST(Assertions, DifferentTextsArePrinted)
{
    EXPECT_EQ("text: given != wanted\n", standard_error_of([] { EXPECT_EQ(1, assert_text("given")); }));
    EXPECT_EQ("", standard_error_of([] { EXPECT_EQ(0, assert_text("wanted")); }));
}

TEST(LeaseTest, AMissingSlotIsReportedTwiceAndGivesOne)
{
    support::log_capture log;
    vantu_platform_ops ops = {};
    EXPECT_EQ("_check_funcptr(\"get_dhcpleases\", ops->get_dhcpleases): -1 != 0 \n",
              standard_error_of([&] { EXPECT_EQ(1, test_get_dhcpleases(&ops)); }));
    const std::string not_there = "DEBUG \033[31m  function get_dhcpleases not implemented!\033[0m";
    const std::vector<std::string> wanted = {"TRACE Testing get_dhcpleases", not_there, not_there};
    EXPECT_EQ(wanted, log.lines);
}

TEST(LeaseTest, AFailingOperationIsCalledTwiceAndGivesOne)
{
    support::log_capture log;
    evaluations = 0;
    vantu_platform_ops ops = {};
    ops.get_dhcpleases = [](sclist_t *) { return failing_call(); };
    EXPECT_EQ("ops->get_dhcpleases(&dhcps): -7 != 0 \n",
              standard_error_of([&] { EXPECT_EQ(1, test_get_dhcpleases(&ops)); }));
    EXPECT_EQ(2, evaluations);
}

TEST(LeaseTest, AnEmptyListGivesOne)
{
    support::log_capture log;
    vantu_platform_ops ops = {};
    ops.get_dhcpleases = [](sclist_t *) { return 0; };
    EXPECT_EQ("sclist_size(&dhcps)>0 failed!\n", standard_error_of([&] { EXPECT_EQ(1, test_get_dhcpleases(&ops)); }));
}

TEST(LeaseTest, PrintsEachLeaseWithTabs)
{
    support::log_capture log;
    vantu_platform_ops ops = {};
    ops.get_dhcpleases = [](sclist_t *list) {
        const vantu_ll_dhcp lease = {"02:00:00:00:00:01", "tablet", "192.168.1.23", 4294967295U};
        return sclist_append(list, &lease) - 1;
    };
    EXPECT_EQ(0, test_get_dhcpleases(&ops));
    const std::vector<std::string> wanted = {
        "TRACE Testing get_dhcpleases",
        "DEBUG \t\t02:00:00:00:00:01\ttablet\t192.168.1.23\t4294967295\n",
    };
    EXPECT_EQ(wanted, log.lines);
}

TEST(ConntrackTest, AMissingSlotGivesOne)
{
    support::log_capture log;
    vantu_platform_ops ops = {};
    EXPECT_EQ("_check_funcptr(\"get_conntrack\", ops->get_conntrack): -1 != 0 \n",
              standard_error_of([&] { EXPECT_EQ(1, test_get_conntrack(&ops)); }));
}

TEST(ConntrackTest, ReturnsTheNumberOfFlowsWhateverTheOperationReturns)
{
    support::log_capture log;
    vantu_platform_ops ops = {};
    ops.get_conntrack = [](sclist_t *flows, sclist_t *ports, int maxlen) {
        EXPECT_EQ(0U, sclist_size(ports));
        EXPECT_EQ(10, maxlen);
        const vantu_ll_conntrack_flow flow = {};
        for (int i = 0; i < 3; i++)
            (void)sclist_append(flows, &flow);
        return -1;
    };
    EXPECT_EQ(3, test_get_conntrack(&ops));
    const std::vector<std::string> wanted = {"TRACE Testing get_conntrack", "DEBUG   got 3 flows",
                                             "DEBUG Done get_conntrack"};
    EXPECT_EQ(wanted, log.lines);
}

// Which test a name dispatches to, seen by what is logged first.
std::string first_line_of(const char *name)
{
    (void)parse({"-f", name, "-r", "wl0", "-m", "02:00:00:00:00:01"});
    support::log_capture log;
    vantu_platform_ops ops = {};
    (void)platform_init_with_stubs(&ops);
    (void)standard_error_of([&] { dispatch(&ops); });
    return log.lines.empty() ? "" : log.lines[0];
}

// How a run of a name ends when neither radio nor MAC is given: 255 when the name needs one of them.
int exit_of(const char *name)
{
    (void)parse({"-f", name});
    return support::in_child([] {
        log_set_quiet(true);
        (void)freopen("/dev/null", "w", stderr);
        vantu_platform_ops ops = {};
        (void)platform_init_with_stubs(&ops);
        dispatch(&ops);
        return 0;
    });
}

TEST(Dispatch, KnowsEveryNameAndWhatItNeeds)
{
    const struct {
        const char *name;
        const char *needs;
    } rows[] = {
        {"get_radios", ""},
        {"get_dhcpleases", ""},
        {"get_conntrack", ""},
        {"get_associated_devices", ""},
        {"test_all", ""},
        {"get_data_struct_size", ""},
        {"get_data_headers", ""},
        {"is_device_active", "radio"},
        {"calculate_issues", "mac"},
        {"get_routerid", ""},
        {"get_host_ip", ""},
        {"iptables_setup", ""},
        {"iptables_check", ""},
        {"iptables_destroy", ""},
        {"test_ipset", ""},
        {"get_ap_neighbors", ""},
        {"get_networks", ""},
        {"get_systeminfo", ""},
        {"sample_radio_stats", ""},
        {"sample_sta_stats", ""},
        {"get_router_info", ""},
        {"system_setup", ""},
        {"system_destroy", ""},
    };
    EXPECT_EQ(23U, std::size(rows));
    for (const auto &row : rows) {
        EXPECT_EQ(row.needs[0] == '\0' ? 0 : 255, exit_of(row.name)) << row.name;
        EXPECT_EQ(std::string::npos, first_line_of(row.name).find("unknown test")) << row.name;
    }
}

TEST(Dispatch, RunsTheTestThatWasAskedFor)
{
    EXPECT_EQ("TRACE Testing get_dhcpleases", first_line_of("get_dhcpleases"));
    EXPECT_EQ("TRACE Testing get_conntrack", first_line_of("get_conntrack"));
}

TEST(Dispatch, SystemSetupAndDestroyDoNothing)
{
    EXPECT_EQ("", first_line_of("system_setup"));
    EXPECT_EQ("", first_line_of("system_destroy"));
}

TEST(Dispatch, TheTwoAdvertisedSystemNamesAreUnknownWhichIsKept)
{
    EXPECT_EQ("ERROR unknown test get_system_setup", first_line_of("get_system_setup"));
    EXPECT_EQ("ERROR unknown test get_system_destroy", first_line_of("get_system_destroy"));
}

TEST(Dispatch, AnEmptyNameIsUnknown)
{
    EXPECT_EQ("ERROR unknown test ", first_line_of(""));
}

TEST(Dispatch, DeviceActivityCallsTheSlotWithRadioAndMac)
{
    (void)parse({"-f", "is_device_active", "-r", "wl1", "-m", "02:00:00:00:00:02"});
    support::log_capture log;
    vantu_platform_ops ops = {};
    ops.is_device_active = [](const char *interface, const char *mac) {
        EXPECT_STREQ("wl1", interface);
        EXPECT_STREQ("02:00:00:00:00:02", mac);
        return 1;
    };
    dispatch(&ops);
    ASSERT_EQ(1U, log.lines.size());
    EXPECT_EQ("DEBUG Active: 1", log.lines[0]);
}

int run_main(std::vector<std::string> words)
{
    words.insert(words.begin(), "/usr/bin/vantu-wifi-cli");
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    optind = 0;
    opsfunc_head = nullptr; // of a run before, which is freed but not reset
    return vantu_wifi_cli_main(static_cast<int>(words.size()), arguments.data());
}

TEST(Main, TakesLdPreloadFromItsEnvironmentSoThatNoToolInheritsIt)
{
    support::log_capture log;
    (void)setenv("LD_PRELOAD", "", 1);
    EXPECT_EQ(0, run_main({"-f", "system_setup"}));
    EXPECT_EQ(nullptr, getenv("LD_PRELOAD"));
}

TEST(Main, OpensTheStandardDescriptorsThatAreMissingSoThatNoFileBecomesOne)
{
    const int status = support::in_child([] {
        const support::log_capture log;
        for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            (void)close(fd);
        (void)run_main({"-f", "no_such_test"});
        const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
        for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            if (fcntl(fd, F_GETFD) != 0) // open, and kept for tools
                return 1;
        return next > STDERR_FILENO ? 0 : 1;
    });
    EXPECT_EQ(status, 0);
}

TEST(Main, LeavesNoToolAnIgnoredSigpipeWithWhichItWouldPrintForEver)
{
    (void)signal(SIGPIPE, SIG_IGN);
    const support::log_capture log;
    EXPECT_EQ(0, run_main({"-f", "no_such_test"}));
    EXPECT_EQ(signal(SIGPIPE, SIG_DFL), SIG_DFL);
}

TEST(Main, RunsOneTestThenTearsThePlatformDown)
{
    support::log_capture log;
    EXPECT_EQ(0, run_main({"-f", "no_such_test", "-d", "p.so", "-r", "wl0", "-m", "02:00:00:00:00:01", "-c", "a"}));
    const std::vector<std::string> wanted = {
        "DEBUG Running Test no_such_test on platform p.so radio: wl0 mac: 02:00:00:00:00:01 csv: a",
        "DEBUG vantu_platform_ops_init on platform: p.so",
        "TRACE uci filepath set to /etc/config",
        "ERROR unknown test no_such_test",
    };
    EXPECT_EQ(wanted, log.lines);
}

TEST(Main, RegistersTheTableStartsLoggingUnderItsWholeNameAndFreesTheRegistryOnce)
{
    support::log_capture log;
    registry_frees = 0;
    EXPECT_EQ(0, run_main({"-f", "system_setup"}));
    EXPECT_NE(nullptr, opsfunc_head) << "the head is not reset";
    EXPECT_EQ(1, registry_frees);
    EXPECT_EQ("/usr/bin/vantu-wifi-cli", log_start.programname);
    EXPECT_EQ(global_ops.logger_file_callback, log_start.file_sink);
    EXPECT_EQ(global_ops.logger_syslog_callback, log_start.syslog_sink);
    for (const int level : log_start.levels)
        EXPECT_EQ(LOG_C_TRACE, level);
}

TEST(Main, AUsageErrorPrintsTheUsageUnderTheBaseNameAndGivesOne)
{
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(1, run_main({"-h"}));
    const std::string usage = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(0U, usage.find("Usage: vantu-wifi-cli [options]\n\noptions:\n"));
    EXPECT_NE(std::string::npos, usage.find("    -i  set websocket ip    -v  verbose output\n"))
        << "the -i line has no line end, which is kept";
}

} // namespace
