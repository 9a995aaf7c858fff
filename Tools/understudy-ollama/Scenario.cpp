#include "Scenario.h"

#include <fmt/format.h>

#include "ScenarioFile.h"

namespace larkmoor::modelhost {

namespace {

/// The name of a number below zero: there is no use for one anywhere.
std::optional<std::string> negativeMember(BytesView bytes) {
    FlatDocument document;
    if (!document.parse(bytes)) return std::nullopt;
    for (const FlatNode* node = &document.root(); node != document.root().end(); ++node) {
        if (node->kind == FlatNode::Kind::number && node->text().starts_with('-')) return std::string{node->key()};
    }
    return std::nullopt;
}

}  // namespace

std::expected<Scenario, std::string> readScenario(BytesView bytes) {
    auto scenario = decodeScenario<Scenario>(bytes);
    if (const auto negative = scenario ? negativeMember(bytes) : std::nullopt)
        return std::unexpected(fmt::format("\"{}\" is not negative", *negative));
    return scenario;
}

std::vector<ModelOffer> defaultModels() {
    const LayerOffer weights{"gemma3-4b-text weights", 8'000'000};
    const LayerOffer license{"gemma license", 8'433};
    return {
        {"fenwright/gemma3-4b-text", {weights, license, {"gemma3-4b-text parameters", 77}}, {}, {}},
        {"hf.co/fenwright/gemma3-4b-text", {weights, license}, {}, {}},
        {"gemma3:4b", {{"gemma3 weights", 4'000'000}, license}, {}, {}},
        {"nomic-embed-text", {{"nomic-embed-text weights", 1'000'000}}, {}, {}},
    };
}

std::vector<Fault> Faults::hitting(std::string_view path, std::string_view model) {
    const std::lock_guard lock{mutex_};
    std::vector<Fault> hits;
    for (std::size_t index = 0; index < faults_.size(); ++index) {
        const Fault& fault = faults_[index];
        if (fault.path && *fault.path != path) continue;
        if (fault.model && *fault.model != model) continue;
        const Int match = matches_[index]++ - fault.after.value_or(0);
        if (match >= 0 && (!fault.times || match < *fault.times)) hits.push_back(fault);
    }
    return hits;
}

}  // namespace larkmoor::modelhost
