// The commands of larkmoor-tray: the command line, and what each command does.
#pragma once

#include <chrono>
#include <expected>
#include <span>
#include <string>
#include <string_view>

#include "TrayHost.h"

namespace larkmoor::tray {

struct CommandLine {
    enum class Verb { interactive, host, list, show, click, watch, help };

    Verb verb = Verb::interactive;
    std::string row{};   ///< of `click`
    std::string item{};  ///< empty for the application's own
    bool json = false;
    bool all = false;
    std::chrono::milliseconds wait{0};

    /// `arguments` are those after the program's name. The error is a message for the user.
    static std::expected<CommandLine, std::string> parse(std::span<const std::string_view> arguments);

    static const std::string_view usage;

    bool operator==(const CommandLine&) const = default;
};

/// Runs a non-interactive command and returns its exit status. Prints to standard output, and errors to standard error.
/// Host and changes outlive it.
Task<int> runCommand(CommandLine command, TrayHost& host, Changes& changes);

/// The interactive tray, until the user quits; returns the exit status. Host and changes outlive it.
Task<int> runInteractive(MainLoop& loop, TrayHost& host, Changes& changes);

/// Whether standard input and output are a terminal.
bool isTerminal();

}  // namespace larkmoor::tray
