// Operations for any OpenWrt router: see openwrt-generic/vantu-wifi-openwrt.h.

#include "openwrt-generic/vantu-wifi-openwrt.h"

#include "lease-device.hpp"
#include "list_owner.hpp"
#include "stream.hpp"
#include "text.hpp"
#include "text_index.hpp"
#include "tool.hpp"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/utils.h"
#include "vantu-libs2/vantu-ifstats.h"
#include "vantu-libs2/vantu-uci.h"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/log.h"
#include "vantu-ll-api/vantu_ll_iproute.h"
#include "vantu-ll-api/vantu_ll_iwinfo.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

#include <cerrno>
#include <ctime>

namespace
{

using station = iwinfo_assoclist_device;
using neighbour_index = vantu::text_index<ip_neigh, &ip_neigh::mac, &ip_neigh::ip>;
using station_index = vantu::text_index<station, &station::mac>;

constexpr char lan_bridge[] = "br-lan";
constexpr char marking_script[] = "/usr/bin/vantu-iptables-functions.sh";
constexpr size_t ipv4_size = 17;

bool is_ipv4(const char *address)
{
    return strlen(address) < ipv4_size && strchr(address, '.') != nullptr;
}

bool is_there(const ip_neigh &neighbour)
{
    for (const char *state : {"REACHABLE", "DELAY", "PROBE", "STALE"}) {
        if (strcmp(neighbour.status, state) == 0)
            return true;
    }
    return false;
}

void take_station(vantu_common_device &device, const station &wifi)
{
    device.is_wifi = 1;
    vantu::copy_text(device.interface, wifi.interface);
    device.rssi = wifi.signal;
    device.noise = wifi.noise;
    device.rx_bytes = wifi.rx_bytes;
    device.tx_bytes = wifi.tx_bytes;
    device.rx_rate = wifi.rx_rate;
    device.tx_rate = wifi.tx_rate;
}

vantu_common_device to_device(const vantu_ll_dhcp &lease, const station *wifi)
{
    vantu_common_device device = vantu::device_of(lease);
    if (wifi != nullptr)
        take_station(device, *wifi);
    else
        vantu::copy_text(device.interface, "eth");
    return device;
}

// Appends every record of a list to another one.
template <typename Record>
void append_all(sclist_t &from, sclist_t *to)
{
    SCLIST_FOREACH(Record, record, &from) {
        (void)sclist_append(to, record);
    }
    SCLIST_FOREACH_END(&from);
}

// Runs the marking script. False with errno when it could not be run; one whose end someone else has seen counts as
// run.
bool run_script(const vantu::command_line<128> &command)
{
    return vantu::run_command(command) != -1 || errno == ECHILD;
}

} // namespace

// ---- Who is this router? ----

int wrt_get_brlan_mac(char *out)
{
    char path[64];
    (void)snprintf(path, sizeof(path), "/sys/class/net/%s/address", lan_bridge);
    const vantu::file_stream file(fopen(path, "re"));
    if (file == nullptr) {
        log_error("Error getting br-lan mac");
        return -1;
    }
    char mac[64] = "";
    if (fscanf(file.get(), "%63s", mac) != 1)
        log_error("unable to get brlan mac");
    memcpy(out, mac, strlen(mac) + 1);
    return 0;
}

char *wrt_get_wan_interface(void)
{
    static char interface[16];
    if (interface[0] == '\0')
        (void)get_param_str("network.wan.ifname", interface, sizeof(interface));
    return interface;
}

int wrt_get_kernel_version(char *out, int len)
{
    constexpr char command[] = "uname -r";
    const vantu::pipe_stream pipe(popen(command, "re"));
    if (pipe == nullptr) {
        (void)fprintf(stderr, "Failed to run command %s\n", command);
        return -1;
    }
    char line[512] = "";
    (void)fgets(line, sizeof(line), pipe.get());
    const size_t length = strlen(line);
    if (length > 0)
        line[length - 1] = '\0'; // the line end, as a release fits the line
    (void)vantu_strncpy(out, line, len > 0 ? static_cast<size_t>(len) : 0);
    return 0;
}

// ---- Inventory ----

int wrt_get_dhcpleases(sclist_t *out)
{
    (void)sclist_clear(out);
    sclist_t leases;
    const vantu::list_owner owner(leases, vantu_ll_wrt_dhcp_list_init);
    if (vantu_ll_wrt_get_dhcp(&leases) == -1)
        log_error("vantu_ll_wrt_get_dhcp failed");
    SCLIST_FOREACH(vantu_ll_dhcp, lease, &leases) {
        vantu_strtoupper(lease->mac_address);
        (void)sclist_append(out, lease);
    }
    SCLIST_FOREACH_END(&leases);
    return 0;
}

void wrt_get_wifi_assoclist_from_iwinfo(sclist_t *radios, sclist_t *out)
{
    SCLIST_FOREACH(vantu_common_radio, radio, radios) {
        sclist_t of_radio;
        const vantu::list_owner owner(of_radio, vantu_ll_iwinfo_assoclist_sclist_init);
        (void)vantu_ll_iwinfo_assoclist_direct(radio->interface, &of_radio);
        append_all<station>(of_radio, out);
    }
    SCLIST_FOREACH_END(radios);
}

void wrt_merge_ipneigh_iwinfowifidevices_and_dhcpdevices(sclist_t *neigh, sclist_t *wifi, sclist_t *leases,
                                                         sclist_t *out)
{
    const neighbour_index neighbour_of(*neigh);
    const station_index station_of(*wifi);
    SCLIST_FOREACH(vantu_ll_dhcp, lease, leases) {
        if (!is_ipv4(lease->ip_address))
            continue;
        const ip_neigh *neighbour = neighbour_of.find(lease->ip_address);
        if (neighbour != nullptr && !is_there(*neighbour))
            continue;
        const vantu_common_device device = to_device(*lease, station_of.find(lease->mac_address));
        (void)sclist_append(out, &device);
    }
    SCLIST_FOREACH_END(leases);
}

int wrt_get_associated_devices(sclist_t *out)
{
    sclist_t radios;
    const vantu::list_owner radios_owner(radios, vantu_common_radio_list_init);
    sclist_t neighbours;
    const vantu::list_owner neighbours_owner(neighbours, vantu_ll_iproute_ipneigh_list_init);
    sclist_t leases;
    const vantu::list_owner leases_owner(leases, vantu_ll_wrt_dhcp_list_init);
    sclist_t stations;
    const vantu::list_owner stations_owner(stations, vantu_ll_iwinfo_assoclist_sclist_init);

    (void)vantu_ll_iproute_get_ip_neigh(&neighbours);
    (void)global_ops.get_dhcpleases(&leases);
    (void)global_ops.get_radios(&radios);
    wrt_get_wifi_assoclist_from_iwinfo(&radios, &stations);
    wrt_merge_ipneigh_iwinfowifidevices_and_dhcpdevices(&neighbours, &stations, &leases, out);
    return static_cast<int>(sclist_size(out));
}

// ---- Traffic ----

int wrt_get_conntrack(sclist_t *flows, sclist_t *list, int flag)
{
    (void)list;
    (void)flag;
    (void)vantu_ll_wrt_get_conntrack(flows);
    return 0;
}

int wrt_get_conntrack_tool(sclist_t *flows, sclist_t *list, int flag)
{
    (void)list;
    (void)flag;
    (void)vantu_ll_wrt_get_conntrack_from_tools(flows);
    return 0;
}

int wrt_get_wan_stats(const char *ifname, vantu_wan_stats *stats)
{
    const vantu_byte_stats *counters = vantu_get_if_stats(ifname);
    if (counters == nullptr) {
        log_error("failed to get wan if stats");
        return -1;
    }
    stats->ip_bytes_tx = counters->tx_bytes;
    stats->ip_bytes_rx = counters->rx_bytes;
    stats->ip_packets_tx = counters->tx_pkts;
    stats->ip_packets_rx = counters->rx_pkts;
    return 0;
}

// ---- Packet marking ----

void wrt_iptables_setup(void)
{
    wrt_iptables_destroy();
    const vantu::command_line<128> command("%s -c", marking_script);
    if (!run_script(command))
        log_error("system(%s) failed with errno %d", command.text(), errno);
}

int wrt_iptables_check(void)
{
    // The redirection is not the usual one and makes a file named 1. It stays, with what scripts have learned to
    // expect of it.
    return vantu::run_command(vantu::command_line<128>("iptables -t mangle --list vantu_vi_zone 2&>1 >>/dev/null"));
}

void wrt_iptables_destroy(void)
{
    log_trace("%s", __func__);
    if (!run_script(vantu::command_line<128>("%s -d", marking_script)))
        log_error("system() failed with errno %d", errno);
}

// ---- Time ----

uint64_t wrt_get_timestamp_us(void)
{
    timespec now = {};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0)
        log_error("%s: error reading time", __func__);
    return static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}
