#include "Scenario.h"

#include "LarkmoorBase/JSON/Decoder.h"
#include "LarkmoorWire/Catalogue/Recording.h"

namespace larkmoor::understudy {

namespace {

bool isField(std::string_view key) {
    bool isKnown = false;
    boost::mp11::mp_for_each<FieldsOf<Scenario>>([&](auto field) { isKnown = isKnown || key == field.name; });
    return isKnown;
}

}  // namespace

std::expected<Scenario, std::string> readScenario(BytesView bytes) {
    FlatDocument document;
    if (auto parsed = document.parse(bytes); !parsed) return std::unexpected(parsed.error().description());
    const FlatNode& root = document.root();
    if (root.kind != FlatNode::Kind::object) return std::unexpected("a scenario is an object");
    for (const FlatNode* member = root.begin(); member != root.end(); member = member->next()) {
        if (!isField(member->key)) return std::unexpected(fmt::format("a scenario knows no \"{}\"", member->key));
    }
    auto scenario = Decoder::decode<Scenario>(bytes);
    if (!scenario) return std::unexpected(scenario.error().description());
    const std::optional<std::string>& front = scenario->front;
    if (front && !fromRawText<FrontRecording>(*front))
        return std::unexpected(fmt::format("\"{}\" is no front state", *front));
    return *std::move(scenario);
}

}  // namespace larkmoor::understudy
