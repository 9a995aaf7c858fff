// The host's stream during a download: cut alike wherever it is torn, and its progress never goes back. Lines that are
// told apart by comparing, alone or many in one step, mean what they mean when each is parsed.
#include "LarkmoorLocalModels/Pull/PullLines.h"
#include "Require.h"

using namespace larkmoor;
using fuzz::require;

namespace {

struct Reading {
    PullLines lines;
    std::vector<Transfer> told;

    void read(std::string_view line) {
        if (const auto transfer = lines.read(line)) told.push_back(*transfer);
    }
};

/// As a download reads it, in pieces of every length from one byte to a few lines.
Reading readInPieces(BytesView bytes) {
    Reading reading;
    LineReader reader;
    const auto readLine = [&](std::string_view line) { return reading.read(line), true; };
    const auto readAlike = [&](std::string_view text) {
        return reading.lines.readAlike(text, [&](Transfer transfer) { reading.told.push_back(transfer); });
    };
    while (!bytes.empty()) {
        const auto first = static_cast<std::size_t>(bytes.front());
        const std::size_t length = std::min(1 + (first << (first & 3U)), bytes.size());
        reader.read(bytes.first(length), readLine, readAlike);
        bytes = bytes.subspan(length);
    }
    reader.finish(readLine);
    return reading;
}

/// The lines, however the bytes are torn.
std::vector<std::string> linesOf(BytesView bytes) {
    std::vector<std::string> lines, torn;
    const auto take = [](std::vector<std::string>& into) {
        return [&into](std::string_view line) { return into.emplace_back(line), true; };
    };
    LineReader whole, pieces;
    whole.read(bytes, take(lines));
    whole.finish(take(lines));
    while (!bytes.empty()) {
        const std::size_t length = std::min(1 + (static_cast<std::size_t>(bytes.front()) & 15U), bytes.size());
        pieces.read(bytes.first(length), take(torn));
        bytes = bytes.subspan(length);
    }
    pieces.finish(take(torn));
    require(lines == torn, "the lines do not depend on the pieces");
    return lines;
}

bool areSame(const Reading& one, const Reading& other) {
    return one.told == other.told && one.lines.sums() == other.lines.sums() &&
           one.lines.error() == other.lines.error() && one.lines.isSuccess() == other.lines.isSuccess() &&
           one.lines.isUnderstood() == other.lines.isUnderstood();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const BytesView bytes = std::as_bytes(std::span{data, size});
    Reading compared, parsed;
    std::size_t count = 0;
    for (const std::string& line : linesOf(bytes)) {
        compared.read(line);
        // In front of each line another count of blanks than before the last: no line begins like its predecessor.
        parsed.read(std::string(1 + count++ % 2, ' ') + line);
        require(areSame(compared, parsed), "comparing means the same as parsing");
    }
    require(areSame(readInPieces(bytes), parsed), "so it does in one step for many lines");

    double highest = 0;
    for (const Transfer& transfer : parsed.told) {
        require(transfer.total.has_value(), "a total is told");
        // Whole bytes and 64 bits are coarser than the sums.
        const auto total = static_cast<double>(*transfer.total);
        if (total < 1 || total > 1e18) return 0;
        const double fraction = *transfer.fraction();
        require(fraction >= highest - 2 / total, "progress never goes back");
        highest = std::max(highest, fraction);
    }
    return 0;
}
