// The stand-in's state, which all connections share, and how it answers one request.
#pragma once

#include <string>
#include <vector>

#include "Connection.h"
#include "EventLog.h"
#include "Layer.h"
#include "ModelFiles.h"
#include "Scenario.h"

namespace larkmoor::modelhost {

inline constexpr std::string_view version = "0.32.14";

struct Host {
    Host(Scenario played, std::string modelsFolder, const std::string& logPath);

    /// Puts the models into the store that are there from the start; an error message, or nothing.
    std::optional<std::string> install();

    /// What the registry has under this name, or nullptr.
    const ModelOffer* offerOf(const ModelName& name) const;

    /// Answers on the request's own thread, for as long as that takes.
    void respond(const Request& request, Connection& connection);

    const Scenario scenario;
    const std::vector<ModelOffer> models;
    Faults faults;
    Layers layers;
    ModelFiles files;
    EventLog log;
};

/// The config is a layer of the model's own unless the scenario names one.
LayerOffer configOf(const ModelOffer& offer);

}  // namespace larkmoor::modelhost
