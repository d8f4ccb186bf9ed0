// The composition for any OpenWrt router, with what its standard tools and files say. Samples of radios and stations,
// their data rows and issues need a driver's own tool: those operations keep their stubs.

#include "openwrt-generic/vantu-wifi-openwrt.h"
#include "openwrt/vantu-openwrt.h"
#include "vantu-libs2/ipsethelpers.h"
#include "vantu-libs2/loghelper.h"
#include "vantu-platforms/vantu-platform-ops.h"

int platform_init_ops(vantu_platform_ops *ops)
{
    // The platform and its inventory.
    ops->system_setup = openwrt_system_setup;
    ops->system_destroy = openwrt_system_destroy;
    ops->get_routerid = openwrt_get_routerid;
    ops->get_router_info = openwrt_get_router_info;
    ops->get_routermac = openwrt_get_routerid;
    ops->get_wan_interface_name = wrt_get_wan_interface;
    ops->get_radios = openwrt_get_radios;
    ops->get_dhcpleases = wrt_get_dhcpleases;
    ops->get_associated_devices = wrt_get_associated_devices;

    // Samples.
    ops->sample_wan_stats = wrt_get_wan_stats;

    // Traffic.
    ops->get_conntrack = wrt_get_conntrack;
    ops->ipset_add_member = vantu_ipset_cmd_add_member;
    ops->ipset_get_members = vantu_ipset_cmd_get_members;
    ops->iptables_setup = wrt_iptables_setup;
    ops->iptables_check = wrt_iptables_check;
    ops->iptables_destroy = wrt_iptables_destroy;

    // Log sinks.
    ops->logger_file_callback = filelogger_helper_callback;
    ops->logger_syslog_callback = syslog_helper_callback;

    // The platform is prepared here, before anyone can call an operation.
    (void)ops->system_setup();

    global_ops = *ops;
    return 0;
}
