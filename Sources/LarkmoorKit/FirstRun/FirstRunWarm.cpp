#include "LarkmoorKit/FirstRun/FirstRunWarm.h"

#include <fmt/format.h>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/Text.h"
#include "LarkmoorBase/WholeNumber.h"
#include "LarkmoorWire/Identity/ClientInstance.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"

namespace larkmoor::FirstRunWarm {

namespace {

std::string escaped(std::string_view text) {
    std::string plain;
    for (const char letter : text) {
        if (letter == '\\' || letter == '"') plain += '\\';
        plain += letter;
    }
    return plain;
}

}  // namespace

std::string Marker::line() const {
    return fmt::format("build={} outcome={} ms={}\n", build, rawText(outcome), milliseconds);
}

std::optional<Marker> Marker::parse(std::string_view text) {
    std::optional<std::string> build;
    std::optional<Outcome> outcome;
    std::optional<long long> milliseconds;
    text = trimmed(text);
    while (!text.empty()) {
        const std::string_view field = text.substr(0, text.find(' '));
        text.remove_prefix(std::min(text.size(), field.size() + 1));
        const auto sign = field.find('=');
        if (sign == std::string_view::npos) continue;
        const std::string_view key = field.substr(0, sign), value = field.substr(sign + 1);
        if (key == "build") build = value;
        if (key == "outcome") outcome = fromRawText<Outcome>(value);
        if (key == "ms") milliseconds = wholeNumber<long long>(value);
    }
    if (!build || !outcome || !milliseconds) return std::nullopt;
    return Marker{.build = *build, .outcome = *outcome, .milliseconds = *milliseconds};
}

std::string path(std::string_view support) {
    return fmt::format("{}/{}", ClientInstance::supportRoot(support), markerFileName);
}

bool isWarm(const std::string& marker, std::string_view build) {
    const auto text = Files::read(marker);
    const auto known = text ? Marker::parse(asText(*text)) : std::nullopt;
    return known && known->build == build;
}

Bytes payload(std::string_view home) {
    return copyBytes(fmt::format(
        R"({{"session_id":"warm-up","prompt":"larkmoor warm-up","hook_event_name":"UserPromptSubmit","cwd":"{}"}})",
        escaped(home)));
}

Task<Result> run(std::string hook, std::string build, std::string marker, std::chrono::seconds leash, std::string home,
                 Seams seams) {
    if (isWarm(marker, build)) {
        seams.setupLog(fmt::format("warm-up: build {} already warmed here — nothing to spawn", build));
        co_return ResultCases::AlreadyWarm{};
    }
    const auto start = seams.now();
    const Outcome outcome = co_await fire(hook, payload(home), leash, seams);
    const auto spent = std::chrono::duration_cast<std::chrono::milliseconds>(seams.now() - start).count();
    const Marker warmed{.build = build, .outcome = outcome, .milliseconds = spent};
    co_await BlockingWork::run(
        [marker, line = warmed.line()] { static_cast<void>(ClientStoreMode::write(asBytes(line), marker)); });
    seams.setupLog(fmt::format("warm-up: {} → {} in {} ms (build {}, leash {}s)", hook, rawText(outcome), spent, build,
                               leash.count()));
    co_return ResultCases::Warmed{.outcome = outcome, .milliseconds = spent};
}

Task<Outcome> fire(std::string hook, Bytes input, std::chrono::seconds leash, Seams seams) {
    if (input.size() > payloadPipeBound) {
        seams.setupLog(fmt::format("warm-up: payload is {} B, over the {} B pipe bound — not fired (m:1460)",
                                   input.size(), payloadPipeBound));
        co_return Outcome::failed;
    }
    const ProcessResult result = co_await seams.runner.run({.executable = hook,
                                                            .arguments = {"--harness", "claude-code"},
                                                            .input = ProcessInputs::FromBytes{std::move(input)},
                                                            .budget = leash});
    if (std::holds_alternative<ProcessEnds::NotStarted>(result.end)) co_return Outcome::failed;
    co_return result.timedOut() ? Outcome::timeout : Outcome::ok;
}

}  // namespace larkmoor::FirstRunWarm
