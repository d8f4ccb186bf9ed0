// The tests of the inventory operations, over tables of operations that are made up: what they print and in which
// order, what they find implausible, and what they return.

#include "harness.h"

#include "support.hpp"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

using namespace std::string_literals;
using namespace support;
using outcome = call_outcome;

namespace
{

// What the made-up operations report, and what became of their calls.
std::vector<vantu_common_radio> radios;
std::vector<vantu_common_device> devices;
std::vector<vantu_ll_dhcp> leases;
std::vector<vantu_network> networks;
std::vector<size_t> neighbours_of_band_2; // how many, call by call; the last one stays
std::vector<size_t> neighbours_of_band_5;
std::vector<int> results; // of the operation, call by call; the last one stays
int calls = 0;
texts asked; // with which arguments, where there are any
bool record_was_zero = true;
char text[64];

int next_result()
{
    calls++;
    return next_of(results);
}

template <typename Record>
int report(const std::vector<Record> &records, sclist_t *list)
{
    append_all(list, records);
    return next_result();
}

char *report_text()
{
    calls++;
    return text;
}

char *report_null()
{
    calls++;
    return nullptr;
}

template <typename Record>
void expect_zero(const Record &record)
{
    record_was_zero = record_was_zero && is_zero(record);
}

class Inventory : public testing::Test
{
protected:
    void SetUp() override
    {
        radios.clear();
        devices.clear();
        leases.clear();
        networks.clear();
        neighbours_of_band_2.clear();
        neighbours_of_band_5.clear();
        results.clear();
        calls = 0;
        asked.clear();
        record_was_zero = true;
        put(text, "");
    }

    static outcome run(const std::function<int()> &test) { return outcome_of(test); }

    outcome run(int (*test)(vantu_platform_ops *))
    {
        return run([&] { return test(&ops); });
    }

    outcome run_associated_devices()
    {
        return run([&] {
            sclist_t list;
            (void)vantu_common_device_list_init(&list);
            const int result = test_get_associated_devices(&ops, &list);
            EXPECT_EQ(sclist_size(&list), devices.size()) << "the list stays with the caller";
            EXPECT_EQ(list.iter_active, 0);
            (void)vantu_common_device_list_free(&list);
            return result;
        });
    }

    outcome run_is_device_active(vantu_common_device device = {})
    {
        return run([&] { return test_is_device_active(&device, &ops); });
    }

    vantu_platform_ops ops = {};
};

std::string red(const std::string &message)
{
    return "DEBUG \033[31m" + message + "\033[0m";
}

TEST_F(Inventory, AMissingOperationIsSaidTwiceAndFailsTheTest)
{
    const struct {
        const char *name; // of the operation
        const char *title;
        std::function<outcome()> run;
    } rows[] = {
        {"system_setup", "Testing system_setup", [&] { return run(test_system_setup); }},
        {"system_destroy", "Testing system_destroy", [&] { return run(test_system_destroy); }},
        {"get_radios", "Testing get_radios", [&] { return run(test_get_radios); }},
        {"get_data_struct_size", "Testing get_data_struct_size", [&] { return run(test_get_struct_size); }},
        {"get_dhcpleases", "Testing get_dhcpleases", [&] { return run(test_get_dhcpleases); }},
        {"get_associated_devices", "Testing get_associated_devices", [&] { return run_associated_devices(); }},
        {"get_routerid", "Testing get_routerid", [&] { return run(test_get_routerid); }},
        {"get_routermac", "Testing get_routermac", [&] { return run(test_get_routermac); }},
        {"get_routerbasemac", "Testing get_routerbasemac", [&] { return run(test_get_routerbasemac); }},
        {"get_router_info", "Test start", [&] { return run(test_get_router_info); }},
        {"get_systeminfo", "Testing get_systeminfo", [&] { return run(test_get_systeminfo); }},
        {"get_wan_interface_name", "Testing get_wan_interface_name", [&] { return run(test_get_wan_interface_name); }},
        {"is_device_active", "Testing is_device_active", [&] { return run_is_device_active(); }},
        {"get_host_ip", "Testing get_host_ip", [&] { return run(test_get_host_ip); }},
        {"get_ap_neighbors", "test_get_ap_neighbors", [&] { return run(test_get_ap_neighbors); }},
        {"get_networks", "test_get_networks", [&] { return run(test_get_networks); }},
    };
    for (const auto &row : rows) {
        const std::string line = red("  function "s + row.name + " not implemented!");
        const outcome got = row.run();
        EXPECT_EQ(got.result, 1) << row.name;
        EXPECT_EQ(got.log, (texts{"TRACE "s + row.title, line, line})) << row.name;
        EXPECT_EQ(got.errors, "_check_funcptr(\""s + row.name + "\", ops->" + row.name + "): -1 != 0 \n");
    }
}

TEST_F(Inventory, OnTheContainerPlatformSixOperationsAreNotImplemented)
{
    {
        const quiet_log quiet;
        ASSERT_EQ(vantu_platform_ops_init(&ops, ""), 0);
    }
    const struct {
        const char *name;
        int (*test)(vantu_platform_ops *ops);
    } rows[] = {
        {"get_host_ip", test_get_host_ip},
        {"get_routermac", test_get_routermac},
        {"get_routerbasemac", test_get_routerbasemac},
        {"get_systeminfo", test_get_systeminfo},
        {"get_ap_neighbors", test_get_ap_neighbors},
        {"get_networks", test_get_networks},
    };
    for (const auto &row : rows) {
        const outcome got = run(row.test);
        EXPECT_EQ(got.result, 1) << row.name;
        EXPECT_EQ(got.log.back(), red("  function "s + row.name + " not implemented!")) << row.name;
    }
    const quiet_log quiet;
    EXPECT_EQ(ops.system_destroy(), 0);
    EXPECT_EQ(vantu_platform_ops_close(&ops), 0);
}

TEST_F(Inventory, SetupAndTeardownAreOnlyLookedAtNotCalled)
{
    ops.system_setup = ops.system_destroy = [] { return next_result(); };
    outcome got = run(test_system_setup);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.log, texts{"TRACE Testing system_setup"});
    got = run(test_system_destroy);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.log, texts{"TRACE Testing system_destroy"});
    EXPECT_EQ(got.errors, "");
    EXPECT_EQ(calls, 0);
}

// ---- Radios ----

vantu_common_radio good_radio(const std::string &interface)
{
    vantu_common_radio radio = {};
    put(radio.interface, interface);
    radio.noise = -91;
    radio.channel = 36;
    radio.currentchannel = 44;
    radio.tx_bytes = 5000000018;
    radio.rx_bytes = 910377264;
    radio.bandwidth = 80;
    return radio;
}

class InventoryRadios : public Inventory
{
protected:
    void SetUp() override
    {
        Inventory::SetUp();
        ops.get_radios = [](sclist_t *list) { return report(radios, list); };
    }
};

TEST_F(InventoryRadios, ArePrintedAndThenReadAgainTheWayASamplerDoes)
{
    radios = {good_radio("wl0"), good_radio("wl1")};
    radios[1].noise = -1;
    radios[1].channel = 0; // is not judged
    radios[1].currentchannel = radios[1].bandwidth = 1;
    radios[1].tx_bytes = 1;
    radios[1].rx_bytes = UINT64_MAX;
    const outcome got = run(test_get_radios);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.errors, "");
    EXPECT_EQ(got.log,
              (texts{"TRACE Testing get_radios", "DEBUG   Found 2 radios", "DEBUG  -interface: wl0",
                     "DEBUG   noise: -91", "DEBUG   channel: 36", "DEBUG   currentchannel: 44",
                     "DEBUG   tx_bytes: 5000000018", "DEBUG   rx_bytes: 910377264", "DEBUG   bandwidth: 80",
                     "DEBUG  -interface: wl1", "DEBUG   noise: -1", "DEBUG   channel: 0", "DEBUG   currentchannel: 1",
                     "DEBUG   tx_bytes: 1", "DEBUG   rx_bytes: 18446744073709551615", "DEBUG   bandwidth: 1",
                     "DEBUG Done get_radios", "INFO New radio found wl0", "INFO New radio found wl1"}));
    EXPECT_EQ(calls, 2);
}

TEST_F(InventoryRadios, EachImplausibleValueAloneMakesTheResultMinusOne)
{
    const struct {
        const char *name;
        std::function<void(vantu_common_radio &radio)> spoil;
        const char *value; // the line that it follows
        std::string complaint;
    } rows[] = {
        {"no interface", [](auto &radio) { put(radio.interface, ""); },
         "DEBUG  -interface: ", "DEBUG     error empty interface!"},
        {"noise 0", [](auto &radio) { radio.noise = 0; }, "DEBUG   noise: 0", red("   error invalid noise: 0!")},
        {"noise above 0", [](auto &radio) { radio.noise = 91; }, "DEBUG   noise: 91",
         red("   error invalid noise: 91!")},
        {"current channel 0: the configured one is shown, which is kept", [](auto &radio) { radio.currentchannel = 0; },
         "DEBUG   currentchannel: 0", red("   error invalid currentchannel: 36!")},
        {"current channel below 0", [](auto &radio) { radio.currentchannel = -1; }, "DEBUG   currentchannel: -1",
         red("   error invalid currentchannel: 36!")},
        {"nothing sent", [](auto &radio) { radio.tx_bytes = 0; }, "DEBUG   tx_bytes: 0",
         red("   error invalid tx_bytes: 0!")},
        {"nothing received", [](auto &radio) { radio.rx_bytes = 0; }, "DEBUG   rx_bytes: 0",
         red("   error invalid rx_bytes: 0!")},
        {"bandwidth 0", [](auto &radio) { radio.bandwidth = 0; }, "DEBUG   bandwidth: 0",
         red("   error invalid bandwidth: 0!")},
        {"bandwidth below 0", [](auto &radio) { radio.bandwidth = -20; }, "DEBUG   bandwidth: -20",
         red("   error invalid bandwidth: -20!")},
    };
    for (const auto &row : rows) {
        // Between two good ones, which must not make up for it.
        radios = {good_radio("wl0"), good_radio("wl1"), good_radio("wl2")};
        const outcome good = run(test_get_radios);
        EXPECT_EQ(good.result, 0) << row.name;
        row.spoil(radios[1]);
        const outcome got = run(test_get_radios);
        EXPECT_EQ(got.result, -1) << row.name;
        EXPECT_EQ(got.errors, "") << row.name;
        ASSERT_EQ(got.log.size(), good.log.size() + 1) << row.name << ": every field is still printed";
        const auto complaint = std::find(got.log.begin(), got.log.end(), row.complaint);
        ASSERT_NE(complaint, got.log.end()) << row.name;
        EXPECT_EQ(complaint[-1], row.value) << row.name;
    }
}

TEST_F(InventoryRadios, AllImplausibleValuesArePrintedEachBehindItsOwn)
{
    radios = {vantu_common_radio{}};
    radios[0].channel = 11;
    const outcome got = run(test_get_radios);
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.log,
              (texts{"TRACE Testing get_radios", "DEBUG   Found 1 radios", "DEBUG  -interface: ",
                     "DEBUG     error empty interface!", "DEBUG   noise: 0", red("   error invalid noise: 0!"),
                     "DEBUG   channel: 11", "DEBUG   currentchannel: 0", red("   error invalid currentchannel: 11!"),
                     "DEBUG   tx_bytes: 0", red("   error invalid tx_bytes: 0!"), "DEBUG   rx_bytes: 0",
                     red("   error invalid rx_bytes: 0!"), "DEBUG   bandwidth: 0",
                     red("   error invalid bandwidth: 0!"), "DEBUG Done get_radios", "INFO New radio found "}));
}

TEST_F(InventoryRadios, AReadingThatFailsIsMadeTwiceAndEndsTheTest)
{
    radios = {good_radio("wl0")};
    results = {-5};
    outcome got = run(test_get_radios);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "ops->get_radios(radios): -5 != 0 \n");
    EXPECT_EQ(got.log, texts{"TRACE Testing get_radios"});
    EXPECT_EQ(calls, 2);

    results = {-5, 0};
    got = run(test_get_radios);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "ops->get_radios(radios): 0 != 0 \n") << "the second result is printed";
}

TEST_F(InventoryRadios, NoRadioAtAllFailsTheTest)
{
    const outcome got = run(test_get_radios);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "size!=0 failed!\n");
    EXPECT_EQ(got.log, (texts{"TRACE Testing get_radios", "DEBUG   Found 0 radios"}));
    EXPECT_EQ(calls, 1) << "and nothing is read again";
}

TEST_F(InventoryRadios, ReadTheWayASamplerDoesAreThePlatformsWithHistoryAndIssues)
{
    radios = {good_radio("wl0"), good_radio("wl1"), good_radio("wl0")};
    sclist_t list;
    const outcome got = run([&] {
        _get_radios_the_kivsampler_way(&ops, &list);
        return 0;
    });
    EXPECT_EQ(got.log, (texts{"INFO New radio found wl0", "INFO New radio found wl1"}));
    EXPECT_EQ(calls, 1);
    ASSERT_EQ(sclist_size(&list), 2U);
    const auto *radio = static_cast<const vantu_common_radio *>(sclist_get_at(&list, 1));
    EXPECT_STREQ(radio->interface, "wl1");
    EXPECT_EQ(radio->noise, -91);
    EXPECT_NE(radio->radio_stats_buff.array, nullptr);
    EXPECT_NE(radio->issues.head_sentinel, nullptr);
    EXPECT_EQ(vantu_common_radio_list_free(&list), 0);
}

// ---- Sizes and leases ----

TEST_F(Inventory, TheSizeOfARowIsPrintedAndDoesNotChangeTheResult)
{
    ops.get_data_struct_size = [] { return next_result(); };
    const struct {
        int size;
        texts complaint;
    } rows[] = {
        {1, {}},
        {1144, {}},
        {0, {red("  Error get_data_struct_size <= 0!")}},
        {-4, {red("  Error get_data_struct_size <= 0!")}},
    };
    for (const auto &row : rows) {
        results = {row.size};
        texts want = {"TRACE Testing get_data_struct_size", "DEBUG   got size: " + std::to_string(row.size)};
        want.insert(want.end(), row.complaint.begin(), row.complaint.end());
        const outcome got = run(test_get_struct_size);
        EXPECT_EQ(got.result, 0) << row.size;
        EXPECT_EQ(got.log, want) << row.size;
        EXPECT_EQ(got.errors, "") << row.size;
    }
    EXPECT_EQ(calls, 4);
}

class InventoryLeases : public Inventory
{
protected:
    void SetUp() override
    {
        Inventory::SetUp();
        ops.get_dhcpleases = [](sclist_t *list) { return report(leases, list); };
        leases.resize(2);
        put(leases[0].mac_address, "02:00:00:00:01:23");
        put(leases[0].hostname, "tablet");
        put(leases[0].ip_address, "192.0.2.23");
        leases[0].expires = 4294967295;
    }
};

TEST_F(InventoryLeases, ArePrinted)
{
    const outcome got = run(test_get_dhcpleases);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.errors, "");
    EXPECT_EQ(got.log, (texts{"TRACE Testing get_dhcpleases",
                              "DEBUG \t\t02:00:00:00:01:23\ttablet\t192.0.2.23\t4294967295\n", "DEBUG \t\t\t\t\t0\n"}));
    EXPECT_EQ(calls, 1);
}

TEST_F(InventoryLeases, AReadingThatFailsIsMadeTwiceAndEndsTheTest)
{
    results = {-1};
    const outcome got = run(test_get_dhcpleases);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "ops->get_dhcpleases(&dhcps): -1 != 0 \n");
    EXPECT_EQ(got.log, texts{"TRACE Testing get_dhcpleases"});
    EXPECT_EQ(calls, 2);
}

TEST_F(InventoryLeases, NoLeaseAtAllFailsTheTest)
{
    leases.clear();
    const outcome got = run(test_get_dhcpleases);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "sclist_size(&dhcps)>0 failed!\n");
    EXPECT_EQ(got.log, texts{"TRACE Testing get_dhcpleases"});
}

// ---- Devices ----

vantu_common_device good_device()
{
    vantu_common_device device = {};
    put(device.mac, "02:00:00:00:01:23");
    put(device.ipv4, "192.0.2.23");
    put(device.hostname, "tablet");
    put(device.interface, "wl0");
    device.is_wifi = 1;
    device.noise = -90;
    device.rssi = -51;
    device.tx_bytes = 5000000018;
    device.rx_bytes = 1;
    device.tx_packets = 3;
    device.rx_packets = 4;
    device.tx_rate = 866667;
    device.rx_rate = 433333;
    return device;
}

class InventoryDevices : public Inventory
{
protected:
    void SetUp() override
    {
        Inventory::SetUp();
        ops.get_associated_devices = [](sclist_t *list) { return report(devices, list); };
    }
};

TEST_F(InventoryDevices, ArePrintedFieldByField)
{
    devices = {good_device()};
    const outcome got = run_associated_devices();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.errors, "");
    EXPECT_EQ(got.log, (texts{"TRACE Testing get_associated_devices", "DEBUG   Found 1 devices",
                              "DEBUG  - mac: 02:00:00:00:01:23", "DEBUG     ip:         192.0.2.23",
                              "DEBUG     hostname:   tablet", "DEBUG     interface:  wl0", "DEBUG     is_wifi:    1",
                              "DEBUG     noise:      -90", "DEBUG     rssi:       -51",
                              "DEBUG     tx_bytes:   5000000018", "DEBUG     rx_bytes:   1", "DEBUG     tx_packets: 3",
                              "DEBUG     rx_packets: 4", "DEBUG     tx_rate:    866667", "DEBUG     rx_rate:    433333",
                              "DEBUG Done get_associated_devices"}));
    EXPECT_EQ(calls, 1);
}

TEST_F(InventoryDevices, ThatAreEmptyAreComplainedOfFieldByField)
{
    devices = {vantu_common_device{}};
    devices[0].is_wifi = 1;
    const outcome got = run_associated_devices();
    EXPECT_EQ(got.result, 0) << "which does not change the result";
    EXPECT_EQ(got.log,
              (texts{"TRACE Testing get_associated_devices",
                     "DEBUG   Found 1 devices",
                     "DEBUG  - mac: ",
                     red("   error empty interface!"), // of the MAC: the text is the interface's, which is kept
                     "DEBUG     ip:         ",
                     red("   error missing ipv4!"),
                     "DEBUG     hostname:   ",
                     red("   error missing hostname!"),
                     "DEBUG     interface:  ",
                     "DEBUG \033[31m   error empty interface!", // without the colour's end, which is kept
                     "DEBUG     is_wifi:    1",
                     "DEBUG     noise:      0 \033[31m(invalid)\033[0m",
                     "DEBUG     rssi:       0 \033[31m(invalid)\033[0m",
                     "DEBUG     tx_bytes:   0",
                     red("   error invalid tx_bytes: 0!"),
                     "DEBUG     rx_bytes:   0",
                     red("   error invalid rx_bytes: 0!"),
                     "DEBUG     tx_packets: 0",
                     "DEBUG     rx_packets: 0",
                     "DEBUG     tx_rate:    0",
                     "DEBUG     rx_rate:    0",
                     "DEBUG Done get_associated_devices"}));
}

TEST_F(InventoryDevices, EachImplausibleValueAloneIsComplainedOf)
{
    const struct {
        const char *name;
        std::function<void(vantu_common_device &device)> spoil;
        const char *complaint;  // null: none
        const char *value;      // the line before the complaint, or instead of one
        const char *plain = ""; // a line that must not be there then
    } rows[] = {
        {"no MAC", [](auto &device) { put(device.mac, ""); }, "DEBUG \033[31m   error empty interface!\033[0m",
         "DEBUG  - mac: "},
        {"no address", [](auto &device) { put(device.ipv4, ""); }, "DEBUG \033[31m   error missing ipv4!\033[0m",
         "DEBUG     ip:         "},
        {"no name", [](auto &device) { put(device.hostname, ""); }, "DEBUG \033[31m   error missing hostname!\033[0m",
         "DEBUG     hostname:   "},
        {"no interface", [](auto &device) { put(device.interface, ""); }, "DEBUG \033[31m   error empty interface!",
         "DEBUG     interface:  "},
        {"Wi-Fi, noise 0", [](auto &device) { device.noise = 0; }, nullptr,
         "DEBUG     noise:      0 \033[31m(invalid)\033[0m", "DEBUG     noise:      0"},
        {"Wi-Fi, noise above 0", [](auto &device) { device.noise = 7; }, nullptr,
         "DEBUG     noise:      7 \033[31m(invalid)\033[0m", "DEBUG     noise:      7"},
        {"Wi-Fi, rssi 0", [](auto &device) { device.rssi = 0; }, nullptr,
         "DEBUG     rssi:       0 \033[31m(invalid)\033[0m", "DEBUG     rssi:       0"},
        {"Wi-Fi, rssi above 0", [](auto &device) { device.rssi = 51; }, nullptr,
         "DEBUG     rssi:       51 \033[31m(invalid)\033[0m", "DEBUG     rssi:       51"},
        {"Wi-Fi, rssi just below 0", [](auto &device) { device.rssi = -1; }, nullptr, "DEBUG     rssi:       -1"},
        {"wired, noise and rssi 0", [](auto &device) { device.is_wifi = device.noise = device.rssi = 0; }, nullptr,
         "DEBUG     rssi:       0", "DEBUG     rssi:       0 \033[31m(invalid)\033[0m"},
        {"wired, noise 5",
         [](auto &device) {
             device.is_wifi = 0;
             device.noise = 5;
         },
         nullptr, "DEBUG     noise:      5", "DEBUG     noise:      5 \033[31m(invalid)\033[0m"},
        {"nothing sent", [](auto &device) { device.tx_bytes = 0; },
         "DEBUG \033[31m   error invalid tx_bytes: 0!\033[0m", "DEBUG     tx_bytes:   0"},
        {"nothing received", [](auto &device) { device.rx_bytes = 0; },
         "DEBUG \033[31m   error invalid rx_bytes: 0!\033[0m", "DEBUG     rx_bytes:   0"},
        {"wired, nothing sent",
         [](auto &device) {
             device.is_wifi = 0;
             device.tx_bytes = 0;
         },
         "DEBUG \033[31m   error invalid tx_bytes: 0!\033[0m", "DEBUG     tx_bytes:   0"},
        {"wired, nothing received",
         [](auto &device) {
             device.is_wifi = 0;
             device.rx_bytes = 0;
         },
         "DEBUG \033[31m   error invalid rx_bytes: 0!\033[0m", "DEBUG     rx_bytes:   0"},
    };
    for (const auto &row : rows) {
        devices = {good_device()};
        const size_t lines = run_associated_devices().log.size();
        row.spoil(devices[0]);
        const outcome got = run_associated_devices();
        EXPECT_EQ(got.result, 0) << row.name;
        EXPECT_EQ(got.errors, "") << row.name;
        EXPECT_EQ(got.log.size(), lines + (row.complaint != nullptr ? 1 : 0)) << row.name;
        const auto value = std::find(got.log.begin(), got.log.end(), row.value);
        ASSERT_NE(value, got.log.end()) << row.name;
        if (row.complaint != nullptr) {
            EXPECT_EQ(value[1], row.complaint) << row.name;
        }
        EXPECT_EQ(std::count(got.log.begin(), got.log.end(), row.plain), 0) << row.name;
    }
}

TEST_F(InventoryDevices, BytesAreUnsignedAndPacketsAndRatesSigned)
{
    devices = {good_device()};
    devices[0].tx_bytes = devices[0].rx_bytes = devices[0].tx_packets = devices[0].rx_packets = UINT64_MAX;
    devices[0].tx_rate = devices[0].rx_rate = UINT64_MAX - 1;
    const texts log = run_associated_devices().log;
    EXPECT_EQ(texts(log.begin() + 9, log.begin() + 15),
              (texts{"DEBUG     tx_bytes:   18446744073709551615", "DEBUG     rx_bytes:   18446744073709551615",
                     "DEBUG     tx_packets: -1", "DEBUG     rx_packets: -1", "DEBUG     tx_rate:    -2",
                     "DEBUG     rx_rate:    -2"}));
}

TEST_F(InventoryDevices, ResultIsTheOperationsOwnOrMinusOneWhenThereAreNone)
{
    const struct {
        size_t count;
        int result;
        int want;
    } rows[] = {{2, 0, 0}, {2, 7, 7}, {1, -3, -3}, {0, 0, -1}, {0, 7, -1}, {0, -3, -1}};
    for (const auto &row : rows) {
        devices.assign(row.count, good_device());
        results = {row.result};
        calls = 0;
        const outcome got = run_associated_devices();
        EXPECT_EQ(got.result, row.want) << row.count << " devices, result " << row.result;
        EXPECT_EQ(got.errors, "") << row.count << " devices, result " << row.result;
        EXPECT_EQ(got.log[1], "DEBUG   Found " + std::to_string(row.count) + " devices");
        EXPECT_EQ(got.log.back(), "DEBUG Done get_associated_devices");
        EXPECT_EQ(calls, 1);
    }
}

TEST_F(Inventory, ActivityIsPrintedAndDoesNotChangeTheResult)
{
    ops.is_device_active = [](const char *interface, const char *mac) {
        asked.push_back(interface + " "s + mac);
        return next_result();
    };
    for (const int active : {0, 1, -1}) {
        results = {active};
        asked.clear();
        const outcome got = run_is_device_active(good_device());
        EXPECT_EQ(got.result, 0) << active;
        EXPECT_EQ(got.errors, "") << active;
        EXPECT_EQ(got.log, (texts{"TRACE Testing is_device_active", "DEBUG   is_device_active wl0 02:00:00:00:01:23",
                                  "DEBUG   active: " + std::to_string(active), "DEBUG done is_device_active"}));
        EXPECT_EQ(asked, texts{"wl0 02:00:00:00:01:23"}) << active;
    }
}

// ---- Who is this router? ----

TEST_F(Inventory, TextsOfTheRouterArePrintedAndEmptyOnesComplainedOf)
{
    const struct {
        char *(*vantu_platform_ops::*slot)(void);
        int (*test)(vantu_platform_ops *ops);
        const char *title;
        const char *line;
        const char *complaint;
    } rows[] = {
        {&vantu_platform_ops::get_routerid, test_get_routerid, "TRACE Testing get_routerid",
         "DEBUG   Router ID: ", "   Error name size = 0!"},
        {&vantu_platform_ops::get_routermac, test_get_routermac, "TRACE Testing get_routermac",
         "DEBUG   Router MAC: ", "   Error routermac size <= 0!"},
        {&vantu_platform_ops::get_routerbasemac, test_get_routerbasemac, "TRACE Testing get_routerbasemac",
         "DEBUG   Router BASE MAC: ", "   Error routerbasemac size <= 0!"},
        {&vantu_platform_ops::get_wan_interface_name, test_get_wan_interface_name,
         "TRACE Testing get_wan_interface_name", "DEBUG   WAN interface: ", "   Error wanname size = 0!"},
    };
    for (const auto &row : rows) {
        ops.*row.slot = report_text;
        put(text, "CP%n-1 02");
        calls = 0;
        outcome got = run(row.test);
        EXPECT_EQ(got.result, 0) << row.title;
        EXPECT_EQ(got.errors, "") << row.title;
        EXPECT_EQ(got.log, (texts{row.title, row.line + "CP%n-1 02"s}));
        EXPECT_EQ(calls, 1) << row.title;

        put(text, "");
        got = run(row.test);
        EXPECT_EQ(got.result, 0) << row.title;
        EXPECT_EQ(got.log, (texts{row.title, row.line, red(row.complaint)}));

        ops.*row.slot = report_null;
        got = run(row.test);
        EXPECT_EQ(got.result, 0) << row.title << ": no text counts as an empty one";
        EXPECT_EQ(got.log, (texts{row.title, row.line, red(row.complaint)}));
    }
}

int report_router_info(vantu_router_info *info)
{
    expect_zero(*info);
    put(info->routerid, "id");
    put(info->serial, "ser");
    put(info->basemac, "02:00:00:00:00:01");
    put(info->hardware_manufacturer, "not printed");
    put(info->hardware_model, "model");
    put(info->chipset_model, "v8");
    put(info->chipset_manufacturer, "maker");
    put(info->kernel_version, "4.1");
    put(info->cpu_architecture, "arm");
    put(info->firmware_version, "18.3");
    put(info->vantu_platform_name, "platform");
    put(info->vantu_version, "0.9");
    put(info->network_name, "not printed");
    return next_result();
}

TEST_F(Inventory, RouterInfoIsPrintedAlsoWhenItsOperationFails)
{
    ops.get_router_info = report_router_info;
    for (const int result : {0, -1, 1}) {
        results = {result};
        calls = 0;
        texts want = {"TRACE Test start"};
        if (result != 0)
            want.push_back(red("   Failed to get_router_info"));
        for (const char *line :
             {"routerid: id", "serial: ser", "basemac: 02:00:00:00:00:01", "hardware_model: model", "chipset_model: v8",
              "chipset_manufacturer: maker", "kernel_version: 4.1", "cpu_architecture: arm", "firmware_version: 18.3",
              "vantu_platform_name: platform", "vantu_version: 0.9"})
            want.push_back("INFO "s + line);
        const outcome got = run(test_get_router_info);
        EXPECT_EQ(got.result, 0) << result;
        EXPECT_EQ(got.errors, "") << result;
        EXPECT_EQ(got.log, want) << result;
        EXPECT_EQ(calls, 1) << result;
        EXPECT_TRUE(record_was_zero) << result;
    }
}

TEST_F(Inventory, SystemInfoIsPrintedAlsoWhenItsOperationFails)
{
    ops.get_systeminfo = [](vantu_systeminfo *info) {
        expect_zero(*info);
        info->uptime = 86400;
        info->cpuload = -1;
        info->freemem = 102400;
        info->ramsize = UINT64_MAX;
        put(info->lan_ip, "192.0.2.1");
        put(info->wan_ip, "198.51.100.7");
        put(info->base_mac, "02:00:00:00:00:0");
        put(info->DNS1, "203.0.113.1");
        put(info->DNS2, "203.0.113.2");
        return next_result();
    };
    for (const int result : {0, -1, 1}) {
        results = {result};
        texts want = {"TRACE Testing get_systeminfo"};
        if (result != 0)
            want.push_back(red("   Failed to get systeminfo"));
        want.push_back("DEBUG systeminfo: uptime cpuload freemem ramsize: 86400 -1 102400 18446744073709551615");
        want.push_back("DEBUG systeminfo: lan_ip wan_ip base_mac DNS1 DNS2: 192.0.2.1 198.51.100.7 02:00:00:00:00:0 "
                       "203.0.113.1 203.0.113.2");
        want.push_back("DEBUG Done get_routermac"); // of another test, which is kept
        const outcome got = run(test_get_systeminfo);
        EXPECT_EQ(got.result, 0) << result;
        EXPECT_EQ(got.errors, "") << result;
        EXPECT_EQ(got.log, want) << result;
        EXPECT_TRUE(record_was_zero) << result;
    }
}

TEST_F(Inventory, TheHostsAddressIsPrintedAlsoWhenItIsEmpty)
{
    ops.get_host_ip = report_text;
    for (const char *ip : {"192.0.2.1", ""}) {
        put(text, ip);
        const outcome got = run(test_get_host_ip);
        EXPECT_EQ(got.result, 0) << ip;
        EXPECT_EQ(got.errors, "") << ip;
        EXPECT_EQ(got.log, (texts{"TRACE Testing get_host_ip", "DEBUG   hostip is "s + ip, "DEBUG Done get_host_ip"}));
    }
    EXPECT_EQ(calls, 2);
}

TEST_F(Inventory, NoAddressOfTheHostFailsTheTest)
{
    ops.get_host_ip = report_null;
    const outcome got = run(test_get_host_ip);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "hostip!=NULL failed!\n");
    EXPECT_EQ(got.log, texts{"TRACE Testing get_host_ip"});
}

// ---- Neighbours and networks ----

// Neighbours numbered from 1, on their band.
int report_neighbours(int band, sclist_t *list)
{
    asked.push_back(std::to_string(band) + " into " + std::to_string(sclist_size(list)));
    const size_t count = next_of(band == 2 ? neighbours_of_band_2 : neighbours_of_band_5);
    for (size_t i = 1; i <= count; i++) {
        const std::string number = std::to_string(band) + "-" + std::to_string(i);
        vantu_common_ap_neighbor neighbour = {};
        put(neighbour.SSIDName, "ssid " + number);
        put(neighbour.BSSID, "bssid " + number);
        put(neighbour.NetworkType, "not printed");
        put(neighbour.Channel, "ch " + number);
        put(neighbour.RSSI, "rssi " + number);
        put(neighbour.Standard, "not printed");
        put(neighbour.ChannelWidth, "bw " + number);
        (void)sclist_append(list, &neighbour);
    }
    return next_result();
}

std::string neighbour_line(const std::string &number)
{
    return "DEBUG ssid " + number + ", bssid " + number + ", chan=ch " + number + ", chanbw=bw " + number +
           ", rssi=rssi " + number + ", ";
}

class InventoryNeighbours : public Inventory
{
protected:
    void SetUp() override
    {
        Inventory::SetUp();
        ops.get_ap_neighbors = report_neighbours;
    }
};

TEST_F(InventoryNeighbours, OfEachBandThreeArePrintedAtMost)
{
    const struct {
        size_t band_2;
        size_t band_5;
        texts log;
    } rows[] = {
        {4,
         3,
         {"DEBUG got 4 ap stations on 2.4GHz radio", neighbour_line("2-1"), neighbour_line("2-2"),
          neighbour_line("2-3"), "DEBUG got 3 ap stations on 5Ghz radio", neighbour_line("5-1"), neighbour_line("5-2"),
          neighbour_line("5-3")}},
        {2,
         1,
         {"DEBUG got 2 ap stations on 2.4GHz radio", neighbour_line("2-1"), neighbour_line("2-2"),
          "DEBUG got 1 ap stations on 5Ghz radio", neighbour_line("5-1")}},
        {1,
         100,
         {"DEBUG got 1 ap stations on 2.4GHz radio", neighbour_line("2-1"), "DEBUG got 100 ap stations on 5Ghz radio",
          neighbour_line("5-1"), neighbour_line("5-2"), neighbour_line("5-3")}},
    };
    for (const auto &row : rows) {
        neighbours_of_band_2 = {row.band_2};
        neighbours_of_band_5 = {row.band_5};
        asked.clear();
        texts want = {"TRACE test_get_ap_neighbors"};
        want.insert(want.end(), row.log.begin(), row.log.end());
        const outcome got = run(test_get_ap_neighbors);
        EXPECT_EQ(got.result, 0) << row.band_2;
        EXPECT_EQ(got.errors, "") << row.band_2;
        EXPECT_EQ(got.log, want) << row.band_2;
        EXPECT_EQ(asked, (texts{"2 into 0", "5 into 0"})) << "the list is empty each time";
    }
}

TEST_F(InventoryNeighbours, AScanThatFailsIsMadeTwiceAndEndsTheTest)
{
    neighbours_of_band_2 = neighbours_of_band_5 = {1};
    results = {-1};
    outcome got = run(test_get_ap_neighbors);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "ops->get_ap_neighbors(radio, &neighbors): -1 != 0 \n");
    EXPECT_EQ(got.log, texts{"TRACE test_get_ap_neighbors"});
    EXPECT_EQ(asked, (texts{"2 into 0", "2 into 1"}));

    asked.clear();
    results = {0, 3};
    got = run(test_get_ap_neighbors);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "ops->get_ap_neighbors(radio, &neighbors): 3 != 0 \n");
    EXPECT_EQ(got.log.back(), neighbour_line("2-1")) << "the first band was printed";
    EXPECT_EQ(asked, (texts{"2 into 0", "5 into 0", "5 into 1"}));
}

TEST_F(InventoryNeighbours, ABandWithoutAnyFailsTheTest)
{
    neighbours_of_band_5 = {1};
    outcome got = run(test_get_ap_neighbors);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "sclist_size(&neighbors)>0 failed!\n");
    EXPECT_EQ(asked, texts{"2 into 0"});

    neighbours_of_band_2 = {1};
    neighbours_of_band_5.clear();
    asked.clear();
    got = run(test_get_ap_neighbors);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "sclist_size(&neighbors)>0 failed!\n");
    EXPECT_EQ(asked, (texts{"2 into 0", "5 into 0"}));
}

class InventoryNetworks : public Inventory
{
protected:
    void SetUp() override
    {
        Inventory::SetUp();
        ops.get_networks = [](sclist_t *list) { return report(networks, list); };
        networks.resize(2);
        put(networks[0].interface, "wl0.1");
        networks[0].enabled = 1;
        put(networks[0].radio_interface, "wl0");
        put(networks[0].ssidname, "home");
        put(networks[0].bssid, "02:00:00:00:00:0");
        put(networks[0].password, "%n example");
        put(networks[0].encryption, "psk2");
        networks[0].rx_packets = UINT64_MAX;
        networks[0].tx_packets = 5;
    }
};

TEST_F(InventoryNetworks, ArePrintedUnderAHeader)
{
    const outcome got = run(test_get_networks);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.errors, "");
    EXPECT_EQ(
        got.log,
        (texts{"TRACE test_get_networks", "DEBUG wifi networks found 2",
               "DEBUG interface, enabled, radio_interface, ssidname, bssid, password, encryption, rx_packets, "
               "tx_packets",
               "DEBUG wl0.1 1 wl0 home 02:00:00:00:00:0 %n example psk2 18446744073709551615 5", "DEBUG  0      0 0"}));
    EXPECT_EQ(calls, 1);
}

TEST_F(InventoryNetworks, AReadingThatFailsIsMadeTwiceAndEndsTheTest)
{
    results = {-1};
    const outcome got = run(test_get_networks);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "ops->get_networks(&networks): -1 != 0 \n");
    EXPECT_EQ(got.log, texts{"TRACE test_get_networks"});
    EXPECT_EQ(calls, 2);
}

TEST_F(InventoryNetworks, NoNetworkAtAllFailsTheTest)
{
    networks.clear();
    const outcome got = run(test_get_networks);
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "sclist_size(&networks) != 0 failed!\n");
}

// ---- The assertions ----

int asserts(bool holds)
{
    ASSERT(holds == true);
    return 0;
}

int asserts_number(const std::function<long long()> &number)
{
    ASSERT_NUM(number(), 7);
    return 0;
}

int asserts_text(const char *given)
{
    ASSERT_STR(given, "want");
    return 0;
}

TEST_F(Inventory, AssertionsShowTheExpressionAsItIsWrittenAndReturnOne)
{
    EXPECT_EQ(run([] { return asserts(true); }).result, 0);
    outcome got = run([] { return asserts(false); });
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "holds == true failed!\n");

    EXPECT_EQ(run([] { return asserts_text("want"); }).result, 0);
    got = run([] { return asserts_text("other"); });
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "given: other != want\n");
}

TEST_F(Inventory, ANumberThatDiffersIsAskedForTwiceAndShownWide)
{
    int asked_for = 0;
    EXPECT_EQ(run([&] { return asserts_number([&] { return asked_for++, 7; }); }).result, 0);
    EXPECT_EQ(asked_for, 1);
    const outcome got = run([&] { return asserts_number([&] { return asked_for++ - 5000000000; }); });
    EXPECT_EQ(got.result, 1);
    EXPECT_EQ(got.errors, "number(): -4999999998 != 7 \n") << "the second answer";
    EXPECT_EQ(asked_for, 3);
}

} // namespace
