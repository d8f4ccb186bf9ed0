// The radios and client devices of a gateway with Broadcom radios, over `wlctl` and `ip` tools that are scripts and
// leases that are made up.

#include "brcm-generic/vantu-wifi-brcm.h"

#include "brcm-generic/brcm-sample-table.h"
#include "hobe/vantu-wifi-hobe.h"
#include "list_owner.hpp"
#include "support.hpp"
#include "support/stopped_clock.hpp"
#include "tch-dga4231/vantu-wifi-dga4231.h"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/vantu-wifi-common.h"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;

namespace
{

// What the lease file is.
std::string lease_file;

} // namespace

// Stands before the C library's function of this name.
extern "C" FILE *fopen(const char *path, const char *mode)
{
    static const auto next = real<FILE *(const char *, const char *)>("fopen");
    return next(strcmp(path, "/etc/dhcp_lan.leases") == 0 ? lease_file.c_str() : path, mode);
}

namespace
{

const char chanim_report[] =
    "version: 4\n"
    "chanspec tx inbss obss nocat nopkt doze txop goodtx badtx glitch badplcp knoise idle busy timestamp\n"
    "11\t9\t4\t31\t6\t8\t0\t40\t1\t1\t2010\t33\t-93\t49\t51\t668301114\n";

const char wme_report[] = "\n"
                          "AC_BE: tx frames: 1 bytes: 2 failed frames: 3 failed bytes: 4\n"
                          "       rx frames: 5 bytes: 6 failed frames: 7 failed bytes: 8\n"
                          "       foward frames: 9 bytes: 10 \n"
                          "       tx frames time expired: 11 \n";

// A station's figures all follow from its number.
std::string station_report(int number)
{
    const auto figure = [&](int times) { return std::to_string(times * number); };
    return "[VER 8] STA 02:00:00:00:01:23:\n"
           "\t idle " +
           figure(1) + " seconds\n\t tx total bytes: " + figure(1000) + "\n\t rx data bytes: " + figure(2000) +
           "\n\t rate of last tx pkt: " + figure(3000) + " kbps - " + figure(4000) +
           " kbps\n\t rate of last rx pkt: " + figure(5000) +
           " kbps\n\t per antenna rssi of last rx data frame: -1 -1 -1 -1\n"
           "\t per antenna average rssi of rx data frames: -" +
           figure(10) + " -2 -2 -2\n\t per antenna noise floor: -" + figure(11) + " -3 -3 -3\n";
}

std::string stations_of(const texts &macs)
{
    std::string out;
    for (const std::string &mac : macs)
        out += "assoclist " + mac + "\n";
    return out;
}

// What the platform reports through the operations table.
texts radio_names;
std::vector<vantu_ll_dhcp> leases;
texts operations_called;

int report_radios(sclist_t *radios)
{
    operations_called.emplace_back("get_radios");
    for (const std::string &name : radio_names) {
        vantu_common_radio radio = {};
        put(radio.interface, name);
        (void)sclist_append(radios, &radio);
    }
    return 0;
}

int report_leases(sclist_t *list)
{
    operations_called.emplace_back("get_dhcpleases");
    append_all(list, leases);
    return 0;
}

vantu_ll_dhcp lease_of(const std::string &mac, const std::string &ip, const std::string &hostname)
{
    vantu_ll_dhcp lease = {};
    put(lease.mac_address, mac);
    put(lease.ip_address, ip);
    put(lease.hostname, hostname);
    return lease;
}

std::string dump(const vantu_common_device &device)
{
    std::string out = device.mac + " "s + device.ipv4 + " " + device.interface + " " + device.hostname;
    out += " wifi=" + std::to_string(device.is_wifi) + " rssi=" + std::to_string(device.rssi) +
           " noise=" + std::to_string(device.noise) + " tx=" + std::to_string(device.tx_bytes) +
           " rx=" + std::to_string(device.rx_bytes);
    if (device.tx_rate != 0 || device.rx_rate != 0)
        out += " rates=" + std::to_string(device.tx_rate) + "/" + std::to_string(device.rx_rate);
    return out;
}

const char no_figures[] = " wifi=0 rssi=0 noise=0 tx=0 rx=0";

std::string wired(const std::string &mac, const std::string &ip, const std::string &hostname)
{
    return mac + " " + ip + " eth " + hostname + no_figures;
}

using device_list = freed_list<vantu_common_device_list_init, vantu_common_device_list_free>;

using station_list = freed_list<vantu_ll_wlctl_assoclist_sclist_init, sclist_destroy>;

class Devices : public testing::Test
{
protected:
    void SetUp() override
    {
        clock_now.tv_sec += 1000; // nothing is cached any more
        before_ = global_ops;
        global_ops = {};
        global_ops.get_radios = report_radios;
        global_ops.get_dhcpleases = report_leases;
        radio_names = {"wl0", "wl1"};
        leases.clear();
        operations_called.clear();
        lease_file = tools / "leases";
        for (const char *radio : {"wl0", "wl1", "wl2"}) {
            stations(radio, {});
            tools.answers("wlctl -i "s + radio + " chanim_stats", chanim_report);
            // The other categories are of the same form; their names are not looked at.
            tools.answers("wlctl -i "s + radio + " wme_counters",
                          wme_report + ""s + wme_report + wme_report + wme_report);
        }
        neighbours("");
    }
    void TearDown() override
    {
        global_ops = before_;
        EXPECT_TRUE(no_child_is_left());
    }

    void stations(const std::string &radio, const texts &macs) const
    {
        tools.answers("wlctl -i " + radio + " assoclist", stations_of(macs));
    }

    void station(const std::string &radio, const std::string &mac, int number) const
    {
        tools.answers("wlctl -i " + radio + " sta_info " + mac, station_report(number));
    }

    void neighbours(const std::string &output) const { tools.answers("ip neigh", output); }

    // The devices that the neighbour-based listing gives; the messages stay in `log`.
    texts listed()
    {
        device_list devices;
        log_capture capture;
        EXPECT_EQ(brcm_get_associated_devices_ipneigh(&devices), 0);
        log = capture.lines;
        return dumps(devices);
    }

    // The same for the other listing; what it writes to standard error stays in `errors`.
    texts listed_by_station()
    {
        device_list devices;
        log_capture capture;
        errors = standard_error_of([&] { EXPECT_EQ(brcm_get_associated_devices_dhcp(&devices), 0); });
        log = capture.lines;
        return dumps(devices);
    }

    static texts dumps(sclist_t &devices)
    {
        texts out;
        for (unsigned int i = 0; i < sclist_size(&devices); i++)
            out.push_back(dump(*static_cast<const vantu_common_device *>(sclist_get_at(&devices, i))));
        return out;
    }

    texts messages(const std::string &level) const
    {
        texts out;
        std::copy_if(log.begin(), log.end(), std::back_inserter(out),
                     [&](const std::string &line) { return line.rfind(level + " ", 0) == 0; });
        return out;
    }

    bool logged(const std::string &line) const { return std::find(log.begin(), log.end(), line) != log.end(); }

    const answering_tools tools = {"wlctl", "ip"};
    texts log;
    std::string errors;

private:
    vantu_platform_ops before_ = {};
};

// ---- Radios ----

texts radios_of(int (*get_radios)(sclist_t *))
{
    sclist_t list;
    const vantu::list_owner owner(list, vantu_common_radio_list_init);
    EXPECT_EQ(get_radios(&list), 0);
    texts out;
    for (unsigned int i = 0; i < sclist_size(&list); i++) {
        const auto *radio = static_cast<const vantu_common_radio *>(sclist_get_at(&list, i));
        vantu_common_radio rest = *radio;
        out.emplace_back(rest.interface);
        put(rest.interface, "");
        const std::string bytes(reinterpret_cast<const char *>(&rest), sizeof(rest));
        EXPECT_EQ(bytes.find_first_not_of('\0', offsetof(vantu_common_radio, interface) + sizeof(rest.interface)),
                  std::string::npos)
            << "more than the name is set";
        EXPECT_STREQ(rest.mac, "");
        EXPECT_STREQ(rest.ipv4, "");
    }
    return out;
}

TEST(Radios, OfTheGatewayAreThree)
{
    EXPECT_EQ(radios_of(hobe_get_radios), (texts{"wl0", "wl1", "wl2"}));
}

TEST(Radios, OfThisModuleAreTwo)
{
    EXPECT_EQ(radios_of(brcm_get_radios), (texts{"wl0", "wl1"}));
}

TEST(Radios, AreAppendedToWhatTheListHolds)
{
    sclist_t list;
    const vantu::list_owner owner(list, vantu_common_radio_list_init);
    EXPECT_EQ(brcm_get_radios(&list), 0);
    EXPECT_EQ(hobe_get_radios(&list), 0);
    EXPECT_EQ(sclist_size(&list), 5U);
}

TEST(DataRow, ItsSizeIsToldToThoseWhoAllocateRows)
{
    EXPECT_EQ(brcm_get_csvdata_struct_size(), static_cast<int>(sizeof(vantu_brcm_csv_data)));
}

TEST(GatewaySetup, BuildsTheColumnsOfTheRowsAndEitherTeardownReleasesThem)
{
    for (const auto teardown : {hobe_system_destroy, dga4231_system_destroy}) {
        const quiet_log quiet;
        EXPECT_EQ(dga4231_system_setup(), 0);
        char header[4096] = "";
        EXPECT_EQ(brcm_get_csvdata_headers(header), 0);
        EXPECT_EQ(std::string(header).substr(0, 12), "chanspec,tx,");
        EXPECT_EQ(teardown(), 0);
    }
}

// ---- Stations ----

class Stations : public Devices
{
protected:
    // The stations of the platform's radios, as "radio mac"; the result stays in `result`.
    texts associated(const texts &before = {})
    {
        sclist_t radios;
        const vantu::list_owner owner(radios, vantu_common_radio_list_init);
        (void)report_radios(&radios);
        station_list list;
        for (const std::string &mac : before) {
            vantu_ll_wlctl_devicemac old = {};
            put(old.mac, mac);
            EXPECT_EQ(sclist_append(&list, &old), 1);
        }
        log_capture capture;
        result = brcm_get_associated_wifi_devices(&radios, &list);
        log = capture.lines;
        texts out;
        for (unsigned int i = 0; i < sclist_size(&list); i++) {
            const auto *one = static_cast<const vantu_ll_wlctl_devicemac *>(sclist_get_at(&list, i));
            out.push_back(one->radio + " "s + one->mac);
        }
        EXPECT_EQ(radios.iter_active, 0);
        return out;
    }

    int result = -1;
};

TEST_F(Stations, OfAllRadiosAreAppendedInOrderAndCounted)
{
    stations("wl0", {"02:00:00:00:00:02", "02:00:00:00:00:01"});
    stations("wl1", {"02:00:00:00:00:03"});
    EXPECT_EQ(associated({"old"}),
              (texts{" old", "wl0 02:00:00:00:00:02", "wl0 02:00:00:00:00:01", "wl1 02:00:00:00:00:03"}));
    EXPECT_EQ(result, 4);
    EXPECT_EQ(tools.calls(), (texts{"wlctl -i wl0 assoclist", "wlctl -i wl1 assoclist"}));
    EXPECT_EQ(messages("ERROR"), texts{});
}

TEST_F(Stations, OfRadiosWithoutAnyAreNone)
{
    EXPECT_EQ(associated(), texts{});
    EXPECT_EQ(result, 0);
    radio_names.clear();
    EXPECT_EQ(associated(), texts{});
    EXPECT_EQ(result, 0);
}

TEST_F(Stations, OfARadioWhoseListCannotBeReadAreLoggedAndWhatWasReadIsTaken)
{
    tools.answers("wlctl -i wl0 assoclist", "assoclist 02:00:00:00:00:01\nwl0: down\nassoclist 02:00:00:00:00:02\n");
    stations("wl1", {"02:00:00:00:00:03"});
    EXPECT_EQ(associated(), (texts{"wl0 02:00:00:00:00:01", "wl0 ", "wl0 02:00:00:00:00:02", "wl1 02:00:00:00:00:03"}));
    EXPECT_EQ(result, 4);
    EXPECT_EQ(messages("ERROR").back(), "ERROR Error getting assoclist for wl0");
    EXPECT_EQ(messages("ERROR").size(), 2U) << "the reader's own message first";
}

TEST_F(Stations, OfARadioWithoutANameAreAnError)
{
    radio_names = {"", "wl1"};
    stations("wl1", {"02:00:00:00:00:03"});
    EXPECT_EQ(associated(), texts{"wl1 02:00:00:00:00:03"});
    EXPECT_EQ(messages("ERROR"),
              (texts{"ERROR vantu_ll_wlctl_assoclist: Radio string empty.", "ERROR Error getting assoclist for "}));
    EXPECT_EQ(tools.calls(), texts{"wlctl -i wl1 assoclist"});
}

// ---- The listing by neighbours and leases ----

TEST_F(Devices, WithoutLeasesThereAreNoneWhoeverIsAssociated)
{
    stations("wl0", {"02:00:00:00:00:01"});
    station("wl0", "02:00:00:00:00:01", 1);
    neighbours("192.0.2.1 dev br-lan lladdr 02:00:00:00:00:01 REACHABLE\n");
    EXPECT_EQ(listed(), texts{});
    EXPECT_EQ(tools.calls(), (texts{"ip neigh", "wlctl -i wl0 assoclist", "wlctl -i wl1 assoclist"}));
}

TEST_F(Devices, AWiredOneIsOnEthWithItsMacInCapitals)
{
    leases = {lease_of("02:00:00:00:00:ab", "192.0.2.1", "printer")};
    neighbours("192.0.2.1 dev br-lan lladdr 02:00:00:00:00:ab REACHABLE\n");
    EXPECT_EQ(listed(), texts{wired("02:00:00:00:00:AB", "192.0.2.1", "printer")});
}

TEST_F(Devices, AWifiOneHasItsRadioItsFiguresAndItsMacAsTheDriverPrintsIt)
{
    leases = {lease_of("02:00:00:00:00:AB", "192.0.2.1", "tablet"),
              lease_of("02:00:00:00:00:cd", "192.0.2.2", "phone")};
    neighbours("192.0.2.1 dev br-lan lladdr 02:00:00:00:00:ab REACHABLE\n"
               "192.0.2.2 dev br0 lladdr 02:00:00:00:00:cd STALE\n");
    stations("wl0", {"02:00:00:00:00:ab"});
    stations("wl1", {"02:00:00:00:00:CD"});
    station("wl0", "02:00:00:00:00:ab", 5);
    station("wl1", "02:00:00:00:00:CD", 7);
    EXPECT_EQ(listed(), (texts{"02:00:00:00:00:ab 192.0.2.1 wl0 tablet wifi=1 rssi=-50 noise=-55 tx=5000 rx=10000",
                               "02:00:00:00:00:CD 192.0.2.2 wl1 phone wifi=1 rssi=-70 noise=-77 tx=7000 rx=14000"}))
        << "and no rates";
    EXPECT_EQ(messages("DEBUG"), texts{});
}

TEST_F(Devices, ToolsRunInAFixedOrderOnceEachButForTheStations)
{
    leases = {lease_of("02:00:00:00:00:02", "192.0.2.2", "b"), lease_of("02:00:00:00:00:09", "192.0.2.9", "wired"),
              lease_of("02:00:00:00:00:01", "192.0.2.1", "a"), lease_of("02:00:00:00:00:03", "192.0.2.3", "c")};
    stations("wl0", {"02:00:00:00:00:01", "02:00:00:00:00:02"});
    stations("wl1", {"02:00:00:00:00:03", "02:00:00:00:00:04"});
    for (const char *mac : {"02:00:00:00:00:01", "02:00:00:00:00:02"})
        station("wl0", mac, 1);
    station("wl1", "02:00:00:00:00:03", 1);
    (void)listed();
    EXPECT_EQ(tools.calls(), (texts{"ip neigh", "wlctl -i wl0 assoclist", "wlctl -i wl1 assoclist",
                                    "wlctl -i wl0 chanim_stats", "wlctl -i wl0 sta_info 02:00:00:00:00:02",
                                    "wlctl -i wl0 wme_counters", "wlctl -i wl0 sta_info 02:00:00:00:00:01",
                                    "wlctl -i wl0 wme_counters", "wlctl -i wl1 chanim_stats",
                                    "wlctl -i wl1 sta_info 02:00:00:00:00:03", "wlctl -i wl1 wme_counters"}));
    EXPECT_EQ(operations_called, (texts{"get_radios", "get_dhcpleases"}));
}

TEST_F(Devices, StandInTheOrderOfTheLeases)
{
    leases = {lease_of("02:00:00:00:00:03", "192.0.2.3", "c"), lease_of("02:00:00:00:00:01", "192.0.2.1", "a"),
              lease_of("02:00:00:00:00:02", "192.0.2.2", "b")};
    neighbours(
        "192.0.2.1 dev br-lan lladdr 02:00:00:00:00:01 STALE\n192.0.2.2 dev br-lan lladdr 02:00:00:00:00:02 STALE\n"
        "192.0.2.3 dev br-lan lladdr 02:00:00:00:00:03 STALE\n");
    EXPECT_EQ(listed(),
              (texts{wired("02:00:00:00:00:03", "192.0.2.3", "c"), wired("02:00:00:00:00:01", "192.0.2.1", "a"),
                     wired("02:00:00:00:00:02", "192.0.2.2", "b")}));
}

TEST_F(Devices, OnlyThoseWhoseNeighbourIsThereAreListed)
{
    const struct {
        const char *name;
        const char *neighbour;
        bool is_listed;
    } rows[] = {
        {"reachable", "192.0.2.1 dev br-lan lladdr 02:00:00:00:00:01 REACHABLE", true},
        {"stale", "192.0.2.1 dev br-lan lladdr 02:00:00:00:00:01 STALE", true},
        {"delay", "192.0.2.1 dev br-lan lladdr 02:00:00:00:00:01 DELAY", true},
        {"permanent", "192.0.2.1 dev br-lan lladdr 02:00:00:00:00:01 PERMANENT", true},
        {"failed", "192.0.2.1 dev br-lan  FAILED", false},
        {"incomplete", "192.0.2.1 dev br-lan  INCOMPLETE", false},
        {"failed, with an address", "192.0.2.1 dev br-lan lladdr 02:00:00:00:00:01 FAILED", false},
        {"failed in small letters is another word", "192.0.2.1 dev br-lan  failed", true},
        {"on br0", "192.0.2.1 dev br0 lladdr 02:00:00:00:00:01 REACHABLE", true},
        {"on another interface", "192.0.2.1 dev eth3 lladdr 02:00:00:00:00:01 REACHABLE", false},
        {"on an interface whose name begins alike", "192.0.2.1 dev br-lan2 lladdr 02:00:00:00:00:01 STALE", false},
        {"on an interface in capitals", "192.0.2.1 dev BR0 lladdr 02:00:00:00:00:01 STALE", false},
        {"at another address", "192.0.2.11 dev br-lan lladdr 02:00:00:00:00:01 REACHABLE", false},
        {"with the lease's address as MAC, which counts", "192.0.2.11 dev br-lan lladdr 192.0.2.1 REACHABLE", true},
    };
    leases = {lease_of("02:00:00:00:00:01", "192.0.2.1", "a")};
    for (const auto &row : rows) {
        // One that is certainly there, so that the table is not empty.
        neighbours(row.neighbour + "\n198.51.100.9 dev br-lan lladdr 02:00:00:00:00:99 STALE\n"s);
        EXPECT_EQ(listed(), row.is_listed ? texts{wired("02:00:00:00:00:01", "192.0.2.1", "a")} : texts{}) << row.name;
    }
}

TEST_F(Devices, TheFirstNeighbourOfAnAddressCounts)
{
    leases = {lease_of("02:00:00:00:00:01", "192.0.2.1", "a"), lease_of("02:00:00:00:00:02", "192.0.2.2", "b"),
              lease_of("02:00:00:00:00:03", "192.0.2.3", "c")};
    neighbours("192.0.2.3 dev eth3  FAILED\n"
               "192.0.2.1 dev br-lan  FAILED\n"
               "192.0.2.2 dev br0 lladdr 02:00:00:00:00:02 STALE\n"
               "192.0.2.1 dev br0 lladdr 02:00:00:00:00:01 REACHABLE\n"
               "192.0.2.2 dev br-lan  FAILED\n"
               "192.0.2.3 dev br-lan lladdr 02:00:00:00:00:03 REACHABLE\n");
    EXPECT_EQ(listed(),
              (texts{wired("02:00:00:00:00:02", "192.0.2.2", "b"), wired("02:00:00:00:00:03", "192.0.2.3", "c")}));
}

TEST_F(Devices, WithoutAnyNeighbourOnTheBridgeEveryLeaseIsListed)
{
    leases = {lease_of("02:00:00:00:00:01", "192.0.2.1", "a"), lease_of("02:00:00:00:00:02", "192.0.2.2", "b")};
    const texts all = {wired("02:00:00:00:00:01", "192.0.2.1", "a"), wired("02:00:00:00:00:02", "192.0.2.2", "b")};
    for (const char *output :
         {"", "192.0.2.1 dev eth3 lladdr 02:00:00:00:00:01 STALE\n192.0.2.2 dev wlan0  FAILED\n"}) {
        neighbours(output);
        EXPECT_EQ(listed(), all) << output;
        EXPECT_TRUE(logged("TRACE brcm_get_devices ip neigh size 0")) << output;
    }
}

TEST_F(Devices, FailedNeighboursAreNeighbourDataToo)
{
    leases = {lease_of("02:00:00:00:00:01", "192.0.2.1", "a"), lease_of("02:00:00:00:00:02", "192.0.2.2", "b")};
    neighbours("192.0.2.1 dev br-lan  FAILED\n");
    EXPECT_EQ(listed(), texts{});
}

TEST_F(Devices, TheNumberOfNeighboursOnTheBridgeIsLogged)
{
    neighbours(
        "192.0.2.1 dev br-lan  FAILED\n192.0.2.2 dev eth3  STALE\n192.0.2.3 dev br0 lladdr 02:00:00:00:00:03 STALE\n"
        "fe80::1 dev br-lan lladdr 02:00:00:00:00:01 STALE\n");
    (void)listed();
    EXPECT_EQ(messages("TRACE").front(), "TRACE brcm_get_devices ip neigh size 3");
}

TEST_F(Devices, LongNeighbourTablesGiveWhatWalkingThemGives)
{
    std::string table;
    texts want;
    for (int i = 0; i < 250; i++) {
        const std::string ip = "192.0.2." + std::to_string(i);
        char mac[18];
        (void)snprintf(mac, sizeof(mac), "02:00:00:00:01:%02X", i);
        const bool failed = i % 3 == 0;
        const char *const interface = i % 5 == 0 ? "eth3" : i % 2 == 0 ? "br-lan" : "br0";
        table += ip + " dev " + interface + (failed ? "  FAILED" : " lladdr "s + mac + " STALE") + "\n";
        leases.push_back(lease_of(mac, ip, "host-" + std::to_string(i)));
        if (!failed && i % 5 != 0)
            want.push_back(wired(mac, ip, "host-" + std::to_string(i)));
    }
    std::reverse(leases.begin(), leases.end());
    std::reverse(want.begin(), want.end());
    neighbours(table);
    EXPECT_EQ(listed(), want);
}

TEST_F(Devices, AnIpv6LeaseIsListedLikeAnyOtherAndItsAddressIsCut)
{
    leases = {lease_of("02:00:00:00:00:01", "2001:db8::1", "a"), lease_of("02:00:00:00:00:02", "2001:DB8::2", "b"),
              lease_of("02:00:00:00:00:03", "2001:db8:0:1:2:3:4:5", "c"),
              lease_of("02:00:00:00:00:04", "2001:db8::4", "d")};
    neighbours(
        "2001:db8::1 dev br-lan lladdr 02:00:00:00:00:01 STALE\n2001:db8::2 dev br-lan lladdr 02:00:00:00:00:02 STALE\n"
        "2001:db8:0:1:2:3:4:5 dev br-lan lladdr 02:00:00:00:00:03 STALE\n");
    EXPECT_EQ(listed(),
              (texts{wired("02:00:00:00:00:01", "2001:db8::1", "a"), wired("02:00:00:00:00:02", "2001:DB8::2", "b"),
                     wired("02:00:00:00:00:03", "2001:db8:0:1:2:3:", "c")}));
}

TEST_F(Devices, TextsOfLeasesAreCutToTheirFields)
{
    leases = {lease_of(std::string(17, 'a'), std::string(17, '1'), std::string(63, 'h')),
              lease_of(std::string(18, 'b'), std::string(18, '2'), std::string(64, 'i')),
              lease_of(std::string(31, 'c'), std::string(39, '3'), std::string(255, 'j'))};
    EXPECT_EQ(listed(), (texts{wired(std::string(17, 'A'), std::string(17, '1'), std::string(63, 'h')),
                               wired(std::string(17, 'B'), std::string(17, '2'), std::string(63, 'i')),
                               wired(std::string(17, 'C'), std::string(17, '3'), std::string(63, 'j'))}));
}

TEST_F(Devices, AStationWhoseDataCannotBeReadIsListedAndLogged)
{
    leases = {lease_of("02:00:00:00:00:01", "192.0.2.1", "a"), lease_of("02:00:00:00:00:02", "192.0.2.2", "b"),
              lease_of("02:00:00:00:00:03", "192.0.2.3", "c")};
    stations("wl0", {"02:00:00:00:00:01"});
    stations("wl1", {"02:00:00:00:00:02"});
    stations("wl2", {"02:00:00:00:00:03"});
    radio_names = {"wl0", "wl1", "wl2"};
    station("wl1", "02:00:00:00:00:02", 2);
    station("wl2", "02:00:00:00:00:03", 3);
    tools.answers("wlctl -i wl1 wme_counters", "");
    tools.answers("wlctl -i wl2 chanim_stats", "");
    EXPECT_EQ(listed(), (texts{"02:00:00:00:00:01 192.0.2.1 wl0 a wifi=1 rssi=0 noise=0 tx=0 rx=0",
                               "02:00:00:00:00:02 192.0.2.2 wl1 b wifi=1 rssi=-20 noise=-22 tx=2000 rx=4000",
                               "02:00:00:00:00:03 192.0.2.3 wl2 c wifi=1 rssi=0 noise=0 tx=0 rx=0"}));
    texts complaints = messages("DEBUG");
    complaints.erase(
        std::remove_if(complaints.begin(), complaints.end(),
                       [](const std::string &line) { return line.find("brcm_fill_data_struct") == std::string::npos; }),
        complaints.end());
    EXPECT_EQ(complaints, (texts{"DEBUG error in brcm_fill_data_struct -3", "DEBUG error in brcm_fill_data_struct -4",
                                 "DEBUG error in brcm_fill_data_struct -2"}));
}

TEST_F(Devices, AStationOfTwoRadiosIsThatOfTheFirst)
{
    leases = {lease_of("02:00:00:00:00:01", "192.0.2.1", "a")};
    stations("wl0", {"02:00:00:00:00:01"});
    stations("wl1", {"02:00:00:00:00:01"});
    station("wl0", "02:00:00:00:00:01", 1);
    EXPECT_EQ(listed(), texts{"02:00:00:00:00:01 192.0.2.1 wl0 a wifi=1 rssi=-10 noise=-11 tx=1000 rx=2000"});
}

TEST_F(Devices, LeasesOfOneMacAreAllListed)
{
    leases = {lease_of("02:00:00:00:00:01", "192.0.2.1", "a"), lease_of("02:00:00:00:00:01", "2001:db8::1", "a")};
    stations("wl0", {"02:00:00:00:00:01"});
    station("wl0", "02:00:00:00:00:01", 1);
    const std::string figures = " wl0 a wifi=1 rssi=-10 noise=-11 tx=1000 rx=2000";
    EXPECT_EQ(listed(), (texts{"02:00:00:00:00:01 192.0.2.1" + figures, "02:00:00:00:00:01 2001:db8::1" + figures}));
}

TEST_F(Devices, ARadioWhoseStationsCannotBeReadDoesNotStopTheListing)
{
    leases = {lease_of("02:00:00:00:00:01", "192.0.2.1", "a"), lease_of("02:00:00:00:00:02", "192.0.2.2", "b")};
    tools.answers("wlctl -i wl0 assoclist", "wl0: down\n");
    stations("wl1", {"02:00:00:00:00:02"});
    station("wl1", "02:00:00:00:00:02", 1);
    EXPECT_EQ(listed(), (texts{wired("02:00:00:00:00:01", "192.0.2.1", "a"),
                               "02:00:00:00:00:02 192.0.2.2 wl1 b wifi=1 rssi=-10 noise=-11 tx=1000 rx=2000"}));
    EXPECT_TRUE(logged("ERROR Error getting assoclist for wl0"));
}

TEST_F(Devices, AreAppendedAndAllAreCounted)
{
    leases = {lease_of("02:00:00:00:00:01", "192.0.2.1", "a")};
    sclist_t radios;
    const vantu::list_owner owner(radios, vantu_common_radio_list_init);
    (void)report_radios(&radios);
    device_list devices;
    const quiet_log quiet;
    EXPECT_EQ(brcm_get_devices_ipneigh(&radios, &devices), 1);
    EXPECT_EQ(brcm_get_devices_ipneigh(&radios, &devices), 2);
    leases.clear();
    EXPECT_EQ(brcm_get_devices_ipneigh(&radios, &devices), 2);
    EXPECT_EQ(radios.iter_active, 0);
    EXPECT_EQ(devices.iter_active, 0);
}

TEST_F(Devices, AreAskedOfTheGivenRadiosOnly)
{
    sclist_t radios;
    const vantu::list_owner owner(radios, vantu_common_radio_list_init);
    radio_names = {"wl2"};
    (void)report_radios(&radios);
    operations_called.clear();
    device_list devices;
    const quiet_log quiet;
    EXPECT_EQ(brcm_get_devices_ipneigh(&radios, &devices), 0);
    EXPECT_EQ(tools.calls(), (texts{"ip neigh", "wlctl -i wl2 assoclist"}));
    EXPECT_EQ(operations_called, texts{"get_dhcpleases"});
}

// ---- The listing by stations ----

TEST_F(Devices, ByStationEachAssociationIsListedWithItsRatesAndItsLease)
{
    std::ofstream(lease_file) << "1790000000 02:00:00:00:00:AB 192.0.2.1 tablet *\n"
                                 "1790000000 02:00:00:00:00:99 192.0.2.9 wired *\n";
    stations("wl0", {"02:00:00:00:00:cd", "02:00:00:00:00:ab"});
    stations("wl1", {"02:00:00:00:00:EF"});
    station("wl0", "02:00:00:00:00:ab", 5);
    station("wl0", "02:00:00:00:00:cd", 6);
    station("wl1", "02:00:00:00:00:EF", 7);
    EXPECT_EQ(listed_by_station(),
              (texts{"02:00:00:00:00:cd  wl0  wifi=1 rssi=-60 noise=-66 tx=6000 rx=12000 rates=18000/30000",
                     "02:00:00:00:00:ab 192.0.2.1 wl0 tablet wifi=1 rssi=-50 noise=-55 tx=5000 rx=10000 "
                     "rates=15000/25000",
                     "02:00:00:00:00:EF  wl1  wifi=1 rssi=-70 noise=-77 tx=7000 rx=14000 rates=21000/35000"}));
    EXPECT_EQ(errors, "");
    EXPECT_EQ(tools.calls(),
              (texts{"wlctl -i wl0 assoclist", "wlctl -i wl0 chanim_stats", "wlctl -i wl0 sta_info 02:00:00:00:00:cd",
                     "wlctl -i wl0 wme_counters", "wlctl -i wl0 sta_info 02:00:00:00:00:ab",
                     "wlctl -i wl0 wme_counters", "wlctl -i wl1 assoclist", "wlctl -i wl1 chanim_stats",
                     "wlctl -i wl1 sta_info 02:00:00:00:00:EF", "wlctl -i wl1 wme_counters"}))
        << "radio by radio, and the neighbours are not asked";
    EXPECT_EQ(operations_called, texts{"get_radios"}) << "the leases come from their file";
}

TEST_F(Devices, ByStationARadioWithoutANameDoesNotShowTheStationsOfTheOneBefore)
{
    radio_names = {"wl0", ""};
    stations("wl0", {"02:00:00:00:00:cd"});
    station("wl0", "02:00:00:00:00:cd", 6);
    EXPECT_EQ(listed_by_station().size(), 1U);
    EXPECT_EQ(errors, "Error getting assoclist for ");
}

TEST_F(Devices, ByStationTheRadiosAreTraced)
{
    (void)listed_by_station();
    EXPECT_TRUE(logged("TRACE radios size 2"));
    EXPECT_TRUE(logged("TRACE radio: wl0"));
    EXPECT_TRUE(logged("TRACE radio: wl1"));
    const auto position = [&](const char *line) { return std::find(log.begin(), log.end(), line); };
    EXPECT_LT(position("TRACE radios size 2"), position("TRACE radio: wl0"));
    EXPECT_LT(position("TRACE radio: wl0"), position("TRACE vantu_ll_wlctl_assoclist running wlctl -i wl0 assoclist"));
    EXPECT_LT(position("TRACE vantu_ll_wlctl_assoclist running wlctl -i wl0 assoclist"), position("TRACE radio: wl1"));
}

TEST_F(Devices, ByStationAListThatCannotBeReadGoesToStandardErrorWithoutALineEndWhichIsKept)
{
    tools.answers("wlctl -i wl0 assoclist", "wl0: down\n");
    stations("wl1", {"02:00:00:00:00:02"});
    station("wl1", "02:00:00:00:00:02", 1);
    EXPECT_EQ(listed_by_station(),
              (texts{"  wl0  wifi=1 rssi=0 noise=0 tx=0 rx=0",
                     "02:00:00:00:00:02  wl1  wifi=1 rssi=-10 noise=-11 tx=1000 rx=2000 rates=3000/5000"}));
    EXPECT_EQ(errors, "Error getting assoclist for wl0");
    EXPECT_FALSE(logged("ERROR Error getting assoclist for wl0"));
}

TEST_F(Devices, ByStationOneWhoseDataCannotBeReadIsListedWithoutAMessage)
{
    stations("wl0", {"02:00:00:00:00:01"});
    EXPECT_EQ(listed_by_station(), texts{"02:00:00:00:00:01  wl0  wifi=1 rssi=0 noise=0 tx=0 rx=0"});
    for (const std::string &line : log)
        EXPECT_EQ(line.find("brcm_fill_data_struct"), std::string::npos) << line;
}

TEST_F(Devices, ByStationTextsOfLeasesAreCutToTheirFields)
{
    std::ofstream(lease_file) << "1 02:00:00:00:00:01 2001:db8:0:1:2:3:4:5 " + std::string(255, 'h') + " *\n";
    stations("wl0", {"02:00:00:00:00:01"});
    EXPECT_EQ(listed_by_station(), texts{"02:00:00:00:00:01 2001:db8:0:1:2:3: wl0 " + std::string(63, 'h') +
                                         " wifi=1 rssi=0 noise=0 tx=0 rx=0"});
}

TEST_F(Devices, ByStationAMissingLeaseFileOnlyCostsTheNames)
{
    stations("wl0", {"02:00:00:00:00:01"});
    EXPECT_FALSE(fs::exists(lease_file));
    EXPECT_EQ(listed_by_station().size(), 1U);
}

TEST_F(Devices, ByStationWithoutRadiosThereAreNone)
{
    radio_names.clear();
    EXPECT_EQ(listed_by_station(), texts{});
    EXPECT_EQ(tools.calls(), texts{});
    EXPECT_TRUE(logged("TRACE radios size 0"));
}

// ---- Activity ----

TEST_F(Devices, AreActiveWhileIdleIsZeroAndAlsoWhenTheDriverDoesNotKnowThemWhichIsKept)
{
    const struct {
        const char *name;
        const char *report; // null: the tool does not know the station
        int want;
    } rows[] = {
        {"active now", "[VER 8] STA 02:00:00:00:00:01:\n\t idle 0 seconds\n", 1},
        {"idle for a second", "[VER 8] STA 02:00:00:00:00:01:\n\t idle 1 seconds\n", 0},
        {"idle for long", "[VER 8] STA 02:00:00:00:00:01:\n\t idle 4294967295 seconds\n", 0},
        {"idle is not told", "[VER 8] STA 02:00:00:00:00:01:\n\t aid:1 \n", 1},
        {"unknown", nullptr, 1},
        {"nothing is printed", "", 1},
        {"a report that is not understood", "STA 02:00:00:00:00:01:\n\t idle 5 seconds\n", 1},
    };
    for (const auto &row : rows) {
        const std::string question = "wlctl -i wl0 sta_info 02:00:00:00:00:01";
        fs::remove(tools / question);
        if (row.report != nullptr)
            tools.answers(question, row.report);
        const quiet_log quiet;
        EXPECT_EQ(brcm_is_device_active("wl0", "02:00:00:00:00:01"), row.want) << row.name;
        EXPECT_EQ(tools.calls(), texts{question}) << row.name;
    }
}

} // namespace
