// The only way in which a configuration file is changed: one stretch of it gives place to a text.
#pragma once

#include <string>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/ByteRange.h"

namespace larkmoor {

struct Splice {
    ByteRange range;  ///< within the document; empty where something is inserted
    std::string replacement;
};

/// The document with the splice's range replaced; every byte outside the range is copied as it stands.
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

}  // namespace larkmoor
