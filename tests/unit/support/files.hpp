// Files: streams of text, directories and files that last as long as a test, and the stored files under tests/fixtures.
#pragma once

#include "support/text.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

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

// What a stream still yields.
inline std::string rest_of(FILE *from)
{
    std::string out;
    char part[256];
    for (size_t got; (got = fread(part, 1, sizeof(part), from)) > 0;)
        out.append(part, got);
    return out;
}

// Empty when the file is not there.
inline std::string content_of(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void write_file(const std::string &path, std::string_view content)
{
    std::ofstream(path, std::ios::binary) << content;
}

// A directory of its own for each test.
class temp_dir
{
public:
    temp_dir()
    {
        if (mkdtemp(path_) == nullptr)
            abort();
    }
    ~temp_dir() { std::filesystem::remove_all(path_); }
    temp_dir(const temp_dir &) = delete;
    temp_dir &operator=(const temp_dir &) = delete;

    std::string operator/(const std::string &name) const { return std::string(path_) + "/" + name; }
    std::string path() const { return path_; }

private:
    char path_[32] = "/tmp/vantu-test-XXXXXX";
};

// A file in memory, since some tests write one a hundred thousand times.
class memory_file
{
public:
    explicit memory_file(std::string_view content = "")
        : fd_(memfd_create("test", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(fd_))
    {
        if (fd_ < 0)
            abort();
        write(content);
    }
    ~memory_file() { (void)close(fd_); }
    memory_file(const memory_file &) = delete;
    memory_file &operator=(const memory_file &) = delete;

    // Replaces the content.
    void write(std::string_view content) const
    {
        if (pwrite(fd_, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size()) ||
            ftruncate(fd_, static_cast<off_t>(content.size())) != 0)
            abort();
    }
    const char *path() const { return path_.c_str(); }

private:
    int fd_;
    std::string path_;
};

// The path of a file under tests/fixtures.
inline std::string fixture_path(const std::string &name)
{
    return std::string(VANTU_FIXTURES) + "/" + name;
}

// The content of a file under tests/fixtures; ends the test program when it is missing.
inline std::string fixture(const std::string &name)
{
    if (!std::filesystem::exists(fixture_path(name))) {
        (void)fprintf(stderr, "missing fixture %s\n", name.c_str());
        abort();
    }
    return content_of(fixture_path(name));
}

// The cases of a folder under tests/fixtures, as "FOLDER/CASE"; complains about a text without one of its other files,
// and the other way round.
inline std::set<std::string> cases_of(const std::string &folder,
                                      std::initializer_list<const char *> kinds = {".txt", ".expected"})
{
    std::set<std::string> cases;
    for (const auto &file : std::filesystem::directory_iterator(fixture_path(folder))) {
        const std::string name = file.path().filename().string();
        cases.insert(folder + "/" + name.substr(0, name.find('.')));
    }
    for (const std::string &name : cases) {
        for (const char *kind : kinds)
            EXPECT_TRUE(std::filesystem::exists(fixture_path(name + kind))) << name << kind << " is missing";
    }
    EXPECT_FALSE(cases.empty()) << "nothing is stored in " << folder;
    return cases;
}

// What came of a case: the text that is stored, and the messages, of which there are none where none are stored.
inline void expect_stored(const std::string &name, const std::string &got, const texts &log)
{
    EXPECT_EQ(got, fixture(name + ".expected")) << name;
    const bool logs = std::filesystem::exists(fixture_path(name + ".log"));
    EXPECT_EQ(lines_of(log), logs ? fixture(name + ".log") : "") << name;
}

} // namespace support
