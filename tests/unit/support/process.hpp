// Processes: cases that run in a child, the children and descriptors that are left, and what stands behind a function
// of the C library's that a test replaces.
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <functional>
#include <iterator>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support
{

// The exit status of a child process that ends with the result of `run`, or minus the signal that killed it.
inline int in_child(const std::function<int()> &run)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(run());
    int status = 0;
    (void)waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// The wait status of a child process that runs a case: 0 when all expectations in it held. It ends with exit, not
// _exit, so that the leak check runs there too.
inline int wait_status_of(const std::function<void()> &run)
{
    (void)fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        run();
        (void)fflush(nullptr);
        exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    EXPECT_GT(child, 0);
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
}

// Runs a case in a child process and fails when an expectation in it failed or it did not end by itself.
inline void in_fresh_process(const std::function<void()> &run)
{
    const int status = wait_status_of(run);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "wait status " << status;
}

inline bool no_child_is_left()
{
    return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

inline size_t open_descriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

// From here on this process opens nothing: every descriptor number is beyond the limit.
inline void forbid_new_descriptors()
{
    const rlimit none = {0, 0};
    (void)setrlimit(RLIMIT_NOFILE, &none);
}

// From here on a file of this process that would grow beyond `size` is not written to.
inline void limit_file_size(rlim_t size)
{
    const rlimit small = {size, size};
    (void)setrlimit(RLIMIT_FSIZE, &small);
}

// The function of the C library's that a program's own of the same name stands before: real<int(FILE *)>("pclose").
template <typename Function>
Function *real(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// What a test's own pclose fails with; 0: it does not.
inline int pclose_error = 0;

// What it answers when the real one has answered `status`.
inline int pclose_answer(int status)
{
    if (pclose_error == 0)
        return status;
    errno = pclose_error;
    return -1;
}

} // namespace support
