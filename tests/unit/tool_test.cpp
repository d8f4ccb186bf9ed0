// The frame around a tool: which texts may stand in a command line, how one is built and cut, and how a tool is
// started, closed and reported.

#include "tool.hpp"

#include "support.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <set>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;

namespace
{

texts started; // the command lines that popen was given

} // namespace

// These two stand before the C library's.
extern "C" FILE *popen(const char *command, const char *mode)
{
    started.push_back(command);
    return real<FILE *(const char *, const char *)>("popen")(command, mode);
}

extern "C" int pclose(FILE *pipe)
{
    return pclose_answer(real<int(FILE *)>("pclose")(pipe));
}

namespace
{

// A text of which the compiler cannot tell that it will be cut.
const char *hidden(const char *text)
{
    const char *volatile out = text;
    return out;
}

// What a test's reader says when the tool cannot be started.
void report_in_own_words(const char *command)
{
    log_error("cannot start [%s]", command);
}

// A reader of either kind of source.
vantu::reader reader_of(const char *sample, void (*report)(const char *) = nullptr)
{
    return {sample, 42, report};
}

const char *const samples[] = {"sample.txt", nullptr};
const char *const usual_report = "ERROR incorrect parameters or too many files.";

// ---- Which texts may stand ----

const std::string bare_characters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._:@%+,/[]-";

TEST(MayStand, ControlCharactersOfTheSecondSetMayNotStandQuotedEither)
{
    for (const char *text : {"\xc2\x80",
                             "a\xc2\x9b"
                             "31m",
                             "\xc2\xc2\x9f",
                             "K\xc3\xbc"
                             "che\xc2\x85"})
        EXPECT_FALSE(vantu::may_stand(vantu::quoted{text})) << printable(text);
    for (const char *text : {"K\xc3\xbc"
                             "che",
                             "\xc2\xa0", "\xc3\x82", "\xe2\x82\xac", "\xff", "a\xc2"})
        EXPECT_TRUE(vantu::may_stand(vantu::quoted{text})) << printable(text);
}

TEST(MayStand, LettersDigitsAndFewSignsMayStandUnquoted)
{
    for (int i = 1; i < 256; i++) {
        const char c = static_cast<char>(i);
        const bool allowed = bare_characters.find(c) != std::string::npos;
        for (const std::string &text : {std::string(1, c), "wl0"s + c, c + "wl0"s, "w"s + c + "l0"})
            EXPECT_EQ(vantu::may_stand(text.c_str()), allowed) << printable(text);
    }
}

TEST(MayStand, AllThatPrintsButAQuoteMayStandQuoted)
{
    for (int i = 1; i < 256; i++) {
        const char c = static_cast<char>(i);
        const bool allowed = i >= 0x20 && i != 0x7f && c != '\'';
        for (const std::string &text : {std::string(1, c), "a"s + c, c + "a"s})
            EXPECT_EQ(vantu::may_stand(vantu::quoted{text.c_str()}), allowed) << printable(text);
    }
}

TEST(MayStand, AnEmptyTextAndANumberMayStand)
{
    EXPECT_TRUE(vantu::may_stand(""));
    EXPECT_TRUE(vantu::may_stand(vantu::quoted{""}));
    for (const int number : {0, 7, -1, INT_MAX, INT_MIN})
        EXPECT_TRUE(vantu::may_stand(number));
}

TEST(MayStand, NamesAndAddressesAsRoutersHaveThemMayStand)
{
    for (const char *text : {
             "wl0",
             "wl1.2",
             "eth0",
             "br-lan",
             "wlan0-1",
             "ra0@if5",
             "wds_0",
             "02:00:00:00:00:01",
             "02:6A:10:4C:D3:81",
             "192.0.2.1",
             "192.0.2.0/24",
             "2001:db8::1",
             "[2001:db8::1]:53",
             "fe80::1%br0",
             "/bin/wlctl",
             "key.sub[0]",
             "a+b",
             "80,443",
         }) {
        EXPECT_TRUE(vantu::may_stand(text)) << text;
        EXPECT_TRUE(vantu::may_stand(vantu::quoted{text})) << text;
    }
}

TEST(MayStand, OneBadCharacterAnywhereInALongTextIsSeen)
{
    const std::string good(4096, 'a');
    EXPECT_TRUE(vantu::may_stand(good.c_str()));
    for (const size_t at : {0U, 1U, 62U, 63U, 255U, 4095U}) {
        std::string bad = good;
        bad[at] = ';';
        EXPECT_FALSE(vantu::may_stand(bad.c_str())) << at;
        bad[at] = '\'';
        EXPECT_FALSE(vantu::may_stand(vantu::quoted{bad.c_str()})) << at;
    }
}

// ---- Texts that would run something ----

// Texts in which "RUN" stands for a command that leaves a marker file and "MARK" for that file.
struct injection {
    const char *text;
    bool runs; // whether the shell, given "true -i TEXT", would leave the marker
};

const injection injections[] = {
    {"wl0;RUN", true},
    {"wl0; RUN", true},
    {"wl0 ;RUN;", true},
    {";RUN", true},
    {"wl0|RUN", true},
    {"wl0 | RUN", true},
    {"|RUN", true},
    {"wl0|&RUN", false},
    {"wl0||RUN", false},
    {"wl0&RUN", true},
    {"wl0 & RUN", true},
    {"wl0&&RUN", true},
    {"&&RUN", true},
    {"wl0\nRUN", true},
    {"\nRUN", true},
    {"\nRUN\n", true},
    {"wl0\r\nRUN", true},
    {"wl0\n\n\nRUN #", true},
    {"$(RUN)", true},
    {"wl0$(RUN)", true},
    {"\"$(RUN)\"", true},
    {"'$(RUN)'", false},
    {"$( RUN )x", true},
    {"`RUN`", true},
    {"wl0`RUN`", true},
    {"\"`RUN`\"", true},
    {">MARK", true},
    {"wl0>MARK", true},
    {"wl0 >MARK", true},
    {">>MARK", true},
    {"2>MARK", true},
    {"wl0 1>MARK", true},
    {">|MARK", true},
    {"<>MARK", true},
    {"wl0<MARK", false},
    {"wl0>&2;RUN", true},
    {"wl0;(RUN)", true},
    {"wl0;{ RUN;}", true},
    {"wl0;if RUN;then :;fi", true},
    {"wl0;eval RUN", true},
    {"wl0;exec RUN", true},
    {"wl0;X=1 RUN", true},
    {"wl0;sh -c 'RUN'", true},
    {"'';RUN", true},
    {"\"\";RUN", true},
    {"wl0';RUN;'", false},
    {"wl0\";RUN;\"", false},
    {"wl0';RUN", false},
    {"wl0\\;RUN", false},
    {"wl0\\\n;RUN", true},
    {"${X:-$(RUN)}", true},
    {"${X:=`RUN`}", true},
    {"$((1+$(RUN)0))", true},
    {"wl0;$X RUN", true},
    {"wl0 #\nRUN", true},
    {"wl0;RUN #", true},
    {"wl0\t;\tRUN", true},
    {"~;RUN", true},
    {"*;RUN", true},
    {"?&RUN", true},
    {"!;RUN", true},
    {"wl0<<X\nX\nRUN", true},
    {"\xc3\xb6;RUN", true},
    {"%n%s;RUN", true},
    {"=;RUN", true},
    {"wl0 RUN", false},
    {"wl0 ", false},
    {" ", false},
    {"\t", false},
    {"\r", false},
    {"wl0 #", false},
    {"$HOME", false},
    {"$$", false},
    {"$", false},
    {"~", false},
    {"*", false},
    {"?", false},
    {"\\", false},
    {"'", false},
    {"\"", false},
    {"{a,b}", false},
    {"!!", false},
    {"^a^b", false},
    {"a=b", false},
    {"\x1b[2J", false},
    {"\x7f", false},
    {"\xff", false},
};
static_assert(std::size(injections) >= 50, "the table of injections has shrunk");

// Replaces the two words by the command and its file.
std::string armed(std::string text, const std::string &marker)
{
    const auto put = [&text](const std::string &word, const std::string &by) {
        for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + by.size()))
            text.replace(at, word.size(), by);
    };
    put("RUN", "touch " + marker);
    put("MARK", marker);
    return text;
}

bool was_run(const std::string &marker)
{
    return fs::remove(marker);
}

TEST(Injection, EachTextIsRefusedAndRunsNothing)
{
    const temp_dir dir;
    const std::string marker = dir / "ran";
    for (const injection &each : injections) {
        const std::string text = armed(each.text, marker);
        for (const char *sample : samples) {
            started.clear();
            log_capture log;
            bool parsed = false;
            const vantu::command_line<512> command("true -i %s", text.c_str());
            const int result = vantu::run_tool(command, reader_of(sample), [&](FILE *) {
                parsed = true;
                return 0;
            });
            EXPECT_EQ(result, 42) << printable(text);
            EXPECT_FALSE(parsed) << printable(text);
            EXPECT_EQ(started, texts{}) << printable(text);
            EXPECT_EQ(log.lines, texts{usual_report}) << printable(text);
            EXPECT_FALSE(was_run(marker)) << printable(text);
        }
    }
}

// Otherwise the test above could pass with a table that is harmless.
TEST(Injection, TheTableHoldsWhatAShellWouldRun)
{
    const temp_dir dir;
    const std::string marker = dir / "ran";
    for (const injection &each : injections) {
        if (!each.runs)
            continue;
        const std::string line = "exec 2>/dev/null; true -i " + armed(each.text, marker);
        FILE *stream = ::popen(line.c_str(), "r");
        ASSERT_NE(stream, nullptr);
        (void)rest_of(stream);
        (void)::pclose(stream);
        EXPECT_TRUE(was_run(marker)) << printable(each.text);
    }
}

TEST(Injection, BetweenQuotesEachTextIsRefusedOrPassedOnAsItStands)
{
    const temp_dir dir;
    const std::string marker = dir / "ran";
    for (const injection &each : injections) {
        const std::string text = armed(each.text, marker);
        const quiet_log quiet;
        std::string passed;
        const vantu::command_line<512> command("printf %%s '%s'", vantu::quoted{text.c_str()});
        const int result = vantu::run_tool(command, reader_of("sample.txt"), [&](FILE *stream) {
            passed = rest_of(stream);
            return 0;
        });
        const bool refused = text.find_first_of("'\n\r\t\x1b\x7f") != std::string::npos;
        EXPECT_EQ(result, refused ? 42 : 0) << printable(text);
        EXPECT_EQ(passed, refused ? "" : text) << printable(text);
        EXPECT_FALSE(was_run(marker)) << printable(text);
    }
}

TEST(Injection, ATextThatIsBadOnlyBehindTheCutIsRefusedToo)
{
    const std::string text = std::string(100, 'a') + ";reboot";
    const vantu::command_line<63> command("true %s", text.c_str());
    EXPECT_EQ(strchr(command.text(), ';'), nullptr);
    EXPECT_FALSE(static_cast<vantu::command>(command).safe);
}

// ---- The command line ----

template <size_t Size, typename... Arguments>
vantu::command built(std::string &text, const char *pattern, Arguments... arguments)
{
    const vantu::command_line<Size> line(pattern, arguments...);
    text = line.text();
    const vantu::command command = line;
    EXPECT_EQ(command.text, line.text());
    return {text.c_str(), command.safe};
}

TEST(CommandLine, HoldsTheTextsAndNumbersOfItsPattern)
{
    std::string text;
    EXPECT_TRUE(built<64>(text, "%s -i %s lrl", "wlctl", "wl0").safe);
    EXPECT_EQ(text, "wlctl -i wl0 lrl");
    EXPECT_TRUE(built<64>(text, "%s ampdu_tid %d", "/bin/wlctl", -7).safe);
    EXPECT_EQ(text, "/bin/wlctl ampdu_tid -7");
    EXPECT_TRUE(built<64>(text, "ubus call %s '%s'", "network", vantu::quoted{"{\"a\": \"$(x)\"}"}).safe);
    EXPECT_EQ(text, "ubus call network '{\"a\": \"$(x)\"}'");
    EXPECT_TRUE(built<64>(text, "%s -i %s lrl", "wlctl", "").safe);
    EXPECT_EQ(text, "wlctl -i  lrl");
}

TEST(CommandLine, ThePatternItselfIsNotChecked)
{
    std::string text;
    EXPECT_TRUE(built<64>(text, "conntrack -L 2>/dev/null | sort").safe);
    EXPECT_EQ(text, "conntrack -L 2>/dev/null | sort");
}

TEST(CommandLine, OneBadTextAmongSeveralMakesItUnsafe)
{
    std::string text;
    EXPECT_FALSE(built<64>(text, "%s %s %s", ";", "b", "c").safe);
    EXPECT_FALSE(built<64>(text, "%s %s %s", "a", ";", "c").safe);
    EXPECT_FALSE(built<64>(text, "%s %s %s", "a", "b", ";").safe);
    EXPECT_FALSE(built<64>(text, "%s %d %s", "a", 1, ";").safe);
    EXPECT_FALSE(built<64>(text, "%s '%s'", "a", vantu::quoted{"'"}).safe);
    EXPECT_FALSE(built<64>(text, "%s '%s'", ";", vantu::quoted{";"}).safe);
    EXPECT_TRUE(built<64>(text, "%s '%s'", "a", vantu::quoted{";"}).safe);
}

TEST(CommandLine, OfItsSizeLessOneIsWholeAndALongerOneIsCutSilently)
{
    log_capture log;
    for (const size_t length : {0U, 14U, 15U, 16U, 17U, 1000U}) {
        const std::string argument(length, 'a');
        std::string text;
        EXPECT_TRUE(built<16>(text, "%s", argument.c_str()).safe) << length;
        EXPECT_EQ(text, argument.substr(0, 15)) << length;
    }
    std::string text;
    EXPECT_TRUE(built<16>(text, "%s -i %s lrl", hidden("wlctl"), "wl0").safe);
    EXPECT_EQ(text, "wlctl -i wl0 lr");
    EXPECT_EQ(log.lines, texts{});
}

TEST(CommandLine, TextsOfFormatCharactersAreNoFormat)
{
    std::string text;
    EXPECT_TRUE(built<64>(text, "%s %s", "%n%s%d", "%%").safe);
    EXPECT_EQ(text, "%n%s%d %%");
}

// ---- Running ----

TEST(RunTool, GivesTheToolsOutputToTheParserAndReturnsItsResult)
{
    for (const char *sample : samples) {
        for (const int result : {0, -1, -3, 1, 17}) {
            log_capture log;
            std::string output;
            started.clear();
            const vantu::command_line<64> command("echo %s; echo b", "a");
            EXPECT_EQ(vantu::run_tool(command, reader_of(sample),
                                      [&](FILE *stream) {
                                          output = rest_of(stream);
                                          return result;
                                      }),
                      result);
            EXPECT_EQ(output, "a\nb\n");
            EXPECT_EQ(started, texts{"echo a; echo b"});
            EXPECT_EQ(log.lines, texts{});
        }
    }
    EXPECT_TRUE(no_child_is_left());
}

TEST(RunTool, WhatIsRunIsTheCutLine)
{
    started.clear();
    const vantu::command_line<8> command("echo %s", hidden("abcdef"));
    std::string output;
    EXPECT_EQ(vantu::run_tool(command, reader_of(nullptr),
                              [&](FILE *stream) {
                                  output = rest_of(stream);
                                  return 0;
                              }),
              0);
    EXPECT_EQ(started, texts{"echo ab"});
    EXPECT_EQ(output, "ab\n");
}

TEST(RunTool, AParserThatDoesNotReadToTheEndHangsNothing)
{
    const vantu::command command = {"yes", true};
    EXPECT_EQ(vantu::run_tool(command, reader_of(nullptr), [](FILE *stream) { return fgetc(stream); }), 'y');
    EXPECT_TRUE(no_child_is_left());
}

TEST(RunTool, ACommandThatTheShellCannotStartIsAnEmptyOutput)
{
    const vantu::command command = {"exec 2>/dev/null; /nonexistent/tool", true};
    log_capture log;
    for (const char *sample : samples) {
        std::string output = "x";
        EXPECT_EQ(vantu::run_tool(command, reader_of(sample),
                                  [&](FILE *stream) {
                                      output = rest_of(stream);
                                      return -1;
                                  }),
                  -1);
        EXPECT_EQ(output, "");
    }
    EXPECT_EQ(log.lines, texts{});
}

TEST(RunTool, HowTheToolEndsDoesNotCount)
{
    for (const char *line : {"exit 1", "exit 127", "kill -9 $$"}) {
        const vantu::command command = {line, true};
        log_capture log;
        EXPECT_EQ(vantu::run_tool(command, reader_of(nullptr), [](FILE *) { return 5; }), 5) << line;
        EXPECT_EQ(log.lines, texts{}) << line;
    }
}

TEST(RunTool, AToolThatIsStartedMeanwhileDoesNotInheritTheStream)
{
    const vantu::command outer = {"cat /dev/null", true};
    EXPECT_EQ(vantu::run_tool(outer, reader_of("sample.txt"),
                              [](FILE *stream) {
                                  const std::string line =
                                      "[ -e /proc/self/fd/" + std::to_string(fileno(stream)) + " ] && echo 1 || echo 0";
                                  const vantu::command inner = {line.c_str(), true};
                                  return vantu::run_tool(inner, reader_of(nullptr),
                                                         [](FILE *found) { return fgetc(found) - '0'; });
                              }),
              0);
}

TEST(RunTool, AToolThatCannotBeStartedIsReportedAndGivesTheResultWithoutStream)
{
    const struct {
        void (*report)(const char *);
        const char *log;
    } rows[] = {
        {nullptr, usual_report},
        {report_in_own_words, "ERROR cannot start [true a]"},
    };
    for (const auto &row : rows) {
        for (const char *sample : samples) {
            EXPECT_EQ(in_child([&] {
                          log_capture log;
                          forbid_new_descriptors();
                          bool parsed = false;
                          const vantu::command_line<64> command("true %s", "a");
                          const int result = vantu::run_tool(command, reader_of(sample, row.report), [&](FILE *) {
                              parsed = true;
                              return 0;
                          });
                          if (result != 42)
                              return 1;
                          return parsed ? 2 : log.lines != texts{row.log} ? 3 : 0;
                      }),
                      0)
                << row.log;
        }
    }
}

TEST(RunTool, AnUnsafeCommandIsReportedInTheUsualWordsEvenToAReaderWithItsOwn)
{
    started.clear();
    log_capture log;
    const vantu::command_line<64> command("true %s", "a;b");
    EXPECT_EQ(vantu::run_tool(command, reader_of(nullptr, report_in_own_words), [](FILE *) { return 0; }), 42);
    EXPECT_EQ(log.lines, texts{usual_report});
    EXPECT_EQ(started, texts{});
}

TEST(RunTool, LeavesNoDescriptorAndNoChild)
{
    const size_t before = open_descriptors();
    const vantu::command command = {"echo a", true};
    for (const char *sample : samples)
        (void)vantu::run_tool(command, reader_of(sample), [](FILE *) { return 0; });
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_TRUE(no_child_is_left());
}

// ---- Closing ----

TEST(CloseTool, AToolThatWasReapedByAnotherCountsAsSuccessWhateverWasParsed)
{
    for (const int parsed : {0, -1, -3, 1, 3}) {
        EXPECT_EQ(in_child([parsed] {
                      (void)signal(SIGCHLD, SIG_IGN);
                      log_capture log;
                      const vantu::command command = {"echo a", true};
                      const int result =
                          vantu::run_tool(command, reader_of(nullptr), [parsed](FILE *) { return parsed; });
                      return result != 0 ? 1 : !log.lines.empty() ? 2 : 0;
                  }),
                  0)
            << parsed;
    }
}

TEST(CloseTool, AnotherFailureIsToldWithTheCommandAndTheParsersResultStands)
{
    for (const int error : {EINTR, EBADF, ENOMEM, EINVAL}) {
        for (const int parsed : {0, -1, -3, 1}) {
            log_capture log;
            FILE *stream = ::popen("true", "r");
            ASSERT_NE(stream, nullptr);
            pclose_error = error;
            const int result = vantu::close_tool(stream, "wlctl -i wl0 lrl", parsed, vantu::here());
            pclose_error = 0;
            EXPECT_EQ(result, parsed) << error;
            EXPECT_EQ(log.lines,
                      texts{"ERROR wlctl -i wl0 lrl errno:" + std::to_string(error) + ", " + strerror(error)});
        }
    }
}

TEST(CloseTool, FormatCharactersOfTheCommandAreNoFormat)
{
    log_capture log;
    FILE *stream = ::popen("true", "r");
    ASSERT_NE(stream, nullptr);
    pclose_error = EINTR;
    (void)vantu::close_tool(stream, "%n%s", 0, vantu::here());
    pclose_error = 0;
    EXPECT_EQ(log.lines, texts{"ERROR %n%s errno:" + std::to_string(EINTR) + ", " + strerror(EINTR)});
}

// ---- Where messages come from ----

using places = std::set<std::pair<std::string, int>>;

TEST(LogPlace, IsTheReadersWithoutItsDirectories)
{
    const log_capture log;
    const vantu::command unsafe = {"true", false};
    const vantu::reader deep = {"sample.txt", 1, nullptr, {"some/where/reader.cpp", 77}};
    (void)vantu::open_tool(unsafe, deep);
    const vantu::reader flat = {"sample.txt", 1, nullptr, {"other.cpp", 78}};
    (void)vantu::open_tool(unsafe, flat);
    FILE *stream = ::popen("true", "r");
    pclose_error = EINTR;
    (void)vantu::close_tool(stream, "true", 0, {"/abs/third.cpp", 79});
    pclose_error = 0;
    EXPECT_EQ(log.places, (places{{"reader.cpp", 77}, {"other.cpp", 78}, {"third.cpp", 79}}));
}

TEST(LogPlace, IsWhereTheReaderIsWrittenWhenItNamesNone)
{
    const log_capture log;
    const vantu::command unsafe = {"true", false};
    const int line = __LINE__ + 1;
    (void)vantu::run_tool(unsafe, {"sample.txt", 1}, [](FILE *) { return 0; });
    EXPECT_EQ(log.places, (places{{"tool_test.cpp", line}}));
}

} // namespace
