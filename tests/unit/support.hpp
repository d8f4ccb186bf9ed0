// What the unit tests share: input streams from text, fixture files, captured log lines, and the runs of a parser
// over every truncation and every corrupted byte of its input.
#pragma once

#include "vantu-ll-api/log.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace support
{

struct closer {
    void operator()(FILE *stream) const { (void)fclose(stream); }
};
using stream = std::unique_ptr<FILE, closer>;

// A stream that yields `text`, which must outlive it.
inline stream stream_of(std::string_view text)
{
    if (text.empty())
        return stream(fopen("/dev/null", "re"));
    return stream(fmemopen(const_cast<char *>(text.data()), text.size(), "re"));
}

// The path of a file under tests/fixtures.
inline std::string fixture_path(const std::string &name)
{
    return std::string(VANTU_FIXTURES) + "/" + name;
}

// The content of a file under tests/fixtures; ends the test program when it is missing.
inline std::string fixture(const std::string &name)
{
    std::ifstream file(fixture_path(name), std::ios::binary);
    if (!file) {
        (void)fprintf(stderr, "missing fixture %s\n", name.c_str());
        abort();
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

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

    std::vector<std::string> lines;

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

// Calls `run` with every beginning of `text`, from the empty one to the whole.
inline void every_truncation(const std::string &text, const std::function<void(std::string_view)> &run)
{
    for (size_t length = 0; length <= text.size(); length++)
        run(std::string_view(text).substr(0, length));
}

// Calls `run` with every text that differs from `text` in one byte.
inline void every_corruption(std::string text, const std::function<void(std::string_view)> &run)
{
    for (char &byte : text) {
        const char good = byte;
        for (int step = 1; step < 256; step++) {
            byte = static_cast<char>(good + step);
            run(text);
        }
        byte = good;
    }
}

} // namespace support
