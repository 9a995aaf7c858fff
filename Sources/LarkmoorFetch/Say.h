// The lines that larkmoor-fetch writes to standard output.
#pragma once

#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "LarkmoorBase/Files.h"
#include "LarkmoorPlatform/FetchProtocol.h"

namespace larkmoor {

/// At once. Whatever came from elsewhere stays on its line. Nobody listening is an end.
template <class... Parts>
void say(const Parts&... parts) {
    std::string line = (fmt::format("{}", parts) + ...);
    for (char& each : line) {
        if (static_cast<unsigned char>(each) < ' ' || each == '\x7f') each = ' ';
    }
    line += '\n';
    if (!Files::writeAll(STDOUT_FILENO, asBytes(line), "standard output")) std::_Exit(FetchProtocol::failed);
}

}  // namespace larkmoor
