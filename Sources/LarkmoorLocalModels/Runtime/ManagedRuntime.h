// Finds the executable of the model runtime, or downloads it: proven before it is ever run.
#pragma once

#include <array>
#include <expected>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "LarkmoorBase/Task.h"
#include "LarkmoorLocalModels/Pipeline/Transfer.h"
#include "LarkmoorLocalModels/Runtime/RuntimeRelease.h"
#include "LarkmoorPlatform/Fetch.h"
#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor {

struct RuntimePlaces {
    /// The managed executable, then the place that it had in older versions.
    std::array<std::string, 2> ourBinaries;
    /// Where a runtime of the user's may be.
    std::vector<std::string> usersBinaries;
    /// Takes the partial download.
    std::string temporaryFolder;

    /// `support` is Application Support, without a slash at the end.
    static RuntimePlaces of(std::string_view support);

    const std::string& managed() const { return ourBinaries.front(); }
};

/// What the functions below work with. Runner and fetch are not null and outlive the tasks.
struct RuntimeSetup {
    ProcessRunner* runner;
    Fetch* fetch;
    RuntimePlaces places;
    RuntimeRelease release = RuntimeRelease::forThisSystem();
    /// The setup log; called from any thread.
    std::function<void(std::string)> log;
    std::stop_token stop{};
};

/// An executable to run the model host with. One of the user's is taken as it is; one of ours that does not verify is
/// deleted. One of ours that does lets the partials of killed fetches be swept. nullopt: there is none to be had. Main
/// thread; its slow work runs elsewhere.
Task<std::optional<std::string>> findTrustedRuntime(RuntimeSetup setup);

/// Downloads, proves and unpacks the managed executable; returns its path. Whatever happens, no partial download is
/// left. `progress` is called on the main thread. Main thread; its slow work runs elsewhere.
Task<std::expected<std::string, SetupError>> fetchRuntime(RuntimeSetup setup, TransferListener progress);

}  // namespace larkmoor
