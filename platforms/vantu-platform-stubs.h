// The stub platform: a harmless default for the operations that a platform may leave out. Each stub logs that
// the platform did not define the operation and returns 0, "Undefined" or nothing; arguments stay untouched.
#ifndef VANTU_PLATFORMS_VANTU_PLATFORM_STUBS_H
#define VANTU_PLATFORMS_VANTU_PLATFORM_STUBS_H

#include "vantu-platforms/vantu-platform-ops.h"

#ifdef __cplusplus
extern "C" {
#endif

int stub_system_setup(void);
int stub_system_destroy(void);
int stub_get_router_info(vantu_router_info *info);
char *stub_get_routerid(void);
int stub_get_radios(sclist_t *radios);
int stub_get_associated_devices(sclist_t *devices);
char *stub_get_wan_interface_name(void);
int stub_is_device_active(const char *interface, const char *mac);
int stub_get_data_struct_size(void);
int stub_fill_data_struct(const char *interface, const char *mac, void *indata);
int stub_get_data_headers(char *header);
int stub_calculate_delta(void *prevdatain, void *datain);
int stub_init_data_struct_list(sclist_t *rows);
int stub_data_struct_to_csv_string(const char *interface, const char *mac, char *csvline, void *data);
int stub_csv_string_to_data_struct(char **csvline_splitted, void *indata);
int stub_calculate_issues(sclist_t *data, sclist_t *issues, vantu_issue_statistics *stats, const char *interface,
                          const char *mac);
int stub_sample_radio_stats(const char *interface, vantu_radio_stats *stats, int troubleshoot);
int stub_sample_sta_stats(const char *interface, const char *mac, vantu_sta_stats *stats, int troubleshoot);
int stub_get_wan_stats(const char *interface, vantu_wan_stats *stats);
int stub_ipset_cmd_add_member(const char *ipset_entry, const char *ipset_name, const char *opr);
int stub_ipset_cmd_get_members(sclist_t *entries, const char *ipset_name);
int stub_get_conntrack(sclist_t *list, sclist_t *ports, int maxlen);
void stub_iptables_setup(void);
int stub_iptables_check(void);
void stub_iptables_destroy(void);
void stub_flows_flush(void);
int stub_nss_dump_leases(sclist_t *leases);
int stub_convert_to_standard_format(sclist_t *platform_data, sclist_t *standardized_data, const char *interface,
                                    const char *mac);

// In no slot: a stub log sink that logs would call itself without end.
void stub_filelogger_helper_callback(log_Event *ev);
void stub_syslog_helper_callback(log_Event *ev);

#ifdef __cplusplus
}
#endif

#endif
