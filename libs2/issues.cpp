// Scores issues from kept samples: see vantu-libs2/issues.h.

#include "vantu-libs2/issues.h"

#include "json.hpp"
#include "scoring.hpp"
#include "vantu-libs2/vantu-math.h"
#include "vantu-ll-api/log.h"

#include <cstdlib>
#include <utility>

int libs2global_verbose = 0;

namespace
{

constexpr int enough_samples = 10;
constexpr float ninety = 0.9F;

// 90th percentile of what other networks use of the channel (percent), or its deviation.
constexpr vantu::ladder neighbours_ladder = {{50, 14}, {47, 13}, {45, 12}, {40, 11}, {32, 10},
                                             {27, 9},  {20, 8},  {15, 7},  {10, 6},  {5, 5}};

// 90th percentile of what the own network uses (percent). The first step is wider than the others, on purpose.
constexpr vantu::ladder household_ladder = {{60, 0}, {45, 0}, {40, 0}, {35, 0}, {30, 0},
                                            {25, 0}, {20, 0}, {15, 0}, {10, 0}, {5, 0}};

// The signal that the station is not below, dBm.
constexpr vantu::ladder coverage_ladder = {{-82.5F, 0}, {-80, 0},    {-77.5F, 0}, {-75, 0},    {-72.5F, 0},
                                           {-70, 0},    {-67.5F, 0}, {-65, 0},    {-62.5F, 0}, {-60, 0}};

// Mean noise, dBm.
constexpr vantu::ladder noise_ladder = {{-82, 0}, {-83, 0}, {-84, 0}, {-85, 0}, {-86, 0},
                                        {-87, 0}, {-88, 0}, {-89, 0}, {-90, 0}, {-91, 0}};

struct float_array_releaser {
    void operator()(float *array) const { vantum_destroy_float_array(array); }
};

// A figure of every sample in a ring, in time order.
class series
{
public:
    explicit series(int size) : values_(vantum_create_float_array(size)), size_(size) {}

    bool is_there() const { return values_ != nullptr; }
    // A walk through a full ring that has been read from gives some of its records again: they are left out.
    template <typename Number>
    void add(Number value)
    {
        if (length_ < size_)
            values_.get()[length_++] = static_cast<float>(value);
    }
    void sort() { qsort(values_.get(), static_cast<size_t>(length_), sizeof(float), vantum_compare_float); }

    int length() const { return length_; }
    float mean() const { return vantum_mean(values_.get(), length_); }
    float deviation() const { return vantum_std(values_.get(), length_); }
    float percentile(float fraction) const { return vantum_percentile(values_.get(), length_, fraction); }

private:
    std::unique_ptr<float, float_array_releaser> values_;
    int size_;
    int length_ = 0;
};

struct radio_series {
    series utilization;
    series idle;
    series neighbours;
    series household;

    explicit radio_series(int length) : utilization(length), idle(length), neighbours(length), household(length) {}

    bool is_there() const
    {
        return utilization.is_there() && idle.is_there() && neighbours.is_there() && household.is_there();
    }
    void add(const vantu_radio_stats &sample)
    {
        utilization.add(sample.utilization);
        idle.add(int64_t{100} - static_cast<int>(sample.utilization));
        neighbours.add(sample.receive_other);
        household.add(sample.receive_self + sample.transmit);
    }
};

void score_radio(vantu_common_radio &radio, radio_series &figures)
{
    figures.utilization.sort();
    figures.household.sort();
    figures.neighbours.sort();
    log_debug("neighbours_mean: %f, neighbours_75p: %f", static_cast<double>(figures.neighbours.mean()),
              static_cast<double>(figures.neighbours.percentile(0.75F)));
    log_debug("household_mean: %f, household_75p: %f", static_cast<double>(figures.household.mean()),
              static_cast<double>(figures.household.percentile(0.75F)));

    (void)sclist_clear(&radio.issues);
    vantu::append_issue(&radio.issues, NEIGHBOURS,
                        vantu::score_either_above(neighbours_ladder, figures.neighbours.percentile(ninety),
                                                  figures.neighbours.deviation()));
    vantu::append_issue(&radio.issues, HOUSEHOLD,
                        vantu::score_above(household_ladder, figures.household.percentile(ninety)));
    radio.issue_stats.congestion_mean = figures.utilization.mean();
    radio.issue_stats.txop_mean = figures.idle.mean();
    radio.issue_stats.samples = figures.utilization.length();
}

// What an issue is called in the report; null for one that has no name.
const char *name_of(int issueid)
{
    switch (issueid) {
    case NEIGHBOURS:
        return "congestion";
    case HOUSEHOLD:
        return "contention";
    case COVERAGE:
        return "signal_strength";
    case NOISE:
        return "noise";
    case WRONGBAND:
        return "band";
    default:
        return nullptr;
    }
}

// Null when memory is short, as below.
vantu::json_text to_json(const vantu_issue &issue)
{
    vantu::json_text object(json_object_new_object());
    const char *name = name_of(issue.issueid);
    if (name != nullptr &&
        !(vantu::add_member(object.get(), "Issue", vantu::json_text(json_object_new_string(name))) &&
          vantu::add_member(object.get(), "Score", vantu::json_text(json_object_new_double(issue.score)))))
        return nullptr;
    return object;
}

vantu::json_text to_json(sclist_t *issues)
{
    vantu::json_text array(json_object_new_array());
    bool complete = array != nullptr;
    SCLIST_FOREACH(vantu_issue, issue, issues) {
        complete = complete && vantu::add_element(array.get(), to_json(*issue));
    }
    SCLIST_FOREACH_END(issues);
    vantu::json_text report(json_object_new_object());
    if (!complete || !vantu::add_member(report.get(), "Issues", std::move(array)))
        return nullptr;
    return report;
}

// The text of a report, which json-c leaves with gaps when memory is short; null when it is not what it must be.
const char *text_of(json_object *report)
{
    const char *text = report != nullptr ? json_object_to_json_string(report) : nullptr;
    if (text == nullptr)
        return nullptr;
    const vantu::json_text again(json_tokener_parse(text));
    return json_object_equal(again.get(), report) != 0 ? text : nullptr;
}

} // namespace

int vantu_issues_calculate_for_radio(vantu_common_radio *radio)
{
    vantu_ringbuffer *ring = &radio->radio_stats_buff;
    const int samples = vantu_ringbuffer_size(ring);
    if (samples < enough_samples)
        return 0;
    log_debug("calculating issues on %s with %d samples", radio->interface, samples);

    radio_series figures(samples);
    if (!figures.is_there()) {
        log_error("no memory for %d samples of %s", samples, radio->interface);
        return 0;
    }
    vantu_ringbuffer_itterator_start(ring);
    while (const auto *sample = static_cast<const vantu_radio_stats *>(vantu_ringbuffer_itterator_next(ring)))
        figures.add(*sample);
    log_debug("issue array_length after cleanup %d", figures.utilization.length());
    score_radio(*radio, figures);
    return static_cast<int>(sclist_size(&radio->issues));
}

int vantu_issues_calculate_for_device(vantu_ringbuffer *sta_stats_buff, sclist_t *radio_issues, sclist_t *device_issues,
                                      vantu_issue_statistics *stats, const char *mac)
{
    (void)stats;
    (void)mac;
    const int samples = vantu_ringbuffer_size(sta_stats_buff);
    if (samples == 0) {
        log_error("sta_stats_buff ringbuff is 0. returning");
        return 0;
    }
    if (samples < enough_samples) {
        log_debug("not enough samples for sta issue %d", samples);
        return 0;
    }
    series signal(samples);
    series noise(samples);
    if (!signal.is_there() || !noise.is_there()) {
        log_error("no memory for %d samples", samples);
        return 0;
    }
    vantu_ringbuffer_itterator_start(sta_stats_buff);
    while (const auto *sample = static_cast<const vantu_sta_stats *>(vantu_ringbuffer_itterator_next(sta_stats_buff))) {
        signal.add(sample->signal);
        noise.add(sample->noise);
    }
    log_trace("array_length after filter is %d", signal.length());
    if (signal.length() == 0) {
        log_error("array_length is 0. not enough data for issues");
        return 0;
    }
    // The signal is not sorted: the figure is the one at 90 % of the time, on purpose.
    vantu::append_issue(device_issues, COVERAGE, vantu::score_below(coverage_ladder, signal.percentile(ninety)));
    vantu::append_issue(device_issues, NOISE, vantu::score_above(noise_ladder, noise.mean()));
    SCLIST_FOREACH(vantu_issue, issue, radio_issues) {
        (void)sclist_append(device_issues, issue);
    }
    SCLIST_FOREACH_END(radio_issues);
    return static_cast<int>(sclist_size(device_issues));
}

int issues_to_json(sclist_t *issues)
{
    const vantu::json_text report = to_json(issues);
    const char *text = text_of(report.get());
    if (text != nullptr)
        (void)printf("%s\n", text);
    else
        log_error("no memory for the report of %u issues", sclist_size(issues));
    return 0;
}
