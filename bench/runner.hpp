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

// One row of the table that bench/run makes of all benchmarks' output: a figure, and beside it the ratio to its peer or
// what it must be, with the spread. Any of the last three may be empty.
inline void row(const std::string &title, const std::string &name, const std::string &figure, const std::string &ratio,
                const std::string &spread)
{
    (void)printf("row\t%s\t%s\t%s\t%s\t%s\n", title.c_str(), name.c_str(), figure.c_str(), ratio.c_str(),
                 spread.c_str());
    (void)fflush(stdout);
}

inline std::string decimal(double value)
{
    char text[32];
    (void)snprintf(text, sizeof(text), "%.3f", value);
    return text;
}

// A row whose times and ratios were taken in several rounds: the medians, and as the spread of the ratio the quarter
// and three quarter points.
inline void row_of_rounds(const std::string &title, const std::string &name, const std::vector<double> &times,
                          const std::vector<double> &ratios)
{
    row(title, name, decimal(quantile(times, 0.5) * 1e3) + " ms", decimal(quantile(ratios, 0.5)),
        "[" + decimal(quantile(ratios, 0.25)) + ", " + decimal(quantile(ratios, 0.75)) + "]");
}

// Makes a row of each contender: its time, and the ratio to the peer, the one at index `peer`. The first round warms up
// and does not count.
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
    for (size_t i = 0; i < contenders.size(); i++)
        row_of_rounds(title, contenders[i].name, times[i], ratios[i]);
}

} // namespace bench
