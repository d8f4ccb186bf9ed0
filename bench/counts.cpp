// counts [NAME SIZE]: fixed work for tools/callgrind-counts, which counts the instructions of `counted` and what it
// calls. Without arguments, prints what it was made with, and then the names, each with the size at which it is counted
// and whether that is the length of the input or a number of repetitions.

#include "brcm-generic/brcm-sample-table.h"
#include "brcm-generic/vantu-wifi-brcm.h"

#include "csv_file.hpp"
#include "list_owner.hpp"
#include "vantu-libs2/conntracktool.h"
#include "vantu-libs2/issues.h"
#include "vantu-libs2/ringbuffer.h"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/vantu-uci.h"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/log.h"
#include "vantu-ll-api/vantu_ll_wlctl.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <gnu/libc-version.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

std::string tool_output; // of whatever tool is started
std::string store_folder;

FILE *stream_of(std::string &text)
{
    return fmemopen(text.data(), text.size(), "r");
}

} // namespace

extern "C" {

// The linker puts these in front of the C library's: no tool is started.
FILE *__wrap_popen(const char *, const char *)
{
    return stream_of(tool_output);
}

int __wrap_pclose(FILE *stream)
{
    return fclose(stream);
}

// The store is read from a folder of this program's.
int __real_uci_set_confdir(uci_context *context, const char *folder);

int __wrap_uci_set_confdir(uci_context *context, const char *)
{
    return __real_uci_set_confdir(context, store_folder.c_str());
}

// What is counted: all instructions between its first and its last.
__attribute__((noinline)) void counted(const std::function<void()> &work)
{
    work();
    __asm__ volatile("" ::: "memory");
}
}

namespace
{

void require(bool holds, const char *what)
{
    if (holds)
        return;
    (void)fprintf(stderr, "counts: %s is not what was meant to be counted\n", what);
    exit(1);
}

std::string fixture(const std::string &name)
{
    std::ifstream file(VANTU_FIXTURES "/" + name);
    std::ostringstream text;
    text << file.rdbuf();
    require(!text.str().empty(), name.c_str());
    return text.str();
}

// ---- Reports of the tools ----

void parse_sta_info(unsigned int times)
{
    std::string text = fixture("wlctl_sta_info/wifi6_5ghz.txt");
    vantu_ll_wlctl_sta_info info = {};
    counted([&] {
        for (unsigned int i = 0; i < times; i++) {
            FILE *stream = stream_of(text);
            require(internal_wlctl_get_sta_info_file(stream, &info) == 0, "sta_info");
            (void)fclose(stream);
        }
    });
}

void parse_assoclist(unsigned int stations)
{
    std::string text;
    char line[64];
    for (unsigned int i = 0; i < stations; i++) {
        (void)snprintf(line, sizeof(line), "assoclist 02:00:00:00:%02X:%02X\n", i >> 8, i & 0xffU);
        text += line;
    }
    sclist_t list = {};
    vantu_ll_wlctl_assoclist_sclist_init(&list);
    FILE *stream = stream_of(text);
    counted([&] { (void)internal_wlctl_assoclist(stream, "wl0", &list); });
    require(sclist_size(&list) == stations, "assoclist");
    (void)fclose(stream);
    sclist_destroy(&list);
}

void parse_chanim(unsigned int times)
{
    std::string text = fixture("wlctl_chanim_stats/version_4.txt");
    vantu_ll_wlctl_chanim_info info = {};
    counted([&] {
        for (unsigned int i = 0; i < times; i++) {
            FILE *stream = stream_of(text);
            require(internal_wlctl_get_chanim_stats(stream, &info) == 0, "chanim_stats");
            (void)fclose(stream);
        }
    });
}

void parse_wme(unsigned int times)
{
    tool_output = fixture("wlctl_wme_counters/four_categories.txt");
    vantu_ll_wlctl_wme_counters counters = {};
    counted([&] {
        for (unsigned int i = 0; i < times; i++)
            require(vantu_ll_wlctl_get_wme_counters("wl0", &counters) == 0, "wme_counters");
    });
}

void parse_conntrack(unsigned int flows)
{
    std::string text;
    char line[320];
    for (unsigned int i = 0; i < flows; i++) {
        (void)snprintf(line, sizeof(line),
                       "ipv4     2 tcp      6 3618 ESTABLISHED src=192.168.1.20 dst=203.0.113.88 sport=%u dport=443 "
                       "packets=9 bytes=1407 src=203.0.113.88 dst=198.51.100.61 sport=443 dport=%u packets=6 bytes=825 "
                       "[ASSURED] mark=0 zone=0 use=2\n",
                       1024 + i, 1024 + i);
        text += line;
    }
    sclist_t list;
    const vantu::list_owner owner(list, vantu_ll_wrt_conntrack_list_init);
    FILE *stream = stream_of(text);
    counted([&] { (void)internal_vantu_ll_wrt_get_conntrack(stream, &list); });
    require(sclist_size(&list) == flows, "conntrack");
    (void)fclose(stream);
}

// ---- Rows of CSV ----

vantu_brcm_csv_data sample()
{
    vantu_brcm_csv_data row = {};
    auto *bytes = reinterpret_cast<unsigned char *>(&row);
    for (size_t i = offsetof(vantu_brcm_csv_data, chanim); i < sizeof(row); i++)
        bytes[i] = static_cast<unsigned char>(i * 37U);
    return row;
}

void render_rows(unsigned int rows)
{
    brcm_csvtable_init();
    vantu_brcm_csv_data row = sample();
    char line[4096];
    counted([&] {
        for (unsigned int i = 0; i < rows; i++)
            (void)brcm_data_struct_to_csv_string("", "", line, &row);
    });
    brcm_csvtable_destroy();
}

void parse_rows(unsigned int rows)
{
    brcm_csvtable_init();
    vantu_brcm_csv_data row = sample();
    vantu_brcm_csv_data back = {};
    char line[4096];
    (void)brcm_data_struct_to_csv_string("", "", line, &row);
    const auto fields = vantu::new_csv_fields();
    counted([&] {
        for (unsigned int i = 0; i < rows; i++) {
            fields->split(line, BRCM_CSV_COLUMNS);
            (void)brcm_csv_string_to_data_struct(fields->at, &back);
        }
    });
    require(back.sta_info.tx_bytes == row.sta_info.tx_bytes, "row");
    brcm_csvtable_destroy();
}

// ---- Lists ----

unsigned int joined;

int many_leases(sclist_t *leases)
{
    for (unsigned int i = 0; i < joined; i++) {
        vantu_ll_dhcp lease = {};
        (void)snprintf(lease.mac_address, sizeof(lease.mac_address), "02:00:00:00:%02x:%02x", i >> 8 & 0xffU,
                       i & 0xffU);
        (void)snprintf(lease.ip_address, sizeof(lease.ip_address), "10.0.%u.%u", i >> 8 & 0xffU, i & 0xffU);
        (void)sclist_append(leases, &lease);
    }
    return 0;
}

void join(unsigned int leases)
{
    vantu_platform_ops ops;
    (void)vantu_platform_ops_init(&ops, "");
    global_ops.get_dhcpleases = many_leases;
    joined = leases;
    for (unsigned int i = leases; i-- > 0;)
        tool_output += "10.0." + std::to_string(i >> 8 & 0xffU) + "." + std::to_string(i & 0xffU) +
                       " dev br-lan lladdr 02:00:00:00:00:01 REACHABLE\n";
    sclist_t radios;
    const vantu::list_owner radios_owner(radios, vantu_common_radio_list_init);
    sclist_t devices;
    const vantu::list_owner owner(devices, vantu_common_device_list_init);
    counted([&] { (void)brcm_get_devices_ipneigh(&radios, &devices); });
    require(sclist_size(&devices) == leases, "the join");
}

vantu_ll_conntrack_flow connection(unsigned int number, uint64_t bytes)
{
    vantu_ll_conntrack_flow flow = {};
    (void)string_to_vantu_ip(AF_INET, ("10.0.0." + std::to_string(number >> 8)).c_str(), &flow.src);
    (void)string_to_vantu_ip(AF_INET, "203.0.113.5", &flow.dst);
    flow.proto = 6;
    flow.sport = static_cast<uint16_t>(1024 + (number & 255U));
    flow.dport = 443;
    flow.tx_bytes = bytes;
    return flow;
}

void byte_deltas(unsigned int flows)
{
    sclist_t earlier;
    const vantu::list_owner earlier_owner(earlier, vantu_ll_wrt_conntrack_list_init);
    sclist_t later;
    const vantu::list_owner later_owner(later, vantu_ll_wrt_conntrack_list_init);
    for (unsigned int i = 0; i < flows; i++) {
        const vantu_ll_conntrack_flow before = connection(i, 1000);
        const vantu_ll_conntrack_flow after = connection(flows - 1 - i, 3000);
        (void)sclist_append(&earlier, &before);
        (void)sclist_append(&later, &after);
    }
    counted([&] { (void)conntrack_get_byte_deltas(&earlier, &later); });
}

void fill_leases(sclist_t &list, unsigned int count)
{
    joined = count;
    (void)many_leases(&list);
}

void list_append(unsigned int records)
{
    sclist_t list;
    const vantu::list_owner owner(list, vantu_ll_wrt_dhcp_list_init);
    const vantu_ll_dhcp lease = {};
    counted([&] {
        for (unsigned int i = 0; i < records; i++)
            (void)sclist_append(&list, &lease);
    });
    require(sclist_size(&list) == records, "the list");
}

// The last record, which is where walking a list takes longest.
void list_seek(unsigned int records)
{
    sclist_t list;
    const vantu::list_owner owner(list, vantu_ll_wrt_dhcp_list_init);
    fill_leases(list, records);
    const auto *last = static_cast<const vantu_ll_dhcp *>(sclist_get_at(&list, records - 1));
    const std::string key = last->mac_address;
    counted([&] { require(sclist_seek(&list, key.c_str()) == last, "the record found"); });
}

void ring(unsigned int writes)
{
    vantu_ringbuffer ring = {};
    vantu_ringbuffer_init(&ring, 500, sizeof(vantu_radio_stats));
    const vantu_radio_stats stats = {};
    counted([&] {
        for (unsigned int i = 0; i < writes; i++)
            (void)vantu_ringbuffer_write(&ring, &stats);
        vantu_ringbuffer_itterator_start(&ring);
        while (vantu_ringbuffer_itterator_hasnext(&ring) != 0)
            (void)vantu_ringbuffer_itterator_next(&ring);
    });
    vantu_ringbuffer_free(&ring);
}

// ---- Reports and settings ----

void issue_report(unsigned int issues)
{
    sclist_t list;
    const vantu::list_owner owner(list, vantu_issuelist_init);
    for (unsigned int i = 0; i < issues; i++) {
        const vantu_issue issue = {i % 2 == 0 ? NEIGHBOURS : NOISE, 1.0 + i % 10};
        (void)sclist_append(&list, &issue);
    }
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    (void)dup2(null, STDOUT_FILENO);
    counted([&] {
        (void)issues_to_json(&list);
        (void)fflush(stdout);
    });
}

void store_read(unsigned int sections)
{
    char folder[] = "/tmp/counts-XXXXXX";
    require(mkdtemp(folder) != nullptr, "the folder of the store");
    store_folder = folder;
    const std::string file = store_folder + "/sample";
    {
        std::ofstream text(file);
        for (unsigned int i = 0; i < sections; i++)
            text << "config radio 'r" << i << "'\n\toption channel '" << i << "'\n\tlist rate '6'\n\n";
    }
    const std::string key = "sample.r" + std::to_string(sections - 1) + ".channel";
    char value[16] = "";
    counted([&] {
        (void)vantu_uci_init();
        (void)get_param_str(key.c_str(), value, sizeof(value));
        vantu_routercfg_close();
    });
    (void)unlink(file.c_str());
    (void)rmdir(folder);
    require(std::to_string(sections - 1) == value, "the value");
}

struct work {
    const char *name;
    void (*run)(unsigned int size);
    unsigned int kept; // the size whose count is kept
    bool grows;        // whether the size is that of the input, and not a number of repetitions
};

constexpr work works[] = {
    {"parse_sta_info", parse_sta_info, 20, false},
    {"parse_assoclist", parse_assoclist, 64, true},
    {"parse_chanim", parse_chanim, 50, false},
    {"parse_wme", parse_wme, 20, false},
    {"parse_conntrack", parse_conntrack, 256, true},
    {"render_rows", render_rows, 64, true},
    {"parse_rows", parse_rows, 64, true},
    {"join", join, 512, true},
    {"byte_deltas", byte_deltas, 1024, true},
    {"list_append", list_append, 1024, true},
    {"list_seek", list_seek, 1024, true},
    {"ring", ring, 1024, true},
    {"issue_report", issue_report, 16, true},
    {"store_read", store_read, 64, true},
};

// What the counts depend on besides the code.
#ifdef __clang__
constexpr char compiler[] = __VERSION__;
#else
constexpr char compiler[] = "g++ " __VERSION__;
#endif
#ifdef __x86_64__
constexpr char machine[] = "amd64";
#else
constexpr char machine[] = "another machine";
#endif
#ifdef __OPTIMIZE_SIZE__
constexpr char optimised[] = "-Os";
#else
constexpr char optimised[] = "not -Os";
#endif

} // namespace

int main(int argc, char **argv)
{
    log_set_quiet(true);
    if (argc == 1)
        (void)printf("%s, GNU C library %s, %s, %s\n", compiler, gnu_get_libc_version(), machine, optimised);
    for (const work &one : works) {
        if (argc == 1)
            (void)printf("%s %u %s\n", one.name, one.kept, one.grows ? "grows" : "repeats");
        if (argc == 3 && strcmp(argv[1], one.name) == 0) {
            one.run(static_cast<unsigned int>(strtoul(argv[2], nullptr, 10)));
            return 0;
        }
    }
    if (argc == 1)
        return 0;
    (void)fprintf(stderr, "counts: unknown work\n");
    return 2;
}
