// The counters by access category. What was understood is printed as the driver prints it, and must be understood
// alike.

#include "fuzz.hpp"
#include "vantu-ll-api/vantu_ll_wlctl.h"

#include <cinttypes>

static std::string printed(const vantu_ll_wlctl_wme_counters_data &data)
{
    return fuzz::format(
        "\nAC_BE: tx frames: %" PRIu64 " bytes: %" PRIu64 " failed frames: %" PRIu64 " failed bytes: %" PRIu64
        "\n       rx frames: %" PRIu64 " bytes: %" PRIu64 " failed frames: %" PRIu64 " failed bytes: %" PRIu64
        "\n       foward frames: %" PRIu64 " bytes: %" PRIu64 "\n       tx frames time expired: %" PRIu64 "\n",
        data.txframes, data.txbytes, data.txfailedframes, data.txfailedbytes, data.rxframes, data.rxbytes,
        data.rxfailedframes, data.rxfailedbytes, data.forward_frames, data.forward_bytes, data.tx_frames_time_expired);
}

FUZZ_TARGET(std::string_view input)
{
    const fuzz::stream from = fuzz::stream_of(input);
    for (;;) {
        vantu_ll_wlctl_wme_counters_data data;
        const int result = _get_wme_counters_data(from.get(), &data);
        REQUIRE(result == 0 || result == -1);
        if (result != 0)
            return;
        vantu_ll_wlctl_wme_counters_data again;
        REQUIRE(fuzz::parse(printed(data), _get_wme_counters_data, &again) == 0);
        REQUIRE(memcmp(&again, &data, sizeof(data)) == 0);
        REQUIRE(vantu_ll_wlctl_wme_counters_data_get_delta(&again, &data) == 0);
        REQUIRE(again.txframes == 0 && again.forward_bytes == 0);
        REQUIRE(again.tx_frames_time_expired == data.tx_frames_time_expired);
    }
}
