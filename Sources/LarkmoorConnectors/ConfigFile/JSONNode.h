// A JSON value that knows the bytes it came from. What it holds besides its contents are offsets into one particular
// document: against any other, also the same one after an edit, they mean nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/ByteRange.h"
#include "LarkmoorConnectors/ConfigFile/CompactText.h"
#include "LarkmoorConnectors/ConfigFile/JSONKind.h"
#include "LarkmoorConnectors/ConfigFile/JSONStep.h"
#include "LarkmoorConnectors/ConfigFile/JSONValue.h"

namespace larkmoor {

struct JSONMember;

/// A plain value. Pointers and views into it live as long as it does, unmoved.
struct JSONNode {
    using Kind = JSONKind;
    using Member = JSONMember;

    std::int64_t start = 0;  ///< the offset of the value's first byte
    std::int64_t end = 0;    ///< the offset one past its last: past the closing bracket or quote
    Kind kind;

    JSONNode() = default;
    template <class Held>
    JSONNode(ByteRange range, Held&& held) : start(range.start), end(range.end), kind(std::forward<Held>(held)) {}

    ByteRange range() const { return {start, end}; }
    bool isObject() const { return kind.is<Kind::Object>(); }
    bool isArray() const { return kind.is<Kind::Array>(); }

    /// None on a node that is not an object.
    std::span<const Member> members() const;
    /// None on a node that is not an array.
    std::span<const JSONNode> elements() const;
    /// The decoded text of a string, nothing on any other node.
    std::optional<std::string_view> text() const;

    /// The first member of that name; null if there is none, or if this is not an object.
    const Member* member(std::string_view key) const;

    /// The value at the path from here, by first members; null where it leads nowhere or to the wrong kind of value.
    const JSONNode* node(const JSONPath& at) const;

    /// What this says. Of members with one name the last wins here, while `member` and `node` take the first: callers
    /// refuse duplicates before they ask either. `in` is the document that was scanned.
    JSONValue value(BytesView in) const;
};

struct JSONName {
    CompactText key;            ///< decoded
    std::int64_t keyStart = 0;  ///< the offset of its opening quote
};

struct JSONMember : JSONName {
    JSONNode value;
};

}  // namespace larkmoor
