// What the tests of the operations share: the assertion macros, the options, and the tests themselves.
#ifndef VANTU_HARNESS_H
#define VANTU_HARNESS_H

#include <stdio.h>
#include <string.h>

#include "vantu-platforms/vantu-platform-ops.h"

// The options of the command line; empty when not given, cut to their size when too long.
extern char option_csvfile[256];
extern char option_platformfile[128];
extern char option_function[128];
extern char option_macaddress[128];
extern char option_radio[128];
extern char option_websocket_ip[17];
extern int verbose_flag;

// Each ends the enclosing test with 1 when it fails, after a line on standard error that shows the expressions
// as they are written in the test.

#define ASSERT(expr)                                                                                          \
    do {                                                                                                      \
        if (!(expr)) {                                                                                        \
            (void)fprintf(stderr, "%s failed!\n", #expr);                                                     \
            return 1;                                                                                         \
        }                                                                                                     \
    } while (0)

// Evaluates A a second time to print it: a call that fails is made twice, on purpose.
#define ASSERT_NUM(A, B)                                                                                      \
    do {                                                                                                      \
        if ((A) != (B)) {                                                                                     \
            (void)fprintf(stderr, "%s: %lld != %lld \n", #A, (long long)(A), (long long)(B));                 \
            return 1;                                                                                         \
        }                                                                                                     \
    } while (0)

#define ASSERT_STR(A, B)                                                                                      \
    do {                                                                                                      \
        if (strcmp(A, B) != 0) {                                                                              \
            (void)fprintf(stderr, "%s: %s != %s\n", #A, A, B);                                                \
            return 1;                                                                                         \
        }                                                                                                     \
    } while (0)

// 0 when the slot is set; otherwise says that the function is not implemented and returns -1. Every test begins
// with it for the slot that it exercises.
int check_function_pointer(const char *funcname, bool is_set);

template <typename Function>
int _check_funcptr(const char *funcname, Function *funcptr)
{
    return check_function_pointer(funcname, funcptr != nullptr);
}

// The tests return 0 when they passed, unless they say otherwise.

// inventory-tests.cpp
int test_get_dhcpleases(vantu_platform_ops *ops);

// flow-tests.cpp
// Returns the number of flows; 1 when the slot is missing.
int test_get_conntrack(vantu_platform_ops *ops);

#endif
