#include "LarkmoorPlatform/PropertyList.h"

#include <plist/plist.h>

#include <cstdint>
#include <limits>
#include <memory>

namespace larkmoor::PropertyList {

namespace {

struct Freed {
    void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, Freed>;

Node parse(BytesView document) {
    if (document.empty() || document.size() > std::numeric_limits<std::uint32_t>::max()) return nullptr;
    plist_t root = nullptr;
    const std::string_view text = asText(document);
    plist_from_memory(text.data(), static_cast<std::uint32_t>(text.size()), &root);
    return Node{root};
}

}  // namespace

std::optional<std::string> textUnder(BytesView document, std::string_view key) {
    const Node root = parse(document);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT) return std::nullopt;
    plist_t item = plist_dict_get_item(root.get(), std::string{key}.c_str());
    if (item == nullptr || plist_get_node_type(item) != PLIST_STRING) return std::nullopt;
    std::uint64_t length = 0;
    const char* text = plist_get_string_ptr(item, &length);
    return std::string{text, length};
}

}  // namespace larkmoor::PropertyList
