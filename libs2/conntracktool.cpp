// Flow tracking and marking: see vantu-libs2/conntracktool.h.

#include "vantu-libs2/conntracktool.h"

#include "flow_key.hpp"
#include "list_owner.hpp"
#include "tool.hpp"
#include "typed_list.hpp"
#include "vantu-libs2/csv.h"
#include "vantu-libs2/utils.h"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/log.h"

#include <cerrno>

namespace
{

constexpr auto vantu_proto_port_range_size = vantu::record_size<vantu_proto_port_range>;

int vantu_proto_port_range_comparator(const void *a, const void *b)
{
    const auto *first = static_cast<const vantu_proto_port_range *>(a);
    const auto *second = static_cast<const vantu_proto_port_range *>(b);
    return first->start_port <= second->start_port ? 1 : 0;
}

void take_deltas(vantu_ll_conntrack_flow &flow, const vantu_ll_conntrack_flow &later)
{
    flow.has_delta = 1;
    flow.tx_packets = _get_delta64(flow.tx_packets, later.tx_packets);
    flow.tx_bytes = _get_delta64(flow.tx_bytes, later.tx_bytes);
    flow.rx_packets = _get_delta64(flow.rx_packets, later.rx_packets);
    flow.rx_bytes = _get_delta64(flow.rx_bytes, later.rx_bytes);
}

} // namespace

int vantu_init_port_range_list(sclist_t *list)
{
    return vantu::init_typed_list(list, vantu_proto_port_range_size, nullptr, vantu_proto_port_range_comparator);
}

int read_all_conntrack(sclist_t *out, sclist_t *second, vantu_platform_ops *ops)
{
    if (ops->get_conntrack == nullptr) {
        log_error("Error ops get_conntrack not implemented!");
        return 0;
    }
    sclist_t snapshot;
    const vantu::list_owner owner(snapshot, vantu_ll_wrt_conntrack_list_init);
    (void)ops->get_conntrack(&snapshot, second, 0);
    SCLIST_FOREACH(vantu_ll_conntrack_flow, flow, &snapshot) {
        (void)sclist_append(out, flow);
    }
    SCLIST_FOREACH_END(&snapshot);
    return static_cast<int>(sclist_size(out));
}

int conntrack_compare_flows(const vantu_ll_conntrack_flow *a, const vantu_ll_conntrack_flow *b)
{
    return vantu::same_flow(*a, *b) ? 0 : -1;
}

int conntrack_get_byte_deltas(sclist_t *flows, sclist_t *other)
{
    const vantu::flow_index later(*other);
    const void *first = sclist_get_at(other, 0);
    SCLIST_FOREACH(vantu_ll_conntrack_flow, flow, flows) {
        const vantu_ll_conntrack_flow *found = later.find(*flow);
        if (found != nullptr && found != first)
            take_deltas(*flow, *found);
    }
    SCLIST_FOREACH_END(flows);
    return 0;
}

int conntrack_is_marked(const vantu_ll_conntrack_flow *flow, int mark, sclist_t *flows)
{
    int result = -1;
    SCLIST_FOREACH(vantu_ll_conntrack_flow, other, flows) {
        if (conntrack_compare_flows(flow, other) == 0)
            continue;
        result = flow->mark == static_cast<uint32_t>(mark) ? 1 : 0;
        break;
    }
    SCLIST_FOREACH_END(flows);
    return result;
}

void conntrack_mark_flow(const vantu_ll_conntrack_flow *flow, int mark)
{
    const char *protocol = vantu_ip_proto_to_str(flow->proto);
    if (protocol == nullptr) {
        log_error("no name for protocol %d: the flow is not marked", flow->proto);
        return;
    }
    char src[64] = "";
    char dst[64] = "";
    (void)vantu_ip_to_string(&flow->src, src, sizeof(src));
    (void)vantu_ip_to_string(&flow->dst, dst, sizeof(dst));
    const vantu::command_line<200> command("conntrack -U -s %s -d %s -p %s --sport %d -m %d", src, dst, protocol,
                                           static_cast<int>(flow->sport), mark);
    log_debug("%s", command.text());
    if (vantu::run_command(command) == -1)
        log_error("command %s returned -1 errno %d", command.text(), errno);
}

void conntrack_debug_print_flow(const vantu_ll_conntrack_flow *flow)
{
    char src[INET6_ADDRSTRLEN] = "";
    char dst[INET6_ADDRSTRLEN] = "";
    (void)vantu_ip_to_string(&flow->src, src, sizeof(src));
    (void)vantu_ip_to_string(&flow->dst, dst, sizeof(dst));
    log_debug("ip: %d src=%s, dst=%s sport=%d, dport=%d proto=%d mark=%llu", flow->src.ip_version, src, dst,
              flow->sport, flow->dport, flow->proto, static_cast<unsigned long long>(flow->mark));
}
