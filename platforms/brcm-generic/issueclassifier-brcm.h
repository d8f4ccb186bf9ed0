// Classifies what is wrong with a client's Wi-Fi from a series of data rows: weak coverage, a channel crowded by
// neighbours, a busy household network, radio noise. Fixed ladders of thresholds; no state between calls.
#ifndef VANTU_PLATFORMS_ISSUECLASSIFIER_BRCM_H
#define VANTU_PLATFORMS_ISSUECLASSIFIER_BRCM_H

#include "vantu-libs2/vantu-wifi-common.h"

#ifdef __cplusplus
extern "C" {
#endif

// How many samples of a list are looked at, from its start.
#define BRCM_CLASSIFIER_SAMPLES 200

// Appends at most one issue each of COVERAGE, NEIGHBOURS, HOUSEHOLD and NOISE, in this order, to `issues`
// (vantu_issuelist_init) from the rows that the pings of `datalist` (vantu_fpingdq_ping) carry; elements without a row
// are passed over. Sets the two means of `stats`. With _verbose non-zero the figures are logged under `mac`. Returns
// the size of `issues`.
int brcm_issueclassifier(sclist_t *datalist, sclist_t *issues, vantu_issue_statistics *stats, const char *mac,
                         int _verbose);

// The same with libs2global_verbose; interface is not used.
int brcm_calc_issues(sclist_t *data, sclist_t *issues, vantu_issue_statistics *stats, const char *interface,
                     const char *mac);

#ifdef __cplusplus
}
#endif

#endif
