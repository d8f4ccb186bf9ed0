// Tools that are scripts, in front of the search path.
#pragma once

#include "support/files.hpp"
#include "support/text.hpp"

#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <string>

namespace support
{

// Puts a directory in front of the search path while it lives, or in place of it.
class search_path
{
public:
    explicit search_path(const std::string &dir, bool only = false)
        : before_(getenv("PATH") != nullptr ? getenv("PATH") : "")
    {
        setenv("PATH", (only ? dir : dir + ":" + before_).c_str(), 1);
    }
    ~search_path() { setenv("PATH", before_.c_str(), 1); }
    search_path(const search_path &) = delete;
    search_path &operator=(const search_path &) = delete;

private:
    std::string before_;
};

// A directory of tools that are found first while it lives.
class tool_dir
{
public:
    tool_dir() : path_(dir_.path()) {}

    void add(const std::string &tool, const std::string &script) const
    {
        write_file(dir_ / tool, "#!/bin/sh\n" + script);
        std::filesystem::permissions(dir_ / tool, std::filesystem::perms(0755));
    }
    std::string operator/(const std::string &name) const { return dir_ / name; }

private:
    temp_dir dir_;
    search_path path_;
};

// A tool that prints `output` and ends with `exit_status`.
class fake_tool
{
public:
    // `note` is the command that prints with what the tool was called.
    explicit fake_tool(const std::string &tool, const std::string &output, int exit_status = 0,
                       const std::string &note = "echo \"$#:$*\"")
    {
        prints(output);
        dir_.add(tool, note + " >> '" + (dir_ / "calls") + "'\ncat '" + (dir_ / "output") + "'\nexit " +
                           std::to_string(exit_status) + "\n");
    }

    void prints(const std::string &output) const { write_file(dir_ / "output", output); }

    // For each call the number of arguments and the arguments, as "2:-i wl0".
    std::string calls() const { return content_of(dir_ / "calls"); }

private:
    tool_dir dir_;
};

// Tools that print what was stored for their command line.
class answering_tools
{
public:
    answering_tools(std::initializer_list<const char *> tools)
    {
        for (const std::string tool : tools)
            dir_.add(tool, "question=\"" + tool + " $*\"\necho \"$question\" >> '" + (dir_ / "calls") + "'\ncat '" +
                               (dir_ / "") + "'\"$question\" 2>&1\n");
    }

    void answers(const std::string &command, const std::string &output) const { write_file(dir_ / command, output); }

    // The command lines since the last time.
    texts calls() const
    {
        const texts out = split_lines(content_of(dir_ / "calls"));
        std::filesystem::remove(dir_ / "calls");
        return out;
    }

    std::string operator/(const std::string &name) const { return dir_ / name; }

private:
    tool_dir dir_;
};

} // namespace support
