// What an understudy of the daemon is told to play: at its start by a file, later over the bus.
#pragma once

#include <expected>
#include <string>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/Record.h"

namespace larkmoor::understudy {

/// Each field that stands in the document replaces what was played before. --help tells what they mean.
LARKMOOR_RECORD(Scenario, (std::optional<Int>, startDelayMilliseconds), (std::optional<Int>, delayMilliseconds),
                (std::optional<std::string>, health), (std::optional<std::string>, front),
                (std::optional<TextMap<std::string>>, grants), (std::optional<bool>, hello),
                (std::optional<std::string>, build), (std::optional<bool>, meetingLive), (std::optional<Int>, wire),
                (std::optional<Int>, servedMilliseconds), (std::optional<bool>, refuse), (std::optional<bool>, silent),
                (std::optional<std::string>, storeKey), (std::optional<std::string>, reply))

/// Reads a JSON object; a key that no field has is a mistake and is told.
std::expected<Scenario, std::string> readScenario(BytesView document);

}  // namespace larkmoor::understudy
