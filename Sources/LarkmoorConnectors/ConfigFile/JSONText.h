// Reads a JSON document without a change to it: a tree whose every node knows its bytes, or one exact refusal.
#pragma once

#include <expected>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/ByteRange.h"
#include "LarkmoorConnectors/ConfigFile/JSONDialect.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/ConfigFile/JSONTextError.h"

namespace larkmoor {

struct JSONScan {
    JSONNode root;
    std::vector<ByteRange> comments;  ///< in document order; none in the strict dialect
};

namespace JSONText {

/// How many objects and arrays may lie within each other.
inline constexpr int depthLimit = 64;

/// All of the document, in time linear in its length. Members that share a name are all kept, in order. Any thread.
std::expected<JSONScan, JSONTextError> scanWithTrivia(BytesView bytes, JSONDialect dialect);

}  // namespace JSONText

}  // namespace larkmoor
