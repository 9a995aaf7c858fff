// The host's stream during a download: cut alike wherever it is torn, and its progress never goes back. Lines that are
// told apart by comparing mean what they mean when each is parsed.
#include "LarkmoorLocalModels/Pull/PullLines.h"
#include "Require.h"

using namespace larkmoor;
using fuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const BytesView bytes = std::as_bytes(std::span{data, size});
    std::vector<std::string> lines;
    LineReader whole;
    const auto take = [](std::vector<std::string>& into) {
        return [&into](std::string_view line) { return into.emplace_back(line), true; };
    };
    whole.read(bytes, take(lines));
    whole.finish(take(lines));

    std::vector<std::string> torn;
    LineReader pieces;
    for (std::size_t at = 0; at < size;) {
        const std::size_t length = std::min<std::size_t>(1 + (data[at] & 15U), size - at);
        pieces.read(bytes.subspan(at, length), take(torn));
        at += length;
    }
    pieces.finish(take(torn));
    require(lines == torn, "the lines do not depend on the pieces");

    PullLines fast, parsed;
    double highest = 0;
    std::size_t count = 0;
    for (const std::string& line : lines) {
        const auto transfer = fast.read(line);
        // In front of each line another count of blanks than before the last: no line begins like its predecessor.
        const auto same = parsed.read(std::string(1 + count++ % 2, ' ') + line);
        require(transfer == same && fast.error() == parsed.error() && fast.isSuccess() == parsed.isSuccess(),
                "comparing means the same as parsing");
        if (!transfer) continue;
        require(transfer->total.has_value(), "a total is told");
        // Whole bytes and 64 bits are coarser than the sums.
        const auto total = static_cast<double>(*transfer->total);
        if (total < 1 || total > 1e18) return 0;
        const double fraction = *transfer->fraction();
        require(fraction >= highest - 2 / total, "progress never goes back");
        highest = std::max(highest, fraction);
    }
    return 0;
}
