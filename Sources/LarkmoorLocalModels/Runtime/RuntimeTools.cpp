#include "LarkmoorLocalModels/Runtime/RuntimeTools.h"

#include <fmt/format.h>

#include "LarkmoorBase/Text.h"
#include "LarkmoorBase/UTF8.h"
#include "LarkmoorKit/Archive/Tar.h"

namespace larkmoor {

Task<std::expected<void, SetupError>> runTool(ProcessRunner& runner, std::string path,
                                              std::vector<std::string> arguments, std::string message,
                                              std::stop_token stop) {
    const ProcessResult result = co_await runner.run({.executable = std::move(path),
                                                      .arguments = std::move(arguments),
                                                      .environment = Tar::environment(),
                                                      .errors = ProcessOutputs::Captured{},
                                                      .budget = toolBudget},
                                                     stop);
    if (const auto* none = std::get_if<ProcessEnds::NotStarted>(&result.end)) {
        co_return std::unexpected(SetupError{none->error.description()});
    }
    if (std::holds_alternative<ProcessEnds::Stopped>(result.end)) co_return std::unexpected(SetupError{"cancelled"});
    if (result.end == ProcessEnd{ProcessEnds::Exited{0}}) co_return std::expected<void, SetupError>{};
    const std::string_view words = trimmed(asText(result.errors));
    co_return std::unexpected(SetupError{words.empty() ? message : fmt::format("{} ({})", message, words)});
}

Task<std::expected<std::string, SetupError>> runToolOutput(ProcessRunner& runner, std::string path,
                                                           std::vector<std::string> arguments, std::stop_token stop) {
    const ProcessResult result = co_await runner.run({.executable = std::move(path),
                                                      .arguments = std::move(arguments),
                                                      .environment = Tar::environment(),
                                                      .output = ProcessOutputs::Captured{},
                                                      .budget = toolBudget},
                                                     stop);
    if (const auto* none = std::get_if<ProcessEnds::NotStarted>(&result.end)) {
        co_return std::unexpected(SetupError{none->error.description()});
    }
    const std::string_view output = asText(result.output);
    co_return std::string{UTF8::isValid(output) ? output : std::string_view{}};
}

}  // namespace larkmoor
