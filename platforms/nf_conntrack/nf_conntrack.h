// The kernel's connection tracking table, read through netlink: no text is parsed.
#ifndef VANTU_PLATFORMS_NF_CONNTRACK_H
#define VANTU_PLATFORMS_NF_CONNTRACK_H

#include <libnetfilter_conntrack/libnetfilter_conntrack.h>

#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

// The get_conntrack operation. Empties `flows` (a list from vantu_ll_wrt_conntrack_list_init) and appends one
// vantu_ll_conntrack_flow per IPv4 and then per IPv6 connection, without ICMP and IGMP (ICMPv6 is kept), with
// binary addresses and ports in host byte order; `zone` and `has_delta` stay 0. Counters are 0 unless the kernel
// counts (net.netfilter.nf_conntrack_acct). `ports` and `maxlen` are ignored.
//
// Returns the result of the IPv6 dump, 0 or -1; a failure of the IPv4 dump alone is only logged. -1 as well when
// netlink cannot be opened. Flows that arrived before a failure stay in the list. Needs CAP_NET_ADMIN.
int nfconntrack_get_conntrack(sclist_t *flows, sclist_t *ports, int maxlen);

// The callbacks of the two dumps: append `ct` to the flow list `data`. Always return NFCT_CB_CONTINUE.
int cb_ipv4only(enum nf_conntrack_msg_type type, struct nf_conntrack *ct, void *data);
int cb_ipv6only(enum nf_conntrack_msg_type type, struct nf_conntrack *ct, void *data);

#ifdef __cplusplus
}
#endif

#endif
