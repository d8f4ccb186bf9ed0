// Each reader names the stored sample of its input; this build ignores the names, but a build that reads the samples
// finds them by these.

#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/testfile.h"
#include "vantu-ll-api/vantu_ll_wlctl.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

#include "list_owner.hpp"
#include "support.hpp"

#include <gtest/gtest.h>

namespace
{
std::vector<std::string> names;
} // namespace

extern "C" {
FILE *__wrap__ll_popen_cmd_or_testfile(const char *, const char *testfile)
{
    names.emplace_back(testfile);
    return nullptr;
}

FILE *__wrap__ll_fopen_text_or_testfile(const char *, const char *testfile)
{
    names.emplace_back(testfile);
    return nullptr;
}
}

namespace
{

int init_station_list(sclist_t *list)
{
    vantu_ll_wlctl_assoclist_sclist_init(list);
    return 0;
}

std::vector<std::string> named_by(const std::function<void()> &read)
{
    const support::quiet_log quiet;
    names.clear();
    read();
    return names;
}

TEST(SampleNames, AreThoseOfTheReportsAndTheShortLimitNamesTheLongOnesWhichIsKept)
{
    sclist_t stations;
    const vantu::list_owner stations_owner(stations, init_station_list);
    sclist_t flows;
    const vantu::list_owner flows_owner(flows, vantu_ll_wrt_conntrack_list_init);
    sclist_t leases;
    const vantu::list_owner leases_owner(leases, vantu_ll_wrt_dhcp_list_init);
    vantu_ll_wlctl_chanim_info chanim;
    vantu_ll_wlctl_wme_counters wme;
    vantu_ll_wlctl_bsdata_list bsdata;
    vantu_ll_wlctl_ampdu_aggr aggr;
    vantu_ll_wlctl_wme_ac ac;
    vantu_ll_wlctl_wme_dp dp;
    int value = 0;
    const struct {
        const char *name;
        std::function<void()> read;
    } rows[] = {
        {"wlctl_assoclist.txt", [&] { (void)vantu_ll_wlctl_assoclist("wl0", &stations); }},
        {"wlctl_chanim.txt", [&] { (void)vantu_ll_wlctl_get_chanim_stats("wl0", &chanim); }},
        {"wlctl_wme_counters.txt", [&] { (void)vantu_ll_wlctl_get_wme_counters("wl0", &wme); }},
        {"wlctl_bsdata_2_devices.txt", [&] { (void)vantu_ll_wlctl_get_bsdata("wl0", &bsdata); }},
        {"wlctl_ampdu.txt", [&] { (void)vantu_ll_wlctl_get_wifi_ampdu(&value); }},
        {"wlctl_ampdu_tid.txt", [&] { (void)vantu_ll_wlctl_get_wifi_ampdu_for_tid(0, &value); }},
        {"wlctl_ampdu_txaggr.txt", [&] { (void)vantu_ll_wlctl_get_wifi_ampdu_txaggr(&aggr); }},
        {"wlctl_ampdu_rxaggr.txt", [&] { (void)vantu_ll_wlctl_get_wifi_ampdu_rxaggr(&aggr); }},
        {"wlctl_ampdu_retry_limit_tid.txt", [&] { (void)vantu_ll_wlctl_get_wifi_ampdu_retry_limit_tid(0, &value); }},
        {"wlctl_ampdu_rr_retry_limit_tid.txt",
         [&] { (void)vantu_ll_wlctl_get_wifi_ampdu_rr_retry_limit_tid(0, &value); }},
        {"wlctl_lrl.txt", [&] { (void)vantu_ll_wlctl_get_long_retry_limit("wl0", &value); }},
        {"wlctl_lrl.txt", [&] { (void)vantu_ll_wlctl_get_short_retry_limit("wl0", &value); }},
        {"wlctl_wme_ac_ap.txt", [&] { (void)vantu_ll_wlctl_get_wme_ac_ap("wl0", &ac); }},
        {"wlctl_wme_ac_sta.txt", [&] { (void)vantu_ll_wlctl_get_wme_ac_sta("wl0", &ac); }},
        {"wlctl_wme_dp.txt", [&] { (void)vantu_ll_wlctl_get_wme_dp("wl0", &dp); }},
        {"wrt_dhcp_leases.txt", [&] { (void)vantu_ll_wrt_get_dhcp(&leases); }},
        {"wrt_conntrack.txt", [&] { (void)vantu_ll_wrt_get_conntrack(&flows); }},
        {"wrt_conntrack.txt", [&] { (void)vantu_ll_wrt_get_conntrack_from_tools(&flows); }},
    };
    for (const auto &row : rows)
        EXPECT_EQ(std::vector<std::string>{row.name}, named_by(row.read));
}

TEST(SampleNames, TheStationReportIsAlwaysTheLiveToolsWhichIsKept)
{
    vantu_ll_wlctl_sta_info info;
    EXPECT_TRUE(named_by([&] { (void)vantu_ll_wlctl_get_sta_info("wl0", "02:00:00:00:00:01", &info); }).empty());
}

} // namespace
