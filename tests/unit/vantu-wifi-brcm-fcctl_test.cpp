// The flow cache's control: its status report, stored and made up, and the commands that are run.

#include "brcm-generic/vantu-wifi-brcm-fcctl.h"

#include "support.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

using namespace std::string_literals;
using namespace support;

namespace
{

// The commands that were run with the shell or opened, in order, and what comes of them.
texts commands;
int system_result = 0;
int pclose_result = 0;
int pclose_errno = 0;
bool opens = true;
std::string output;
int pipes_closed = 0;

} // namespace

// Called instead of the functions of these names, which the linker renames.
extern "C" {
int __wrap_system(const char *command)
{
    commands.push_back("system "s + command);
    if (system_result == -1)
        errno = ENOMEM;
    return system_result;
}

FILE *__wrap_popen(const char *command, const char *mode)
{
    EXPECT_EQ(mode[0], 'r');
    commands.push_back("popen "s + command);
    return opens ? stream_of(output).release() : nullptr;
}

int __wrap_pclose(FILE *pipe)
{
    pipes_closed++;
    (void)fclose(pipe);
    errno = pclose_errno;
    return pclose_result;
}
}

namespace
{

class Fcctl : public testing::Test
{
protected:
    void SetUp() override
    {
        commands.clear();
        output.clear();
        system_result = pclose_result = pclose_errno = pipes_closed = 0;
        opens = true;
    }
};

constexpr int untouched = 4711;

// The parser's result and the count after the call.
std::string dump(int result, int count)
{
    return "result=" + std::to_string(result) + " count=" + (count == untouched ? "untouched" : std::to_string(count)) +
           "\n";
}

std::string parsed(std::string_view text)
{
    int count = untouched;
    const auto stream = stream_of(text);
    const int result = internal_brcm_fcctl_get_sw_defers_count(stream.get(), &count);
    return dump(result, count);
}

// ---- The report ----

TEST_F(Fcctl, StoredReportsGiveWhatTheirPairsSay)
{
    const auto cases = cases_of("fcctl_status");
    EXPECT_GE(cases.size(), 4U);
    for (const std::string &name : cases) {
        const log_capture log;
        const std::string got = parsed(fixture(name + ".txt"));
        expect_stored(name, got, log.lines);
    }
}

TEST_F(Fcctl, DamagedReportsGiveACountOrNone)
{
    for (const std::string &name : cases_of("fcctl_status")) {
        const auto check = [&](std::string_view text) {
            int count = untouched;
            const auto stream = stream_of(text);
            const int result = internal_brcm_fcctl_get_sw_defers_count(stream.get(), &count);
            ASSERT_TRUE(result == 0 || (result == -1 && count == untouched)) << text;
        };
        const std::string text = fixture(name + ".txt");
        every_truncation(text, check);
        every_corruption(text, check);
    }
}

TEST_F(Fcctl, ReportLines)
{
    const std::string line = "Pkt-SW Activate Deferral count = ";
    const struct {
        const char *name;
        std::string text;
        std::string want;
    } rows[] = {
        {"no output", "", dump(-1, untouched)},
        {"no such line", "Flow Cache\n  HW Activate Deferral count = 4\n", dump(-1, untouched)},
        {"indented", "   " + line + "5\n", dump(0, 5)},
        {"indented with a tab", "\t" + line + "5\n", dump(0, 5)},
        {"not indented", line + "5\n", dump(0, 5)},
        {"without line end", line + "5", dump(0, 5)},
        {"with CR", line + "5\r\n", dump(0, 5)},
        {"text behind it", line + "5 packets\n", dump(0, 5)},
        {"no blanks around the sign", "Pkt-SW Activate Deferral count=5\n", dump(0, 5)},
        {"text before it", "x " + line + "5\n", dump(-1, untouched)},
        {"other case", "pkt-sw activate deferral count = 5\n", dump(-1, untouched)},
        {"another unit", "Pkt-HW Activate Deferral count = 5\n", dump(-1, untouched)},
        {"a rate", "Pkt-SW Activate Deferral rate=5\n", dump(-1, untouched)},
        {"no number", line + "none\n", dump(-1, untouched)},
        {"nothing behind the sign", line + "\n5\n", dump(-1, untouched)},
        {"beyond the range that may be set", line + "99\n", dump(0, 99)},
        {"zero", line + "0\n", dump(0, 0)},
        {"negative", line + "-3\n", dump(0, -3)},
        {"the first of two", line + "2\n" + line + "7\n", dump(0, 2)},
        {"one without number before it", line + "?\n" + line + "7\n", dump(0, 7)},
        {"at the end of a read of 255 characters", std::string(255, ' ') + line + "8\n", dump(0, 8)},
        {"cut by a read of 255 characters", std::string(240, ' ') + line + "8\n", dump(-1, untouched)},
        {"number cut by a read of 255 characters", std::string(254 - line.size(), ' ') + line + "89\n", dump(0, 8)},
        {"number within a read of 255 characters", std::string(253 - line.size(), ' ') + line + "89\n", dump(0, 89)},
    };
    for (const auto &row : rows) {
        const log_capture log;
        EXPECT_EQ(parsed(row.text), row.want) << row.name;
        EXPECT_EQ(log.lines, texts()) << row.name;
    }
}

TEST_F(Fcctl, ParserReadsNoFurtherThanTheCount)
{
    const std::string text = "a\n Pkt-SW Activate Deferral count = 3\nnext line\n";
    const auto stream = stream_of(text);
    int count = untouched;
    EXPECT_EQ(internal_brcm_fcctl_get_sw_defers_count(stream.get(), &count), 0);
    char line[32] = "";
    ASSERT_NE(fgets(line, sizeof(line), stream.get()), nullptr);
    EXPECT_STREQ(line, "next line\n");
}

// ---- Reading ----

TEST_F(Fcctl, ReadingOpensTheStatusAndClosesIt)
{
    output = "Flow Cache\n  Pkt-SW Activate Deferral count = 6\n";
    int count = untouched;
    const log_capture log;
    EXPECT_EQ(brcm_fcctl_get_sw_defers_count(&count), 0);
    EXPECT_EQ(count, 6);
    EXPECT_EQ(commands, texts{"popen fcctl status"});
    EXPECT_EQ(pipes_closed, 1);
    EXPECT_EQ(log.lines, texts());
}

TEST_F(Fcctl, ReadingWithoutTheLineIsMinusOneAndLeavesTheCount)
{
    output = "Flow Cache\n";
    int count = untouched;
    EXPECT_EQ(brcm_fcctl_get_sw_defers_count(&count), -1);
    EXPECT_EQ(count, untouched);
    EXPECT_EQ(pipes_closed, 1);
}

TEST_F(Fcctl, ReadingIsOneWhenTheToolCannotBeStarted)
{
    opens = false;
    int count = untouched;
    EXPECT_EQ(brcm_fcctl_get_sw_defers_count(&count), 1);
    EXPECT_EQ(count, untouched);
    EXPECT_EQ(pipes_closed, 0);
}

TEST_F(Fcctl, AFailedCloseIsLoggedWithoutAnExceptionForEchildAndKeepsTheResult)
{
    pclose_result = -1;
    for (const int error : {ECHILD, EINTR}) {
        pclose_errno = error;
        const texts want = {"ERROR fcctl status errno:" + std::to_string(error) + ", " + strerror(error)};
        for (const int result : {0, -1}) {
            output = result == 0 ? "Pkt-SW Activate Deferral count = 6\n" : "nothing\n";
            int count = untouched;
            const log_capture log;
            EXPECT_EQ(brcm_fcctl_get_sw_defers_count(&count), result) << error;
            EXPECT_EQ(count, result == 0 ? 6 : untouched) << error;
            EXPECT_EQ(log.lines, want);
        }
    }
}

TEST_F(Fcctl, TheToolsExitStatusIsNotLookedAt)
{
    pclose_result = 256;
    output = "Pkt-SW Activate Deferral count = 6\n";
    int count = untouched;
    const log_capture log;
    EXPECT_EQ(brcm_fcctl_get_sw_defers_count(&count), 0);
    EXPECT_EQ(count, 6);
    EXPECT_EQ(log.lines, texts());
}

TEST_F(Fcctl, OpenerAlwaysRunsTheCommandWhateverSampleIsNamedWhichIsKept)
{
    output = "from the tool\n";
    const std::string stored = fixture_path("README.md");
    for (const char *sample : {"fcctl/status.txt", stored.c_str(), "", static_cast<const char *>(nullptr)}) {
        commands.clear();
        FILE *stream = __ll_popen_cmd_or_testfile("some command", sample);
        ASSERT_NE(stream, nullptr);
        char line[32] = "";
        EXPECT_NE(fgets(line, sizeof(line), stream), nullptr);
        EXPECT_STREQ(line, "from the tool\n");
        (void)fclose(stream);
        EXPECT_EQ(commands, texts{"popen some command"});
    }
}

// ---- Setting and flushing ----

TEST_F(Fcctl, SettingRunsTheCommandAndReplacesInvalidValuesByOne)
{
    const struct {
        int count;
        int used;
    } rows[] = {{1, 1}, {2, 2}, {9, 9}, {10, 10}, {0, 1}, {11, 1}, {-5, 1}, {2147483647, 1}, {-2147483647 - 1, 1}};
    for (const auto &row : rows) {
        commands.clear();
        const std::string command = "fcctl config --sw-defer " + std::to_string(row.used);
        texts want = {"INFO Running: " + command};
        if (row.count != row.used)
            want.insert(want.begin(),
                        "ERROR Invalid fcctl defers value! " + std::to_string(row.count) + " using 1 instead");
        const log_capture log;
        EXPECT_EQ(brcm_fcctl_config_set_sw_defers_pkts(row.count), 0) << row.count;
        EXPECT_EQ(commands, texts{"system " + command}) << row.count;
        EXPECT_EQ(log.lines, want) << row.count;
    }
}

TEST_F(Fcctl, SettingReturnsZeroAndLogsOnlyACommandThatCannotBeRun)
{
    for (const int result : {256, 127 * 256, 9, -1}) {
        system_result = result;
        commands.clear();
        texts want = {"INFO Running: fcctl config --sw-defer 3"};
        if (result == -1)
            want.push_back("ERROR system() failed with errno " + std::to_string(ENOMEM));
        const log_capture log;
        EXPECT_EQ(brcm_fcctl_config_set_sw_defers_pkts(3), 0) << result;
        EXPECT_EQ(log.lines, want) << result;
        EXPECT_EQ(commands.size(), 1U) << "it is not tried again";
    }
}

TEST_F(Fcctl, FlushingRunsTheCommandAndLogsOnlyOneThatCannotBeRun)
{
    for (const int result : {0, 256, 127 * 256, -1}) {
        system_result = result;
        commands.clear();
        const log_capture log;
        brcm_fcctl_flush();
        EXPECT_EQ(commands, texts{"system fcctl flush"}) << result;
        EXPECT_EQ(log.lines,
                  result == -1 ? texts{"ERROR system() failed with errno " + std::to_string(ENOMEM)} : texts());
    }
}

} // namespace
