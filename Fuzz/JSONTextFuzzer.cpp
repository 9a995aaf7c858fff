// Any bytes scan or are refused at one place inside them. Of what scans, nodes nest, lie in order and never overlap,
// and what lies between them is trivia or punctuation; without its comments it is a document of the strict dialect.
#include "LarkmoorConnectors/ConfigFile/JSONGuarantees.h"
#include "Require.h"

namespace {

using namespace larkmoor;
using fuzz::require;

/// A blank in the place of each.
std::string withoutComments(BytesView bytes, const JSONScan& scan) {
    std::string text{asText(bytes)};
    for (auto comment = scan.comments.rbegin(); comment != scan.comments.rend(); ++comment) {
        const auto start = static_cast<std::size_t>(comment->start);
        text.replace(start, static_cast<std::size_t>(comment->end) - start, " ");
    }
    return text;
}

void checkRefusal(BytesView bytes, const JSONTextError& error) {
    require(error.offset >= 0 && error.offset <= std::ssize(bytes), "a refusal names a place in the document");
    require(!error.reason.empty(), "a refusal says why");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const BytesView bytes = std::as_bytes(std::span{data, size});
    const auto strict = JSONText::scanWithTrivia(bytes, JSONDialect::strict);
    const auto commented = JSONText::scanWithTrivia(bytes, JSONDialect::withComments);
    if (!strict) checkRefusal(bytes, strict.error());
    if (!commented) checkRefusal(bytes, commented.error());
    if (strict) {
        require(strict->comments.empty(), "plain JSON has no comments");
        require(testing::Tiling{*JSONDocument::read(bytes, JSONDialect::strict)}.broken());
        require(commented.has_value(), "plain JSON is JSON with comments");
        require(strict->root.value(bytes) == commented->root.value(bytes), "both dialects read the same");
    }
    if (commented) {
        require(testing::Tiling{*JSONDocument::read(bytes, JSONDialect::withComments)}.broken());
        const std::string plain = withoutComments(bytes, *commented);
        const auto again = JSONText::scanWithTrivia(asBytes(plain), JSONDialect::strict);
        require(again.has_value(), "without its comments it is plain JSON");
        require(again->root.value(asBytes(plain)) == commented->root.value(bytes), "which says the same");
    }
    return 0;
}
