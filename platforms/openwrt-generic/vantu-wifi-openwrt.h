// Operations that any OpenWrt router can serve with its standard tools and files.
#ifndef VANTU_PLATFORMS_VANTU_WIFI_OPENWRT_H
#define VANTU_PLATFORMS_VANTU_WIFI_OPENWRT_H

#include <stdint.h>

#include "vantu-libs2/vantu-wifi-common.h"
#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

// ---- Who is this router? ----

// Copies the MAC address of "br-lan", from /sys/class/net, into `out` of 64 characters. Returns 0, also when the file
// holds nothing (logged; the text is empty); -1, logged, when it cannot be opened.
int wrt_get_brlan_mac(char *out);

// The interface towards the provider: network.wan.ifname of the configuration store, at most 15 characters, in the
// module's buffer. Asked until it is known, then kept; empty while it is not known.
char *wrt_get_wan_interface(void);

// Copies what "uname -r" prints into `out` of `len` characters. Returns 0, also when it prints nothing; -1, with a line
// on standard error, when it cannot be started.
int wrt_get_kernel_version(char *out, int len);

// ---- Inventory ----

// Empties `out` and appends the leases of vantu_ll_wrt_get_dhcp, MAC addresses in upper case. Returns 0; a reader that
// failed is logged.
int wrt_get_dhcpleases(sclist_t *out);

// Appends the stations of every radio (vantu_common_radio), as `iwinfo` prints them, to a list of
// iwinfo_assoclist_device.
void wrt_get_wifi_assoclist_from_iwinfo(sclist_t *radios, sclist_t *out);

// Appends one vantu_common_device for each IPv4 lease (vantu_ll_dhcp) whose neighbour (ip_neigh) is there, or is not in
// the table at all, with the figures of its station (iwinfo_assoclist_device); a device without a station is wired. The
// time grows with the sum of the lists' lengths.
void wrt_merge_ipneigh_iwinfowifidevices_and_dhcpdevices(sclist_t *neigh, sclist_t *wifi, sclist_t *leases,
                                                         sclist_t *out);

// Appends the client devices, by the operations get_dhcpleases and get_radios of global_ops, `ip neigh` and `iwinfo`.
// Returns the size of `out`.
int wrt_get_associated_devices(sclist_t *out);

// ---- Traffic ----

// Fill `flows` from /proc/net/nf_conntrack, or from "conntrack -L"; see vantu_ll_wrt.h. The other arguments are
// ignored. Return 0.
int wrt_get_conntrack(sclist_t *flows, sclist_t *list, int flag);
int wrt_get_conntrack_tool(sclist_t *flows, sclist_t *list, int flag);

// Fills the counters of an interface, from getifaddrs; the times are the caller's. Returns 0; -1, logged.
int wrt_get_wan_stats(const char *ifname, vantu_wan_stats *stats);

// ---- Packet marking, by the router's script /usr/bin/vantu-iptables-functions.sh ----

// Removes the chain "vantu_vi_zone" and its rules, then makes them ("-c").
void wrt_iptables_setup(void);

// Whether the chain is there: 0, else the wait status of the shell, or -1 with errno. As a side effect a file named 1
// appears in the working directory.
int wrt_iptables_check(void);

// Removes the chain and its rules ("-d").
void wrt_iptables_destroy(void);

// ---- Time ----

// Microseconds since the epoch.
uint64_t wrt_get_timestamp_us(void);

#ifdef __cplusplus
}
#endif

#endif
