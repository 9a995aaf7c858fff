// Apple property lists, XML or binary, read into plain values.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorPlatform/PropertyListValue.h"

namespace larkmoor::PropertyList {

/// Whether the bytes are a property list whose root is a dictionary.
bool isReadable(BytesView document);

/// All of it; nothing if it is no property list whose root is a dictionary, or one nested deeper than 64 levels.
std::optional<PropertyListValue::Dictionary> dictionary(BytesView document);

/// The text under `key` of a property list whose root is a dictionary; nothing if it is no such list, or holds no text
/// there.
std::optional<std::string> textUnder(BytesView document, std::string_view key);

/// The flag there, in the same way; a number is a flag too, and 0 alone is false.
std::optional<bool> flagUnder(BytesView document, std::string_view key);

/// The document as XML with `value` under `key`, in the place of what was there; all else keeps its type and value.
/// An empty document is one without keys. Nothing if it is no list whose root is a dictionary, or if key or value
/// cannot stand in XML.
std::optional<Bytes> setting(BytesView document, const std::string& key, const std::variant<std::string, bool>& value);

}  // namespace larkmoor::PropertyList
