// Comments in a JSON document: where one lies, and how those of the user outlive a removal around them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/ByteRange.h"
#include "LarkmoorConnectors/ConfigFile/JSONTextError.h"

namespace larkmoor::JSONComments {

/// The comment that begins at the offset, if one does; an error if it never ends. A line comment reaches to its line's
/// ending, which is no part of it: a line feed, or a carriage return with a line feed behind it.
std::expected<std::optional<ByteRange>, JSONTextError> span(BytesView in, std::int64_t at);

/// How many of the comments lie wholly inside the range. `comments` are in document order, here and below.
std::size_t count(std::span<const ByteRange> comments, ByteRange range);

/// Those of the comments that lie wholly inside the range.
std::span<const ByteRange> inside(std::span<const ByteRange> comments, ByteRange range);

/// What is to stand in the range's place when it goes, so that every comment inside it stays, with the blanks before
/// it, and no line comment swallows what comes next. Empty when there is nothing to keep.
std::string preserved(BytesView bytes, ByteRange range, std::span<const ByteRange> comments, std::string_view newline);

}  // namespace larkmoor::JSONComments
