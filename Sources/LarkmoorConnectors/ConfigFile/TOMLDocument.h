// A TOML document as far as an edit needs it: which bytes belong to which table and to which key. Offsets are in bytes
// from the start of the file that was scanned; after an edit they are invalid.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace larkmoor {

/// The decoded parts of a dotted name: [a."b.c"] is {"a", "b.c"}. The empty list names the root table. Nearly every key
/// has one part, which needs no allocation of the list.
using TOMLName = boost::container::small_vector<std::string, 1>;

/// A key and its value.
struct TOMLEntry {
    TOMLName key;               ///< never empty
    std::int64_t keyStart = 0;  ///< of the key's first byte
    std::int64_t valueEnd = 0;  ///< one past the value's last byte, trailing blanks excluded
    std::int64_t lineEnd = 0;   ///< one past the line feed, so past a trailing comment too
    /// The value's source text, whatever its encoding; valid as long as the document or a copy of it is.
    std::string_view raw;

    /// The decoded string, if the whole value is one basic or literal string of one line.
    std::optional<std::string> text() const;

    bool operator==(const TOMLEntry&) const = default;
};

/// A table's header and body.
struct TOMLTable {
    TOMLName name;                 ///< empty for the root table, which is first in every document
    bool isArrayElement = false;   ///< a [[name]] header
    std::int64_t headerStart = 0;  ///< of the header's `[`; for the root just after any byte-order mark
    std::int64_t bodyStart = 0;    ///< just past the header's line; for the root the same as `headerStart`
    std::int64_t bodyEnd = 0;      ///< of the next header's `[`, or the end of the file

    bool operator==(const TOMLTable&) const = default;
};

/// Owns all its text, and copies share it: the bytes that were scanned may be freed.
struct TOMLDocument {
    std::vector<TOMLTable> tables;          ///< in file order, the root first
    std::vector<TOMLEntry> allEntries;      ///< in file order
    std::vector<std::size_t> tableOfEntry;  ///< for each of `allEntries`, the index of its table

    std::shared_ptr<const std::string> file;  ///< the text that the entries' values are views of

    /// The first table of exactly this name that is not an array element, or null; valid until the document changes.
    const TOMLTable* table(const TOMLName& named) const;

    /// The entries of one of this document's tables, in file order; valid until the document changes.
    std::span<const TOMLEntry> entries(const TOMLTable& of) const;
};

}  // namespace larkmoor
