// The TOML scanner: finds where tables, keys and values begin and end. A value is delimited, not interpreted; a
// document that cannot be scanned gives one error with its place. Pure functions for any thread; offsets are in bytes.
#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/TOMLDocument.h"

namespace larkmoor {

struct [[nodiscard]] TOMLTextError {
    std::int64_t offset = 0;  ///< in bytes from the start of the file
    std::string reason;

    static TOMLTextError unreadable(std::int64_t offset, std::string reason) { return {offset, std::move(reason)}; }

    /// "{reason} (at byte {offset})", for the user.
    std::string description() const { return reason + " (at byte " + std::to_string(offset) + ")"; }

    bool operator==(const TOMLTextError&) const = default;
};

namespace TOMLText {

/// Scans the whole file, in time linear in its length.
std::expected<TOMLDocument, TOMLTextError> scan(BytesView bytes);

/// Why the tables of these names cannot be edited, although the document scans: one is an array of tables, is declared
/// twice, is defined by a key outside a table of its own, or holds a key twice. A text for the user; nullopt if they
/// can be edited.
std::optional<std::string> unreadableReason(const TOMLDocument& document, std::span<const TOMLName> owning);

/// A basic string of the text, with its quotes.
std::string quote(std::string_view text);

/// The dotted name; a part that is not a bare key is quoted.
std::string joined(std::span<const std::string> parts);

/// The newline that an edit writes into this file.
std::string_view lineEnding(BytesView bytes);

/// The offset just past a byte-order mark, or 0 if there is none.
std::int64_t documentStart(BytesView bytes);

}  // namespace TOMLText

/// A basic or literal string of one line.
struct TOMLString {
    std::string text;      ///< decoded
    std::int64_t end = 0;  ///< the offset one past the closing quote

    bool operator==(const TOMLString&) const = default;
};

namespace TOMLText {

/// The string whose opening `"` is at `start`; every failure carries that offset.
std::expected<TOMLString, TOMLTextError> parseBasicString(BytesView bytes, std::int64_t start);

/// The string whose opening `'` is at `start`; every failure carries that offset.
std::expected<TOMLString, TOMLTextError> parseLiteralString(BytesView bytes, std::int64_t start);

/// Whichever of the two opens at `start`, by its quote.
std::expected<TOMLString, TOMLTextError> parseString(BytesView bytes, std::int64_t start);

/// The offset one past the string that opens at `start`, with the same errors, without decoding it.
std::expected<std::int64_t, TOMLTextError> pastString(BytesView bytes, std::int64_t start);

/// The offset one past the last byte of the value that begins at `start`, trailing blanks excluded.
std::expected<std::int64_t, TOMLTextError> consumeValue(BytesView bytes, std::int64_t start);

/// Whether the blank at `space` separates a date from its time, and so does not end the value.
bool isDateTimeSeparator(BytesView bytes, std::int64_t valueStart, std::int64_t valueEnd, std::int64_t space);

}  // namespace TOMLText

/// Whether a key may hold the byte without quotes.
constexpr bool isTOMLBareKey(char byte) {
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '_';
}

}  // namespace larkmoor
