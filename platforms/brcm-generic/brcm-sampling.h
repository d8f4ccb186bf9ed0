// Samples of a radio or of one station on a platform with Broadcom radios, and the debug files for troubleshooting.
//
// With `troubleshoot` non-zero a line of the data row's CSV columns is appended to
// vantu-kivwifi-radio-RADIO-debug.csv ("wl0" and "wl1" only) or vantu-kivwifi-sta-MAC-debug.csv in the temporary
// directory; each file is rotated at 33000 bytes and keeps one old file. A line holds the previous sample of whichever
// radio (or station) was sampled last, with its counters turned into the differences to this one. Process-wide rows:
// calls must not overlap.
#ifndef VANTU_PLATFORMS_BRCM_SAMPLING_H
#define VANTU_PLATFORMS_BRCM_SAMPLING_H

#include "vantu-libs2/vantu-wifi-common.h"

#ifdef __cplusplus
extern "C" {
#endif

// Fills all but the two times from "wlctl chanim_stats" (at most a second old), "wlctl wme_counters" and the
// interface's counters; a source that fails is logged and its fields stay. Returns 0, or the reader's result when the
// counters of the categories could not be read.
int brcm_sample_radio_stats(const char *interface, vantu_radio_stats *stats, int troubleshoot);

// Fills all but the two times from "wlctl sta_info". Returns 0; -1, with `stats` untouched, when it could not be read.
int brcm_sample_sta_stats(const char *interface, const char *mac, vantu_sta_stats *stats, int troubleshoot);

#ifdef __cplusplus
}
#endif

#endif
