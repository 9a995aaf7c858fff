// The words that the icon and the rows say of the recording.
#pragma once

#include <optional>
#include <string>

#include "LarkmoorKit/Door/DoorFault.h"
#include "LarkmoorWire/Catalogue/Recording.h"

namespace larkmoor::MenuLabels {

/// The icon's name while it asks for attention.
std::string attention(std::optional<DoorFault> fault);

/// The icon's name otherwise: what becomes of the front window.
std::string trail(FrontRecording front);

/// Of every case but `full`: why the front window is not kept whole.
std::string notKeptLabel(FrontRecording front);

/// The resume row, with the time at which recording goes on by itself if there is one.
std::string resumeTitle(const std::optional<std::string>& resumesAt);

}  // namespace larkmoor::MenuLabels
