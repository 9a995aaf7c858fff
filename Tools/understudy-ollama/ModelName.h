// The name of a model: where its manifest stands, and how a list shows it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace larkmoor::modelhost {

struct ModelName {
    std::string registry, nameSpace, model, tag;

    /// "[[registry/]namespace/]model[:tag]"; nullopt for any other text.
    static std::optional<ModelName> parse(std::string_view text);

    /// Below the folder of the manifests.
    std::string path() const { return registry + "/" + nameSpace + "/" + model + "/" + tag; }

    /// Without what goes without saying, but with the tag.
    std::string shown() const;

    bool operator==(const ModelName&) const = default;
};

}  // namespace larkmoor::modelhost
