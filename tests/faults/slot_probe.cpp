// Calls one operation of the table the way a daemon does, and prints what came of it:
//
//     slot-probe SLOT [RADIO MAC]
//
// The answer stands on standard output and has nothing in it that grows with time. A slot that the platform does not
// provide is "SLOT: not provided". The exit status is 0, or 2 for a wrong call. What is on the way to the call, rows of
// a series for one, is made with the operations of the platform, too.

#include "list_owner.hpp"
#include "vantu-libs2/config-types.h"
#include "vantu-libs2/conntracktool.h"
#include "vantu-libs2/csv.h"
#include "vantu-libs2/ipsethelpers.h"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/vantu-fpingdq.h"
#include "vantu-libs2/vantu-wifi-common.h"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/log.h"
#include "vantu-ll-api/vantu_ll_wrt.h"
#include "vantu-platforms/vantu-platform-ops.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>

namespace
{

constexpr size_t line_size = 4096;
constexpr size_t row_size = 16384;
constexpr int series_length = 30;
constexpr char member[] = "203.0.113.5,tcp:443,192.168.1.20";

const char *radio = "wl0";
const char *mac = "02:A1:5E:10:00:01";
vantu_platform_ops ops;

alignas(max_align_t) char row[row_size];
alignas(max_align_t) char later_row[row_size];
char line[line_size];

// ---- What is printed ----

void say_result(const char *slot, int result)
{
    (void)printf("%s: %d\n", slot, result);
}

void say_text(const char *slot, const char *text)
{
    (void)printf("%s: %s\n", slot, text == nullptr ? "(null)" : text);
}

// The elements are counted one by one: a list that lies about its size is to be found out.
void say_size(const char *what, sclist_t &list)
{
    unsigned int count = 0;
    SCLIST_FOREACH(void, element, &list) {
        count += element != nullptr ? 1 : 0;
    }
    SCLIST_FOREACH_END(&list);
    (void)printf("%s: %u\n", what, count);
    if (count != sclist_size(&list))
        (void)printf("%s: a list of %u has %u elements\n", what, sclist_size(&list), count);
}

// Rows and headers are as wide as the columns; how wide is all that does not grow.
void say_fields(const char *what, const char *text)
{
    int commas = 0;
    for (const char *at = text; *at != '\0'; at++)
        commas += *at == ',' ? 1 : 0;
    (void)printf("%s: %d commas\n", what, commas);
}

// ---- The calls ----

template <int (*vantu_platform_ops::*Slot)(void)>
void call_plain(const char *slot)
{
    say_result(slot, (ops.*Slot)());
}

template <void (*vantu_platform_ops::*Slot)(void)>
void call_silent(const char *slot)
{
    (ops.*Slot)();
    (void)printf("%s: done\n", slot);
}

template <char *(*vantu_platform_ops::*Slot)(void)>
void call_text(const char *slot)
{
    say_text(slot, (ops.*Slot)());
}

template <int (*vantu_platform_ops::*Slot)(sclist_t *), int (*Init)(sclist_t *)>
void call_list(const char *slot)
{
    sclist_t list;
    const vantu::list_owner owner(list, Init);
    say_result(slot, (ops.*Slot)(&list));
    say_size("elements", list);
}

void call_setup(const char *slot)
{
    call_plain<&vantu_platform_ops::system_setup>(slot);
}

void call_router_info(const char *slot)
{
    vantu_router_info info = {};
    say_result(slot, ops.get_router_info(&info));
    for (const char *text : {info.routerid, info.serial, info.basemac, info.hardware_manufacturer, info.hardware_model,
                             info.kernel_version, info.firmware_version})
        (void)printf("  %s\n", text);
}

void call_devices(const char *slot)
{
    sclist_t devices;
    const vantu::list_owner owner(devices, vantu_common_device_list_init);
    say_result(slot, ops.get_associated_devices(&devices));
    SCLIST_FOREACH(vantu_common_device, device, &devices) {
        (void)printf("  %s %s %s %s %d\n", device->mac, device->ipv4, device->hostname, device->interface,
                     device->is_wifi);
    }
    SCLIST_FOREACH_END(&devices);
    say_size("elements", devices);
}

void call_leases(const char *slot)
{
    sclist_t leases;
    const vantu::list_owner owner(leases, vantu_ll_wrt_dhcp_list_init);
    say_result(slot, ops.get_dhcpleases(&leases));
    SCLIST_FOREACH(vantu_ll_dhcp, lease, &leases) {
        (void)printf("  %s %s %s\n", lease->mac_address, lease->ip_address, lease->hostname);
    }
    SCLIST_FOREACH_END(&leases);
    say_size("elements", leases);
}

void call_active(const char *slot)
{
    say_result(slot, ops.is_device_active(radio, mac));
}

void call_headers(const char *slot)
{
    say_result(slot, ops.get_data_headers(line));
    say_fields("header", line);
}

void call_fill(const char *slot)
{
    say_result(slot, ops.fill_data_struct(radio, mac, row));
}

void call_to_csv(const char *slot)
{
    (void)ops.fill_data_struct(radio, mac, row);
    say_result(slot, ops.data_struct_to_csv_string(radio, mac, line, row));
    say_fields("row", line);
}

void call_from_csv(const char *slot)
{
    static char fields[CSV_FIELD_SLOTS][CSV_FIELD_SIZE];
    char *at[CSV_FIELD_SLOTS];
    for (int i = 0; i < CSV_FIELD_SLOTS; i++)
        at[i] = fields[i];
    (void)ops.fill_data_struct(radio, mac, row);
    (void)ops.data_struct_to_csv_string(radio, mac, line, row);
    (void)vantu_csv_split_line(line, at, MAX_FIELDS);
    say_result(slot, ops.csv_string_to_data_struct(at, later_row));
}

void call_delta(const char *slot)
{
    (void)ops.fill_data_struct(radio, mac, row);
    (void)ops.fill_data_struct(radio, mac, later_row);
    say_result(slot, ops.calculate_delta(row, later_row));
}

// A series of the same row, as pings carry it.
void fill_series(sclist_t &series)
{
    (void)ops.fill_data_struct(radio, mac, row);
    for (int i = 0; i < series_length; i++) {
        vantu_fpingdq_ping ping = {};
        ping.csvdata = row;
        (void)sclist_append(&series, &ping);
    }
}

void call_issues(const char *slot)
{
    sclist_t series;
    const vantu::list_owner series_owner(series, vantu_fpingdq_init_table);
    fill_series(series);
    sclist_t issues;
    const vantu::list_owner issues_owner(issues, vantu_issuelist_init);
    vantu_issue_statistics statistics = {};
    say_result(slot, ops.calculate_issues(&series, &issues, &statistics, radio, mac));
    say_size("issues", issues);
}

int init_standard_list(sclist_t *list)
{
    (void)sclist_init(list);
    return sclist_attributes_copy(
        list, [](const void *) { return sizeof(vantu_fpingdq_stats); }, 1);
}

void call_standard(const char *slot)
{
    sclist_t series;
    const vantu::list_owner series_owner(series, vantu_fpingdq_init_table);
    fill_series(series);
    sclist_t standard;
    const vantu::list_owner standard_owner(standard, init_standard_list);
    say_result(slot, ops.convert_to_standard_format(&series, &standard, radio, mac));
    say_size("records", standard);
}

// Samples are taken with their debug files, which is the longer way.
void call_radio_sample(const char *slot)
{
    vantu_radio_stats stats = {};
    say_result(slot, ops.sample_radio_stats(radio, &stats, 1));
}

void call_station_sample(const char *slot)
{
    vantu_sta_stats stats = {};
    say_result(slot, ops.sample_sta_stats(radio, mac, &stats, 1));
}

void call_wan_sample(const char *slot)
{
    vantu_wan_stats stats = {};
    say_result(slot, ops.sample_wan_stats(ops.get_wan_interface_name(), &stats));
}

void call_add_member(const char *slot)
{
    say_result(slot, ops.ipset_add_member(member, "vantuvi", "A"));
    say_result(slot, ops.ipset_add_member(member, "vantuvi", "D"));
}

void call_members(const char *slot)
{
    sclist_t members;
    const vantu::list_owner owner(members, vantu_ipset_entry_list_init);
    say_result(slot, ops.ipset_get_members(&members, "vantuvi"));
    SCLIST_FOREACH(char, text, &members) {
        (void)printf("  %s\n", text);
    }
    SCLIST_FOREACH_END(&members);
    say_size("elements", members);
}

void call_get_defers(const char *slot)
{
    int count = -1;
    say_result(slot, ops.get_sw_defers_pkts(&count));
    say_result("count", count);
}

void call_set_defers(const char *slot)
{
    say_result(slot, ops.set_sw_defers_pkts(5));
}

// A sink is called by the log, and keeps its file from line to line.
template <void (*vantu_platform_ops::*Slot)(log_Event *)>
void call_sink(const char *slot)
{
    static char name[] = "slot-probe";
    (void)log_add_callback(ops.*Slot, name, LOG_C_TRACE);
    for (int i = 1; i <= 3; i++)
        log_info("line %d of the sink", i);
    (void)printf("%s: done\n", slot);
}

void call_websocket(const char *slot)
{
    ops.set_websocket_ip_address("192.168.1.2");
    (void)printf("%s: done\n", slot);
}

void call_conntrack(const char *slot)
{
    sclist_t ports;
    const vantu::list_owner ports_owner(ports, vantu_init_port_range_list);
    sclist_t flows;
    const vantu::list_owner flows_owner(flows, vantu_ll_wrt_conntrack_list_init);
    say_result(slot, ops.get_conntrack(&flows, &ports, 10));
    say_size("elements", flows);
}

void call_qos_config(const char *slot)
{
    static vantu_configuration configuration;
    say_result(slot, ops.get_qos_config(&configuration));
}

void call_neighbours(const char *slot)
{
    sclist_t neighbours;
    const vantu::list_owner owner(neighbours, vantu_common_ap_neighbor_list_init);
    say_result(slot, ops.get_ap_neighbors(2, &neighbours));
    say_size("elements", neighbours);
}

void call_system(const char *slot)
{
    vantu_systeminfo info = {};
    say_result(slot, ops.get_systeminfo(&info));
}

int init_rows(sclist_t *list)
{
    *list = {};
    return 0;
}

// ---- The slots ----

struct slot_call {
    const char *name;
    bool (*provided)();
    void (*call)(const char *slot);
};

#define SLOT(slot, call)                                \
    {                                                   \
#slot, [] { return ops.slot != nullptr; }, call \
    }

constexpr slot_call slots[] = {
    SLOT(system_setup, call_setup),
    SLOT(system_destroy, call_plain<&vantu_platform_ops::system_destroy>),
    SLOT(get_routerid, call_text<&vantu_platform_ops::get_routerid>),
    SLOT(get_router_info, call_router_info),
    SLOT(get_radios, (call_list<&vantu_platform_ops::get_radios, vantu_common_radio_list_init>)),
    SLOT(get_dhcpleases, call_leases),
    SLOT(get_associated_devices, call_devices),
    SLOT(get_wan_interface_name, call_text<&vantu_platform_ops::get_wan_interface_name>),
    SLOT(is_device_active, call_active),
    SLOT(init_data_struct_list, (call_list<&vantu_platform_ops::init_data_struct_list, init_rows>)),
    SLOT(get_data_struct_size, call_plain<&vantu_platform_ops::get_data_struct_size>),
    SLOT(get_data_headers, call_headers),
    SLOT(fill_data_struct, call_fill),
    SLOT(data_struct_to_csv_string, call_to_csv),
    SLOT(csv_string_to_data_struct, call_from_csv),
    SLOT(calculate_delta, call_delta),
    SLOT(calculate_issues, call_issues),
    SLOT(convert_to_standard_format, call_standard),
    SLOT(sample_radio_stats, call_radio_sample),
    SLOT(sample_sta_stats, call_station_sample),
    SLOT(sample_wan_stats, call_wan_sample),
    SLOT(ipset_add_member, call_add_member),
    SLOT(ipset_get_members, call_members),
    SLOT(iptables_setup, call_silent<&vantu_platform_ops::iptables_setup>),
    SLOT(iptables_check, call_plain<&vantu_platform_ops::iptables_check>),
    SLOT(iptables_destroy, call_silent<&vantu_platform_ops::iptables_destroy>),
    SLOT(qos_setup, call_silent<&vantu_platform_ops::qos_setup>),
    SLOT(flush_flows, call_silent<&vantu_platform_ops::flush_flows>),
    SLOT(get_sw_defers_pkts, call_get_defers),
    SLOT(set_sw_defers_pkts, call_set_defers),
    SLOT(logger_file_callback, call_sink<&vantu_platform_ops::logger_file_callback>),
    SLOT(logger_syslog_callback, call_sink<&vantu_platform_ops::logger_syslog_callback>),
    SLOT(get_host_ip, call_text<&vantu_platform_ops::get_host_ip>),
    SLOT(set_websocket_ip_address, call_websocket),
    SLOT(get_conntrack, call_conntrack),
    SLOT(get_qos_config, call_qos_config),
    SLOT(get_ap_neighbors, call_neighbours),
    SLOT(get_routermac, call_text<&vantu_platform_ops::get_routermac>),
    SLOT(get_routerbasemac, call_text<&vantu_platform_ops::get_routerbasemac>),
    SLOT(get_systeminfo, call_system),
    SLOT(get_networks, (call_list<&vantu_platform_ops::get_networks, vantu_network_list_init>)),
};

static_assert(sizeof(slots) / sizeof(slots[0]) == sizeof(vantu_platform_ops) / sizeof(void (*)(void)));

int call(const slot_call &slot)
{
    (void)vantu_platform_ops_init(&ops, "");
    if (ops.get_data_struct_size() > static_cast<int>(row_size))
        return 2;
    if (slot.provided())
        slot.call(slot.name);
    else
        (void)printf("%s: not provided\n", slot.name);
    (void)ops.system_destroy();
    (void)vantu_platform_ops_close(&ops);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 2 && strcmp(argv[1], "--list") == 0) {
        for (const slot_call &slot : slots)
            (void)printf("%s\n", slot.name);
        return 0;
    }
    if (argc == 4) {
        radio = argv[2];
        mac = argv[3];
    }
    for (const slot_call &slot : slots) {
        if (argc > 1 && strcmp(argv[1], slot.name) == 0)
            return call(slot);
    }
    (void)fprintf(stderr, "usage: slot-probe SLOT [RADIO MAC] | --list\n");
    return 2;
}
