// The list of port ranges: its comparator orders and tells nothing of equality.

#include "vantu-libs2/conntracktool.h"

#include "list_owner.hpp"
#include "support.hpp"

#include <gtest/gtest.h>

namespace
{

struct port_ranges : sclist_t {
    port_ranges() : owner(*this, vantu_init_port_range_list) {}
    vantu::list_owner owner;
};

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

} // namespace
