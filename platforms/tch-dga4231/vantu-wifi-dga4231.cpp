// The DGA4231 gateway: see tch-dga4231/vantu-wifi-dga4231.h.

#include "tch-dga4231/vantu-wifi-dga4231.h"

#include "brcm-generic/brcm-sample-table.h"
#include "tool.hpp"
#include "vantu-libs2/vantu-uci.h"

namespace
{

// Deleted before they are added, so that each id stands in its list once.
constexpr const char *qos_commands[] = {
    "uci del_list qos.WMM_BK_Q1.trafficid='12' 2>/dev/null",
    "uci del_list qos.WMM_BE_Q1.trafficid='13' 2>/dev/null",
    "uci del_list qos.WMM_VI_Q1.trafficid='14' 2>/dev/null",
    "uci del_list qos.WMM_VO_Q1.trafficid='15' 2>/dev/null",
    "uci add_list qos.WMM_BK_Q1.trafficid='12'",
    "uci add_list qos.WMM_BE_Q1.trafficid='13'",
    "uci add_list qos.WMM_VI_Q1.trafficid='14'",
    "uci add_list qos.WMM_VO_Q1.trafficid='15'",
    "uci set qos.bk=label",
    "uci set qos.bk.trafficid='12'",
    "uci set qos.be=label",
    "uci set qos.be.trafficid='13'",
    "uci set qos.vi=label",
    "uci set qos.vi.trafficid='14'",
    "uci set qos.vo=label",
    "uci set qos.vo.trafficid='15'",
    "uci commit",
    "qos restart",
};

// Reads an option once it is there.
template <size_t N>
char *read_once(char (&buffer)[N], const char *lookup)
{
    if (buffer[0] == '\0')
        (void)get_param_str(lookup, buffer, N);
    return buffer;
}

} // namespace

const char *dga4231_get_system_name(void)
{
    return "tch_dga4231";
}

char *dga4231_get_model_name(void)
{
    static char model[64];
    return read_once(model, "env.var.prod_number");
}

char *dga4231_get_routerid(void)
{
    static char serial[32];
    return read_once(serial, "env.var.serial");
}

int dga4231_system_setup(void)
{
    brcm_csvtable_init();
    (void)vantu_uci_init();
    return 0;
}

int dga4231_system_destroy(void)
{
    brcm_csvtable_destroy();
    vantu_routercfg_close();
    return 0;
}

void dga4231_qos_setup(void)
{
    int result = 0;
    for (const char *line : qos_commands)
        result |= vantu::run_command({line, true});
    if (result != 0)
        log_debug("dga4231_qos_setup: some system command returned non null");
}
