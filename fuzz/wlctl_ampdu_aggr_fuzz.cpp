// Aggregation by traffic identifier. What was understood is printed as the driver prints it, and must be understood
// alike.

#include "fuzz.hpp"
#include "vantu-ll-api/vantu_ll_wlctl.h"

FUZZ_TARGET(std::string_view input)
{
    vantu_ll_wlctl_ampdu_aggr aggr = {};
    const int result = fuzz::parse(input, internal_ampdu_parse_tx_or_rxaggr, &aggr);
    REQUIRE(fuzz::is_terminated(aggr.ampdu_txaggr_override));
    REQUIRE(result == 0 || result == -1);
    if (result != 0)
        return;
    std::string printed = fuzz::format("ampdu_rxaggr_override: %s\n", aggr.ampdu_txaggr_override);
    for (const int status : aggr.tid)
        printed += fuzz::format("tid:%d status:%d\n", status, status);
    vantu_ll_wlctl_ampdu_aggr again = {};
    REQUIRE(fuzz::parse(printed, internal_ampdu_parse_tx_or_rxaggr, &again) == 0);
    REQUIRE(memcmp(&again, &aggr, sizeof(aggr)) == 0);
}
