// A parsed JSON document as one flat array of values, and the values of JSON numbers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory_resource>
#include <optional>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/JSON/Coding.h"

namespace larkmoor {

/// One value, in document order: what an array or object holds follows it, and its next sibling is `span` nodes on.
struct FlatNode {
    enum class Kind : std::uint8_t { null, boolean, number, string, array, object };

    const char* keyStart = nullptr;
    const char* textStart = nullptr;
    std::uint32_t keySize = 0;
    std::uint32_t size = 0;  ///< of a text; elements or members of an array or object, duplicates included
    std::uint32_t span = 1;
    Kind kind = Kind::null;
    bool truth = false;

    /// Of a member of an object, decoded.
    std::string_view key() const { return {keyStart, keySize}; }
    /// A string's characters, or a number as it was written.
    std::string_view text() const { return {textStart, size}; }
    const FlatNode* begin() const { return this + 1; }
    const FlatNode* end() const { return this + span; }
    const FlatNode* next() const { return this + span; }

    /// An object's member of that name, the last of several; null if there is none or this is no object.
    const FlatNode* member(std::string_view name) const;
};

/// Refers to the bytes that it was read from, which must outlive it. Small documents allocate nothing; a larger one
/// needs at most six times its size, and is refused if it holds more and shorter values than that has room for.
class FlatDocument {
  public:
    FlatDocument() = default;
    FlatDocument(const FlatDocument&) = delete;
    FlatDocument& operator=(const FlatDocument&) = delete;

    /// Parses JSON strictly by RFC 8259, in UTF-8, nested 512 deep at most. `strictness` is about duplicate names in an
    /// object; a lenient parse keeps both.
    std::expected<void, CodingFailure> parse(BytesView bytes, Strictness strictness = Strictness::lenient);

    /// The top-level value of what was parsed last.
    const FlatNode& root() const { return nodes_.front(); }

  private:
    class Handler;

    std::optional<std::string_view> repeatedName() const;

    std::array<std::byte, 2048> room_;
    std::pmr::monotonic_buffer_resource memory_{room_.data(), room_.size()};
    std::pmr::vector<FlatNode> nodes_{&memory_};
};

namespace Numbers {

/// The value of a JSON number that is whole and fits 64 bits: "5", "5.0" and "5e0" are 5; nullopt for "0.5" and "1e30".
/// Independent of the locale.
std::optional<std::int64_t> whole(std::string_view number);

/// The nearest double; nullopt beyond the finite range. A number too small for a double is zero.
std::optional<double> finite(std::string_view number);

}  // namespace Numbers

}  // namespace larkmoor
