// The change of a document as data: one range of bytes and what takes its place.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "LarkmoorBase/Bytes.h"

namespace larkmoor {

/// Byte offsets in one particular document, half open: `end` is one past the last byte's.
struct ByteRange {
    std::int64_t start = 0;
    std::int64_t end = 0;

    bool operator==(const ByteRange&) const = default;
};

/// The document's text in the range; valid as long as the document's bytes are.
inline std::string_view textOf(ByteRange range, BytesView document) {
    const auto start = static_cast<std::size_t>(range.start);
    return asText(document).substr(start, static_cast<std::size_t>(range.end) - start);
}

struct Splice {
    ByteRange range;  ///< within the document; empty for an insertion
    std::string replacement;
};

/// The document with the splice's range replaced, and every other byte copied.
inline Bytes apply(const Splice& splice, BytesView document) {
    const auto start = static_cast<std::size_t>(splice.range.start);
    const auto end = static_cast<std::size_t>(splice.range.end);
    const BytesView replacement = asBytes(splice.replacement);
    Bytes result;
    result.reserve(document.size() - (end - start) + replacement.size());
    for (const BytesView part : {document.first(start), replacement, document.subspan(end)}) {
        result.insert(result.end(), part.begin(), part.end());
    }
    return result;
}

/// The newline that an edit writes: "\r\n" if that pair occurs anywhere in the document, otherwise "\n".
inline std::string_view lineEnding(BytesView document) { return asText(document).contains("\r\n") ? "\r\n" : "\n"; }

}  // namespace larkmoor
