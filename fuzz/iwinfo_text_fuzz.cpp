// The stations of a radio, as iwinfo prints them.

#include "fuzz.hpp"
#include "vantu-ll-api/vantu_ll_iwinfo.h"

FUZZ_TARGET(std::string_view input)
{
    fuzz::list<iwinfo_assoclist_device> stations(vantu_ll_iwinfo_assoclist_sclist_init);
    REQUIRE(fuzz::parse(input, internal_iwinfo_assoclist_direct, "wlan0", stations.get()) == 0);
    REQUIRE(stations.size() == fuzz::reads_of(input, 1024) / 5);
    for (const iwinfo_assoclist_device *station : stations.records()) {
        REQUIRE(strcmp(station->interface, "wlan0") == 0);
        REQUIRE(fuzz::is_terminated(station->mac));
        REQUIRE(station->rx_rate % 1000 == 0 && station->tx_rate % 1000 == 0);
        REQUIRE(station->inactive <= INT64_MAX && station->rx_packages <= INT64_MAX);
        REQUIRE(station->modulation[0] == '\0' && station->channel_width[0] == '\0');
        REQUIRE(station->rx_bytes == 0 && station->tx_bytes == 0 && station->sta_connect_time == 0);
    }
}
