// Small helpers: a call through the `ubus` tool, a heartbeat file, copying and reading files, texts, protocol
// names.
#ifndef VANTU_LIBS2_UTILS_H
#define VANTU_LIBS2_UTILS_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// Runs "ubus -t 2 -S call OBJECT METHOD 'ARGUMENTS'" (an empty object when `json` is NULL; the command line is
// cut at 511 characters) and reads the first line of the reply, with its line end, of at most maxlen - 1
// characters into `reply`, which is empty when nothing came (logged). Returns 0, whatever the tool answered; 1
// when it cannot be started (logged).
int ubus_cmd_call(const char *object, const char *method, const char *json, char *reply, int maxlen);

// Touches a file, which is created with mode 0444 when it is missing: its modification time becomes now, its
// access time the previous modification time. Returns 0, also when that fails (logged); -1 only when the file
// was opened as descriptor 0.
int heartbeat(const char *path);

// Copies a file to a new one (mode 0666 less the umask). Returns 0; -1 when `to` exists, `from` cannot be read or
// the copy cannot be written (logged, errno tells why, and no part of a copy is left behind). A FIFO that stays without
// text for a second cannot be read.
int vantu_cp(const char *to, const char *from);

// Reads a whole file into a new NUL-terminated buffer, which the caller frees; of one that tells no size, as those of
// /proc, at most 16 MiB. A file that turns out shorter than its size, or longer than that, is logged and what was read
// is returned. NULL when it cannot be opened (logged) or memory is short.
char *vantu_read_file_to_char(const char *path);

// Convert a text in place; digits stay. NULL is accepted.
void vantu_strtoupper(char *text);
void vantu_strtolower(char *text);

// strncpy of `len` characters, of which the last is then set to NUL. Returns `dst`.
char *vantu_strncpy(char *dst, const char *src, size_t len);

// The name of a layer-4 protocol: "tcp" for 6 and, deliberately, "tcp" for 17 (UDP) as well; NULL for others.
const char *vantu_ip_proto_to_str(int proto);

#ifdef __cplusplus
}
#endif

#endif
