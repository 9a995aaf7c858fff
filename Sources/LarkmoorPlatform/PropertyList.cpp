#include "LarkmoorPlatform/PropertyList.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "LarkmoorBase/UTF8.h"
#include "LarkmoorPlatform/PropertyListLimits.h"

namespace larkmoor::PropertyList {

namespace {

struct FreePlist {
    void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, FreePlist>;

Node parse(BytesView document) {
    if (document.empty() || !PropertyListLimits::allow(document)) return nullptr;
    plist_t root = nullptr;
    const std::string_view text = asText(document);
    const auto read = PropertyListLimits::isBinary(document) ? plist_from_bin : plist_from_xml;
    read(text.data(), static_cast<std::uint32_t>(text.size()), &root);
    return Node{root};
}

Node parseDictionary(BytesView document) {
    Node root = parse(document);
    if (root && plist_get_node_type(root.get()) != PLIST_DICT) root.reset();
    return root;
}

std::string textOf(plist_t node) {
    std::uint64_t length = 0;
    const char* text = plist_get_string_ptr(node, &length);
    return {text, length};
}

PropertyListValue valueOf(plist_t node);

PropertyListValue::Dictionary dictionaryOf(plist_t node) {
    plist_dict_iter cursor = nullptr;
    plist_dict_new_iter(node, &cursor);
    const std::unique_ptr<void, decltype(&std::free)> freed{cursor, &std::free};
    PropertyListValue::Dictionary dictionary;
    for (;;) {
        char* key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, cursor, &key, &item);
        if (item == nullptr) return dictionary;
        const std::unique_ptr<char, decltype(&std::free)> name{key, &std::free};
        dictionary.insert_or_assign(key, valueOf(item));
    }
}

PropertyListValue::Array arrayOf(plist_t node) {
    // By index it would be quadratic.
    plist_array_iter cursor = nullptr;
    plist_array_new_iter(node, &cursor);
    const std::unique_ptr<void, decltype(&std::free)> freed{cursor, &std::free};
    PropertyListValue::Array array;
    for (;;) {
        plist_t item = nullptr;
        plist_array_next_item(node, cursor, &item);
        if (item == nullptr) return array;
        array.push_back(valueOf(item));
    }
}

PropertyListValue valueOf(plist_t node) {
    switch (plist_get_node_type(node)) {
        case PLIST_BOOLEAN: {
            std::uint8_t flag = 0;
            plist_get_bool_val(node, &flag);
            return PropertyListValue{flag != 0};
        }
        case PLIST_UINT: {
            std::uint64_t number = 0;
            plist_get_uint_val(node, &number);
            // The library has unsigned integers only; a negative one is stored as its two's complement.
            return PropertyListValue{static_cast<std::int64_t>(number)};
        }
        case PLIST_REAL: {
            double number = 0;
            plist_get_real_val(node, &number);
            return PropertyListValue{number};
        }
        case PLIST_STRING:
            return PropertyListValue{textOf(node)};
        case PLIST_ARRAY:
            return PropertyListValue{arrayOf(node)};
        case PLIST_DICT:
            return PropertyListValue{dictionaryOf(node)};
        default:
            return PropertyListValue{};
    }
}

std::optional<PropertyListValue> valueUnder(BytesView document, std::string_view key) {
    const Node root = parseDictionary(document);
    plist_t item = root ? plist_dict_get_item(root.get(), std::string{key}.c_str()) : nullptr;
    return item != nullptr ? std::optional{valueOf(item)} : std::nullopt;
}

/// XML cannot express most control characters.
bool canStandInXML(std::string_view text) {
    return UTF8::isValid(text) && std::ranges::none_of(text, [](char letter) {
               return static_cast<unsigned char>(letter) < 0x20 && letter != '\t' && letter != '\n';
           });
}

}  // namespace

std::optional<PropertyListValue::Dictionary> dictionary(BytesView document) {
    const Node root = parseDictionary(document);
    return root ? std::optional{dictionaryOf(root.get())} : std::nullopt;
}

bool isReadable(BytesView document) { return parseDictionary(document) != nullptr; }

std::optional<std::string> textUnder(BytesView document, std::string_view key) {
    const auto held = valueUnder(document, key);
    const auto* text = held ? held->as<std::string>() : nullptr;
    return text != nullptr ? std::optional{*text} : std::nullopt;
}

std::optional<bool> flagUnder(BytesView document, std::string_view key) {
    const auto held = valueUnder(document, key);
    if (!held) return std::nullopt;
    if (const auto* flag = held->as<bool>()) return *flag;
    if (const auto* whole = held->as<std::int64_t>()) return *whole != 0;
    if (const auto* real = held->as<double>()) return *real != 0;
    return std::nullopt;
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
    if (!PropertyListLimits::allow(written)) return std::nullopt;
    return written;
}

}  // namespace larkmoor::PropertyList
