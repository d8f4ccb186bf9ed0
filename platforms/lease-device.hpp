// What a lease says of a device, before anything is known of its link.
#pragma once

#include "text.hpp"
#include "vantu-libs2/utils.h"
#include "vantu-libs2/vantu-wifi-common.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

namespace vantu
{

inline vantu_common_device device_of(const vantu_ll_dhcp &lease)
{
    vantu_common_device device = {};
    copy_text(device.mac, lease.mac_address);
    vantu_strtoupper(device.mac);
    copy_text(device.ipv4, lease.ip_address);
    copy_text(device.hostname, lease.hostname);
    return device;
}

} // namespace vantu
