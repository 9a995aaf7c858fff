// What the tool was asked to do.
#pragma once

#include <chrono>
#include <expected>
#include <span>
#include <string>
#include <string_view>

namespace larkmoor::tray {

struct CommandLine {
    enum class Verb { interactive, host, list, show, click, watch, help };

    Verb verb = Verb::interactive;
    std::string row{};   ///< of `click`
    std::string item{};  ///< empty for our own
    bool json = false;
    bool all = false;
    std::chrono::milliseconds wait{0};

    /// `arguments` are those behind the program's name. The error says what is wrong with them.
    static std::expected<CommandLine, std::string> parse(std::span<const std::string_view> arguments);

    static const std::string_view usage;

    bool operator==(const CommandLine&) const = default;
};

}  // namespace larkmoor::tray
