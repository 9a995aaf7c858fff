// Any document and any place in it: an edit is refused in words, or its result scans, is the input with one range
// replaced, holds the other children to the byte and every comment, and reads back as what was written. The first two
// bytes choose the dialect, the place and the literal.
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

/// Down into the document as the choices go, to the last container on that way.
JSONPath chosenContainer(const JSONNode& root, unsigned choice) {
    JSONPath path;
    const JSONNode* node = &root;
    for (; choice > 0; choice /= 4) {
        const JSONNode* next = nullptr;
        if (!node->members().empty()) {
            const auto key = node->members()[choice % node->members().size()].key.view();
            next = &node->member(key)->value;
            path.push_back(key);
        } else if (!node->elements().empty()) {
            const std::size_t index = choice % node->elements().size();
            next = &node->elements()[index];
            path.push_back(index);
        }
        if (next == nullptr) break;
        if (!next->isObject() && !next->isArray()) {
            path.pop_back();
            break;
        }
        node = next;
    }
    return path;
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
    const JSONPath path = chosenContainer(scan->root, data[1]);
    const JSONNode& container = *scan->root.node(path);
    const testing::EditGuarantees guarantees{document, *scan, dialect};
    if (container.isObject()) {
        require(guarantees.ofSetting(path, "a name of our own \"", literal(data[0] / 2)));
        for (std::size_t index = 0; index < std::min<std::size_t>(container.members().size(), 4); ++index) {
            require(guarantees.ofRemoving(path, index));
            require(guarantees.ofSetting(path, container.members()[index].key.view(), literal(data[0] / 2)));
        }
    } else if (container.isArray() && dialect == JSONDialect::strict) {
        require(guarantees.ofAppending(path, literal(data[0] / 2)));
        for (std::size_t index = 0; index < std::min<std::size_t>(container.elements().size(), 4); ++index) {
            require(guarantees.ofRemovingElement(path, index));
        }
    }
    return 0;
}
