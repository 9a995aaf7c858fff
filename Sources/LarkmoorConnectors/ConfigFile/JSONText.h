// The JSON scanner: bytes become a tree whose nodes know their byte ranges, or one error with its place.
#pragma once

#include <cstdint>
#include <expected>
#include <forward_list>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/ConfigFile/Splice.h"

namespace larkmoor {

enum class JSONDialect {
    strict,       ///< JSON and nothing else
    withComments  ///< JSON with // and /* */ comments wherever white space is allowed; trailing commas are not allowed
};

struct [[nodiscard]] JSONTextError {
    std::int64_t offset = 0;  ///< in bytes from the start of the document
    std::string reason;

    static JSONTextError unreadable(std::int64_t offset, std::string reason) { return {offset, std::move(reason)}; }

    /// "{reason} (at byte {offset})", for the user.
    std::string description() const { return reason + " (at byte " + std::to_string(offset) + ")"; }

    bool operator==(const JSONTextError&) const = default;
};

/// Memory that nodes refer to in addition to the document's bytes.
struct JSONStorage {
    std::vector<std::vector<JSONMember>> objects;
    std::vector<std::vector<JSONNode>> arrays;
    std::forward_list<std::string> texts;  ///< those that have escapes
};

/// Valid as long as the bytes that were scanned; copies share the storage.
struct JSONScan {
    JSONNode root;
    std::vector<ByteRange> comments;  ///< in document order; none in the strict dialect
    std::shared_ptr<const JSONStorage> storage;
};

namespace JSONText {

/// How many objects and arrays may lie within each other.
inline constexpr int depthLimit = 64;

/// Scans the whole document, in time linear in its length. Members with the same name are all kept, in order. A
/// document of 2 GiB or more is refused. Any thread.
std::expected<JSONScan, JSONTextError> scanWithTrivia(BytesView bytes, JSONDialect dialect);

#ifdef LARKMOOR_COUNT_SCANS
/// How many scans this thread has made; counted in benchmarks only.
inline thread_local std::size_t scanCount = 0;
#endif

}  // namespace JSONText

/// A JSON document that was read: its bytes and what a scan found in them. Immutable; copies are cheap, since they
/// share one state. Nodes and views of it are valid as long as any copy is.
class JSONDocument {
  public:
    static std::expected<JSONDocument, JSONTextError> read(Bytes bytes, JSONDialect dialect);
    /// Copies the bytes.
    static std::expected<JSONDocument, JSONTextError> read(BytesView bytes, JSONDialect dialect) {
        return read(copyBytes(bytes), dialect);
    }

    const Bytes& bytes() const { return state_->bytes; }
    JSONDialect dialect() const { return state_->dialect; }
    const JSONNode& root() const { return state_->scan.root; }
    std::span<const ByteRange> comments() const { return state_->scan.comments; }

    /// Whether they hold the same bytes in the same dialect, and so the same tree.
    friend bool operator==(const JSONDocument& left, const JSONDocument& right) {
        return left.state_ == right.state_ || (left.bytes() == right.bytes() && left.dialect() == right.dialect());
    }

  private:
    struct State {
        Bytes bytes;
        JSONDialect dialect = JSONDialect::strict;
        JSONScan scan;
    };

    explicit JSONDocument(std::shared_ptr<const State> state) : state_(std::move(state)) {}

    std::shared_ptr<const State> state_;
};

}  // namespace larkmoor
