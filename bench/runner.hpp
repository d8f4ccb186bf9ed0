// Measures contenders side by side: every round runs each of them once, so that a busy moment of the machine hits
// all alike, and a figure is the ratio to its peer in the same round.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace bench
{

struct contender {
    std::string name;
    std::function<void()> run;
};

inline double seconds(const std::function<void()> &run)
{
    const auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

inline double quantile(std::vector<double> values, double share)
{
    std::sort(values.begin(), values.end());
    return values[static_cast<size_t>(share * static_cast<double>(values.size() - 1))];
}

// Prints a table: median time of each contender and its ratio to the peer, the one at index `peer`: median, and in
// brackets the quarter and three quarter points. The first round warms up and does not count.
inline void compare(const std::string &title, int rounds, const std::vector<contender> &contenders, size_t peer = 0)
{
    std::vector<std::vector<double>> times(contenders.size());
    std::vector<std::vector<double>> ratios(contenders.size());
    for (int round = -1; round < rounds; round++) {
        std::vector<double> now;
        for (const contender &one : contenders)
            now.push_back(seconds(one.run));
        for (size_t i = 0; round >= 0 && i < now.size(); i++) {
            times[i].push_back(now[i]);
            ratios[i].push_back(now[i] / now[peer]);
        }
    }
    (void)printf("\n%s (median of %d rounds)\n", title.c_str(), rounds);
    for (size_t i = 0; i < contenders.size(); i++)
        (void)printf("  %-52s %10.3f ms  %6.3f  [%.3f, %.3f]\n", contenders[i].name.c_str(),
                     quantile(times[i], 0.5) * 1e3, quantile(ratios[i], 0.5), quantile(ratios[i], 0.25),
                     quantile(ratios[i], 0.75));
    (void)fflush(stdout);
}

} // namespace bench
