// Why an edit found nothing to change in a TOML file that did scan.
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

struct [[nodiscard]] TOMLEditError {
    TOMLName name;

    static TOMLEditError noSuchTable(TOMLName name) { return {std::move(name)}; }

    /// "[{name}] is not in this file", for a person.
    std::string description() const;

    bool operator==(const TOMLEditError&) const = default;
};

// Why an edit was not made.
struct TOMLEditFailureCases {};

/// A TOMLTextError where the file did not scan, or would not have after the edit; a TOMLEditError where it does.
class [[nodiscard]] TOMLEditFailure : public ClosedVariant<TOMLEditFailureCases, TOMLTextError, TOMLEditError> {
  public:
    using ClosedVariant::ClosedVariant;

    /// That of the error held, for a person.
    std::string description() const {
        return visit([](const TOMLTextError& error) { return error.description(); },
                     [](const TOMLEditError& error) { return error.description(); });
    }
};

}  // namespace larkmoor

namespace larkmoor::TOMLEdit {

// Changes one table or one key of a TOML file and leaves every byte outside as it was: each edit replaces exactly one
// range. Pure functions, for any thread; an edit whose result would not scan fails with that scan's error.
/// One line of a table: both are written to the letter, so `value` is TOML, quotes included.
struct Line {
    std::string key;
    std::string value;
};

/// `appendedTrailingNewline`: the last line had no line feed, and got one that the file's owner did not write.
struct TableSet {
    Bytes bytes;
    bool created = false;
    bool appendedTrailingNewline = false;

    bool operator==(const TableSet&) const = default;
};

struct KeySet {
    Bytes bytes;
    bool appendedTrailingNewline = false;

    bool operator==(const KeySet&) const = default;
};

/// Makes the table hold exactly these lines: where it stands, comments in it included, or at the end of the file.
std::expected<TableSet, TOMLTextError> setTable(BytesView bytes, const TOMLName& name, std::span<const Line> lines);

/// Sets one key to `value`, which is TOML: in place if it is there, otherwise at the table's end. `in` and its
/// `entries` come from a scan of these very bytes.
std::expected<KeySet, TOMLTextError> setKey(BytesView bytes, const TOMLTable& in, std::span<const TOMLEntry> entries,
                                            const std::string& key, std::string_view value);

/// Removes the whole of the entry's line, or lines. `entry` comes from a scan of these very bytes.
Bytes removeKey(BytesView bytes, const TOMLEntry& entry);

/// Removes the table and one blank line above it.
std::expected<Bytes, TOMLEditFailure> removeTable(BytesView bytes, const TOMLName& name);

/// The start of the line just before `before` if that holds nothing but white space, otherwise `before`.
std::int64_t startOfOneBlankLine(BytesView bytes, std::int64_t before);

/// The offset past the line feed that only blanks part from `after`; `after` where something else stands, or the end.
std::int64_t endOfOneBlankLine(BytesView bytes, std::int64_t after);

}  // namespace larkmoor::TOMLEdit
