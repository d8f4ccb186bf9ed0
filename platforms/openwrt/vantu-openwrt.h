// What any OpenWrt router says of itself and of its radios.
#ifndef VANTU_PLATFORMS_VANTU_OPENWRT_H
#define VANTU_PLATFORMS_VANTU_OPENWRT_H

#include <stdio.h>

#include "vantu-libs2/vantu-wifi-common.h"
#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

// Opens and closes the configuration store. Return 0.
int openwrt_system_setup(void);
int openwrt_system_destroy(void);

// The MAC address of the bridge "br-lan" in upper case, in the module's buffer. Asked until it is known, then kept;
// empty while it is not known.
char *openwrt_get_routerid(void);

// Fills the router's identity: the operation get_routerid of global_ops (also as serial and base MAC), "uname -r", and
// the names of this platform. What is not known stays as it was. Returns 0.
int openwrt_get_router_info(vantu_router_info *info);

// Appends a vantu_common_radio, with nothing but the interface set, for each wireless device that
// "ubus call iwinfo devices" names. Returns 0; -1 when ubus cannot be started or does not answer with devices; both are
// logged.
int openwrt_get_radios(sclist_t *radios);

// The parser of the reply, an object with the array "devices" of names. Results as above.
int internal_openwrt_radios(FILE *stream, sclist_t *radios);

#ifdef __cplusplus
}
#endif

#endif
