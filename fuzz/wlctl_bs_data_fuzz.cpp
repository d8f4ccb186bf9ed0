// The stations' shares of the air.

#include "fuzz.hpp"
#include "vantu-ll-api/vantu_ll_wlctl.h"

FUZZ_TARGET(std::string_view input)
{
    vantu_ll_wlctl_bsdata_list list;
    memset(&list, 0x5a, sizeof(list));
    const int result = fuzz::parse(input, internal_wlctl_get_bsdata, &list);
    REQUIRE(list.n_stations >= 0 && list.n_stations <= VANTU_LL_MAX_BSDATA_STATIONS);
    REQUIRE(static_cast<size_t>(list.n_stations) <= fuzz::reads_of(input, 80));
    REQUIRE(result == 0 || result == -1 || result == -3);
    REQUIRE(result != -1 || list.n_stations == 0);
    REQUIRE(result != -3 || list.n_stations == VANTU_LL_MAX_BSDATA_STATIONS);
    for (int i = 0; i < VANTU_LL_MAX_BSDATA_STATIONS; i++) {
        REQUIRE(fuzz::is_terminated(list.stations[i].mac));
        REQUIRE((list.stations[i].mac[0] == '\0') == (i >= list.n_stations));
    }
}
