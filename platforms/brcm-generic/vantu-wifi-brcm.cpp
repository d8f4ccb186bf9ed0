// Radios, client devices and their activity: see brcm-generic/vantu-wifi-brcm.h.

#include "brcm-generic/vantu-wifi-brcm.h"

#include "brcm-generic/brcm-sample-table.h"
#include "lease-device.hpp"
#include "list_owner.hpp"
#include "printable.hpp"
#include "text.hpp"
#include "text_index.hpp"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/utils.h"
#include "vantu-libs2/vantu-dhcp.h"
#include "vantu-libs2/vantu-wifi-common.h"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/log.h"
#include "vantu-ll-api/vantu_ll_iproute.h"

namespace
{

using station = vantu_ll_wlctl_devicemac;
using neighbour_index = vantu::text_index<ip_neigh, &ip_neigh::mac, &ip_neigh::ip>;
using station_index = vantu::text_index<station, &station::mac>;

constexpr const char *fixed_radios[] = {"wl0", "wl1"};

int init_station_list(sclist_t *list)
{
    vantu_ll_wlctl_assoclist_sclist_init(list);
    return 0;
}

bool on_lan_bridge(const ip_neigh &neighbour)
{
    return strcmp(neighbour.interface, "br-lan") == 0 || strcmp(neighbour.interface, "br0") == 0;
}

// Reads the neighbours and keeps those on the LAN bridge, in their order.
void read_lan_neighbours(sclist_t *out)
{
    sclist_t all;
    const vantu::list_owner owner(all, vantu_ll_iproute_ipneigh_list_init);
    (void)vantu_ll_iproute_get_ip_neigh(&all);
    SCLIST_FOREACH(ip_neigh, neighbour, &all) {
        if (on_lan_bridge(*neighbour))
            (void)sclist_append(out, neighbour);
    }
    SCLIST_FOREACH_END(&all);
}

bool is_there(const ip_neigh *neighbour)
{
    return neighbour != nullptr && strcmp(neighbour->status, "FAILED") != 0 &&
           strcmp(neighbour->status, "INCOMPLETE") != 0;
}

void take_station(vantu_common_device &device, const station &wifi, const vantu_ll_wlctl_sta_info &info)
{
    vantu::copy_text(device.mac, wifi.mac);
    vantu::copy_text(device.interface, wifi.radio);
    device.is_wifi = 1;
    device.rssi = info.antenna_rssi_avg[0];
    device.noise = info.antenna_noise_floor[0];
    device.rx_bytes = info.rx_bytes;
    device.tx_bytes = info.tx_bytes;
}

vantu_common_device to_device(const vantu_ll_dhcp &lease, const station *wifi)
{
    vantu_common_device device = vantu::device_of(lease);
    if (wifi == nullptr) {
        vantu::copy_text(device.interface, "eth");
        return device;
    }
    vantu_brcm_csv_data row = {};
    const int result = brcm_fill_data_struct(wifi->radio, wifi->mac, &row);
    if (result != 0)
        log_debug("error in brcm_fill_data_struct %d", result);
    take_station(device, *wifi, row.sta_info);
    return device;
}

vantu_common_device to_device(const station &wifi, sclist_t *leases)
{
    vantu_brcm_csv_data row = {};
    (void)brcm_fill_data_struct(wifi.radio, wifi.mac, &row);
    vantu_common_device device = {};
    take_station(device, wifi, row.sta_info);
    device.rx_rate = row.sta_info.rx_rate;
    device.tx_rate = row.sta_info.rate_of_last_tx_pkt[0];

    char ip[sizeof(vantu_ll_dhcp::ip_address)];
    char hostname[sizeof(vantu_ll_dhcp::hostname)];
    if (vantu_get_ip_by_mac(leases, wifi.mac, ip, hostname) == 0) {
        vantu::copy_text(device.ipv4, ip);
        vantu::copy_text(device.hostname, hostname);
    }
    return device;
}

} // namespace

int brcm_get_radios(sclist_t *radios)
{
    for (const char *name : fixed_radios) {
        vantu_common_radio radio = {};
        vantu::copy_text(radio.interface, name);
        (void)sclist_append(radios, &radio);
    }
    return 0;
}

int brcm_get_associated_wifi_devices(sclist_t *radios, sclist_t *stations)
{
    SCLIST_FOREACH(vantu_common_radio, radio, radios) {
        sclist_t of_radio;
        const vantu::list_owner owner(of_radio, init_station_list);
        if (vantu_ll_wlctl_assoclist(radio->interface, &of_radio) != 0)
            log_error("Error getting assoclist for %s", radio->interface);
        SCLIST_FOREACH(station, one, &of_radio) {
            (void)sclist_append(stations, one);
        }
        SCLIST_FOREACH_END(&of_radio);
    }
    SCLIST_FOREACH_END(radios);
    return static_cast<int>(sclist_size(stations));
}

int brcm_get_associated_devices_ipneigh(sclist_t *devices)
{
    sclist_t radios;
    const vantu::list_owner owner(radios, vantu_common_radio_list_init);
    (void)global_ops.get_radios(&radios);
    (void)brcm_get_devices_ipneigh(&radios, devices);
    return 0;
}

int brcm_get_devices_ipneigh(sclist_t *radios, sclist_t *devices)
{
    sclist_t neighbours;
    const vantu::list_owner neighbours_owner(neighbours, vantu_ll_iproute_ipneigh_list_init);
    read_lan_neighbours(&neighbours);
    log_trace("brcm_get_devices ip neigh size %d", static_cast<int>(sclist_size(&neighbours)));
    const bool no_neighbours = sclist_size(&neighbours) == 0;

    sclist_t leases;
    const vantu::list_owner leases_owner(leases, vantu_ll_wrt_dhcp_list_init);
    (void)global_ops.get_dhcpleases(&leases);

    sclist_t stations;
    const vantu::list_owner stations_owner(stations, init_station_list);
    (void)brcm_get_associated_wifi_devices(radios, &stations);

    const neighbour_index neighbour_of(neighbours);
    const station_index station_of(stations);
    SCLIST_FOREACH(vantu_ll_dhcp, lease, &leases) {
        if (!no_neighbours && !is_there(neighbour_of.find(lease->ip_address)))
            continue;
        const vantu_common_device device = to_device(*lease, station_of.find(lease->mac_address));
        (void)sclist_append(devices, &device);
    }
    SCLIST_FOREACH_END(&leases);
    return static_cast<int>(sclist_size(devices));
}

int brcm_get_associated_devices_dhcp(sclist_t *devices)
{
    sclist_t leases;
    const vantu::list_owner leases_owner(leases, vantu_ll_wrt_dhcp_list_init);
    (void)vantu_ll_wrt_get_dhcp(&leases);
    sclist_t radios;
    const vantu::list_owner radios_owner(radios, vantu_common_radio_list_init);
    (void)global_ops.get_radios(&radios);
    sclist_t stations;
    const vantu::list_owner stations_owner(stations, init_station_list);

    log_trace("radios size %d", static_cast<int>(sclist_size(&radios)));
    SCLIST_FOREACH(vantu_common_radio, radio, &radios) {
        log_trace("radio: %s", radio->interface);
        (void)sclist_clear(&stations); // a radio without a name is not asked, and must not show the last one's
        if (vantu_ll_wlctl_assoclist(radio->interface, &stations) != 0)
            (void)fprintf(stderr, "Error getting assoclist for %s", vantu::printable<64>(radio->interface).text());
        SCLIST_FOREACH(station, one, &stations) {
            const vantu_common_device device = to_device(*one, &leases);
            (void)sclist_append(devices, &device);
        }
        SCLIST_FOREACH_END(&stations);
    }
    SCLIST_FOREACH_END(&radios);
    return 0;
}

int brcm_is_device_active(const char *interface, const char *mac)
{
    // A query that fails leaves the record zero, and so the device counts as active.
    vantu_ll_wlctl_sta_info info = {};
    (void)vantu_ll_wlctl_get_sta_info(interface, mac, &info);
    return info.idle == 0 ? 1 : 0;
}

int brcm_get_csvdata_struct_size(void)
{
    return static_cast<int>(sizeof(vantu_brcm_csv_data));
}
