// What work costs: time on the wall, and time on all processors together.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <vector>

namespace bench {

struct Cost {
    double wall = 0.0;  // seconds
    double cpu = 0.0;   // seconds, of all of the process's threads

    Cost operator-(const Cost& other) const { return {wall - other.wall, cpu - other.cpu}; }
};

inline Cost Now() {
    const auto seconds = [](clockid_t clock) {
        timespec time{};
        clock_gettime(clock, &time);
        return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
    };
    return {seconds(CLOCK_MONOTONIC), seconds(CLOCK_PROCESS_CPUTIME_ID)};
}

template <typename Work>
Cost CostOf(const Work& work) {
    const Cost before = Now();
    work();
    return Now() - before;
}

// Which single figures that were held up do not move.
class Median {
  public:
    void add(double sample) { m_samples.push_back(sample); }
    double value() const {
        if (m_samples.empty()) return 0.0;
        std::vector<double> sorted = m_samples;
        const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
        std::nth_element(sorted.begin(), middle, sorted.end());
        return *middle;
    }

  private:
    std::vector<double> m_samples;
};

}  // namespace bench
