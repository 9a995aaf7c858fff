#include "config/Growth.h"

#include <cstdio>

#include "config/Measure.h"

namespace larkmoor::bench {

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
