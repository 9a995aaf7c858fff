// A value as JSON text, for tools that print it. Generates code as Encoder.h does: include it only in the .cpp file.
#pragma once

#include <string>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/JSON/Encoder.h"

namespace larkmoor {

/// Compact; "null" for no value, and for a text that is not UTF-8, which has no JSON form.
template <class T>
std::string jsonText(const T& value) {
    const auto document = Encoder::encode(value);
    return document ? std::string{asText(*document)} : "null";
}

}  // namespace larkmoor
