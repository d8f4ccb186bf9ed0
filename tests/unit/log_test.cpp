// The logger keeps its state for the whole process and never drops a sink, so every case runs in a child
// process of its own, where the logger is as at program start.

#include "vantu-ll-api/log.h"
#include "vantu-ll-api/logging.h"

#include "support.hpp"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

using namespace support;

namespace
{

static_assert(LOG_C_TRACE == 0 && LOG_C_DEBUG == 1 && LOG_C_INFO == 2);
static_assert(LOG_C_WARN == 3 && LOG_C_ERROR == 4 && LOG_C_FATAL == 5);
static_assert(LOG_USE_COLOR == 1);
static_assert(MAX_CALLBACKS == 32);

// A file without a name. What is not flushed is not seen by its text().
class scratch_file
{
public:
    FILE *stream() const { return stream_.get(); }

    std::string text() const
    {
        std::string all;
        char part[256];
        for (ssize_t got; (got = pread(fileno(stream()), part, sizeof(part), static_cast<off_t>(all.size()))) > 0;)
            all.append(part, static_cast<size_t>(got));
        return all;
    }

private:
    support::stream stream_{tmpfile()};
};

// Standard error goes to a file while this lives.
class console_capture
{
public:
    console_capture() : saved_(dup(STDERR_FILENO))
    {
        (void)fflush(stderr);
        (void)dup2(fileno(file_.stream()), STDERR_FILENO);
    }
    ~console_capture()
    {
        (void)dup2(saved_, STDERR_FILENO);
        (void)close(saved_);
    }
    console_capture(const console_capture &) = delete;
    console_capture &operator=(const console_capture &) = delete;

    std::string text() const { return file_.text(); }

private:
    scratch_file file_;
    int saved_;
};

// Each time of day in a text as "HH:MM:SS", each date before it as "YYYY-MM-DD".
std::string without_time(std::string text)
{
    const auto mask = [&text](size_t at, const char *pattern, const char *instead) {
        if (text.size() - at < strlen(pattern))
            return false;
        for (size_t i = 0; pattern[i] != '\0'; i++) {
            const bool digit = text[at + i] >= '0' && text[at + i] <= '9';
            if (pattern[i] == '0' ? !digit : text[at + i] != pattern[i])
                return false;
        }
        text.replace(at, strlen(pattern), instead);
        return true;
    };
    for (size_t at = 0; at < text.size(); at++) {
        if (mask(at, "00:00:00", "HH:MM:SS") || mask(at, "0000-00-00", "YYYY-MM-DD"))
            at += 7;
    }
    return text;
}

// The message of an event, as a sink reads it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::string message_of(log_Event *ev)
{
    char message[512];
    (void)vsnprintf(message, sizeof(message), ev->fmt, ev->ap);
    return message;
}
#pragma GCC diagnostic pop

// Sinks that write down "NAME message"; the name is their user data.
texts received;

void note(log_Event *ev)
{
    received.push_back(std::string(static_cast<const char *>(ev->udata)) + " " + message_of(ev));
}

char name_a[] = "A";
char name_b[] = "B";
char name_c[] = "C";

struct level_case {
    const char *name;
    const char *colour;
    int level;
    int (*log)(); // logs "message 7 of seven" and returns the line that it stands on
};

// clang-format off
constexpr level_case level_cases[] = {
    {"TRACE", "\033[94m", LOG_C_TRACE, [] { log_trace("message %d of %s", 7, "seven"); return __LINE__; }},
    {"DEBUG", "\033[36m", LOG_C_DEBUG, [] { log_debug("message %d of %s", 7, "seven"); return __LINE__; }},
    {"INFO",  "\033[32m", LOG_C_INFO,  [] { log_info("message %d of %s", 7, "seven");  return __LINE__; }},
    {"WARN",  "\033[33m", LOG_C_WARN,  [] { log_warn("message %d of %s", 7, "seven");  return __LINE__; }},
    {"ERROR", "\033[31m", LOG_C_ERROR, [] { log_error("message %d of %s", 7, "seven"); return __LINE__; }},
    {"FATAL", "\033[35m", LOG_C_FATAL, [] { log_fatal("message %d of %s", 7, "seven"); return __LINE__; }},
};
// clang-format on

// What the console shows of a level, with the time masked.
std::string console_line(const level_case &row, int line, const std::string &message)
{
    std::string padded = row.name;
    padded.resize(5, ' ');
    return std::string("HH:MM:SS ") + row.colour + padded + "\033[0m \033[90mlog_test.cpp:" + std::to_string(line) +
           ":\033[0m " + message + "\n";
}

TEST(Log, VersionIsPinned)
{
    EXPECT_STREQ(LOG_VERSION, "0.1.0");
}

TEST(Log, LevelsHaveNames)
{
    for (const level_case &row : level_cases)
        EXPECT_STREQ(log_level_string(row.level), row.name);
}

TEST(Log, MyFileIsTheBaseNameOfTheSource)
{
    ASSERT_NE(strchr(__FILE__, '/'), nullptr) << "the build names this source with its folder";
    EXPECT_STREQ(__MY_FILE__, "log_test.cpp");
}

TEST(LogConsole, ShowsEveryLevelInItsColourFromTheStart)
{
    in_fresh_process([] {
        for (const level_case &row : level_cases) {
            const console_capture console;
            const int line = row.log();
            EXPECT_EQ(without_time(console.text()), console_line(row, line, "message 7 of seven"));
        }
    });
}

TEST(LogConsole, ShowsTheLocalTimeOfTheEvent)
{
    in_fresh_process([] {
        ASSERT_EQ(setenv("TZ", "XYZ-05:45", 1), 0);
        tzset();
        static tm seen;
        ASSERT_EQ(log_add_callback([](log_Event *ev) { seen = *ev->time; }, nullptr, LOG_C_TRACE), 0);

        const console_capture console;
        const time_t before = time(nullptr);
        log_info("now");
        const time_t after = time(nullptr);

        EXPECT_EQ(seen.tm_gmtoff, 5 * 3600 + 45 * 60);
        tm copy = seen;
        const time_t taken = mktime(&copy);
        EXPECT_LE(before, taken);
        EXPECT_LE(taken, after);
        char when[16];
        (void)strftime(when, sizeof(when), "%H:%M:%S", &seen);
        EXPECT_EQ(console.text().substr(0, 9), std::string(when) + " ");
    });
}

struct message_case {
    const char *name;
    std::string text;
    std::string shown;
};

TEST(LogConsole, KeepsAMessageInOneLineAndFromTheTerminal)
{
    in_fresh_process([] {
        const message_case cases[] = {
            {"empty", "", ""},
            {"format directives among the arguments", "%n %s %d %%", "%n %s %d %%"},
            {"shell text", "$(reboot); `id` | tee", "$(reboot); `id` | tee"},
            {"line ends inside", "one\ntwo\r\nthree", "one\\x0atwo\\x0d\\x0athree"},
            {"terminal escapes", "\033[31mred\033[0m\x7f\t", "\\x1b[31mred\\x1b[0m\\x7f\\x09"},
            {"controls of the second set",
             "\xc2\x9b"
             "31m",
             "\\xc2\\x9b31m"},
            {"UTF-8", "B\xc3\xbcro \xe2\x82\xac \xf0\x9f\x93\xb6", "B\xc3\xbcro \xe2\x82\xac \xf0\x9f\x93\xb6"},
            {"quotes and commas", "\"a\",'b',=1+1", "\"a\",'b',=1+1"},
            {"invalid UTF-8", "\xff\xfe\xc3(", "\\xff\\xfe\\xc3("},
            {"longer than any line buffer", std::string(100000, 'x'), std::string(100000, 'x')},
        };
        for (const message_case &row : cases) {
            const console_capture console;
            // clang-format off
            log_error("%s", row.text.c_str()); const int line = __LINE__;
            // clang-format on
            EXPECT_EQ(without_time(console.text()), console_line(level_cases[LOG_C_ERROR], line, row.shown))
                << row.name;
        }
    });
}

TEST(LogConsole, PrintsTheFileNameAndLineThatItIsGiven)
{
    in_fresh_process([] {
        const console_capture console;
        log_log(LOG_C_WARN, "some/where.c", -1, "plain");
        EXPECT_EQ(without_time(console.text()),
                  "HH:MM:SS \033[33mWARN \033[0m \033[90msome/where.c:-1:\033[0m plain\n");
    });
}

// The levels that reach the console, as one digit each.
std::string levels_on_console(int console_level)
{
    log_set_level(console_level);
    std::string shown;
    for (const level_case &row : level_cases) {
        const console_capture console;
        (void)row.log();
        if (!console.text().empty())
            shown += std::to_string(row.level);
    }
    return shown;
}

TEST(LogConsole, ShowsEventsOfAtLeastItsLevel)
{
    in_fresh_process([] {
        EXPECT_EQ(levels_on_console(LOG_C_TRACE), "012345");
        EXPECT_EQ(levels_on_console(LOG_C_DEBUG), "12345");
        EXPECT_EQ(levels_on_console(LOG_C_INFO), "2345");
        EXPECT_EQ(levels_on_console(LOG_C_WARN), "345");
        EXPECT_EQ(levels_on_console(LOG_C_ERROR), "45");
        EXPECT_EQ(levels_on_console(LOG_C_FATAL), "5");
        EXPECT_EQ(levels_on_console(LOG_C_FATAL + 1), "");
        EXPECT_EQ(levels_on_console(INT_MAX), "");
    });
}

TEST(LogConsole, ComparesLevelsSigned)
{
    in_fresh_process([] {
        EXPECT_EQ(levels_on_console(-1), "012345");
        EXPECT_EQ(levels_on_console(INT_MIN), "012345");
    });
}

TEST(LogConsole, IsSilentWhileQuietAndSpeaksAgainAfterwards)
{
    in_fresh_process([] {
        log_set_quiet(true);
        EXPECT_EQ(levels_on_console(LOG_C_TRACE), "");
        log_set_quiet(false);
        EXPECT_EQ(levels_on_console(LOG_C_TRACE), "012345");
    });
}

TEST(LogConsole, WritesNothingToStandardOutput)
{
    in_fresh_process([] {
        const scratch_file out;
        const int saved = dup(STDOUT_FILENO);
        (void)dup2(fileno(out.stream()), STDOUT_FILENO);
        {
            const console_capture console;
            log_fatal("an event");
        }
        (void)fflush(stdout);
        (void)dup2(saved, STDOUT_FILENO);
        (void)close(saved);
        EXPECT_EQ(out.text(), "");
    });
}

// Calls a built-in sink with an event of its own: Friday 2026-02-13 03:04:05.
void call_sink(log_LogFn sink, FILE *stream, int level, const char *fmt, ...)
{
    tm when = {};
    when.tm_year = 126;
    when.tm_mon = 1;
    when.tm_mday = 13;
    when.tm_wday = 5;
    when.tm_hour = 3;
    when.tm_min = 4;
    when.tm_sec = 5;
    log_Event ev = {};
    ev.fmt = fmt;
    ev.file = "reader.cpp";
    ev.line = 57;
    ev.level = level;
    ev.time = &when;
    ev.udata = stream;
    va_start(ev.ap, fmt);
    sink(&ev);
    va_end(ev.ap);
}

// The scratch file is fully buffered: a sink that did not flush would leave nothing to see.
TEST(LogConsole, SinkWritesAndFlushesOneColouredLine)
{
    const scratch_file file;
    call_sink(stdout_callback, file.stream(), LOG_C_INFO, "%s has %d stations", "wl0", 3);
    EXPECT_EQ(file.text(), "03:04:05 \033[32mINFO \033[0m \033[90mreader.cpp:57:\033[0m wl0 has 3 stations\n");
}

TEST(LogFile, SinkWritesAndFlushesOnePlainLineWithItsDate)
{
    const scratch_file file;
    call_sink(file_callback, file.stream(), LOG_C_WARN, "%s has %d stations", "wl0", 3);
    EXPECT_EQ(file.text(), "2026-02-13 03:04:05 WARN  reader.cpp:57: wl0 has 3 stations\n");
    call_sink(file_callback, file.stream(), LOG_C_ERROR, "%%");
    EXPECT_EQ(file.text(), "2026-02-13 03:04:05 WARN  reader.cpp:57: wl0 has 3 stations\n"
                           "2026-02-13 03:04:05 ERROR reader.cpp:57: %\n");
}

TEST(LogFile, AddedStreamGetsEventsOfAtLeastItsLevel)
{
    in_fresh_process([] {
        log_set_quiet(true);
        const scratch_file file;
        ASSERT_EQ(log_add_fp(file.stream(), LOG_C_WARN), 0);
        std::string want;
        for (const level_case &row : level_cases) {
            std::string padded = row.name;
            padded.resize(5, ' ');
            const int line = row.log();
            if (row.level >= LOG_C_WARN)
                want += "YYYY-MM-DD HH:MM:SS " + padded + " log_test.cpp:" + std::to_string(line) +
                        ": message 7 of seven\n";
        }
        EXPECT_EQ(without_time(file.text()), want);
    });
}

TEST(LogSinks, ReceiveWhatTheConsoleLevelHidesAndWhatQuietHides)
{
    in_fresh_process([] {
        ASSERT_EQ(log_add_callback(note, name_a, LOG_C_DEBUG), 0);
        const console_capture console;
        log_set_level(LOG_C_ERROR);
        log_info("below the console level");
        log_set_quiet(true);
        log_fatal("quiet");
        EXPECT_EQ(received, (texts{"A below the console level", "A quiet"}));
        EXPECT_EQ(console.text(), "");
    });
}

TEST(LogSinks, BelowTheirLevelAreSkippedAndTheConsoleIsNot)
{
    in_fresh_process([] {
        ASSERT_EQ(log_add_callback(note, name_a, LOG_C_ERROR), 0);
        const console_capture console;
        log_warn("console only");
        EXPECT_EQ(received, texts{});
        EXPECT_NE(console.text(), "");
    });
}

TEST(LogSinks, AreCalledInTheOrderOfRegistrationAfterTheConsole)
{
    in_fresh_process([] {
        static std::string console_at_first_sink;
        static const console_capture console;
        ASSERT_EQ(log_add_callback([](log_Event *) { console_at_first_sink = console.text(); }, nullptr, 0), 0);
        ASSERT_EQ(log_add_callback(note, name_b, 0), 0);
        ASSERT_EQ(log_add_callback(note, name_a, 0), 0);
        ASSERT_EQ(log_add_callback(note, name_c, 0), 0);
        log_info("event");
        EXPECT_EQ(received, (texts{"B event", "A event", "C event"}));
        EXPECT_NE(console_at_first_sink.find(" event\n"), std::string::npos);
    });
}

TEST(LogSinks, WithAHigherLevelDoNotStopTheWalk)
{
    in_fresh_process([] {
        log_set_quiet(true);
        ASSERT_EQ(log_add_callback(note, name_a, LOG_C_FATAL), 0);
        ASSERT_EQ(log_add_callback(note, name_b, LOG_C_FATAL + 1), 0);
        ASSERT_EQ(log_add_callback(note, name_c, LOG_C_TRACE), 0);
        log_debug("low");
        log_fatal("high");
        EXPECT_EQ(received, (texts{"C low", "A high", "C high"}));
    });
}

TEST(LogSinks, CompareTheirLevelSigned)
{
    in_fresh_process([] {
        log_set_quiet(true);
        ASSERT_EQ(log_add_callback(note, name_a, -1), 0);
        log_trace("lowest");
        EXPECT_EQ(received, texts{"A lowest"});
    });
}

TEST(LogSinks, AddedTwiceAreCalledTwice)
{
    in_fresh_process([] {
        log_set_quiet(true);
        ASSERT_EQ(log_add_callback(note, name_a, 0), 0);
        ASSERT_EQ(log_add_callback(note, name_a, 0), 0);
        log_info("event");
        EXPECT_EQ(received, (texts{"A event", "A event"}));
    });
}

TEST(LogSinks, ThirtyThirdIsRefusedAndChangesNothing)
{
    in_fresh_process([] {
        log_set_quiet(true);
        for (int i = 0; i < MAX_CALLBACKS; i++)
            EXPECT_EQ(log_add_callback(note, name_a, 0), 0) << "sink " << i + 1;
        const scratch_file file;
        EXPECT_EQ(log_add_callback(note, name_b, 0), -1);
        EXPECT_EQ(log_add_fp(file.stream(), 0), -1);
        EXPECT_EQ(log_add_callback(note, name_b, 0), -1) << "it stays full";
        log_info("event");
        EXPECT_EQ(received, texts(MAX_CALLBACKS, "A event"));
        EXPECT_EQ(file.text(), "");
    });
}

TEST(LogSinks, GetTheEventsFieldsAndTheirOwnUserData)
{
    in_fresh_process([] {
        log_set_quiet(true);
        static log_Event seen[2];
        static const char *const fmt = "%d stations";
        const log_LogFn copy = [](log_Event *ev) {
            auto &to = *static_cast<log_Event *>(ev->udata);
            to.fmt = ev->fmt;
            to.file = ev->file;
            to.line = ev->line;
            to.level = ev->level;
            to.time = ev->time;
            to.udata = ev->udata;
        };
        ASSERT_EQ(log_add_callback(copy, &seen[0], 0), 0);
        ASSERT_EQ(log_add_callback(copy, &seen[1], 0), 0);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        log_log(LOG_C_WARN, "reader.cpp", 57, fmt, 3);
#pragma GCC diagnostic pop
        for (const log_Event &ev : seen) {
            EXPECT_EQ(ev.fmt, fmt);
            EXPECT_STREQ(ev.file, "reader.cpp");
            EXPECT_EQ(ev.line, 57);
            EXPECT_EQ(ev.level, LOG_C_WARN);
            EXPECT_NE(ev.time, nullptr);
            EXPECT_EQ(ev.udata, &ev);
        }
    });
}

TEST(LogSinks, ConsoleGetsStandardErrorAsItsUserDataAndTheNextSinkItsOwn)
{
    in_fresh_process([] {
        const console_capture console;
        static void *seen;
        ASSERT_EQ(log_add_callback([](log_Event *ev) { seen = ev->udata; }, nullptr, 0), 0);
        log_info("event");
        EXPECT_EQ(seen, nullptr);
        EXPECT_NE(console.text(), "");
    });
}

// The time is taken by the first sink that runs and shared: what one sink does to it the next one sees.
TEST(LogSinks, ShareOneTimeOfOneEvent)
{
    in_fresh_process([] {
        static const tm *seen[2];
        static int year_at_second;
        log_set_quiet(true);
        ASSERT_EQ(log_add_callback([](log_Event *ev) { seen[0] = ev->time, ev->time->tm_year = -1234; }, nullptr, 0),
                  0);
        ASSERT_EQ(
            log_add_callback([](log_Event *ev) { seen[1] = ev->time, year_at_second = ev->time->tm_year; }, nullptr, 0),
            0);
        log_info("event");
        ASSERT_NE(seen[0], nullptr);
        EXPECT_EQ(seen[0], seen[1]);
        EXPECT_EQ(year_at_second, -1234);
    });
}

TEST(LogSinks, EachGetsAllArgumentsFromTheFirst)
{
    in_fresh_process([] {
        const console_capture console;
        static int first_only;
        ASSERT_EQ(log_add_callback(note, name_a, 0), 0);
        ASSERT_EQ(log_add_callback(
                      [](log_Event *ev) {
                          (void)va_arg(ev->ap, const char *);
                          first_only = va_arg(ev->ap, int);
                      },
                      nullptr, 0),
                  0);
        ASSERT_EQ(log_add_callback([](log_Event *) {}, nullptr, 0), 0);
        ASSERT_EQ(log_add_callback(note, name_b, 0), 0);

        log_info("%s %d %.3f %lld %c %s", "wl0", -7, 2.5, 1LL << 40, 'x', "end");
        const std::string message = "wl0 -7 2.500 1099511627776 x end";
        EXPECT_EQ(received, (texts{"A " + message, "B " + message}));
        EXPECT_EQ(first_only, -7);
        EXPECT_NE(console.text().find("\033[0m " + message + "\n"), std::string::npos) << console.text();
    });
}

// The errors that a caller reports are often errno of the call before; it is still there for the caller.
TEST(Log, KeepsErrnoWhateverSinksAndLockDoToIt)
{
    in_fresh_process([] {
        ASSERT_EQ(log_add_callback([](log_Event *) { errno = EIO; }, nullptr, 0), 0);
        log_set_lock([](bool, void *) { errno = EBADF; }, nullptr);
        const console_capture console;
        errno = ECHILD;
        log_error("event");
        EXPECT_EQ(errno, ECHILD);
        errno = 0;
        log_set_level(LOG_C_FATAL);
        log_trace("for the sink only");
        EXPECT_EQ(errno, 0);
    });
}

// What the lock function saw: "locked" or "unlocked", the console lines and the sink calls so far.
struct lock_record {
    const console_capture *console;
    texts calls;
};

void note_lock(bool locked, void *udata)
{
    auto &record = *static_cast<lock_record *>(udata);
    record.calls.push_back(std::string(locked ? "locked" : "unlocked") +
                           (record.console->text().empty() ? ", console empty, " : ", console written, ") +
                           std::to_string(received.size()) + " sinks");
}

TEST(LogLock, IsHeldAroundTheConsoleAndAllSinks)
{
    in_fresh_process([] {
        const console_capture console;
        lock_record record = {&console, {}};
        log_set_lock(note_lock, &record);
        ASSERT_EQ(log_add_callback(note, name_a, 0), 0);
        ASSERT_EQ(log_add_callback(note, name_b, 0), 0);
        EXPECT_EQ(record.calls, texts{}) << "registering does not lock";
        log_info("event");
        EXPECT_EQ(record.calls, (texts{"locked, console empty, 0 sinks", "unlocked, console written, 2 sinks"}));
        log_set_lock(nullptr, nullptr);
    });
}

TEST(LogLock, IsTakenEvenForAnEventThatNobodyReceives)
{
    in_fresh_process([] {
        const console_capture console;
        lock_record record = {&console, {}};
        log_set_lock(note_lock, &record);
        log_set_quiet(true);
        log_fatal("event");
        EXPECT_EQ(record.calls, (texts{"locked, console empty, 0 sinks", "unlocked, console empty, 0 sinks"}));
        log_set_lock(nullptr, nullptr);
    });
}

TEST(LogLock, CanBeCalledByHandAndTakenAway)
{
    in_fresh_process([] {
        const console_capture console;
        lock_record record = {&console, {}};
        lock();
        unlock();
        log_set_lock(note_lock, &record);
        unlock();
        lock();
        EXPECT_EQ(record.calls, (texts{"unlocked, console empty, 0 sinks", "locked, console empty, 0 sinks"}));

        record.calls.clear();
        log_set_lock(nullptr, &record);
        lock();
        unlock();
        log_info("event");
        EXPECT_EQ(record.calls, texts{});
        EXPECT_NE(console.text(), "");
    });
}

// The user data that each of the two sinks was called with.
std::vector<const void *> udata_of_file_sink;
std::vector<const void *> udata_of_syslog_sink;
texts order;

void file_sink(log_Event *ev)
{
    udata_of_file_sink.push_back(ev->udata);
    order.push_back("file");
}

void syslog_sink(log_Event *ev)
{
    udata_of_syslog_sink.push_back(ev->udata);
    order.push_back("syslog");
}

const char *const program = "./vantu-wifi-cli";

TEST(LogInit, AddsTheFileSinkThenTheSyslogSinkWithTheProgramNameAsUserData)
{
    in_fresh_process([] {
        const console_capture console;
        vantu_log_init(program, file_sink, syslog_sink, 0, 0, 0);
        log_trace("event");
        EXPECT_EQ(order, (texts{"file", "syslog"}));
        EXPECT_EQ(udata_of_file_sink, std::vector<const void *>{program});
        EXPECT_EQ(udata_of_syslog_sink, std::vector<const void *>{program});
        EXPECT_NE(console.text(), "");
    });
}

TEST(LogInit, AddsOnlyTheSinksThatItIsGiven)
{
    struct init_case {
        const char *name;
        log_LogFn file;
        log_LogFn syslog;
        texts want;
    };
    const init_case cases[] = {
        {"neither", nullptr, nullptr, {}},
        {"file only", file_sink, nullptr, {"file"}},
        {"syslog only", nullptr, syslog_sink, {"syslog"}},
        {"both", file_sink, syslog_sink, {"file", "syslog"}},
    };
    for (const init_case &row : cases) {
        in_fresh_process([&row] {
            const console_capture console;
            vantu_log_init(program, row.file, row.syslog, 0, 0, 0);
            log_info("event");
            EXPECT_EQ(order, row.want) << row.name;
            // A sink that was not given takes no entry.
            int left = 0;
            while (log_add_callback(note, name_a, 0) == 0)
                left++;
            EXPECT_EQ(left, MAX_CALLBACKS - static_cast<int>(row.want.size())) << row.name;
        });
    }
}

TEST(LogInit, GivesTheConsoleAndEachSinkItsLevel)
{
    in_fresh_process([] {
        vantu_log_init(program, file_sink, syslog_sink, LOG_C_WARN, LOG_C_DEBUG, LOG_C_ERROR);
        std::string console_got;
        std::string file_got;
        std::string syslog_got;
        for (const level_case &row : level_cases) {
            udata_of_file_sink.clear();
            udata_of_syslog_sink.clear();
            const console_capture console;
            (void)row.log();
            const std::string digit = std::to_string(row.level);
            console_got += console.text().empty() ? "" : digit;
            file_got += udata_of_file_sink.empty() ? "" : digit;
            syslog_got += udata_of_syslog_sink.empty() ? "" : digit;
        }
        EXPECT_EQ(console_got, "345");
        EXPECT_EQ(file_got, "12345");
        EXPECT_EQ(syslog_got, "45");
    });
}

TEST(LogInit, SetsTheConsoleLevelEvenWithoutSinks)
{
    in_fresh_process([] {
        const console_capture console;
        vantu_log_init(program, nullptr, nullptr, LOG_C_FATAL, LOG_C_TRACE, LOG_C_TRACE);
        log_error("hidden");
        EXPECT_EQ(console.text(), "");
        log_fatal("shown");
        EXPECT_NE(console.text(), "");
    });
}

TEST(LogInit, CalledTwiceAddsTheSinksTwice)
{
    in_fresh_process([] {
        log_set_quiet(true);
        vantu_log_init(program, file_sink, syslog_sink, 0, 0, 0);
        vantu_log_init(program, file_sink, syslog_sink, 0, 0, 0);
        log_info("event");
        EXPECT_EQ(order, (texts{"file", "syslog", "file", "syslog"}));
    });
}

} // namespace
