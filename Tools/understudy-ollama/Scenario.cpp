#include "Scenario.h"

#include <fmt/format.h>

#include "LarkmoorBase/JSON/Decoder.h"

namespace larkmoor::modelhost {

namespace {

using Check = std::expected<void, std::string>;

template <class R>
Check checkKeys(const FlatNode& object, std::string_view what) {
    if (object.kind != FlatNode::Kind::object) return std::unexpected(fmt::format("{} is an object", what));
    for (const FlatNode* member = object.begin(); member != object.end(); member = member->next()) {
        bool isKnown = false;
        boost::mp11::mp_for_each<FieldsOf<R>>([&](auto field) { isKnown = isKnown || member->key() == field.name; });
        if (!isKnown) return std::unexpected(fmt::format("{} knows no \"{}\"", what, member->key()));
        if (member->kind == FlatNode::Kind::number && member->text().starts_with('-'))
            return std::unexpected(fmt::format("\"{}\" is not negative", member->key()));
    }
    return {};
}

template <class Function>
Check forMember(const FlatNode& object, std::string_view key, Function check) {
    for (const FlatNode* member = object.begin(); member != object.end(); member = member->next()) {
        if (member->key() != key) continue;
        if (auto result = check(*member); !result) return result;
    }
    return {};
}

template <class Function>
Check forEach(const FlatNode& object, std::string_view key, Function check) {
    return forMember(object, key, [&](const FlatNode& list) -> Check {
        if (list.kind != FlatNode::Kind::array) return {};
        for (const FlatNode* element = list.begin(); element != list.end(); element = element->next()) {
            if (auto result = check(*element); !result) return result;
        }
        return {};
    });
}

Check checkLayer(const FlatNode& layer) { return checkKeys<LayerOffer>(layer, "a layer"); }

Check checkModel(const FlatNode& model) {
    if (auto keys = checkKeys<ModelOffer>(model, "a model"); !keys) return keys;
    if (auto layers = forEach(model, "layers", checkLayer); !layers) return layers;
    return forMember(model, "config", checkLayer);
}

Check checkAllKeys(const FlatNode& scenario) {
    if (auto keys = checkKeys<Scenario>(scenario, "a scenario"); !keys) return keys;
    if (auto models = forEach(scenario, "models", checkModel); !models) return models;
    return forEach(scenario, "faults", [](const FlatNode& fault) { return checkKeys<Fault>(fault, "a fault"); });
}

}  // namespace

std::expected<Scenario, std::string> readScenario(BytesView bytes) {
    FlatDocument document;
    if (auto parsed = document.parse(bytes, Strictness::strict); !parsed)
        return std::unexpected(parsed.error().description());
    if (auto checked = checkAllKeys(document.root()); !checked) return std::unexpected(checked.error());
    auto scenario = Decoder::decode<Scenario>(bytes);
    if (!scenario) return std::unexpected(scenario.error().description());
    return *std::move(scenario);
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
