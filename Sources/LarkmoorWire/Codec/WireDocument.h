// A JSON document as the codec reads it: its values in one array, in document order, with every member of every object.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory_resource>
#include <string_view>
#include <vector>

#include "LarkmoorPlatform/Bytes.h"
#include "LarkmoorWire/Codec/CodingFailure.h"

namespace larkmoor {

/// A key that is nothing but its text: how a reader takes an object's keys without knowing them in advance.
struct WireKey {
    std::string_view stringValue;

    constexpr WireKey() = default;
    constexpr explicit WireKey(std::string_view text) : stringValue(text) {}
    constexpr WireKey(const char* literal) : stringValue(literal) {}

    bool operator==(const WireKey&) const = default;
};

/// One value. Those inside an array or object follow it, so that the value's next neighbour is `span` nodes on.
struct WireNode {
    enum class Kind : std::uint8_t { null, boolean, number, string, array, object };

    WireKey key;            ///< of a member of an object
    std::string_view text;  ///< a string's characters, or a number as it was written
    std::uint32_t span = 1;
    std::uint32_t count = 0;  ///< elements or members, duplicates included
    Kind kind = Kind::null;
    bool truth = false;

    const WireNode* begin() const { return this + 1; }
    const WireNode* end() const { return this + span; }
    const WireNode* next() const { return this + span; }
};

/// Refers to the bytes that it was read from, which must outlive it. Small documents need no memory but the object's
/// own.
class WireDocument {
  public:
    WireDocument() = default;
    WireDocument(const WireDocument&) = delete;
    WireDocument& operator=(const WireDocument&) = delete;

    /// Reads strict JSON (RFC 8259) in UTF-8, nested 512 deep at most.
    std::expected<void, CodingFailure> parse(BytesView bytes);

    /// The top-level value of what was parsed last.
    const WireNode& root() const { return nodes_.front(); }

  private:
    class Handler;

    std::array<std::byte, 2048> room_;
    std::pmr::monotonic_buffer_resource memory_{room_.data(), room_.size()};
    std::pmr::vector<WireNode> nodes_{&memory_};
};

}  // namespace larkmoor
