// The stub platform: see vantu-platform-stubs.h.

#include "vantu-platform-stubs.h"

#include "platform-slots.hpp"
#include "vantu-ll-api/log.h"

namespace
{

char undefined[] = "Undefined";

void announce(const char *stub)
{
    log_warn("the stub %s called because the platform did not define it", stub);
}

} // namespace

#define STUB(result, name, parameters, answer) \
    result name parameters                     \
    {                                          \
        announce(__func__);                    \
        return answer;                         \
    }
#define NOTHING

// clang-format off
STUB(int,    stub_system_setup,                (void),                                                0)
STUB(int,    stub_system_destroy,              (void),                                                0)
STUB(int,    stub_get_router_info,             (vantu_router_info *),                                 0)
STUB(char *, stub_get_routerid,                (void),                                                undefined)
STUB(int,    stub_get_radios,                  (sclist_t *),                                          0)
STUB(int,    stub_get_associated_devices,      (sclist_t *),                                          0)
STUB(char *, stub_get_wan_interface_name,      (void),                                                undefined)
STUB(int,    stub_is_device_active,            (const char *, const char *),                          0)
STUB(int,    stub_get_data_struct_size,        (void),                                                0)
STUB(int,    stub_fill_data_struct,            (const char *, const char *, void *),                  0)
STUB(int,    stub_get_data_headers,            (char *),                                              0)
STUB(int,    stub_calculate_delta,             (void *, void *),                                      0)
STUB(int,    stub_init_data_struct_list,       (sclist_t *),                                          0)
STUB(int,    stub_data_struct_to_csv_string,   (const char *, const char *, char *, void *),          0)
STUB(int,    stub_csv_string_to_data_struct,   (char **, void *),                                     0)
STUB(int,    stub_calculate_issues,            (sclist_t *, sclist_t *, vantu_issue_statistics *,
                                                const char *, const char *),                          0)
STUB(int,    stub_sample_radio_stats,          (const char *, vantu_radio_stats *, int),              0)
STUB(int,    stub_sample_sta_stats,            (const char *, const char *, vantu_sta_stats *, int),  0)
STUB(int,    stub_get_wan_stats,               (const char *, vantu_wan_stats *),                     0)
STUB(int,    stub_ipset_cmd_add_member,        (const char *, const char *, const char *),            0)
STUB(int,    stub_ipset_cmd_get_members,       (sclist_t *, const char *),                            0)
STUB(int,    stub_get_conntrack,               (sclist_t *, sclist_t *, int),                         0)
STUB(void,   stub_iptables_setup,              (void),                                                NOTHING)
STUB(int,    stub_iptables_check,              (void),                                                0)
STUB(void,   stub_iptables_destroy,            (void),                                                NOTHING)
STUB(void,   stub_flows_flush,                 (void),                                                NOTHING)
STUB(int,    stub_nss_dump_leases,             (sclist_t *),                                          0)
STUB(int,    stub_convert_to_standard_format,  (sclist_t *, sclist_t *, const char *, const char *),  0)
STUB(void,   stub_filelogger_helper_callback,  (log_Event *),                                         NOTHING)
STUB(void,   stub_syslog_helper_callback,      (log_Event *),                                         NOTHING)
// clang-format on

int platform_init_with_stubs(vantu_platform_ops *ops)
{
    for (const platform_slot &slot : platform_slots) {
        if (slot.put_stub != nullptr)
            slot.put_stub(*ops);
    }
    ops->qos_setup = nullptr;
    return 0;
}
