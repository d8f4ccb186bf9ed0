// The lists of inventory records: what makes two records the same, what finds them, and what is freed with them.

#include "vantu-libs2/sclists-functions.h"

#include "support.hpp"

#include "vantu-libs2/vantu-wifi-common.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

using namespace support;

// How often a block that a test watches has been freed.
namespace
{
void *watched;
int watched_frees;
} // namespace

extern "C" {
void __real_free(void *block);

void __wrap_free(void *block)
{
    watched_frees += block != nullptr && block == watched ? 1 : 0;
    __real_free(block);
}
}

namespace
{

// A kind of record with what the tests need to know of its list.
struct kind {
    const char *name;
    int (*init)(sclist_t *list);
    size_t size;
    // Calls with a zeroed record that has the given key, and the second one where the kind has it.
    std::function<void(const std::string &key, const std::string &second, const std::function<void(const void *)> &use)>
        with_record;
    bool has_second_key;
};

template <typename Record, auto First, auto Second>
void make(const std::string &key, const std::string &second, const std::function<void(const void *)> &use)
{
    Record record = {};
    put(record.*Second, second);
    put(record.*First, key);
    use(&record);
}

const kind keyed_kinds[] = {
    {"radio", vantu_common_radio_list_init, sizeof(vantu_common_radio),
     make<vantu_common_radio, &vantu_common_radio::interface, &vantu_common_radio::mac>, false},
    {"device", vantu_common_device_list_init, sizeof(vantu_common_device),
     make<vantu_common_device, &vantu_common_device::mac, &vantu_common_device::ipv4>, true},
    {"neighbour", vantu_common_ap_neighbor_list_init, sizeof(vantu_common_ap_neighbor),
     make<vantu_common_ap_neighbor, &vantu_common_ap_neighbor::BSSID, &vantu_common_ap_neighbor::SSIDName>, true},
    {"network", vantu_network_list_init, sizeof(vantu_network),
     make<vantu_network, &vantu_network::bssid, &vantu_network::ssidname>, false},
};

const kind keyless_kinds[] = {
    {"issue", vantu_issuelist_init, sizeof(vantu_issue), nullptr, false},
    {"latency row", vantu_fpingdq_stats_init_table, sizeof(vantu_fpingdq_stats), nullptr, false},
};

void append(sclist_t &list, const kind &of, const std::string &key, const std::string &second = "")
{
    of.with_record(key, second, [&](const void *record) { EXPECT_EQ(sclist_append(&list, record), 1); });
}

// The position of the record that is found, or -1.
int position_of(sclist_t &list, const void *found)
{
    for (unsigned int i = 0; i < sclist_size(&list); i++) {
        if (sclist_get_at(&list, i) == found)
            return static_cast<int>(i);
    }
    return -1;
}

TEST(InventoryLists, InitialisersReturnZeroAndAnEmptyListThatCopiesWholeRecords)
{
    std::vector<kind> all(std::begin(keyed_kinds), std::end(keyed_kinds));
    all.insert(all.end(), std::begin(keyless_kinds), std::end(keyless_kinds));
    for (const kind &of : all) {
        sclist_t list;
        memset(&list, 0xa5, sizeof(list)); // whatever was there before
        EXPECT_EQ(of.init(&list), 0) << of.name;
        EXPECT_EQ(sclist_size(&list), 0U) << of.name;
        EXPECT_NE(list.attrs.copy_data, 0) << of.name;

        std::string record(of.size, '\0');
        EXPECT_EQ(list.attrs.meter(record.data()), of.size) << of.name;
        record.back() = 'x';
        EXPECT_EQ(sclist_append(&list, record.data()), 1) << of.name;
        record.back() = 'y';
        EXPECT_EQ(static_cast<const char *>(sclist_get_at(&list, 0))[of.size - 1], 'x') << of.name;
        sclist_destroy(&list);
    }
}

TEST(InventoryLists, RecordsAreSoughtByTheirKeyInAnyCase)
{
    for (const kind &of : keyed_kinds) {
        sclist_t list;
        (void)of.init(&list);
        append(list, of, "WL0");
        append(list, of, "wl1");
        append(list, of, "wl0");
        for (const char *key : {"WL0", "wl0", "Wl0"})
            EXPECT_EQ(position_of(list, sclist_seek(&list, key)), 0) << of.name << " " << key;
        EXPECT_EQ(position_of(list, sclist_seek(&list, "WL1")), 1) << of.name;
        for (const char *key : {"wl", "wl01", " wl0", "wl2"})
            EXPECT_EQ(sclist_seek(&list, key), nullptr) << of.name << " " << key;
        sclist_destroy(&list);
    }
}

TEST(InventoryLists, DevicesAndNeighboursAreSoughtByTheirSecondKeyToo)
{
    for (const kind &of : keyed_kinds) {
        sclist_t list;
        (void)of.init(&list);
        append(list, of, "k1", "Second");
        append(list, of, "second", "x");
        append(list, of, "k3", "y");
        EXPECT_EQ(position_of(list, sclist_seek(&list, "sECOND")), of.has_second_key ? 0 : 1) << of.name;
        EXPECT_EQ(position_of(list, sclist_seek(&list, "Y")), of.has_second_key ? 2 : -1) << of.name;
        sclist_destroy(&list);
    }
}

TEST(InventoryLists, RecordsAreEqualOnlyWhenTheirKeysAreIdenticalWhateverElseTheyHold)
{
    for (const kind &of : keyed_kinds) {
        sclist_t list;
        (void)of.init(&list);
        append(list, of, "wl0", "a");
        append(list, of, "wl1", "b");
        const auto locate = [&](const char *key, const char *second) {
            int position = -2;
            of.with_record(key, second, [&](const void *record) { position = sclist_locate(&list, record); });
            return position;
        };
        EXPECT_EQ(locate("wl1", "another"), 1) << of.name;
        EXPECT_EQ(locate("WL1", "b"), -1) << of.name;
        EXPECT_EQ(locate("another", "b"), -1) << of.name;
        of.with_record("wl0", "", [&](const void *record) {
            EXPECT_LT(list.attrs.comparator(record, sclist_get_at(&list, 1)), 0) << of.name;
            EXPECT_GT(list.attrs.comparator(sclist_get_at(&list, 1), record), 0) << of.name;
        });
        sclist_destroy(&list);
    }
}

TEST(InventoryLists, IssuesAreNotSoughtAndAreOnlyThemselves)
{
    sclist_t list;
    (void)vantu_issuelist_init(&list);
    const vantu_issue issue = {NOISE, 3.0};
    EXPECT_EQ(sclist_append(&list, &issue), 1);
    EXPECT_EQ(list.attrs.seeker, nullptr);
    EXPECT_EQ(list.attrs.comparator, nullptr);
    EXPECT_EQ(sclist_seek(&list, "4"), nullptr);
    EXPECT_EQ(sclist_locate(&list, &issue), -1);
    EXPECT_EQ(sclist_locate(&list, sclist_get_at(&list, 0)), 0);
    sclist_destroy(&list);
}

TEST(InventoryLists, AnIssueListThatIsNotThereGivesMinusOne)
{
    EXPECT_EQ(vantu_issuelist_init(nullptr), -1);
}

TEST(InventoryLists, NoLatencyRowIsEverFound)
{
    sclist_t list;
    EXPECT_EQ(vantu_fpingdq_stats_init_table(&list), 0);
    vantu_fpingdq_stats row = {};
    put(row.ip, "192.0.2.1");
    put(row.mac, "02:00:00:00:00:01");
    EXPECT_EQ(sclist_append(&list, &row), 1);
    for (const char *key : {"192.0.2.1", "02:00:00:00:00:01", ""})
        EXPECT_EQ(sclist_seek(&list, key), nullptr) << key;
    EXPECT_EQ(sclist_locate(&list, &row), -1);
    EXPECT_EQ(sclist_locate(&list, sclist_get_at(&list, 0)), -1);
    EXPECT_EQ(list.attrs.comparator(&row, &row), -1);
    sclist_destroy(&list);
}

TEST(RadioListFree, FreesWhatItsRadiosOwnAndMayRunTwice)
{
    sclist_t list;
    (void)vantu_common_radio_list_init(&list);
    vantu_common_radio radio = {};
    EXPECT_EQ(sclist_append(&list, &radio), 1) << "a radio that owns nothing";

    radio.usr_data = malloc(100);
    EXPECT_EQ(sclist_append(&list, &radio), 1) << "one with user data only";

    radio = {};
    vantu_ringbuffer_init(&radio.radio_stats_buff, RADIO_STATS_BUFFER_SIZE, sizeof(vantu_radio_stats));
    const vantu_radio_stats sample = {};
    EXPECT_NE(vantu_ringbuffer_write(&radio.radio_stats_buff, &sample), nullptr);
    EXPECT_EQ(sclist_append(&list, &radio), 1) << "one with a history only";

    radio = {};
    EXPECT_EQ(vantu_issuelist_init(&radio.issues), 0);
    const vantu_issue issue = {CABLE, 2.0};
    EXPECT_EQ(sclist_append(&radio.issues, &issue), 1);
    radio.usr_data = malloc(1);
    vantu_ringbuffer_init(&radio.radio_stats_buff, 3, 8);
    EXPECT_EQ(sclist_append(&list, &radio), 1) << "one with all of it";

    // The leak checker of the sanitizer build has the last word.
    EXPECT_EQ(vantu_common_radio_list_free(&list), 0);
    EXPECT_EQ(list.head_sentinel, nullptr);
    EXPECT_EQ(sclist_size(&list), 0U);
    EXPECT_EQ(vantu_common_radio_list_free(&list), 0);
}

TEST(RadioListFree, LeavesAListAloneThatWasNeverInitialised)
{
    sclist_t list = {};
    EXPECT_EQ(vantu_common_radio_list_free(&list), 0);
    EXPECT_EQ(list.head_sentinel, nullptr);
}

TEST(DeviceListFree, FreesUserDataButNotTheHistoryAndMayRunTwice)
{
    sclist_t list;
    (void)vantu_common_device_list_init(&list);
    vantu_common_device device = {};
    EXPECT_EQ(sclist_append(&list, &device), 1) << "a device that owns nothing";
    device.usr_data = malloc(100);
    vantu_ringbuffer_init(&device.sta_stats_buff, 10, sizeof(vantu_sta_stats));
    ASSERT_NE(device.sta_stats_buff.array, nullptr);
    EXPECT_EQ(sclist_append(&list, &device), 1);

    watched = device.usr_data;
    watched_frees = 0;
    EXPECT_EQ(vantu_common_device_list_free(&list), 0);
    EXPECT_EQ(watched_frees, 1);
    EXPECT_EQ(list.head_sentinel, nullptr);
    EXPECT_EQ(vantu_common_device_list_free(&list), 0);
    EXPECT_EQ(watched_frees, 1);
    watched = nullptr;

    const vantu_sta_stats sample = {};
    EXPECT_NE(vantu_ringbuffer_write(&device.sta_stats_buff, &sample), nullptr) << "still the owner's";
    vantu_ringbuffer_free(&device.sta_stats_buff);
}

TEST(DeviceListFree, LeavesAListAloneThatWasNeverInitialised)
{
    sclist_t list = {};
    EXPECT_EQ(vantu_common_device_list_free(&list), 0);
    EXPECT_EQ(list.head_sentinel, nullptr);
}

TEST(ListFree, NeighboursAndNetworksAreDestroyed)
{
    sclist_t list;
    (void)vantu_common_ap_neighbor_list_init(&list);
    append(list, keyed_kinds[2], "02:00:00:00:00:01");
    EXPECT_EQ(vantu_common_ap_neighbor_list_free(&list), 0);
    EXPECT_EQ(sclist_size(&list), 0U);

    (void)vantu_network_list_init(&list);
    append(list, keyed_kinds[3], "02:00:00:00:00:01");
    EXPECT_EQ(vantu_network_list_free(&list), 0);
    EXPECT_EQ(sclist_size(&list), 0U);
}

} // namespace
