// Reading the word by which a client names itself in the daemon's log.
#pragma once

#include <optional>
#include <string_view>

#include "LarkmoorWire/Catalogue/Tracing.h"

namespace larkmoor::DiagnosticSources {

/// Trimmed and whatever its case; nothing for a word that is no source.
std::optional<DiagnosticSource> read(std::string_view text);

/// The log's category: the source's own word, "client" for a stranger.
std::string_view category(std::string_view text);

}  // namespace larkmoor::DiagnosticSources
