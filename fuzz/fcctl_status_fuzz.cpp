// The flow cache's status.

#include "brcm-generic/vantu-wifi-brcm-fcctl.h"
#include "fuzz.hpp"

FUZZ_TARGET(std::string_view input)
{
    constexpr int before = 0x5a5a;
    int count = before;
    const int result = fuzz::parse(input, internal_brcm_fcctl_get_sw_defers_count, &count);
    REQUIRE(result == 0 || (result == -1 && count == before));
    if (result != 0)
        return;
    int again = before;
    const std::string printed = fuzz::format("  Pkt-SW Activate Deferral count = %d\n", count);
    REQUIRE(fuzz::parse(printed, internal_brcm_fcctl_get_sw_defers_count, &again) == 0 && again == count);
}
