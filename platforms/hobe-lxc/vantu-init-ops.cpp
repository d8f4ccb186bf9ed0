// The composition for a gateway with Broadcom radios whose software runs in a container: which implementation
// serves which operation. An operation that is not named here keeps its stub, or stays empty where there is none.

#include "brcm-generic/brcm-sample-table.h"
#include "brcm-generic/brcm-sampling.h"
#include "brcm-generic/issueclassifier-brcm.h"
#include "brcm-generic/vantu-wifi-brcm-fcctl.h"
#include "brcm-generic/vantu-wifi-brcm.h"
#include "hobe-lxc/vantu-hobe-lxc.h"
#include "hobe/vantu-wifi-hobe.h"
#include "nf_conntrack/nf_conntrack.h"
#include "openwrt-generic/vantu-wifi-openwrt.h"
#include "tch-dga4231/vantu-wifi-dga4231.h"
#include "vantu-libs2/ipsethelpers.h"
#include "vantu-libs2/loghelper.h"
#include "vantu-ll-api/vantu_ll_wrt.h"
#include "vantu-platforms/vantu-platform-ops.h"

int platform_init_ops(vantu_platform_ops *ops)
{
    // The platform and its inventory.
    ops->system_setup = dga4231_system_setup;
    ops->system_destroy = hobe_system_destroy;
    ops->get_routerid = hobe_container_get_routerid;
    ops->get_router_info = hobe_container_get_router_info;
    ops->get_wan_interface_name = hobe_container_get_get_wan_if;
    ops->get_radios = hobe_get_radios;
    ops->get_dhcpleases = vantu_ll_wrt_get_dhcp;
    ops->get_associated_devices = brcm_get_associated_devices_ipneigh;
    ops->is_device_active = brcm_is_device_active;

    // Data rows.
    ops->init_data_struct_list = vantu_init_brcm_data_list;
    ops->get_data_struct_size = brcm_get_csvdata_struct_size;
    ops->get_data_headers = brcm_get_csvdata_headers;
    ops->fill_data_struct = brcm_fill_data_struct;
    ops->data_struct_to_csv_string = brcm_data_struct_to_csv_string;
    ops->csv_string_to_data_struct = brcm_csv_string_to_data_struct;
    ops->calculate_delta = brcm_calculate_delta;
    ops->calculate_issues = brcm_calc_issues;

    // Samples.
    ops->sample_radio_stats = brcm_sample_radio_stats;
    ops->sample_sta_stats = brcm_sample_sta_stats;
    ops->sample_wan_stats = wrt_get_wan_stats;

    // Traffic.
    ops->get_conntrack = nfconntrack_get_conntrack;
    ops->ipset_add_member = vantu_ipset_cmd_add_member;
    ops->ipset_get_members = vantu_ipset_cmd_get_members;
    ops->iptables_setup = wrt_iptables_setup;
    ops->iptables_check = wrt_iptables_check;
    ops->iptables_destroy = wrt_iptables_destroy;
    ops->qos_setup = hobe_qos_setup;
    ops->flush_flows = brcm_fcctl_flush;
    ops->get_sw_defers_pkts = brcm_fcctl_get_sw_defers_count;
    ops->set_sw_defers_pkts = brcm_fcctl_config_set_sw_defers_pkts;

    // Log sinks.
    ops->logger_file_callback = filelogger_helper_callback;
    ops->logger_syslog_callback = syslog_helper_callback;

    // The platform is prepared here, before anyone can call an operation.
    (void)ops->system_setup();
    ops->convert_to_standard_format = brcm_convert_to_standard_format;

    global_ops = *ops;
    return 0;
}
