// Any document and any place in it: an edit is refused in words, or its result scans, is the input with one range
// replaced, holds the other children to the byte and every comment, and reads back as what was written. Removing items
// all at once is removing them one by one. The first two bytes choose the dialect, the literal, the first place and the
// items to remove.
#include "LarkmoorConnectors/ConfigFile/JSONGuarantees.h"
#include "Require.h"

namespace {

using namespace larkmoor;
using fuzz::require;

JSONLiteral literal(unsigned choice) {
    const JSONLiteral inner = JSONLiteral::object({{"type", "command"}, {"\n\"", -1}});
    switch (choice % 6) {
        case 0:
            return "x\\\"\n\x01\u00e9";
        case 1:
            return INT64_MIN;
        case 2:
            return true;
        case 3:
            return JSONLiteral::array({});
        case 4:
            return JSONLiteral::array({inner, 1});
        default:
            return inner;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const BytesView bytes = std::as_bytes(std::span{data, size}).subspan(2);
    const JSONDialect dialect = testing::dialectOf(data[0] % 2 == 1);
    const auto document = JSONDocument::read(bytes, dialect);
    if (!document) return 0;
    const testing::EditGuarantees guarantees{*document};
    require(guarantees.ofEveryPlace("a name of our own \"", literal(data[0] / 2), 4, data[1]));
    require(guarantees.ofRemovingAll(
        [number = 0U, chosen = unsigned{data[1]}]() mutable { return (chosen >> (number++ % 8) & 1U) != 0; }));
    return 0;
}
