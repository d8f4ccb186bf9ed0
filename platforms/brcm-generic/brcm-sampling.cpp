// Samples of radios and stations: see brcm-generic/brcm-sampling.h.

#include "brcm-generic/brcm-sampling.h"

#include "brcm-generic/brcm-sample-table.h"
#include "text.hpp"
#include "tool.hpp"
#include "vantu-libs2/loghelper.h"
#include "vantu-libs2/temporary-storage.h"
#include "vantu-ll-api/log.h"

#include <algorithm>
#include <unistd.h>

namespace
{

constexpr int debug_rotations = 1;
constexpr size_t debug_file_size = 33000;
constexpr size_t line_size = 4096;

// The row of the sample that is taken, and of the one before it.
struct row_pair {
    vantu_brcm_csv_data new_brcmdata;
    vantu_brcm_csv_data old_brcmdata;
};

// One pair serves all radios and one all stations, so that a line shows the differences to the last sample of any.
row_pair radio_rows;
row_pair station_rows;

// A radio's debug file stays open between calls.
struct {
    const char *interface;
    int fd;
} filehandles[] = {{"wl0", -1}, {"wl1", -1}};

int *descriptor_of(const char *interface)
{
    for (auto &handle : filehandles) {
        if (strcmp(handle.interface, interface) == 0)
            return &handle.fd;
    }
    return nullptr;
}

// A share of the time is never negative.
uint32_t share(int64_t percent)
{
    return static_cast<uint32_t>(std::max<int64_t>(percent, 0));
}

void take_channel(vantu_radio_stats &stats, const vantu_ll_wlctl_chanim_info &chanim)
{
    const int64_t busy = int64_t{100} - chanim.txop;
    stats.utilization = share(busy);
    stats.transmit = static_cast<uint32_t>(chanim.tx);
    stats.receive_self = static_cast<uint32_t>(chanim.inbss);
    stats.receive_other = share(busy - chanim.inbss - chanim.tx);
}

void take_category(vantu_wmm_stats &stats, const vantu_ll_wlctl_wme_counters_data &counters)
{
    stats.tx_bytes = counters.txbytes;
    stats.rx_bytes = counters.rxbytes;
}

void take_categories(vantu_radio_stats &stats, const vantu_ll_wlctl_wme_counters &wme)
{
    take_category(stats.wmm_be, wme.AC_BE);
    take_category(stats.wmm_bk, wme.AC_BK);
    take_category(stats.wmm_vi, wme.AC_VI);
    take_category(stats.wmm_vo, wme.AC_VO);
}

// Turns the older row into a line; the newer becomes the older afterwards.
void render(row_pair &rows, const char *interface, const char *mac, char (&line)[line_size])
{
    line[0] = '\0';
    (void)global_ops.calculate_delta(&rows.old_brcmdata, &rows.new_brcmdata);
    (void)global_ops.data_struct_to_csv_string(interface, mac, line, &rows.old_brcmdata);
}

void log_radio(const char *interface)
{
    char line[line_size];
    render(radio_rows, interface, "", line);
    const char *directory = vantu_get_or_create_tmp_path();
    char name[256];
    (void)snprintf(name, sizeof(name), "%s/vantu-kivwifi-radio-%s-debug.csv", directory, interface);
    int *fd = descriptor_of(interface);
    if (fd != nullptr && directory[0] != '\0')
        filelogger_write_line(fd, name, debug_rotations, debug_file_size, line);
    radio_rows.old_brcmdata = radio_rows.new_brcmdata;
}

void log_station(const char *interface, const char *mac)
{
    (void)global_ops.fill_data_struct(interface, mac, &station_rows.new_brcmdata);
    char line[line_size];
    render(station_rows, interface, mac, line);
    const char *directory = vantu_get_or_create_tmp_path();
    char name[256];
    const int length = snprintf(name, sizeof(name), "%s/vantu-kivwifi-sta-%s-debug.csv", directory, mac);
    const bool usable = vantu::may_name_file(mac) && length < static_cast<int>(sizeof(name));
    if (!usable)
        log_error("%s cannot name a file: its samples are not kept", mac);
    int fd = -1;
    if (usable && directory[0] != '\0')
        filelogger_write_line(&fd, name, debug_rotations, debug_file_size, line);
    if (fd > 0)
        (void)close(fd);
    station_rows.old_brcmdata = station_rows.new_brcmdata;
}

} // namespace

int brcm_sample_radio_stats(const char *interface, vantu_radio_stats *stats, int troubleshoot)
{
    vantu_ll_wlctl_chanim_info chanim = {};
    const int channel = brcm_get_chanims_cached(interface, &chanim);
    if (channel == 0)
        take_channel(*stats, chanim);
    else
        log_debug("failed to get chanims cached %d for %s", channel, interface);

    vantu_ll_wlctl_wme_counters wme = {};
    const int categories = vantu_ll_wlctl_get_wme_counters(interface, &wme);
    if (categories == 0)
        take_categories(*stats, wme);
    else
        log_error("failed to get wme_counters %d for %s", categories, interface);

    const vantu_byte_stats *counters = vantu_get_if_stats(interface);
    if (counters != nullptr) {
        stats->tx_bytes = counters->tx_bytes;
        stats->rx_bytes = counters->rx_bytes;
        stats->tx_packets = counters->tx_pkts;
        stats->rx_packets = counters->rx_pkts;
    } else {
        log_error("failed to get wan if stats");
    }

    if (troubleshoot != 0) {
        vantu_brcm_csv_data &row = radio_rows.new_brcmdata;
        vantu::copy_text(row.radio, interface);
        row.chanim = chanim;
        row.wme_conters = wme;
        row.wan = counters != nullptr ? *counters : vantu_byte_stats{};
        log_radio(interface);
    }
    return categories;
}

int brcm_sample_sta_stats(const char *interface, const char *mac, vantu_sta_stats *stats, int troubleshoot)
{
    vantu_ll_wlctl_sta_info info = {};
    if (vantu_ll_wlctl_get_sta_info(interface, mac, &info) != 0) {
        log_debug("sampling sta_info failed on device %s %s", interface, mac);
        return -1;
    }
    stats->tx_bytes = info.tx_bytes;
    stats->rx_bytes = info.rx_bytes;
    stats->tx_packets = info.tx_pkts;
    stats->rx_packets = info.rx_pkts;
    stats->signal = info.antenna_rssi_avg[0];
    stats->noise = info.antenna_noise_floor[0];
    // Downlink is what the station sends here, in these records.
    stats->last_data_downlink_rate = info.rx_rate;
    stats->last_data_uplink_rate = info.rate_of_last_tx_pkt[0];

    if (troubleshoot != 0)
        log_station(interface, mac);
    return 0;
}
