// The frame around a tool: build the command line, start it, parse its output, close it, report. Every reader of a
// tool goes through here; what differs from reader to reader is an argument.
#pragma once

#include "vantu-ll-api/log.h"

#include <cstddef>
#include <cstdio>

namespace vantu
{

// Where a log line comes from: the reader that called, not this frame.
struct place {
    const char *file;
    int line;
};

constexpr place here(const char *file = __builtin_FILE(), int line = __builtin_LINE())
{
    return {file, line};
}

// A text that stands between single quotes in a command line.
struct quoted {
    const char *text;
};

// Whether a text may stand in a command line without changing what the shell runs. Routers' real names and
// addresses pass; anything that the shell would interpret does not.
bool may_stand(const char *text);
bool may_stand(quoted text);
inline bool may_stand(int)
{
    return true;
}

// Whether a text may be part of a file's name: one that may stand in a command line and leads to no other folder.
bool may_name_file(const char *text);

// A finished command line. Not safe: a text in it may not stand there, and it must not be run.
struct command {
    const char *text;
    bool safe;
};

// Builds a command line of at most Size - 1 characters; a longer one is cut silently.
template <size_t Size>
class command_line
{
public:
    template <typename... Arguments>
    explicit command_line(const char *pattern, Arguments... arguments) : safe_((... && may_stand(arguments)))
    {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
        (void)snprintf(text_, sizeof(text_), pattern, plain(arguments)...);
#pragma GCC diagnostic pop
    }

    const char *text() const
    {
        return text_;
    }
    operator command() const
    {
        return {text_, safe_};
    }

private:
    static const char *plain(const char *text)
    {
        return text;
    }
    static const char *plain(quoted text)
    {
        return text.text;
    }
    static int plain(int number)
    {
        return number;
    }

    char text_[Size];
    bool safe_;
};

// How a reader differs from the others.
struct reader {
    const char *sample;                     // its stored sample; null: it reads the live tool only
    int without_stream;                     // its result when the tool cannot be started
    void (*report)(const char *) = nullptr; // logs that the command cannot be started, in words of its own
    place where = here();
};

// Starts the tool. Null when the command is not safe, which is logged, or when it cannot be started, after the reader's
// report.
FILE *open_tool(const command &what, const reader &how);

// Closes the tool and gives the reader's result: what the parser found, but 0 when the tool was reaped by someone
// else, since its end then cannot be known.
int close_tool(FILE *stream, const char *command_text, int parsed, place where);

// Runs a command with the shell and gives its wait status, or -1 with errno when it could not be run. One that is not
// safe is logged and counts as such (EINVAL).
int run_command(const command &what, place where = here());

// The whole frame around `parse`, a function of the stream.
template <typename Parse>
int run_tool(const command &what, const reader &how, Parse parse)
{
    FILE *stream = open_tool(what, how);
    if (stream == nullptr)
        return how.without_stream;
    return close_tool(stream, what.text, parse(stream), how.where);
}

} // namespace vantu
