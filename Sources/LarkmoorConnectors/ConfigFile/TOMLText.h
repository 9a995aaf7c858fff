// Why a file is no TOML whose parts we can tell apart, and where.
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

    /// "{reason} (at byte {offset})", for a person.
    std::string description() const { return reason + " (at byte " + std::to_string(offset) + ")"; }

    bool operator==(const TOMLTextError&) const = default;
};

}  // namespace larkmoor

namespace larkmoor::TOMLText {

// Reads TOML as far as an edit needs it: where tables, keys and values begin and end. A value is delimited, not
// understood, and what cannot be delimited is refused with one exact reason. Pure functions, for any thread.
/// The whole file, in time linear in its length.
std::expected<TOMLDocument, TOMLTextError> scan(BytesView bytes);

/// Why the tables of these names cannot be edited in this document, although it scans: one is an array, or stands
/// twice, or is said by a key from above, or holds a key twice. Nothing if they can.
std::optional<std::string> unreadableReason(const TOMLDocument& document, std::span<const TOMLName> owning);

/// A basic string, in its quotes.
std::string quote(std::string_view text);

/// A dotted name; a part that is no bare key is quoted.
std::string joined(std::span<const std::string> parts);

/// How the lines end that an edit adds to this file.
std::string_view lineEnding(BytesView bytes);

/// The offset of the first byte after a byte-order mark, which is 0 where there is none.
std::int64_t documentStart(BytesView bytes);

}  // namespace larkmoor::TOMLText

namespace larkmoor {

// The two kinds of TOML string that stay on one line, decoded.
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

/// Whichever of the two opens at `start`.
std::expected<TOMLString, TOMLTextError> parseString(BytesView bytes, std::int64_t start);

/// The offset past the string that opens at `start`, with the same failures, for who does not need its text.
std::expected<std::int64_t, TOMLTextError> pastString(BytesView bytes, std::int64_t start);

}  // namespace TOMLText

}  // namespace larkmoor

namespace larkmoor::TOMLText {

// Finds where a TOML value ends, without asking what it means.
/// The offset one past the last byte of the value that begins at `start`, trailing blanks excluded.
std::expected<std::int64_t, TOMLTextError> consumeValue(BytesView bytes, std::int64_t start);

/// Whether the blank at `space` parts the date before it from its time, and so does not end the value.
bool isDateTimeSeparator(BytesView bytes, std::int64_t valueStart, std::int64_t valueEnd, std::int64_t space);

}  // namespace larkmoor::TOMLText

namespace larkmoor {

// Which bytes a key may be made of without quotes.
constexpr bool isTOMLBareKey(char byte) {
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '_';
}

}  // namespace larkmoor
