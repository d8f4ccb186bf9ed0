// The reports of one number: aggregation on or off, and the retry limits.

#include "fuzz.hpp"
#include "vantu-ll-api/vantu_ll_wlctl.h"

static void check(int result, int value)
{
    REQUIRE(result == 0 || (result == -1 && value == -1));
}

FUZZ_TARGET(std::string_view input)
{
    fuzz::tools_print(input);
    int value = 0;
    check(vantu_ll_wlctl_get_wifi_ampdu(&value), value);
    check(vantu_ll_wlctl_get_wifi_ampdu_for_tid(3, &value), value);
    check(vantu_ll_wlctl_get_wifi_ampdu_retry_limit_tid(3, &value), value);
    check(vantu_ll_wlctl_get_wifi_ampdu_rr_retry_limit_tid(3, &value), value);
    const int longer = vantu_ll_wlctl_get_long_retry_limit("wl0", &value);
    check(longer, value);
    int same = 0;
    REQUIRE(vantu_ll_wlctl_get_short_retry_limit("wl0", &same) == longer && same == value);
}
