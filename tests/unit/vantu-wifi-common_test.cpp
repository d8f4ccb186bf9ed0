// The long-lived lists of radios and devices against plain models of them, the boost text, the reader of data rows
// and the printed lines.

#include "vantu-libs2/vantu-wifi-common.h"

#include "list_owner.hpp"
#include "support.hpp"
#include "vantu-libs2/sclists-functions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <strings.h>
#include <unistd.h>

using namespace std::string_literals;
using namespace std::string_view_literals;
using namespace support;

namespace
{

using radio_list = freed_list<vantu_common_radio_list_init, vantu_common_radio_list_free>;

// For copies, which own nothing.
using radio_copies = support::list<vantu_common_radio_list_init>;

using device_list = freed_list<vantu_common_device_list_init, vantu_common_device_list_free>;

// What the platform reports at the next reading.
std::vector<vantu_common_radio> radio_reading;
std::vector<vantu_common_device> device_reading;
int reading_result = 0;

template <typename Record>
int report(const std::vector<Record> &reading, sclist_t *list)
{
    append_all(list, reading);
    return reading_result;
}

vantu_platform_ops reporting_platform()
{
    vantu_platform_ops ops = {};
    ops.get_radios = [](sclist_t *list) { return report(radio_reading, list); };
    ops.get_associated_devices = [](sclist_t *list) { return report(device_reading, list); };
    return ops;
}

vantu_common_radio radio_named(const std::string &interface)
{
    vantu_common_radio radio = {};
    put(radio.interface, interface);
    return radio;
}

// A radio with a figure of its own in every plain field, `base` apart from those of another.
vantu_common_radio full_radio(const std::string &interface, int base)
{
    vantu_common_radio radio = radio_named(interface);
    put(radio.mac, "02:00:00:00:" + std::to_string(base));
    put(radio.ipv4, "192.0.2." + std::to_string(base));
    int number = base;
    for (int *field :
         {&radio.enabled, &radio.freq, &radio.channel, &radio.currentchannel, &radio.autochannel, &radio.bandwidth,
          &radio.power, &radio.noise, &radio.interference_percent, &radio.idle_percent, &radio.noise_sample_index})
        *field = number++;
    for (uint64_t *field : {&radio.rx_bytes, &radio.tx_bytes, &radio.rx_frames, &radio.tx_frames, &radio.rx_packets,
                            &radio.tx_packets, &radio.tx_fail, &radio.tx_retries, &radio.rx_errors, &radio.tx_errors})
        *field = 0x100000000U + static_cast<uint64_t>(number++);
    for (int &sample : radio.noise_samples)
        sample = number++;
    radio.last_updated = {base, number};
    return radio;
}

// The fields that follow the readings.
std::string plain_fields(const vantu_common_radio &radio)
{
    std::string out = radio.interface + " "s + radio.mac + " " + radio.ipv4;
    for (const int field :
         {radio.enabled, radio.freq, radio.channel, radio.currentchannel, radio.autochannel, radio.bandwidth,
          radio.power, radio.noise, radio.interference_percent, radio.idle_percent, radio.noise_sample_index})
        out += " " + std::to_string(field);
    for (const uint64_t field : {radio.rx_bytes, radio.tx_bytes, radio.rx_frames, radio.tx_frames, radio.rx_packets,
                                 radio.tx_packets, radio.tx_fail, radio.tx_retries, radio.rx_errors, radio.tx_errors})
        out += " " + std::to_string(field);
    for (const int sample : radio.noise_samples)
        out += " " + std::to_string(sample);
    return out + " " + std::to_string(radio.last_updated.tv_sec) + "." + std::to_string(radio.last_updated.tv_usec);
}

// Of a device, those that the tests set.
std::string plain_fields(const vantu_common_device &device)
{
    return device.mac + "/"s + device.ipv4 + "/" + std::to_string(device.rssi);
}

template <typename Record>
texts plain_fields_of(const std::vector<Record> &records)
{
    texts out;
    for (const Record &record : records)
        out.push_back(plain_fields(record));
    return out;
}

void write_sample(vantu_common_radio &radio, uint64_t time)
{
    vantu_radio_stats sample = {};
    sample.time = time;
    EXPECT_NE(vantu_ringbuffer_write(&radio.radio_stats_buff, &sample), nullptr);
}

void add_issue(vantu_common_radio &radio, double score)
{
    const vantu_issue issue = {NOISE, score};
    EXPECT_EQ(sclist_append(&radio.issues, &issue), 1);
}

std::vector<uint64_t> history_of(vantu_common_radio &radio)
{
    std::vector<uint64_t> out;
    vantu_ringbuffer_itterator_start(&radio.radio_stats_buff);
    while (vantu_ringbuffer_itterator_hasnext(&radio.radio_stats_buff) != 0)
        out.push_back(static_cast<vantu_radio_stats *>(vantu_ringbuffer_itterator_next(&radio.radio_stats_buff))->time);
    return out;
}

std::vector<double> issues_of(vantu_common_radio &radio)
{
    std::vector<double> out;
    for (const vantu_issue &issue : all_of<vantu_issue>(radio.issues))
        out.push_back(issue.score);
    return out;
}

class RadioListUpdate : public testing::Test
{
protected:
    void SetUp() override
    {
        radio_reading.clear();
        reading_result = 0;
    }

    // Reads the given radios; the messages stay in `log`.
    void update(const std::vector<vantu_common_radio> &reading, sclist_t *removed = nullptr, sclist_t *added = nullptr)
    {
        radio_reading = reading;
        log_capture capture;
        EXPECT_EQ(vantu_common_radio_list_update(&kept, removed, added, &ops), 0);
        log = capture.lines;
    }

    vantu_platform_ops ops = reporting_platform();
    radio_list kept;
    texts log;
};

TEST_F(RadioListUpdate, ANewRadioIsLoggedAndGetsAnEmptyHistoryAndIssueList)
{
    vantu_common_radio radio = full_radio("wl0", 1);
    radio.usr_data = &radio; // whatever the platform leaves there
    radio_copies removed;
    radio_copies added;
    update({radio, full_radio("wl1", 2)}, &removed, &added);

    EXPECT_EQ(log, (texts{"INFO New radio found wl0", "INFO New radio found wl1"}));
    ASSERT_EQ(sclist_size(&kept), 2U);
    auto &first = *at<vantu_common_radio>(kept, 0);
    EXPECT_EQ(plain_fields(first), plain_fields(radio));
    EXPECT_EQ(first.usr_data, nullptr);
    ASSERT_NE(first.radio_stats_buff.array, nullptr);
    EXPECT_EQ(first.radio_stats_buff.arraysize, 500);
    EXPECT_EQ(first.radio_stats_buff.elementsize, static_cast<int>(sizeof(vantu_radio_stats)));
    EXPECT_EQ(vantu_ringbuffer_size(&first.radio_stats_buff), 0);
    EXPECT_NE(first.issues.head_sentinel, nullptr);
    EXPECT_EQ(sclist_size(&first.issues), 0U);
    EXPECT_NE(first.radio_stats_buff.array, at<vantu_common_radio>(kept, 1)->radio_stats_buff.array);
    EXPECT_EQ(sclist_size(&removed), 0U);
}

TEST_F(RadioListUpdate, TheListOfNewRadiosGetsCopiesThatShareHistoryAndIssues)
{
    update({full_radio("wl0", 1)});
    radio_copies added;
    update({full_radio("wl2", 2), full_radio("wl0", 3), full_radio("wl1", 4)}, nullptr, &added);
    ASSERT_EQ(sclist_size(&added), 2U);
    for (unsigned int i = 0; i < 2; i++) {
        const auto &copy = *at<vantu_common_radio>(added, i);
        const auto &own = *at<vantu_common_radio>(kept, i + 1);
        EXPECT_STREQ(copy.interface, i == 0 ? "wl2" : "wl1");
        EXPECT_EQ(plain_fields(copy), plain_fields(own));
        EXPECT_EQ(copy.radio_stats_buff.array, own.radio_stats_buff.array);
        EXPECT_EQ(copy.issues.head_sentinel, own.issues.head_sentinel);
    }
}

TEST_F(RadioListUpdate, SamplesIssuesAndUserDataSurviveAnyNumberOfReadingsAndAllElseFollowsThem)
{
    update({full_radio("wl0", 1)});
    auto &radio = *at<vantu_common_radio>(kept, 0);
    radio.usr_data = malloc(10);
    void *const user_data = radio.usr_data;
    radio.issue_stats = {7, 1.5F, 2.5F};
    for (int round = 2; round < 40; round++) {
        write_sample(radio, static_cast<uint64_t>(round));
        add_issue(radio, round);
        vantu_common_radio fresh = full_radio("wl0", round);
        fresh.usr_data = &fresh;
        fresh.issue_stats = {99, 99.0F, 99.0F};
        update({fresh});
        ASSERT_EQ(sclist_size(&kept), 1U);
        ASSERT_EQ(at<vantu_common_radio>(kept, 0), &radio) << "the record moved";
        EXPECT_EQ(plain_fields(radio), plain_fields(fresh));
        EXPECT_EQ(log, texts{});
    }
    EXPECT_EQ(radio.usr_data, user_data);
    EXPECT_EQ(radio.issue_stats.samples, 7);
    EXPECT_EQ(radio.issue_stats.txop_mean, 1.5F);
    EXPECT_EQ(radio.issue_stats.congestion_mean, 2.5F);
    EXPECT_EQ(history_of(radio).size(), 38U);
    EXPECT_EQ(history_of(radio).back(), 39U);
    EXPECT_EQ(issues_of(radio).size(), 38U);
}

TEST_F(RadioListUpdate, ARadioThatIsGoneIsRemovedAndHandedOutOnce)
{
    update({full_radio("wl0", 1), full_radio("wl1", 2), full_radio("wl2", 3)});
    write_sample(*at<vantu_common_radio>(kept, 1), 1);
    add_issue(*at<vantu_common_radio>(kept, 1), 1.0);

    radio_copies removed;
    update({full_radio("wl2", 4), full_radio("wl0", 5)}, &removed);
    ASSERT_EQ(sclist_size(&removed), 1U);
    EXPECT_EQ(plain_fields(*at<vantu_common_radio>(removed, 0)), plain_fields(full_radio("wl1", 2)));
    EXPECT_EQ(log, texts{});
    ASSERT_EQ(sclist_size(&kept), 2U) << "in the order of before";
    EXPECT_STREQ(at<vantu_common_radio>(kept, 0)->interface, "wl0");
    EXPECT_STREQ(at<vantu_common_radio>(kept, 1)->interface, "wl2");

    update({full_radio("wl0", 6), full_radio("wl2", 7)}, &removed);
    EXPECT_EQ(sclist_size(&removed), 1U) << "not once more";
}

TEST_F(RadioListUpdate, ARadioThatComesBackIsANewOne)
{
    update({full_radio("wl0", 1)});
    auto &before = *at<vantu_common_radio>(kept, 0);
    write_sample(before, 1);
    add_issue(before, 1.0);
    before.issue_stats.samples = 3;
    update({});
    EXPECT_EQ(sclist_size(&kept), 0U);
    radio_copies added;
    update({full_radio("wl0", 2)}, nullptr, &added);
    EXPECT_EQ(log, texts{"INFO New radio found wl0"});
    EXPECT_EQ(sclist_size(&added), 1U);
    ASSERT_EQ(sclist_size(&kept), 1U);
    auto &radio = *at<vantu_common_radio>(kept, 0);
    EXPECT_EQ(vantu_ringbuffer_size(&radio.radio_stats_buff), 0);
    EXPECT_EQ(sclist_size(&radio.issues), 0U);
    EXPECT_EQ(radio.issue_stats.samples, 0);
}

TEST_F(RadioListUpdate, ANameInAnotherLetterCaseIsTheSameRadioAndTakesTheNewText)
{
    update({full_radio("wl0", 1)});
    write_sample(*at<vantu_common_radio>(kept, 0), 1);
    radio_copies removed;
    radio_copies added;
    update({full_radio("WL0", 2)}, &removed, &added);
    EXPECT_EQ(sclist_size(&removed), 0U);
    EXPECT_EQ(sclist_size(&added), 0U);
    ASSERT_EQ(sclist_size(&kept), 1U);
    EXPECT_STREQ(at<vantu_common_radio>(kept, 0)->interface, "WL0");
    EXPECT_EQ(history_of(*at<vantu_common_radio>(kept, 0)).size(), 1U);
}

TEST_F(RadioListUpdate, ANameThatIsReportedTwiceIsOneRadioWithTheLaterFigures)
{
    update({full_radio("wl0", 1), full_radio("wl0", 2)});
    EXPECT_EQ(log, texts{"INFO New radio found wl0"});
    ASSERT_EQ(sclist_size(&kept), 1U);
    EXPECT_EQ(plain_fields(*at<vantu_common_radio>(kept, 0)), plain_fields(full_radio("wl0", 2)));
}

TEST_F(RadioListUpdate, TheResultOfTheReadingIsNotLookedAt)
{
    reading_result = -1;
    update({full_radio("wl0", 1)});
    EXPECT_EQ(sclist_size(&kept), 1U);
    update({});
    EXPECT_EQ(sclist_size(&kept), 0U) << "a reading that fails takes the radios away";
}

TEST_F(RadioListUpdate, LeavesTheIteratorOff)
{
    update({full_radio("wl0", 1), full_radio("wl1", 1)});
    update({full_radio("wl1", 1)});
    EXPECT_EQ(kept.iter_active, 0);
}

// What the list should hold, kept with plain means.
struct radio_model {
    struct entry {
        vantu_common_radio plain;
        void *user_data;
        std::vector<uint64_t> history;
        std::vector<double> issues;
        int samples;
    };
    std::vector<entry> radios;
    texts removed;
    texts added;
    texts log;

    static bool same(const vantu_common_radio &a, const vantu_common_radio &b)
    {
        return strcasecmp(a.interface, b.interface) == 0;
    }

    void update(const std::vector<vantu_common_radio> &reading)
    {
        std::vector<entry> gone;
        for (const entry &radio : radios) {
            const bool still = std::any_of(reading.begin(), reading.end(),
                                           [&](const auto &fresh) { return same(radio.plain, fresh); });
            if (!still)
                gone.push_back(radio);
        }
        for (const vantu_common_radio &fresh : reading) {
            const auto found = std::find_if(radios.begin(), radios.end(),
                                            [&](const entry &radio) { return same(radio.plain, fresh); });
            if (found != radios.end()) {
                found->plain = fresh;
                continue;
            }
            radios.push_back({fresh, nullptr, {}, {}, 0});
            added.push_back(plain_fields(fresh));
            log.push_back("INFO New radio found "s + fresh.interface);
        }
        for (const entry &radio : gone) {
            removed.push_back(plain_fields(radio.plain));
            radios.erase(std::find_if(radios.begin(), radios.end(), [&](const entry &each) {
                return strcmp(each.plain.interface, radio.plain.interface) == 0;
            }));
        }
    }
};

TEST(RadioListProperty, RandomReadingsGiveWhatAPlainModelGives)
{
    for (unsigned int seed = 0; seed < 60; seed++) {
        std::mt19937 random(seed);
        const auto below = [&random](unsigned int limit) { return static_cast<int>(random() % limit); };
        const vantu_platform_ops ops = reporting_platform();
        vantu_platform_ops table = ops;
        reading_result = 0;
        radio_list kept;
        radio_model model;
        for (int round = 0; round < 25; round++) {
            std::vector<vantu_common_radio> reading;
            for (int left = below(6); left > 0; left--) {
                const char *const names[] = {"wl0", "wl1", "wl2", "WL1", "wl0.1", "Wl2", ""};
                vantu_common_radio radio = full_radio(names[below(7)], below(1000));
                radio.usr_data = &radio_reading; // must never be freed
                reading.push_back(radio);
            }
            radio_reading = reading;
            model.removed.clear();
            model.added.clear();
            model.log.clear();
            model.update(reading);

            radio_copies removed;
            radio_copies added;
            {
                log_capture log;
                ASSERT_EQ(vantu_common_radio_list_update(&kept, &removed, &added, &table), 0);
                ASSERT_EQ(log.lines, model.log) << seed;
            }
            // The model appends a new radio with its first figures, which a second reading of it overwrites.
            ASSERT_EQ(plain_fields_of(all_of<vantu_common_radio>(added)), model.added) << seed;
            ASSERT_EQ(plain_fields_of(all_of<vantu_common_radio>(removed)), model.removed) << seed;
            for (const auto &radio : all_of<vantu_common_radio>(removed))
                free(radio.usr_data);

            ASSERT_EQ(sclist_size(&kept), model.radios.size()) << seed;
            for (unsigned int i = 0; i < sclist_size(&kept); i++) {
                auto &radio = *at<vantu_common_radio>(kept, i);
                radio_model::entry &want = model.radios[i];
                ASSERT_EQ(plain_fields(radio), plain_fields(want.plain)) << seed;
                ASSERT_EQ(radio.usr_data, want.user_data) << seed;
                ASSERT_EQ(history_of(radio), want.history) << seed;
                ASSERT_EQ(issues_of(radio), want.issues) << seed;
                ASSERT_EQ(radio.issue_stats.samples, want.samples) << seed;

                // What the owner of the list does between readings.
                if (want.user_data == nullptr && below(2) == 0)
                    want.user_data = radio.usr_data = malloc(8);
                if (below(2) == 0) {
                    write_sample(radio, static_cast<uint64_t>(round));
                    want.history.push_back(static_cast<uint64_t>(round));
                    add_issue(radio, round);
                    want.issues.push_back(round);
                    want.samples = ++radio.issue_stats.samples;
                }
            }
        }
    }
}

vantu_common_device device_of(const std::string &mac, const std::string &ip, int figure = 0)
{
    vantu_common_device device = {};
    put(device.mac, mac);
    put(device.ipv4, ip);
    device.rssi = figure;
    return device;
}

// What the callbacks were called with, in order.
texts events;
// What the added device's user data becomes.
bool adding_sets_user_data = false;

void on_add(vantu_common_device *device)
{
    events.push_back("add " + plain_fields(*device) + (device->usr_data != nullptr ? " with data" : ""));
    if (adding_sets_user_data)
        device->usr_data = malloc(8);
}

void on_remove(vantu_common_device *device)
{
    events.push_back("remove " + plain_fields(*device) + (device->usr_data != nullptr ? " with data" : ""));
    free(device->usr_data);
}

// Takes nothing of the fresh reading but marks the kept device.
void on_update(vantu_common_device *device, vantu_common_device *fresh)
{
    events.push_back("update " + plain_fields(*device) + " from " + plain_fields(*fresh) +
                     (fresh->usr_data != nullptr ? " with data" : ""));
    device->rssi++;
}

class DeviceListUpdate : public testing::Test
{
protected:
    void SetUp() override
    {
        events.clear();
        adding_sets_user_data = false;
        reading_result = 0;
    }

    // Reads the given devices; the messages stay in `log`.
    void update(const std::vector<vantu_common_device> &reading)
    {
        device_reading = reading;
        events.clear();
        log_capture capture;
        EXPECT_EQ(vantu_common_device_list_update(&kept, on_add, on_remove, on_update, &ops), 0);
        log = capture.lines;
    }

    texts held() { return plain_fields_of(all_of<vantu_common_device>(kept)); }

    vantu_platform_ops ops = reporting_platform();
    device_list kept;
    texts log;
};

TEST_F(DeviceListUpdate, ANewDeviceIsShownToTheCallbackFirstAndThenAppended)
{
    adding_sets_user_data = true;
    vantu_common_device fresh = device_of("02:01", "192.0.2.1", -40);
    fresh.usr_data = &fresh; // whatever the platform leaves there
    update({fresh, device_of("02:02", "192.0.2.2")});
    EXPECT_EQ(events, (texts{"add 02:01/192.0.2.1/-40", "add 02:02/192.0.2.2/0"}));
    EXPECT_EQ(held(), (texts{"02:01/192.0.2.1/-40", "02:02/192.0.2.2/0"}));
    EXPECT_NE(at<vantu_common_device>(kept, 0)->usr_data, nullptr) << "what the callback filled in";
    EXPECT_EQ(log, texts{});
}

TEST_F(DeviceListUpdate, AKeptDeviceChangesOnlyAsTheCallbackChangesIt)
{
    update({device_of("02:01", "192.0.2.1", -40)});
    auto &device = *at<vantu_common_device>(kept, 0);
    device.usr_data = malloc(8);
    void *const user_data = device.usr_data;
    vantu_common_device fresh = device_of("02:01", "192.0.2.99", -70);
    fresh.usr_data = &fresh;
    fresh.boost_idx = 3;
    update({fresh});
    EXPECT_EQ(events, texts{"update 02:01/192.0.2.1/-40 from 02:01/192.0.2.99/-70"});
    EXPECT_EQ(held(), texts{"02:01/192.0.2.1/-39"});
    EXPECT_EQ(device.usr_data, user_data);
    EXPECT_EQ(device.boost_idx, 0);
}

TEST_F(DeviceListUpdate, ADeviceThatIsGoneIsShownToTheCallbackAndDeleted)
{
    update({device_of("02:01", "a"), device_of("02:02", "b"), device_of("02:03", "c")});
    at<vantu_common_device>(kept, 2)->usr_data = malloc(8);
    update({device_of("02:02", "b")});
    EXPECT_EQ(events, (texts{"update 02:02/b/0 from 02:02/b/0", "remove 02:01/a/0", "remove 02:03/c/0 with data"}));
    EXPECT_EQ(held(), texts{"02:02/b/1"});
    EXPECT_EQ(log, texts{"DEBUG Free devices from remove list size 2"});
}

TEST_F(DeviceListUpdate, CallbacksRunInTheOrderOfTheReadingAndRemovalsLast)
{
    update({device_of("02:01", "a"), device_of("02:02", "b")});
    update({device_of("02:04", "d"), device_of("02:02", "b"), device_of("02:03", "c")});
    EXPECT_EQ(events, (texts{"add 02:04/d/0", "update 02:02/b/0 from 02:02/b/0", "add 02:03/c/0", "remove 02:01/a/0"}));
    EXPECT_EQ(held(), (texts{"02:02/b/1", "02:04/d/0", "02:03/c/0"}));
}

TEST_F(DeviceListUpdate, AFreshMacThatIsAKeptAddressCountsAsFoundWhichIsKept)
{
    update({device_of("02:01", "02:02")});
    update({device_of("02:02", "x", 5), device_of("02:01", "02:02", 6)});
    EXPECT_EQ(events, (texts{"update 02:01/02:02/0 from 02:02/x/5", "update 02:01/02:02/1 from 02:01/02:02/6"}));
    EXPECT_EQ(held(), texts{"02:01/02:02/2"});
}

TEST_F(DeviceListUpdate, AKeptMacThatIsAFreshAddressStaysWhichIsKept)
{
    update({device_of("02:01", "a")});
    update({device_of("02:02", "02:01")});
    EXPECT_EQ(events, texts{"add 02:02/02:01/0"});
    EXPECT_EQ(held(), (texts{"02:01/a/0", "02:02/02:01/0"}));
    EXPECT_EQ(log, texts{});
}

TEST_F(DeviceListUpdate, ADeviceMayBeUpdatedAndRemovedByOneReadingWhichIsKept)
{
    update({device_of("02:01", "02:02")});
    update({device_of("02:02", "x")});
    EXPECT_EQ(events, (texts{"update 02:01/02:02/0 from 02:02/x/0", "remove 02:01/02:02/0"}));
    EXPECT_EQ(held(), texts{});
}

TEST_F(DeviceListUpdate, AMacInAnotherLetterCaseIsTheSameDevice)
{
    update({device_of("02:0a", "x")});
    update({device_of("02:0A", "y")});
    EXPECT_EQ(events, texts{"update 02:0a/x/0 from 02:0A/y/0"});
    EXPECT_EQ(held(), texts{"02:0a/x/1"});
}

TEST_F(DeviceListUpdate, AMacThatIsReportedTwiceIsAddedOnceAndThenUpdated)
{
    update({device_of("02:01", "a"), device_of("02:01", "b")});
    EXPECT_EQ(events, (texts{"add 02:01/a/0", "update 02:01/a/0 from 02:01/b/0"}));
}

TEST_F(DeviceListUpdate, TheResultOfTheReadingIsNotLookedAt)
{
    reading_result = -1;
    update({device_of("02:01", "a")});
    EXPECT_EQ(held(), texts{"02:01/a/0"});
    update({});
    EXPECT_EQ(events, texts{"remove 02:01/a/0"});
    EXPECT_EQ(log, texts{"DEBUG Free devices from remove list size 1"});
}

TEST_F(DeviceListUpdate, LeavesTheIteratorOff)
{
    update({device_of("02:01", "a")});
    update({device_of("02:02", "b")});
    EXPECT_EQ(kept.iter_active, 0);
}

struct device_model {
    std::vector<vantu_common_device> devices;
    texts events;

    template <typename List>
    static auto seek(List &list, const char *key)
    {
        return std::find_if(list.begin(), list.end(), [&](const vantu_common_device &device) {
            return strcasecmp(device.mac, key) == 0 || strcasecmp(device.ipv4, key) == 0;
        });
    }

    void update(const std::vector<vantu_common_device> &reading)
    {
        std::vector<vantu_common_device> gone;
        for (const vantu_common_device &device : devices) {
            if (seek(reading, device.mac) == reading.end())
                gone.push_back(device);
        }
        for (const vantu_common_device &fresh : reading) {
            const auto found = seek(devices, fresh.mac);
            if (found == devices.end()) {
                events.push_back("add " + plain_fields(fresh));
                devices.push_back(fresh);
            } else {
                events.push_back("update " + plain_fields(*found) + " from " + plain_fields(fresh));
                found->rssi++;
            }
        }
        for (const vantu_common_device &device : gone) {
            events.push_back("remove " + plain_fields(device) + " with data");
            devices.erase(std::find_if(devices.begin(), devices.end(),
                                       [&](const auto &each) { return strcmp(each.mac, device.mac) == 0; }));
        }
    }
};

TEST(DeviceListProperty, RandomReadingsGiveWhatAPlainModelGives)
{
    const quiet_log quiet;
    adding_sets_user_data = true;
    reading_result = 0;
    for (unsigned int seed = 0; seed < 100; seed++) {
        std::mt19937 random(seed);
        // Addresses of both kinds meet, in both cases.
        const auto any = [&random] {
            const char *const keys[] = {"02:0a", "02:0A", "02:0b", "02:0c", "192.0.2.1", "192.0.2.2", "fe80::A", ""};
            return std::string(keys[random() % 8]);
        };
        vantu_platform_ops ops = reporting_platform();
        device_list kept;
        device_model model;
        for (int round = 0; round < 30; round++) {
            device_reading.clear();
            for (auto left = random() % 7; left > 0; left--)
                device_reading.push_back(device_of(any(), any(), static_cast<int>(random() % 100)));
            events.clear();
            model.events.clear();
            model.update(device_reading);
            ASSERT_EQ(vantu_common_device_list_update(&kept, on_add, on_remove, on_update, &ops), 0);
            ASSERT_EQ(events, model.events) << seed;
            ASSERT_EQ(plain_fields_of(all_of<vantu_common_device>(kept)), plain_fields_of(model.devices)) << seed;
        }
    }
    adding_sets_user_data = false;
}

TEST(DeviceFinders, ByMacTakesEitherKeyInAnyCaseAndByIpOnlyTheVeryText)
{
    device_list list;
    for (const auto &device :
         {device_of("02:0a", "192.0.2.1", 0), device_of("02:0b", "2001:db8::A", 1), device_of("02:0c", "192.0.2.1", 2),
          device_of("02:0d", "02:0c", 3), device_of("02:0e", "", 4)})
        ASSERT_EQ(sclist_append(&list, &device), 1);
    const struct {
        const char *key;
        int by_mac; // the device's figure; -1: none
        int by_ip;
    } rows[] = {
        {"02:0a", 0, -1},       {"02:0A", 0, -1},
        {"192.0.2.1", 0, 0},    {"2001:db8::A", 1, 1},
        {"2001:db8::a", 1, -1}, {"2001:DB8::A", 1, -1},
        {"02:0c", 2, 3},        {"02:0C", 2, -1},
        {"02:0e", 4, -1},       {"", 4, 4},
        {"192.0.2", -1, -1},    {"192.0.2.11", -1, -1},
    };
    const auto figure = [](const vantu_common_device *device) { return device == nullptr ? -1 : device->rssi; };
    for (const auto &row : rows) {
        EXPECT_EQ(figure(vantu_common_device_list_get_device_by_mac(&list, row.key)), row.by_mac) << row.key;
        EXPECT_EQ(figure(vantu_common_device_list_get_device_by_ip(&list, row.key)), row.by_ip) << row.key;
        EXPECT_EQ(list.iter_active, 0) << row.key;
    }
}

TEST(DeviceFinders, FindNothingInAnEmptyList)
{
    device_list list;
    EXPECT_EQ(vantu_common_device_list_get_device_by_mac(&list, ""), nullptr);
    EXPECT_EQ(vantu_common_device_list_get_device_by_ip(&list, ""), nullptr);
    EXPECT_EQ(list.iter_active, 0);
}

TEST(DeviceListDuplicate, AppendsShallowCopiesInOrder)
{
    device_list source;
    vantu_common_device device = device_of("02:01", "a", 1);
    device.usr_data = malloc(8);
    ASSERT_EQ(sclist_append(&source, &device), 1);
    const vantu_common_device plain = device_of("02:02", "b", 2);
    ASSERT_EQ(sclist_append(&source, &plain), 1);

    sclist_t copies;
    const vantu::list_owner owner(copies, vantu_common_device_list_init);
    const vantu_common_device old = device_of("02:00", "old");
    ASSERT_EQ(sclist_append(&copies, &old), 1);
    EXPECT_EQ(vantu_common_device_list_duplicate(&source, &copies), 0);
    EXPECT_EQ(plain_fields_of(all_of<vantu_common_device>(copies)), (texts{"02:00/old/0", "02:01/a/1", "02:02/b/2"}));
    EXPECT_EQ(at<vantu_common_device>(copies, 1)->usr_data, device.usr_data);
    EXPECT_NE(at<vantu_common_device>(copies, 2), at<vantu_common_device>(source, 1));
    EXPECT_EQ(source.iter_active, 0);
}

// Every counter has a value of its own, as far as eight bits go.
vantu_common_device boosted_device()
{
    vantu_common_device device = {};
    device.boost_idx = 7;
    device.boost_last_time = 1000000;
    for (int slot = 0; slot < 12; slot++) {
        for (int qos_class = 0; qos_class < 12; qos_class++)
            device.boost[slot].boost[qos_class] = static_cast<uint8_t>(20 * qos_class + slot);
    }
    return device;
}

TEST(Boost, IsTheSumOfTheClassOverTheRollingSlots)
{
    vantu_common_device device = {};
    EXPECT_EQ(vantu_common_device_get_boost(&device, 0), 0);
    for (auto &slot : device.boost)
        slot.boost[11] = 255;
    device.boost[0].boost[3] = 1;
    device.boost[11].boost[3] = 4;
    EXPECT_EQ(vantu_common_device_get_boost(&device, 11), 12 * 255);
    EXPECT_EQ(vantu_common_device_get_boost(&device, 3), 5);
    EXPECT_EQ(vantu_common_device_get_boost(&device, 10), 0);
}

TEST(BoostText, IsOneLineForTheDeviceAndOneForEachClass)
{
    const vantu_common_device device = boosted_device();
    char text[1024];
    const int length = vantu_common_device_get_boost_as_string(&device, text, sizeof(text), 62999999);
    const std::string want = "idx: 7, since: 61\n"
                             "[0,1,2,3,4,5,6,7,8,9,10,11,] = 66\n"
                             "[20,21,22,23,24,25,26,27,28,29,30,31,] = 306\n"
                             "[40,41,42,43,44,45,46,47,48,49,50,51,] = 546\n"
                             "[60,61,62,63,64,65,66,67,68,69,70,71,] = 786\n"
                             "[80,81,82,83,84,85,86,87,88,89,90,91,] = 1026\n"
                             "[100,101,102,103,104,105,106,107,108,109,110,111,] = 1266\n"
                             "[120,121,122,123,124,125,126,127,128,129,130,131,] = 1506\n"
                             "[140,141,142,143,144,145,146,147,148,149,150,151,] = 1746\n"
                             "[160,161,162,163,164,165,166,167,168,169,170,171,] = 1986\n"
                             "[180,181,182,183,184,185,186,187,188,189,190,191,] = 2226\n"
                             "[200,201,202,203,204,205,206,207,208,209,210,211,] = 2466\n"
                             "[220,221,222,223,224,225,226,227,228,229,230,231,] = 2706\n";
    EXPECT_EQ(text, want);
    EXPECT_EQ(length, static_cast<int>(want.size()));
}

// The text as it would be built with plain means.
std::string restated_boost(const vantu_common_device &device, uint64_t now)
{
    std::string out = "idx: " + std::to_string(device.boost_idx) +
                      ", since: " + std::to_string((now - device.boost_last_time) / 1000000) + "\n";
    for (int qos_class = 0; qos_class < 12; qos_class++) {
        out += "[";
        int sum = 0;
        for (const auto &slot : device.boost) {
            out += std::to_string(slot.boost[qos_class]) + ",";
            sum += slot.boost[qos_class];
        }
        out += "] = " + std::to_string(sum) + "\n";
    }
    return out;
}

TEST(BoostText, IsCutToAnyBufferAndItsWholeLengthIsReturned)
{
    std::mt19937 random(4);
    vantu_common_device device = {};
    for (auto &slot : device.boost) {
        for (uint8_t &counter : slot.boost)
            counter = static_cast<uint8_t>(random());
    }
    device.boost_idx = -1;
    const uint64_t now = 5000000;
    const std::string whole = restated_boost(device, now);
    for (size_t size = 0; size <= whole.size() + 2; size++) {
        // From the heap, so that a write beyond the end is seen.
        std::vector<char> buffer(size + 1, '#');
        ASSERT_EQ(vantu_common_device_get_boost_as_string(&device, buffer.data(), static_cast<int>(size), now),
                  static_cast<int>(whole.size()))
            << size;
        ASSERT_EQ(buffer[size], '#') << size;
        ASSERT_EQ(std::string(buffer.data(), size == 0 ? 0 : strlen(buffer.data())),
                  whole.substr(0, size == 0 ? 0 : size - 1))
            << size;
    }
}

TEST(BoostText, InTenCharactersIsACutFirstLine)
{
    const vantu_common_device device = boosted_device();
    char text[10];
    EXPECT_EQ(vantu_common_device_get_boost_as_string(&device, text, sizeof(text), 1000000),
              static_cast<int>(restated_boost(device, 1000000).size()));
    EXPECT_STREQ(text, "idx: 7, s");
}

TEST(BoostText, SinceIsInWholeSeconds)
{
    const struct {
        uint64_t last;
        uint64_t now;
        const char *want;
    } rows[] = {
        {5, 5, "idx: 0, since: 0\n"},
        {0, 999999, "idx: 0, since: 0\n"},
        {0, 1000000, "idx: 0, since: 1\n"},
        {1, 2000000, "idx: 0, since: 1\n"},
        {0, 1767225600000000, "idx: 0, since: 1767225600\n"},
    };
    for (const auto &row : rows) {
        vantu_common_device device = {};
        device.boost_last_time = row.last;
        char text[1024];
        (void)vantu_common_device_get_boost_as_string(&device, text, sizeof(text), row.now);
        EXPECT_EQ(std::string(text).substr(0, strlen(row.want)), row.want);
    }
}

TEST(SpaceLeft, IsNeverBelowZero)
{
    char buffer[20];
    const struct {
        int position;
        int size;
        int want;
    } rows[] = {{0, 10, 10}, {3, 10, 7}, {9, 10, 1}, {10, 10, 0}, {11, 10, 0}, {20, 10, 0}, {0, 0, 0}, {5, 0, 0}};
    for (const auto &row : rows)
        EXPECT_EQ(vantu_util_new_str_len(buffer, buffer + row.position, row.size), row.want)
            << row.position << " of " << row.size;
}

// ---- The reader of data rows, over a platform whose row is the text of its fields ----

struct text_row {
    char text[4096];
};

int fields_of_a_row = 0;
int conversion_result = 0;
bool block_was_zero = true;

// As many fields as the row has, in brackets.
int row_from_fields(char **fields, void *row)
{
    static const text_row zero = {};
    block_was_zero = block_was_zero && memcmp(row, &zero, sizeof(zero)) == 0;
    std::string text;
    for (int i = 0; i < fields_of_a_row; i++)
        text += "["s + fields[i] + "]";
    put(static_cast<text_row *>(row)->text, text);
    return conversion_result;
}

int init_text_rows(sclist_t *list)
{
    (void)sclist_init(list);
    return sclist_attributes_copy(
        list, [](const void *) { return sizeof(text_row); }, 1);
}

using text_rows = support::list<init_text_rows>;

// As the reader counts them: of the first line, or what is read of it, up to a NUL.
int fields_of_header(std::string_view text)
{
    const std::string_view header = text.substr(0, std::min<size_t>(text.find_first_of("\n\0"sv), 8192));
    return std::min(256, 1 + static_cast<int>(std::count(header.begin(), header.end(), ',')));
}

vantu_platform_ops platform_of_text_rows()
{
    vantu_platform_ops ops = {};
    ops.get_data_struct_size = [] { return static_cast<int>(sizeof(text_row)); };
    ops.csv_string_to_data_struct = row_from_fields;
    return ops;
}

struct outcome {
    int result;
    texts rows;
    texts log;
};

outcome read_rows(const char *path, int fields)
{
    fields_of_a_row = fields;
    conversion_result = 0;
    block_was_zero = true;
    vantu_platform_ops ops = platform_of_text_rows();
    text_rows list;
    outcome got;
    log_capture log;
    got.result = vantu_common_csv_to_data_list(&list, path, &ops);
    for (const text_row &row : all_of<text_row>(list))
        got.rows.emplace_back(row.text);
    got.log = log.lines;
    EXPECT_EQ(got.result, static_cast<int>(got.rows.size()));
    EXPECT_TRUE(block_was_zero);
    return got;
}

outcome read_rows(const std::string &text)
{
    memory_file file;
    file.write(text);
    return read_rows(file.path(), fields_of_header(text));
}

std::string count_error(int data, int header)
{
    return "ERROR csv data and header count does not match " + std::to_string(data) + " " + std::to_string(header) +
           ". skip store in array\n";
}

// The fields "1,2,...": as many as asked for.
std::string numbered(int count)
{
    std::string out = "1";
    for (int i = 2; i <= count; i++)
        out += "," + std::to_string(i);
    return out;
}

std::string bracketed(int count)
{
    std::string out;
    for (int i = 1; i <= count; i++)
        out += "[" + std::to_string(i) + "]";
    return out;
}

TEST(DataRows, LinesOfAFile)
{
    const struct {
        const char *name;
        std::string text;
        texts rows;
        texts log;
    } rows[] = {
        {"empty file", "", {}, {}},
        {"header only", "a,b,c\n", {}, {}},
        {"header without a line end", "a,b,c", {}, {}},
        {"one row", "a,b,c\n1,2,3\n", {"[1][2][3]"}, {}},
        {"rows in order", "a,b\n1,2\n3,4\n1,2\n", {"[1][2]", "[3][4]", "[1][2]"}, {}},
        {"one column", "a\n1\n2\n", {"[1]", "[2]"}, {}},
        {"no last newline", "a,b\n1,2", {"[1][2]"}, {}},
        {"one field too few", "a,b,c\n1,2\n", {}, {count_error(2, 3)}},
        {"one field too many", "a,b,c\n1,2,3,4\n", {}, {count_error(4, 3)}},
        {"many fields too many", "a,b\n" + numbered(400) + "\n", {}, {count_error(400, 2)}},
        {"a trailing comma is a field too many", "a,b\n1,2,\n", {}, {count_error(3, 2)}},
        {"bad lines stop nothing",
         "a,b\n1\n1,2\n1,2,3\n3,4\n",
         {"[1][2]", "[3][4]"},
         {count_error(1, 2), count_error(3, 2)}},
        {"empty fields", "a,b,c\n,,\n,x,\n", {"[][][]", "[][x][]"}, {}},
        {"a blank line is one field", "a,b\n\n1,2\n", {"[1][2]"}, {count_error(1, 2)}},
        {"a blank line of one column is a row", "a\n\n1\n", {"[]", "[1]"}, {}},
        {"a blank header is one column", "\n1\n1,2\n", {"[1]"}, {count_error(2, 1)}},
        {"a header of commas", ",,\n1,2,3\n", {"[1][2][3]"}, {}},
        {"CR LF: the CR stays in the last field", "a,b\r\n1,2\r\n", {"[1][2\r]"}, {}},
        {"a CR alone ends no line", "a,b\r1,2\n3,4,5\n", {"[3][4][5]"}, {}},
        {"a NUL hides the rest of its line", "a,b\n1\0,2\n3,4\n"s, {"[3][4]"}, {count_error(1, 2)}},
        {"a NUL inside a field", "a,b\n1,2\0x\n"s, {"[1][2]"}, {}},
        {"a NUL in the header hides the rest of it", "a\0,b\n1\n1,2\n"s, {"[1]"}, {count_error(2, 1)}},
        {"a line that is a NUL", "a\n\0\n1\n"s, {"[]", "[1]"}, {}},
        {"blanks and tabs belong to their field", "a,b\n 1\t, 2 \n", {"[ 1\t][ 2 ]"}, {}},
        {"quotes do not group fields", "a,b\n\"1,2\"\n", {"[\"1][2\"]"}, {}},
        {"a quote may be part of a field", "a,b\n\"1\",'2'\n", {"[\"1\"]['2']"}, {}},
        {"semicolons part nothing", "a;b\n1;2\n", {"[1;2]"}, {}},
        {"format characters", "a,b\n%s%n,%d\n%n\n", {"[%s%n][%d]"}, {count_error(1, 2)}},
        {"a shell's characters", "a,b\n$(reboot),`reboot`\n", {"[$(reboot)][`reboot`]"}, {}},
        {"a spreadsheet's formula", "a,b\n=1+1,@SUM(A1)\n", {"[=1+1][@SUM(A1)]"}, {}},
        {"invalid UTF-8", "a,b\n\xff\xfe,\xc3\n", {"[\xff\xfe][\xc3]"}, {}},
        {"a terminal's escapes", "a,b\n\033[2J,\a\n", {"[\033[2J][\a]"}, {}},
        {"a byte order mark is part of the header",
         "\xef\xbb\xbf"
         "a,b\n1,2\n",
         {"[1][2]"},
         {}},
    };
    for (const auto &row : rows) {
        const outcome got = read_rows(row.text);
        EXPECT_EQ(got.rows, row.rows) << row.name;
        EXPECT_EQ(got.log, row.log) << row.name;
    }
}

TEST(DataRows, AFieldHolds127Characters)
{
    const struct {
        const char *name;
        std::string fields;
        std::string want;
    } rows[] = {
        {"127 fit", std::string(127, 'x') + "," + std::string(127, 'y'),
         "[" + std::string(127, 'x') + "][" + std::string(127, 'y') + "]"},
        {"128 fit before a comma, which is kept, but not at the end",
         std::string(128, 'x') + "," + std::string(128, 'y'),
         "[" + std::string(128, 'x') + "][" + std::string(127, 'y') + "]"},
        {"129 are cut to 127", std::string(129, 'x') + "," + std::string(129, 'y'),
         "[" + std::string(127, 'x') + "][" + std::string(127, 'y') + "]"},
        {"4000 are cut to 127", std::string(4000, 'x') + "," + std::string(4000, 'y'),
         "[" + std::string(127, 'x') + "][" + std::string(127, 'y') + "]"},
    };
    for (const auto &row : rows) {
        const outcome got = read_rows("a,b\n" + row.fields + "\n");
        EXPECT_EQ(got.rows, texts{row.want}) << row.name;
        EXPECT_EQ(got.log, texts{}) << row.name;
        // The same as header: it counts its fields, whatever their length.
        EXPECT_EQ(read_rows(row.fields + "\n1,2\n").rows, texts{"[1][2]"}) << row.name;
    }
}

TEST(DataRows, AHeaderHas256FieldsAtMost)
{
    const outcome full =
        read_rows(numbered(256) + "\n" + numbered(256) + "\n" + numbered(255) + "\n" + numbered(257) + "\n");
    EXPECT_EQ(full.rows, texts{bracketed(256)});
    EXPECT_EQ(full.log, (texts{count_error(255, 256), count_error(257, 256)}));

    for (const int count : {257, 258, 300, 1000}) {
        const outcome more = read_rows(numbered(count) + "\n" + numbered(count) + "\n" + numbered(256) + "\n");
        EXPECT_EQ(more.rows, texts{bracketed(256)}) << count;
        EXPECT_EQ(more.log, texts{count_error(count, 256)}) << count;
    }
}

TEST(DataRows, ALineHas8192CharactersAtMostAndWhatFollowsCountsAsALine)
{
    // 8192 with the line end.
    const outcome full = read_rows("a,b\n1," + std::string(8189, 'x') + "\n2,3\n");
    EXPECT_EQ(full.rows, (texts{"[1][" + std::string(127, 'x') + "]", "[2][3]"}));
    EXPECT_EQ(full.log, texts{});
    // One more: the line end is left over and makes a line of one empty field.
    const outcome one_more = read_rows("a,b\n1," + std::string(8190, 'x') + "\n2,3\n");
    EXPECT_EQ(one_more.rows, full.rows);
    EXPECT_EQ(one_more.log, texts{count_error(1, 2)});
    // The same in the header: its rest is taken for a row.
    const outcome header = read_rows("a," + std::string(8190, 'b') + "c,d\n2,3\n");
    EXPECT_EQ(header.rows, (texts{"[c][d]", "[2][3]"}));
}

TEST(DataRows, AFieldOf100000CharactersComesInPieces)
{
    const outcome got = read_rows("a,b\n1," + std::string(100000, 'x') + "\n2,3\n");
    EXPECT_EQ(got.rows, (texts{"[1][" + std::string(127, 'x') + "]", "[2][3]"}));
    EXPECT_EQ(got.log, texts(12, count_error(1, 2)));
    // With one column every piece is a row.
    EXPECT_EQ(read_rows("a\n" + std::string(100000, 'x') + "\n").rows, texts(13, "[" + std::string(127, 'x') + "]"));
}

TEST(DataRows, ARowThatThePlatformCannotConvertIsLoggedAndKept)
{
    memory_file file;
    file.write("a,b,c\n1,2,3\n4,5,6\n");
    vantu_platform_ops ops = platform_of_text_rows();
    text_rows list;
    fields_of_a_row = 3;
    conversion_result = -7;
    log_capture log;
    EXPECT_EQ(vantu_common_csv_to_data_list(&list, file.path(), &ops), 2);
    conversion_result = 0;
    EXPECT_EQ(log.lines, texts(2, "ERROR error: csv_string_to_data_struct 3"));
    ASSERT_EQ(sclist_size(&list), 2U);
    EXPECT_STREQ(at<text_row>(list, 0)->text, "[1][2][3]");
    EXPECT_STREQ(at<text_row>(list, 1)->text, "[4][5][6]");
}

TEST(DataRows, AreAppendedToWhatTheListHoldsAndAllAreCounted)
{
    memory_file file;
    file.write("a,b\n1,2\n");
    vantu_platform_ops ops = platform_of_text_rows();
    text_rows list;
    fields_of_a_row = 2;
    const quiet_log quiet;
    EXPECT_EQ(vantu_common_csv_to_data_list(&list, file.path(), &ops), 1);
    EXPECT_EQ(vantu_common_csv_to_data_list(&list, file.path(), &ops), 2);
    file.write("a,b\n");
    EXPECT_EQ(vantu_common_csv_to_data_list(&list, file.path(), &ops), 2);
    EXPECT_EQ(vantu_common_csv_to_data_list(&list, "/tmp/there/is/no/such/file.csv", &ops), 2);
    EXPECT_EQ(sclist_size(&list), 2U);
}

TEST(DataRows, AFileThatCannotBeOpenedIsLogged)
{
    for (const std::string path : {"/tmp/there/is/no/such/file.csv", "", "/dev/null/x"}) {
        const outcome got = read_rows(path.c_str(), 1);
        EXPECT_EQ(got.rows, texts{}) << path;
        EXPECT_EQ(got.log, texts{"ERROR failed to open file " + path}) << path;
    }
}

TEST(DataRows, ADirectoryHasNoneAndSaysSo)
{
    const outcome got = read_rows("/tmp", 1);
    EXPECT_EQ(got.rows, texts{});
    EXPECT_EQ(got.log, texts{"ERROR /tmp cannot be read: "s + strerror(EISDIR)});
}

TEST(DataRows, ADeviceWithoutEndIsGivenUp)
{
    const outcome got = read_rows("/dev/zero", 1);
    EXPECT_EQ(got.rows.size(), 16383U); // behind the header
    EXPECT_EQ(got.log, texts{"ERROR the output does not end: the rest is not read"});
}

TEST(DataRows, LeaveNoDescriptorOpen)
{
    memory_file file;
    file.write("a,b\n1,2\n1\n");
    const auto before = open_descriptors();
    (void)read_rows(file.path(), 2);
    (void)read_rows("/tmp", 1);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(DataRows, StoredFilesGiveTheExpectedRowsAndMessages)
{
    for (const std::string &name : cases_of("data_rows/generic")) {
        const outcome got = read_rows(fixture(name + ".txt"));
        expect_stored(name, lines_of(got.rows), got.log);
    }
}

// Reads hostile text; there is a row or a message for every line but the header.
void survive(memory_file &file, std::string_view text)
{
    file.write(text);
    vantu_platform_ops ops = platform_of_text_rows();
    text_rows list;
    fields_of_a_row = fields_of_header(text);
    const int count = vantu_common_csv_to_data_list(&list, file.path(), &ops);
    ASSERT_EQ(count, static_cast<int>(sclist_size(&list))) << printable(text);
    const auto lines = std::count(text.begin(), text.end(), '\n') + 1;
    ASSERT_LE(count, lines) << printable(text);
    for (int i = 0; i < count; i++)
        ASSERT_EQ(strchr(at<text_row>(list, static_cast<unsigned int>(i))->text, '\n'), nullptr) << printable(text);
}

TEST(DataRows, EveryTruncationOfAStoredFileGivesSoundRows)
{
    const quiet_log quiet;
    memory_file file;
    for (const std::string &name : cases_of("data_rows/generic"))
        every_truncation(fixture(name + ".txt"), [&](auto text) { survive(file, text); });
}

TEST(DataRows, EveryCorruptionOfAStoredFileGivesSoundRows)
{
    const quiet_log quiet;
    memory_file file;
    for (const std::string &name : cases_of("data_rows/generic"))
        every_corruption(fixture(name + ".txt"), [&](auto text) { survive(file, text); });
}

// ---- Printing ----

TEST(Print, ALineForEachRadio)
{
    radio_list list;
    vantu_common_radio radio = radio_named("wl0");
    radio.noise = -92;
    radio.channel = 36;
    radio.rx_bytes = UINT64_MAX;
    radio.tx_bytes = 4294967296;
    ASSERT_EQ(sclist_append(&list, &radio), 1);
    radio = radio_named("12345678");
    ASSERT_EQ(sclist_append(&list, &radio), 1);
    EXPECT_EQ(standard_output_of([&] { vantu_common_radio_print(&list); }),
              "wl0 -92 36 18446744073709551615 4294967296\n12345678 0 0 0 0\n");
    EXPECT_EQ(list.iter_active, 0);
}

TEST(Print, ALineForEachDevice)
{
    device_list list;
    vantu_common_device device = device_of("02:00:00:00:00:01", "192.0.2.1", -51);
    put(device.hostname, "tablet");
    put(device.interface, "wl1");
    device.noise = -90;
    device.rx_bytes = 4294967296;
    device.tx_bytes = UINT64_MAX;
    ASSERT_EQ(sclist_append(&list, &device), 1);
    device = {};
    ASSERT_EQ(sclist_append(&list, &device), 1);
    EXPECT_EQ(standard_output_of([&] { vantu_common_devices_print(&list); }),
              "tablet wl1 02:00:00:00:00:01 192.0.2.1 -90 -51 4294967296 18446744073709551615\n"
              "    0 0 0 0\n");
    EXPECT_EQ(list.iter_active, 0);
}

TEST(Print, NothingForEmptyLists)
{
    radio_list radios;
    device_list devices;
    EXPECT_EQ(standard_output_of([&] {
                  vantu_common_radio_print(&radios);
                  vantu_common_devices_print(&devices);
              }),
              "");
}

} // namespace
