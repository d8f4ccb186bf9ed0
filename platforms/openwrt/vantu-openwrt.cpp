// Any OpenWrt router: see openwrt/vantu-openwrt.h. The radios come from the object iwinfo of the bus, which knows those
// of every driver that the router has support for:
//
//     {"devices":["wlan0","wlan1"]}

#include "openwrt/vantu-openwrt.h"

#include "json.hpp"
#include "openwrt-generic/vantu-wifi-openwrt.h"
#include "text.hpp"
#include "tool.hpp"
#include "vantu-libs2/utils.h"
#include "vantu-libs2/vantu-uci.h"
#include "vantu-platforms/vantu-platform-ops.h"

namespace
{

constexpr int reply_size = 1024;

void report_start(const char *command)
{
    log_error("cannot start %s", command);
}

void append_radio(sclist_t *radios, const char *name)
{
    vantu_common_radio radio = {};
    vantu::copy_text(radio.interface, name);
    (void)sclist_append(radios, &radio);
}

} // namespace

int openwrt_system_setup(void)
{
    (void)vantu_uci_init();
    return 0;
}

int openwrt_system_destroy(void)
{
    vantu_routercfg_close();
    return 0;
}

char *openwrt_get_routerid(void)
{
    static char mac[64];
    if (mac[0] == '\0' && wrt_get_brlan_mac(mac) == 0)
        vantu_strtoupper(mac);
    return mac;
}

int openwrt_get_router_info(vantu_router_info *info)
{
    if (const char *routerid = global_ops.get_routerid()) {
        vantu::copy_text(info->routerid, routerid);
        vantu::copy_text(info->serial, routerid);
        vantu::copy_text(info->basemac, routerid);
    }
    (void)wrt_get_kernel_version(info->kernel_version, sizeof(info->kernel_version));
    vantu::copy_text(info->vantu_platform_name, VANTU_PLATFORM);
    vantu::copy_text(info->vantu_version, VANTU_VERSION);
    return 0;
}

int internal_openwrt_radios(FILE *stream, sclist_t *radios)
{
    char reply[reply_size];
    reply[fread(reply, 1, sizeof(reply) - 1, stream)] = '\0';
    const vantu::json_text parsed(json_tokener_parse(reply));
    json_object *devices = vantu::json_member(parsed.get(), "devices", json_type_array);
    if (devices == nullptr) {
        log_error("iwinfo names no devices");
        return -1;
    }
    const size_t count = json_object_array_length(devices);
    for (size_t i = 0; i < count; i++) {
        json_object *name = json_object_array_get_idx(devices, i);
        if (json_object_is_type(name, json_type_string) != 0)
            append_radio(radios, json_object_get_string(name));
    }
    return 0;
}

int openwrt_get_radios(sclist_t *radios)
{
    const vantu::command_line<64> command("ubus call -S iwinfo devices");
    return vantu::run_tool(command, {nullptr, -1, report_start},
                           [&](FILE *stream) { return internal_openwrt_radios(stream, radios); });
}
