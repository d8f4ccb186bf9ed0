// What it costs to render and to parse one data row of 69 columns through the column table, beside the same written
// plainly with snprintf and strtoull.

#include "brcm-generic/brcm-sample-table.h"

#include "csv_file.hpp"
#include "runner.hpp"

#include <cstring>

namespace
{

constexpr int repeats = 20000;

vantu_brcm_csv_data sample()
{
    vantu_brcm_csv_data row = {};
    auto *bytes = reinterpret_cast<unsigned char *>(&row);
    for (size_t i = offsetof(vantu_brcm_csv_data, chanim); i < sizeof(row); i++)
        bytes[i] = static_cast<unsigned char>(i * 37U);
    return row;
}

// clang-format off
// The columns as a plain program would spell them: how each is printed, and the field.
#define PLAIN_COLUMNS(U32, INT, U64)                                                                          \
    U32(chanim.chanspec) INT(chanim.tx) INT(chanim.inbss) INT(chanim.obss) INT(chanim.nocat)                  \
    INT(chanim.nopkt) INT(chanim.doze) INT(chanim.txop) INT(chanim.goodtx) INT(chanim.badtx)                  \
    U32(chanim.glitch) U32(chanim.badplcp) INT(chanim.knoise) INT(chanim.idle) U32(chanim.timestamp)          \
    U32(sta_info.version) U32(sta_info.rx_rate) U64(sta_info.tx_bytes) U64(sta_info.rx_bytes)                 \
    U32(sta_info.tx_pkts) U32(sta_info.rx_pkts) U32(sta_info.tx_failures) U32(sta_info.tx_retries)            \
    U32(sta_info.rx_retries) U32(sta_info.flags) U32(sta_info.htcaps) U32(sta_info.vhtcaps)                   \
    U32(sta_info.idle) U32(sta_info.rate_of_last_tx_pkt[0]) U32(sta_info.rate_of_last_tx_pkt[1])              \
    U32(sta_info.rx_decrypt_succeeds) U32(sta_info.rx_decrypt_failures) U32(sta_info.tx_data_pkts_retried)    \
    INT(sta_info.antenna_rssi_last_rx_frame[0]) INT(sta_info.antenna_rssi_last_rx_frame[1])                   \
    INT(sta_info.antenna_rssi_last_rx_frame[2]) INT(sta_info.antenna_rssi_last_rx_frame[3])                   \
    INT(sta_info.antenna_rssi_avg[0]) INT(sta_info.antenna_rssi_avg[1]) INT(sta_info.antenna_rssi_avg[2])     \
    INT(sta_info.antenna_rssi_avg[3]) INT(sta_info.antenna_noise_floor[0])                                    \
    INT(sta_info.antenna_noise_floor[1]) INT(sta_info.antenna_noise_floor[2])                                 \
    INT(sta_info.antenna_noise_floor[3]) U32(sta_info.tx_pkts_retry_exhausted)                                \
    U32(sta_info.tx_fw_total_pkts_sent) U32(sta_info.tx_fw_pkts_retries)                                      \
    U32(sta_info.tx_fw_pkts_retry_exhausted) U32(sta_info.tx_ucast_pkts) U64(sta_info.tx_ucast_bytes)         \
    U32(sta_info.tx_mcast_pkts) U64(sta_info.tx_mcast_bytes) U32(sta_info.rx_ucast_pkts)                      \
    U64(sta_info.rx_ucast_bytes) U32(sta_info.rx_mcast_pkts) U64(sta_info.rx_mcast_bytes)                     \
    U64(wme_conters.AC_BK.rxbytes) U64(wme_conters.AC_BK.txbytes) U64(wme_conters.AC_BE.rxbytes)              \
    U64(wme_conters.AC_BE.txbytes) U64(wme_conters.AC_VI.rxbytes) U64(wme_conters.AC_VI.txbytes)              \
    U64(wme_conters.AC_VO.rxbytes) U64(wme_conters.AC_VO.txbytes) U64(wan.tx_pkts) U64(wan.rx_pkts)           \
    U64(wan.rx_bytes) U64(wan.tx_bytes)
// clang-format on

void render_plainly(const vantu_brcm_csv_data &row, char *out, size_t size)
{
    int at = 0;
#define PRINT_U32(member) at += snprintf(out + at, size - static_cast<size_t>(at), "%u,", row.member);
#define PRINT_INT(member) at += snprintf(out + at, size - static_cast<size_t>(at), "%d,", row.member);
#define PRINT_U64(member) \
    at += snprintf(out + at, size - static_cast<size_t>(at), "%llu,", static_cast<unsigned long long>(row.member));
    PLAIN_COLUMNS(PRINT_U32, PRINT_INT, PRINT_U64)
    out[at - 1] = '\0';
}

void parse_plainly(char *line, vantu_brcm_csv_data &row)
{
    char *rest = line;
#define READ_U32(member) row.member = static_cast<uint32_t>(strtoull(strsep(&rest, ","), nullptr, 10));
#define READ_INT(member) row.member = static_cast<int>(strtoull(strsep(&rest, ","), nullptr, 10));
#define READ_U64(member) row.member = strtoull(strsep(&rest, ","), nullptr, 10);
    PLAIN_COLUMNS(READ_U32, READ_INT, READ_U64)
}

} // namespace

int main()
{
    brcm_csvtable_init();
    vantu_brcm_csv_data row = sample();
    char plain[4096];
    char line[4096];
    render_plainly(row, plain, sizeof(plain));
    (void)brcm_data_struct_to_csv_string("", "", line, &row);
    if (strcmp(plain, line) != 0) {
        (void)fprintf(stderr, "bench: the two lines differ\n");
        return 1;
    }
    bench::compare("rendering a row of 69 columns, 20,000 times", 21,
                   {{"snprintf per column",
                     [&] {
                         for (int i = 0; i < repeats; i++)
                             render_plainly(row, plain, sizeof(plain));
                     }},
                    {"brcm_data_struct_to_csv_string", [&] {
                         for (int i = 0; i < repeats; i++)
                             (void)brcm_data_struct_to_csv_string("", "", line, &row);
                     }}});
    const auto fields = vantu::new_csv_fields();
    vantu_brcm_csv_data back = {};
    bench::compare("splitting and parsing such a row, 20,000 times", 21,
                   {{"strsep and strtoull per column",
                     [&] {
                         char copy[4096];
                         for (int i = 0; i < repeats; i++)
                             parse_plainly(strcpy(copy, line), back);
                     }},
                    {"split and brcm_csv_string_to_data_struct", [&] {
                         for (int i = 0; i < repeats; i++) {
                             fields->split(line, BRCM_CSV_COLUMNS);
                             (void)brcm_csv_string_to_data_struct(fields->at, &back);
                         }
                     }}});
    brcm_csvtable_destroy();
    return 0;
}
