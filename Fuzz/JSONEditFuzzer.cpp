// Any document and any place in it: an edit is refused in words, or its result scans, is the input with one range
// replaced, holds the other children to the byte and every comment, and reads back as what was written. The first two
// bytes choose the dialect, the literal and the place to begin at.
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
    const BytesView document = std::as_bytes(std::span{data, size}).subspan(2);
    const JSONDialect dialect = testing::dialectOf(data[0] % 2 == 1);
    const auto scan = JSONText::scanWithTrivia(document, dialect);
    if (!scan) {
        const auto refused = JSONEdit::setMember(document, {}, "k", 1, dialect);
        require(!refused && refused.error().description() == scan.error().description(),
                "an edit refuses as its scan does");
        return 0;
    }
    const testing::EditGuarantees guarantees{document, *scan, dialect};
    require(guarantees.ofEveryPlace("a name of our own \"", literal(data[0] / 2), 4, data[1]));
    return 0;
}
