// The stations that are associated with a radio, from the text of the `iwinfo` tool or from the ubus object "iwinfo".
#ifndef VANTU_LL_API_VANTU_LL_IWINFO_H
#define VANTU_LL_API_VANTU_LL_IWINFO_H

#include <stdint.h>
#include <stdio.h>

#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

// One station. Longer texts are cut; every text is terminated. "Receive" is from the station, "transmit" to it.
typedef struct iwinfo_assoclist_device {
    char mac[32];
    char interface[32];        // the radio that was asked
    int signal;                // dBm; 0 when not known
    int noise;                 // dBm; 0 when not known
    uint64_t inactive;         // since the last frame, ms
    char modulation[8];        // only from ubus
    char channel_width[8];     // only from ubus
    uint64_t sta_connect_time; // only from ubus
    uint64_t rx_rate;          // kbit/s
    uint64_t rx_bytes;         // only from ubus
    uint64_t rx_packages;
    uint64_t tx_rate;  // kbit/s
    uint64_t tx_bytes; // only from ubus
    uint64_t tx_packages;
} iwinfo_assoclist_device;

// An empty list of iwinfo_assoclist_device. Sought by a text that equals `mac`, ignoring case; records are equal when
// their `mac` texts are identical. Returns 0; -1 when memory is short.
int vantu_ll_iwinfo_assoclist_sclist_init(sclist_t *list);

// Empties `list` and fills it with the stations of a radio: from "iwinfo 'RADIO' assoclist", and from "ubus call iwinfo
// assoclist" for that device. Return 0 when the tool could be run, whatever it printed; 1 when it could not be
// started, 3 for an empty name; then the list is left as it was, and an error is logged.
int vantu_ll_iwinfo_assoclist_direct(const char *radio, sclist_t *list);
int vantu_ll_iwinfo_assoclist(const char *radio, sclist_t *list);

// The parser of the tool's text. A station is five lines; one that is cut short is left out. A figure whose word is
// missing is that of the station before. In a rate line with details of the modulation the packets are not at their
// place, and 0 is taken. Always returns 0.
int internal_iwinfo_assoclist_direct(FILE *stream, const char *radio, sclist_t *list);

// The parser of the reply on ubus, an object with the array "results". Anything else is logged. Always returns 0.
int internal_iwinfo_assoclist(FILE *stream, const char *radio, sclist_t *list);

#ifdef __cplusplus
}
#endif

#endif
