// What a cancelled setup of the local models takes away again: exactly what its receipts name, and nothing that was on
// the machine before. The plan is pure; `perform` carries it out.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorBase/Task.h"
#include "LarkmoorKit/Models/LocalModelsProgress.h"

namespace larkmoor {

class HTTPClient;
class LaunchAgents;

namespace LocalModelsUndo {

using Receipts = LocalModelsProgress::Receipts;

struct StepCases {
    /// The host is asked to delete a model that we pulled.
    struct DeleteModel {
        std::string name;
        bool operator==(const DeleteModel&) const = default;
    };
    /// The host that we started is stopped, and its property list removed.
    struct BootoutAgent {
        std::string plist, label;
        bool operator==(const BootoutAgent&) const = default;
    };
    /// A folder that we created.
    struct RemoveDirectory {
        std::string path;
        bool operator==(const RemoveDirectory&) const = default;
    };
    /// A partial blob of the pull that was cut short.
    struct RemoveFile {
        std::string path;
        bool operator==(const RemoveFile&) const = default;
    };
    /// The host's store, where there was none before.
    struct RemoveModelFolder {
        std::string path;
        bool operator==(const RemoveModelFolder&) const = default;
    };
};

class Step : public ClosedVariant<StepCases, StepCases::DeleteModel, StepCases::BootoutAgent,
                                  StepCases::RemoveDirectory, StepCases::RemoveFile, StepCases::RemoveModelFolder> {
  public:
    using ClosedVariant::ClosedVariant;
};

/// Whether the setup pulled this model, and it was not in the store before.
bool weInstalled(std::string_view name, const Receipts& receipts);

/// Whether a file of the store is what is left of a download that began at `since` or later. Seconds since 1970.
bool isPartialBlobAfterStart(std::string_view name, double modified, std::optional<double> since);

/// The paths of these files, in the order of their names. Blocks as long as the disk does.
std::vector<std::string> partialBlobs(const Receipts& receipts);

/// In this order: the host must live to delete a model, and be gone before its folders go.
std::vector<Step> plan(const Receipts& receipts, const std::vector<std::string>& blobsAfterStart);

/// `plan` with the `partialBlobs` of this moment.
std::vector<Step> planNow(const Receipts& receipts);

// For a screen that asks whether to cancel.

/// A line for each step.
std::vector<std::string> describe(const std::vector<Step>& steps);
/// What stays.
std::vector<std::string> keeps(const Receipts& receipts);
/// What may stay although it is ours.
std::vector<std::string> caveats(const Receipts& receipts);
/// False if it is not known what was there before.
bool leavesNothingBehind(const std::optional<Receipts>& receipts);

/// The references outlive the task.
struct Seams {
    HTTPClient& http;
    LaunchAgents& launchctl;
    std::string host;  ///< the model host's endpoint
    /// Removes the agent's property list, and what the service manager made of it.
    std::function<Task<void>(std::string plist, std::string label)> removePlist;
    std::function<void(std::string)> log;  ///< the setup log
};

/// In order, and past every failure, each of which is a line in the log. Main thread.
Task<void> perform(std::vector<Step> steps, Seams seams);

}  // namespace LocalModelsUndo

}  // namespace larkmoor
