// Who the gateway is, asked from its container: over a `ubus` tool that is a script.

#include "hobe-lxc/vantu-hobe-lxc.h"

#include "support.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;
using namespace std::string_literals;
using support::fake_tool;
using support::forbid_new_descriptors;
using support::in_child;
using support::in_fresh_process;
using support::log_capture;
using support::no_child_is_left;
using support::open_descriptors;
using support::pclose_error;
using support::printable;
using support::temp_dir;
using support::texts;

// Stands before the C library's: closes the pipe, and then fails when the test says so.
extern "C" int pclose(FILE *pipe)
{
    return support::pclose_answer(support::real<int(FILE *)>("pclose")(pipe));
}

namespace
{

std::string argument_of(const std::string &config, const std::string &section, const std::string &option)
{
    return "{ \"config\": \"" + config + "\", \"section\": \"" + section + "\", \"option\": \"" + option + "\" }";
}

// The command for a key, and how the tool sees it.
std::string command_of(const std::string &argument)
{
    return "ubus call -S -s /var/run/lxc_ipc/ubus.sock uci get '" + argument + "'";
}

std::string call_of(const std::string &argument)
{
    return "7:call -S -s /var/run/lxc_ipc/ubus.sock uci get " + argument + "\n";
}

const std::string argument = argument_of("env", "var", "serial");
const std::string command = command_of(argument);
const std::string running = "DEBUG Running: " + command;
const std::string not_started = "ERROR incorrect parameters or too many files.";

std::string reply_of(const std::string &value)
{
    return "{\"value\":\"" + value + "\"}\n";
}

struct outcome {
    int result;
    std::string out;
    texts log;
};

outcome get(const std::string &config = "env", const std::string &section = "var", const std::string &option = "serial",
            size_t len = 32)
{
    std::string out = "old";
    out.resize(2000, '\0');
    const log_capture log;
    const int result =
        hobe_container_get_uci(config.c_str(), section.c_str(), option.c_str(), out.data(), static_cast<int>(len));
    return {result, out.c_str(), log.lines};
}

// ---- The host's configuration ----

TEST(HostConfiguration, AValueIsReadWithOneCallOfTheToolAndTold)
{
    const fake_tool ubus("ubus", reply_of("HB01A0000042"));
    const outcome got = get();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.out, "HB01A0000042");
    EXPECT_EQ(got.log,
              (texts{running, "DEBUG " + reply_of("HB01A0000042"), "DEBUG Found env.var.serial: HB01A0000042"}));
    EXPECT_EQ(ubus.calls(), call_of(argument));
}

TEST(HostConfiguration, Replies)
{
    const struct {
        const char *name;
        std::string reply;
        std::string out;
        bool found;
    } rows[] = {
        {"compact", "{\"value\":\"a b\"}\n", "a b", true},
        {"on several lines", "{\n\t\"value\": \"a b\"\n}\n", "a b", true},
        {"without line end", "{\"value\":\"a\"}", "a", true},
        {"more members", "{\"x\":1,\"value\":\"a\",\"values\":{}}\n", "a", true},
        {"escaped characters", "{\"value\":\"\\\"\\\\\\u0041'/\"}\n", "\"\\A'/", true},
        {"UTF-8", "{\"value\":\"\xc3\xb6\"}\n", "\xc3\xb6", true},
        {"format characters", "{\"value\":\"%n%s\"}\n", "%n%s", true},
        {"an escaped NUL ends the value", "{\"value\":\"a\\u0000b\"}\n", "a", true},
        {"text behind it", "{\"value\":\"a\"} more\n", "a", true},
        {"an empty value is none", "{\"value\":\"\"}\n", "", false},
        {"a missing key", "", "old", false},
        {"an empty line", "\n", "old", false},
        {"no JSON", "Failed to connect to ubus\n", "old", false},
        {"cut", "{\"value\":\"a", "old", false},
        {"another member", "{\"Value\":\"a\"}\n", "old", false},
        {"no member", "{}\n", "old", false},
        {"a list", "{\"value\":[\"a\",\"b\"]}\n", "old", false},
        {"a number", "{\"value\":5}\n", "old", false},
        {"null", "{\"value\":null}\n", "old", false},
        {"an object", "{\"value\":{\"value\":\"a\"}}\n", "old", false},
        {"a section", "{\"values\":{\"value\":\"a\"}}\n", "old", false},
        {"an array", "[\"value\"]\n", "old", false},
        {"a text", "\"value\"\n", "old", false},
        {"a number alone", "5\n", "old", false},
    };
    for (const auto &row : rows) {
        const fake_tool ubus("ubus", row.reply);
        const outcome got = get();
        texts log = {running, "DEBUG " + row.reply};
        if (row.found)
            log.push_back("DEBUG Found env.var.serial: " + row.out);
        EXPECT_EQ(got.result, 0) << row.name;
        EXPECT_EQ(got.out, row.out) << row.name;
        EXPECT_EQ(got.log, log) << row.name;
    }
}

TEST(HostConfiguration, EveryTruncationAndCorruptionOfAReplyGivesATextThatFits)
{
    const fake_tool ubus("ubus", "");
    const std::string reply = "{\"value\":\"HB\"}\n";
    const support::quiet_log quiet;
    const auto check = [&](std::string_view text) {
        ubus.prints(std::string(text));
        char out[4] = "old";
        ASSERT_EQ(hobe_container_get_uci("env", "var", "serial", out, sizeof(out)), 0) << printable(text);
        ASSERT_TRUE(support::is_text(out)) << printable(text);
    };
    support::every_truncation(reply, check);
    // Of the other bytes some, since each starts a tool.
    for (size_t at = 0; at < reply.size(); at++) {
        for (const char byte : {'\0', '"', '{', '\\', '\x80', ' '}) {
            std::string text = reply;
            text[at] = byte;
            check(text);
        }
    }
}

TEST(HostConfiguration, TheStatusOfTheToolIsTheResultAndAKeyIsFoundOnlyWithStatusZero)
{
    for (const int status : {1, 4, 255}) {
        const fake_tool silent("ubus", "", status);
        const outcome missing = get();
        EXPECT_EQ(missing.result, status * 256);
        EXPECT_EQ(missing.out, "old");
        EXPECT_EQ(missing.log, (texts{running, "DEBUG "}));

        const fake_tool ubus("ubus", reply_of("a"), status);
        const outcome got = get();
        EXPECT_EQ(got.result, status * 256);
        EXPECT_EQ(got.out, "a");
        EXPECT_EQ(got.log, (texts{running, "DEBUG " + reply_of("a")}));
    }
}

TEST(HostConfiguration, AMissingToolIsAFailureOfTheShell)
{
    const temp_dir nothing;
    const support::search_path path(nothing.path(), true);
    const outcome got = get();
    EXPECT_EQ(got.result, 127 * 256);
    EXPECT_EQ(got.out, "old");
}

TEST(HostConfiguration, AToolThatWasKilledGivesItsSignal)
{
    const fake_tool ubus("ubus", "", 0, "kill -9 $$; true");
    // The shell may run the tool in its own place, or report its end.
    const int result = get().result;
    EXPECT_TRUE(result == SIGKILL || result == (128 + SIGKILL) * 256) << result;
}

TEST(HostConfiguration, AToolThatCannotBeStartedIsMinusOneAndTold)
{
    EXPECT_EQ(in_child([] {
                  forbid_new_descriptors();
                  const outcome got = get();
                  return got.result != -1 ? 1 : got.out != "old" ? 2 : got.log != texts{running, not_started} ? 3 : 0;
              }),
              0);
}

TEST(HostConfiguration, AToolThatWasReapedByAnotherIsZeroAndItsValueFound)
{
    const fake_tool ubus("ubus", reply_of("a"));
    in_fresh_process([] {
        (void)signal(SIGCHLD, SIG_IGN);
        const outcome got = get();
        EXPECT_EQ(got.result, 0);
        EXPECT_EQ(got.out, "a");
        EXPECT_EQ(got.log, (texts{running, "DEBUG " + reply_of("a"), "DEBUG Found env.var.serial: a"}));
    });
}

TEST(HostConfiguration, AnotherFailureOfTheCloseIsMinusOneAndTold)
{
    const fake_tool ubus("ubus", reply_of("a"));
    pclose_error = EINTR;
    const outcome got = get();
    pclose_error = 0;
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.out, "a");
    EXPECT_EQ(got.log, (texts{running, "DEBUG " + reply_of("a"),
                              "ERROR " + command + " errno:" + std::to_string(EINTR) + ", " + strerror(EINTR)}));
}

TEST(HostConfiguration, TheValueIsCutToItsLengthAndTheRestIsZeros)
{
    const fake_tool ubus("ubus", reply_of("123456"));
    const support::quiet_log quiet;
    for (const size_t length : {1U, 2U, 6U, 7U, 8U, 20U}) {
        std::string out(32, 'x');
        EXPECT_EQ(hobe_container_get_uci("env", "var", "serial", out.data(), static_cast<int>(length)), 0);
        std::string want = "123456"s.substr(0, length - 1);
        want.resize(length, '\0');
        EXPECT_EQ(out, want + std::string(32 - length, 'x')) << length;
    }
}

TEST(HostConfiguration, AReplyOf1023CharactersIsWholeAndALongerOneIsNoReply)
{
    const size_t room = 1023 - reply_of("").size();
    for (const size_t over : {0U, 1U, 2U}) {
        const std::string value(room + over, 'v');
        const fake_tool ubus("ubus", reply_of(value));
        const outcome got = get("env", "var", "serial", 2000);
        EXPECT_EQ(got.result, 0) << over;
        // With one character over only the line end is lost.
        EXPECT_EQ(got.out, over < 2 ? value : "old") << over;
        ASSERT_GE(got.log.size(), 2U);
        EXPECT_EQ(got.log[1], "DEBUG " + reply_of(value).substr(0, 1023)) << over;
    }
}

TEST(HostConfiguration, ALongReplyIsReadToItsEnd)
{
    const fake_tool ubus("ubus", reply_of(std::string(300000, 'v')));
    const outcome got = get();
    EXPECT_EQ(got.result, 0); // and not the signal of a broken pipe
    EXPECT_EQ(got.out, "old");
}

TEST(HostConfiguration, AnArgumentOf255CharactersIsWholeAndALongerOneIsCutSilently)
{
    const size_t room = 255 - argument_of("env", "var", "").size();
    for (const size_t over : {0U, 1U, 3U, 300U}) {
        const std::string option(room + over, 'o');
        const std::string want = argument_of("env", "var", option).substr(0, 255);
        const fake_tool ubus("ubus", "");
        const outcome got = get("env", "var", option);
        EXPECT_EQ(got.result, 0) << over;
        EXPECT_EQ(got.log, (texts{"DEBUG Running: " + command_of(want), "DEBUG "})) << over;
        EXPECT_EQ(ubus.calls(), call_of(want)) << over;
    }
}

TEST(HostConfiguration, ATextThatEndsItsQuotesOrItsLineIsRefusedAndNothingRuns)
{
    const temp_dir dir;
    const std::string marker = dir / "ran";
    const fake_tool ubus("ubus", reply_of("a"));
    for (const std::string &text : {"';touch " + marker + ";'", "'"s, "x\ntouch " + marker, "x\n"s, "\t"s, "\x7f"s}) {
        const std::string keys[][3] = {{text, "var", "serial"}, {"env", text, "serial"}, {"env", "var", text}};
        for (const auto &key : keys) {
            const outcome got = get(key[0], key[1], key[2]);
            EXPECT_EQ(got.result, -1) << printable(text);
            EXPECT_EQ(got.out, "old") << printable(text);
            EXPECT_EQ(got.log,
                      (texts{"DEBUG Running: " + command_of(argument_of(key[0], key[1], key[2])), not_started}))
                << printable(text);
        }
    }
    EXPECT_EQ(ubus.calls(), "");
    EXPECT_FALSE(fs::exists(marker));
}

TEST(HostConfiguration, AnyOtherTextIsPassedOnAsItStands)
{
    const temp_dir dir;
    const std::string marker = dir / "ran";
    for (const std::string &text : {";touch " + marker, "$(touch " + marker + ")", "`touch " + marker + "`", "*"s,
                                    "a b"s, "@version[-1]"s, "%s%n"s}) {
        const fake_tool ubus("ubus", "");
        EXPECT_EQ(get(text, text, text).result, 0) << text;
        EXPECT_EQ(ubus.calls(), call_of(argument_of(text, text, text))) << text;
    }
    EXPECT_FALSE(fs::exists(marker));
}

TEST(HostConfiguration, LeavesNoDescriptorAndNoChild)
{
    const fake_tool ubus("ubus", reply_of("a"));
    const size_t before = open_descriptors();
    (void)get();
    (void)get("'");
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_TRUE(no_child_is_left());
}

TEST(HostConfiguration, EveryMessageNamesTheModulesFile)
{
    const std::set<std::string> want = {"vantu-hobe-lxc.cpp"};
    const fake_tool ubus("ubus", reply_of("a"));
    for (const char *config : {"env", "'"}) {
        const log_capture log;
        char out[8];
        (void)hobe_container_get_uci(config, "var", "serial", out, sizeof(out));
        EXPECT_EQ(log.files(), want) << config;
    }
}

// ---- The keys ----

TEST(Keys, EachQuestionReadsItsOwn)
{
    const struct {
        int (*read)(char *out, int len);
        std::string argument;
    } rows[] = {
        {hobe_container_get_hardware_model, argument_of("env", "var", "prod_number")},
        {hobe_container_get_firmware_version, argument_of("version", "@version[0]", "version")},
        {hobe_container_get_base_mac, argument_of("env", "var", "local_eth_mac")},
    };
    const support::quiet_log quiet;
    for (const auto &row : rows) {
        char out[8] = "old";
        {
            const fake_tool ubus("ubus", reply_of("123456789"));
            EXPECT_EQ(row.read(out, sizeof(out)), 0);
            EXPECT_STREQ(out, "1234567") << row.argument;
            EXPECT_EQ(ubus.calls(), call_of(row.argument));
        }
        const fake_tool ubus("ubus", "", 4);
        EXPECT_EQ(row.read(out, sizeof(out)), 4 * 256);
        EXPECT_STREQ(out, "1234567") << row.argument;
    }
}

TEST(SystemName, IsThatOfTheContainer)
{
    EXPECT_STREQ(hobe_container_get_system_name(), "hobe-lxc");
}

TEST(WanInterface, IsAlwaysTheSameBufferAndAsksNobody)
{
    const fake_tool ubus("ubus", reply_of("eth9"));
    const char *first = hobe_container_get_get_wan_if();
    EXPECT_STREQ(first, "eth3");
    EXPECT_EQ(hobe_container_get_get_wan_if(), first);
    EXPECT_EQ(ubus.calls(), "");
}

// The module keeps the serial number, so that each case has a process of its own.
TEST(RouterId, OnceKnownItIsKeptInOneBufferAndNoCommandRuns)
{
    in_fresh_process([] {
        const support::quiet_log quiet;
        const fake_tool ubus("ubus", reply_of("HB01A0000042"));
        const char *first = hobe_container_get_routerid();
        EXPECT_STREQ(first, "HB01A0000042");
        ubus.prints(reply_of("other"));
        EXPECT_EQ(hobe_container_get_routerid(), first);
        EXPECT_STREQ(first, "HB01A0000042");
        EXPECT_EQ(ubus.calls(), call_of(argument));
    });
}

TEST(RouterId, IsEmptyAndAskedAgainUntilItIsKnown)
{
    in_fresh_process([] {
        const support::quiet_log quiet;
        const fake_tool ubus("ubus", "");
        for (const std::string &reply : {""s, "nonsense"s, reply_of("")}) {
            ubus.prints(reply);
            EXPECT_STREQ(hobe_container_get_routerid(), "");
        }
        ubus.prints(reply_of("HB01A0000042"));
        EXPECT_STREQ(hobe_container_get_routerid(), "HB01A0000042");
        EXPECT_EQ(ubus.calls(), call_of(argument) + call_of(argument) + call_of(argument) + call_of(argument));
    });
}

TEST(RouterId, HasAtMost31Characters)
{
    for (const size_t length : {31U, 32U, 100U}) {
        in_fresh_process([&] {
            const support::quiet_log quiet;
            const fake_tool ubus("ubus", reply_of(std::string(length, 's')));
            EXPECT_EQ(hobe_container_get_routerid(), std::string(31, 's')) << length;
        });
    }
}

// ---- The router's identity ----

char *report_routerid()
{
    static char routerid[] = "HB01A0000042";
    return routerid;
}

class RouterInfo : public testing::Test
{
protected:
    void SetUp() override
    {
        before_ = global_ops;
        global_ops = {};
        global_ops.get_routerid = report_routerid;
    }
    void TearDown() override { global_ops = before_; }

private:
    vantu_platform_ops before_ = {};
};

// A `ubus` that knows the three keys.
const char ubus_script[] = "case $7 in\n"
                           "*prod_number*) echo '{\"value\":\"MODEL-1\"}' ;;\n"
                           "*local_eth_mac*) echo '{\"value\":\"02:00:00:00:00:01\"}' ;;\n"
                           "*'@version[0]'*) echo '{\"value\":\"18.3.42\"}' ;;\n"
                           "esac\n";

TEST_F(RouterInfo, IsWhatTheHostTheKernelAndTheOperationSay)
{
    const support::tool_dir tools;
    tools.add("ubus", ubus_script);
    tools.add("uname", "echo 4.1.52\n");
    vantu_router_info got = {};
    got.system_uptime = 4711;
    const support::quiet_log quiet;
    EXPECT_EQ(hobe_container_get_router_info(&got), 0);
    vantu_router_info want = {};
    support::put(want.routerid, "HB01A0000042");
    support::put(want.serial, "HB01A0000042");
    support::put(want.hardware_manufacturer, "technicolor");
    support::put(want.chipset_model, "v8");
    support::put(want.chipset_manufacturer, "brcm");
    support::put(want.kernel_version, "4.1.52");
    support::put(want.cpu_architecture, "NULL");
    support::put(want.hardware_model, "MODEL-1");
    support::put(want.basemac, "02:00:00:00:00:01");
    support::put(want.firmware_version, "18.3.42");
    support::put(want.vantu_platform_name, "hobe-lxc");
    support::put(want.vantu_version, "0.9.14");
    want.system_uptime = 4711;
    EXPECT_EQ(support::bytes_of(got), support::bytes_of(want));
}

TEST_F(RouterInfo, EachStepAndEachFindingIsTold)
{
    const support::tool_dir tools;
    tools.add("ubus", ubus_script);
    tools.add("uname", "echo 4.1.52\n");
    vantu_router_info info = {};
    const log_capture log;
    EXPECT_EQ(hobe_container_get_router_info(&info), 0);
    texts traces;
    for (const std::string &line : log.lines) {
        if (line.rfind("TRACE ", 0) == 0 || line.rfind("DEBUG Running", 0) == 0)
            traces.push_back(line.substr(0, line.find(": ")));
    }
    EXPECT_EQ(traces, (texts{"TRACE Get routerid", "TRACE hobe_get_hardware_model", "DEBUG Running",
                             "TRACE Found hardware model MODEL-1", "TRACE hobe_get_base_mac", "DEBUG Running",
                             "TRACE Found basemac 02:00:00:00:00:01", "TRACE hobe_get_firmware_version",
                             "DEBUG Running", "TRACE Found firmware version 18.3.42"}));
}

TEST_F(RouterInfo, WhatTheHostDoesNotHaveStaysEmptyAndIsNotFound)
{
    // The last one answers, but fails.
    for (const auto &[reply, status] : {std::pair(""s, 0), {""s, 4}, {reply_of(""), 0}, {reply_of("a"), 4}}) {
        const fake_tool ubus("ubus", reply, status);
        const fake_tool uname("uname", "4.1.52\n");
        vantu_router_info info = {};
        const log_capture log;
        EXPECT_EQ(hobe_container_get_router_info(&info), 0) << reply << status;
        EXPECT_STREQ(info.hardware_model, "") << reply << status;
        EXPECT_STREQ(info.basemac, "") << reply << status;
        EXPECT_STREQ(info.firmware_version, "") << reply << status;
        EXPECT_STREQ(info.kernel_version, "4.1.52") << reply << status;
        for (const std::string &line : log.lines)
            EXPECT_EQ(line.find("Found"), std::string::npos) << line;
    }
}

} // namespace
