// A station's report, and the differences of its counters.

#include "fuzz.hpp"
#include "vantu-ll-api/vantu_ll_wlctl.h"

static vantu_ll_wlctl_sta_info untouched()
{
    vantu_ll_wlctl_sta_info info;
    memset(&info, 0x5a, sizeof(info));
    return info;
}

static void check_deltas(const vantu_ll_wlctl_sta_info &newer)
{
    vantu_ll_wlctl_sta_info older = newer;
    REQUIRE(vantu_ll_wlctl_sta_info_get_delta(&older, &newer) == 0);
    REQUIRE(older.tx_bytes == 0 && older.rx_pkts == 0 && older.tx_fw_pkts_retry_exhausted == 0);
    REQUIRE(older.idle == newer.idle && strcmp(older.state, newer.state) == 0);
    older = {};
    REQUIRE(vantu_ll_wlctl_sta_info_get_delta(&older, &newer) == 0);
    REQUIRE(older.tx_bytes == newer.tx_bytes && older.rx_retries == newer.rx_retries);
}

FUZZ_TARGET(std::string_view input)
{
    const vantu_ll_wlctl_sta_info before = untouched();
    vantu_ll_wlctl_sta_info info = before;
    const int result = fuzz::parse(input, internal_wlctl_get_sta_info_file, &info);
    if (result != 0) {
        REQUIRE(result == -1 && memcmp(&info, &before, sizeof(info)) == 0);
        return;
    }
    REQUIRE(fuzz::is_terminated(info.rateset) && fuzz::is_terminated(info.state));
    for (const uint64_t cut : {info.tx_ucast_bytes, info.tx_mcast_bytes, info.rx_ucast_bytes, info.rx_mcast_bytes})
        REQUIRE(cut <= UINT32_MAX);
    check_deltas(info);
    if (input.back() != '\n')
        return;
    // A line that is not known changes nothing.
    vantu_ll_wlctl_sta_info again = before;
    REQUIRE(fuzz::parse(std::string(input) + "\tpower save: off\n", internal_wlctl_get_sta_info_file, &again) == 0);
    REQUIRE(again.tx_bytes == info.tx_bytes && again.idle == info.idle && strcmp(again.state, info.state) == 0);
}
