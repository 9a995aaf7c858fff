// Any bytes scan or are refused at one place inside them. Of what scans, nodes nest, lie in order and never overlap,
// and what lies between them is trivia or punctuation; without its comments it is a document of the strict dialect.
#include "LarkmoorConnectors/ConfigFile/JSONGuarantees.h"
#include "Require.h"

namespace {

using namespace larkmoor;
using fuzz::require;

using Read = std::expected<JSONDocument, JSONTextError>;

/// With a blank in the place of each.
std::string withoutComments(const JSONDocument& document) {
    std::string text{asText(document.bytes())};
    for (const ByteRange comment : document.comments()) {
        std::fill(text.begin() + comment.start, text.begin() + comment.end, ' ');
    }
    return text;
}

void check(const Read& read, BytesView bytes) {
    if (read) return require(testing::Tiling{*read}.broken());
    require(read.error().offset >= 0 && read.error().offset <= std::ssize(bytes),
            "an error names a place in the bytes");
    require(!read.error().reason.empty(), "an error says why");
}

void sameValue(const JSONDocument& left, const JSONDocument& right, const char* what) {
    require(left.root().value(left.bytes()) == right.root().value(right.bytes()), what);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const BytesView bytes = std::as_bytes(std::span{data, size});
    const Read strict = JSONDocument::read(bytes, JSONDialect::strict);
    const Read commented = JSONDocument::read(bytes, JSONDialect::withComments);
    check(strict, bytes);
    check(commented, bytes);
    if (strict) {
        require(strict->comments().empty(), "plain JSON has no comments");
        require(commented.has_value(), "plain JSON is JSON with comments");
        sameValue(*strict, *commented, "both dialects read the same");
    }
    if (commented) {
        const Read plain = JSONDocument::read(asBytes(withoutComments(*commented)), JSONDialect::strict);
        require(plain.has_value(), "without its comments it is plain JSON");
        sameValue(*plain, *commented, "which reads the same");
    }
    return 0;
}
