// Preloaded: makes allocations of a program fail, those in libraries included.
//
//     FAULT_ALLOC=5     the fifth allocation fails
//     FAULT_ALLOC=5+    the fifth and all that follow
//     FAULT_ALLOC=0     none does
//     FAULT_COUNT=FILE  how many there were is written to FILE when the program ends
//
// Only the program itself is meant: what it starts does not inherit this.

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void *__libc_memalign(size_t alignment, size_t size);

static unsigned long chosen;
static unsigned long done;
static int lasting;
static int armed;
static const char *count_file;

__attribute__((constructor)) static void arm(void)
{
    const char *which = getenv("FAULT_ALLOC");
    count_file = getenv("FAULT_COUNT");
    (void)unsetenv("LD_PRELOAD");
    if (which == NULL)
        return;
    char *end;
    chosen = strtoul(which, &end, 10);
    lasting = *end == '+';
    armed = 1;
}

__attribute__((destructor)) static void report(void)
{
    if (count_file == NULL)
        return;
    armed = 0;
    char text[32];
    const int length = snprintf(text, sizeof(text), "%lu\n", done);
    const int fd = open(count_file, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd >= 0 && write(fd, text, (size_t)length) == length)
        (void)close(fd);
}

static int fails(void)
{
    if (!armed)
        return 0;
    done++;
    if (done != chosen && !(lasting && chosen != 0 && done > chosen))
        return 0;
    errno = ENOMEM;
    return 1;
}

void *malloc(size_t size)
{
    return fails() ? NULL : __libc_malloc(size);
}

void *calloc(size_t count, size_t size)
{
    return fails() ? NULL : __libc_calloc(count, size);
}

void *realloc(void *block, size_t size)
{
    return fails() ? NULL : __libc_realloc(block, size);
}

void *aligned_alloc(size_t alignment, size_t size)
{
    return fails() ? NULL : __libc_memalign(alignment, size);
}

// json-c 0.16 does not look whether the copy of a member's name got memory, and crashes. There is nothing to be done
// about it from outside, so that this one allocation always works.
static int copies_for_json(const void *caller)
{
    Dl_info place;
    return dladdr(caller, &place) != 0 && place.dli_fname != NULL && strstr(place.dli_fname, "libjson-c") != NULL;
}

char *strdup(const char *text)
{
    const size_t size = strlen(text) + 1;
    char *copy = copies_for_json(__builtin_return_address(0)) ? __libc_malloc(size) : malloc(size);
    return copy == NULL ? NULL : memcpy(copy, text, size);
}
