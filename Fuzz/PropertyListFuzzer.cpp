// Any bytes are a list within the limits or refused; what is written into a list is read from it, beside the rest.
#include <algorithm>

#include "LarkmoorPlatform/PropertyList.h"
#include "LarkmoorPlatform/PropertyListLimits.h"
#include "Require.h"

namespace {

using namespace larkmoor;
using fuzz::require;
using Dictionary = PropertyListValue::Dictionary;

struct Size {
    std::uint64_t nodes = 0;
    int depth = 0;
};

void measure(const PropertyListValue& value, int level, Size& size) {
    ++size.nodes;
    const auto* dictionary = value.as<Dictionary>();
    const auto* array = value.as<PropertyListValue::Array>();
    if (dictionary != nullptr || array != nullptr) size.depth = std::max(size.depth, level + 1);
    if (dictionary != nullptr) {
        for (const auto& [key, inner] : *dictionary) measure(inner, level + 1, size);
    }
    if (array != nullptr) {
        for (const PropertyListValue& inner : *array) measure(inner, level + 1, size);
    }
}

void writeAndRead(BytesView document, Dictionary held, const std::string& key,
                  const std::variant<std::string, bool>& value) {
    const auto written = PropertyList::setting(document, key, value);
    if (!written) return;
    const auto again = PropertyList::dictionary(*written);
    require(again.has_value(), "a written list is readable");
    std::visit([&](const auto& plain) { held.insert_or_assign(key, PropertyListValue{plain}); }, value);
    require(again->size() == held.size() && again->at(key) == held.at(key), "what was written is read");
    if (document.empty()) require(*again == held, "a list of our own reads back equal");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const BytesView bytes = std::as_bytes(std::span{data, size});
    const std::string text{asText(bytes)};
    const std::string key = text.substr(0, text.find('='));
    writeAndRead({}, {}, key, text);
    writeAndRead({}, {}, key, text.size() % 2 == 0);
    const auto list = PropertyList::dictionary(bytes);
    require(list.has_value() == PropertyList::isReadable(bytes), "both readers agree");
    if (!list) return 0;
    Size found;
    measure(PropertyListValue{*list}, 0, found);
    require(found.depth <= PropertyListLimits::maxDepth, "a list is not too deep");
    require(found.nodes <= PropertyListLimits::maxNodes, "a list is not too large");
    writeAndRead(bytes, *list, "added", std::string{"<text>"});
    return 0;
}
