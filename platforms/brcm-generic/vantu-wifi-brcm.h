// Radios, client devices and their activity on a platform with Broadcom radios: from the driver's station lists, the
// kernel's neighbours and the DHCP leases.
#ifndef VANTU_PLATFORMS_VANTU_WIFI_BRCM_H
#define VANTU_PLATFORMS_VANTU_WIFI_BRCM_H

#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

// Appends the radios of this module, "wl0" and "wl1". Returns 0.
int brcm_get_radios(sclist_t *radios);

// Appends the stations of all radios of the list to `stations` (vantu_ll_wlctl_assoclist_sclist_init). A radio whose
// list cannot be read is logged. Returns the number of stations.
int brcm_get_associated_wifi_devices(sclist_t *radios, sclist_t *stations);

// Appends the devices of all radios that the platform has (get_radios). Returns 0.
int brcm_get_associated_devices_ipneigh(sclist_t *devices);

// Appends one device per lease whose address is a neighbour on "br-lan" or "br0" that is neither FAILED nor INCOMPLETE
// (without any neighbour there: per lease), in the order of the leases. A device that is associated to a radio gets
// that radio as `interface`, its MAC as the driver prints it, signal, noise and bytes; any other is wired: "eth" and
// the lease's MAC in capitals. Returns the number of devices.
int brcm_get_devices_ipneigh(sclist_t *radios, sclist_t *devices);

// Appends one device per associated station, also without a lease, with its rates as well. Returns 0.
int brcm_get_associated_devices_dhcp(sclist_t *devices);

// 1 when the station was active within the last second (idle 0), or when the driver does not know it; else 0.
int brcm_is_device_active(const char *interface, const char *mac);

// The size of a data row in bytes.
int brcm_get_csvdata_struct_size(void);

#ifdef __cplusplus
}
#endif

#endif
