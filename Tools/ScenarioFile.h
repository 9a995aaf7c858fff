// The file that directs a stand-in: named by an option, or in the home folder for one that the application starts.
#pragma once

#include <fmt/format.h>

#include <cstdlib>
#include <expected>
#include <string>
#include <string_view>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/JSON/Decoder.h"

namespace larkmoor {

/// `read` makes a scenario of the file's bytes, or says in words what is wrong. An empty scenario if `path` is empty.
template <class Scenario>
std::expected<Scenario, std::string> scenarioIn(const std::string& path,
                                                std::expected<Scenario, std::string> (*read)(BytesView document)) {
    if (path.empty()) return Scenario{};
    const auto bytes = Files::read(path);
    if (!bytes) return std::unexpected(bytes.error().description());
    auto scenario = read(*bytes);
    if (!scenario) return std::unexpected(path + ": " + scenario.error());
    return scenario;
}

/// An empty scenario if there is no such file in the home folder.
template <class Scenario>
std::expected<Scenario, std::string> homeScenario(std::string_view name) {
    const char* home = std::getenv("HOME");
    const std::string path = fmt::format("{}/{}", home == nullptr ? "" : home, name);
    return scenarioIn<Scenario>(Files::exists(path) ? path : "",
                                [](BytesView document) -> std::expected<Scenario, std::string> {
                                    auto scenario = Decoder::decode<Scenario>(document, Strictness::strict);
                                    if (!scenario) return std::unexpected(scenario.error().description());
                                    return *std::move(scenario);
                                });
}

}  // namespace larkmoor
