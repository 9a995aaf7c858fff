#include "config/Measure.h"

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

#include "Statistics.h"

namespace {

bool counting = false;
std::size_t live = 0;
std::size_t highest = 0;

void forget(void* memory) {
    if (counting && memory != nullptr) live -= std::min(live, malloc_usable_size(memory));
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
    void* memory = std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc{};
    if (counting) highest = std::max(highest, live += malloc_usable_size(memory));
    return memory;
}
void operator delete(void* memory) noexcept { forget(memory); }
void operator delete(void* memory, std::size_t) noexcept { forget(memory); }

namespace larkmoor::bench {

namespace {

/// The allocator puts off joining what was freed until somebody asks for a large block. What the party before has left
/// to be joined is not to be paid for by the next one.
void settleTheHeap() {
    void* volatile large = std::malloc(1 << 20);
    std::free(large);
}

/// What else runs on the machine counts only as far as it empties the caches.
double timed(const std::function<void()>& work, int repeats) {
    settleTheHeap();
    const double start = threadSeconds();
    for (int left = repeats; left > 0; --left) work();
    return (threadSeconds() - start) / repeats;
}

}  // namespace

double secondsFor(const std::function<void()>& work, int rounds) {
    std::vector<double> times;
    for (int left = rounds; left > 0; --left) times.push_back(timed(work, 1));
    return median(times);
}

Comparison compare(const std::function<void()>& ours, const std::function<void()>& theirs, int rounds, int repeats) {
    std::vector<double> mine, peers;
    ours(), theirs();
    for (int left = rounds; left > 0; --left) {
        mine.push_back(timed(ours, repeats));
        peers.push_back(timed(theirs, repeats));
    }
    return {median(mine), median(peers)};
}

Memory memoryOf(const std::function<void()>& work) {
    live = highest = 0;
    counting = true;
    work();
    counting = false;
    return {live, highest};
}

void growth(const char* what, const std::function<std::string(std::size_t)>& document,
            const std::function<std::any(const std::string&)>& scan) {
    std::printf("\nscan %-20s %12s %10s %30s\n", what, "time", "", "bytes of memory per byte of it");
    for (const std::size_t mebibytes : {1, 4, 16, 64}) {
        const std::string text = document(mebibytes << 20);
        const double seconds = secondsFor([&] { keep(scan(text)); }, mebibytes < 16 ? 15 : 5);
        std::any held;
        const Memory memory = memoryOf([&] { held = scan(text); });
        const double size = static_cast<double>(text.size());
        std::printf("%16zu MiB %17.2f ms %6.0f MB/s %13.2f held, %5.2f at most\n", mebibytes, seconds * 1e3,
                    size / seconds / 1e6, static_cast<double>(memory.held) / size,
                    static_cast<double>(memory.peak) / size);
    }
}

}  // namespace larkmoor::bench
