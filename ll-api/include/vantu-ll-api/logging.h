// How a program starts the logger.
#ifndef VANTU_LL_API_LOGGING_H
#define VANTU_LL_API_LOGGING_H

#include "vantu-ll-api/log.h"

#ifdef __cplusplus
extern "C" {
#endif

// Registers the file sink, then the syslog sink (each only when it is not NULL), with `programname` (kept, not
// copied; it must outlive the process's logging) as user data and the given minimum levels, and sets the
// console's level.
void vantu_log_init(const char *programname, log_LogFn file_logger_callback, log_LogFn syslog_logger_callback,
                    int loglevel_console, int loglevel_file, int loglevel_syslog);

#ifdef __cplusplus
}
#endif

#endif
