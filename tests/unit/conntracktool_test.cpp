// Flows: snapshots through a made-up table of operations, their differences against a plain restatement, marks, and the
// list of port ranges, whose comparator orders and tells nothing of equality.

#include "vantu-libs2/conntracktool.h"

#include "support.hpp"
#include "support/flows.hpp"
#include "vantu-libs2/csv.h"
#include "vantu-ll-api/listinits.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <random>

using namespace std::string_literals;
using namespace support;

namespace
{

// The commands that were run, and what running one gives.
texts commands;
int command_status = 0;

bool no_memory = false;

} // namespace

// Called instead of the functions of these names, which the linker renames.
extern "C" {
void *__real_calloc(size_t count, size_t size);

int __wrap_system(const char *command)
{
    commands.emplace_back(command);
    if (command_status == -1)
        errno = ENOMEM;
    return command_status;
}

void *__wrap_calloc(size_t count, size_t size)
{
    return no_memory ? nullptr : __real_calloc(count, size);
}
}

namespace
{

using port_ranges = support::list<vantu_init_port_range_list>;

vantu_proto_port_range range_of(int protocol, uint16_t start, uint16_t end)
{
    return {protocol, start, end, nullptr};
}

TEST(PortRangeList, InitialiserReturnsZeroAndMinusOneWithoutList)
{
    sclist_t list;
    EXPECT_EQ(vantu_init_port_range_list(&list), 0);
    EXPECT_EQ(sclist_size(&list), 0U);
    sclist_destroy(&list);
    EXPECT_EQ(vantu_init_port_range_list(nullptr), -1);
}

TEST(PortRangeList, CopiesWholeRecordsButOnlyPointsToTheService)
{
    port_ranges list;
    vantu_proto_service service = {"mail", "office", 3, 7};
    vantu_proto_port_range range = {6, 25, 26, &service};
    EXPECT_NE(list.attrs.copy_data, 0);
    EXPECT_EQ(list.attrs.meter(&range), sizeof(vantu_proto_port_range));
    EXPECT_EQ(sclist_append(&list, &range), 1);
    range = {};

    const auto *stored = static_cast<const vantu_proto_port_range *>(sclist_get_at(&list, 0));
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(stored->protocol, 6);
    EXPECT_EQ(stored->start_port, 25);
    EXPECT_EQ(stored->end_port, 26);
    EXPECT_EQ(stored->service, &service);
}

TEST(PortRangeList, HasNoSeeker)
{
    port_ranges list;
    const auto range = range_of(6, 80, 80);
    EXPECT_EQ(sclist_append(&list, &range), 1);
    EXPECT_EQ(list.attrs.seeker, nullptr);
    EXPECT_EQ(sclist_seek(&list, &range), nullptr);
}

TEST(PortRangeList, ComparatorIsOneWhenTheFirstRangeDoesNotStartAboveTheSecond)
{
    const struct {
        const char *name;
        vantu_proto_port_range a;
        vantu_proto_port_range b;
        int want;
    } rows[] = {
        {"below", range_of(6, 79, 90), range_of(6, 80, 90), 1},
        {"same", range_of(6, 80, 90), range_of(6, 80, 90), 1},
        {"above", range_of(6, 81, 90), range_of(6, 80, 90), 0},
        {"lowest and highest", range_of(6, 0, 0), range_of(6, 65535, 65535), 1},
        {"highest and lowest", range_of(6, 65535, 65535), range_of(6, 0, 0), 0},
        {"from 32768 on ports are not negative", range_of(6, 32768, 32768), range_of(6, 32767, 32767), 0},
        {"the end does not count", range_of(6, 80, 100), range_of(6, 80, 80), 1},
        {"the protocol does not count", range_of(17, 80, 80), range_of(6, 80, 80), 1},
        {"the protocol does not count, above", range_of(6, 81, 81), range_of(17, 80, 80), 0},
    };
    port_ranges list;
    for (const auto &row : rows)
        EXPECT_EQ(list.attrs.comparator(&row.a, &row.b), row.want) << row.name;
}

TEST(PortRangeList, LocatingDeliberatelyFindsTheFirstRangeThatStartsBelow)
{
    port_ranges list;
    for (const uint16_t start : {uint16_t{443}, uint16_t{80}, uint16_t{25}}) {
        const auto range = range_of(6, start, start);
        EXPECT_EQ(sclist_append(&list, &range), 1);
    }
    const struct {
        uint16_t start;
        int position;
    } rows[] = {{25, -1}, {26, 2}, {80, 2}, {81, 1}, {443, 1}, {444, 0}};
    for (const auto &row : rows) {
        const auto range = range_of(6, row.start, row.start);
        EXPECT_EQ(sclist_locate(&list, &range), row.position) << row.start;
    }
}

// ---- Flows ----

using flow_list = support::list<vantu_ll_wrt_conntrack_list_init>;

constexpr auto flow_of = flow_between<vantu_ll_conntrack_flow, uint8_t, uint16_t>;

vantu_ll_conntrack_flow usual_flow()
{
    return flow_of("192.168.2.20", "203.0.113.9", 6, 40000, 443);
}

vantu_ll_conntrack_flow counted(vantu_ll_conntrack_flow flow, uint64_t tx_packets, uint64_t tx_bytes,
                                uint64_t rx_packets, uint64_t rx_bytes)
{
    flow.tx_packets = tx_packets;
    flow.tx_bytes = tx_bytes;
    flow.rx_packets = rx_packets;
    flow.rx_bytes = rx_bytes;
    return flow;
}

void append(sclist_t &list, const vantu_ll_conntrack_flow &flow)
{
    ASSERT_EQ(sclist_append(&list, &flow), 1);
}

vantu_ll_conntrack_flow &at(sclist_t &list, unsigned int position)
{
    auto *flow = static_cast<vantu_ll_conntrack_flow *>(sclist_get_at(&list, position));
    if (flow == nullptr)
        abort();
    return *flow;
}

std::string figures(const vantu_ll_conntrack_flow &flow)
{
    return std::to_string(flow.has_delta) + ": " + std::to_string(flow.tx_packets) + " " +
           std::to_string(flow.tx_bytes) + " " + std::to_string(flow.rx_packets) + " " + std::to_string(flow.rx_bytes);
}

std::string all_of(sclist_t &list)
{
    std::string out;
    for (unsigned int i = 0; i < sclist_size(&list); i++)
        out += std::to_string(at(list, i).src._u.ipv4.s_addr) + ">" + std::to_string(at(list, i).dst._u.ipv4.s_addr) +
               " " + std::to_string(at(list, i).proto) + " " + std::to_string(at(list, i).sport) + " " +
               std::to_string(at(list, i).dport) + " " + figures(at(list, i)) + "\n";
    return out;
}

// ---- Which flows are the same ----

TEST(CompareFlows, FiveMembersMakeAFlowAndNothingElse)
{
    struct change {
        const char *name;
        void (*make)(vantu_ll_conntrack_flow &flow);
        int want;
    };
    using flow = vantu_ll_conntrack_flow;
    const change rows[] = {
        {"nothing", [](flow &) {}, 0},
        {"destination port", [](flow &f) { f.dport++; }, -1},
        {"source port", [](flow &f) { f.sport++; }, -1},
        {"source", [](flow &f) { f.src = address("192.168.2.21"); }, -1},
        {"first byte of the source", [](flow &f) { f.src = address("193.168.2.20"); }, -1},
        {"destination", [](flow &f) { f.dst = address("203.0.113.10"); }, -1},
        {"first byte of the destination", [](flow &f) { f.dst = address("204.0.113.9"); }, -1},
        {"protocol", [](flow &f) { f.proto = 17; }, -1},
        {"ports swapped", [](flow &f) { std::swap(f.sport, f.dport); }, -1},
        {"addresses swapped", [](flow &f) { std::swap(f.src, f.dst); }, -1},
        {"bytes behind the first four", [](flow &f) { f.src._u.ipv6.s6_addr[4] = f.dst._u.ipv6.s6_addr[15] = 1; }, 0},
        {"version of the addresses", [](flow &f) { f.src.ip_version = f.dst.ip_version = 6; }, 0},
        {"mark", [](flow &f) { f.mark = 7; }, 0},
        {"counters", [](flow &f) { f.tx_packets = f.tx_bytes = f.rx_packets = f.rx_bytes = 1; }, 0},
        {"state, zone, use, difference", [](flow &f) { f.tcp_state = f.zone = f.use = f.has_delta = 1; }, 0},
    };
    const auto first = usual_flow();
    flow_list list;
    for (const change &row : rows) {
        auto second = first;
        row.make(second);
        EXPECT_EQ(conntrack_compare_flows(&first, &second), row.want) << row.name;
        EXPECT_EQ(conntrack_compare_flows(&second, &first), row.want) << row.name;
        EXPECT_EQ(list.attrs.comparator(&first, &second) == 0, row.want == 0) << row.name;
        EXPECT_EQ(list.attrs.seeker(&first, &second) != 0, row.want == 0) << row.name;
    }
}

TEST(CompareFlows, Ipv6FlowsWhoseAddressesShareTheFirst32BitsAreTheSameWhichIsKept)
{
    const auto first = flow_of("2001:db8:1::1", "2001:db8:2::2", 17, 5000, 443);
    const auto second = flow_of("2001:db8:ffff::9", "2001:db8::", 17, 5000, 443);
    const auto third = flow_of("2001:db9:1::1", "2001:db8:2::2", 17, 5000, 443);
    EXPECT_EQ(conntrack_compare_flows(&first, &second), 0);
    EXPECT_EQ(conntrack_compare_flows(&first, &third), -1);
}

// ---- Snapshots ----

struct snapshot {
    std::vector<vantu_ll_conntrack_flow> flows;
    int result = 0;
    int calls = 0;
    sclist_t *second = nullptr;
    int maximum = -1;
    unsigned int size_before = 99;
} table;

int get_conntrack(sclist_t *list, sclist_t *second, int maximum)
{
    table.calls++;
    table.second = second;
    table.maximum = maximum;
    table.size_before = sclist_size(list);
    append_all(list, table.flows);
    return table.result;
}

TEST(ReadAllConntrack, WithoutTheOperationLogsAndReturnsZeroEvenWithFlowsInTheList)
{
    flow_list out;
    append(out, usual_flow());
    vantu_platform_ops ops = {};
    const log_capture log;
    EXPECT_EQ(read_all_conntrack(&out, nullptr, &ops), 0);
    EXPECT_EQ(log.lines, texts{"ERROR Error ops get_conntrack not implemented!"});
    EXPECT_EQ(sclist_size(&out), 1U);
}

TEST(ReadAllConntrack, AppendsInOrderAndPassesTheSecondListAndZero)
{
    table = {};
    for (const uint16_t port : {uint16_t{9}, uint16_t{3}, uint16_t{9}, uint16_t{65535}})
        table.flows.push_back(flow_of("192.168.2.20", "203.0.113.9", 6, port, 443));
    flow_list out;
    port_ranges second;
    vantu_platform_ops ops = {};
    ops.get_conntrack = get_conntrack;
    EXPECT_EQ(read_all_conntrack(&out, &second, &ops), 4);
    EXPECT_EQ(table.calls, 1);
    EXPECT_EQ(table.second, &second);
    EXPECT_EQ(table.maximum, 0);
    EXPECT_EQ(table.size_before, 0U);
    ASSERT_EQ(sclist_size(&out), 4U);
    for (unsigned int i = 0; i < 4; i++)
        EXPECT_EQ(memcmp(&at(out, i), &table.flows[i], sizeof(vantu_ll_conntrack_flow)), 0) << i;
}

TEST(ReadAllConntrack, DoesNotEmptyTheListSoThatFlowsAccumulateWhichIsKept)
{
    table = {};
    table.flows = {usual_flow(), flow_of("192.168.2.21", "203.0.113.9", 17, 1, 2)};
    flow_list out;
    vantu_platform_ops ops = {};
    ops.get_conntrack = get_conntrack;
    EXPECT_EQ(read_all_conntrack(&out, nullptr, &ops), 2);
    EXPECT_EQ(table.second, nullptr);
    EXPECT_EQ(read_all_conntrack(&out, nullptr, &ops), 4);
    EXPECT_EQ(table.size_before, 0U) << "the temporary list begins empty";
    table.flows.clear();
    EXPECT_EQ(read_all_conntrack(&out, nullptr, &ops), 4);
    EXPECT_EQ(at(out, 0).sport, 40000);
    EXPECT_EQ(at(out, 3).sport, 1);
}

TEST(ReadAllConntrack, IgnoresTheResultOfTheOperation)
{
    table = {};
    table.flows = {usual_flow()};
    flow_list out;
    vantu_platform_ops ops = {};
    ops.get_conntrack = get_conntrack;
    const log_capture log;
    for (const int result : {-1, 1, 77}) {
        table.result = result;
        (void)sclist_clear(&out);
        EXPECT_EQ(read_all_conntrack(&out, nullptr, &ops), 1) << result;
    }
    EXPECT_EQ(log.lines, texts());
}

// ---- Differences ----

TEST(Delta64, IsNeverWrapped)
{
    const struct {
        uint64_t first;
        uint64_t second;
        uint64_t want;
    } rows[] = {{0, 0, 0},
                {5, 5, 0},
                {5, 6, 1},
                {6, 5, 0},
                {0, UINT64_MAX, UINT64_MAX},
                {UINT64_MAX, 0, 0},
                {UINT64_MAX, 1, 0},
                {1, UINT64_MAX, UINT64_MAX - 1}};
    for (const auto &row : rows)
        EXPECT_EQ(_get_delta64(row.first, row.second), row.want) << row.first << " " << row.second;
}

TEST(ByteDeltas, OfCountersBecomeTheDifferencesToTheLaterSnapshot)
{
    const auto flow = usual_flow();
    const auto other = flow_of("192.168.2.99", "203.0.113.9", 6, 1, 1);
    const struct {
        const char *name;
        vantu_ll_conntrack_flow earlier;
        vantu_ll_conntrack_flow later;
        const char *want;
    } rows[] = {
        {"grown", counted(flow, 1, 20, 300, 4000), counted(flow, 3, 25, 307, 4011), "1: 2 5 7 11"},
        {"equal counters", counted(flow, 1, 2, 3, 4), counted(flow, 1, 2, 3, 4), "1: 0 0 0 0"},
        {"backwards", counted(flow, 9, 9, 9, 9), counted(flow, 8, 0, 8, 0), "1: 0 0 0 0"},
        {"each for itself", counted(flow, 9, 1, 9, 1), counted(flow, 8, 4, 10, 0), "1: 0 3 1 0"},
        {"64 bits", counted(flow, 0, 1, 1, 0), counted(flow, UINT64_MAX, UINT64_MAX, 4294967298, 4294967296),
         "1: 18446744073709551615 18446744073709551614 4294967297 4294967296"},
        {"not found", counted(flow, 1, 2, 3, 4),
         counted(flow_of("192.168.2.20", "203.0.113.9", 6, 40000, 444), 9, 9, 9, 9), "0: 1 2 3 4"},
    };
    for (const auto &row : rows) {
        flow_list earlier;
        flow_list later;
        append(earlier, row.earlier);
        append(later, other);
        append(later, row.later);
        EXPECT_EQ(conntrack_get_byte_deltas(&earlier, &later), 0) << row.name;
        EXPECT_EQ(figures(at(earlier, 0)), row.want) << row.name;
        EXPECT_EQ(figures(at(later, 1)), figures(row.later)) << row.name << ", the later snapshot";
    }
}

TEST(ByteDeltas, TouchNothingButTheCountersAndTheirSign)
{
    auto flow = counted(usual_flow(), 1, 2, 3, 4);
    flow.mark = 5;
    flow.zone = 6;
    flow.use = 7;
    flow.tcp_state = 8;
    auto newer = counted(usual_flow(), 11, 22, 33, 44);
    newer.mark = 55;
    newer.src._u.ipv6.s6_addr[9] = 1;
    flow_list earlier;
    flow_list later;
    append(earlier, flow);
    append(later, flow_of("192.168.2.99", "203.0.113.9", 6, 1, 1));
    append(later, newer);
    EXPECT_EQ(conntrack_get_byte_deltas(&earlier, &later), 0);
    auto want = counted(flow, 10, 20, 30, 40);
    want.has_delta = 1;
    EXPECT_EQ(memcmp(&at(earlier, 0), &want, sizeof(want)), 0);
}

TEST(ByteDeltas, AFlowAtTheFirstPositionOfTheLaterSnapshotHasNoneWhichIsKept)
{
    const auto flow = counted(usual_flow(), 1, 2, 3, 4);
    flow_list earlier;
    flow_list later;
    append(earlier, flow);
    append(later, counted(flow, 11, 12, 13, 14));
    EXPECT_EQ(conntrack_get_byte_deltas(&earlier, &later), 0);
    EXPECT_EQ(figures(at(earlier, 0)), "0: 1 2 3 4");

    // A second record of the same flow behind it is not looked at.
    append(later, counted(flow, 21, 22, 23, 24));
    EXPECT_EQ(conntrack_get_byte_deltas(&earlier, &later), 0);
    EXPECT_EQ(figures(at(earlier, 0)), "0: 1 2 3 4");
}

TEST(ByteDeltas, OfSeveralLaterRecordsTheFirstCounts)
{
    const auto flow = counted(usual_flow(), 1, 2, 3, 4);
    flow_list earlier;
    flow_list later;
    append(earlier, flow);
    append(earlier, counted(flow, 10, 10, 10, 10));
    append(later, flow_of("192.168.2.99", "203.0.113.9", 6, 1, 1));
    append(later, counted(flow, 11, 12, 13, 14));
    append(later, counted(flow, 21, 22, 23, 24));
    EXPECT_EQ(conntrack_get_byte_deltas(&earlier, &later), 0);
    EXPECT_EQ(figures(at(earlier, 0)), "1: 10 10 10 10");
    EXPECT_EQ(figures(at(earlier, 1)), "1: 1 2 3 4");
}

TEST(ByteDeltas, OfEmptySnapshots)
{
    flow_list empty;
    flow_list one;
    append(one, counted(usual_flow(), 1, 2, 3, 4));
    EXPECT_EQ(conntrack_get_byte_deltas(&empty, &empty), 0);
    EXPECT_EQ(conntrack_get_byte_deltas(&empty, &one), 0);
    EXPECT_EQ(sclist_size(&empty), 0U);
    EXPECT_EQ(conntrack_get_byte_deltas(&one, &empty), 0);
    EXPECT_EQ(figures(at(one, 0)), "0: 1 2 3 4");
}

TEST(ByteDeltas, LeaveBothListsOpenToChanges)
{
    flow_list earlier;
    flow_list later;
    append(earlier, usual_flow());
    append(later, usual_flow());
    EXPECT_EQ(conntrack_get_byte_deltas(&earlier, &later), 0);
    append(earlier, usual_flow());
    append(later, usual_flow());
}

TEST(ByteDeltas, DoNotDisturbAWalkOverTheLaterSnapshot)
{
    flow_list earlier;
    flow_list later;
    for (const uint16_t port : {uint16_t{1}, uint16_t{2}, uint16_t{3}}) {
        append(earlier, flow_of("192.168.2.20", "203.0.113.9", 6, port, 443));
        append(later, counted(flow_of("192.168.2.20", "203.0.113.9", 6, port, 443), port, 0, 0, 0));
    }
    ASSERT_EQ(sclist_iterator_start(&later), 1);
    ASSERT_NE(sclist_iterator_next(&later), nullptr);
    ASSERT_NE(sclist_iterator_next(&later), nullptr);
    EXPECT_EQ(conntrack_get_byte_deltas(&earlier, &later), 0);
    EXPECT_EQ(figures(at(earlier, 0)), "0: 0 0 0 0");
    EXPECT_EQ(figures(at(earlier, 1)), "1: 2 0 0 0");
    EXPECT_EQ(figures(at(earlier, 2)), "1: 3 0 0 0");
    EXPECT_EQ(sclist_iterator_next(&later), &at(later, 2));
    (void)sclist_iterator_stop(&later);
}

// What the differences are, said plainly; its cost grows with the square of the lists.
void plain_deltas(sclist_t &flows, sclist_t &other)
{
    for (unsigned int i = 0; i < sclist_size(&flows); i++) {
        auto &flow = at(flows, i);
        const int position = sclist_locate(&other, &flow);
        if (position <= 0)
            continue;
        const auto later = at(other, static_cast<unsigned int>(position));
        const auto delta = [](uint64_t first, uint64_t second) { return first >= second ? 0 : second - first; };
        flow.has_delta = 1;
        flow.tx_packets = delta(flow.tx_packets, later.tx_packets);
        flow.tx_bytes = delta(flow.tx_bytes, later.tx_bytes);
        flow.rx_packets = delta(flow.rx_packets, later.rx_packets);
        flow.rx_bytes = delta(flow.rx_bytes, later.rx_bytes);
    }
}

class random_flows
{
public:
    // So few values that a snapshot holds many flows twice, and the snapshots share many.
    void fill(sclist_t &list, unsigned int most, unsigned int variety)
    {
        for (unsigned int left = below(most + 1); left > 0; left--) {
            auto flow = flow_of("192.168.2.0", "203.0.113.0", below(2) == 0 ? 6 : 17,
                                static_cast<uint16_t>(65535 - below(variety)), static_cast<uint16_t>(below(2)));
            flow.src._u.ipv4.s_addr += htonl(below(variety));
            flow.dst._u.ipv4.s_addr += htonl(below(2));
            flow.src._u.ipv6.s6_addr[12] = static_cast<uint8_t>(below(2)); // takes no part
            append(list, counted(flow, below(4), below(4000000000), below(3), below(1000)));
        }
    }
    unsigned int below(unsigned int bound) { return static_cast<unsigned int>(generator_() % bound); }

private:
    std::mt19937 generator_{4711};
};

void copy(sclist_t &from, sclist_t &to)
{
    for (unsigned int i = 0; i < sclist_size(&from); i++)
        append(to, at(from, i));
}

TEST(ByteDeltas, AreThoseOfThePlainSearchForRandomSnapshots)
{
    random_flows random;
    int with_delta = 0;
    int without_delta = 0;
    for (int round = 0; round < 600; round++) {
        flow_list earlier;
        flow_list later;
        flow_list want;
        const unsigned int variety = 1 + random.below(8);
        random.fill(earlier, 60, variety);
        random.fill(later, 60, variety);
        copy(earlier, want);
        no_memory = round % 4 == 3; // then it searches, too
        EXPECT_EQ(conntrack_get_byte_deltas(&earlier, &later), 0);
        no_memory = false;
        plain_deltas(want, later);
        ASSERT_EQ(all_of(earlier), all_of(want)) << "round " << round;
        for (unsigned int i = 0; i < sclist_size(&want); i++)
            ++(at(want, i).has_delta != 0 ? with_delta : without_delta);
    }
    EXPECT_GT(with_delta, 1000);
    EXPECT_GT(without_delta, 1000);
}

TEST(ByteDeltas, OfASnapshotAgainstItselfAreThoseOfThePlainSearch)
{
    random_flows random;
    for (int round = 0; round < 200; round++) {
        flow_list flows;
        flow_list want;
        random.fill(flows, 40, 3);
        copy(flows, want);
        EXPECT_EQ(conntrack_get_byte_deltas(&flows, &flows), 0);
        plain_deltas(want, want);
        ASSERT_EQ(all_of(flows), all_of(want)) << "round " << round;
    }
}

TEST(ByteDeltas, AreThoseOfThePlainSearchAroundEveryGrowthOfTheIndex)
{
    for (const unsigned int size : {1U, 7U, 8U, 9U, 15U, 16U, 17U, 31U, 32U, 33U, 64U, 65U, 513U}) {
        flow_list earlier;
        flow_list later;
        flow_list want;
        for (unsigned int i = 0; i < size; i++) {
            const auto flow = flow_of("192.168.2.20", "203.0.113.9", 6, static_cast<uint16_t>(i), 443);
            append(earlier, flow);
            append(later, counted(flow, i, 2 * i, 3 * i, 4 * i));
        }
        append(earlier, flow_of("192.168.2.20", "203.0.113.9", 6, 60000, 443)); // not in the later one
        copy(earlier, want);
        EXPECT_EQ(conntrack_get_byte_deltas(&earlier, &later), 0);
        plain_deltas(want, later);
        EXPECT_EQ(all_of(earlier), all_of(want)) << size;
        EXPECT_EQ(at(earlier, 0).has_delta, 0) << size;
        EXPECT_EQ(at(earlier, size).has_delta, 0) << size;
        EXPECT_EQ(at(earlier, size - 1).has_delta, size > 1 ? 1 : 0) << size;
    }
}

// ---- Marks ----

TEST(IsMarked, OnAnEmptyListIsMinusOne)
{
    flow_list list;
    const auto flow = usual_flow();
    EXPECT_EQ(conntrack_is_marked(&flow, 0, &list), -1);
}

TEST(IsMarked, IsMinusOneWhenTheListHoldsOnlyTheFlowItselfWhichIsKept)
{
    flow_list list;
    auto flow = usual_flow();
    flow.mark = 7;
    append(list, flow);
    append(list, usual_flow());
    EXPECT_EQ(conntrack_is_marked(&flow, 7, &list), -1);
    EXPECT_EQ(conntrack_is_marked(&flow, 0, &list), -1);
    append(list, usual_flow()); // no walk is left open
}

TEST(IsMarked, ReadsTheGivenFlowsOwnMarkOnceAnotherFlowIsThereWhichIsKept)
{
    auto stranger = flow_of("192.168.2.99", "203.0.113.9", 6, 1, 1);
    stranger.mark = 3;
    const struct {
        uint32_t own;
        int mark;
        int want;
    } rows[] = {{7, 7, 1}, {7, 3, 0}, {3, 3, 1}, {0, 3, 0}, {0, 0, 1}, {0x7fffffff, 0x7fffffff, 1}};
    for (const bool itself_first : {false, true}) {
        flow_list list;
        auto itself = usual_flow();
        itself.mark = 3;
        if (itself_first)
            append(list, itself);
        append(list, stranger);
        for (const auto &row : rows) {
            auto flow = usual_flow();
            flow.mark = row.own;
            EXPECT_EQ(conntrack_is_marked(&flow, row.mark, &list), row.want) << row.own << " " << row.mark;
        }
        append(list, stranger); // no walk is left open
    }
}

TEST(MarkFlow, RunsTheToolWithoutTheDestinationPort)
{
    const struct {
        const char *name;
        vantu_ll_conntrack_flow flow;
        int mark;
        const char *want;
    } rows[] = {
        {"TCP", usual_flow(), 20, "conntrack -U -s 192.168.2.20 -d 203.0.113.9 -p tcp --sport 40000 -m 20"},
        {"UDP is named tcp, which is kept", flow_of("192.168.2.20", "203.0.113.9", 17, 1, 2), 1,
         "conntrack -U -s 192.168.2.20 -d 203.0.113.9 -p tcp --sport 1 -m 1"},
        {"IPv6", flow_of("2001:db8:1::5", "2001:db8:2::6", 6, 65535, 443), 0,
         "conntrack -U -s 2001:db8:1::5 -d 2001:db8:2::6 -p tcp --sport 65535 -m 0"},
        {"longest addresses and numbers",
         flow_of("2001:db8:1111:2222:3333:4444:5555:6666", "2001:db8:aaaa:bbbb:cccc:dddd:eeee:ffff", 6, 65535, 443),
         -2147483647 - 1,
         "conntrack -U -s 2001:db8:1111:2222:3333:4444:5555:6666 -d 2001:db8:aaaa:bbbb:cccc:dddd:eeee:ffff -p tcp "
         "--sport 65535 -m -2147483648"},
        {"negative mark", usual_flow(), -1, "conntrack -U -s 192.168.2.20 -d 203.0.113.9 -p tcp --sport 40000 -m -1"},
    };
    command_status = 0;
    for (const auto &row : rows) {
        commands.clear();
        const log_capture log;
        conntrack_mark_flow(&row.flow, row.mark);
        EXPECT_EQ(commands, texts{row.want}) << row.name;
        EXPECT_EQ(log.lines, texts{"DEBUG "s + row.want}) << row.name;
    }
}

TEST(MarkFlow, LogsTheCommandAndErrnoOnlyWhenItCannotBeRun)
{
    const std::string command = "conntrack -U -s 192.168.2.20 -d 203.0.113.9 -p tcp --sport 40000 -m 5";
    const auto flow = usual_flow();
    for (const int status : {256, 127 * 256, 9, -1}) {
        commands.clear();
        command_status = status;
        const log_capture log;
        conntrack_mark_flow(&flow, 5);
        texts want = {"DEBUG " + command};
        if (status == -1)
            want.push_back("ERROR command " + command + " returned -1 errno " + std::to_string(ENOMEM));
        EXPECT_EQ(log.lines, want) << status;
        EXPECT_EQ(commands, texts{command}) << "it is not tried again";
    }
    command_status = 0;
}

TEST(MarkFlow, OfAProtocolWithoutANameLogsItsNumberAndRunsNothing)
{
    for (const uint8_t protocol : {uint8_t{0}, uint8_t{1}, uint8_t{58}, uint8_t{132}, uint8_t{255}}) {
        commands.clear();
        const auto flow = flow_of("192.168.2.20", "203.0.113.9", protocol, 1, 2);
        const log_capture log;
        conntrack_mark_flow(&flow, 5);
        EXPECT_EQ(commands, texts()) << int{protocol};
        ASSERT_EQ(log.lines.size(), 1U) << int{protocol};
        EXPECT_EQ(log.lines[0].rfind("ERROR ", 0), 0U) << log.lines[0];
        EXPECT_NE(log.lines[0].find(" " + std::to_string(protocol)), std::string::npos) << log.lines[0];
    }
}

TEST(DebugPrintFlow, LogsAddressesPortsProtocolAndMark)
{
    auto first = usual_flow();
    first.mark = 4294967295U;
    auto second = flow_of("2001:db8:1111:2222:3333:4444:5555:6666", "2001:db8::1", 17, 0, 65535);
    auto third = usual_flow();
    third.src.ip_version = 0;
    const log_capture log;
    conntrack_debug_print_flow(&first);
    conntrack_debug_print_flow(&second);
    conntrack_debug_print_flow(&third);
    EXPECT_EQ(log.lines,
              (texts{"DEBUG ip: 4 src=192.168.2.20, dst=203.0.113.9 sport=40000, dport=443 proto=6 mark=4294967295",
                     "DEBUG ip: 6 src=2001:db8:1111:2222:3333:4444:5555:6666, dst=2001:db8::1 sport=0, dport=65535 "
                     "proto=17 mark=0",
                     "DEBUG ip: 0 src=192.168.2.20, dst=203.0.113.9 sport=40000, dport=443 proto=6 mark=0"}));
}

} // namespace
