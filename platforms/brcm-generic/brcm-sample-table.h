// The data row of the Broadcom platform: the raw radio and station counters of one client at one moment, filled from
// the driver's reports, rendered as one line of CSV and parsed back.
//
// brcm_csvtable_init must run before the header and CSV functions; the platform's system_setup calls it. Every
// conversion goes through one process-wide row: not to be called concurrently.
#ifndef VANTU_PLATFORMS_BRCM_SAMPLE_TABLE_H
#define VANTU_PLATFORMS_BRCM_SAMPLE_TABLE_H

#include <sys/time.h>

#include "vantu-libs2/vantu-ifstats.h"
#include "vantu-ll-api/vantu_ll_wlctl.h"
#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

// How many columns the CSV line has.
#define BRCM_CSV_COLUMNS 69
// How many radios have their channel statistics cached.
#define BRCM_CACHED_RADIOS 3

typedef struct vantu_brcm_csv_data {
    char mac[20];   // of the client; brcm_fill_data_struct leaves this and `radio` to whoever stores the row
    char radio[64]; // interface
    vantu_ll_wlctl_chanim_info chanim;       // of the radio
    vantu_ll_wlctl_sta_info sta_info;        // of the client
    vantu_ll_wlctl_wme_counters wme_conters; // of the radio
    vantu_byte_stats_t wan;                  // counters of the bridge "br-lan", which stand for the WAN traffic
} vantu_brcm_csv_data;

// The channel statistics of one radio, for a second.
typedef struct brcm_cached_chanim {
    struct timeval last_time; // of the last successful reading; zero: never
    char param[10];           // the radio; empty: the slot is free
    vantu_ll_wlctl_chanim_info chanim;
} brcm_cached_chanim;

// Build and free the CSV table.
void brcm_csvtable_init(void);
void brcm_csvtable_destroy(void);

// Adds the 69 columns, bound to `row`, to a CSV table.
void brcm_build_csv_table(sclist_t *table, vantu_brcm_csv_data *row);

// An empty list of vantu_brcm_csv_data. Sought by `mac`, ignoring case; records are equal when their `mac` texts are
// identical. Returns 0; -1 when memory is short.
int vantu_init_brcm_data_list(sclist_t *list);

// The header line of the CSV columns, without a line end, into `out` (4096 characters). Returns 0.
int brcm_get_csvdata_headers(char *out);

// Renders the row `data` as a CSV line into `out` (4096 characters). interface and mac are not used. Returns 0.
int brcm_data_struct_to_csv_string(const char *interface, const char *mac, char *out, void *data);

// Parses the fields of a line, in column order, into the row `data`. What is in no column comes from the row that was
// converted last. Returns 0.
int brcm_csv_string_to_data_struct(char **line, void *data);

// Fills the row for a client on a radio. Returns 0; -1 without a row; and, with what came before filled, -2 when the
// channel statistics failed, -3 the station report, -4 the counters, -5 the bridge's counters. The caller zeroes the
// row.
int brcm_fill_data_struct(const char *interface, const char *mac, void *row);

// Turns station report and counters of the older row into their differences to the newer. Channel statistics and the
// bridge's counters stay. Returns 0.
int brcm_calculate_delta(void *older, void *newer);

// Inserts one vantu_fpingdq_stats per ping of `platform_data` (vantu_fpingdq_ping) that has a data row into
// `standardized_data`, from position 0 on, in front of what it holds. interface and mac are not used. Returns 0.
int brcm_convert_to_standard_format(sclist_t *platform_data, sclist_t *standardized_data, const char *interface,
                                    const char *mac);

// The channel statistics of a radio, at most a second old. Returns 0, the reader's result when they could not be
// read (`out` is then what the reader left), or -22 when BRCM_CACHED_RADIOS other radios were asked for before or the
// name has more than nine characters.
int brcm_get_chanims_cached(const char *interface, vantu_ll_wlctl_chanim_info *out);

// The cache slot of a radio, taken if need be; NULL when there is none for it.
brcm_cached_chanim *brcm_cached_get_chanim_array_item(const char *interface);

#ifdef __cplusplus
}
#endif

#endif
