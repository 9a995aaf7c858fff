// The scenario of a stand-in that takes no option for it, since the application starts it: a file in the home folder.
#pragma once

#include <fmt/format.h>

#include <cstdlib>
#include <expected>
#include <string>
#include <string_view>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/JSON/Decoder.h"

namespace larkmoor::understudy {

/// An empty scenario if there is no such file; the error tells what is wrong with it.
template <class Scenario>
std::expected<Scenario, std::string> homeScenario(std::string_view name) {
    const char* home = std::getenv("HOME");
    const std::string path = fmt::format("{}/{}", home == nullptr ? "" : home, name);
    if (!Files::exists(path)) return Scenario{};
    const auto bytes = Files::read(path);
    if (!bytes) return std::unexpected(bytes.error().description());
    auto read = Decoder::decode<Scenario>(*bytes, Strictness::strict);
    if (!read) return std::unexpected(path + ": " + read.error().description());
    return *std::move(read);
}

}  // namespace larkmoor::understudy
