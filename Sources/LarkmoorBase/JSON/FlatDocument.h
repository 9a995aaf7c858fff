// A parsed JSON document: its values in one array, in document order, with every member of every object.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory_resource>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/JSON/Coding.h"

namespace larkmoor {

/// One value. Those inside an array or object follow it, so that the value's next neighbour is `span` nodes on.
struct FlatNode {
    enum class Kind : std::uint8_t { null, boolean, number, string, array, object };

    std::string_view key;   ///< of a member of an object, decoded
    std::string_view text;  ///< a string's characters, or a number as it was written
    std::uint32_t span = 1;
    std::uint32_t count = 0;  ///< elements or members, duplicates included
    Kind kind = Kind::null;
    bool truth = false;

    const FlatNode* begin() const { return this + 1; }
    const FlatNode* end() const { return this + span; }
    const FlatNode* next() const { return this + span; }
};

/// Refers to the bytes that it was read from, which must outlive it. Small documents need no memory but the object's
/// own.
class FlatDocument {
  public:
    FlatDocument() = default;
    FlatDocument(const FlatDocument&) = delete;
    FlatDocument& operator=(const FlatDocument&) = delete;

    /// Reads strict JSON (RFC 8259) in UTF-8, nested 512 deep at most.
    std::expected<void, CodingFailure> parse(BytesView bytes);

    /// The top-level value of what was parsed last.
    const FlatNode& root() const { return nodes_.front(); }

  private:
    class Handler;

    std::array<std::byte, 2048> room_;
    std::pmr::monotonic_buffer_resource memory_{room_.data(), room_.size()};
    std::pmr::vector<FlatNode> nodes_{&memory_};
};

}  // namespace larkmoor
