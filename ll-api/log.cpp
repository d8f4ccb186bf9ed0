// The process-wide logger: see log.h. A console line looks like this, with colours:
//
//     14:03:52 ERROR vantu_ll_wrt.cpp:57: Error parsing dhcp 1767225600 02:00

#include "vantu-ll-api/log.h"

#include "printable.hpp"

#include <cerrno>
#include <iterator>

namespace
{

struct level_look {
    const char *name;
    const char *colour;
};

constexpr level_look levels[] = {
    {"TRACE", "\033[94m"}, {"DEBUG", "\033[36m"}, {"INFO", "\033[32m"},
    {"WARN", "\033[33m"},  {"ERROR", "\033[31m"}, {"FATAL", "\033[35m"},
};
static_assert(std::size(levels) == LOG_C_FATAL + 1);

struct Callback {
    log_LogFn fn;
    void *udata;
    int level;
};

// Zero at start: the console shows everything and there is no lock. Used callbacks are contiguous from the
// first, since none is ever removed.
struct {
    void *udata;
    log_LockFn lock;
    int level;
    bool quiet;
    Callback callbacks[MAX_CALLBACKS];
} state;

// The time is taken once per event, by the first sink that runs.
void init_event(log_Event *ev, void *udata)
{
    if (ev->time == nullptr) {
        const time_t now = time(nullptr);
        ev->time = localtime(&now);
    }
    ev->udata = udata;
}

// Formats are literals where they come from.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
template <size_t N>
void format_time(char (&out)[N], const char *pattern, const log_Event *ev)
{
    out[0] = '\0';
    if (ev->time != nullptr)
        out[strftime(out, N, pattern, ev->time)] = '\0';
}
#pragma GCC diagnostic pop

void write_message(FILE *stream, log_Event *ev)
{
    const auto write = [](void *to, std::string_view text) {
        (void)fwrite(text.data(), 1, text.size(), static_cast<FILE *>(to));
    };
    vantu::format_printable({stream, write}, ev->fmt, ev->ap);
    (void)fprintf(stream, "\n");
    (void)fflush(stream);
}

} // namespace

void stdout_callback(log_Event *ev)
{
    auto *stream = static_cast<FILE *>(ev->udata);
    char when[16];
    format_time(when, "%H:%M:%S", ev);
    (void)fprintf(stream, "%s %s%-5s\033[0m \033[90m%s:%d:\033[0m ", when, levels[ev->level].colour,
                  levels[ev->level].name, ev->file, ev->line);
    write_message(stream, ev);
}

void file_callback(log_Event *ev)
{
    auto *stream = static_cast<FILE *>(ev->udata);
    char when[64];
    format_time(when, "%Y-%m-%d %H:%M:%S", ev);
    (void)fprintf(stream, "%s %-5s %s:%d: ", when, levels[ev->level].name, ev->file, ev->line);
    write_message(stream, ev);
}

void lock(void)
{
    if (state.lock != nullptr)
        state.lock(true, state.udata);
}

void unlock(void)
{
    if (state.lock != nullptr)
        state.lock(false, state.udata);
}

const char *log_level_string(int level)
{
    return levels[level].name;
}

void log_set_lock(log_LockFn fn, void *udata)
{
    state.lock = fn;
    state.udata = udata;
}

void log_set_level(int level)
{
    state.level = level;
}

void log_set_quiet(bool enable)
{
    state.quiet = enable;
}

int log_add_callback(log_LogFn fn, void *udata, int level)
{
    for (Callback &entry : state.callbacks) {
        if (entry.fn == nullptr) {
            entry = {fn, udata, level};
            return 0;
        }
    }
    return -1;
}

int log_add_fp(FILE *fp, int level)
{
    return log_add_callback(file_callback, fp, level);
}

void log_log(int level, const char *file, int line, const char *fmt, ...)
{
    // A caller that logs a failure may still want its errno afterwards.
    const int saved_errno = errno;
    log_Event ev = {};
    ev.fmt = fmt;
    ev.file = file;
    ev.line = line;
    ev.level = level;

    lock();
    if (!state.quiet && level >= state.level) {
        init_event(&ev, stderr);
        va_start(ev.ap, fmt);
        stdout_callback(&ev);
        va_end(ev.ap);
    }
    for (const Callback &entry : state.callbacks) {
        if (entry.fn == nullptr)
            break;
        if (level < entry.level)
            continue;
        init_event(&ev, entry.udata);
        va_start(ev.ap, fmt);
        entry.fn(&ev);
        va_end(ev.ap);
    }
    unlock();
    errno = saved_errno;
}
