// Classifies what is wrong with a client's Wi-Fi: see brcm-generic/issueclassifier-brcm.h.

#include "brcm-generic/issueclassifier-brcm.h"

#include "brcm-generic/brcm-sample-table.h"
#include "scoring.hpp"
#include "vantu-libs2/issues.h"
#include "vantu-libs2/vantu-fpingdq.h"
#include "vantu-libs2/vantu-math.h"
#include "vantu-ll-api/log.h"

#include <cstdlib>
#include <initializer_list>

namespace
{

// Mean signal, dBm.
constexpr vantu::ladder coverage_ladder = {{-82.5F, 0}, {-80, 0},    {-77.5F, 0}, {-75, 0},    {-72.5F, 0},
                                           {-70, 0},    {-67.5F, 0}, {-65, 0},    {-62.5F, 0}, {-60, 0}};

// Congestion (percent): 75th percentile, or its deviation.
constexpr vantu::ladder neighbours_ladder = {{47.5F, 14}, {45, 13},   {42.5F, 12}, {40, 11},   {37.5F, 10},
                                             {35, 9},     {32.5F, 8}, {30, 7},     {27.5F, 6}, {25, 5}};

// What the own network uses of the channel, percent.
constexpr vantu::ladder household_ladder = {{38, 0}, {36, 0}, {34, 0}, {32, 0}, {30, 0},
                                            {28, 0}, {26, 0}, {24, 0}, {22, 0}, {20, 0}};

// 75th percentiles of glitches, and of bad PLCPs.
constexpr vantu::ladder noise_ladder = {{2000, 52.5F}, {1900, 50},    {1800, 47.5F}, {1700, 45},    {1600, 42.5F},
                                        {1500, 40},    {1400, 37.5F}, {1300, 35},    {1200, 32.5F}, {1100, 30}};

// One figure of every sample.
struct feature {
    float values[BRCM_CLASSIFIER_SAMPLES];
    int length;

    template <typename Number>
    void add(Number value)
    {
        values[length++] = static_cast<float>(value);
    }
    void sort() { qsort(values, static_cast<size_t>(length), sizeof(float), vantum_compare_float); }
    float mean() const { return vantum_mean(values, length); }
    float deviation() const { return vantum_std(values, length); }
    float percentile(float fraction) const { return vantum_percentile(values, length, fraction); }
};

struct features {
    feature rx_last_rssi_1;
    feature glitch;
    feature badplcp;
    feature tx;
    feature inbss;
    feature txops;
    feature congestion;

    void add(const vantu_brcm_csv_data &row)
    {
        rx_last_rssi_1.add(row.sta_info.antenna_rssi_last_rx_frame[0]);
        glitch.add(row.chanim.glitch);
        badplcp.add(row.chanim.badplcp);
        tx.add(row.chanim.tx);
        inbss.add(row.chanim.inbss);
        txops.add(row.chanim.txop);
        congestion.add(int64_t{100} - row.chanim.tx - row.chanim.txop - row.chanim.inbss);
    }
    bool full() const { return glitch.length == BRCM_CLASSIFIER_SAMPLES; }
};

// Takes the rows of the list, up to as many as there is room for.
void collect(sclist_t *datalist, features &out)
{
    SCLIST_FOREACH(vantu_fpingdq_ping, ping, datalist) {
        if (ping->csvdata == nullptr)
            continue;
        if (out.full())
            break;
        out.add(*static_cast<const vantu_brcm_csv_data *>(ping->csvdata));
    }
    SCLIST_FOREACH_END(datalist);
}

void apply_coverage(sclist_t *issues, float rssi_mean, bool verbose)
{
    if (verbose)
        log_debug("rx_last_rssi_1_mean: %f < -65 ?\n", static_cast<double>(rssi_mean));
    vantu::append_issue(issues, COVERAGE, vantu::score_below(coverage_ladder, rssi_mean));
}

void apply_neighbours(sclist_t *issues, float congestion_75p, float congestion_std, bool verbose)
{
    if (verbose) {
        log_debug("congestion_75p: %f > 35 ?\n", static_cast<double>(congestion_75p));
        log_debug("congestion_std: %f > 9 ?\n", static_cast<double>(congestion_std));
    }
    vantu::append_issue(issues, NEIGHBOURS,
                        vantu::score_either_above(neighbours_ladder, congestion_75p, congestion_std));
}

void apply_household(sclist_t *issues, float tx_mean, float inbss_mean, bool verbose)
{
    if (verbose)
        log_debug("tx_mean: %f + inbss_mean: %f) > 25 \n", static_cast<double>(tx_mean),
                  static_cast<double>(inbss_mean));
    vantu::append_issue(issues, HOUSEHOLD, vantu::score_above(household_ladder, tx_mean + inbss_mean));
}

void apply_noise(sclist_t *issues, float glitch_75p, float badplcp_75p, bool verbose)
{
    if (verbose) {
        log_debug("glitch_75p: %f > 1300 ?\n", static_cast<double>(glitch_75p));
        log_debug("badplcp_75p: %f > 40 ?\n", static_cast<double>(badplcp_75p));
    }
    vantu::append_issue(issues, NOISE, vantu::score_either_above(noise_ladder, glitch_75p, badplcp_75p));
}

} // namespace

int brcm_issueclassifier(sclist_t *datalist, sclist_t *issues, vantu_issue_statistics *stats, const char *mac,
                         int _verbose)
{
    const bool verbose = _verbose != 0;
    if (verbose && sclist_size(datalist) > 0)
        log_debug("%s: %s %s", __func__, mac == nullptr ? "" : mac, mac == nullptr ? "" : mac);
    features all = {};
    collect(datalist, all);
    if (verbose)
        log_debug("array_length after filter is %d\n", all.glitch.length);

    for (feature *sorted : {&all.congestion, &all.glitch, &all.badplcp, &all.tx, &all.inbss})
        sorted->sort();
    stats->congestion_mean = all.congestion.mean();
    stats->txop_mean = all.txops.mean();

    apply_coverage(issues, all.rx_last_rssi_1.mean(), verbose);
    apply_neighbours(issues, all.congestion.percentile(0.75F), all.congestion.deviation(), verbose);
    // Both are 90th percentiles, whatever their names.
    apply_household(issues, all.tx.percentile(0.9F), all.inbss.percentile(0.9F), verbose);
    apply_noise(issues, all.glitch.percentile(0.75F), all.badplcp.percentile(0.75F), verbose);
    return static_cast<int>(sclist_size(issues));
}

int brcm_calc_issues(sclist_t *data, sclist_t *issues, vantu_issue_statistics *stats, const char *interface,
                     const char *mac)
{
    (void)interface;
    return brcm_issueclassifier(data, issues, stats, mac, libs2global_verbose);
}
