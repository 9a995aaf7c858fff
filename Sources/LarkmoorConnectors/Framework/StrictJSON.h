// Plain JSON, as most harnesses keep their files: no comments.
#pragma once

#include <expected>

#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor::StrictJSON {

/// The document scanned; what fails is the failure of the edit that was to follow.
std::expected<JSONScan, JSONEditFailure> scan(BytesView document);

using Edited = std::expected<Bytes, JSONEditFailure>;

/// The bytes after an edit of a document, which `edit` is given.
template <class Edit>
Edited edited(BytesView bytes, Edit edit) {
    const auto document = JSONDocument::read(bytes, JSONDialect::strict);
    if (!document) return std::unexpected{JSONEditFailure{document.error()}};
    const JSONEdit::Result result = edit(*document);
    if (!result) return std::unexpected{result.error()};
    return result->bytes();
}

/// Whether the value is an object or array that holds nothing.
bool isEmptyContainer(const JSONNode& value);

}  // namespace larkmoor::StrictJSON
