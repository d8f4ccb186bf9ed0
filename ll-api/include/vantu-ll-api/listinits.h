// The lists of leases and of connections.
#ifndef VANTU_LL_API_LISTINITS_H
#define VANTU_LL_API_LISTINITS_H

#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

// An empty list of vantu_ll_dhcp. Sought by a text that equals `mac_address` or else `ip_address`, ignoring
// case; records are equal when their `mac_address` texts are identical. Returns 0; -1 when memory is short.
int vantu_ll_wrt_dhcp_list_init(sclist_t *list);

// An empty list of vantu_ll_conntrack_flow, sought by another such record. A flow is known by its ports, its
// protocol and the first four bytes of each address: the whole of a binary IPv4 address, the first 32 bits of an
// IPv6 one, the first four characters of a text. The comparator tells equal (0) from different (1) and gives no
// order, so the list must not be sorted by it. Returns 0; -1 when memory is short.
int vantu_ll_wrt_conntrack_list_init(sclist_t *list);

#ifdef __cplusplus
}
#endif

#endif
