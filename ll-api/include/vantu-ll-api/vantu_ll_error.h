// The return codes that the low-level layer shares, and its line-parsing macros.
#ifndef VANTU_LL_API_VANTU_LL_ERROR_H
#define VANTU_LL_API_VANTU_LL_ERROR_H

#include <stdio.h>
#include <string.h>

#include "vantu-ll-api/log.h"

// Some readers also return 1 when a tool's output cannot be opened and 3 for an empty radio name: callers test
// for non-zero.
typedef enum vantu_ll_error {
    VANTU_LLAPI_RETURN_OK_NOT_EQUAL = 2,      // success; the compared values differ
    VANTU_LLAPI_RETURN_OK_EQUAL = 1,          // success; the compared values are equal
    VANTU_LLAPI_RETURN_OK = 0,                // success
    VANTU_LLAPI_RETURN_ERR_GENERAL = -1,      // no input, unreadable or unparsable text
    VANTU_LLAPI_RETURN_ERR_INVALIDPARAM = -2, // a bad argument
    VANTU_LLAPI_RETURN_ERR_LIST_FULL = -3     // a fixed-size result array is full
} vantu_ll_error;

// Each macro below reads lines of `fp`, of at most 1033 characters, into a buffer of its own, and makes the
// enclosing function return VANTU_LLAPI_RETURN_ERR_GENERAL when the input ends. A pattern must not write more
// into its target than that holds: give "%s" a width.
#define LL_LINE_SIZE 1035

#define LL_READ_LINE_(fp, line)                        \
    do {                                               \
        if (fgets(line, LL_LINE_SIZE - 1, fp) == NULL) \
            return VANTU_LLAPI_RETURN_ERR_GENERAL;     \
    } while (0)

// Reads and drops one line.
#define LL_SKIPLINE(fp)              \
    do {                             \
        char ll_line_[LL_LINE_SIZE]; \
        LL_READ_LINE_(fp, ll_line_); \
    } while (0)

#define LL_PARSE_LINE_(fp, pattern, target, message)  \
    do {                                              \
        char ll_line_[LL_LINE_SIZE];                  \
        LL_READ_LINE_(fp, ll_line_);                  \
        if (sscanf(ll_line_, pattern, target) != 1) { \
            log_error(message, pattern, ll_line_);    \
            return VANTU_LLAPI_RETURN_ERR_GENERAL;    \
        }                                             \
    } while (0)

// Reads one line and scans it into &variable; a line that does not convert exactly one item is logged and ends
// the enclosing function with VANTU_LLAPI_RETURN_ERR_GENERAL.
#define LL_PARSE(fp, pattern, variable) LL_PARSE_LINE_(fp, pattern, &(variable), "failed to match [%s] in [%s]")

// The same into a character buffer.
#define LL_PARSE_STR(fp, pattern, buffer) LL_PARSE_LINE_(fp, pattern, buffer, "failed to match str [%s] in [%s]")

// Reads lines up to and including the first that begins with `prefix`.
#define LL_SKIP_UNTIL(fp, prefix)                                 \
    do {                                                          \
        char ll_line_[LL_LINE_SIZE];                              \
        do {                                                      \
            LL_READ_LINE_(fp, ll_line_);                          \
        } while (strncmp(ll_line_, prefix, strlen(prefix)) != 0); \
    } while (0)

// Reads lines up to and including the first that scans exactly one item into &variable.
#define LL_SKIP_UNTIL_AND_PARSE(fp, pattern, variable)         \
    do {                                                       \
        char ll_line_[LL_LINE_SIZE];                           \
        do {                                                   \
            LL_READ_LINE_(fp, ll_line_);                       \
        } while (sscanf(ll_line_, pattern, &(variable)) != 1); \
    } while (0)

#endif
