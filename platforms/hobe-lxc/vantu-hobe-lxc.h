// Who the gateway is, for a program in a container on it: the host's configuration is asked through the host's ubus
// socket.
#ifndef VANTU_PLATFORMS_VANTU_HOBE_LXC_H
#define VANTU_PLATFORMS_VANTU_HOBE_LXC_H

#include "vantu-libs2/vantu-wifi-common.h"

#ifdef __cplusplus
extern "C" {
#endif

// "hobe-lxc", which is not to be changed.
const char *hobe_container_get_system_name(void);

// Reads an option of the host's configuration store with "ubus call -S -s /var/run/lxc_ipc/ubus.sock uci get" into
// `out` of `len` characters; without a value `out` stays. Returns the wait status of the tool, 0 also when someone else
// has seen its end or when it has no such key; -1, logged, when it cannot be started or its end cannot be known.
int hobe_container_get_uci(const char *config, const char *section, const char *option, char *out, int len);

// The same for env.var.prod_number, version.@version[0].version and env.var.local_eth_mac.
int hobe_container_get_hardware_model(char *out, int len);
int hobe_container_get_firmware_version(char *out, int len);
int hobe_container_get_base_mac(char *out, int len);

// The router's serial number, env.var.serial, at most 31 characters, in the module's buffer. Asked until it is known,
// then kept; empty while it is not known.
char *hobe_container_get_routerid(void);

// The interface towards the provider, "eth3", in the module's buffer.
char *hobe_container_get_get_wan_if(void);

// Fills the router's identity as hobe_get_router_info does, with what the host says. Returns 0.
int hobe_container_get_router_info(vantu_router_info *info);

#ifdef __cplusplus
}
#endif

#endif
