// The process-wide logger. Every module logs through the six level macros; an event goes as a coloured line to
// standard error and to each registered sink whose minimum level it reaches.
//
// Single-threaded unless a lock function is set. A sink must not log through log_log itself: it would recurse,
// or deadlock on a lock that is not recursive.
#ifndef VANTU_LL_API_LOG_H
#define VANTU_LL_API_LOG_H

#include <stdarg.h>
#include <stdbool.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

#define LOG_VERSION   "0.1.0"
#define LOG_USE_COLOR 1
// How many sinks there can be.
#define MAX_CALLBACKS 32

enum { LOG_C_TRACE, LOG_C_DEBUG, LOG_C_INFO, LOG_C_WARN, LOG_C_ERROR, LOG_C_FATAL };

// One event, built on the stack of log_log and lent to each sink for the duration of its call; a sink must not
// keep it or anything that it points to.
typedef struct log_Event {
    va_list ap;       // the arguments of the format, started afresh for each sink
    const char *fmt;  // printf format
    const char *file; // source file name without its directories
    struct tm *time;  // local time of the event, one record for all of its sinks
    void *udata;      // what the sink was registered with
    int line;
    int level;
} log_Event;

typedef void (*log_LogFn)(log_Event *ev);
typedef void (*log_LockFn)(bool lock, void *udata);

// The source file's name without its directories.
#define __MY_FILE__ (strrchr("/" __FILE__, '/') + 1)

#define log_trace(...) log_log(LOG_C_TRACE, __MY_FILE__, __LINE__, __VA_ARGS__)
#define log_debug(...) log_log(LOG_C_DEBUG, __MY_FILE__, __LINE__, __VA_ARGS__)
#define log_info(...)  log_log(LOG_C_INFO, __MY_FILE__, __LINE__, __VA_ARGS__)
#define log_warn(...)  log_log(LOG_C_WARN, __MY_FILE__, __LINE__, __VA_ARGS__)
#define log_error(...) log_log(LOG_C_ERROR, __MY_FILE__, __LINE__, __VA_ARGS__)
#define log_fatal(...) log_log(LOG_C_FATAL, __MY_FILE__, __LINE__, __VA_ARGS__)

// Emits one event: to the console (standard error) unless it is quiet or `level` is below its level, then to
// the sinks in the order of their registration. Failing writes are not reported.
void log_log(int level, const char *file, int line, const char *fmt, ...) __attribute__((format(printf, 4, 5)));

// Registers a sink for events of at least `level`; `udata` is handed to it with each event. A sink that is
// registered twice is called twice; sinks are never removed. Returns 0; -1 when all MAX_CALLBACKS are taken.
int log_add_callback(log_LogFn fn, void *udata, int level);

// Registers a sink that writes plain lines with date and time to `fp`, which stays the caller's and must stay
// open. Result as log_add_callback.
int log_add_fp(FILE *fp, int level);

// The console's minimum level (at start: everything), and whether the console is off (sinks still receive).
void log_set_level(int level);
void log_set_quiet(bool enable);

// A function that is called with true before an event is written and with false after its last sink.
void log_set_lock(log_LockFn fn, void *udata);

// "TRACE" to "FATAL". `level` must be one of the LOG_C_ values: it is not checked.
const char *log_level_string(int level);

// The built-in sinks; ev->udata is the FILE that they write to. stdout_callback is the console's coloured line
// "%H:%M:%S LEVEL file:line: message", file_callback the plain one with the date. Both flush.
void stdout_callback(log_Event *ev);
void file_callback(log_Event *ev);

// Call the lock function, if one is set, with true or false.
void lock(void);
void unlock(void);

#ifdef __cplusplus
}
#endif

#endif
