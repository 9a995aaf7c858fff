// Changes one table or one key of a TOML file and leaves every other byte as it is: each edit replaces one range, and
// fails with the scan's error if its result does not scan. Pure functions for any thread.
#pragma once

#include <cstdint>
#include <expected>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorConnectors/ConfigFile/TOMLDocument.h"
#include "LarkmoorConnectors/ConfigFile/TOMLText.h"

namespace larkmoor {

/// The table to edit is not in the file.
struct [[nodiscard]] TOMLEditError {
    TOMLName name;

    static TOMLEditError noSuchTable(TOMLName name) { return {std::move(name)}; }

    /// "[{name}] is not in this file", for the user.
    std::string description() const;

    bool operator==(const TOMLEditError&) const = default;
};

struct TOMLEditFailureCases {};

/// Why an edit failed: a TOMLTextError where the file, or the result of the edit, does not scan; otherwise a
/// TOMLEditError.
class [[nodiscard]] TOMLEditFailure : public ClosedVariant<TOMLEditFailureCases, TOMLTextError, TOMLEditError> {
  public:
    using ClosedVariant::ClosedVariant;

    /// The description of the error, for the user.
    std::string description() const {
        return visit([](const TOMLTextError& error) { return error.description(); },
                     [](const TOMLEditError& error) { return error.description(); });
    }
};

namespace TOMLEdit {

/// One line of a table. Both are written unchanged, so `value` is TOML, including quotes.
struct Line {
    std::string key;
    std::string value;
};

struct TableSet {
    Bytes bytes;
    bool created = false;
    bool appendedTrailingNewline = false;  ///< the last line had none, and the edit wrote it

    bool operator==(const TableSet&) const = default;
};

struct KeySet {
    Bytes bytes;
    bool appendedTrailingNewline = false;

    bool operator==(const KeySet&) const = default;
};

// The comment lines directly above a header belong to that table: an edit of the table before leaves them there.

/// Replaces the table's content, its own comments included, by exactly these lines; a new table is added at the end of
/// the file.
std::expected<TableSet, TOMLTextError> setTable(BytesView bytes, const TOMLName& name, std::span<const Line> lines);

/// Sets the key to `value`, which is TOML: in its place if it is there, otherwise at the end of the table. `in` and its
/// `entries` are from a scan of the same bytes.
std::expected<KeySet, TOMLTextError> setKey(BytesView bytes, const TOMLTable& in, std::span<const TOMLEntry> entries,
                                            const std::string& key, std::string_view value);

/// Removes all lines of the entry, which is from a scan of the same bytes.
Bytes removeKey(BytesView bytes, const TOMLEntry& entry);

/// Removes the table and one blank line above it.
std::expected<Bytes, TOMLEditFailure> removeTable(BytesView bytes, const TOMLName& name);

/// Where the bytes that such an edit may replace or remove end: at the comments directly above the next header, or else
/// at the table's end. `of` and its `entries` are from a scan of the same bytes.
std::int64_t ownEnd(BytesView bytes, const TOMLTable& of, std::span<const TOMLEntry> entries);

/// The start of the line just before `before` if that line is blank, otherwise `before`.
std::int64_t startOfOneBlankLine(BytesView bytes, std::int64_t before);

/// The offset past the next line feed if only white space is between, otherwise `after`.
std::int64_t endOfOneBlankLine(BytesView bytes, std::int64_t after);

}  // namespace TOMLEdit

}  // namespace larkmoor
