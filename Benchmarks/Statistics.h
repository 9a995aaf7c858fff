// What the benchmarks share: the median, the processor's time, and how one gives up.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

namespace larkmoor::bench {

/// Of `values`, of which there is at least one; the upper one of two in the middle.
inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

/// Keeps the optimiser from dropping what made the value.
template <class T>
void keep(const T& value) {
    asm volatile("" : : "r"(&value) : "memory");
}

/// The processor's time of this thread alone: another process may take the processor away in the middle.
inline double threadSeconds() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Ends the benchmark with words on standard error and status 1.
[[noreturn]] inline void give(const std::string& why) {
    std::fprintf(stderr, LARKMOOR_BENCHMARK " benchmark: %s\n", why.c_str());
    std::exit(1);
}

}  // namespace larkmoor::bench
