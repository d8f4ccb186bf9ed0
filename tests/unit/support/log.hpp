// What is logged, and what is printed: collected while a test runs.
#pragma once

#include "vantu-ll-api/log.h"

#include "support/text.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <set>
#include <string>
#include <utility>

namespace support
{

// Collects what is logged while it lives, as "LEVEL message", and keeps the console quiet. One at a time.
class log_capture
{
public:
    log_capture()
    {
        static const bool registered = log_add_callback(receive, nullptr, LOG_C_TRACE) == 0;
        if (!registered)
            abort();
        active() = this;
        log_set_quiet(true);
    }
    ~log_capture()
    {
        active() = nullptr;
        log_set_quiet(false);
    }
    log_capture(const log_capture &) = delete;
    log_capture &operator=(const log_capture &) = delete;

    texts lines;
    std::set<std::pair<std::string, int>> places; // source files and lines that they come from

    std::set<std::string> files() const
    {
        std::set<std::string> out;
        for (const auto &place : places)
            out.insert(place.first);
        return out;
    }

private:
    static log_capture *&active()
    {
        static log_capture *current = nullptr;
        return current;
    }

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    static void receive(log_Event *ev)
    {
        if (active() == nullptr)
            return;
        char message[2048];
        (void)vsnprintf(message, sizeof(message), ev->fmt, ev->ap);
        active()->lines.push_back(std::string(log_level_string(ev->level)) + " " + message);
        active()->places.insert({ev->file, ev->line});
    }
#pragma GCC diagnostic pop
};

// Keeps the console quiet without collecting, for runs that log millions of lines.
class quiet_log
{
public:
    quiet_log() { log_set_quiet(true); }
    ~quiet_log() { log_set_quiet(false); }
    quiet_log(const quiet_log &) = delete;
    quiet_log &operator=(const quiet_log &) = delete;
};

// What `run` writes on standard output.
inline std::string standard_output_of(const std::function<void()> &run)
{
    testing::internal::CaptureStdout();
    run();
    (void)fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

// What `run` writes on standard error.
inline std::string standard_error_of(const std::function<void()> &run)
{
    testing::internal::CaptureStderr();
    run();
    return testing::internal::GetCapturedStderr();
}

// What a call left behind.
struct call_outcome {
    int result;
    std::string output; // on standard output
    std::string errors; // on standard error
    texts log;
};

inline call_outcome outcome_of(const std::function<int()> &call)
{
    call_outcome got = {};
    const log_capture log;
    got.errors = standard_error_of([&] { got.output = standard_output_of([&] { got.result = call(); }); });
    got.log = log.lines;
    return got;
}

} // namespace support
