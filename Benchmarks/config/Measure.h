// Timing and counting for the comparisons of this folder. Seconds are of the processor, user's and system's.
#pragma once

#include <any>
#include <cstddef>
#include <functional>
#include <string>

namespace larkmoor::bench {

/// Median seconds of one call.
double secondsFor(const std::function<void()>& work, int rounds);

struct Comparison {
    double ours = 0;    ///< seconds, the median
    double theirs = 0;  ///< seconds, the median
};

/// Both by turns in one run, so that a busy machine is busy for both; each turn is `repeats` calls.
Comparison compare(const std::function<void()>& ours, const std::function<void()>& theirs, int rounds, int repeats);

/// What went through operator new, in bytes as the allocator rounds them.
struct Memory {
    std::size_t held = 0;  ///< by what the call has left behind
    std::size_t peak = 0;  ///< the most at any one time during the call
};

/// `work` keeps what it made until after it returns; it is called once.
Memory memoryOf(const std::function<void()>& work);

/// Prints time and memory of scanning 1, 4, 16 and 64 MiB. `scan` returns what a caller would hold.
void growth(const char* what, const std::function<std::string(std::size_t)>& document,
            const std::function<std::any(const std::string&)>& scan);

}  // namespace larkmoor::bench
