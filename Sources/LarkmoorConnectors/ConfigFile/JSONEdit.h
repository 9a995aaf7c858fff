// Changes one member or one element of a JSON file that belongs to somebody else. The result is the input with one
// contiguous range replaced: every byte outside it is as it was, and the result reads in the same dialect. What the
// document means is not looked at. Nothing is written to disk here; any thread.
#pragma once

#include <cstdint>
#include <expected>
#include <string_view>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/JSONDialect.h"
#include "LarkmoorConnectors/ConfigFile/JSONEditFailure.h"
#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"
#include "LarkmoorConnectors/ConfigFile/JSONStep.h"

namespace larkmoor::JSONEdit {

using Result = std::expected<Bytes, JSONEditFailure>;

/// Gives the member of the object at the path a new value, or adds it behind the others.
Result setMember(BytesView bytes, const JSONPath& at, std::string_view key, const JSONLiteral& to, JSONDialect dialect);

/// Takes the member out of the object at the path; comments beside it and in it stay.
Result removeMember(BytesView bytes, const JSONPath& at, std::string_view key, JSONDialect dialect);

// The elements of arrays are edited in files of the strict dialect alone.

/// Adds an element behind the others of the array at the path.
Result appendElement(BytesView bytes, const JSONPath& at, const JSONLiteral& literal);

/// Adds an element behind that of the index, which the array at the path has.
Result insertElement(BytesView bytes, const JSONPath& at, std::int64_t after, const JSONLiteral& literal);

/// Puts the literal in the place of the element.
Result replaceElement(BytesView bytes, const JSONPath& at, std::int64_t index, const JSONLiteral& literal);

/// Takes the element out of the array at the path.
Result removeElement(BytesView bytes, const JSONPath& at, std::int64_t index);

}  // namespace larkmoor::JSONEdit
