#include "LarkmoorPlatform/Linux/ToolDigest.h"

#include <algorithm>

namespace larkmoor {

namespace {

constexpr const char* tool = "/usr/bin/sha256sum";
constexpr std::size_t digits = 64;

bool isHexadecimal(std::string_view text) {
    return std::ranges::all_of(
        text, [](char letter) { return (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'f'); });
}

}  // namespace

Task<std::optional<std::string>> sha256(ProcessRunner& runner, Bytes bytes) {
    const ProcessResult result = co_await runner.run({.executable = tool,
                                                      .input = ProcessInputs::FromBytes{std::move(bytes)},
                                                      .output = ProcessOutputs::Captured{},
                                                      .budget = std::chrono::seconds{10}});
    const std::string_view digest = asText(result.output).substr(0, digits);
    if (result.status() != 0 || digest.size() != digits || !isHexadecimal(digest)) co_return std::nullopt;
    co_return std::string{digest};
}

}  // namespace larkmoor
