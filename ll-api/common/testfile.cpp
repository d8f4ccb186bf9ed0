// Where every reader gets its text: see testfile.h.

#include "vantu-ll-api/testfile.h"

#include "stream.hpp"

// "e": a tool that is started while a stream is open does not inherit it.

#ifdef VANTU_SAMPLE_FILES

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <linux/limits.h>

namespace
{

constexpr char directory_variable[] = "VANTU_SAMPLE_FILES";

// The directory of the samples; null when the live sources are to be read.
const char *sample_directory()
{
    const char *directory = getenv(directory_variable);
    return directory == nullptr || directory[0] == '\0' ? nullptr : directory;
}

// Whether a name leads to a file below the directory, and means nothing to a shell.
bool is_sample_name(const char *name)
{
    constexpr char plain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-/";
    return name != nullptr && name[0] != '\0' && name[0] != '/' && strstr(name, "..") == nullptr &&
           name[strspn(name, plain)] == '\0';
}

FILE *refuse(int reason)
{
    errno = reason;
    return nullptr;
}

} // namespace

FILE *_ll_popen_cmd_or_testfile(const char *cmd, const char *testfile)
{
    if (sample_directory() == nullptr)
        return popen(cmd, "re");
    if (!is_sample_name(testfile))
        return refuse(EINVAL);
    // The stream is closed with pclose, hence a command. The shell takes the directory from the environment as it
    // stands there, so nothing in it is interpreted.
    char command[PATH_MAX];
    const int length = snprintf(command, sizeof(command), "exec cat -- \"$%s/%s\"", directory_variable, testfile);
    return length < static_cast<int>(sizeof(command)) ? popen(command, "re") : refuse(ENAMETOOLONG);
}

FILE *_ll_fopen_text_or_testfile(const char *file, const char *testfile)
{
    const char *directory = sample_directory();
    if (directory == nullptr)
        return vantu::open_file(file, "re");
    if (!is_sample_name(testfile))
        return refuse(EINVAL);
    char path[PATH_MAX];
    const int length = snprintf(path, sizeof(path), "%s/%s", directory, testfile);
    return length < static_cast<int>(sizeof(path)) ? vantu::open_file(path, "re") : refuse(ENAMETOOLONG);
}

#else

FILE *_ll_popen_cmd_or_testfile(const char *cmd, const char *testfile)
{
    (void)testfile;
    return popen(cmd, "re");
}

FILE *_ll_fopen_text_or_testfile(const char *file, const char *testfile)
{
    (void)testfile;
    return vantu::open_file(file, "re");
}

#endif
