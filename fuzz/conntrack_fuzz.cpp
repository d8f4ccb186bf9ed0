// The connection table as text. What was understood is printed as the kernel prints it, and must be understood alike.

#include "fuzz.hpp"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

#include <cinttypes>

static const char *text_of(const vantu_ip &address)
{
    return reinterpret_cast<const char *>(&address._u);
}

static std::string line_of(const vantu_ll_conntrack_flow &flow)
{
    return fuzz::format("ipv4     2 any      %u 9 src=%s dst=%s sport=%u dport=%u packets=%" PRIu64 " bytes=%" PRIu64
                        " packets=%" PRIu64 " bytes=%" PRIu64 " mark=%u use=%u\n",
                        flow.proto, text_of(flow.src), text_of(flow.dst), flow.sport, flow.dport, flow.tx_packets,
                        flow.tx_bytes, flow.rx_packets, flow.rx_bytes, flow.mark, flow.use);
}

FUZZ_TARGET(std::string_view input)
{
    fuzz::list<vantu_ll_conntrack_flow> flows(vantu_ll_wrt_conntrack_list_init);
    REQUIRE(fuzz::parse(input, internal_vantu_ll_wrt_get_conntrack, flows.get()) == 0);
    REQUIRE(flows.size() <= fuzz::reads_of(input, 320));
    std::string text;
    for (const vantu_ll_conntrack_flow *flow : flows.records()) {
        for (const vantu_ip *address : {&flow->src, &flow->dst}) {
            REQUIRE(memchr(&address->_u, '\0', sizeof(address->_u)) != nullptr && text_of(*address)[0] != '\0');
            REQUIRE(address->ip_version == 0);
        }
        REQUIRE(flow->proto != 1 && flow->proto != 2);
        REQUIRE(flow->has_delta == 0 && flow->tcp_state == 0 && flow->zone == 0);
        text += line_of(*flow);
    }
    fuzz::list<vantu_ll_conntrack_flow> again(vantu_ll_wrt_conntrack_list_init);
    REQUIRE(fuzz::parse(text, internal_vantu_ll_wrt_get_conntrack, again.get()) == 0);
    const auto records = flows.records();
    const auto copies = again.records();
    REQUIRE(copies.size() == records.size());
    for (size_t i = 0; i < copies.size(); i++)
        REQUIRE(line_of(*copies[i]) == line_of(*records[i]));
}
