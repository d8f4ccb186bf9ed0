// The channel's use. What was understood is printed as the driver prints it, and must be understood alike.

#include "fuzz.hpp"
#include "vantu-ll-api/vantu_ll_wlctl.h"

static std::string printed(const vantu_ll_wlctl_chanim_info &info)
{
    return fuzz::format("version: 4\nchanspec tx\n36/80 %d %d %d %d %d %d %d %d %d %u %u %d %d %d %u\n", info.tx,
                        info.inbss, info.obss, info.nocat, info.nopkt, info.doze, info.txop, info.goodtx, info.badtx,
                        info.glitch, info.badplcp, info.knoise, info.idle, info.busy, info.timestamp);
}

FUZZ_TARGET(std::string_view input)
{
    vantu_ll_wlctl_chanim_info info = {};
    const int result = fuzz::parse(input, internal_wlctl_get_chanim_stats, &info);
    REQUIRE(info.epochstamp == 0);
    REQUIRE(result == 0 || result == -1);
    if (result != 0)
        return;
    vantu_ll_wlctl_chanim_info again = {};
    REQUIRE(fuzz::parse(printed(info), internal_wlctl_get_chanim_stats, &again) == 0);
    again.chanspec = info.chanspec;
    REQUIRE(memcmp(&again, &info, sizeof(info)) == 0);
}
