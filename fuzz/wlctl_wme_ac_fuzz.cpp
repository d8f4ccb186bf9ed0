// Medium access parameters and the discard policy, through their readers.

#include "fuzz.hpp"
#include "vantu-ll-api/vantu_ll_wlctl.h"

#include <cinttypes>

static std::string printed(const vantu_ll_wlctl_wme_ac_data &data)
{
    return fuzz::format("AC_BE: raw: ACI 0x%X ECW 0x%X TXOP 0x%X\n       dec: aci %" PRIu64 " acm %" PRIu64
                        " aifsn %" PRIu64 " ecwmin %" PRIu64 " ecwmax %" PRIu64 " txop 0x%" PRIX64
                        "\n       eff: CWmin %" PRIu64 " CWmax %" PRIu64 " TXop %" PRIu64 "usec\n",
                        data.raw_aci, data.raw_ecw, data.raw_txop, data.dec_aci, data.dec_acm, data.dec_aifsn,
                        data.dec_ecwmin, data.dec_ecwmax, data.dec_txop, data.eff_cwmin, data.eff_cwmax,
                        data.eff_txop_us);
}

static void check_category(const vantu_ll_wlctl_wme_ac_data &data)
{
    REQUIRE(data.dec_txop <= UINT32_MAX);
    vantu_ll_wlctl_wme_ac_data again = {};
    REQUIRE(fuzz::parse(printed(data), _get_wme_ac_data, &again) == 0);
    REQUIRE(memcmp(&again, &data, sizeof(data)) == 0);
}

FUZZ_TARGET(std::string_view input)
{
    fuzz::tools_print(input);
    vantu_ll_wlctl_wme_ac of_ap = {};
    vantu_ll_wlctl_wme_ac of_sta = {};
    const int result = vantu_ll_wlctl_get_wme_ac_ap("wl0", &of_ap);
    REQUIRE(result == 0 || result == -1);
    REQUIRE(vantu_ll_wlctl_get_wme_ac_sta("wl0", &of_sta) == result);
    REQUIRE(memcmp(&of_ap, &of_sta, sizeof(of_ap)) == 0);
    if (result == 0) {
        for (const auto &data : {of_ap.AC_BE, of_ap.AC_BK, of_ap.AC_VI, of_ap.AC_VO})
            check_category(data);
    }
    vantu_ll_wlctl_wme_dp dp;
    const int policy = vantu_ll_wlctl_get_wme_dp("wl0", &dp);
    REQUIRE(policy == 0 || policy == -1);
    REQUIRE(policy == 0 || dp.vo == 0);
}
