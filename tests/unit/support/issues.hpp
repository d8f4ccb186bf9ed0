// Issues and the ladders that score them. Where a step's exact limit cannot be had from samples, which are whole
// numbers, the statistics functions answer with figures that a test gives them: for one source file of a program that
// is linked with --wrap for the three.
#pragma once

#include "support/text.hpp"
#include "vantu-libs2/issues.h"

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace support
{

// A figure that a statistics function answers for a series, which is known by its first value.
struct given_figure {
    enum { MEAN, DEVIATION, PERCENTILE } what;
    float series;
    float fraction; // of a percentile
    float value;
};
inline std::vector<given_figure> given;

template <typename Real>
float figure(int what, const float *sequence, float fraction, Real real)
{
    for (const given_figure &row : given) {
        if (row.what == what && row.series == sequence[0] &&
            (what != given_figure::PERCENTILE || row.fraction == fraction))
            return row.value;
    }
    return real();
}

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();

inline float below(float number)
{
    return std::nextafterf(number, -infinity);
}

inline float above(float number)
{
    return std::nextafterf(number, infinity);
}

// Calls `check` with figures around each step and the score that each must give: a step of a rising ladder holds above
// its threshold only, one of a falling ladder below it only.
inline void around_each_step(const float (&steps)[10], bool rising,
                             const std::function<void(float figure, int score)> &check)
{
    for (int i = 0; i < 10; i++) {
        const int holds = 10 - i;
        const int next = holds - 1;
        check(below(steps[i]), rising ? next : holds);
        check(steps[i], next);
        check(above(steps[i]), rising ? holds : next);
    }
    check(rising ? infinity : -infinity, 10);
    check(rising ? -infinity : infinity, 0);
    check(not_a_number, 0);
}

// "NEIGHBOURS 9" and so on.
inline texts issues_in(sclist_t &list)
{
    const char *const names[] = {"END", "NEIGHBOURS", "HOUSEHOLD", "COVERAGE", "NOISE", "WRONGBAND", "CABLE"};
    texts out;
    for (unsigned int i = 0; i < sclist_size(&list); i++) {
        const auto *issue = static_cast<const vantu_issue *>(sclist_get_at(&list, i));
        char text[64];
        (void)snprintf(text, sizeof(text), "%s %g", names[issue->issueid], issue->score);
        out.emplace_back(text);
    }
    return out;
}

// The issue alone, or none for a score of 0.
inline texts one(const std::string &name, int score)
{
    return score == 0 ? texts{} : texts{name + " " + std::to_string(score)};
}

} // namespace support

// Called instead of the functions of these names, which the linker renames.
extern "C" {
float __real_vantum_mean(const float *sequence, int sequence_length);
float __real_vantum_std(const float *sequence, int sequence_length);
float __real_vantum_percentile(const float *sequence, int sequence_length, float percentile);

float __wrap_vantum_mean(const float *sequence, int sequence_length)
{
    return support::figure(support::given_figure::MEAN, sequence, 0,
                           [&] { return __real_vantum_mean(sequence, sequence_length); });
}

float __wrap_vantum_std(const float *sequence, int sequence_length)
{
    return support::figure(support::given_figure::DEVIATION, sequence, 0,
                           [&] { return __real_vantum_std(sequence, sequence_length); });
}

float __wrap_vantum_percentile(const float *sequence, int sequence_length, float percentile)
{
    return support::figure(support::given_figure::PERCENTILE, sequence, percentile,
                           [&] { return __real_vantum_percentile(sequence, sequence_length, percentile); });
}
}
