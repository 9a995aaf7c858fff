// Pictures of the screen and what the recorder does with it.
#pragma once

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/RawText.h"
#include "LarkmoorBase/Record.h"

namespace larkmoor {

BOOST_DEFINE_ENUM_CLASS(FrontRecording, full, titleOnly, blocked, unknown, none)

LARKMOOR_RECORD(ScreenRef, (Int, moment), (std::optional<std::string>, window))

LARKMOOR_RECORD(ScreenImage, (Int, moment), (std::string, window), (std::optional<Bytes>, heic),
                (std::optional<std::string>, note))

}  // namespace larkmoor
