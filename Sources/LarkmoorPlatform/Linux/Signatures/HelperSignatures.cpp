#include "LarkmoorPlatform/Linux/Signatures/HelperSignatures.h"

#include <fmt/format.h>
#include <unistd.h>

#include <utility>

#include "LarkmoorBase/Text.h"
#include "LarkmoorPlatform/VerifyProtocol.h"

namespace larkmoor {

namespace {

namespace protocol = VerifyProtocol;

/// Of the seal of one executable, and of whose it is.
constexpr std::chrono::seconds sealBudget{60};

std::string text(std::string_view word) { return std::string{word}; }

Signatures::Verdict verdictOf(const ProcessResult& answer) {
    if (answer.end == ProcessEnd{ProcessEnds::Exited{protocol::holds}}) return {};
    if (std::holds_alternative<ProcessEnds::Stopped>(answer.end)) return std::unexpected{std::string{"cancelled"}};
    const std::string_view words = trimmed(asText(answer.errors));
    return std::unexpected{words.empty() ? answer.description() : std::string{words}};
}

}  // namespace

HelperSignatures::HelperSignatures(ProcessRunner& runner, Options options)
    : runner_(runner), options_(std::move(options)), helper_(options_.helper) {}

Task<ProcessResult> HelperSignatures::ask(std::vector<std::string> question, std::chrono::milliseconds budget,
                                          std::stop_token stop) {
    question.insert(question.begin(), {fmt::format("{}{}", protocol::build, options_.build),
                                       fmt::format("{}{}", protocol::asker, ::getpid())});
    co_return co_await runner_.run({.executable = helper_.executable(),
                                    .name = helper_.path(),
                                    .arguments = std::move(question),
                                    .output = ProcessOutputs::Captured{},
                                    .errors = ProcessOutputs::Captured{},
                                    .budget = budget},
                                   stop);
}

Task<Signatures::Verdict> HelperSignatures::judge(std::vector<std::string> question, std::chrono::milliseconds budget,
                                                  std::stop_token stop) {
    co_return verdictOf(co_await ask(std::move(question), budget, std::move(stop)));
}

Task<Signatures::Verdict> HelperSignatures::verifyArchive(std::string file, std::string key, std::string signature,
                                                          std::stop_token stop) {
    return judge({text(protocol::archive), std::move(file), std::move(key), std::move(signature)},
                 options_.updateBudget, std::move(stop));
}

Task<Signatures::BundleVerdict> HelperSignatures::verifyBundle(std::string folder, std::string key,
                                                               std::stop_token stop) {
    const ProcessResult answer = co_await ask({text(protocol::bundle), std::move(folder), std::move(key)},
                                              options_.updateBudget, std::move(stop));
    Verdict verdict = verdictOf(answer);
    if (verdict) co_return BundleVerdict{};
    co_return std::unexpected{
        Objection{.words = std::move(verdict.error()),
                  .isVerdict = answer.end == ProcessEnd{ProcessEnds::Exited{protocol::holdsNot}}}};
}

Task<Signatures::Verdict> HelperSignatures::verifyStrictly(std::string path) {
    return judge({text(protocol::verify), text(protocol::strict), std::move(path)}, sealBudget, {});
}

Task<std::optional<std::string>> HelperSignatures::designatedRequirement(std::string path) {
    const ProcessResult result =
        co_await ask({text(protocol::display), text(protocol::requirement), std::move(path)}, sealBudget, {});
    if (result.end != ProcessEnd{ProcessEnds::Exited{protocol::holds}}) co_return std::nullopt;
    co_return std::string{trimmed(asText(result.output))};
}

}  // namespace larkmoor
