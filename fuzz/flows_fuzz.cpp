// Snapshots of connections against plain loops: the index of flows, the differences of counters, and what counts as the
// same flow.

#include "flow_key.hpp"
#include "fuzz.hpp"
#include "vantu-libs2/conntracktool.h"
#include "vantu-ll-api/listinits.h"

namespace
{

using flow = vantu_ll_conntrack_flow;

// Of few kinds, so that equal and nearly equal ones occur.
flow take_flow(FuzzedDataProvider &in)
{
    flow out = {};
    out.src._u.ipv4.s_addr = in.ConsumeIntegralInRange<uint32_t>(0, 2);
    out.dst._u.ipv4.s_addr = in.ConsumeIntegralInRange<uint32_t>(0, 1);
    out.src._u.ipv6.s6_addr[15] = in.ConsumeIntegral<uint8_t>(); // takes no part
    out.proto = in.ConsumeBool() ? 6 : 17;
    out.sport = in.ConsumeIntegralInRange<uint16_t>(0, 2);
    out.dport = in.ConsumeIntegralInRange<uint16_t>(0, 1);
    out.tx_bytes = in.ConsumeIntegral<uint8_t>();
    out.rx_packets = in.ConsumeIntegral<uint64_t>();
    return out;
}

uint64_t difference(uint64_t from, uint64_t to)
{
    return to > from ? to - from : 0;
}

} // namespace

FUZZ_TARGET(std::string_view input)
{
    FuzzedDataProvider in(reinterpret_cast<const uint8_t *>(input.data()), input.size());
    fuzz::list<flow> earlier(vantu_ll_wrt_conntrack_list_init);
    fuzz::list<flow> later(vantu_ll_wrt_conntrack_list_init);
    std::vector<flow> model;
    while (in.remaining_bytes() > 0 && model.size() < 64) {
        const flow one = take_flow(in);
        if (in.ConsumeBool()) {
            REQUIRE(sclist_append(later.get(), &one) == 1);
        } else {
            REQUIRE(sclist_append(earlier.get(), &one) == 1);
            model.push_back(one);
        }
    }
    const auto others = later.records();
    {
        const vantu::flow_index index(*later.get());
        for (const flow &one : model)
            REQUIRE(index.find(one) == sclist_seek(later.get(), &one));
    }
    REQUIRE(conntrack_get_byte_deltas(earlier.get(), later.get()) == 0);
    size_t i = 0;
    for (const flow *one : earlier.records()) {
        const flow &before = model[i++];
        const auto found = std::find_if(others.begin(), others.end(), [&](const flow *other) {
            return conntrack_compare_flows(&before, other) == 0;
        });
        const bool counts = found != others.end() && found != others.begin();
        REQUIRE(one->has_delta == (counts ? 1 : 0));
        REQUIRE(one->tx_bytes == (counts ? difference(before.tx_bytes, (*found)->tx_bytes) : before.tx_bytes));
        REQUIRE(one->rx_packets == (counts ? difference(before.rx_packets, (*found)->rx_packets) : before.rx_packets));
    }
}
