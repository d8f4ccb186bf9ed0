// Looks up leases by MAC or IP address.
#ifndef VANTU_LIBS2_VANTU_DHCP_H
#define VANTU_LIBS2_VANTU_DHCP_H

#include "vantu-ll-api/vantu_ll_wrt.h"
#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

// Each looks for the first lease of the list (from vantu_ll_wrt_dhcp_list_init) whose MAC or else IP address equals
// the text, ignoring case, and returns 0 with what it found, or -1 with the outputs untouched.

// The whole lease.
int _vantu_utils_get_dhcp_device_by_key(sclist_t *leases, const char *key, vantu_ll_dhcp *lease);

// The MAC text; `mac` must hold 32 characters.
int vantu_get_mac_by_ip(sclist_t *leases, const char *ip, char *mac);

// The IP text and the host name; `ip` must hold 40 characters, `hostname` 256.
int vantu_get_ip_by_mac(sclist_t *leases, const char *mac, char *ip, char *hostname);

#ifdef __cplusplus
}
#endif

#endif
