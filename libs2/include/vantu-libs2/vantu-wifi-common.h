// The records that the platform operations hand across the operations table, and the long-lived lists of radios and
// devices that are kept up to date from fresh readings of the platform.
#ifndef VANTU_LIBS2_VANTU_WIFI_COMMON_H
#define VANTU_LIBS2_VANTU_WIFI_COMMON_H

#include <stdint.h>
#include <sys/time.h>

#include "vantu-libs2/ringbuffer.h"
#include "vantu-platforms/vantu-platform-ops.h"
#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

#define RADIO_NOISE_SAMPLES_MAX     12
#define DEVICE_RSSI_SAMPLES_MAX     10
#define MAX_RATES_BUCKETS           10
#define DEVICE_COMMON_BOOST_ROLLING 12
#define DEVICE_COMMON_BOOST_CLASSES 12
// How many samples a radio's history holds.
#define RADIO_STATS_BUFFER_SIZE 500

// ---- Issues: what is wrong with a Wi-Fi ----

typedef enum IssueID { END, NEIGHBOURS, HOUSEHOLD, COVERAGE, NOISE, WRONGBAND, CABLE } IssueID;

typedef struct vantu_issue {
    int issueid;  // an IssueID
    double score; // 1.0 (slight) to 10.0 (severe), in steps of 1.0
} vantu_issue;

typedef struct vantu_issue_statistics {
    int samples;           // used
    float txop_mean;       // mean of 100 - utilization, percent
    float congestion_mean; // mean of utilization, percent
} vantu_issue_statistics;

// ---- Inventory. Units that are not said are the platform's. ----

// One radio. The list key is `interface`.
typedef struct vantu_common_radio {
    char mac[18];
    char ipv4[18];
    char interface[9];
    int enabled; // 1 when the radio is up
    int freq;
    int channel;        // configured
    int currentchannel; // in use
    int autochannel;    // 1 when the radio chooses
    int bandwidth;
    int power;
    struct timeval last_updated;
    int noise; // dBm
    uint64_t rx_bytes;
    uint64_t tx_bytes;
    uint64_t rx_frames;
    uint64_t tx_frames;
    uint64_t rx_packets;
    uint64_t tx_packets;
    uint64_t tx_fail;
    uint64_t tx_retries;
    uint64_t rx_errors;
    uint64_t tx_errors;
    int interference_percent;
    int idle_percent;
    int noise_samples[RADIO_NOISE_SAMPLES_MAX];
    int noise_sample_index;            // next slot to write
    void *usr_data;                    // the owner's, from malloc; kept across updates, freed with the list
    vantu_ringbuffer radio_stats_buff; // of vantu_radio_stats
    sclist_t issues;                   // of vantu_issue
    vantu_issue_statistics issue_stats;
} vantu_common_radio;

typedef struct rate_bucket {
    int rate;
    uint64_t bytes; // sent at that rate
} rate_bucket;

typedef struct vantu_rates_stats {
    rate_bucket buckets[MAX_RATES_BUCKETS];
    int bucket_count; // in use
} vantu_rates_stats;

// One counter per QoS class.
typedef struct vantu_common_device_boost {
    uint8_t boost[DEVICE_COMMON_BOOST_CLASSES];
} vantu_common_device_boost;

// One client device. The list keys are `mac` and `ipv4`.
typedef struct vantu_common_device {
    char mac[18];
    char ipv4[18];
    char interface[32]; // of its radio; "eth" for a wired device
    char hostname[64];
    int is_wifi; // flags, 0 or 1
    int is_active;
    int is_pingable;
    int type;
    struct timeval last_updated;
    int rssi;  // dBm
    int noise; // dBm
    uint64_t delta_rx_bytes;
    uint64_t delta_tx_bytes;
    uint64_t rx_bytes;
    uint64_t tx_bytes;
    uint64_t rx_rate; // kbit/s
    uint64_t tx_rate;
    uint64_t rx_packets;
    uint64_t tx_packets;
    uint64_t tx_failures;
    uint64_t tx_retries;
    uint64_t rx_retries;
    vantu_rates_stats tx_rates_hist;
    vantu_rates_stats rx_rates_hist;
    int rssi_samples[DEVICE_RSSI_SAMPLES_MAX];
    int rssi_sample_index;
    void *usr_data;                  // the owner's, from malloc; freed with the list
    vantu_ringbuffer sta_stats_buff; // of vantu_sta_stats; the owner's, not freed with the list
    int boost_idx;                   // current rolling slot
    uint64_t boost_last_time;        // of the last boost update, microseconds
    vantu_common_device_boost boost[DEVICE_COMMON_BOOST_ROLLING];
} vantu_common_device;

// One Wi-Fi network. The list key is `bssid`.
typedef struct vantu_network {
    char interface[16];
    int enabled;
    char radio_interface[16];
    char ssidname[64];
    char bssid[17];
    char password[32];
    char encryption[32];
    uint64_t rx_packets;
    uint64_t tx_packets;
} vantu_network;

// An access point in the neighbourhood, as a scan reports it. The list keys are `BSSID` and `SSIDName`.
typedef struct vantu_common_ap_neighbor {
    char SSIDName[64];
    char BSSID[32];
    char NetworkType[32];
    char Channel[32];
    char RSSI[32];
    char Standard[32];
    char ChannelWidth[32];
} vantu_common_ap_neighbor;

typedef struct vantu_router_info {
    char routerid[64];
    char serial[64];
    char basemac[64];
    char hardware_manufacturer[64];
    char hardware_model[64];
    char chipset_model[64];
    char chipset_manufacturer[64];
    char kernel_version[64];
    char cpu_architecture[64];
    char firmware_version[128];
    char vantu_platform_name[64];
    char vantu_version[64];
    char network_name[64];
    uint32_t system_uptime;
} vantu_router_info;

typedef struct vantu_systeminfo {
    int uptime;
    int cpuload;
    int freemem;
    uint64_t ramsize;
    char lan_ip[17];
    char wan_ip[17];
    char base_mac[17];
    char DNS1[17];
    char DNS2[17];
} vantu_systeminfo;

// ---- Statistics samples ----

// Bytes of one access category.
typedef struct vantu_wmm_stats {
    uint64_t tx_bytes;
    uint64_t rx_bytes;
} vantu_wmm_stats;

typedef struct vantu_radio_stats {
    uint64_t time; // of the sample, microseconds since the epoch
    uint64_t delta_time;
    uint64_t tx_bytes;
    uint64_t rx_bytes;
    uint64_t tx_packets;
    uint64_t rx_packets;
    uint32_t utilization; // shares of the time, percent
    uint32_t transmit;
    uint32_t receive_self;
    uint32_t receive_other;
    vantu_wmm_stats wmm_be;
    vantu_wmm_stats wmm_bk;
    vantu_wmm_stats wmm_vi;
    vantu_wmm_stats wmm_vo;
} vantu_radio_stats;

typedef struct vantu_sta_stats {
    uint64_t time; // microseconds since the epoch
    int delta_time;
    uint64_t tx_bytes;
    uint64_t rx_bytes;
    uint64_t tx_packets;
    uint64_t rx_packets;
    int signal;                       // dBm
    int noise;                        // dBm
    uint64_t last_data_downlink_rate; // kbit/s
    uint64_t last_data_uplink_rate;
} vantu_sta_stats;

typedef struct vantu_wan_stats {
    uint64_t time; // microseconds since the epoch
    uint64_t delta_time;
    uint64_t ip_bytes_tx;
    uint64_t ip_bytes_rx;
    uint64_t ip_packets_tx;
    uint64_t ip_packets_rx;
} vantu_wan_stats;

// One row of latency and traffic of a station.
typedef struct vantu_fpingdq_stats {
    uint64_t delta_time;
    char mac[20];
    char radio[64];
    uint64_t time;
    char ip[64];
    uint64_t ip_bytes_sent;
    uint64_t ip_bytes_recieved;
    uint64_t ip_packets_sent;
    uint64_t ip_packets_recieved;
    float radio_bytes_sent;
    float radio_bytes_recieved;
    float radio_packets_sent;
    float radio_packets_received;
    float radio_utilization; // percent
    float radio_transmit;
    float radio_recieve_self;
    float radio_recieve_other;
    int sta_signal_strength; // dBm
    int sta_noise;
    uint64_t sta_last_data_downlink_rate; // kbit/s
    uint64_t sta_last_data_uplink_rate;
    uint64_t bk_bytes_sent;
    uint64_t be_bytes_sent;
    uint64_t vi_bytes_sent;
    uint64_t vo_bytes_sent;
    uint64_t bk_bytes_recieved;
    uint64_t be_bytes_recieved;
    uint64_t vi_bytes_recieved;
    uint64_t vo_bytes_recieved;
} vantu_fpingdq_stats;

// Each kind of sample has a CSV table of its own, which its csvtable_init builds and its csvtable_free releases, and
// one process-wide record through which every conversion goes: not to be called concurrently.
void vantu_radio_stats_csvtable_init(void);
void vantu_radio_stats_csvtable_free(void);
void vantu_sta_stats_csvtable_init(void);
void vantu_sta_stats_csvtable_free(void);
void vantu_wan_stats_csvtable_init(void);
void vantu_wan_stats_csvtable_free(void);

// Turn `prevdatain`, the earlier sample, into the differences to `datain`: counters become newer minus older, 0 when
// that is not positive; what is no counter becomes the later sample's value. `datain` stays. Return 0.
int vantu_radio_stats_calculate_delta(vantu_radio_stats *prevdatain, const vantu_radio_stats *datain);
int vantu_sta_stats_calculate_delta(vantu_sta_stats *prevdatain, const vantu_sta_stats *datain);
int vantu_wan_stats_calculate_delta(vantu_wan_stats *prevdatain, const vantu_wan_stats *datain);

// Print a sample: radio and WAN on standard output (the latter without a line end), a station as a debug log line.
void vantu_radio_stats_print(const vantu_radio_stats *stats);
void vantu_sta_stats_print(const vantu_sta_stats *stats);
void vantu_wan_stats_print(const vantu_wan_stats *stats);

// Write the kept samples as CSV, oldest first and without the newest, to a file, which is replaced. Return 0; -1 when
// the file cannot be opened or written (logged).
int vantu_radio_stats_to_csvfile(vantu_common_radio *radio, const char *file_path);
int vantu_sta_stats_to_csvfile(vantu_common_device *device, const char *file_path);
int vantu_wan_stats_to_csvfile(vantu_ringbuffer *wan_stats_ringbuffer, const char *file_path);

// An empty list of vantu_sta_stats, in which nothing is sought or compared. Returns 0; -1 when memory is short.
int vantu_sta_stats_list_init(sclist_t *list);
int vantu_sta_stats_list_free(sclist_t *list);

// An empty list of vantu_fpingdq_stats, in which nothing is ever found. Returns 0; -1 when memory is short.
int vantu_fpingdq_stats_init_table(sclist_t *list);
int vantu_fpingdq_stats_free_table(sclist_t *list);

// Adds the columns of the latency statistics, bound to the record, to a CSV table. Returns 0.
int vantu_fpingdq_stats_fill_csv_table(sclist_t *table, vantu_fpingdq_stats *record);

// Writes all rows of a list as CSV to a file, which is replaced. Returns 0, also when the file cannot be opened or
// written, which is logged.
int vantu_fpingdq_stats_to_csvfile(sclist_t *fpingdata, const char *file_path);

// ---- Keeping the lists up to date ----

// Called by vantu_common_device_list_update: a device that is new (before it is copied into the list, so that fields
// may be filled), one that is gone (before it is deleted), and one that is still there, with its fresh reading.
typedef void (*new_device_cb_t)(vantu_common_device *device);
typedef void (*remove_device_cb_t)(vantu_common_device *device);
typedef void (*update_device_cb_t)(vantu_common_device *kept, vantu_common_device *fresh);

// Merges a fresh reading of the radios (the get_radios operation) into the kept list. A kept radio takes every field
// of its reading but usr_data, radio_stats_buff, issues and issue_stats. A new one is logged and gets an empty history
// of RADIO_STATS_BUFFER_SIZE samples and an empty issue list. One that is gone loses both and leaves the list.
// `removed` and `added` (each may be NULL) receive copies, of which only the plain fields may be used. Returns 0.
int vantu_common_radio_list_update(sclist_t *kept, sclist_t *removed, sclist_t *added, vantu_platform_ops *ops);

// Merges a fresh reading of the devices (the get_associated_devices operation) into the kept list through the three
// callbacks, none of which may be NULL. A kept device changes only as update_cb changes it. Returns 0.
int vantu_common_device_list_update(sclist_t *kept, new_device_cb_t add_cb, remove_device_cb_t remove_cb,
                                    update_device_cb_t update_cb, vantu_platform_ops *ops);

// Appends shallow copies of all devices of `source`, in order, to `destination`. Returns 0.
int vantu_common_device_list_duplicate(sclist_t *source, sclist_t *destination);

// The device whose `mac` or else `ipv4` equals the text, ignoring case; NULL when there is none.
vantu_common_device *vantu_common_device_list_get_device_by_mac(sclist_t *devices, const char *mac);

// The first device whose `ipv4` is exactly the text; NULL when there is none.
vantu_common_device *vantu_common_device_list_get_device_by_ip(sclist_t *devices, const char *ip);

// ---- Boost counters ----

// The sum of a QoS class's counters (0 to DEVICE_COMMON_BOOST_CLASSES - 1) over the rolling slots.
int vantu_common_device_get_boost(const vantu_common_device *device, int qos_class);

// Writes the counters as text, a line a class, into `buffer` of `size` characters, cut when it does not fit; `now` in
// microseconds. Returns the length of the whole text, which may exceed `size`.
int vantu_common_device_get_boost_as_string(const vantu_common_device *device, char *buffer, int size, uint64_t now);

// The space left in a buffer of `size` characters behind the write position, never below 0.
int vantu_util_new_str_len(const char *start, const char *position, int size);

// ---- CSV files and printing ----

// Appends the platform's data rows of a CSV file with a header line to `list` (made by init_data_struct_list): one row
// for each line that has as many fields as the header; other lines are logged. Returns the list's size. Logged are also
// a file that cannot be opened or read, a lack of memory, which ends the reading, and a device, of which 16,384 lines
// are read.
int vantu_common_csv_to_data_list(sclist_t *list, const char *path, vantu_platform_ops *ops);

// Print a line per radio or device on standard output.
void vantu_common_radio_print(sclist_t *radios);
void vantu_common_devices_print(sclist_t *devices);

#ifdef __cplusplus
}
#endif

#endif
