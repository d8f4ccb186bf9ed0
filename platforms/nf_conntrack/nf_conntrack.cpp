// Dumps the kernel's connection tracking table, one address family after the other: see nf_conntrack.h.

#include "nf_conntrack/nf_conntrack.h"

#include "vantu-ll-api/log.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <memory>

namespace
{

// What the library hands out for a group of attributes; zero when the entry has none of it.
template <typename Group>
Group group_of(const nf_conntrack *ct, nf_conntrack_attr_grp group)
{
    Group out = {};
    (void)nfct_get_attr_grp(ct, group, &out);
    return out;
}

void take_addresses_ipv4(const nf_conntrack *ct, vantu_ll_conntrack_flow &flow)
{
    const auto group = group_of<nfct_attr_grp_ipv4>(ct, ATTR_GRP_ORIG_IPV4);
    flow.src.ip_version = 4;
    flow.dst.ip_version = 4;
    flow.src._u.ipv4.s_addr = group.src;
    flow.dst._u.ipv4.s_addr = group.dst;
}

void take_addresses_ipv6(const nf_conntrack *ct, vantu_ll_conntrack_flow &flow)
{
    const auto group = group_of<nfct_attr_grp_ipv6>(ct, ATTR_GRP_ORIG_IPV6);
    static_assert(sizeof(group.src) == sizeof(flow.src._u.ipv6));
    flow.src.ip_version = 6;
    flow.dst.ip_version = 6;
    memcpy(&flow.src._u.ipv6, group.src, sizeof(group.src));
    memcpy(&flow.dst._u.ipv6, group.dst, sizeof(group.dst));
}

int append_flow(const nf_conntrack *ct, void *data,
                void (*take_addresses)(const nf_conntrack *, vantu_ll_conntrack_flow &))
{
    vantu_ll_conntrack_flow flow = {};
    flow.proto = nfct_get_attr_u8(ct, ATTR_L4PROTO);
    if (flow.proto == IPPROTO_ICMP || flow.proto == IPPROTO_IGMP)
        return NFCT_CB_CONTINUE;

    take_addresses(ct, flow);
    const auto ports = group_of<nfct_attr_grp_port>(ct, ATTR_GRP_ORIG_PORT);
    flow.sport = ntohs(ports.sport);
    flow.dport = ntohs(ports.dport);
    const auto sent = group_of<nfct_attr_grp_ctrs>(ct, ATTR_GRP_ORIG_COUNTERS);
    flow.tx_packets = sent.packets;
    flow.tx_bytes = sent.bytes;
    const auto received = group_of<nfct_attr_grp_ctrs>(ct, ATTR_GRP_REPL_COUNTERS);
    flow.rx_packets = received.packets;
    flow.rx_bytes = received.bytes;
    if (flow.proto == IPPROTO_TCP)
        flow.tcp_state = nfct_get_attr_u8(ct, ATTR_TCP_STATE);
    flow.mark = nfct_get_attr_u32(ct, ATTR_MARK);
    flow.use = static_cast<uint16_t>(nfct_get_attr_u32(ct, ATTR_USE));
    (void)sclist_append(static_cast<sclist_t *>(data), &flow);
    return NFCT_CB_CONTINUE;
}

using dump_callback = int (*)(nf_conntrack_msg_type, nf_conntrack *, void *);

int dump(nfct_handle *handle, uint32_t family, dump_callback callback, sclist_t *flows)
{
    (void)nfct_callback_register(handle, NFCT_T_ALL, callback, flows);
    const int result = nfct_query(handle, NFCT_Q_DUMP, &family);
    if (result == -1)
        log_error("(%d)(%s)\n", result, strerror(errno));
    nfct_callback_unregister(handle);
    return result;
}

struct handle_closer {
    void operator()(nfct_handle *handle) const { (void)nfct_close(handle); }
};

} // namespace

int cb_ipv4only(enum nf_conntrack_msg_type type, struct nf_conntrack *ct, void *data)
{
    (void)type;
    return append_flow(ct, data, take_addresses_ipv4);
}

int cb_ipv6only(enum nf_conntrack_msg_type type, struct nf_conntrack *ct, void *data)
{
    (void)type;
    return append_flow(ct, data, take_addresses_ipv6);
}

int nfconntrack_get_conntrack(sclist_t *flows, sclist_t *ports, int maxlen)
{
    (void)ports;
    (void)maxlen;
    (void)sclist_clear(flows);

    const std::unique_ptr<nfct_handle, handle_closer> handle(nfct_open(CONNTRACK, 0));
    if (handle == nullptr) {
        log_error("nfct_open failed");
        return -1;
    }
    (void)dump(handle.get(), AF_INET, cb_ipv4only, flows);
    return dump(handle.get(), AF_INET6, cb_ipv6only, flows);
}
