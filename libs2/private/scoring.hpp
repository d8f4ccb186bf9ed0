// Scores issues by ladders of ten thresholds, from the most severe down: the first that holds gives the score, 10 down
// to 1.
#pragma once

#include "vantu-libs2/vantu-wifi-common.h"

#include <cstddef>

namespace vantu
{

// One or two figures are compared at each step; the second threshold of a rule with one figure is never looked at.
struct ladder_step {
    float first;
    float second;
};

using ladder = ladder_step[10];

// The score of the first step that `holds`; 0 when none does.
template <typename Holds>
constexpr int score_of(const ladder &steps, Holds holds)
{
    for (size_t i = 0; i < 10; i++) {
        if (holds(steps[i]))
            return static_cast<int>(10 - i);
    }
    return 0;
}

constexpr int score_above(const ladder &steps, float figure)
{
    return score_of(steps, [=](const ladder_step &step) { return figure > step.first; });
}

constexpr int score_below(const ladder &steps, float figure)
{
    return score_of(steps, [=](const ladder_step &step) { return figure < step.first; });
}

// Either figure exceeds its threshold.
constexpr int score_either_above(const ladder &steps, float first, float second)
{
    return score_of(steps, [=](const ladder_step &step) { return first > step.first || second > step.second; });
}

// Appends an issue with its score; a score of 0 is none.
inline void append_issue(sclist_t *issues, IssueID id, int score)
{
    if (score == 0)
        return;
    vantu_issue issue = {};
    issue.issueid = id;
    issue.score = score;
    (void)sclist_append(issues, &issue);
}

} // namespace vantu
