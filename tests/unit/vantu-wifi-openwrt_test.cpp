// What any OpenWrt router answers: over system files that are redirected, tools that are scripts, and leases, radios,
// counters and a clock that are made up.

#include "openwrt-generic/vantu-wifi-openwrt.h"

#include "support.hpp"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/vantu-ifstats.h"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/vantu_ll_iproute.h"
#include "vantu-ll-api/vantu_ll_iwinfo.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <limits>
#include <map>
#include <random>
#include <strings.h>

namespace fs = std::filesystem;
using namespace std::string_literals;
using support::all_of;
using support::answering_tools;
using support::append_all;
using support::call_outcome;
using support::fake_tool;
using support::forbid_new_descriptors;
using support::in_child;
using support::in_fresh_process;
using support::log_capture;
using support::no_child_is_left;
using support::open_descriptors;
using support::outcome_of;
using support::put;
using support::real;
using support::temp_dir;
using support::texts;
using support::write_file;

namespace
{

std::map<std::string, std::string> redirected; // files of the system: where they are found instead

// What the configuration store answers, and what it was asked for with which size.
std::string stored;
texts lookups;

// The shell: what it was given, what it answers and with which error, and whether it runs.
texts commands;
std::vector<int> statuses;
int system_errno = 0;
bool shell_runs = false;

// The counters of an interface; none when there is no such module.
std::string asked_interface;
vantu_byte_stats counters;
bool has_counters = true;

// The time, or its failure.
timespec now;
clockid_t asked_clock;
bool clock_fails = false;

} // namespace

// Stands before the C library's function of this name.
extern "C" FILE *fopen(const char *path, const char *mode)
{
    static const auto next = real<FILE *(const char *, const char *)>("fopen");
    const auto found = redirected.find(path);
    return next(found == redirected.end() ? path : found->second.c_str(), mode);
}

// Called instead of the functions of these names, which the linker renames.
extern "C" {
int __wrap_get_param_str(const char *lookup, char *out, int size)
{
    lookups.push_back(lookup + " "s + std::to_string(size));
    if (stored.empty())
        return -5;
    (void)snprintf(out, static_cast<size_t>(size), "%s", stored.c_str());
    return 0;
}

int __real_system(const char *command);
int __wrap_system(const char *command)
{
    commands.emplace_back(command);
    if (shell_runs)
        return __real_system(command);
    const int status = support::next_of(statuses);
    if (status == -1)
        errno = system_errno;
    return status;
}

vantu_byte_stats *__wrap_vantu_get_if_stats(const char *ifname)
{
    asked_interface = ifname;
    return has_counters ? &counters : nullptr;
}

int __wrap_clock_gettime(clockid_t clock, timespec *out)
{
    asked_clock = clock;
    if (clock_fails)
        return -1;
    *out = now;
    return 0;
}
}

namespace
{

using lease_list = support::list<vantu_ll_wrt_dhcp_list_init>;
using flow_list = support::list<vantu_ll_wrt_conntrack_list_init>;
using neighbour_list = support::list<vantu_ll_iproute_ipneigh_list_init>;
using station_list = support::list<vantu_ll_iwinfo_assoclist_sclist_init>;
using radio_list = support::list<vantu_common_radio_list_init>;
using device_list = support::list<vantu_common_device_list_init>;
using station = iwinfo_assoclist_device;

// Finds a file of the system elsewhere while it lives.
class redirection
{
public:
    redirection(std::string path, const std::string &to) : path_(std::move(path)) { redirected[path_] = to; }
    ~redirection() { redirected.erase(path_); }
    redirection(const redirection &) = delete;
    redirection &operator=(const redirection &) = delete;

private:
    std::string path_;
};

// A file of the system with this content.
class system_file
{
public:
    system_file(const std::string &path, const std::string &content) : redirection_(path, dir_ / "file")
    {
        write_file(dir_ / "file", content);
    }

private:
    temp_dir dir_;
    redirection redirection_;
};

// One that is not there.
class missing_file
{
public:
    explicit missing_file(const std::string &path) : redirection_(path, dir_ / "missing") {}

private:
    temp_dir dir_;
    redirection redirection_;
};

std::string dump(const vantu_ll_dhcp &lease)
{
    return std::to_string(lease.expires) + " " + lease.mac_address + " " + lease.ip_address + " " + lease.hostname;
}

std::string dump(const station &one)
{
    return one.interface + " "s + one.mac + " " + std::to_string(one.signal);
}

std::string dump(const vantu_common_device &device)
{
    return device.mac + " "s + device.ipv4 + " " + device.hostname + " " + device.interface +
           " wifi=" + std::to_string(device.is_wifi) + " " + std::to_string(device.rssi) + "/" +
           std::to_string(device.noise) + " rx=" + std::to_string(device.rx_bytes) + "/" +
           std::to_string(device.rx_rate) + " tx=" + std::to_string(device.tx_bytes) + "/" +
           std::to_string(device.tx_rate);
}

template <typename Record>
texts dumps(sclist_t &list)
{
    texts out;
    for (const Record &record : all_of<Record>(list))
        out.push_back(dump(record));
    return out;
}

// ---- Who is this router? ----

const char brlan_file[] = "/sys/class/net/br-lan/address";

TEST(BridgeMac, IsTheFirstWordOfItsFile)
{
    const struct {
        const char *name;
        std::string content;
        std::string want;
        texts log;
    } rows[] = {
        {"as the kernel writes it", "02:00:00:00:00:01\n", "02:00:00:00:00:01", {}},
        {"without line end", "02:00:00:00:00:01", "02:00:00:00:00:01", {}},
        {"blanks and lines before it", " \n\t02:00:00:00:00:01\n", "02:00:00:00:00:01", {}},
        {"more behind it", "02:00:00:00:00:01 more\nmore\n", "02:00:00:00:00:01", {}},
        {"63 characters", std::string(63, 'm') + "\n", std::string(63, 'm'), {}},
        {"64 characters", std::string(64, 'm') + "\n", std::string(63, 'm'), {}},
        {"nothing", "", "", {"ERROR unable to get brlan mac"}},
        {"only blanks", " \n\n", "", {"ERROR unable to get brlan mac"}},
    };
    for (const auto &row : rows) {
        const system_file file(brlan_file, row.content);
        char mac[64];
        memset(mac, 'x', sizeof(mac));
        const call_outcome got = outcome_of([&] { return wrt_get_brlan_mac(mac); });
        EXPECT_EQ(got.result, 0) << row.name;
        EXPECT_EQ(mac, row.want) << row.name;
        EXPECT_EQ(got.log, row.log) << row.name;
    }
}

TEST(BridgeMac, AFileThatCannotBeReadIsAnEmptyText)
{
    const temp_dir dir;
    const redirection directory(brlan_file, dir.path());
    char mac[64] = "old";
    const call_outcome got = outcome_of([&] { return wrt_get_brlan_mac(mac); });
    EXPECT_EQ(got.result, 0);
    EXPECT_STREQ(mac, "");
    EXPECT_EQ(got.log, texts{"ERROR unable to get brlan mac"});
}

TEST(BridgeMac, WithoutItsFileItIsMinusOneAndTheOutputStays)
{
    const missing_file missing(brlan_file);
    char mac[64] = "old";
    const call_outcome got = outcome_of([&] { return wrt_get_brlan_mac(mac); });
    EXPECT_EQ(got.result, -1);
    EXPECT_STREQ(mac, "old");
    EXPECT_EQ(got.log, texts{"ERROR Error getting br-lan mac"});
}

TEST(BridgeMac, LeavesNoDescriptor)
{
    const system_file file(brlan_file, "02:00:00:00:00:01\n");
    char mac[64];
    const size_t before = open_descriptors();
    EXPECT_EQ(wrt_get_brlan_mac(mac), 0);
    EXPECT_EQ(open_descriptors(), before);
}

// The module keeps the name, so that each case has a process of its own.
TEST(WanInterface, IsAskedOfTheStoreAsTextOf15Characters)
{
    in_fresh_process([] {
        stored = "eth4.100";
        EXPECT_STREQ(wrt_get_wan_interface(), "eth4.100");
        EXPECT_EQ(lookups, texts{"network.wan.ifname 16"});
    });
}

TEST(WanInterface, OnceKnownItIsKeptInOneBuffer)
{
    in_fresh_process([] {
        stored = "eth4";
        const char *first = wrt_get_wan_interface();
        stored = "eth5";
        EXPECT_EQ(wrt_get_wan_interface(), first);
        EXPECT_STREQ(first, "eth4");
        EXPECT_EQ(lookups.size(), 1U);
    });
}

TEST(WanInterface, IsEmptyAndAskedAgainUntilItIsKnown)
{
    in_fresh_process([] {
        for (size_t i = 1; i <= 3; i++) {
            EXPECT_STREQ(wrt_get_wan_interface(), "");
            EXPECT_EQ(lookups.size(), i);
        }
        stored = "eth4";
        EXPECT_STREQ(wrt_get_wan_interface(), "eth4");
        EXPECT_EQ(lookups.size(), 4U);
    });
}

TEST(KernelVersion, IsTheFirstLineWithoutItsLastCharacter)
{
    const struct {
        const char *name;
        std::string output;
        std::string want;
    } rows[] = {
        {"a release", "4.1.52\n", "4.1.52"},
        {"more lines", "4.1.52\nmore\n", "4.1.52"},
        {"blanks in it", " 4.1 52 \n", " 4.1 52 "},
        {"CR LF", "4.1.52\r\n", "4.1.52\r"},
        {"without line end the last character goes, which is kept", "4.1.52", "4.1.5"},
        {"an empty line", "\n", ""},
        {"no output", "", ""},
        {"63 characters", std::string(63, 'k') + "\n", std::string(63, 'k')},
        {"64 characters", std::string(64, 'k') + "\n", std::string(63, 'k')},
        {"70 characters", std::string(70, 'k') + "\n", std::string(63, 'k')},
        {"longer than a line is read", std::string(2000, 'k') + "\n", std::string(63, 'k')},
        {"a NUL byte ends it, and one character more goes", "4.1\0 52\n"s, "4."},
    };
    for (const auto &row : rows) {
        const fake_tool uname("uname", row.output);
        char version[64];
        memset(version, 'x', sizeof(version));
        const call_outcome got = outcome_of([&] { return wrt_get_kernel_version(version, sizeof(version)); });
        EXPECT_EQ(got.result, 0) << row.name;
        EXPECT_EQ(std::string(version), row.want) << row.name;
        EXPECT_EQ(got.log, texts{}) << row.name;
        EXPECT_EQ(got.errors, "") << row.name;
        EXPECT_EQ(uname.calls(), "1:-r\n") << row.name;
    }
}

TEST(KernelVersion, AReleaseOf510CharactersIsWholeAndALongerLineLosesItsLastThatWasRead)
{
    for (const size_t length : {510U, 511U, 600U}) {
        const fake_tool uname("uname", std::string(length, 'k') + "\n");
        char version[1024];
        EXPECT_EQ(wrt_get_kernel_version(version, sizeof(version)), 0);
        EXPECT_EQ(strlen(version), 510U) << length;
    }
}

TEST(KernelVersion, FillsItsLengthWithZerosAndNothingBehindIt)
{
    const fake_tool uname("uname", "4.1.52\n");
    for (const size_t length : {0U, 1U, 2U, 6U, 7U, 8U, 20U}) {
        std::string out(32, 'x');
        EXPECT_EQ(wrt_get_kernel_version(out.data(), static_cast<int>(length)), 0);
        std::string want = "4.1.52"s.substr(0, length == 0 ? 0 : length - 1);
        want.resize(length, '\0');
        EXPECT_EQ(out, want + std::string(32 - length, 'x')) << length;
    }
}

TEST(KernelVersion, ALineThatBeginsWithANulByteIsEmpty)
{
    const fake_tool uname("uname", "\0"s + "4.1.52\n");
    in_fresh_process([] {
        char version[64] = "old";
        EXPECT_EQ(wrt_get_kernel_version(version, sizeof(version)), 0);
        EXPECT_STREQ(version, "");
    });
}

TEST(KernelVersion, TheExitStatusOfTheToolDoesNotCount)
{
    const fake_tool uname("uname", "4.1.52\n", 1);
    char version[64];
    EXPECT_EQ(wrt_get_kernel_version(version, sizeof(version)), 0);
    EXPECT_STREQ(version, "4.1.52");
}

TEST(KernelVersion, AToolThatCannotBeStartedIsMinusOneAndALineOnStandardError)
{
    const temp_dir dir;
    EXPECT_EQ(in_child([&] {
                  // Opened before, as nothing can be opened afterwards.
                  if (freopen((dir / "errors").c_str(), "w", stderr) == nullptr)
                      return 1;
                  forbid_new_descriptors();
                  char version[64] = "old";
                  if (wrt_get_kernel_version(version, sizeof(version)) != -1)
                      return 2;
                  return strcmp(version, "old") != 0 ? 3 : fflush(stderr);
              }),
              0);
    EXPECT_EQ(support::content_of(dir / "errors"), "Failed to run command uname -r\n");
}

TEST(KernelVersion, LeavesNoDescriptorAndNoChild)
{
    const fake_tool uname("uname", "4.1.52\n");
    char version[64];
    const size_t before = open_descriptors();
    EXPECT_EQ(wrt_get_kernel_version(version, sizeof(version)), 0);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_TRUE(no_child_is_left());
}

// ---- Leases ----

const char lease_file[] = "/etc/dhcp_lan.leases";

vantu_ll_dhcp lease_of(const std::string &mac, const std::string &ip, const std::string &hostname = "host")
{
    vantu_ll_dhcp lease = {};
    put(lease.mac_address, mac);
    put(lease.ip_address, ip);
    put(lease.hostname, hostname);
    return lease;
}

// A list that a reading before has filled.
struct used_leases : lease_list {
    used_leases() { append_all<vantu_ll_dhcp>(this, {lease_of("02:00:00:00:00:99", "192.168.1.99")}); }
};

TEST(Leases, ReplaceTheListInOrderAndWithMacsInUpperCase)
{
    const system_file file(lease_file, "1 02:00:00:00:01:ab 192.168.1.11 Tablet 01:02:00:00:00:01:ab\n"
                                       "2 02:00:00:00:01:AC 192.168.1.12 * *\n"
                                       "duid 00:01:00:01\n"
                                       "3 02:00:00:00:01:ad 2001:db8::ad phone *\n");
    used_leases list;
    const call_outcome got = outcome_of([&] { return wrt_get_dhcpleases(&list); });
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(dumps<vantu_ll_dhcp>(list),
              (texts{"1 02:00:00:00:01:AB 192.168.1.11 Tablet", "2 02:00:00:00:01:AC 192.168.1.12 *",
                     "3 02:00:00:00:01:AD 2001:db8::ad phone"}));
    EXPECT_EQ(got.log, texts{"TRACE Reading /etc/dhcp_lan.leases"});
}

TEST(Leases, AFileWithoutLeasesEmptiesTheList)
{
    const system_file file(lease_file, "");
    const support::quiet_log quiet;
    used_leases list;
    EXPECT_EQ(wrt_get_dhcpleases(&list), 0);
    EXPECT_EQ(sclist_size(&list), 0U);
}

TEST(Leases, AReaderThatFailsIsToldAndStillZero)
{
    const missing_file missing(lease_file);
    used_leases list;
    const call_outcome got = outcome_of([&] { return wrt_get_dhcpleases(&list); });
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(sclist_size(&list), 0U);
    EXPECT_EQ(got.log, (texts{"TRACE Reading /etc/dhcp_lan.leases", "ERROR vantu_ll_wrt_get_dhcp failed"}));
}

// ---- Connections ----

using flow = vantu_ll_conntrack_flow;

std::string connection(int sport)
{
    return "ipv4     2 tcp      6 100 ESTABLISHED src=192.168.1.11 dst=203.0.113.5 sport=" + std::to_string(sport) +
           " dport=443 src=203.0.113.5 dst=198.51.100.7 sport=443 dport=" + std::to_string(sport) +
           " [ASSURED] mark=0 use=1\n";
}

// One of the two operations, with its source.
struct connection_reader {
    const char *name;
    int (*read)(sclist_t *flows, sclist_t *list, int flag);
    bool by_tool;
};
const connection_reader connection_readers[] = {
    {"file", wrt_get_conntrack, false},
    {"tool", wrt_get_conntrack_tool, true},
};

std::vector<int> ports_of(sclist_t &flows)
{
    std::vector<int> out;
    for (const flow &each : all_of<flow>(flows))
        out.push_back(each.sport);
    return out;
}

TEST(Connections, ReplaceTheListWhateverTheOtherArgumentsAre)
{
    for (const connection_reader &each : connection_readers) {
        const system_file file("/proc/net/nf_conntrack", each.by_tool ? "" : connection(1000) + connection(1001));
        const fake_tool tool("conntrack", each.by_tool ? connection(1000) + connection(1001) : "");
        flow_list flows;
        const flow old = {};
        for (const int flag : {-1, 0, 1, 4711}) {
            (void)sclist_append(&flows, &old);
            lease_list other;
            EXPECT_EQ(each.read(&flows, flag == 0 ? nullptr : &other, flag), 0) << each.name;
            EXPECT_EQ(ports_of(flows), (std::vector<int>{1000, 1001})) << each.name << flag;
            EXPECT_EQ(sclist_size(&other), 0U) << each.name;
        }
        EXPECT_EQ(tool.calls(), each.by_tool ? "1:-L\n1:-L\n1:-L\n1:-L\n" : "") << each.name;
    }
}

TEST(Connections, AFailureIsZeroToo)
{
    const missing_file missing("/proc/net/nf_conntrack");
    for (const connection_reader &each : connection_readers) {
        EXPECT_EQ(in_child([&] {
                      const support::quiet_log quiet;
                      flow_list flows;
                      const flow old = {};
                      (void)sclist_append(&flows, &old);
                      forbid_new_descriptors();
                      return each.read(&flows, nullptr, 0) != 0 ? 1 : sclist_size(&flows) != 0 ? 2 : 0;
                  }),
                  0)
            << each.name;
    }
}

// ---- Stations ----

std::string report_of(const std::string &mac, int signal)
{
    return mac + "  " + std::to_string(signal) +
           " dBm / -90 dBm (SNR 0)  10 ms ago\n"
           "\tRX: 24.0 MBit/s                                  812 Pkts.\n"
           "\tTX: 54.0 MBit/s                                  977 Pkts.\n"
           "\texpected throughput: unknown\n\n";
}

vantu_common_radio radio_of(const std::string &interface)
{
    vantu_common_radio radio = {};
    put(radio.interface, interface);
    return radio;
}

TEST(StationsOfRadios, AreAppendedRadioByRadio)
{
    const answering_tools tools = {"iwinfo"};
    tools.answers("iwinfo wl1 assoclist", report_of("02:00:00:00:01:01", -1) + report_of("02:00:00:00:01:02", -2));
    tools.answers("iwinfo wl0 assoclist", report_of("02:00:00:00:01:03", -3));
    tools.answers("iwinfo wl2 assoclist", "No station connected\n");
    radio_list radios;
    append_all<vantu_common_radio>(&radios, {radio_of("wl1"), radio_of("wl2"), radio_of("wl0")});
    station_list out;
    station old = {};
    put(old.mac, "old");
    (void)sclist_append(&out, &old);
    const log_capture log;
    wrt_get_wifi_assoclist_from_iwinfo(&radios, &out);
    EXPECT_EQ(dumps<station>(out),
              (texts{" old 0", "wl1 02:00:00:00:01:01 -1", "wl1 02:00:00:00:01:02 -2", "wl0 02:00:00:00:01:03 -3"}));
    EXPECT_EQ(tools.calls(), (texts{"iwinfo wl1 assoclist", "iwinfo wl2 assoclist", "iwinfo wl0 assoclist"}));
    EXPECT_EQ(log.lines, (texts{"TRACE Running: iwinfo 'wl1' assoclist", "TRACE Running: iwinfo 'wl2' assoclist",
                                "TRACE Running: iwinfo 'wl0' assoclist"}));
}

TEST(StationsOfRadios, ARadioThatCannotBeAskedIsToldAndTheOthersAre)
{
    const answering_tools tools = {"iwinfo"};
    tools.answers("iwinfo wl0 assoclist", report_of("02:00:00:00:01:03", -3));
    radio_list radios;
    append_all<vantu_common_radio>(&radios, {radio_of(""), radio_of("wl'"), radio_of("wl0")});
    station_list out;
    const log_capture log;
    wrt_get_wifi_assoclist_from_iwinfo(&radios, &out);
    EXPECT_EQ(dumps<station>(out), texts{"wl0 02:00:00:00:01:03 -3"});
    EXPECT_EQ(tools.calls(), texts{"iwinfo wl0 assoclist"});
    EXPECT_EQ(log.lines,
              (texts{"ERROR vantu_ll_iwinfo_assoclist: Radio string empty.", "TRACE Running: iwinfo 'wl'' assoclist",
                     "ERROR incorrect parameters or too many files.", "TRACE Running: iwinfo 'wl0' assoclist"}));
}

TEST(StationsOfRadios, NoRadiosHaveNone)
{
    const answering_tools tools = {"iwinfo"};
    radio_list radios;
    station_list out;
    wrt_get_wifi_assoclist_from_iwinfo(&radios, &out);
    EXPECT_EQ(sclist_size(&out), 0U);
    EXPECT_EQ(tools.calls(), texts{});
}

// ---- The merge ----

ip_neigh neighbour_of(const std::string &ip, const std::string &status, const std::string &mac = "")
{
    ip_neigh out = {};
    put(out.ip, ip);
    put(out.status, status);
    put(out.mac, mac);
    return out;
}

// A station whose figures all follow from its number.
station station_of(const std::string &mac, int number)
{
    station out = {};
    put(out.mac, mac);
    put(out.interface, "wl" + std::to_string(number));
    const auto count = static_cast<uint64_t>(number);
    out.signal = -number;
    out.noise = -number - 1;
    out.inactive = count + 2;
    out.sta_connect_time = count + 3;
    out.rx_rate = count + 4;
    out.rx_bytes = count + 5;
    out.rx_packages = count + 6;
    out.tx_rate = count + 7;
    out.tx_bytes = count + 8;
    out.tx_packages = count + 9;
    return out;
}

struct inventory {
    std::vector<ip_neigh> neighbours;
    std::vector<station> stations;
    std::vector<vantu_ll_dhcp> leases;
};

std::vector<vantu_common_device> merged(const inventory &in)
{
    neighbour_list neighbours;
    append_all(&neighbours, in.neighbours);
    station_list stations;
    append_all(&stations, in.stations);
    lease_list leases;
    append_all(&leases, in.leases);
    device_list out;
    wrt_merge_ipneigh_iwinfowifidevices_and_dhcpdevices(&neighbours, &stations, &leases, &out);
    return all_of<vantu_common_device>(out);
}

texts dumps_of(const std::vector<vantu_common_device> &devices)
{
    texts out;
    for (const vantu_common_device &device : devices)
        out.push_back(dump(device));
    return out;
}

const char mac[] = "02:00:00:00:01:AB";
const char ip[] = "192.168.1.11";
const std::string wired = mac + " "s + ip + " host eth wifi=0 0/0 rx=0/0 tx=0/0";
const std::string wireless = mac + " "s + ip + " host wl5 wifi=1 -5/-6 rx=10/9 tx=13/12";

TEST(Merge, ALeaseWithoutStationIsAWiredDevice)
{
    EXPECT_EQ(dumps_of(merged({{}, {}, {lease_of(mac, ip)}})), texts{wired});
    EXPECT_EQ(dumps_of(merged({{}, {station_of("02:00:00:00:01:AC", 5)}, {lease_of(mac, ip)}})), texts{wired});
}

TEST(Merge, ALeaseWithAStationHasItsFiguresAndAllOtherFieldsAreZero)
{
    const auto got = merged({{}, {station_of(mac, 5)}, {lease_of(mac, ip)}});
    EXPECT_EQ(dumps_of(got), texts{wireless});
    vantu_common_device want = {};
    put(want.mac, mac);
    put(want.ipv4, ip);
    put(want.hostname, "host");
    put(want.interface, "wl5");
    want.is_wifi = 1;
    want.rssi = -5;
    want.noise = -6;
    want.rx_bytes = 10;
    want.rx_rate = 9;
    want.tx_bytes = 13;
    want.tx_rate = 12;
    ASSERT_EQ(got.size(), 1U);
    EXPECT_EQ(support::bytes_of(got[0]), support::bytes_of(want));
}

TEST(Merge, TheStationIsSoughtIgnoringCaseAndTheMacBecomesUpperCase)
{
    const texts want = {wireless};
    EXPECT_EQ(dumps_of(merged({{}, {station_of("02:00:00:00:01:ab", 5)}, {lease_of(mac, ip)}})), want);
    EXPECT_EQ(dumps_of(merged({{}, {station_of(mac, 5)}, {lease_of("02:00:00:00:01:ab", ip)}})), want);
}

TEST(Merge, TheFirstOfSeveralStationsAndNeighboursCounts)
{
    EXPECT_EQ(dumps_of(merged({{}, {station_of(mac, 5), station_of(mac, 6)}, {lease_of(mac, ip)}})), texts{wireless});
    EXPECT_EQ(dumps_of(merged({{neighbour_of(ip, "STALE"), neighbour_of(ip, "FAILED")}, {}, {lease_of(mac, ip)}})),
              texts{wired});
    EXPECT_EQ(dumps_of(merged({{neighbour_of(ip, "FAILED"), neighbour_of(ip, "STALE")}, {}, {lease_of(mac, ip)}})),
              texts{});
}

TEST(Merge, OnlyAPresentNeighbourOrNoneAtAllMakesADevice)
{
    const struct {
        const char *status;
        bool device;
    } rows[] = {
        {"REACHABLE", true},  {"DELAY", true},      {"PROBE", true},       {"STALE", true},       {"FAILED", false},
        {"NOARP", false},     {"PERMANENT", false}, {"NONE", false},       {"INCOMPLETE", false}, {"", false},
        {"reachable", false}, {"STALE ", false},    {"REACHABLE1", false},
    };
    for (const auto &row : rows) {
        for (const bool wifi : {false, true}) {
            const inventory in = {{neighbour_of(ip, row.status)},
                                  wifi ? std::vector<station>{station_of(mac, 5)} : std::vector<station>{},
                                  {lease_of(mac, ip)}};
            EXPECT_EQ(dumps_of(merged(in)), row.device ? texts{wifi ? wireless : wired} : texts{}) << row.status;
        }
    }
    EXPECT_EQ(dumps_of(merged({{neighbour_of("192.168.1.12", "FAILED")}, {}, {lease_of(mac, ip)}})), texts{wired});
}

TEST(Merge, ANeighbourIsSoughtByItsAddressNotByTheMacOfTheLease)
{
    EXPECT_EQ(dumps_of(merged({{neighbour_of("192.168.1.12", "FAILED", mac)}, {}, {lease_of(mac, ip)}})), texts{wired});
}

TEST(Merge, OnlyAddressesOfIpv4MakeADevice)
{
    const struct {
        const char *address;
        bool device;
    } rows[] = {
        {"192.168.1.11", true},
        {"255.255.255.255", true},
        {"1234567890.23456", true}, // 16 characters
        {"1234567890.234567", false},
        {"2001:db8::11", false},
        {"2001:db8:1:2:3:4:5:6", false},
        {"fe80::1", false},
        {"", false},
        {"localhost", false},
        {".", true},
        {"::192.0.2.1", true}, // short enough, with a dot
        {"2001:db8::192.0.2.1", false},
    };
    for (const auto &row : rows) {
        const auto got = merged({{}, {station_of(mac, 5)}, {lease_of(mac, row.address)}});
        ASSERT_EQ(got.size(), row.device ? 1U : 0U) << row.address;
        if (row.device) {
            EXPECT_STREQ(got[0].ipv4, row.address);
        }
    }
}

TEST(Merge, TextsAreCutToTheirFields)
{
    const auto got = merged({{},
                             {},
                             {lease_of(std::string(30, 'm'), "1.1", std::string(63, 'h')),
                              lease_of(std::string(17, 'm'), "1.2", std::string(64, 'h')),
                              lease_of(std::string(18, 'm'), "1.3", std::string(255, 'h'))}});
    ASSERT_EQ(got.size(), 3U);
    for (const vantu_common_device &device : got) {
        EXPECT_EQ(device.mac, std::string(17, 'M'));
        EXPECT_EQ(device.hostname, std::string(63, 'h'));
    }
    station wifi = station_of(mac, 5);
    put(wifi.interface, std::string(31, 'i'));
    EXPECT_EQ(merged({{}, {wifi}, {lease_of(mac, ip)}})[0].interface, std::string(31, 'i'));
}

TEST(Merge, AStationIsSoughtByTheWholeTextOfTheLease)
{
    const std::string longer = mac + "-more"s;
    EXPECT_EQ(merged({{}, {station_of(mac, 5)}, {lease_of(longer, ip)}})[0].is_wifi, 0);
    EXPECT_EQ(merged({{}, {station_of(longer, 5)}, {lease_of(longer, ip)}})[0].is_wifi, 1);
}

TEST(Merge, AppendsInTheOrderOfTheLeasesToWhatIsThere)
{
    neighbour_list neighbours;
    station_list stations;
    lease_list leases;
    append_all<vantu_ll_dhcp>(
        &leases, {lease_of("b", "1.2", "second"), lease_of("a", "1.1", "first"), lease_of("b", "1.2", "second")});
    device_list out;
    vantu_common_device old = {};
    put(old.hostname, "old");
    (void)sclist_append(&out, &old);
    wrt_merge_ipneigh_iwinfowifidevices_and_dhcpdevices(&neighbours, &stations, &leases, &out);
    texts hosts;
    for (const vantu_common_device &device : all_of<vantu_common_device>(out))
        hosts.emplace_back(device.hostname);
    EXPECT_EQ(hosts, (texts{"old", "second", "first", "second"}));
    EXPECT_EQ(sclist_size(&leases), 3U);
}

// The merge, a list for each other one.
std::vector<vantu_common_device> naively_merged(const inventory &in)
{
    std::vector<vantu_common_device> out;
    for (const vantu_ll_dhcp &lease : in.leases) {
        const std::string address = lease.ip_address;
        if (address.size() >= 17 || address.find('.') == std::string::npos)
            continue;
        const ip_neigh *neighbour = nullptr;
        for (const ip_neigh &each : in.neighbours) {
            if (neighbour == nullptr &&
                (strcasecmp(each.mac, lease.ip_address) == 0 || strcasecmp(each.ip, lease.ip_address) == 0))
                neighbour = &each;
        }
        if (neighbour != nullptr &&
            std::set<std::string>{"REACHABLE", "DELAY", "PROBE", "STALE"}.count(neighbour->status) == 0)
            continue;
        vantu_common_device device = {};
        for (const station &each : in.stations) {
            if (device.is_wifi == 1 || strcasecmp(each.mac, lease.mac_address) != 0)
                continue;
            device.is_wifi = 1;
            put(device.interface, each.interface);
            device.rssi = each.signal;
            device.noise = each.noise;
            device.rx_bytes = each.rx_bytes;
            device.tx_bytes = each.tx_bytes;
            device.rx_rate = each.rx_rate;
            device.tx_rate = each.tx_rate;
        }
        if (device.is_wifi == 0)
            put(device.interface, "eth");
        for (size_t i = 0; i < 17; i++)
            device.mac[i] = static_cast<char>(toupper(lease.mac_address[i]));
        put(device.ipv4, address);
        put(device.hostname, lease.hostname);
        out.push_back(device);
    }
    return out;
}

// Lists in which few texts occur again and again, in either case.
class random_inventory
{
public:
    inventory next()
    {
        variety_ = 1 + below(30);
        inventory out;
        for (size_t left = below(50); left > 0; left--)
            out.neighbours.push_back(
                neighbour_of(below(8) == 0 ? mac() : address(), status(), below(8) == 0 ? address() : mac()));
        for (size_t left = below(50); left > 0; left--)
            out.stations.push_back(station_of(mac(), static_cast<int>(below(1000))));
        for (size_t left = below(50); left > 0; left--)
            out.leases.push_back(lease_of(mac(), address(), "host" + std::to_string(left)));
        return out;
    }

private:
    size_t below(size_t limit) { return generator_() % limit; }

    std::string mac()
    {
        char text[32];
        if (below(20) == 0)
            return "";
        (void)snprintf(text, sizeof(text), below(2) == 0 ? "02:00:00:00:0a:%02x" : "02:00:00:00:0A:%02X",
                       static_cast<unsigned int>(below(variety_)));
        return text;
    }

    std::string address()
    {
        const std::string number = std::to_string(below(variety_));
        switch (below(8)) {
        case 0:
            return "2001:db8::" + number;
        case 1:
            return below(2) == 0 ? "::FFFF:1.0.0." + number : "::ffff:1.0.0." + number;
        default:
            return "192.168.1." + number;
        }
    }

    std::string status()
    {
        const char *const all[] = {"REACHABLE", "DELAY", "PROBE", "STALE", "FAILED", "INCOMPLETE", "NOARP", ""};
        return all[below(std::size(all))];
    }

    std::mt19937 generator_{4711};
    size_t variety_ = 1;
};

TEST(Merge, IsWhatANaiveMergeGives)
{
    random_inventory random;
    size_t devices = 0;
    for (int round = 0; round < 3000; round++) {
        const inventory in = random.next();
        const auto want = naively_merged(in);
        const auto got = merged(in);
        ASSERT_EQ(dumps_of(got), dumps_of(want)) << round;
        for (size_t i = 0; i < want.size(); i++)
            ASSERT_EQ(support::bytes_of(got[i]), support::bytes_of(want[i])) << round << " " << i;
        devices += want.size();
    }
    EXPECT_GT(devices, 10000U);
}

// ---- Associated devices ----

const answering_tools *tools_in_use = nullptr;
texts steps; // the tools and operations that were called, in order
std::vector<vantu_ll_dhcp> leases_there;
std::vector<vantu_common_radio> radios_there;
int operation_result = 0;

void note_tools()
{
    const texts calls = tools_in_use->calls();
    steps.insert(steps.end(), calls.begin(), calls.end());
}

int report_leases(sclist_t *list)
{
    note_tools();
    steps.emplace_back("get_dhcpleases");
    append_all(list, leases_there);
    return operation_result;
}

int report_radios(sclist_t *list)
{
    note_tools();
    steps.emplace_back("get_radios");
    append_all(list, radios_there);
    return operation_result;
}

class AssociatedDevices : public testing::Test
{
protected:
    void SetUp() override
    {
        before_ = global_ops;
        global_ops = {};
        global_ops.get_dhcpleases = report_leases;
        global_ops.get_radios = report_radios;
        tools_in_use = &tools;
        steps.clear();
        operation_result = 0;
        leases_there = {lease_of("02:00:00:00:01:01", "192.168.1.11", "one"),
                        lease_of("02:00:00:00:01:02", "192.168.1.12", "two"),
                        lease_of("02:00:00:00:01:03", "192.168.1.13", "three"),
                        lease_of("02:00:00:00:01:04", "2001:db8::14", "four")};
        radios_there = {radio_of("wl0"), radio_of("wl1")};
        tools.answers("ip neigh", "192.168.1.11 dev br-lan lladdr 02:00:00:00:01:01 REACHABLE\n"
                                  "192.168.1.12 dev br-lan  FAILED\n");
        tools.answers("iwinfo wl0 assoclist", "No station connected\n");
        tools.answers("iwinfo wl1 assoclist", report_of("02:00:00:00:01:03", -33));
    }
    void TearDown() override
    {
        global_ops = before_;
        EXPECT_TRUE(no_child_is_left());
    }

    // The number and the devices that the listing gives, behind one that is there.
    texts listed()
    {
        device_list out;
        vantu_common_device old = {};
        put(old.hostname, "old");
        (void)sclist_append(&out, &old);
        const support::quiet_log quiet;
        const int result = wrt_get_associated_devices(&out);
        note_tools();
        texts found = {std::to_string(result)};
        for (const vantu_common_device &device : all_of<vantu_common_device>(out))
            found.push_back(device.hostname + "@"s + device.interface);
        return found;
    }

    answering_tools tools = {"ip", "iwinfo"};

private:
    vantu_platform_ops before_ = {};
};

TEST_F(AssociatedDevices, AreAppendedAndTheSizeOfTheListIsTheResult)
{
    EXPECT_EQ(listed(), (texts{"3", "old@", "one@eth", "three@wl1"}));
}

TEST_F(AssociatedDevices, NeighboursComeFirstThenLeasesRadiosAndStations)
{
    (void)listed();
    EXPECT_EQ(steps,
              (texts{"ip neigh", "get_dhcpleases", "get_radios", "iwinfo wl0 assoclist", "iwinfo wl1 assoclist"}));
}

TEST_F(AssociatedDevices, ResultsOfTheOperationsDoNotCount)
{
    operation_result = -1;
    EXPECT_EQ(listed(), (texts{"3", "old@", "one@eth", "three@wl1"}));
}

TEST_F(AssociatedDevices, ASourceThatHasNothingLeavesTheOthers)
{
    tools.answers("ip neigh", "");
    EXPECT_EQ(listed(), (texts{"4", "old@", "one@eth", "two@eth", "three@wl1"}));
    radios_there.clear();
    EXPECT_EQ(listed(), (texts{"4", "old@", "one@eth", "two@eth", "three@eth"}));
    leases_there.clear();
    EXPECT_EQ(listed(), (texts{"1", "old@"}));
}

TEST_F(AssociatedDevices, ToolsThatCannotBeStartedLeaveWiredDevices)
{
    leases_there.resize(1);
    // Without looking which tools ran, since that opens a file.
    global_ops.get_dhcpleases = [](sclist_t *list) {
        append_all(list, leases_there);
        return 0;
    };
    global_ops.get_radios = [](sclist_t *list) {
        append_all(list, radios_there);
        return 0;
    };
    const texts want = {"TRACE Running: iwinfo 'wl0' assoclist", "ERROR incorrect parameters or too many files.",
                        "TRACE Running: iwinfo 'wl1' assoclist", "ERROR incorrect parameters or too many files."};
    EXPECT_EQ(in_child([&] {
                  device_list out;
                  const log_capture log;
                  forbid_new_descriptors();
                  if (wrt_get_associated_devices(&out) != 1)
                      return 1;
                  const auto *device = support::at<vantu_common_device>(out, 0);
                  return strcmp(device->interface, "eth") != 0 ? 2 : log.lines != want ? 3 : 0;
              }),
              0);
}

// ---- Counters ----

TEST(WanStats, AreTheCountersOfTheInterfaceAndTheTimesStay)
{
    counters = {11, 22, 33, 44}; // bytes sent and received, packets sent and received
    has_counters = true;
    vantu_wan_stats stats = {1, 2, 3, 4, 5, 6};
    const call_outcome got = outcome_of([&] { return wrt_get_wan_stats("eth7", &stats); });
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(asked_interface, "eth7");
    EXPECT_EQ(stats.time, 1U);
    EXPECT_EQ(stats.delta_time, 2U);
    EXPECT_EQ(stats.ip_bytes_tx, 11U);
    EXPECT_EQ(stats.ip_bytes_rx, 22U);
    EXPECT_EQ(stats.ip_packets_tx, 33U);
    EXPECT_EQ(stats.ip_packets_rx, 44U);
    EXPECT_EQ(got.log, texts{});
}

TEST(WanStats, WithoutCountersTheRecordStaysAndItIsToldAndMinusOne)
{
    has_counters = false;
    vantu_wan_stats stats = {1, 2, 3, 4, 5, 6};
    const vantu_wan_stats before = stats;
    const call_outcome got = outcome_of([&] { return wrt_get_wan_stats("eth7", &stats); });
    has_counters = true;
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(support::bytes_of(stats), support::bytes_of(before));
    EXPECT_EQ(got.log, texts{"ERROR failed to get wan if stats"});
}

// ---- Packet marking ----

const std::string script = "/usr/bin/vantu-iptables-functions.sh";
const char check_command[] = "iptables -t mangle --list vantu_vi_zone 2&>1 >>/dev/null";

class Marking : public testing::Test
{
protected:
    void SetUp() override
    {
        commands.clear();
        statuses.clear();
        system_errno = 0;
    }

    static texts log_of(void (*operation)())
    {
        const log_capture log;
        operation();
        return log.lines;
    }
};

const std::string destroy_trace = "TRACE wrt_iptables_destroy";

TEST_F(Marking, SetupRemovesTheChainBeforeItMakesIt)
{
    EXPECT_EQ(log_of(wrt_iptables_setup), texts{destroy_trace});
    EXPECT_EQ(commands, (texts{script + " -d", script + " -c"}));
}

TEST_F(Marking, DestroyRemovesTheChain)
{
    EXPECT_EQ(log_of(wrt_iptables_destroy), texts{destroy_trace});
    EXPECT_EQ(commands, texts{script + " -d"});
}

TEST_F(Marking, AScriptThatFailsIsNotTold)
{
    for (const int status : {256, 127 * 256, 9}) {
        statuses = {status};
        EXPECT_EQ(log_of(wrt_iptables_setup), texts{destroy_trace}) << status;
        EXPECT_EQ(log_of(wrt_iptables_destroy), texts{destroy_trace}) << status;
    }
    EXPECT_EQ(commands.size(), 9U);
}

TEST_F(Marking, AScriptThatCannotBeRunIsToldWithTheError)
{
    system_errno = ENOMEM;
    const std::string number = std::to_string(ENOMEM);
    const std::string destroy_error = "ERROR system() failed with errno " + number;
    const std::string setup_error = "ERROR system(" + script + " -c) failed with errno " + number;
    statuses = {-1};
    EXPECT_EQ(log_of(wrt_iptables_destroy), (texts{destroy_trace, destroy_error}));
    EXPECT_EQ(log_of(wrt_iptables_setup), (texts{destroy_trace, destroy_error, setup_error}));
    statuses = {-1, 0};
    EXPECT_EQ(log_of(wrt_iptables_setup), (texts{destroy_trace, destroy_error}));
    statuses = {0, -1};
    EXPECT_EQ(log_of(wrt_iptables_setup), (texts{destroy_trace, setup_error}));
}

TEST_F(Marking, AScriptWhoseEndSomeoneElseHasSeenIsNotTold)
{
    system_errno = ECHILD;
    statuses = {-1};
    EXPECT_EQ(log_of(wrt_iptables_destroy), texts{destroy_trace});
    EXPECT_EQ(log_of(wrt_iptables_setup), texts{destroy_trace});
}

TEST_F(Marking, TheCheckGivesTheStatusOfTheShellAsItIs)
{
    for (const int status : {0, 256, 127 * 256, 9, -1}) {
        statuses = {status};
        system_errno = ENOMEM;
        const call_outcome got = outcome_of(wrt_iptables_check);
        EXPECT_EQ(got.result, status);
        EXPECT_EQ(got.log, texts{}) << status;
    }
    EXPECT_EQ(commands, texts(5, check_command));
}

TEST_F(Marking, WithoutTheChainTheCheckIsNotZero)
{
    statuses = {1 * 256}; // what iptables says of a chain that it does not know
    EXPECT_NE(wrt_iptables_check(), 0);
}

bool is_there(const std::string &tool)
{
    return __real_system(("command -v " + tool + " >/dev/null").c_str()) == 0;
}

// An `iptables` that says when it has ended: some shells take the ampersand for the end of a command that runs in the
// background.
class late_iptables
{
public:
    late_iptables() { tools_.add("iptables", "echo end > '" + (tools_ / "end") + "'\n"); }

    bool has_run() const
    {
        for (int tries = 0; !fs::exists(tools_ / "end") && tries < 10000; tries++)
            (void)usleep(1000);
        return fs::exists(tools_ / "end");
    }

private:
    support::tool_dir tools_;
};

TEST_F(Marking, TheCheckMakesAFileNamedOneUnderEveryShellWhichIsKept)
{
    size_t shells = 0;
    for (const std::string shell : {"sh", "bash", "dash", "busybox ash"}) {
        if (!is_there(shell.substr(0, shell.find(' '))))
            continue;
        shells++;
        const temp_dir dir;
        const late_iptables iptables;
        (void)__real_system(("cd " + dir.path() + " && " + shell + " -c '" + check_command + "'").c_str());
        EXPECT_TRUE(fs::exists(dir / "1")) << shell;
        EXPECT_TRUE(iptables.has_run()) << shell;
    }
    EXPECT_GE(shells, 1U);
}

TEST_F(Marking, TheCheckRunsInTheWorkingDirectory)
{
    const temp_dir dir;
    const late_iptables iptables;
    in_fresh_process([&] {
        ASSERT_EQ(chdir(dir.path().c_str()), 0);
        shell_runs = true;
        EXPECT_EQ(wrt_iptables_check(), 0);
        EXPECT_TRUE(fs::exists("1"));
    });
    EXPECT_TRUE(iptables.has_run());
}

// ---- Time ----

TEST(Timestamp, IsTheRealTimeInMicroseconds)
{
    const struct {
        int64_t seconds;
        long nanoseconds;
        uint64_t want;
    } rows[] = {
        {0, 0, 0},
        {0, 999, 0},
        {0, 1000, 1},
        {1, 999999999, 1999999},
        {1790000000, 123456789, 1790000000123456},
        {4294967296, 0, 4294967296000000},
    };
    for (const auto &row : rows) {
        if (row.seconds > std::numeric_limits<time_t>::max())
            continue; // a clock of 32 bits has no such time
        now = {static_cast<time_t>(row.seconds), row.nanoseconds};
        asked_clock = CLOCK_MONOTONIC;
        EXPECT_EQ(wrt_get_timestamp_us(), row.want);
        EXPECT_EQ(asked_clock, CLOCK_REALTIME);
    }
}

TEST(Timestamp, AClockThatFailsIsToldAndZero)
{
    now = {7, 7};
    clock_fails = true;
    const log_capture log;
    EXPECT_EQ(wrt_get_timestamp_us(), 0U);
    clock_fails = false;
    EXPECT_EQ(log.lines, texts{"ERROR wrt_get_timestamp_us: error reading time"});
}

} // namespace
