// Plain JSON, as most harnesses keep their files: no comments.
#pragma once

#include <expected>

#include "LarkmoorConnectors/ConfigFile/JSONEditFailure.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor::StrictJSON {

/// The document scanned; what fails is the failure of the edit that was to follow.
std::expected<JSONScan, JSONEditFailure> scan(BytesView document);

/// Whether the value is an object or array that holds nothing.
bool isEmptyContainer(const JSONNode& value);

}  // namespace larkmoor::StrictJSON
