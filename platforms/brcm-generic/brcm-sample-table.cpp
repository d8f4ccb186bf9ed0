// The data row of the Broadcom platform and its CSV columns: see brcm-generic/brcm-sample-table.h.

#include "brcm-generic/brcm-sample-table.h"

#include "csv_columns.hpp"
#include "text.hpp"
#include "typed_list.hpp"
#include "vantu-libs2/vantu-fpingdq.h"
#include "vantu-libs2/vantu-wifi-common.h"
#include "vantu-ll-api/log.h"

#include <iterator>

namespace
{

using row_t = vantu_brcm_csv_data;

constexpr int cache_age = 100000; // one second in units of 10 microseconds
constexpr int no_cache_slot = -22;

constexpr auto _brcm_data_size = vantu::record_size<row_t>;
constexpr auto _brcm_data_seeker = vantu::seek_text<&row_t::mac>;
constexpr auto _brcm_data_row_comparator = vantu::compare_text<&row_t::mac>;

// The columns' order is fixed: files of the field are read by it. Receive stands before transmit in the categories,
// packets before bytes and receive before transmit in the WAN columns.
#define COLUMN(name, type, member)       CSV_COLUMN(name, type, NONE, vantu_brcm_csv_data, member)
#define DELTA_COLUMN(name, type, member) CSV_COLUMN(name, type, DELTA, vantu_brcm_csv_data, member)
constexpr vantu::csv_column columns[] = {
    COLUMN("chanspec", U32, chanim.chanspec),
    COLUMN("tx", INT, chanim.tx),
    COLUMN("inbss", INT, chanim.inbss),
    COLUMN("obss", INT, chanim.obss),
    COLUMN("nocat", INT, chanim.nocat),
    COLUMN("nopkt", INT, chanim.nopkt),
    COLUMN("doze", INT, chanim.doze),
    COLUMN("txop", INT, chanim.txop),
    COLUMN("goodtx", INT, chanim.goodtx),
    COLUMN("badtx", INT, chanim.badtx),
    COLUMN("glitch", U32, chanim.glitch),
    COLUMN("badplcp", U32, chanim.badplcp),
    COLUMN("knoise", INT, chanim.knoise),
    COLUMN("idle", INT, chanim.idle),
    COLUMN("timestamp", U32, chanim.timestamp),
    COLUMN("version", U32, sta_info.version),
    COLUMN("rate_of_last_rx_pkt", U32, sta_info.rx_rate),
    COLUMN("tx_total_bytes", U64, sta_info.tx_bytes),
    COLUMN("rx_data_bytes", U64, sta_info.rx_bytes),
    COLUMN("tx_total_pkts", U32, sta_info.tx_pkts),
    COLUMN("rx_data_pkts", U32, sta_info.rx_pkts),
    COLUMN("tx_failures", U32, sta_info.tx_failures),
    COLUMN("tx_pkts_retries", U32, sta_info.tx_retries),
    COLUMN("rx_total_pkts_retried", U32, sta_info.rx_retries),
    COLUMN("flags", U32, sta_info.flags),
    COLUMN("htcaps", U32, sta_info.htcaps),
    COLUMN("vhtcaps", U32, sta_info.vhtcaps),
    COLUMN("sta_idle", U32, sta_info.idle),
    COLUMN("rate_of_last_tx_pkt", U32, sta_info.rate_of_last_tx_pkt[0]),
    COLUMN("min_rate_of_last_tx_pkt", U32, sta_info.rate_of_last_tx_pkt[1]),
    COLUMN("rx_decrypt_succeeds", U32, sta_info.rx_decrypt_succeeds),
    COLUMN("rx_decrypt_failures", U32, sta_info.rx_decrypt_failures),
    COLUMN("tx_data_pkts_retried", U32, sta_info.tx_data_pkts_retried),
    COLUMN("rx_last_rssi_1", INT, sta_info.antenna_rssi_last_rx_frame[0]),
    COLUMN("rx_last_rssi_2", INT, sta_info.antenna_rssi_last_rx_frame[1]),
    COLUMN("rx_last_rssi_3", INT, sta_info.antenna_rssi_last_rx_frame[2]),
    COLUMN("rx_last_rssi_4", INT, sta_info.antenna_rssi_last_rx_frame[3]),
    COLUMN("rx_average_rssi_1", INT, sta_info.antenna_rssi_avg[0]),
    COLUMN("rx_average_rssi_2", INT, sta_info.antenna_rssi_avg[1]),
    COLUMN("rx_average_rssi_3", INT, sta_info.antenna_rssi_avg[2]),
    COLUMN("rx_average_rssi_4", INT, sta_info.antenna_rssi_avg[3]),
    COLUMN("noise_floor_1", INT, sta_info.antenna_noise_floor[0]),
    COLUMN("noise_floor_2", INT, sta_info.antenna_noise_floor[1]),
    COLUMN("noise_floor_3", INT, sta_info.antenna_noise_floor[2]),
    COLUMN("noise_floor_4", INT, sta_info.antenna_noise_floor[3]),
    COLUMN("tx_pkts_retry_exhausted", U32, sta_info.tx_pkts_retry_exhausted),
    COLUMN("tx_fw_total_pkts_sent", U32, sta_info.tx_fw_total_pkts_sent),
    COLUMN("tx_fw_pkts_retries", U32, sta_info.tx_fw_pkts_retries),
    COLUMN("tx_fw_pkts_retry_exhausted", U32, sta_info.tx_fw_pkts_retry_exhausted),
    COLUMN("tx_ucast_pkts", U32, sta_info.tx_ucast_pkts),
    COLUMN("tx_ucast_bytes", U64, sta_info.tx_ucast_bytes),
    COLUMN("tx_mcast_pkts", U32, sta_info.tx_mcast_pkts),
    COLUMN("tx_mcast_bytes", U64, sta_info.tx_mcast_bytes),
    COLUMN("rx_ucast_pkts", U32, sta_info.rx_ucast_pkts),
    COLUMN("rx_ucast_bytes", U64, sta_info.rx_ucast_bytes),
    COLUMN("rx_mcast_pkts", U32, sta_info.rx_mcast_pkts),
    COLUMN("rx_mcast_bytes", U64, sta_info.rx_mcast_bytes),
    COLUMN("bk_rx_bytes", U64, wme_conters.AC_BK.rxbytes),
    COLUMN("bk_tx_bytes", U64, wme_conters.AC_BK.txbytes),
    COLUMN("be_rx_bytes", U64, wme_conters.AC_BE.rxbytes),
    COLUMN("be_tx_bytes", U64, wme_conters.AC_BE.txbytes),
    COLUMN("vi_rx_bytes", U64, wme_conters.AC_VI.rxbytes),
    COLUMN("vi_tx_bytes", U64, wme_conters.AC_VI.txbytes),
    COLUMN("vo_rx_bytes", U64, wme_conters.AC_VO.rxbytes),
    COLUMN("vo_tx_bytes", U64, wme_conters.AC_VO.txbytes),
    DELTA_COLUMN("wan_tx_packages", U64, wan.tx_pkts),
    DELTA_COLUMN("wan_rx_packages", U64, wan.rx_pkts),
    DELTA_COLUMN("wan_rx_bytes", U64, wan.rx_bytes),
    DELTA_COLUMN("wan_tx_bytes", U64, wan.tx_bytes),
};
#undef COLUMN
#undef DELTA_COLUMN
static_assert(std::size(columns) == BRCM_CSV_COLUMNS);

sclist_t csv_table;
row_t brcmdata; // every column of the table points into it
int csv_idxs[MAX_FIELDS];
brcm_cached_chanim chanim_c[BRCM_CACHED_RADIOS];

bool is_fresh(const brcm_cached_chanim &slot, const timeval &now)
{
    return slot.last_time.tv_sec != 0 && brcm_timeval_diff(now, slot.last_time) <= cache_age;
}

vantu_fpingdq_stats to_standard(const vantu_fpingdq_ping &ping, const row_t &row)
{
    const auto &chanim = row.chanim;
    const auto &sta = row.sta_info;
    const auto &wme = row.wme_conters;
    vantu_fpingdq_stats stats = {};
    vantu::copy_text(stats.mac, row.mac);
    vantu::copy_text(stats.radio, row.radio);
    stats.time = ping.time;
    vantu::copy_text(stats.ip, ping.ip);
    stats.ip_bytes_sent = row.wan.tx_bytes;
    stats.ip_bytes_recieved = row.wan.rx_bytes;
    stats.ip_packets_sent = row.wan.tx_pkts;
    stats.ip_packets_recieved = row.wan.rx_pkts;
    stats.radio_utilization = 100.0F - static_cast<float>(chanim.idle);
    stats.radio_transmit = static_cast<float>(chanim.tx);
    stats.radio_recieve_self = static_cast<float>(chanim.inbss) + static_cast<float>(chanim.nopkt);
    stats.radio_recieve_other = static_cast<float>(chanim.obss) + static_cast<float>(chanim.nocat);
    stats.sta_signal_strength = sta.antenna_rssi_last_rx_frame[0];
    stats.sta_last_data_downlink_rate = sta.rx_rate;
    stats.sta_last_data_uplink_rate = sta.rate_of_last_tx_pkt[0];
    stats.bk_bytes_sent = wme.AC_BK.txbytes;
    stats.be_bytes_sent = wme.AC_BE.txbytes;
    stats.vi_bytes_sent = wme.AC_VI.txbytes;
    stats.vo_bytes_sent = wme.AC_VO.txbytes;
    stats.bk_bytes_recieved = wme.AC_BK.rxbytes;
    stats.be_bytes_recieved = wme.AC_BE.rxbytes;
    stats.vi_bytes_recieved = wme.AC_VI.rxbytes;
    stats.vo_bytes_recieved = wme.AC_VO.rxbytes;
    return stats;
}

} // namespace

void brcm_build_csv_table(sclist_t *table, vantu_brcm_csv_data *row)
{
    vantu::bind_columns(table, columns, row);
}

void brcm_csvtable_init(void)
{
    brcm_csvtable_destroy(); // of an earlier set-up, if any
    (void)vantu_csv_init_csv_table(&csv_table);
    brcm_build_csv_table(&csv_table, &brcmdata);
    for (int i = 0; i < BRCM_CSV_COLUMNS; i++)
        csv_idxs[i] = i;
}

void brcm_csvtable_destroy(void)
{
    sclist_destroy(&csv_table);
}

int vantu_init_brcm_data_list(sclist_t *list)
{
    return vantu::init_typed_list(list, _brcm_data_size, _brcm_data_seeker, _brcm_data_row_comparator);
}

int brcm_get_csvdata_headers(char *out)
{
    return vantu_csv_get_header(&csv_table, out);
}

int brcm_data_struct_to_csv_string(const char *interface, const char *mac, char *out, void *data)
{
    (void)interface;
    (void)mac;
    brcmdata = *static_cast<const row_t *>(data);
    return vantu_csv_table_to_csv(&csv_table, out);
}

int brcm_csv_string_to_data_struct(char **line, void *data)
{
    (void)vantu_csv_line_to_table_struct(&csv_table, csv_idxs, line);
    *static_cast<row_t *>(data) = brcmdata;
    return 0;
}

int brcm_fill_data_struct(const char *interface, const char *mac, void *row)
{
    auto *out = static_cast<row_t *>(row);
    if (out == nullptr)
        return -1;
    if (brcm_get_chanims_cached(interface, &out->chanim) != 0)
        return -2;
    if (vantu_ll_wlctl_get_sta_info(interface, mac, &out->sta_info) != 0)
        return -3;
    if (vantu_ll_wlctl_get_wme_counters(interface, &out->wme_conters) != 0)
        return -4;
    const vantu_byte_stats *bridge = vantu_get_if_stats("br-lan");
    if (bridge == nullptr)
        return -5;
    out->wan = *bridge;
    return 0;
}

int brcm_calculate_delta(void *older, void *newer)
{
    auto *first = static_cast<row_t *>(older);
    const auto *second = static_cast<const row_t *>(newer);
    (void)vantu_ll_wlctl_sta_info_get_delta(&first->sta_info, &second->sta_info);
    (void)vantu_ll_wlctl_wme_counters_get_delta(&first->wme_conters, &second->wme_conters);
    return 0;
}

brcm_cached_chanim *brcm_cached_get_chanim_array_item(const char *interface)
{
    if (strlen(interface) >= sizeof(chanim_c[0].param))
        return nullptr;
    for (brcm_cached_chanim &slot : chanim_c) {
        if (strcmp(slot.param, interface) == 0)
            return &slot;
    }
    for (brcm_cached_chanim &slot : chanim_c) {
        if (slot.param[0] == '\0') {
            vantu::copy_text(slot.param, interface);
            return &slot;
        }
    }
    return nullptr;
}

int brcm_get_chanims_cached(const char *interface, vantu_ll_wlctl_chanim_info *out)
{
    timeval now;
    (void)gettimeofday(&now, nullptr);
    brcm_cached_chanim *slot = brcm_cached_get_chanim_array_item(interface);
    if (slot == nullptr)
        return no_cache_slot;

    int result = 0;
    if (!is_fresh(*slot, now)) {
        result = vantu_ll_wlctl_get_chanim_stats(interface, &slot->chanim);
        if (result == 0) {
            slot->last_time = now;
            slot->chanim.epochstamp = static_cast<uint32_t>(now.tv_sec);
        }
    }
    *out = slot->chanim;
    return result;
}

int brcm_convert_to_standard_format(sclist_t *platform_data, sclist_t *standardized_data, const char *interface,
                                    const char *mac)
{
    (void)interface;
    (void)mac;
    if (sclist_size(platform_data) == 0) {
        log_error("platform_data size is 0. returning");
        return 0;
    }
    unsigned int index = 0;
    SCLIST_FOREACH(vantu_fpingdq_ping, ping, platform_data) {
        if (ping->csvdata == nullptr) {
            log_trace("row == NULL");
            continue;
        }
        const vantu_fpingdq_stats stats = to_standard(*ping, *static_cast<const row_t *>(ping->csvdata));
        (void)sclist_insert_at(standardized_data, &stats, index++);
    }
    SCLIST_FOREACH_END(platform_data);
    return 0;
}
