// Round-trip latency towards client devices, from the CSV files of the ping tool /usr/bin/vantu-fpingdq: a row per
// ping, with the ping's columns and then the platform's own data columns.
#ifndef VANTU_LIBS2_VANTU_FPINGDQ_H
#define VANTU_LIBS2_VANTU_FPINGDQ_H

#include <stdint.h>

#include "vantu-platforms/vantu-platform-ops.h"
#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vantu_fpingdq_ping {
    uint64_t time; // as written by the tool
    char ip[20];   // target, the list key
    int snd;       // send sequence number
    float nwrtd;   // round-trip delay; 15000.0 for a ping without an answer
    int plen;      // packet length, bytes
    int ping2;     // flag of the second ping mode
    void *csvdata; // the platform's data row from the same line, from malloc; NULL when there is none
    uint8_t tos;   // type of service
} vantu_fpingdq_ping;

// An empty list of vantu_fpingdq_ping. Sought by `ip`, ignoring case; records are equal when their `ip` texts are
// identical. Returns 0; -1 when memory is short.
int vantu_fpingdq_init_table(sclist_t *list);

// Free each element's csvdata, then destroy or empty the list. Return 0.
int vantu_fpingdq_free_table(sclist_t *list);
int vantu_fpingdq_clear_table(sclist_t *list);

// Adds the seven ping columns ("Time", "IP", "Snd#", "NwRTD", "PLEN", "TOS", "Ping2"), bound to the record, to a CSV
// table. Returns 0.
int vantu_fpingdq_fill_csv_table(sclist_t *table, vantu_fpingdq_ping *record);

// Append the pings of a file to `list`, finding the columns by the names in its header. Return the list's size; 0
// when the file cannot be opened (logged). One that cannot be read is logged, too; of a device 16,384 lines are read.
//
// The first takes the platform's data row of each line as well (csv_string_to_data_struct of the same fields, from
// the first on) and keeps a line whose number of fields is not the header's; the second takes the pings only and skips
// such a line. Both log it.
int vantu_fpingdq_csv_to_data_list(sclist_t *list, const char *path, vantu_platform_ops *ops);
int vantu_fpingdq_only_to_list(sclist_t *list, const char *path);

// Convert one split line: fill the `bound` record through the table and copy it to `out`; a column that the header
// lacks keeps what `bound` held. The first also allocates the platform's data row, which becomes out->csvdata even
// when the platform could not parse it (logged). Return 0.
int vantu_fpingdq_csv_line_to_struct(sclist_t *table, const int *idxs, vantu_fpingdq_ping *bound,
                                     vantu_fpingdq_ping *out, char **fields, vantu_platform_ops *ops);
int vantu_fpingdq_only_line_to_struct(sclist_t *table, const int *idxs, vantu_fpingdq_ping *bound,
                                      vantu_fpingdq_ping *out, char **fields);

// Writes the answered pings (those whose nwrtd is not 15000.0) of a list to a file, which is replaced. Returns 0; -1
// when the file cannot be opened or written (logged).
int vantu_fpingdq_data_to_csvfile(sclist_t *list, const char *path);

#ifdef __cplusplus
}
#endif

#endif
