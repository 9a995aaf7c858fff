// Reads TOML as far as an edit needs it: where tables, keys and values begin and end. A value is delimited, not
// understood, and what cannot be delimited is refused with one exact reason. Pure functions, for any thread.
#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/TOMLDocument.h"
#include "LarkmoorConnectors/ConfigFile/TOMLName.h"
#include "LarkmoorConnectors/ConfigFile/TOMLTextError.h"

namespace larkmoor::TOMLText {

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
