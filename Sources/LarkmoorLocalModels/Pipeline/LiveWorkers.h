// The real workers of the models' setup: the host, the internet and the disk behind `LocalModelSetup`.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "LarkmoorLocalModels/Pipeline/LocalModelSetup.h"
#include "LarkmoorLocalModels/Runtime/HostAgent.h"
#include "LarkmoorLocalModels/Runtime/RuntimeRelease.h"
#include "LarkmoorPlatform/Fetch.h"
#include "LarkmoorPlatform/HTTPClient.h"
#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor {

/// The references outlive the setup's tasks.
struct LiveWorkers {
    MainLoop& loop;
    ProcessRunner& runner;
    HTTPClient& http;
    Fetch& fetch;
    HostAgent& host;
    std::string home, support;             ///< `support` is Application Support
    std::string endpoint;                  ///< the model host's
    std::optional<std::string> bundle;     ///< the application's, for the speech helper in it
    std::function<void(std::string)> log;  ///< the setup log
    RuntimeRelease release = RuntimeRelease::forThisSystem();

    LocalModelSetup::Seams seams() const;

  private:
    LocalModelSetup::TrioWorkers workers() const;
};

}  // namespace larkmoor
