// Reads the report of one station and computes differences of counters. "wlctl -i wl0 sta_info 02:00:00:00:01:23",
// shortened; drivers differ in which lines they print and end with lines that are of no use here:
//
//     [VER 8] STA 02:00:00:00:01:23:
//          rateset [ 6 9 12 18 24 36 48 54 ]
//          idle 3 seconds
//          state: AUTHENTICATED ASSOCIATED AUTHORIZED
//          flags 0x1e03b: BRCM WME N_CAP AMPDU AMSDU
//          HT caps 0x1ef: LDPC 40MHz SGI20 SGI40
//          tx total bytes: 5120338471
//          rate of last tx pkt: 866667 kbps - 780000 kbps
//          per antenna noise floor: -88 -91 -90 0

#include "report.hpp"
#include "stream.hpp"
#include "text.hpp"
#include "wlctl.hpp"

#include <cstdlib>
#include <string_view>

namespace
{

using sta_info = vantu_ll_wlctl_sta_info;
using vantu::scanned;

// The whole number into a 64-bit field, its low 32 bits into a 32-bit one.
template <auto Field>
void number(sta_info &out, const scanned &in)
{
    out.*Field = static_cast<std::decay_t<decltype(out.*Field)>>(in.number[0]);
}

// These 64-bit fields have never held more than 32 bits, and what reads the files relies on it.
template <auto Field>
void low_32_bits(sta_info &out, const scanned &in)
{
    out.*Field = static_cast<uint32_t>(in.number[0]);
}

// All elements of an array field.
template <auto Field>
void numbers(sta_info &out, const scanned &in)
{
    size_t i = 0;
    for (auto &element : out.*Field)
        element = static_cast<std::decay_t<decltype(element)>>(in.number[i++]);
}

template <auto Field>
void text(sta_info &out, const scanned &in)
{
    vantu::copy_text(out.*Field, in.text);
}

// The list without the blank that stands before the closing bracket.
void rateset(sta_info &out, const scanned &in)
{
    std::string_view rates = in.text;
    if (!rates.empty())
        rates.remove_suffix(1);
    vantu::copy_text(out.rateset, rates);
}

uint32_t hexadecimal(const char *digits)
{
    return static_cast<uint32_t>(strtoll(digits, nullptr, 16));
}

template <auto Field>
void word(sta_info &out, const scanned &in)
{
    out.*Field = hexadecimal(in.text);
}

// The word behind "0x" at the start of the text, up to its colon.
template <auto Field>
void word_before_names(sta_info &out, const scanned &in)
{
    char digits[sizeof(in.text)];
    if (sscanf(in.text, "0x%s:", digits) == 1)
        out.*Field = hexadecimal(digits);
}

// clang-format off
constexpr vantu::report_line<sta_info> report[] = {
    {" rateset [ %[^]]",                                                 1, rateset},
    {" rate of last tx pkt: %lld kbps - %lld kbps",                      2, numbers<&sta_info::rate_of_last_tx_pkt>},
    {" rate of last rx pkt: %lld kbps",                                  1, number<&sta_info::rx_rate>},
    {" rx data bytes: %lld",                                             1, number<&sta_info::rx_bytes>},
    {" tx total bytes: %lld",                                            1, number<&sta_info::tx_bytes>},
    {" rx total pkts retried: %lld",                                     1, number<&sta_info::rx_retries>},
    {" tx pkts retries: %lld",                                           1, number<&sta_info::tx_retries>},
    {" tx total pkts: %lld",                                             1, number<&sta_info::tx_pkts>},
    {" rx data pkts: %lld",                                              1, number<&sta_info::rx_pkts>},
    {" tx failures: %lld",                                               1, number<&sta_info::tx_failures>},
    {" idle %lld seconds",                                               1, number<&sta_info::idle>},
    {" in network %lld seconds",                                         1, number<&sta_info::in_network>},
    {" state: %[^\t\n]",                                                 1, text<&sta_info::state>},
    {" flags %[^\t\n]",                                                  1, word_before_names<&sta_info::flags>},
    {" HT caps 0x%[^:\t\n]",                                             1, word<&sta_info::htcaps>},
    {" VHT caps %[^\t\n]",                                               1, word_before_names<&sta_info::vhtcaps>},
    {" tx ucast pkts: %lld",                                             1, number<&sta_info::tx_ucast_pkts>},
    {" tx ucast bytes: %lld",                                            1, low_32_bits<&sta_info::tx_ucast_bytes>},
    {" tx mcast/bcast pkts: %lld",                                       1, number<&sta_info::tx_mcast_pkts>},
    {" tx mcast/bcast bytes: %lld",                                      1, low_32_bits<&sta_info::tx_mcast_bytes>},
    {" tx failures: %lld",                                               1, number<&sta_info::tx_failures>}, // never reached
    {" rx ucast pkts: %lld",                                             1, number<&sta_info::rx_ucast_pkts>},
    {" rx ucast bytes: %lld",                                            1, low_32_bits<&sta_info::rx_ucast_bytes>},
    {" rx mcast/bcast pkts: %lld",                                       1, number<&sta_info::rx_mcast_pkts>},
    {" rx mcast/bcast bytes: %lld",                                      1, low_32_bits<&sta_info::rx_mcast_bytes>},
    {" rx decrypt succeeds: %lld",                                       1, number<&sta_info::rx_decrypt_succeeds>},
    {" rx decrypt failures: %lld",                                       1, number<&sta_info::rx_decrypt_failures>},
    {" tx data pkts retried: %lld",                                      1, number<&sta_info::tx_data_pkts_retried>},
    {" per antenna rssi of last rx data frame: %lld %lld %lld %lld",     4, numbers<&sta_info::antenna_rssi_last_rx_frame>},
    {" per antenna average rssi of rx data frames: %lld %lld %lld %lld", 4, numbers<&sta_info::antenna_rssi_avg>},
    {" per antenna noise floor: %lld %lld %lld %lld",                    4, numbers<&sta_info::antenna_noise_floor>},
    {" tx pkts retry exhausted: %lld",                                   1, number<&sta_info::tx_pkts_retry_exhausted>},
    {" tx FW total pkts sent: %lld",                                     1, number<&sta_info::tx_fw_total_pkts_sent>},
    {" tx FW pkts retries: %lld",                                        1, number<&sta_info::tx_fw_pkts_retries>},
    {" tx FW pkts retry exhausted: %lld",                                1, number<&sta_info::tx_fw_pkts_retry_exhausted>},
};
// clang-format on

// Replaces each of the fields by its difference to the newer record.
template <auto... Fields, typename Record>
void take_deltas(Record &older, const Record &newer)
{
    ((older.*Fields = static_cast<std::decay_t<decltype(older.*Fields)>>(get_delta64(older.*Fields, newer.*Fields))),
     ...);
}

void report_failed_command(const char *command)
{
    // The number has always been 1 here, whatever errno was.
    log_error("Command [%s] failed. errno=%d", command, 1);
}

} // namespace

int internal_wlctl_get_sta_info_file(FILE *sf, vantu_ll_wlctl_sta_info *wifi_out)
{
    char line[256];
    if (fgets(line, sizeof(line), sf) == nullptr) {
        log_debug("%s: unable to read first line", __func__);
        return -1;
    }
    long long version = 0;
    if (sscanf(line, "[VER %lld] STA %*s", &version) != 1) {
        log_error("%s: unable to read version", __func__);
        return -1;
    }
    sta_info info = {};
    info.version = static_cast<uint32_t>(version);
    log_trace("sta_info version: %d", static_cast<int>(info.version));
    vantu::line_source lines(sf);
    while (lines.next(line))
        vantu::take_line(report, line, info);
    *wifi_out = info;
    return 0;
}

int vantu_ll_wlctl_get_sta_info(const char *interface, const char *mac_address, vantu_ll_wlctl_sta_info *wifi_out)
{
    const vantu::command_line<255> command("%s -i %s sta_info %s", vantu::wlctl_path, interface, mac_address);
    log_trace("running: %s", command.text());
    return vantu::run_tool(command, {nullptr, -1, report_failed_command},
                           [&](FILE *fp) { return internal_wlctl_get_sta_info_file(fp, wifi_out); });
}

uint64_t get_delta64(uint64_t a, uint64_t b)
{
    return b > a ? b - a : 0;
}

int32_t get_delta32(uint32_t a, uint32_t b)
{
    return static_cast<int32_t>(b - a);
}

int vantu_ll_wlctl_sta_info_get_delta(vantu_ll_wlctl_sta_info *wifi_old, const vantu_ll_wlctl_sta_info *wifi_new)
{
    take_deltas<&sta_info::tx_pkts, &sta_info::tx_bytes, &sta_info::tx_ucast_pkts, &sta_info::tx_ucast_bytes,
                &sta_info::tx_mcast_pkts, &sta_info::tx_mcast_bytes, &sta_info::tx_failures, &sta_info::rx_pkts,
                &sta_info::rx_bytes, &sta_info::rx_ucast_pkts, &sta_info::rx_ucast_bytes, &sta_info::rx_mcast_pkts,
                &sta_info::rx_mcast_bytes, &sta_info::rx_decrypt_succeeds, &sta_info::rx_decrypt_failures,
                &sta_info::tx_data_pkts_retried, &sta_info::tx_retries, &sta_info::rx_retries,
                &sta_info::tx_pkts_retry_exhausted, &sta_info::tx_fw_total_pkts_sent, &sta_info::tx_fw_pkts_retries,
                &sta_info::tx_fw_pkts_retry_exhausted>(*wifi_old, *wifi_new);
    return 0;
}

int vantu_ll_wlctl_wme_counters_data_get_delta(vantu_ll_wlctl_wme_counters_data *wifi_old,
                                               const vantu_ll_wlctl_wme_counters_data *wifi_new)
{
    using data = vantu_ll_wlctl_wme_counters_data;
    take_deltas<&data::txframes, &data::txbytes, &data::txfailedframes, &data::txfailedbytes, &data::rxframes,
                &data::rxbytes, &data::rxfailedframes, &data::rxfailedbytes, &data::forward_frames,
                &data::forward_bytes>(*wifi_old, *wifi_new);
    return 0;
}

int vantu_ll_wlctl_wme_counters_get_delta(vantu_ll_wlctl_wme_counters *wifi_old,
                                          const vantu_ll_wlctl_wme_counters *wifi_new)
{
    using wme = vantu_ll_wlctl_wme_counters;
    for (const auto category : {&wme::AC_BK, &wme::AC_BE, &wme::AC_VO, &wme::AC_VI})
        (void)vantu_ll_wlctl_wme_counters_data_get_delta(&(wifi_old->*category), &(wifi_new->*category));
    return 0;
}
