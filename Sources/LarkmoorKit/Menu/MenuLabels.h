// Texts of the menu: its first row, the recording's labels, and the line for the daemon's log about a click.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorKit/Door/DoorFault.h"
#include "LarkmoorWire/Catalogue/GatewayResponse.h"
#include "LarkmoorWire/Catalogue/Recording.h"

namespace larkmoor {

/// The first row: which build this is.
namespace MenuHeaderTitle {

inline constexpr std::string_view unknown = "?";

std::string title(std::string_view product, const std::optional<std::string>& version,
                  const std::optional<std::string>& build);

}  // namespace MenuHeaderTitle

namespace MenuLabels {

/// The icon's label while it asks for attention.
std::string attention(std::optional<DoorFault> fault);

/// The icon's label in all other cases: how the front window is recorded.
std::string trail(FrontRecording front);

/// For every case but `full`: why the front window is not kept whole.
std::string notKeptLabel(FrontRecording front);

/// The row that ends a pause, with the time at which the recording resumes by itself, if any.
std::string resumeTitle(const std::optional<std::string>& resumesAt);

}  // namespace MenuLabels

/// The line for the daemon's log about the answer to the control request named `verb`; nullopt for `ok`.
std::optional<std::string> outcomeNote(std::string_view verb, const GatewayResponse& answer);

}  // namespace larkmoor
