// Bounds on property lists of other programs. libplist has none: a few hundred bytes of a binary list can make it
// allocate gigabytes, and it frees a list recursively. So a list is measured before libplist sees it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "LarkmoorBase/Bytes.h"

namespace larkmoor::PropertyListLimits {

constexpr std::size_t maxBytes = 4 << 20;
/// Containers in one another, the root included.
constexpr int maxDepth = 64;
/// Keys and values, each counted as often as it is referred to. In a binary list a text or data counts one more for
/// each 64 of its bytes.
constexpr std::uint64_t maxNodes = 100'000;
/// References to characters (`&amp;`) in XML, since libplist moves the rest of the text for each.
constexpr std::int64_t maxCharacterReferences = 4'096;

/// Whether a parser may be given the bytes. It does not say that they are a property list; of XML it may refuse a list
/// that is within the limits, but has markup of containers in comments, character data or a document type.
bool allow(BytesView document);

/// Whether the bytes are to be read as a binary list; if not, as XML.
bool isBinary(BytesView document);

}  // namespace larkmoor::PropertyListLimits
