// What the Broadcom driver knows, from the text reports of its `wlctl` tool.
//
// Every reader runs the tool once and returns 0 when it parsed the report. A radio name or MAC that would change what
// the shell runs is refused as if the tool could not be started. Radios are interface names ("wl0"). Tools
// whose end cannot be observed (pclose failing with ECHILD) count as successful, whatever the parser found.
#ifndef VANTU_LL_API_VANTU_LL_WLCTL_H
#define VANTU_LL_API_VANTU_LL_WLCTL_H

#include <stdint.h>
#include <stdio.h>

#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

// The tool's name or path at the start.
#define WLCTL_PATH "wlctl"

// How many stations the airtime report has room for.
#define VANTU_LL_MAX_BSDATA_STATIONS 30

// ---- Stations and channel of a radio ----

// One associated station; list element.
typedef struct vantu_ll_wlctl_devicemac {
    char radio[14];
    char mac[18]; // as the tool prints it; empty for a line that was not understood
} vantu_ll_wlctl_devicemac;

// Channel use of a radio. The shares are percent of the time.
typedef struct vantu_ll_wlctl_chanim_info {
    uint32_t chanspec; // channel specification word; 0 for reports of version 4 and later, deliberately
    int tx;            // transmitting
    int inbss;         // receiving frames of the own network
    int obss;          // receiving frames of other networks
    int nocat;         // busy, not categorised
    int nopkt;         // busy without a packet
    int doze;          // radio dozing
    int txop;          // free to transmit
    int goodtx;        // good transmissions
    int badtx;         // bad transmissions
    uint32_t glitch;   // counts
    uint32_t badplcp;
    int knoise; // noise, dBm
    int idle;
    int busy;            // only in reports of version 4 and later, else 0
    uint32_t timestamp;  // the driver's clock
    uint32_t epochstamp; // seconds since the epoch; not set here, the data row's cache does
} vantu_ll_wlctl_chanim_info;

// ---- One station ----

// The station report. What a driver does not print stays 0 or empty.
typedef struct vantu_ll_wlctl_sta_info {
    uint32_t version;  // of the report
    char rateset[128]; // rates in Mbit/s, separated by blanks
    uint32_t rx_rate;  // of the last packet received, kbit/s
    uint64_t tx_bytes; // all bytes sent to the station
    uint64_t rx_bytes; // data bytes received from it
    uint32_t tx_pkts;
    uint32_t rx_pkts;
    uint32_t tx_failures;
    uint32_t tx_retries;
    uint32_t rx_retries;
    uint32_t flags; // words of the driver
    uint32_t htcaps;
    uint32_t vhtcaps;
    uint32_t idle;       // seconds since the station was active
    uint32_t in_network; // seconds since it associated
    char state[70];
    uint32_t tx_ucast_pkts;
    uint64_t tx_ucast_bytes; // this and the next three byte counts hold only the low 32 bits of what is printed
    uint32_t tx_mcast_pkts;
    uint64_t tx_mcast_bytes;
    uint32_t rx_ucast_pkts;
    uint64_t rx_ucast_bytes;
    uint32_t rx_mcast_pkts;
    uint64_t rx_mcast_bytes;
    uint32_t rate_of_last_tx_pkt[2]; // kbit/s, the two that the driver prints
    uint32_t rx_decrypt_succeeds;
    uint32_t rx_decrypt_failures;
    uint32_t tx_data_pkts_retried;
    int32_t antenna_rssi_last_rx_frame[4]; // dBm, 0 for an antenna that is not there
    int32_t antenna_rssi_avg[4];
    int32_t antenna_noise_floor[4];
    uint32_t tx_pkts_retry_exhausted;
    uint32_t tx_fw_total_pkts_sent;
    uint32_t tx_fw_pkts_retries;
    uint32_t tx_fw_pkts_retry_exhausted;
} vantu_ll_wlctl_sta_info;

// ---- Counters of a radio by access category ----

typedef struct vantu_ll_wlctl_wme_counters_data {
    uint64_t txframes;
    uint64_t txbytes;
    uint64_t txfailedframes;
    uint64_t txfailedbytes;
    uint64_t rxframes;
    uint64_t rxbytes;
    uint64_t rxfailedframes;
    uint64_t rxfailedbytes;
    uint64_t forward_frames;
    uint64_t forward_bytes;
    uint64_t tx_frames_time_expired;
} vantu_ll_wlctl_wme_counters_data;

typedef struct vantu_ll_wlctl_wme_counters {
    vantu_ll_wlctl_wme_counters_data AC_BE; // best effort
    vantu_ll_wlctl_wme_counters_data AC_BK; // background
    vantu_ll_wlctl_wme_counters_data AC_VI; // video
    vantu_ll_wlctl_wme_counters_data AC_VO; // voice
} vantu_ll_wlctl_wme_counters;

// ---- Further reports ----

// A station's share of the air.
typedef struct vantu_ll_wlctl_bsdata {
    char mac[18];
    float phy_mbps; // Mbit/s
    float data_mbps;
    float airuse_pct; // percent
    float datause_pct;
    float retries_pct;
} vantu_ll_wlctl_bsdata;

typedef struct vantu_ll_wlctl_bsdata_list {
    vantu_ll_wlctl_bsdata stations[VANTU_LL_MAX_BSDATA_STATIONS];
    int n_stations; // used
} vantu_ll_wlctl_bsdata_list;

// Aggregation, of sent or received frames.
typedef struct vantu_ll_wlctl_ampdu_aggr {
    char ampdu_txaggr_override[10]; // the override word, of either direction
    int tid[8];                     // status of each traffic identifier
} vantu_ll_wlctl_ampdu_aggr;

// Medium access parameters of one category, as the driver prints them: raw, decoded, in effect.
typedef struct vantu_ll_wlctl_wme_ac_data {
    uint64_t dec_aci;
    uint64_t dec_acm;
    uint64_t dec_aifsn;
    uint64_t dec_ecwmin;
    uint64_t dec_ecwmax;
    uint64_t dec_txop;
    uint64_t eff_cwmin;
    uint64_t eff_cwmax;
    uint64_t eff_txop_us; // microseconds
    uint8_t raw_aci;
    uint8_t raw_ecw;
    uint8_t raw_txop;
    uint8_t _padding;
} vantu_ll_wlctl_wme_ac_data;

typedef struct vantu_ll_wlctl_wme_ac {
    vantu_ll_wlctl_wme_ac_data AC_BE;
    vantu_ll_wlctl_wme_ac_data AC_BK;
    vantu_ll_wlctl_wme_ac_data AC_VI;
    vantu_ll_wlctl_wme_ac_data AC_VO;
} vantu_ll_wlctl_wme_ac;

// Whether the oldest packets of a category are discarded first.
typedef struct vantu_ll_wlctl_wme_dp {
    uint64_t be;
    uint64_t bk;
    uint64_t vi;
    uint64_t vo;
} vantu_ll_wlctl_wme_dp;

// ---- The tool ----

// Looks for the tool at its current path, then at "/bin/wlctl", which becomes its path when it is there; logs
// what it found. Not required: without it the shell's search path decides.
void vantu_ll_wlctl_init(void);

// ---- Readers of stations and channel. 3 for an empty radio name, 1 when the tool cannot be started, -1 when a
// line was not understood (all logged). ----

// An empty list of vantu_ll_wlctl_devicemac. Sought by MAC ignoring case; records are equal when their `mac` texts
// are identical, which is deliberately stricter.
void vantu_ll_wlctl_assoclist_sclist_init(sclist_t *list);

// Empties `list` (made by the initialiser above) and appends one record per associated station ("wlctl -i RADIO
// assoclist"). A line that is not understood adds a record with an empty `mac`, and the others are still read.
int vantu_ll_wlctl_assoclist(const char *radio, sclist_t *list);
int internal_wlctl_assoclist(FILE *fp, const char *radio, sclist_t *list);

// Fills `out`, zeroed first, from "wlctl -i RADIO chanim_stats". After a failure the figures up to the one that
// was not understood are there.
int vantu_ll_wlctl_get_chanim_stats(const char *radio, vantu_ll_wlctl_chanim_info *out);
int internal_wlctl_get_chanim_stats(FILE *fp, vantu_ll_wlctl_chanim_info *out);

// ---- Reader of one station ----

// Fills `wifi_out` from "wlctl -i INTERFACE sta_info MAC". Returns -1, with the output untouched, when the tool
// cannot be started or does not know the station.
int vantu_ll_wlctl_get_sta_info(const char *interface, const char *mac_address, vantu_ll_wlctl_sta_info *wifi_out);
int internal_wlctl_get_sta_info_file(FILE *sf, vantu_ll_wlctl_sta_info *wifi_out);

// ---- Differences of counters ----

// newer - older (b - a) when the counter grew, else 0: a counter that was reset gives 0, never a huge value.
uint64_t get_delta64(uint64_t a, uint64_t b);

// b - a modulo 2^32, which is right across a wrap.
int32_t get_delta32(uint32_t a, uint32_t b);

// Turn the older record into the differences to the newer one. What is no counter, and tx_frames_time_expired,
// keeps the older value. Return 0.
int vantu_ll_wlctl_sta_info_get_delta(vantu_ll_wlctl_sta_info *wifi_old, const vantu_ll_wlctl_sta_info *wifi_new);
int vantu_ll_wlctl_wme_counters_data_get_delta(vantu_ll_wlctl_wme_counters_data *wifi_old,
                                               const vantu_ll_wlctl_wme_counters_data *wifi_new);
int vantu_ll_wlctl_wme_counters_get_delta(vantu_ll_wlctl_wme_counters *wifi_old,
                                          const vantu_ll_wlctl_wme_counters *wifi_new);

// ---- Readers of further reports. -1 when the report was not understood; the result when the tool cannot be
// started (logged) is said with each. An empty radio name is passed on to the tool. ----

// Counters by category ("wme_counters"); 1 without the tool, with the record untouched. It is zeroed otherwise; after a
// failure the categories before the failing one (in the order BE, BK, VI, VO) are filled.
int vantu_ll_wlctl_get_wme_counters(const char *radio, vantu_ll_wlctl_wme_counters *wme);
int _get_wme_counters_data(FILE *fp, vantu_ll_wlctl_wme_counters_data *out);

// Airtime of the stations ("bs_data"); -1 without the tool, with the list untouched (it is emptied otherwise); -3 when
// there are more than VANTU_LL_MAX_BSDATA_STATIONS, of which the first are kept. The parser gives -2 without a stream
// or a list.
int vantu_ll_wlctl_get_bsdata(const char *radio, vantu_ll_wlctl_bsdata_list *list);
int internal_wlctl_get_bsdata(FILE *fp, vantu_ll_wlctl_bsdata_list *list);

// Aggregation, of the tool's default interface: whether it is on (1 without the tool), and for one traffic
// identifier (-1). The value is -1 after a failure.
int vantu_ll_wlctl_get_wifi_ampdu(int *value);
int vantu_ll_wlctl_get_wifi_ampdu_for_tid(int tid, int *value);

// Aggregation by traffic identifier, sending and receiving; -1 without the tool. The record is zeroed first.
int vantu_ll_wlctl_get_wifi_ampdu_txaggr(vantu_ll_wlctl_ampdu_aggr *aggr);
int vantu_ll_wlctl_get_wifi_ampdu_rxaggr(vantu_ll_wlctl_ampdu_aggr *aggr);
int internal_ampdu_parse_tx_or_rxaggr(FILE *fp, vantu_ll_wlctl_ampdu_aggr *aggr);

// Retry limits of aggregated frames, also at the regular rate, for one traffic identifier; -1 without the tool.
// The value is -1 after a failure.
int vantu_ll_wlctl_get_wifi_ampdu_retry_limit_tid(int tid, int *value);
int vantu_ll_wlctl_get_wifi_ampdu_rr_retry_limit_tid(int tid, int *value);

// Long and short retry limit ("lrl", "srl"); 1 without the tool. The value is -1 after a failure.
int vantu_ll_wlctl_get_long_retry_limit(const char *radio, int *value);
int vantu_ll_wlctl_get_short_retry_limit(const char *radio, int *value);

// Medium access parameters of the access point and of the stations ("wme_ac ap", "wme_ac sta"); 1 without the tool. The
// record is not zeroed: after a failure the categories before the failing one are filled, that one perhaps in part, and
// the others are as they were.
int vantu_ll_wlctl_get_wme_ac_ap(const char *radio, vantu_ll_wlctl_wme_ac *wme_ac);
int vantu_ll_wlctl_get_wme_ac_sta(const char *radio, vantu_ll_wlctl_wme_ac *wme_ac);
int _get_wme_ac_data(FILE *fp, vantu_ll_wlctl_wme_ac_data *out);

// Discard policy ("wme_dp"); 1 without the tool. The record is zeroed first.
int vantu_ll_wlctl_get_wme_dp(const char *radio, vantu_ll_wlctl_wme_dp *dp);

#ifdef __cplusplus
}
#endif

#endif
