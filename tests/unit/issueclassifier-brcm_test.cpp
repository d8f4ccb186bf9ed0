// The classifier of a client's Wi-Fi: every step of every ladder, which samples are looked at, and what is logged.
// Where a step's exact limit cannot be had from samples, which are whole numbers, the statistics functions answer with
// figures that the test gives them.

#include "brcm-generic/issueclassifier-brcm.h"

#include "brcm-generic/brcm-sample-table.h"
#include "support.hpp"
#include "support/issues.hpp"
#include "vantu-libs2/issues.h"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/vantu-fpingdq.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <deque>
#include <limits>

using namespace std::string_literals;
using namespace support;

namespace
{

const char client[] = "02:00:00:00:00:21";

// The figures of a row that the classifier looks at.
struct sample {
    int rssi = -50;
    unsigned int glitch = 0;
    unsigned int badplcp = 0;
    int tx = 0;
    int inbss = 0;
    int txop = 100;
};

// Congestion is what the three shares leave of 100.
sample congested(int congestion)
{
    sample out;
    out.txop = 100 - congestion;
    return out;
}

class Classifier : public testing::Test
{
protected:
    Classifier()
    {
        given.clear();
        EXPECT_EQ(vantu_fpingdq_init_table(&pings), 0);
        EXPECT_EQ(vantu_issuelist_init(&found), 0);
    }
    ~Classifier() override
    {
        given.clear();
        libs2global_verbose = 0;
        sclist_destroy(&pings);
        sclist_destroy(&found);
    }

    void add(const sample &figures, int count = 1)
    {
        for (int i = 0; i < count; i++) {
            vantu_brcm_csv_data row = {};
            row.sta_info.antenna_rssi_last_rx_frame[0] = figures.rssi;
            row.sta_info.antenna_rssi_last_rx_frame[1] = -1000; // the other antennas are not looked at
            row.sta_info.antenna_rssi_avg[0] = -1000;
            row.chanim.glitch = figures.glitch;
            row.chanim.badplcp = figures.badplcp;
            row.chanim.tx = figures.tx;
            row.chanim.inbss = figures.inbss;
            row.chanim.txop = figures.txop;
            row.chanim.obss = 1000; // nor are the other shares
            row.chanim.nocat = 1000;
            rows_.push_back(row);
            append(&rows_.back());
        }
    }

    void add_without_row(int count = 1)
    {
        for (int i = 0; i < count; i++)
            append(nullptr);
    }

    // Empties lists for the next case.
    void clear()
    {
        (void)sclist_clear(&pings);
        (void)sclist_clear(&found);
        rows_.clear();
    }

    // "COVERAGE 2" and so on, after all figures were added.
    texts issues(const char *mac = client)
    {
        const int result = brcm_issueclassifier(&pings, &found, &stats, mac, 0);
        EXPECT_EQ(result, static_cast<int>(sclist_size(&found)));
        EXPECT_EQ(pings.iter_active, 0);
        return names();
    }

    texts names() { return issues_in(found); }

    // The issues of samples with these figures only.
    texts issues_of(const std::vector<sample> &samples)
    {
        clear();
        for (const sample &figures : samples)
            add(figures);
        return issues();
    }

    sclist_t pings;
    sclist_t found;
    vantu_issue_statistics stats = {};

private:
    void append(void *row)
    {
        vantu_fpingdq_ping ping = {};
        ping.csvdata = row;
        ASSERT_EQ(sclist_append(&pings, &ping), 1);
    }

    std::deque<vantu_brcm_csv_data> rows_;
};

// From the most severe step down; of NEIGHBOURS and NOISE either of the two figures.
constexpr float coverage_steps[] = {-82.5F, -80, -77.5F, -75, -72.5F, -70, -67.5F, -65, -62.5F, -60};
constexpr float congestion_steps[] = {47.5F, 45, 42.5F, 40, 37.5F, 35, 32.5F, 30, 27.5F, 25};
constexpr float deviation_steps[] = {14, 13, 12, 11, 10, 9, 8, 7, 6, 5};
constexpr float household_steps[] = {38, 36, 34, 32, 30, 28, 26, 24, 22, 20};
constexpr float glitch_steps[] = {2000, 1900, 1800, 1700, 1600, 1500, 1400, 1300, 1200, 1100};
constexpr float badplcp_steps[] = {52.5F, 50, 47.5F, 45, 42.5F, 40, 37.5F, 35, 32.5F, 30};

// Each series has a value of its own: signal -11, glitches 12, bad PLCPs 13, sent 21, received 22, free 23, so that
// congestion is 34. Without figures that are given, these would be issues themselves.
constexpr sample marked = {-11, 12, 13, 21, 22, 23};

enum series { SIGNAL = -11, GLITCH = 12, BADPLCP = 13, TX = 21, INBSS = 22, TXOP = 23, CONGESTION = 34 };

given_figure mean(series of, float value)
{
    return {given_figure::MEAN, static_cast<float>(of), 0, value};
}

given_figure deviation(float value)
{
    return {given_figure::DEVIATION, CONGESTION, 0, value};
}

given_figure percentile(series of, float fraction, float value)
{
    return {given_figure::PERCENTILE, static_cast<float>(of), fraction, value};
}

class Ladders : public Classifier
{
protected:
    Ladders() { add(marked, 10); }

    // The issues when `figures` are what is known; every other figure is good.
    texts issues_with(const std::vector<given_figure> &figures)
    {
        given = figures;
        for (const given_figure &good :
             {mean(SIGNAL, -50), percentile(CONGESTION, 0.75F, 0), deviation(0), percentile(TX, 0.9F, 0),
              percentile(INBSS, 0.9F, 0), percentile(GLITCH, 0.75F, 0), percentile(BADPLCP, 0.75F, 0)})
            given.push_back(good);
        (void)sclist_clear(&found);
        return issues();
    }
};

TEST_F(Ladders, CoverageIsTheMeanSignalBelowEachStep)
{
    around_each_step(coverage_steps, false, [&](float figure, int score) {
        EXPECT_EQ(issues_with({mean(SIGNAL, figure)}), one("COVERAGE", score)) << figure;
    });
}

TEST_F(Ladders, NeighboursAreCongestionAboveEachStep)
{
    around_each_step(congestion_steps, true, [&](float figure, int score) {
        EXPECT_EQ(issues_with({percentile(CONGESTION, 0.75F, figure)}), one("NEIGHBOURS", score)) << figure;
    });
}

TEST_F(Ladders, NeighboursAreItsDeviationAboveEachStep)
{
    around_each_step(deviation_steps, true, [&](float figure, int score) {
        EXPECT_EQ(issues_with({deviation(figure)}), one("NEIGHBOURS", score)) << figure;
    });
}

TEST_F(Ladders, HouseholdIsTheSumOfTwoPercentilesAboveEachStep)
{
    around_each_step(household_steps, true, [&](float figure, int score) {
        EXPECT_EQ(issues_with({percentile(TX, 0.9F, figure)}), one("HOUSEHOLD", score)) << figure;
        EXPECT_EQ(issues_with({percentile(INBSS, 0.9F, figure)}), one("HOUSEHOLD", score)) << figure;
        EXPECT_EQ(issues_with({percentile(TX, 0.9F, figure / 2), percentile(INBSS, 0.9F, figure / 2)}),
                  one("HOUSEHOLD", score))
            << figure;
    });
}

TEST_F(Ladders, HouseholdIsSummedInSinglePrecision)
{
    EXPECT_EQ(issues_with({percentile(TX, 0.9F, 20), percentile(INBSS, 0.9F, 1e-7F)}), texts{});
    EXPECT_EQ(issues_with({percentile(TX, 0.9F, 20), percentile(INBSS, 0.9F, 2e-6F)}), texts{"HOUSEHOLD 1"});
}

TEST_F(Ladders, NoiseIsGlitchesAboveEachStep)
{
    around_each_step(glitch_steps, true, [&](float figure, int score) {
        EXPECT_EQ(issues_with({percentile(GLITCH, 0.75F, figure)}), one("NOISE", score)) << figure;
    });
}

TEST_F(Ladders, NoiseIsBadPlcpsAboveEachStep)
{
    around_each_step(badplcp_steps, true, [&](float figure, int score) {
        EXPECT_EQ(issues_with({percentile(BADPLCP, 0.75F, figure)}), one("NOISE", score)) << figure;
    });
}

TEST_F(Ladders, OfTwoFiguresTheMoreSevereScores)
{
    const struct {
        float first;
        float second;
        int score;
    } neighbours[] = {{47.5F, 14, 9}, {48, 0, 10},   {0, 15, 10},   {26, 13.5F, 9},          {46, 5.5F, 9},
                      {25, 5, 0},     {25.5F, 5, 1}, {25, 5.5F, 1}, {not_a_number, 9.5F, 5}, {36, not_a_number, 5}},
      noise[] = {{2000, 52.5F, 9}, {2001, 0, 10}, {0, 53, 10},   {1101, 50.5F, 9},      {1901, 30.5F, 9},
                 {1100, 30, 0},    {1101, 30, 1}, {1100, 31, 1}, {not_a_number, 41, 5}, {1501, not_a_number, 5}};
    for (const auto &row : neighbours)
        EXPECT_EQ(issues_with({percentile(CONGESTION, 0.75F, row.first), deviation(row.second)}),
                  one("NEIGHBOURS", row.score))
            << row.first << " " << row.second;
    for (const auto &row : noise)
        EXPECT_EQ(issues_with({percentile(GLITCH, 0.75F, row.first), percentile(BADPLCP, 0.75F, row.second)}),
                  one("NOISE", row.score))
            << row.first << " " << row.second;
}

TEST_F(Ladders, TheMeansGoIntoTheStatisticsAndTheirSamplesStay)
{
    stats.samples = 77;
    (void)issues_with({mean(CONGESTION, 12.25F), mean(TXOP, 3.5F)});
    EXPECT_EQ(stats.congestion_mean, 12.25F);
    EXPECT_EQ(stats.txop_mean, 3.5F);
    EXPECT_EQ(stats.samples, 77);
}

// ---- From samples alone ----

TEST_F(Classifier, CoverageFromTheMeanSignalOfTheSamples)
{
    const struct {
        std::vector<int> signals;
        int score;
    } rows[] = {
        {{-65}, 2},      {{-65, -65, -65, -65, -65, -65, -65, -65, -65, -66}, 3}, // -65.1
        {{-59}, 0},      {{-60}, 0},
        {{-61}, 1},      {{-82, -83}, 9}, // -82.5
        {{-83}, 10},     {{-77, -78}, 7},
        {{-72, -73}, 5}, {{-67, -68}, 3},
        {{-62, -63}, 1}, {{-80}, 8},
        {{-75}, 6},      {{-70}, 4},
        {{INT_MIN}, 10}, {{INT_MAX}, 0},
    };
    for (const auto &row : rows) {
        clear();
        for (const int signal : row.signals) {
            sample figures;
            figures.rssi = signal;
            add(figures);
        }
        EXPECT_EQ(issues(), one("COVERAGE", row.score)) << row.signals.front();
    }
}

TEST_F(Classifier, CoverageIsTheMeanWhateverTheOrder)
{
    sample strong;
    strong.rssi = -40;
    sample weak;
    weak.rssi = -91; // the mean is -65.5
    EXPECT_EQ(issues_of({strong, weak, strong, weak}), texts{"COVERAGE 3"});
    EXPECT_EQ(issues_of({weak, weak, strong, strong}), texts{"COVERAGE 3"});
}

TEST_F(Classifier, NeighboursFromSteadyCongestion)
{
    for (int congestion = 20; congestion <= 55; congestion++) {
        int score = 0;
        for (int i = 9; i >= 0; i--)
            score = static_cast<float>(congestion) > congestion_steps[i] ? 10 - i : score;
        clear();
        add(congested(congestion), 7);
        EXPECT_EQ(issues(), one("NEIGHBOURS", score)) << congestion;
    }
}

TEST_F(Classifier, NeighboursFromSpreadAlone)
{
    // A percentile of 20 and a deviation of 13.5 in 200 samples of -7 and 20.
    for (int i = 0; i < 100; i++) {
        add(congested(20));
        add(congested(-7));
    }
    EXPECT_EQ(issues(), texts{"NEIGHBOURS 9"});
    EXPECT_EQ(stats.congestion_mean, 6.5F);
}

TEST_F(Classifier, CongestionIsWhatSendingReceivingAndFreeTimeLeaveAlsoLessThanNothing)
{
    sample figures;
    figures.tx = 7;
    figures.inbss = 6;
    figures.txop = 97;
    add(figures, 3);
    EXPECT_EQ(issues(), texts{});
    EXPECT_EQ(stats.congestion_mean, -10.0F);
    EXPECT_EQ(stats.txop_mean, 97.0F);
}

TEST_F(Classifier, HouseholdFromTheNinetiethPercentilesOfSendingAndReceiving)
{
    // Of eleven samples the tenth in ascending order; the largest and the others do not count.
    const auto samples = [](int tx, int inbss) {
        std::vector<sample> out(11);
        for (size_t i = 0; i < out.size(); i++) {
            out[i].tx = static_cast<int>(i) % 3;
            out[i].inbss = static_cast<int>(i) % 2;
        }
        out[2].tx = 40;
        out[0].tx = tx;
        out[5].inbss = 35;
        out[7].inbss = inbss;
        // Congestion stays at 5.
        for (sample &figures : out)
            figures.txop = 95 - figures.tx - figures.inbss;
        return out;
    };
    EXPECT_EQ(issues_of(samples(15, 6)), texts{"HOUSEHOLD 1"});
    EXPECT_EQ(issues_of(samples(14, 6)), texts{});
    EXPECT_EQ(issues_of(samples(20, 19)), texts{"HOUSEHOLD 10"});
    EXPECT_EQ(issues_of(samples(19, 19)), texts{"HOUSEHOLD 9"});
}

TEST_F(Classifier, HouseholdFromSteadyLoad)
{
    for (int load = 15; load <= 45; load++) {
        int score = 0;
        for (int i = 9; i >= 0; i--)
            score = static_cast<float>(load) > household_steps[i] ? 10 - i : score;
        clear();
        sample figures;
        figures.tx = load / 3;
        figures.inbss = load - load / 3;
        figures.txop = 100 - load;
        add(figures, 5);
        EXPECT_EQ(issues(), one("HOUSEHOLD", score)) << load;
    }
}

TEST_F(Classifier, NoiseFromBadPlcpsWithoutGlitches)
{
    sample figures;
    figures.badplcp = 60;
    add(figures, 4);
    EXPECT_EQ(issues(), texts{"NOISE 10"});
}

TEST_F(Classifier, NoiseFromGlitchesAlsoFromTheMostThereCanBe)
{
    sample figures;
    for (const unsigned int glitches : {2001U, 0x80000000U, UINT_MAX}) {
        figures.glitch = glitches;
        EXPECT_EQ(issues_of({figures, figures}), texts{"NOISE 10"}) << glitches;
    }
    figures.glitch = 0;
    figures.badplcp = UINT_MAX;
    EXPECT_EQ(issues_of({figures, figures}), texts{"NOISE 10"});
    figures.badplcp = 0;
    figures.glitch = 1100;
    EXPECT_EQ(issues_of({figures}), texts{});
    figures.glitch = 1101;
    EXPECT_EQ(issues_of({figures}), texts{"NOISE 1"});
}

TEST_F(Classifier, PercentilesAreOfTheSortedSamples)
{
    // Of five samples the fourth in ascending order.
    std::vector<sample> samples(5);
    const unsigned int glitches[] = {1950, 1850, 1150, 0, 1};
    const unsigned int badplcps[] = {48, 31, 2, 60, 0};
    const int congestions[] = {33, 32, 34, 27, 31}; // with a small deviation
    for (size_t i = 0; i < samples.size(); i++) {
        samples[i] = congested(congestions[i]);
        samples[i].glitch = glitches[i];
    }
    EXPECT_EQ(issues_of(samples), (texts{"NEIGHBOURS 4", "NOISE 8"}));
    for (size_t i = 0; i < samples.size(); i++) {
        samples[i].glitch = 0;
        samples[i].badplcp = badplcps[i];
    }
    EXPECT_EQ(issues_of(samples), (texts{"NEIGHBOURS 4", "NOISE 8"}));
}

TEST_F(Classifier, AQuietStrongLinkHasNoIssues)
{
    vantu_issue earlier = {};
    earlier.issueid = CABLE;
    earlier.score = 5;
    ASSERT_EQ(sclist_append(&found, &earlier), 1);
    for (int i = 0; i < 50; i++)
        add({-50, 100, 3, 4 + i % 2, 3, 85});
    EXPECT_EQ(issues(), texts{"CABLE 5"});
}

TEST_F(Classifier, SeveralIssuesStandInTheOrderCoverageNeighboursHouseholdNoiseBehindWhatTheListHolds)
{
    vantu_issue earlier = {};
    earlier.issueid = NOISE;
    earlier.score = 1;
    ASSERT_EQ(sclist_append(&found, &earlier), 1);
    add({-90, 5000, 0, 20, 20, 10}, 3);
    EXPECT_EQ(issues(), (texts{"NOISE 1", "COVERAGE 10", "NEIGHBOURS 10", "HOUSEHOLD 10", "NOISE 10"}));
    EXPECT_EQ(issues().size(), 9U) << "no state between calls: four more";
}

TEST_F(Classifier, IssuesAreZeroedRecordsButForIdAndScore)
{
    add({-66, 0, 0, 0, 0, 100}, 3);
    ASSERT_EQ(issues(), texts{"COVERAGE 3"});
    vantu_issue want;
    memset(&want, 0, sizeof(want));
    want.issueid = COVERAGE;
    want.score = 3;
    EXPECT_EQ(memcmp(sclist_get_at(&found, 0), &want, sizeof(want)), 0);
}

TEST_F(Classifier, SharesThatNoRadioCanHaveSpoilNeitherTheOtherRulesNorTheProgram)
{
    const sample rows[] = {
        {-90, 0, 0, INT_MIN, 0, 0},       {-90, 0, 0, 0, INT_MIN, 0},       {-90, 0, 0, 0, 0, INT_MIN},
        {-90, 0, 0, INT_MAX, INT_MAX, 0}, {-90, 0, 0, INT_MAX, 0, INT_MAX}, {-90, 0, 0, INT_MIN, INT_MIN, INT_MIN},
    };
    for (const sample &figures : rows) {
        const texts got = issues_of({figures, figures});
        ASSERT_FALSE(got.empty());
        EXPECT_EQ(got.front(), "COVERAGE 10");
        EXPECT_EQ(stats.txop_mean, static_cast<float>(figures.txop));
    }
}

// ---- Which samples ----

sample bad_sample()
{
    return {-90, 9000, 900, 50, 50, -100};
}

TEST_F(Classifier, OnlyTheFirst200SamplesAreLookedAt)
{
    EXPECT_EQ(BRCM_CLASSIFIER_SAMPLES, 200);
    sample first;
    first.rssi = -60;
    for (const int behind : {0, 1, 50}) {
        clear();
        add(first, 200);
        add(bad_sample(), behind);
        EXPECT_EQ(issues(), texts{}) << behind;
        EXPECT_EQ(stats.txop_mean, 100.0F);
        EXPECT_EQ(stats.congestion_mean, 0.0F);
    }
    clear();
    sample last;
    last.rssi = -61;
    add(first, 199);
    add(last);
    add(first, 50);
    EXPECT_EQ(issues(), texts{"COVERAGE 1"}) << "the 200th counts";
    clear();
    add(first, 199);
    EXPECT_EQ(issues(), texts{});
}

TEST_F(Classifier, ElementsWithoutARowAreSkippedWithAndWithoutAMac)
{
    for (const char *mac : {client, static_cast<const char *>(nullptr)}) {
        clear();
        add_without_row(3);
        sample figures;
        figures.txop = 96;
        add(figures);
        add_without_row();
        figures.txop = 98;
        add(figures);
        add_without_row(2);
        EXPECT_EQ(issues(mac), texts{});
        EXPECT_EQ(stats.txop_mean, 97.0F);
        EXPECT_EQ(stats.congestion_mean, 3.0F);
    }
}

TEST_F(Classifier, ElementsWithoutARowDoNotCountAmongThe200)
{
    sample figures;
    figures.rssi = -60;
    for (int i = 0; i < 199; i++) {
        add_without_row();
        add(figures);
    }
    add_without_row(100);
    figures.rssi = -61;
    add(figures);
    add_without_row(100);
    add(bad_sample(), 10);
    EXPECT_EQ(issues(), texts{"COVERAGE 1"});
}

TEST_F(Classifier, WithoutSamplesThereAreNoIssuesAndTheMeansAreNoNumbers)
{
    for (const int without_row : {0, 5}) {
        clear();
        add_without_row(without_row);
        stats = {9, 1, 2};
        EXPECT_EQ(issues(), texts{});
        EXPECT_TRUE(std::isnan(stats.congestion_mean));
        EXPECT_TRUE(std::isnan(stats.txop_mean));
        EXPECT_EQ(stats.samples, 9);
    }
}

TEST_F(Classifier, OfOneSampleThereAreIssues)
{
    EXPECT_EQ(issues_of({{-90, 5000, 0, 20, 20, 10}}),
              (texts{"COVERAGE 10", "NEIGHBOURS 10", "HOUSEHOLD 10", "NOISE 10"}));
}

// ---- What is logged ----

TEST_F(Classifier, LogsNothingUnlessItIsVerbose)
{
    add(bad_sample(), 3);
    const log_capture log;
    EXPECT_EQ(brcm_issueclassifier(&pings, &found, &stats, client, 0), 4);
    EXPECT_EQ(log.lines, texts{});
}

TEST_F(Classifier, VerboseLinesShowEachFigureWithTheLimitOfAMiddleStepAndTheMacTwiceWhichIsKept)
{
    add({-61, 1304, 17, 12, 9, 50}, 2);
    add({-62, 1308, 19, 14, 9, 40}, 2);
    const log_capture log;
    EXPECT_EQ(brcm_issueclassifier(&pings, &found, &stats, client, 1), 4);
    EXPECT_EQ(log.lines,
              (texts{"DEBUG brcm_issueclassifier: 02:00:00:00:00:21 02:00:00:00:00:21",
                     "DEBUG array_length after filter is 4\n", "DEBUG rx_last_rssi_1_mean: -61.500000 < -65 ?\n",
                     "DEBUG congestion_75p: 37.000000 > 35 ?\n", "DEBUG congestion_std: 4.000000 > 9 ?\n",
                     "DEBUG tx_mean: 14.000000 + inbss_mean: 9.000000) > 25 \n",
                     "DEBUG glitch_75p: 1308.000000 > 1300 ?\n", "DEBUG badplcp_75p: 19.000000 > 40 ?\n"}));
    EXPECT_EQ(names(), (texts{"COVERAGE 1", "NEIGHBOURS 5", "HOUSEHOLD 2", "NOISE 3"}));
}

TEST_F(Classifier, VerboseLineTellsTheNumberOfSamplesAfterTheFilter)
{
    const struct {
        int samples;
        int without_row;
        const char *want;
    } rows[] = {{199, 0, "199"}, {200, 0, "200"}, {201, 0, "200"}, {250, 0, "200"}, {7, 30, "7"}, {0, 30, "0"}};
    for (const auto &row : rows) {
        clear();
        add_without_row(row.without_row);
        add({}, row.samples);
        const log_capture log;
        EXPECT_EQ(brcm_issueclassifier(&pings, &found, &stats, client, -1), 0);
        ASSERT_EQ(log.lines.size(), 8U);
        EXPECT_EQ(log.lines[0], "DEBUG brcm_issueclassifier: 02:00:00:00:00:21 02:00:00:00:00:21");
        EXPECT_EQ(log.lines[1], "DEBUG array_length after filter is "s + row.want + "\n");
    }
}

TEST_F(Classifier, VerboseOnAnEmptyListDoesNotNameTheMac)
{
    const log_capture log;
    EXPECT_EQ(brcm_issueclassifier(&pings, &found, &stats, client, 1), 0);
    ASSERT_EQ(log.lines.size(), 7U);
    EXPECT_EQ(log.lines[0], "DEBUG array_length after filter is 0\n");
    EXPECT_EQ(log.lines[2], "DEBUG congestion_75p: 0.000000 > 35 ?\n");
    EXPECT_EQ(log.lines[4], "DEBUG tx_mean: 0.000000 + inbss_mean: 0.000000) > 25 \n");
}

TEST_F(Classifier, VerboseWithoutAMacIsNoFailure)
{
    add({}, 1);
    const log_capture log;
    EXPECT_EQ(brcm_issueclassifier(&pings, &found, &stats, nullptr, 1), 0);
    ASSERT_EQ(log.lines.size(), 8U);
    EXPECT_EQ(log.lines[0].rfind("DEBUG brcm_issueclassifier:", 0), 0U);
}

TEST_F(Classifier, TheOperationIsAsVerboseAsTheProgramAndDoesNotUseTheInterface)
{
    add(bad_sample(), 3);
    for (const char *interface : {"wl0", static_cast<const char *>(nullptr)}) {
        (void)sclist_clear(&found);
        const log_capture log;
        libs2global_verbose = 0;
        EXPECT_EQ(brcm_calc_issues(&pings, &found, &stats, interface, client), 4);
        EXPECT_EQ(names(), (texts{"COVERAGE 10", "NEIGHBOURS 10", "HOUSEHOLD 10", "NOISE 10"}));
        EXPECT_EQ(log.lines, texts{});
        libs2global_verbose = 1;
        EXPECT_EQ(brcm_calc_issues(&pings, &found, &stats, interface, client), 8);
        EXPECT_EQ(log.lines.size(), 8U);
        libs2global_verbose = 0;
    }
    EXPECT_EQ(stats.txop_mean, -100.0F);
    EXPECT_EQ(stats.congestion_mean, 100.0F);
}

} // namespace
