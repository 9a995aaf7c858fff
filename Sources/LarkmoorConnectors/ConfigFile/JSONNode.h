// The tree of a JSON document: each value knows the bytes that it came from.
#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorConnectors/ConfigFile/Splice.h"

namespace larkmoor {

struct JSONStepCases {
    struct Key {
        std::string text;
        bool operator==(const Key&) const = default;
    };
    struct Index {
        std::int64_t value = 0;
        bool operator==(const Index&) const = default;
    };
};

/// One step of a path: to an object's member by its decoded name, or to an array's element by its index. Converts from
/// text and from whole numbers, so that a path can be written {"hooks", "PreToolUse", 0}.
class JSONStep : public ClosedVariant<JSONStepCases, JSONStepCases::Key, JSONStepCases::Index> {
  public:
    template <std::convertible_to<std::string_view> Text>
    JSONStep(const Text& key) : ClosedVariant(Key{std::string{std::string_view{key}}}) {}

    template <std::integral Whole>
    JSONStep(Whole index) : ClosedVariant(Index{static_cast<std::int64_t>(index)}) {}
};

/// From the top-level value inwards; the empty path means that value itself.
using JSONPath = std::vector<JSONStep>;

class JSONValue;

struct JSONValueCases {
    struct Object {
        std::map<std::string, JSONValue, std::less<>> members;
        bool operator==(const Object& other) const;
    };
    struct Array {
        std::vector<JSONValue> elements;
        bool operator==(const Array& other) const;
    };
    struct String {
        std::string text;
        bool operator==(const String&) const = default;
    };
    /// The number's source text, never a parsed number: 1.0 and 1 differ, and no digit is lost.
    struct Number {
        std::string text;
        bool operator==(const Number&) const = default;
    };
    struct Bool {
        bool value = false;
        bool operator==(const Bool&) const = default;
    };
    struct Null {
        bool operator==(const Null&) const = default;
    };
};

/// A value's content without its place, for comparisons. The order of members does not count.
class JSONValue
    : public ClosedVariant<JSONValueCases, JSONValueCases::Object, JSONValueCases::Array, JSONValueCases::String,
                           JSONValueCases::Number, JSONValueCases::Bool, JSONValueCases::Null> {
  public:
    using ClosedVariant::ClosedVariant;
};

inline bool JSONValueCases::Object::operator==(const Object& other) const { return members == other.members; }
inline bool JSONValueCases::Array::operator==(const Array& other) const { return elements == other.elements; }

struct JSONNode;
struct JSONMember;

struct JSONKindCases {
    /// In document order, duplicates included.
    struct Object {
        std::span<const JSONMember> members;
    };
    /// In document order.
    struct Array {
        std::span<const JSONNode> elements;
    };
    /// Decoded.
    struct String {
        std::string_view text;
    };
    struct Bool {
        bool value = false;
    };
    /// Its text is in the node's byte range.
    struct Number {};
    struct Null {};
};

using JSONKind = ClosedVariant<JSONKindCases, JSONKindCases::Object, JSONKindCases::Array, JSONKindCases::String,
                               JSONKindCases::Bool, JSONKindCases::Number, JSONKindCases::Null>;

/// A view of one value in a document that was scanned: it and its copies are valid as long as that document's scan and
/// bytes are. Offsets have 32 bits, which the scan checks, so that a tree is small.
struct JSONNode {
    using Kind = JSONKind;
    using Member = JSONMember;

    std::int32_t start = 0;  ///< the offset of the value's first byte
    std::int32_t end = 0;    ///< the offset one past its last: past the closing bracket or quote
    Kind kind;

    ByteRange range() const { return {start, end}; }
    bool isObject() const { return kind.is<Kind::Object>(); }
    bool isArray() const { return kind.is<Kind::Array>(); }
    bool isNull() const { return kind.is<Kind::Null>(); }

    /// None on a node that is not an object.
    std::span<const Member> members() const;
    /// None on a node that is not an array.
    std::span<const JSONNode> elements() const;
    /// The decoded text of a string; nullopt for any other node.
    std::optional<std::string_view> text() const;

    /// The first member of that name; null if there is none, or if this is not an object.
    const Member* member(std::string_view key) const;

    /// The node at the path from here; null where the path leads nowhere or to the wrong kind of value.
    const JSONNode* node(const JSONPath& at) const;

    /// The content of this node of the document `in`. Of members with the same name the last wins here, while `member`
    /// and `node` take the first: callers refuse duplicates first.
    JSONValue value(BytesView in) const;
};

struct JSONMember {
    std::string_view key;       ///< decoded
    std::int32_t keyStart = 0;  ///< the offset of the name's opening quote
    JSONNode value;

    /// From the name to the end of the value.
    ByteRange range() const { return {keyStart, value.end}; }
};

namespace JSONDuplicates {

/// Why the object must not be edited: it has two members with the same name, and readers differ in which one they take.
/// A text for the user; nullopt if all names differ. Objects inside it are not checked.
std::optional<std::string> reason(const JSONNode& object);

}  // namespace JSONDuplicates

}  // namespace larkmoor
