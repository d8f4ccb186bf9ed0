// The stations of a radio, as the ubus object answers.

#include "fuzz.hpp"
#include "vantu-ll-api/vantu_ll_iwinfo.h"

FUZZ_TARGET(std::string_view input)
{
    fuzz::list<iwinfo_assoclist_device> stations(vantu_ll_iwinfo_assoclist_sclist_init);
    REQUIRE(fuzz::parse(input, internal_iwinfo_assoclist, "wlan0", stations.get()) == 0);
    REQUIRE(stations.size() <= input.size());
    for (const iwinfo_assoclist_device *station : stations.records()) {
        REQUIRE(strcmp(station->interface, "wlan0") == 0);
        REQUIRE(fuzz::is_terminated(station->mac));
        REQUIRE(fuzz::is_terminated(station->modulation));
        REQUIRE(fuzz::is_terminated(station->channel_width));
    }
}
