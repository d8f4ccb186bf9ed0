// The tests that read the router's inventory through the operations table and print it. Implausible values are shown
// in red; where a test says so they make its result -1, but they never stop it.

#include "harness.h"
#include "list_owner.hpp"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/vantu-wifi-common.h"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/log.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

#include <initializer_list>

// The assertions print their source texts, which clang-format would change.
// clang-format off

namespace
{

unsigned long long llu(uint64_t number)
{
    return number;
}

long long lld(uint64_t number)
{
    return static_cast<long long>(number);
}

// A text that the platform may have left out.
const char *or_empty(const char *text)
{
    return text == nullptr ? "" : text;
}

// Prints a radio; 0 when all its figures are plausible, else -1.
int print_radio(const vantu_common_radio &radio)
{
    int result = 0;
    log_debug(" -interface: %s", radio.interface);
    if (radio.interface[0] == '\0') {
        log_debug("    error empty interface!");
        result = -1;
    }
    log_debug("  noise: %d", radio.noise);
    if (radio.noise >= 0) {
        log_debug("\033[31m   error invalid noise: %d!\033[0m", radio.noise);
        result = -1;
    }
    log_debug("  channel: %d", radio.channel);
    log_debug("  currentchannel: %d", radio.currentchannel);
    if (radio.currentchannel < 1) {
        // Shows the configured channel: known so to those who read these lines.
        log_debug("\033[31m   error invalid currentchannel: %d!\033[0m", radio.channel);
        result = -1;
    }
    log_debug("  tx_bytes: %llu", llu(radio.tx_bytes));
    if (radio.tx_bytes == 0) {
        log_debug("\033[31m   error invalid tx_bytes: %llu!\033[0m", llu(radio.tx_bytes));
        result = -1;
    }
    log_debug("  rx_bytes: %llu", llu(radio.rx_bytes));
    if (radio.rx_bytes == 0) {
        log_debug("\033[31m   error invalid rx_bytes: %llu!\033[0m", llu(radio.rx_bytes));
        result = -1;
    }
    log_debug("  bandwidth: %d", radio.bandwidth);
    if (radio.bandwidth < 1) {
        log_debug("\033[31m   error invalid bandwidth: %d!\033[0m", radio.bandwidth);
        result = -1;
    }
    return result;
}

void print_device_identity(const vantu_common_device &device)
{
    log_debug(" - mac: %s", device.mac);
    if (device.mac[0] == '\0')
        log_debug("\033[31m   error empty interface!\033[0m");
    log_debug("    ip:         %s", device.ipv4);
    if (device.ipv4[0] == '\0')
        log_debug("\033[31m   error missing ipv4!\033[0m");
    log_debug("    hostname:   %s", device.hostname);
    if (device.hostname[0] == '\0')
        log_debug("\033[31m   error missing hostname!\033[0m");
    log_debug("    interface:  %s", device.interface);
    if (device.interface[0] == '\0')
        log_debug("\033[31m   error empty interface!");
    log_debug("    is_wifi:    %d", device.is_wifi);
}

void print_device_figures(const vantu_common_device &device)
{
    const bool wifi = device.is_wifi == 1;
    if (wifi && device.noise >= 0)
        log_debug("    noise:      %d \033[31m(invalid)\033[0m", device.noise);
    else
        log_debug("    noise:      %d", device.noise);
    if (wifi && device.rssi >= 0)
        log_debug("    rssi:       %d \033[31m(invalid)\033[0m", device.rssi);
    else
        log_debug("    rssi:       %d", device.rssi);
    log_debug("    tx_bytes:   %llu", llu(device.tx_bytes));
    if (device.tx_bytes == 0)
        log_debug("\033[31m   error invalid tx_bytes: %llu!\033[0m", llu(device.tx_bytes));
    log_debug("    rx_bytes:   %llu", llu(device.rx_bytes));
    if (device.rx_bytes == 0)
        log_debug("\033[31m   error invalid rx_bytes: %llu!\033[0m", llu(device.rx_bytes));
    log_debug("    tx_packets: %lld", lld(device.tx_packets));
    log_debug("    rx_packets: %lld", lld(device.rx_packets));
    log_debug("    tx_rate:    %lld", lld(device.tx_rate));
    log_debug("    rx_rate:    %lld", lld(device.rx_rate));
}

void _print_ap_neighbor(const vantu_common_ap_neighbor &neighbor)
{
    log_debug("%s, %s, chan=%s, chanbw=%s, rssi=%s, ", neighbor.SSIDName, neighbor.BSSID, neighbor.Channel,
              neighbor.ChannelWidth, neighbor.RSSI);
}

void print_first_neighbors(sclist_t *neighbors)
{
    constexpr unsigned int shown = 3;
    for (unsigned int i = 0; i < shown && i < sclist_size(neighbors); i++)
        _print_ap_neighbor(*static_cast<const vantu_common_ap_neighbor *>(sclist_get_at(neighbors, i)));
}

} // namespace

void _get_radios_the_kivsampler_way(vantu_platform_ops *ops, sclist_t *radios)
{
    (void)vantu_common_radio_list_init(radios);
    sclist_t removed;
    const vantu::list_owner owner(removed, vantu_common_radio_list_init);
    (void)vantu_common_radio_list_update(radios, &removed, nullptr, ops);
}

int test_system_setup(vantu_platform_ops *ops)
{
    log_trace("Testing system_setup");
    ASSERT_NUM(_check_funcptr("system_setup", ops->system_setup), 0);
    return 0;
}

int test_system_destroy(vantu_platform_ops *ops)
{
    log_trace("Testing system_destroy");
    ASSERT_NUM(_check_funcptr("system_destroy", ops->system_destroy), 0);
    return 0;
}

static int print_radios(vantu_platform_ops *ops)
{
    sclist_t list;
    sclist_t *radios = &list;
    const vantu::list_owner owner(list, vantu_common_radio_list_init);
    ASSERT_NUM(ops->get_radios(radios), 0);
    const unsigned int size = sclist_size(radios);
    log_debug("  Found %d radios", static_cast<int>(size));
    ASSERT(size!=0);

    int result = 0;
    SCLIST_FOREACH(vantu_common_radio, radio, radios)
    {
        if (print_radio(*radio) != 0)
            result = -1;
    }
    SCLIST_FOREACH_END(radios);
    log_debug("Done get_radios");
    return result;
}

int test_get_radios(vantu_platform_ops *ops)
{
    log_trace("Testing get_radios");
    ASSERT_NUM(_check_funcptr("get_radios", ops->get_radios), 0);
    const int result = print_radios(ops);
    if (result == 1)
        return result;

    // The path by which a sampling daemon keeps its radios; nothing of it is printed here.
    sclist_t radios;
    _get_radios_the_kivsampler_way(ops, &radios);
    (void)vantu_common_radio_list_free(&radios);
    return result;
}

int test_get_struct_size(vantu_platform_ops *ops)
{
    log_trace("Testing get_data_struct_size");
    ASSERT_NUM(_check_funcptr("get_data_struct_size", ops->get_data_struct_size), 0);
    const int size = ops->get_data_struct_size();
    log_debug("  got size: %d", size);
    if (size < 1)
        log_debug("\033[31m  Error get_data_struct_size <= 0!\033[0m");
    return 0;
}

int test_get_dhcpleases(vantu_platform_ops *ops)
{
    log_trace("Testing get_dhcpleases");
    ASSERT_NUM(_check_funcptr("get_dhcpleases", ops->get_dhcpleases), 0);

    sclist_t dhcps;
    const vantu::list_owner owner(dhcps, vantu_ll_wrt_dhcp_list_init);
    ASSERT_NUM(ops->get_dhcpleases(&dhcps), 0);
    SCLIST_FOREACH(vantu_ll_dhcp, lease, &dhcps)
    {
        log_debug("\t\t%s\t%s\t%s\t%u\n", lease->mac_address, lease->hostname, lease->ip_address, lease->expires);
    }
    SCLIST_FOREACH_END(&dhcps);
    ASSERT(sclist_size(&dhcps)>0);
    return 0;
}

int test_get_associated_devices(vantu_platform_ops *ops, sclist_t *devices)
{
    log_trace("Testing get_associated_devices");
    ASSERT_NUM(_check_funcptr("get_associated_devices", ops->get_associated_devices), 0);
    const int result = ops->get_associated_devices(devices);
    log_debug("  Found %d devices", static_cast<int>(sclist_size(devices)));
    SCLIST_FOREACH(vantu_common_device, device, devices)
    {
        print_device_identity(*device);
        print_device_figures(*device);
    }
    SCLIST_FOREACH_END(devices);
    log_debug("Done get_associated_devices");
    return sclist_size(devices) == 0 ? -1 : result;
}

int test_get_routerid(vantu_platform_ops *ops)
{
    log_trace("Testing get_routerid");
    ASSERT_NUM(_check_funcptr("get_routerid", ops->get_routerid), 0);
    const char *name = or_empty(ops->get_routerid());
    log_debug("  Router ID: %s", name);
    if (name[0] == '\0')
        log_debug("\033[31m   Error name size = 0!\033[0m");
    return 0;
}

int test_get_routermac(vantu_platform_ops *ops)
{
    log_trace("Testing get_routermac");
    ASSERT_NUM(_check_funcptr("get_routermac", ops->get_routermac), 0);
    const char *mac = or_empty(ops->get_routermac());
    log_debug("  Router MAC: %s", mac);
    if (mac[0] == '\0')
        log_debug("\033[31m   Error routermac size <= 0!\033[0m");
    return 0;
}

int test_get_routerbasemac(vantu_platform_ops *ops)
{
    log_trace("Testing get_routerbasemac");
    ASSERT_NUM(_check_funcptr("get_routerbasemac", ops->get_routerbasemac), 0);
    const char *mac = or_empty(ops->get_routerbasemac());
    log_debug("  Router BASE MAC: %s", mac);
    if (mac[0] == '\0')
        log_debug("\033[31m   Error routerbasemac size <= 0!\033[0m");
    return 0;
}

int test_get_router_info(vantu_platform_ops *ops)
{
    log_trace("Test start");
    ASSERT_NUM(_check_funcptr("get_router_info", ops->get_router_info), 0);
    vantu_router_info info = {};
    if (ops->get_router_info(&info) != 0)
        log_debug("\033[31m   Failed to get_router_info\033[0m");
    log_info("routerid: %s", info.routerid);
    log_info("serial: %s", info.serial);
    log_info("basemac: %s", info.basemac);
    log_info("hardware_model: %s", info.hardware_model);
    log_info("chipset_model: %s", info.chipset_model);
    log_info("chipset_manufacturer: %s", info.chipset_manufacturer);
    log_info("kernel_version: %s", info.kernel_version);
    log_info("cpu_architecture: %s", info.cpu_architecture);
    log_info("firmware_version: %s", info.firmware_version);
    log_info("vantu_platform_name: %s", info.vantu_platform_name);
    log_info("vantu_version: %s", info.vantu_version);
    return 0;
}

int test_get_systeminfo(vantu_platform_ops *ops)
{
    log_trace("Testing get_systeminfo");
    ASSERT_NUM(_check_funcptr("get_systeminfo", ops->get_systeminfo), 0);
    vantu_systeminfo info = {};
    if (ops->get_systeminfo(&info) != 0)
        log_debug("\033[31m   Failed to get systeminfo\033[0m");
    log_debug("systeminfo: uptime cpuload freemem ramsize: %d %d %d %llu", info.uptime, info.cpuload, info.freemem,
              llu(info.ramsize));
    log_debug("systeminfo: lan_ip wan_ip base_mac DNS1 DNS2: %s %s %s %s %s", info.lan_ip, info.wan_ip, info.base_mac,
              info.DNS1, info.DNS2);
    log_debug("Done get_routermac");
    return 0;
}

int test_get_wan_interface_name(vantu_platform_ops *ops)
{
    log_trace("Testing get_wan_interface_name");
    ASSERT_NUM(_check_funcptr("get_wan_interface_name", ops->get_wan_interface_name), 0);
    const char *name = or_empty(ops->get_wan_interface_name());
    log_debug("  WAN interface: %s", name);
    if (name[0] == '\0')
        log_debug("\033[31m   Error wanname size = 0!\033[0m");
    return 0;
}

int test_is_device_active(vantu_common_device *dev, vantu_platform_ops *ops)
{
    log_trace("Testing is_device_active");
    ASSERT_NUM(_check_funcptr("is_device_active", ops->is_device_active), 0);
    log_debug("  is_device_active %s %s", dev->interface, dev->mac);
    log_debug("  active: %d", ops->is_device_active(dev->interface, dev->mac));
    log_debug("done is_device_active");
    return 0;
}

int test_get_host_ip(vantu_platform_ops *ops)
{
    log_trace("Testing get_host_ip");
    ASSERT_NUM(_check_funcptr("get_host_ip", ops->get_host_ip), 0);
    const char *hostip = ops->get_host_ip();
    ASSERT(hostip!=NULL);
    log_debug("  hostip is %s", hostip);
    log_debug("Done get_host_ip");
    return 0;
}

int test_get_ap_neighbors(vantu_platform_ops *ops)
{
    log_trace("%s", __func__);
    ASSERT_NUM(_check_funcptr("get_ap_neighbors", ops->get_ap_neighbors), 0);
    sclist_t neighbors;
    const vantu::list_owner owner(neighbors, vantu_common_ap_neighbor_list_init);
    for (const int radio : {2, 5}) {
        (void)sclist_clear(&neighbors);
        ASSERT_NUM(ops->get_ap_neighbors(radio, &neighbors), 0);
        const auto found = static_cast<int>(sclist_size(&neighbors));
        if (radio == 2)
            log_debug("got %d ap stations on 2.4GHz radio", found);
        else
            log_debug("got %d ap stations on 5Ghz radio", found);
        ASSERT(sclist_size(&neighbors)>0);
        print_first_neighbors(&neighbors);
    }
    return 0;
}

int test_get_networks(vantu_platform_ops *ops)
{
    log_trace("%s", __func__);
    ASSERT_NUM(_check_funcptr("get_networks", ops->get_networks), 0);
    sclist_t networks;
    const vantu::list_owner owner(networks, vantu_network_list_init);
    ASSERT_NUM(ops->get_networks(&networks), 0);
    log_debug("wifi networks found %d", static_cast<int>(sclist_size(&networks)));
    ASSERT(sclist_size(&networks) != 0);
    log_debug("interface, enabled, radio_interface, ssidname, bssid, password, encryption, rx_packets, tx_packets");
    SCLIST_FOREACH(vantu_network, network, &networks)
    {
        log_debug("%s %d %s %s %s %s %s %llu %llu", network->interface, network->enabled, network->radio_interface,
                  network->ssidname, network->bssid, network->password, network->encryption,
                  llu(network->rx_packets), llu(network->tx_packets));
    }
    SCLIST_FOREACH_END(&networks);
    return 0;
}

// clang-format on
