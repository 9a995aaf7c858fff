// From a downloaded archive to a bundle that may take our place: what it takes to believe it, and where it then lies.
#pragma once

#include <expected>
#include <stop_token>
#include <string>

#include "LarkmoorBase/Task.h"
#include "LarkmoorMenuApp/Update/Appcast/UpdateInstaller.h"
#include "LarkmoorPlatform/ProcessRunner.h"
#include "LarkmoorPlatform/Signatures.h"
#include "LarkmoorUpdate/Feed/AppcastItem.h"

namespace larkmoor {

/// What an update is proven with. The references outlive the tasks below.
struct UpdateProof {
    ProcessRunner& runner;
    Signatures& signatures;
    std::string publicKey;   ///< base64
    std::string identifier;  ///< CFBundleIdentifier of the product
    std::string ourBuild;
};

/// The archive has the length and the signature that the feed tells.
Task<std::expected<void, std::string>> proveArchive(UpdateProof proof, std::string archive, AppcastItem item,
                                                    std::stop_token stop);

/// Unpacks the archive, proves what came, and stages it: from the last rename on it is there, synced to the disk.
/// Main thread; its slow work runs elsewhere. The error is in words; after one, `BundleExchange::sweep` is due.
Task<std::expected<StagedUpdate, std::string>> unpackAndStage(UpdateProof proof, UpdatePlaces places, AppcastItem item,
                                                              std::stop_token stop);

/// Proves anew what an earlier process has staged. An error if there is nothing, or not this very update.
Task<std::expected<StagedUpdate, std::string>> proveStaged(UpdateProof proof, UpdatePlaces places, AppcastItem item,
                                                           std::stop_token stop);

/// Whether the bundle's program starts on this machine, such as one that lacks a library does not. The error is in
/// words.
Task<std::expected<void, std::string>> tryToRun(ProcessRunner& runner, std::string executable, std::stop_token stop);

}  // namespace larkmoor
