// Scores what is wrong with a radio's channel and a station's link from their kept samples, and reports it as JSON. The
// records are in vantu-wifi-common.h.
#ifndef VANTU_LIBS2_ISSUES_H
#define VANTU_LIBS2_ISSUES_H

#include "vantu-libs2/vantu-wifi-common.h"

#ifdef __cplusplus
extern "C" {
#endif

// Whether classifiers log their figures; 0 unless the program's owner sets it.
extern int libs2global_verbose;

// With at least 10 samples in the radio's history, replaces its `issues` by at most one NEIGHBOURS and one HOUSEHOLD
// issue and sets its `issue_stats`; with fewer, both stay. Returns the number of issues found now.
int vantu_issues_calculate_for_radio(vantu_common_radio *radio);

// With at least 10 samples (of vantu_sta_stats) in the station's history, appends at most one COVERAGE and one NOISE
// issue and then copies of its radio's issues to `device_issues`, and returns that list's size; with fewer, logs it
// and returns 0. stats and mac are not used.
int vantu_issues_calculate_for_device(vantu_ringbuffer *sta_stats_buff, sclist_t *radio_issues, sclist_t *device_issues,
                                      vantu_issue_statistics *stats, const char *mac);

// Prints a list of issues on standard output as one line of JSON, {"Issues": [{"Issue": name, "Score": 1.0 to 10.0}]}.
// An issue without a name (CABLE) is an empty object. Returns 0, also when memory is short: nothing is printed then,
// which is logged.
int issues_to_json(sclist_t *issues);

#ifdef __cplusplus
}
#endif

#endif
