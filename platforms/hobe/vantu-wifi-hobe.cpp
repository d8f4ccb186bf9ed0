// The gateway's identity, radios and teardown: see hobe/vantu-wifi-hobe.h.

#include "hobe/vantu-wifi-hobe.h"

#include "brcm-generic/brcm-sample-table.h"
#include "hobe/router-info.hpp"
#include "openwrt-generic/vantu-wifi-openwrt.h"
#include "text.hpp"
#include "vantu-libs2/utils.h"
#include "vantu-libs2/vantu-uci.h"
#include "vantu-ll-api/log.h"

#include <algorithm>
#include <initializer_list>

namespace
{

template <size_t N>
void write(char (&field)[N], const char *text)
{
    (void)vatnu_strncpy(field, text, N);
}

// Writes a field when the reader finds a text; `step` and `name` are for the log.
template <size_t N>
void read(char (&field)[N], const char *step, const char *name, vantu::identity_reader reader)
{
    log_trace("%s", step);
    char text[N] = "";
    if (reader(text, N) != 0 || text[0] == '\0')
        return;
    log_trace("Found %s %s", name, text);
    write(field, text);
}

void write_constants(vantu_router_info &info)
{
    write(info.hardware_manufacturer, "technicolor");
    write(info.chipset_model, "v8");
    write(info.chipset_manufacturer, "brcm");
    write(info.cpu_architecture, "NULL");
    write(info.network_name, "");
    write(info.vantu_platform_name, VANTU_PLATFORM);
    write(info.vantu_version, VANTU_VERSION);
}

} // namespace

void vantu::fill_router_info(vantu_router_info &info, const identity_readers &readers)
{
    write_constants(info);

    log_trace("Get routerid");
    if (const char *routerid = global_ops.get_routerid()) {
        write(info.routerid, routerid);
        write(info.serial, routerid);
    }
    char kernel[sizeof(info.kernel_version)] = "";
    if (wrt_get_kernel_version(kernel, sizeof(kernel)) == 0)
        write(info.kernel_version, kernel);

    read(info.hardware_model, "hobe_get_hardware_model", "hardware model", readers.hardware_model);
    read(info.basemac, "hobe_get_base_mac", "basemac", readers.base_mac);
    read(info.firmware_version, "hobe_get_firmware_version", "firmware version", readers.firmware_version);
}

const char *hobe_get_system_name(void)
{
    return "hobe";
}

int hobe_get_hardware_model(char *out, int len)
{
    return get_param_str("env.var.prod_number", out, len);
}

int hobe_get_firmware_version(char *out, int len)
{
    return get_param_str("version.@version[0].version", out, len);
}

int hobe_get_base_mac(char *out, int len)
{
    return get_param_str("env.var.local_eth_mac", out, len);
}

int hobe_get_router_info(vantu_router_info *info)
{
    vantu::fill_router_info(*info, {hobe_get_hardware_model, hobe_get_base_mac, hobe_get_firmware_version});
    return 0;
}

int hobe_get_radios(sclist_t *radios)
{
    for (const char *name : {"wl0", "wl1", "wl2"}) {
        vantu_common_radio radio = {};
        vantu::copy_text(radio.interface, name);
        (void)sclist_append(radios, &radio);
    }
    return 0;
}

void hobe_qos_setup(void) {}

int hobe_system_destroy(void)
{
    brcm_csvtable_destroy();
    vantu_routercfg_close();
    return 0;
}

int vatnu_strncpy(char *dst, const char *src, int len)
{
    (void)vantu_strncpy(dst, src, static_cast<size_t>(std::max(len, 0)));
    return 0;
}
