// Lease lookups: see vantu-libs2/vantu-dhcp.h.

#include "vantu-libs2/vantu-dhcp.h"

#include <cstring>

int _vantu_utils_get_dhcp_device_by_key(sclist_t *leases, const char *key, vantu_ll_dhcp *lease)
{
    const auto *found = static_cast<const vantu_ll_dhcp *>(sclist_seek(leases, key));
    if (found == nullptr)
        return -1;
    *lease = *found;
    return 0;
}

int vantu_get_mac_by_ip(sclist_t *leases, const char *ip, char *mac)
{
    vantu_ll_dhcp lease;
    if (_vantu_utils_get_dhcp_device_by_key(leases, ip, &lease) != 0)
        return -1;
    (void)stpcpy(mac, lease.mac_address);
    return 0;
}

int vantu_get_ip_by_mac(sclist_t *leases, const char *mac, char *ip, char *hostname)
{
    vantu_ll_dhcp lease;
    if (_vantu_utils_get_dhcp_device_by_key(leases, mac, &lease) != 0)
        return -1;
    (void)stpcpy(ip, lease.ip_address);
    (void)stpcpy(hostname, lease.hostname);
    return 0;
}
