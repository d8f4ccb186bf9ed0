// In a build that counts coverage: a child process that ends with _exit leaves its counters all the same, unless a test
// has taken it the means to write them.

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

void __gcov_dump(void);
void __real__exit(int status) __attribute__((noreturn));
void __wrap__exit(int status) __attribute__((noreturn));

static int may_write(void)
{
    struct rlimit size;
    const int fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    return fd >= 0 && close(fd) == 0 && getrlimit(RLIMIT_FSIZE, &size) == 0 && size.rlim_cur == RLIM_INFINITY;
}

void __wrap__exit(int status)
{
    if (may_write())
        __gcov_dump();
    __real__exit(status);
}
