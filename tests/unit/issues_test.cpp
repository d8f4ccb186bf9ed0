// Issues from the kept samples of radios and stations: every step of every ladder, what is logged, and the report.
// Where a step's exact limit cannot be had from samples, which are whole numbers, the statistics functions answer with
// figures that the test gives them.

#include "vantu-libs2/issues.h"

#include "support.hpp"
#include "support/issues.hpp"
#include "vantu-libs2/sclists-functions.h"
#include "vantu-libs2/vantu-math.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <json-c/json.h>
#include <limits>
#include <type_traits>

using namespace std::string_literals;
using namespace support;

namespace
{

// The call of vantum_create_float_array, counted from 1, that finds no memory; 0 for none.
int failing_array = 0;
int arrays = 0;

// The same for the calls of json-c.
int failing_json = 0;
int json_calls = 0;

bool json_fails()
{
    return ++json_calls == failing_json;
}

} // namespace

// Called instead of the functions of these names, which the linker renames.
extern "C" {
float *__real_vantum_create_float_array(int size);

float *__wrap_vantum_create_float_array(int size)
{
    return ++arrays == failing_array ? nullptr : __real_vantum_create_float_array(size);
}

json_object *__real_json_object_new_object(void);
json_object *__real_json_object_new_array(void);
json_object *__real_json_object_new_string(const char *text);
json_object *__real_json_object_new_double(double number);
int __real_json_object_object_add(json_object *object, const char *name, json_object *value);
int __real_json_object_array_add(json_object *array, json_object *value);
const char *__real_json_object_to_json_string(json_object *object);
json_object *__real_json_tokener_parse(const char *text);

json_object *__wrap_json_object_new_object(void)
{
    return json_fails() ? nullptr : __real_json_object_new_object();
}

json_object *__wrap_json_object_new_array(void)
{
    return json_fails() ? nullptr : __real_json_object_new_array();
}

json_object *__wrap_json_object_new_string(const char *text)
{
    return json_fails() ? nullptr : __real_json_object_new_string(text);
}

json_object *__wrap_json_object_new_double(double number)
{
    return json_fails() ? nullptr : __real_json_object_new_double(number);
}

int __wrap_json_object_object_add(json_object *object, const char *name, json_object *value)
{
    return json_fails() ? -1 : __real_json_object_object_add(object, name, value);
}

int __wrap_json_object_array_add(json_object *array, json_object *value)
{
    return json_fails() ? -1 : __real_json_object_array_add(array, value);
}

const char *__wrap_json_object_to_json_string(json_object *object)
{
    return json_fails() ? nullptr : __real_json_object_to_json_string(object);
}

// A text with a gap, as json-c leaves it, parses to something else or to nothing.
json_object *__wrap_json_tokener_parse(const char *text)
{
    return __real_json_tokener_parse(json_fails() ? "{ \"Issues\": [ { \"Issue\": \"noise\" } ] }" : text);
}
}

namespace
{

// ---- Lists of issues ----

struct issue_list : sclist_t {
    issue_list() { EXPECT_EQ(vantu_issuelist_init(this), 0); }
    ~issue_list() { sclist_destroy(this); }
    issue_list(const issue_list &) = delete;
    issue_list &operator=(const issue_list &) = delete;

    void add(int id, double score)
    {
        vantu_issue issue = {};
        issue.issueid = id;
        issue.score = score;
        ASSERT_EQ(sclist_append(this, &issue), 1);
    }
};

// ---- A radio with samples ----

class radio
{
public:
    explicit radio(int capacity = RADIO_STATS_BUFFER_SIZE)
    {
        put(record.interface, "wl0");
        EXPECT_EQ(vantu_issuelist_init(&record.issues), 0);
        vantu_ringbuffer_init(&record.radio_stats_buff, capacity, sizeof(vantu_radio_stats));
    }
    ~radio()
    {
        sclist_destroy(&record.issues);
        vantu_ringbuffer_free(&record.radio_stats_buff);
    }
    radio(const radio &) = delete;
    radio &operator=(const radio &) = delete;

    struct shares {
        uint32_t utilization;
        uint32_t transmit;
        uint32_t receive_self;
        uint32_t receive_other;
    };

    void add(const shares &sample, int count = 1)
    {
        vantu_radio_stats stats = {};
        stats.utilization = sample.utilization;
        stats.transmit = sample.transmit;
        stats.receive_self = sample.receive_self;
        stats.receive_other = sample.receive_other;
        for (int i = 0; i < count; i++)
            ASSERT_NE(vantu_ringbuffer_write(&record.radio_stats_buff, &stats), nullptr);
    }

    texts issues()
    {
        const quiet_log quiet;
        const int result = vantu_issues_calculate_for_radio(&record);
        texts out = issues_in(record.issues);
        EXPECT_EQ(result, static_cast<int>(out.size()));
        return out;
    }

    vantu_common_radio record = {};
};

class Issues : public testing::Test
{
protected:
    Issues()
    {
        given.clear();
        failing_array = 0;
        arrays = 0;
    }
    ~Issues() override
    {
        given.clear();
        failing_array = 0;
    }
};

using RadioIssues = Issues;
using StationIssues = Issues;
using Report = Issues;

// From the most severe step down. NEIGHBOURS: the percentile, or the deviation.
constexpr float neighbours_steps[] = {50, 47, 45, 40, 32, 27, 20, 15, 10, 5};
constexpr float neighbours_deviations[] = {14, 13, 12, 11, 10, 9, 8, 7, 6, 5};
constexpr float household_steps[] = {60, 45, 40, 35, 30, 25, 20, 15, 10, 5};
constexpr float coverage_steps[] = {-82.5F, -80, -77.5F, -75, -72.5F, -70, -67.5F, -65, -62.5F, -60};
constexpr float noise_steps[] = {-82, -83, -84, -85, -86, -87, -88, -89, -90, -91};

// Each series of this radio has a value of its own: others 1, own 300 (100 received and 200 sent), in use 7, idle 93.
void add_marked_samples(radio &of)
{
    of.add({7, 200, 100, 1}, 10);
}

given_figure percentile(float series, float value)
{
    return {given_figure::PERCENTILE, series, 0.9F, value};
}

TEST_F(RadioIssues, NeighboursScoreByThePercentileAboveEachStep)
{
    around_each_step(neighbours_steps, true, [](float figure, int score) {
        radio of;
        add_marked_samples(of);
        given = {percentile(1, figure), {given_figure::DEVIATION, 1, 0, 0}, percentile(300, 0)};
        EXPECT_EQ(of.issues(), one("NEIGHBOURS", score)) << figure;
    });
}

TEST_F(RadioIssues, NeighboursScoreByTheDeviationAboveEachStep)
{
    around_each_step(neighbours_deviations, true, [](float figure, int score) {
        radio of;
        add_marked_samples(of);
        given = {percentile(1, 0), {given_figure::DEVIATION, 1, 0, figure}, percentile(300, 0)};
        EXPECT_EQ(of.issues(), one("NEIGHBOURS", score)) << figure;
    });
}

TEST_F(RadioIssues, NeighboursScoreByTheMoreSevereOfTheTwo)
{
    const struct {
        float percentile;
        float deviation;
        int score;
    } rows[] = {
        {50, 14, 9},  {51, 0, 10}, {0, 15, 10},        {6, 13.5F, 9},           {46, 5.5F, 8},
        {5.5F, 6, 1}, {5, 5, 0},   {32.5F, 14.5F, 10}, {not_a_number, 9.5F, 5}, {28, not_a_number, 5},
    };
    for (const auto &row : rows) {
        radio of;
        add_marked_samples(of);
        given = {percentile(1, row.percentile), {given_figure::DEVIATION, 1, 0, row.deviation}, percentile(300, 0)};
        EXPECT_EQ(of.issues(), one("NEIGHBOURS", row.score)) << row.percentile << " " << row.deviation;
    }
}

TEST_F(RadioIssues, HouseholdScoresByThePercentileAboveEachStep)
{
    around_each_step(household_steps, true, [](float figure, int score) {
        radio of;
        add_marked_samples(of);
        given = {percentile(1, 0), percentile(300, figure)};
        EXPECT_EQ(of.issues(), one("HOUSEHOLD", score)) << figure;
    });
}

TEST_F(RadioIssues, OfConstantSamplesFollowTheLaddersToo)
{
    for (uint32_t share = 0; share <= 70; share++) {
        int neighbours = 0;
        int household = 0;
        for (int i = 9; i >= 0; i--) {
            neighbours = static_cast<float>(share) > neighbours_steps[i] ? 10 - i : neighbours;
            household = static_cast<float>(share) > household_steps[i] ? 10 - i : household;
        }
        radio others;
        others.add({0, 0, 0, share}, 12);
        EXPECT_EQ(others.issues(), one("NEIGHBOURS", neighbours)) << share;
        radio own;
        own.add({0, share / 3, share - share / 3, 0}, 12);
        EXPECT_EQ(own.issues(), one("HOUSEHOLD", household)) << share;
    }
}

TEST_F(RadioIssues, ConstantNeighboursAt48ScoreNine)
{
    radio of;
    of.add({0, 0, 0, 48}, 10);
    EXPECT_EQ(of.issues(), texts{"NEIGHBOURS 9"});
}

TEST_F(RadioIssues, ConstantNeighboursAt50ScoreNineSinceTheComparisonIsStrict)
{
    radio of;
    of.add({0, 0, 0, 50}, 10);
    EXPECT_EQ(of.issues(), texts{"NEIGHBOURS 9"});
    of.add({0, 0, 0, 51}, 500);
    EXPECT_EQ(of.issues(), texts{"NEIGHBOURS 10"});
}

TEST_F(RadioIssues, DeviationAloneMakesNeighboursAnIssue)
{
    const struct {
        uint32_t deviation;
        int score;
    } rows[] = {{14, 9}, {13, 8}, {10, 5}, {6, 1}};
    for (const auto &row : rows) {
        // Half of the samples 0 and half twice the deviation: its percentile alone would score less.
        radio of;
        of.add({0, 0, 0, 0}, 10);
        of.add({0, 0, 0, 2 * row.deviation}, 10);
        given = {percentile(0, 0)};
        EXPECT_EQ(of.issues(), one("NEIGHBOURS", row.score)) << row.deviation;
    }
}

TEST_F(RadioIssues, PercentilesAreOfTheSortedSamples)
{
    // The tenth of eleven is the 90th percentile: of the sorted ones 30 and 26, in time order 1 and 2.
    radio of;
    for (const uint32_t other : {31, 30, 29, 29, 29, 29, 29, 29, 29, 28, 29})
        of.add({0, 0, 0, other});
    EXPECT_EQ(of.issues(), texts{"NEIGHBOURS 5"});
    radio own;
    for (const uint32_t share : {27, 26, 2, 2, 2, 2, 2, 2, 2, 1, 2})
        own.add({0, share, 0, 0});
    EXPECT_EQ(own.issues(), texts{"HOUSEHOLD 5"});
}

TEST_F(RadioIssues, PercentileIsInterpolated)
{
    // Of ten samples it lies a tenth of the way from the ninth to the tenth: 20 to 40 gives 22, 20 to 10 cannot be.
    radio of;
    of.add({0, 0, 0, 20}, 9);
    of.add({0, 0, 0, 40});
    given = {{given_figure::DEVIATION, 20, 0, 0}};
    EXPECT_EQ(of.issues(), texts{"NEIGHBOURS 4"});
    radio level;
    level.add({0, 0, 0, 20}, 10);
    EXPECT_EQ(level.issues(), texts{"NEIGHBOURS 3"});
}

TEST_F(RadioIssues, NeighboursStandBeforeHousehold)
{
    radio of;
    of.add({90, 20, 10, 60}, 10);
    EXPECT_EQ(of.issues(), (texts{"NEIGHBOURS 10", "HOUSEHOLD 5"}));
}

TEST_F(RadioIssues, OfNineSamplesAreThoseOfBeforeAndTheResultIsZero)
{
    for (int count = 0; count <= 9; count++) {
        radio of;
        ASSERT_EQ(vantu_issues_calculate_for_radio(&of.record), 0);
        vantu_issue earlier = {};
        earlier.issueid = WRONGBAND;
        earlier.score = 3;
        ASSERT_EQ(sclist_append(&of.record.issues, &earlier), 1);
        of.record.issue_stats = {41, 42.5F, 43.5F};
        of.add({99, 40, 40, 99}, count);
        const log_capture log;
        EXPECT_EQ(vantu_issues_calculate_for_radio(&of.record), 0) << count;
        EXPECT_EQ(log.lines, texts{});
        EXPECT_EQ(issues_in(of.record.issues), texts{"WRONGBAND 3"});
        EXPECT_EQ(of.record.issue_stats.samples, 41);
        EXPECT_EQ(of.record.issue_stats.txop_mean, 42.5F);
        EXPECT_EQ(of.record.issue_stats.congestion_mean, 43.5F);
    }
}

TEST_F(RadioIssues, OfTenQuietSamplesAreNone)
{
    radio of;
    vantu_issue earlier = {};
    earlier.issueid = NEIGHBOURS;
    earlier.score = 3;
    ASSERT_EQ(sclist_append(&of.record.issues, &earlier), 1);
    of.add({0, 0, 0, 0}, 10);
    EXPECT_EQ(of.issues(), texts{});
    EXPECT_EQ(of.record.issue_stats.samples, 10);
    EXPECT_EQ(of.record.issue_stats.congestion_mean, 0.0F);
    EXPECT_EQ(of.record.issue_stats.txop_mean, 100.0F);
}

TEST_F(RadioIssues, ReplaceThoseOfBefore)
{
    radio of;
    of.add({90, 20, 10, 60}, 10);
    EXPECT_EQ(of.issues().size(), 2U);
    EXPECT_EQ(of.issues(), (texts{"NEIGHBOURS 10", "HOUSEHOLD 5"}));
}

TEST_F(RadioIssues, ComeWithTheMeansOfUtilizationAndOfWhatItLeavesFree)
{
    radio of;
    for (const uint32_t utilization : {90, 10, 20, 30, 40, 50, 60, 70, 80, 100, 11, 9})
        of.add({utilization, 0, 0, 0});
    EXPECT_EQ(of.issues(), texts{});
    EXPECT_EQ(of.record.issue_stats.samples, 12);
    EXPECT_EQ(of.record.issue_stats.congestion_mean, 47.5F);
    EXPECT_EQ(of.record.issue_stats.txop_mean, 52.5F);
}

TEST_F(RadioIssues, MeansAreSummedInAscendingOrderOfUtilizationAndInTimeOrderOfWhatIsFree)
{
    // Beyond 2^24 the order of a sum of floats shows.
    const radio::shares small = {101, 0, 0, 0};
    const radio::shares large = {16777316, 0, 0, 0};
    radio first;
    first.add(large);
    first.add(small, 9);
    EXPECT_EQ(first.issues(), texts{});
    EXPECT_EQ(first.record.issue_stats.congestion_mean, 1677822.375F);
    EXPECT_EQ(first.record.issue_stats.txop_mean, -1677721.625F);
    radio last;
    last.add(small, 9);
    last.add(large);
    EXPECT_EQ(last.issues(), texts{});
    EXPECT_EQ(last.record.issue_stats.congestion_mean, 1677822.375F);
    EXPECT_EQ(last.record.issue_stats.txop_mean, -1677722.375F);
}

TEST_F(RadioIssues, UtilizationAbove100LeavesLessThanNothingFree)
{
    radio of;
    of.add({150, 0, 0, 0}, 10);
    EXPECT_EQ(of.issues(), texts{});
    EXPECT_EQ(of.record.issue_stats.congestion_mean, 150.0F);
    EXPECT_EQ(of.record.issue_stats.txop_mean, -50.0F);
}

TEST_F(RadioIssues, OfFiguresThatNoRadioCanHaveAreCalculatedAllTheSame)
{
    for (const uint32_t share : {0x7fffffffU, 0x80000000U, 0x80000001U, 0xffffffffU}) {
        radio of;
        of.add({share, 0, 0, share}, 10);
        EXPECT_EQ(of.issues(), texts{"NEIGHBOURS 10"}) << share;
        EXPECT_EQ(of.record.issue_stats.congestion_mean, static_cast<float>(share)) << share;
    }
}

TEST_F(RadioIssues, AreOfTheSamplesThatTheHistoryStillHolds)
{
    radio of(12);
    of.add({100, 60, 60, 100}, 12); // overwritten
    of.add({8, 1, 2, 3}, 12);
    EXPECT_EQ(of.issues(), texts{});
    EXPECT_EQ(of.record.issue_stats.samples, 12);
    EXPECT_EQ(of.record.issue_stats.congestion_mean, 8.0F);
    of.add({8, 60, 1, 3}, 7);
    EXPECT_EQ(of.issues(), texts{"HOUSEHOLD 10"});
}

TEST_F(RadioIssues, OfAFullHistoryThatWasReadFromCountEachSampleOnce)
{
    radio of(12);
    of.add({8, 1, 2, 3}, 12);
    ASSERT_NE(vantu_ringbuffer_read(&of.record.radio_stats_buff), nullptr);
    EXPECT_EQ(of.issues(), texts{});
    EXPECT_EQ(of.record.issue_stats.samples, 11);
    EXPECT_EQ(of.record.issue_stats.congestion_mean, 8.0F);
}

TEST_F(RadioIssues, AreLoggedWithFiguresThatNothingDependsOn)
{
    radio of;
    put(of.record.interface, "wl1");
    for (const uint32_t other : {8, 1, 2, 3, 4, 5, 6, 7, 0, 9, 10}) // 0 to 10: 5, and 7.5 at three quarters
        of.add({0, 2 * other, other, other});
    const log_capture log;
    EXPECT_EQ(vantu_issues_calculate_for_radio(&of.record), 2);
    EXPECT_EQ(log.lines,
              (texts{"DEBUG calculating issues on wl1 with 11 samples", "DEBUG issue array_length after cleanup 11",
                     "DEBUG neighbours_mean: 5.000000, neighbours_75p: 7.500000",
                     "DEBUG household_mean: 15.000000, household_75p: 22.500000"}));
    EXPECT_EQ(issues_in(of.record.issues), (texts{"NEIGHBOURS 1", "HOUSEHOLD 5"}));
}

TEST_F(RadioIssues, WithoutMemoryAreThoseOfBefore)
{
    radio of;
    of.add({90, 20, 10, 60}, 10);
    ASSERT_EQ(of.issues().size(), 2U);
    const int needed = arrays;
    ASSERT_GT(needed, 0);
    of.add({0, 0, 0, 0}, 500);
    for (int call = 1; call <= needed; call++) {
        arrays = 0;
        failing_array = call;
        const quiet_log quiet;
        EXPECT_EQ(vantu_issues_calculate_for_radio(&of.record), 0) << call;
        EXPECT_EQ(issues_in(of.record.issues).size(), 2U) << call;
        EXPECT_EQ(of.record.issue_stats.samples, 10) << call;
    }
}

TEST_F(RadioIssues, AreZeroedRecordsButForIdAndScore)
{
    radio of;
    of.add({90, 20, 10, 60}, 10);
    ASSERT_EQ(of.issues().size(), 2U);
    vantu_issue want;
    memset(&want, 0, sizeof(want));
    want.issueid = HOUSEHOLD;
    want.score = 5;
    EXPECT_EQ(memcmp(sclist_get_at(&of.record.issues, 1), &want, sizeof(want)), 0);
}

// ---- Stations ----

struct history : vantu_ringbuffer {
    explicit history(int capacity = 500) : vantu_ringbuffer()
    {
        vantu_ringbuffer_init(this, capacity, sizeof(vantu_sta_stats));
    }
    ~history() { vantu_ringbuffer_free(this); }
    history(const history &) = delete;
    history &operator=(const history &) = delete;

    void add(int signal, int noise, int count = 1)
    {
        vantu_sta_stats stats = {};
        stats.signal = signal;
        stats.noise = noise;
        for (int i = 0; i < count; i++)
            ASSERT_NE(vantu_ringbuffer_write(this, &stats), nullptr);
    }

    // The issues of the station alone.
    texts issues()
    {
        const quiet_log quiet;
        issue_list none;
        issue_list found;
        const int result = vantu_issues_calculate_for_device(this, &none, &found, nullptr, nullptr);
        texts out = issues_in(found);
        EXPECT_EQ(result, static_cast<int>(out.size()));
        return out;
    }
};

TEST_F(StationIssues, CoverageScoresByThePercentileBelowEachStep)
{
    around_each_step(coverage_steps, false, [](float figure, int score) {
        history of;
        of.add(-1, -100, 10);
        given = {percentile(-1, figure)};
        EXPECT_EQ(of.issues(), one("COVERAGE", score)) << figure;
    });
}

TEST_F(StationIssues, NoiseScoresByTheMeanAboveEachStep)
{
    around_each_step(noise_steps, true, [](float figure, int score) {
        history of;
        of.add(-1, -100, 10);
        given = {{given_figure::MEAN, -100, 0, figure}};
        EXPECT_EQ(of.issues(), one("NOISE", score)) << figure;
    });
}

TEST_F(StationIssues, MeanNoiseOneFloatBesideEachStepIsToldFromIt)
{
    // Of so many samples, one that is 1 dB off moves the mean to the next float.
    constexpr int samples = 131072;
    for (int i = 0; i < 10; i++) {
        const auto step = static_cast<int>(noise_steps[i]);
        for (const int off : {-1, 0, 1}) {
            history of(samples);
            of.add(-1, step, samples - 1);
            of.add(-1, step + off);
            EXPECT_EQ(of.issues(), one("NOISE", off == 1 ? 10 - i : 9 - i)) << step << " " << off;
        }
    }
}

TEST_F(StationIssues, OfConstantSamplesFollowTheLaddersToo)
{
    for (int level = -100; level <= -50; level++) {
        int coverage = 0;
        int noise = 0;
        for (int i = 9; i >= 0; i--) {
            coverage = static_cast<float>(level) < coverage_steps[i] ? 10 - i : coverage;
            noise = static_cast<float>(level) > noise_steps[i] ? 10 - i : noise;
        }
        history weak;
        weak.add(level, -95, 10);
        EXPECT_EQ(weak.issues(), one("COVERAGE", coverage)) << level;
        history noisy;
        noisy.add(-50, level, 10);
        EXPECT_EQ(noisy.issues(), one("NOISE", noise)) << level;
    }
}

TEST_F(StationIssues, WeakSignalWithLittleNoiseIsCoverageOnly)
{
    history of;
    of.add(-85, -95, 20);
    EXPECT_EQ(of.issues(), texts{"COVERAGE 10"});
}

TEST_F(StationIssues, SignalIsTheOneAtNinetyPercentOfTheTimeUnsortedWhichIsKept)
{
    // The tenth of eleven in time order, whatever the others are.
    history tenth;
    tenth.add(-50, -95, 9);
    tenth.add(-85, -95);
    tenth.add(-50, -95);
    EXPECT_EQ(tenth.issues(), texts{"COVERAGE 10"});
    history others;
    others.add(-85, -95, 9);
    others.add(-50, -95);
    others.add(-85, -95);
    EXPECT_EQ(others.issues(), texts{});
    // Of ten it lies a tenth of the way from the ninth to the last: -60 to -80 gives -62.
    history between;
    between.add(-90, -95, 8);
    between.add(-60, -95);
    between.add(-80, -95);
    EXPECT_EQ(between.issues(), texts{"COVERAGE 1"});
}

TEST_F(StationIssues, SamplesAreTakenFromTheOldestToTheNewestOfAFullHistory)
{
    history of(11);
    of.add(-50, -95, 16);
    of.add(-81, -95); // becomes the tenth of what is left
    of.add(-50, -95);
    EXPECT_EQ(of.issues(), texts{"COVERAGE 9"});
}

TEST_F(StationIssues, OfAFullHistoryThatWasReadFromCountEachSampleOnce)
{
    history of(12);
    of.add(-90, -95, 12);
    ASSERT_NE(vantu_ringbuffer_read(&of), nullptr);
    EXPECT_EQ(of.issues(), texts{"COVERAGE 10"});
}

TEST_F(StationIssues, WithoutSamplesThatIsAnErrorAndNothingIsAppended)
{
    history of;
    issue_list of_radio;
    of_radio.add(NEIGHBOURS, 4);
    issue_list found;
    found.add(CABLE, 1);
    vantu_issue_statistics statistics = {1, 2, 3};
    const log_capture log;
    EXPECT_EQ(vantu_issues_calculate_for_device(&of, &of_radio, &found, &statistics, "02:00:00:00:00:01"), 0);
    EXPECT_EQ(log.lines, texts{"ERROR sta_stats_buff ringbuff is 0. returning"});
    EXPECT_EQ(issues_in(found), texts{"CABLE 1"});
}

TEST_F(StationIssues, OfNineSamplesAndFewerAreNoneAlsoNotTheRadios)
{
    for (int count = 1; count <= 9; count++) {
        history of;
        of.add(-90, -50, count);
        issue_list of_radio;
        of_radio.add(NEIGHBOURS, 4);
        issue_list found;
        found.add(CABLE, 1);
        const log_capture log;
        EXPECT_EQ(vantu_issues_calculate_for_device(&of, &of_radio, &found, nullptr, nullptr), 0);
        EXPECT_EQ(log.lines, texts{"DEBUG not enough samples for sta issue " + std::to_string(count)});
        EXPECT_EQ(issues_in(found), texts{"CABLE 1"});
    }
}

TEST_F(StationIssues, AreItsOwnAndThenCopiesOfItsRadiosBehindWhatTheListHolds)
{
    history of;
    of.add(-90, -50, 10);
    issue_list of_radio;
    of_radio.add(HOUSEHOLD, 4);
    of_radio.add(NEIGHBOURS, 3);
    of_radio.add(CABLE, 2.5);
    issue_list found;
    found.add(WRONGBAND, 7);
    vantu_issue_statistics statistics = {1, 2, 3};
    const log_capture log;
    EXPECT_EQ(vantu_issues_calculate_for_device(&of, &of_radio, &found, &statistics, "02:00:00:00:00:01"), 6);
    EXPECT_EQ(issues_in(found),
              (texts{"WRONGBAND 7", "COVERAGE 10", "NOISE 10", "HOUSEHOLD 4", "NEIGHBOURS 3", "CABLE 2.5"}));
    EXPECT_EQ(issues_in(of_radio), (texts{"HOUSEHOLD 4", "NEIGHBOURS 3", "CABLE 2.5"}));
    EXPECT_NE(sclist_get_at(&found, 3), sclist_get_at(&of_radio, 0)) << "copies";
    EXPECT_EQ(of_radio.iter_active, 0);
    EXPECT_EQ(statistics.samples, 1);
    EXPECT_EQ(statistics.txop_mean, 2);
    EXPECT_EQ(statistics.congestion_mean, 3);
    EXPECT_EQ(log.lines, texts{"TRACE array_length after filter is 10"});
}

TEST_F(StationIssues, OfAGoodLinkAreItsRadiosTwo)
{
    history of;
    of.add(-45, -95, 30);
    issue_list of_radio;
    of_radio.add(NEIGHBOURS, 9);
    of_radio.add(HOUSEHOLD, 1);
    issue_list found;
    const quiet_log quiet;
    EXPECT_EQ(vantu_issues_calculate_for_device(&of, &of_radio, &found, nullptr, nullptr), 2);
    EXPECT_EQ(issues_in(found), (texts{"NEIGHBOURS 9", "HOUSEHOLD 1"}));
}

TEST_F(StationIssues, WithoutMemoryAreNone)
{
    history of;
    of.add(-90, -50, 10);
    ASSERT_EQ(of.issues().size(), 2U);
    const int needed = arrays;
    for (int call = 1; call <= needed; call++) {
        arrays = 0;
        failing_array = call;
        EXPECT_EQ(of.issues(), texts{}) << call;
    }
}

// ---- The report ----

std::string reported(issue_list &issues)
{
    const log_capture log;
    std::string out = standard_output_of([&] { EXPECT_EQ(issues_to_json(&issues), 0); });
    EXPECT_EQ(log.lines, texts{});
    EXPECT_EQ(issues.iter_active, 0);
    return out;
}

TEST_F(Report, NamesEachIssueButCableAndUnknownOnesWhichAreEmptyObjectsWhichIsKept)
{
    const struct {
        int id;
        double score;
        const char *want;
    } rows[] = {
        {NEIGHBOURS, 9, R"({ "Issues": [ { "Issue": "congestion", "Score": 9.0 } ] })"},
        {HOUSEHOLD, 1, R"({ "Issues": [ { "Issue": "contention", "Score": 1.0 } ] })"},
        {COVERAGE, 10, R"({ "Issues": [ { "Issue": "signal_strength", "Score": 10.0 } ] })"},
        {NOISE, 2.5, R"({ "Issues": [ { "Issue": "noise", "Score": 2.5 } ] })"},
        {WRONGBAND, 4, R"({ "Issues": [ { "Issue": "band", "Score": 4.0 } ] })"},
        {CABLE, 4, R"({ "Issues": [ { } ] })"},
        {END, 4, R"({ "Issues": [ { } ] })"},
        {7, 4, R"({ "Issues": [ { } ] })"},
        {-1, 4, R"({ "Issues": [ { } ] })"},
    };
    for (const auto &row : rows) {
        issue_list issues;
        issues.add(row.id, row.score);
        EXPECT_EQ(reported(issues), row.want + "\n"s) << row.id;
    }
}

TEST_F(Report, OfNoIssueHasAnEmptyArray)
{
    issue_list issues;
    EXPECT_EQ(reported(issues), "{ \"Issues\": [ ] }\n");
}

TEST_F(Report, IsInTheListsOrder)
{
    issue_list issues;
    issues.add(NOISE, 3);
    issues.add(CABLE, 6);
    issues.add(NEIGHBOURS, 10);
    issues.add(NOISE, 1);
    EXPECT_EQ(reported(issues), "{ \"Issues\": [ { \"Issue\": \"noise\", \"Score\": 3.0 }, { }, "
                                "{ \"Issue\": \"congestion\", \"Score\": 10.0 }, { \"Issue\": \"noise\", \"Score\": "
                                "1.0 } ] }\n");
}

TEST_F(Report, CanBeReadBack)
{
    issue_list issues;
    issues.add(COVERAGE, 7);
    issues.add(CABLE, 2);
    issues.add(WRONGBAND, 1);
    const std::string text = reported(issues);
    json_object *report = json_tokener_parse(text.c_str());
    ASSERT_NE(report, nullptr);
    EXPECT_EQ(json_object_object_length(report), 1);
    json_object *array = nullptr;
    ASSERT_TRUE(json_object_object_get_ex(report, "Issues", &array));
    ASSERT_EQ(json_object_get_type(array), json_type_array);
    ASSERT_EQ(json_object_array_length(array), 3U);
    EXPECT_EQ(json_object_object_length(json_object_array_get_idx(array, 0)), 2);
    EXPECT_EQ(json_object_object_length(json_object_array_get_idx(array, 1)), 0);
    const struct {
        size_t at;
        const char *name;
        double score;
    } rows[] = {{0, "signal_strength", 7}, {2, "band", 1}};
    for (const auto &row : rows) {
        json_object *issue = json_object_array_get_idx(array, row.at);
        json_object *field = nullptr;
        ASSERT_TRUE(json_object_object_get_ex(issue, "Issue", &field));
        EXPECT_STREQ(json_object_get_string(field), row.name);
        ASSERT_TRUE(json_object_object_get_ex(issue, "Score", &field));
        EXPECT_EQ(json_object_get_type(field), json_type_double);
        EXPECT_EQ(json_object_get_double(field), row.score);
    }
    EXPECT_EQ(json_object_put(report), 1);
}

TEST_F(Report, WithoutMemoryIsNoneAndSaysSo)
{
    issue_list issues;
    issues.add(NOISE, 3);
    issues.add(CABLE, 6);
    json_calls = 0;
    EXPECT_EQ(reported(issues), "{ \"Issues\": [ { \"Issue\": \"noise\", \"Score\": 3.0 }, { } ] }\n");
    const int needed = json_calls;
    ASSERT_GE(needed, 12);
    for (int call = 1; call <= needed; call++) {
        const log_capture log;
        json_calls = 0;
        failing_json = call;
        EXPECT_EQ(standard_output_of([&] { EXPECT_EQ(issues_to_json(&issues), 0); }), "") << call;
        failing_json = 0;
        EXPECT_EQ(log.lines, texts{"ERROR no memory for the report of 2 issues"}) << call;
        EXPECT_EQ(issues.iter_active, 0);
    }
}

TEST(Verbose, IsAnIntAndOffAtTheStart)
{
    static_assert(std::is_same_v<decltype(libs2global_verbose), int>);
    EXPECT_EQ(libs2global_verbose, 0);
}

} // namespace
