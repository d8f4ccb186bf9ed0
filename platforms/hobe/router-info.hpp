// The identity record, filled alike whether the configuration is at hand or asked of the container's host.
#pragma once

#include "vantu-libs2/vantu-wifi-common.h"

namespace vantu
{

// Reads one text of the configuration into `out` of `len` characters. Returns 0 when it was read; a text that is
// missing leaves `out` as it was.
using identity_reader = int (*)(char *out, int len);

struct identity_readers {
    identity_reader hardware_model;
    identity_reader base_mac;
    identity_reader firmware_version;
};

void fill_router_info(vantu_router_info &info, const identity_readers &readers);

} // namespace vantu
