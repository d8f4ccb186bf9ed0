// The gateway's own answers: who it is, asked of the local configuration store, its radios and its teardown.
#ifndef VANTU_PLATFORMS_VANTU_WIFI_HOBE_H
#define VANTU_PLATFORMS_VANTU_WIFI_HOBE_H

#include "vantu-libs2/vantu-wifi-common.h"
#include "vantu-sclist/sclist.h"

#ifdef __cplusplus
extern "C" {
#endif

// "hobe", which is not to be changed.
const char *hobe_get_system_name(void);

// Read env.var.prod_number, version.@version[0].version and env.var.local_eth_mac of the configuration store into
// `out` of `len` characters. Results as for get_param_str.
int hobe_get_hardware_model(char *out, int len);
int hobe_get_firmware_version(char *out, int len);
int hobe_get_base_mac(char *out, int len);

// Fills the router's identity: from the store, the operation get_routerid of global_ops, "uname -r", and constants of
// the gateway. What is not found, and the uptime, stay as they were. Returns 0.
int hobe_get_router_info(vantu_router_info *info);

// Appends the three radios "wl0", "wl1" and "wl2", with nothing but the interface set. Returns 0.
int hobe_get_radios(sclist_t *radios);

// The queues need no preparation: does nothing.
void hobe_qos_setup(void);

// Releases what dga4231_system_setup prepared. Returns 0.
int hobe_system_destroy(void);

// Copies at most `len` - 1 characters and fills the rest of the `len` with zeros. Returns 0.
int vatnu_strncpy(char *dst, const char *src, int len);

#ifdef __cplusplus
}
#endif

#endif
