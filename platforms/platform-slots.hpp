// The one list of the operations table's slots, from which the stub platform, the registry of the harness and
// its report follow. What differs from slot to slot is meant to be seen here: some have no stub, one stub and one
// registered name do not follow the slot's name, two slots are not registered, and the registry has an order
// of its own.
#pragma once

#include "vantu-platform-stubs.h"

#include <iterator>

struct platform_slot {
    const char *registered_as;                  // name in the registry; null when it is not registered
    int place;                                  // its place there, from 0
    void (*put_stub)(vantu_platform_ops &);     // null when there is no stub
    void *(*value)(const vantu_platform_ops &); // what the slot holds
};

template <auto Slot, auto Stub>
void put_stub(vantu_platform_ops &ops)
{
    ops.*Slot = Stub;
}

template <auto Slot>
void *slot_value(const vantu_platform_ops &ops)
{
    return reinterpret_cast<void *>(ops.*Slot);
}

constexpr int not_registered = -1;

// clang-format off
#define SLOT(place, slot, stub) \
    {#slot, place, put_stub<&vantu_platform_ops::slot, stub>, slot_value<&vantu_platform_ops::slot>}
#define SLOT_AS(place, name, slot, stub) \
    {name, place, put_stub<&vantu_platform_ops::slot, stub>, slot_value<&vantu_platform_ops::slot>}
#define SLOT_WITHOUT_STUB(place, slot) \
    {#slot, place, nullptr, slot_value<&vantu_platform_ops::slot>}

// In the order of the table.
constexpr platform_slot platform_slots[] = {
    SLOT             ( 0, system_setup,              stub_system_setup),
    SLOT             ( 1, system_destroy,            stub_system_destroy),
    SLOT             ( 2, get_routerid,              stub_get_routerid),
    SLOT             (35, get_router_info,           stub_get_router_info),
    SLOT             ( 3, get_radios,                stub_get_radios),
    SLOT_AS          ( 4, "get_get_dhcpleases", get_dhcpleases, stub_nss_dump_leases),
    SLOT             ( 5, get_associated_devices,    stub_get_associated_devices),
    SLOT             ( 6, get_wan_interface_name,    stub_get_wan_interface_name),
    SLOT             ( 7, is_device_active,          stub_is_device_active),
    SLOT             ( 8, init_data_struct_list,     stub_init_data_struct_list),
    SLOT             ( 9, get_data_struct_size,      stub_get_data_struct_size),
    SLOT             (10, get_data_headers,          stub_get_data_headers),
    SLOT             (11, fill_data_struct,          stub_fill_data_struct),
    SLOT             (12, data_struct_to_csv_string, stub_data_struct_to_csv_string),
    SLOT             (13, csv_string_to_data_struct, stub_csv_string_to_data_struct),
    SLOT             (14, calculate_delta,           stub_calculate_delta),
    SLOT             (15, calculate_issues,          stub_calculate_issues),
    SLOT_AS          (not_registered, nullptr, convert_to_standard_format, stub_convert_to_standard_format),
    SLOT             (37, sample_radio_stats,        stub_sample_radio_stats),
    SLOT             (38, sample_sta_stats,          stub_sample_sta_stats),
    SLOT_AS          (not_registered, nullptr, sample_wan_stats, stub_get_wan_stats),
    SLOT             (16, ipset_add_member,          stub_ipset_cmd_add_member),
    SLOT             (17, ipset_get_members,         stub_ipset_cmd_get_members),
    SLOT             (18, iptables_setup,            stub_iptables_setup),
    SLOT             (19, iptables_check,            stub_iptables_check),
    SLOT             (20, iptables_destroy,          stub_iptables_destroy),
    SLOT_WITHOUT_STUB(21, qos_setup),
    SLOT             (22, flush_flows,               stub_flows_flush),
    SLOT_WITHOUT_STUB(23, get_sw_defers_pkts),
    SLOT_WITHOUT_STUB(24, set_sw_defers_pkts),
    SLOT_WITHOUT_STUB(25, logger_file_callback),
    SLOT_WITHOUT_STUB(26, logger_syslog_callback),
    SLOT_WITHOUT_STUB(27, get_host_ip),
    SLOT_WITHOUT_STUB(28, set_websocket_ip_address),
    SLOT             (29, get_conntrack,             stub_get_conntrack),
    SLOT_WITHOUT_STUB(30, get_qos_config),
    SLOT_WITHOUT_STUB(31, get_ap_neighbors),
    SLOT_WITHOUT_STUB(32, get_routermac),
    SLOT_WITHOUT_STUB(33, get_routerbasemac),
    SLOT_WITHOUT_STUB(34, get_systeminfo),
    SLOT_WITHOUT_STUB(36, get_networks),
};
// clang-format on

#undef SLOT
#undef SLOT_AS
#undef SLOT_WITHOUT_STUB

static_assert(std::size(platform_slots) == 41);
static_assert(sizeof(vantu_platform_ops) == std::size(platform_slots) * sizeof(void (*)(void)));
