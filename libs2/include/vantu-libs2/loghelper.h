// Log sinks: the system log, a text file that rotates when it has grown, and a dump of the last lines when an error
// occurs. Each takes an event of vantu-ll-api/log.h whose user data is the program's path.
//
// No locking: the logging core must serialise the calls.
#ifndef VANTU_LIBS2_LOGHELPER_H
#define VANTU_LIBS2_LOGHELPER_H

#include <stddef.h>

#include "vantu-ll-api/log.h"

#ifdef __cplusplus
extern "C" {
#endif

#define MAX_LOGFILE_SIZE 65536 // bytes
#define MAX_ROTATIONS    3
#define MAX_LINES_DUMP   256

// Sends the message, at most 127 characters and without level and place, to the system log under the program's base
// name, as DAEMON. TRACE and DEBUG become LOG_DEBUG, INFO LOG_NOTICE, WARN LOG_WARNING, ERROR LOG_ERR, FATAL LOG_CRIT.
void syslog_helper_callback(log_Event *ev);

// Appends "DATE TIME LEVEL file:line: message", at most 255 characters, to PROGRAM.txt in the temporary directory,
// which rotates at MAX_LOGFILE_SIZE and keeps MAX_ROTATIONS old files. Without a temporary directory nothing is
// written, and the next line tries again.
void filelogger_helper_callback(log_Event *ev);

// Keeps the last MAX_LINES_DUMP lines; an ERROR or FATAL event writes them to /tmp/log/dumpfile.txt, oldest first and
// ending with itself, over the previous dump. The directory is not created. A line stands there with its terminating
// NUL; lines that were never logged are empty.
void error_dumper_helper_callback(log_Event *ev);

// Appends a line and a line end to a file. *fd is its descriptor, or -1, which opens (and creates) it; it stays open.
// When the file's size plus the line's length reaches `max_size`, the file is rotated, keeping `rotations` old ones,
// and a new one is begun. A file that was deleted or replaced from outside is opened anew. A link, also in place of the
// folder, and a FIFO are not written to. Failures are reported on standard error.
void filelogger_write_line(int *fd, const char *path, int rotations, size_t max_size, const char *line);

// Renames PATH.n to PATH.n+1 for n from `rotations` down to 1, and PATH to PATH.1. Returns 0.
int _rotate_log(const char *path, int rotations);

// Removes PATH.n. Returns 1 when a file was removed, else 0.
int remove_rotated_file(const char *path, int n);

#ifdef __cplusplus
}
#endif

#endif
