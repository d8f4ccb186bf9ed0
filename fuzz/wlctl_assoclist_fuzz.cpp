// The stations of a radio, as the driver lists them.

#include "fuzz.hpp"
#include "vantu-ll-api/vantu_ll_wlctl.h"

FUZZ_TARGET(std::string_view input)
{
    fuzz::list<vantu_ll_wlctl_devicemac> stations(vantu_ll_wlctl_assoclist_sclist_init);
    const int result = fuzz::parse(input, internal_wlctl_assoclist, "a radio with a long name", stations.get());
    REQUIRE(stations.size() == fuzz::reads_of(input, 256));
    bool all_understood = true;
    for (const vantu_ll_wlctl_devicemac *station : stations.records()) {
        REQUIRE(strcmp(station->radio, "a radio with ") == 0);
        REQUIRE(fuzz::is_terminated(station->mac));
        all_understood = all_understood && station->mac[0] != '\0';
    }
    REQUIRE(result == (all_understood ? 0 : -1));
}
