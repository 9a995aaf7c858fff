#include "LarkmoorPlatform/PropertyList.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

#include "LarkmoorPlatform/UTF8.h"

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

Node parseDictionary(BytesView document) {
    Node root = parse(document);
    if (root && plist_get_node_type(root.get()) != PLIST_DICT) root.reset();
    return root;
}

/// XML has no way to write most of the control characters.
bool canStandInXML(std::string_view text) {
    return UTF8::isValid(text) && std::ranges::none_of(text, [](char letter) {
               return static_cast<unsigned char>(letter) < 0x20 && letter != '\t' && letter != '\n';
           });
}

}  // namespace

bool isReadable(BytesView document) { return parseDictionary(document) != nullptr; }

std::optional<std::string> textUnder(BytesView document, std::string_view key) {
    const Node root = parseDictionary(document);
    if (!root) return std::nullopt;
    plist_t item = plist_dict_get_item(root.get(), std::string{key}.c_str());
    if (item == nullptr || plist_get_node_type(item) != PLIST_STRING) return std::nullopt;
    std::uint64_t length = 0;
    const char* text = plist_get_string_ptr(item, &length);
    return std::string{text, length};
}

std::optional<bool> flagUnder(BytesView document, std::string_view key) {
    const Node root = parseDictionary(document);
    if (!root) return std::nullopt;
    plist_t item = plist_dict_get_item(root.get(), std::string{key}.c_str());
    if (item == nullptr) return std::nullopt;
    switch (plist_get_node_type(item)) {
        case PLIST_BOOLEAN: {
            std::uint8_t flag = 0;
            plist_get_bool_val(item, &flag);
            return flag != 0;
        }
        case PLIST_UINT: {
            std::uint64_t number = 0;
            plist_get_uint_val(item, &number);
            return number != 0;
        }
        case PLIST_REAL: {
            double number = 0;
            plist_get_real_val(item, &number);
            return number != 0;
        }
        default:
            return std::nullopt;
    }
}

std::optional<Bytes> setting(BytesView document, const std::string& key, const std::variant<std::string, bool>& value) {
    const auto* text = std::get_if<std::string>(&value);
    if (!canStandInXML(key) || (text != nullptr && !canStandInXML(*text))) return std::nullopt;
    const Node root = document.empty() ? Node{plist_new_dict()} : parseDictionary(document);
    if (!root) return std::nullopt;
    plist_dict_set_item(root.get(), key.c_str(),
                        text != nullptr ? plist_new_string(text->c_str()) : plist_new_bool(*std::get_if<bool>(&value)));
    char* xml = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(root.get(), &xml, &length);
    if (xml == nullptr) return std::nullopt;
    Bytes written = copyBytes(std::string_view{xml, length});
    plist_to_xml_free(xml);
    return written;
}

}  // namespace larkmoor::PropertyList
