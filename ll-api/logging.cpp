// How a program starts the logger: see logging.h.

#include "vantu-ll-api/logging.h"

void vantu_log_init(const char *programname, log_LogFn file_logger_callback, log_LogFn syslog_logger_callback,
                    int loglevel_console, int loglevel_file, int loglevel_syslog)
{
    // Sinks take their user data as an untyped pointer; they only read the name.
    void *udata = const_cast<char *>(programname);
    if (file_logger_callback != nullptr)
        (void)log_add_callback(file_logger_callback, udata, loglevel_file);
    if (syslog_logger_callback != nullptr)
        (void)log_add_callback(syslog_logger_callback, udata, loglevel_syslog);
    log_set_level(loglevel_console);
}
