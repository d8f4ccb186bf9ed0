// The shared return codes and the line-parsing macros. Each macro is used in a function of its own, since it
// makes the enclosing function return.

#include "support.hpp"
#include "vantu-ll-api/vantu_ll_error.h"

#include <cstring>
#include <gtest/gtest.h>

namespace
{

using support::log_capture;
using support::stream_of;
using lines = std::vector<std::string>;

// The longest line that one read takes, its line end included.
constexpr size_t LONGEST = 1033;

static_assert(VANTU_LLAPI_RETURN_OK_NOT_EQUAL == 2);
static_assert(VANTU_LLAPI_RETURN_OK_EQUAL == 1);
static_assert(VANTU_LLAPI_RETURN_OK == 0);
static_assert(VANTU_LLAPI_RETURN_ERR_GENERAL == -1);
static_assert(VANTU_LLAPI_RETURN_ERR_INVALIDPARAM == -2);
static_assert(VANTU_LLAPI_RETURN_ERR_LIST_FULL == -3);

constexpr int UNTOUCHED = -77;

int skip_line(FILE *fp)
{
    LL_SKIPLINE(fp);
    return VANTU_LLAPI_RETURN_OK;
}

int parse_rate(FILE *fp, int &rate)
{
    LL_PARSE(fp, "rate %d", rate);
    return VANTU_LLAPI_RETURN_OK;
}

int parse_name(FILE *fp, char (&name)[16])
{
    LL_PARSE_STR(fp, "name %15s", name);
    return VANTU_LLAPI_RETURN_OK;
}

int skip_until(FILE *fp, const char *prefix)
{
    LL_SKIP_UNTIL(fp, prefix);
    return VANTU_LLAPI_RETURN_OK;
}

int skip_until_rate(FILE *fp, int &rate)
{
    LL_SKIP_UNTIL_AND_PARSE(fp, "rate %d", rate);
    return VANTU_LLAPI_RETURN_OK;
}

// The next line of a stream, without its end, or "(end)".
std::string next_line(FILE *fp)
{
    char line[2 * LL_LINE_SIZE];
    if (fgets(line, sizeof(line), fp) == nullptr)
        return "(end)";
    line[strcspn(line, "\n")] = '\0';
    return line;
}

TEST(LlSkipline, DropsExactlyOneLine)
{
    const auto fp = stream_of("first\nsecond\n");
    EXPECT_EQ(skip_line(fp.get()), VANTU_LLAPI_RETURN_OK);
    EXPECT_EQ(next_line(fp.get()), "second");
}

TEST(LlSkipline, DropsALastLineWithoutEnd)
{
    const auto fp = stream_of("only");
    EXPECT_EQ(skip_line(fp.get()), VANTU_LLAPI_RETURN_OK);
    EXPECT_EQ(next_line(fp.get()), "(end)");
}

TEST(LlSkipline, EndOfInputIsAnErrorWithoutALogLine)
{
    const log_capture log;
    const auto fp = stream_of("");
    EXPECT_EQ(skip_line(fp.get()), VANTU_LLAPI_RETURN_ERR_GENERAL);
    EXPECT_TRUE(log.lines.empty());
}

struct parse_case {
    const char *name;
    std::string text;
    int result;
    int rate;
    lines logged;
};

TEST(LlParse, OneLineIsScannedIntoTheVariable)
{
    const parse_case cases[] = {
        {"a match", "rate 866\n", 0, 866, {}},
        {"a negative number", "rate -5\n", 0, -5, {}},
        {"text behind the item", "rate 866 Mbps\n", 0, 866, {}},
        {"no line end", "rate 7", 0, 7, {}},
        {"only the first line is looked at",
         "noise\nrate 7\n",
         -1,
         UNTOUCHED,
         {"ERROR failed to match [rate %d] in [noise\n]"}},
        {"no number", "rate fast\n", -1, UNTOUCHED, {"ERROR failed to match [rate %d] in [rate fast\n]"}},
        {"mismatch without line end", "rat", -1, UNTOUCHED, {"ERROR failed to match [rate %d] in [rat]"}},
        {"a line that ends before the item", "rate\n", -1, UNTOUCHED, {"ERROR failed to match [rate %d] in [rate\n]"}},
        {"a blank line", "\n", -1, UNTOUCHED, {"ERROR failed to match [rate %d] in [\n]"}},
        {"format directives in the line are text",
         "%n%s%d\n",
         -1,
         UNTOUCHED,
         {"ERROR failed to match [rate %d] in [%n%s%d\n]"}},
        {"a NUL ends the line",
         std::string("rat\0e 5\n", 8),
         -1,
         UNTOUCHED,
         {"ERROR failed to match [rate %d] in [rat]"}},
        {"end of input", "", -1, UNTOUCHED, {}},
    };
    for (const parse_case &row : cases) {
        const log_capture log;
        const auto fp = stream_of(row.text);
        int rate = UNTOUCHED;
        EXPECT_EQ(parse_rate(fp.get(), rate), row.result) << row.name;
        EXPECT_EQ(rate, row.rate) << row.name;
        EXPECT_EQ(log.lines, row.logged) << row.name;
    }
}

TEST(LlParse, LineIsConsumedWhetherItMatchesOrNot)
{
    const log_capture log;
    for (const char *first : {"rate 1", "noise"}) {
        const std::string text = std::string(first) + "\nsecond\n";
        const auto fp = stream_of(text);
        int rate = UNTOUCHED;
        (void)parse_rate(fp.get(), rate);
        EXPECT_EQ(next_line(fp.get()), "second") << first;
    }
}

struct parse_str_case {
    const char *name;
    std::string text;
    int result;
    const char *value;
    lines logged;
};

TEST(LlParseStr, OneLineIsScannedIntoTheBuffer)
{
    const parse_str_case cases[] = {
        {"a match", "name wl0\n", 0, "wl0", {}},
        {"exactly full", "name abcdefghijklmno\n", 0, "abcdefghijklmno", {}},
        {"one too long is cut by the pattern's width", "name abcdefghijklmnop\n", 0, "abcdefghijklmno", {}},
        {"hostile text is taken as it stands", "name $(reboot);%n`\n", 0, "$(reboot);%n`", {}},
        {"a mismatch", "title wl0\n", -1, "untouched", {"ERROR failed to match str [name %15s] in [title wl0\n]"}},
        {"nothing behind the name", "name \n", -1, "untouched", {"ERROR failed to match str [name %15s] in [name \n]"}},
        {"end of input", "", -1, "untouched", {}},
    };
    for (const parse_str_case &row : cases) {
        const log_capture log;
        const auto fp = stream_of(row.text);
        char name[16] = "untouched";
        EXPECT_EQ(parse_name(fp.get(), name), row.result) << row.name;
        EXPECT_STREQ(name, row.value) << row.name;
        EXPECT_EQ(log.lines, row.logged) << row.name;
    }
}

struct skip_until_case {
    const char *name;
    const char *text;
    const char *prefix;
    int result;
    const char *next; // the line that a following read gets
};

const skip_until_case skip_until_cases[] = {
    {"the first line", "stations:\none\n", "stations:", 0, "one"},
    {"a later line", "noise\n\nstations:\none\n", "stations:", 0, "one"},
    {"text behind the prefix belongs to the consumed line", "stations: 3 of 9\none\n", "stations:", 0, "one"},
    {"only the first such line is consumed", "s 1\ns 2\n", "s", 0, "s 2"},
    {"the last line without end", "noise\nstations:", "stations:", 0, "(end)"},
    {"an empty prefix begins every line", "one\ntwo\n", "", 0, "two"},
    {"prefix in the middle of a line does not count", "my stations:\n", "stations:", -1, "(end)"},
    {"blanks before the prefix do not count", " stations:\n", "stations:", -1, "(end)"},
    {"case matters", "Stations:\n", "stations:", -1, "(end)"},
    {"a line shorter than the prefix", "stat\n", "stations:", -1, "(end)"},
    {"input without the prefix", "one\ntwo\nthree\n", "stations:", -1, "(end)"},
    {"empty input", "", "stations:", -1, "(end)"},
    {"empty input and an empty prefix", "", "", -1, "(end)"},
};

TEST(LlSkipUntil, ReadsUpToAndIncludingTheFirstLineThatBeginsWithThePrefix)
{
    for (const skip_until_case &row : skip_until_cases) {
        const log_capture log;
        const auto fp = stream_of(row.text);
        EXPECT_EQ(skip_until(fp.get(), row.prefix), row.result) << row.name;
        EXPECT_EQ(next_line(fp.get()), row.next) << row.name;
        EXPECT_TRUE(log.lines.empty()) << row.name;
    }
}

struct skip_until_and_parse_case {
    const char *name;
    const char *text;
    int result;
    int rate;
    const char *next;
};

const skip_until_and_parse_case skip_until_and_parse_cases[] = {
    {"the first line", "rate 6\nnext\n", 0, 6, "next"},
    {"a later line", "noise\nrate\nrate x\n\nrate 54\nnext\n", 0, 54, "next"},
    {"only the first match is taken", "rate 1\nrate 2\n", 0, 1, "rate 2"},
    {"the last line without end", "noise\nrate 9", 0, 9, "(end)"},
    {"input without a match", "noise\nrate fast\n", -1, UNTOUCHED, "(end)"},
    {"empty input", "", -1, UNTOUCHED, "(end)"},
};

TEST(LlSkipUntilAndParse, LinesThatDoNotMatchAreSkippedWithoutALogLine)
{
    for (const skip_until_and_parse_case &row : skip_until_and_parse_cases) {
        const log_capture log;
        const auto fp = stream_of(row.text);
        int rate = UNTOUCHED;
        EXPECT_EQ(skip_until_rate(fp.get(), rate), row.result) << row.name;
        EXPECT_EQ(rate, row.rate) << row.name;
        EXPECT_EQ(next_line(fp.get()), row.next) << row.name;
        EXPECT_TRUE(log.lines.empty()) << row.name;
    }
}

// The part of a line beyond what one read takes is the next "line", for each macro alike.
struct long_line_case {
    const char *name;
    size_t length;    // of the line, its end included
    const char *next; // what a following read gets
};

const long_line_case long_line_cases[] = {
    {"one below the limit", LONGEST - 1, "second"},
    {"exactly full", LONGEST, "second"},
    {"one too long", LONGEST + 1, ""},
    {"two too long", LONGEST + 2, "x"},
    {"several too long", LONGEST + 8, "xxxxxxx"},
};

TEST(LlMacros, LineOf1033CharactersIsReadWholeAndALongerOneInParts)
{
    for (const long_line_case &row : long_line_cases) {
        // "rate 5 xxx...", long enough for all macros to accept its beginning.
        std::string text = "rate 5 ";
        text.append(row.length - text.size() - 1, 'x');
        text += "\nsecond\n";

        int rate = UNTOUCHED;
        const auto skipped = stream_of(text);
        EXPECT_EQ(skip_line(skipped.get()), VANTU_LLAPI_RETURN_OK);
        EXPECT_EQ(next_line(skipped.get()), row.next) << row.name;

        const auto parsed = stream_of(text);
        EXPECT_EQ(parse_rate(parsed.get(), rate), VANTU_LLAPI_RETURN_OK);
        EXPECT_EQ(next_line(parsed.get()), row.next) << row.name;

        const auto until = stream_of(text);
        EXPECT_EQ(skip_until(until.get(), "rate"), VANTU_LLAPI_RETURN_OK);
        EXPECT_EQ(next_line(until.get()), row.next) << row.name;

        const auto until_parsed = stream_of(text);
        EXPECT_EQ(skip_until_rate(until_parsed.get(), rate), VANTU_LLAPI_RETURN_OK);
        EXPECT_EQ(next_line(until_parsed.get()), row.next) << row.name;
    }
}

int parse_longest(FILE *fp, char (&text)[2 * LL_LINE_SIZE])
{
    LL_PARSE_STR(fp, "%2000s", text);
    return VANTU_LLAPI_RETURN_OK;
}

TEST(LlParseStr, GetsAtMost1033CharactersOfALine)
{
    const std::string line(LONGEST + 7, 'y');
    const auto fp = stream_of(line);
    char text[2 * LL_LINE_SIZE];
    ASSERT_EQ(parse_longest(fp.get(), text), VANTU_LLAPI_RETURN_OK);
    EXPECT_EQ(strlen(text), LONGEST);
    ASSERT_EQ(parse_longest(fp.get(), text), VANTU_LLAPI_RETURN_OK);
    EXPECT_STREQ(text, "yyyyyyy");
    EXPECT_EQ(parse_longest(fp.get(), text), VANTU_LLAPI_RETURN_ERR_GENERAL);
}

TEST(LlParse, MismatchOfALongLineLogsThePartThatWasRead)
{
    const log_capture log;
    const std::string line(LONGEST + 7, 'z');
    const auto fp = stream_of(line);
    int rate = UNTOUCHED;
    EXPECT_EQ(parse_rate(fp.get(), rate), VANTU_LLAPI_RETURN_ERR_GENERAL);
    EXPECT_EQ(log.lines, lines{"ERROR failed to match [rate %d] in [" + std::string(LONGEST, 'z') + "]"});
}

TEST(LlSkipUntil, RestOfALongLineIsComparedAsALine)
{
    const std::string text = std::string(LONGEST, 'x') + "stations:\nnext\n";
    const auto fp = stream_of(text);
    EXPECT_EQ(skip_until(fp.get(), "stations:"), VANTU_LLAPI_RETURN_OK);
    EXPECT_EQ(next_line(fp.get()), "next");
}

struct report {
    int channel;
    char ssid[33];
    int sent;
    unsigned int received;
};

// All macros in one function: each has a line of its own, and none needs braces around it.
int read_report(FILE *fp, bool with_title, report &out)
{
    if (with_title)
        LL_SKIPLINE(fp);
    else
        out.channel = 0;
    LL_PARSE(fp, "channel %d", out.channel);
    LL_PARSE_STR(fp, "ssid %32s", out.ssid);
    LL_SKIP_UNTIL(fp, "counters");
    LL_SKIP_UNTIL_AND_PARSE(fp, "sent %d", out.sent);
    LL_SKIP_UNTIL_AND_PARSE(fp, "received %u", out.received);
    return VANTU_LLAPI_RETURN_OK;
}

const char *const report_text = "radio wl1\n"
                                "channel 36\n"
                                "ssid Attic\n"
                                "rssi -48\n"
                                "counters of this hour:\n"
                                "errors 0\n"
                                "sent 1200\n"
                                "received 3400\n"
                                "end\n";

TEST(LlMacros, SeveralInOneFunctionReadOneLineAfterTheOther)
{
    const auto fp = stream_of(report_text);
    report got = {};
    ASSERT_EQ(read_report(fp.get(), true, got), VANTU_LLAPI_RETURN_OK);
    EXPECT_EQ(got.channel, 36);
    EXPECT_STREQ(got.ssid, "Attic");
    EXPECT_EQ(got.sent, 1200);
    EXPECT_EQ(got.received, 3400U);
    EXPECT_EQ(next_line(fp.get()), "end");
}

TEST(LlMacros, StandAsOneStatementBeforeAnElse)
{
    const auto fp = stream_of("channel 1\nssid a\ncounters\nsent 2\nreceived 3\n");
    report got = {};
    ASSERT_EQ(read_report(fp.get(), false, got), VANTU_LLAPI_RETURN_OK);
    EXPECT_EQ(got.channel, 1);
    EXPECT_EQ(got.received, 3U);
}

TEST(LlMacros, FirstFailureEndsTheFunctionAndLeavesTheRestUnread)
{
    const log_capture log;
    const auto fp = stream_of("radio wl1\nchannel 36\nno name here\ncounters\n");
    report got = {};
    EXPECT_EQ(read_report(fp.get(), true, got), VANTU_LLAPI_RETURN_ERR_GENERAL);
    EXPECT_EQ(got.channel, 36);
    EXPECT_STREQ(got.ssid, "");
    EXPECT_EQ(log.lines, lines{"ERROR failed to match str [ssid %32s] in [no name here\n]"});
    EXPECT_EQ(next_line(fp.get()), "counters");
}

// The report is whole once the first digit of its last counter is there.
TEST(LlMacros, EveryTruncatedReportIsAnError)
{
    const support::quiet_log quiet;
    const std::string text = report_text;
    const size_t whole = text.find("3400") + 1;
    support::every_truncation(text, [&](std::string_view part) {
        const auto fp = stream_of(part);
        report got = {};
        EXPECT_EQ(read_report(fp.get(), true, got), part.size() >= whole ? 0 : -1) << part;
    });
}

TEST(LlMacros, EveryCorruptedReportIsReadOrRefused)
{
    const support::quiet_log quiet;
    support::every_corruption(report_text, [](std::string_view text) {
        const auto fp = stream_of(text);
        report got = {};
        const int result = read_report(fp.get(), true, got);
        EXPECT_TRUE(result == VANTU_LLAPI_RETURN_OK || result == VANTU_LLAPI_RETURN_ERR_GENERAL) << text;
        EXPECT_NE(memchr(got.ssid, '\0', sizeof(got.ssid)), nullptr) << text;
    });
}

} // namespace
