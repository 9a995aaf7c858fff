// The local models' duties for the menu: whether this launch starts their setup, the row that shows it, and the cancel.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "LarkmoorBase/SerialQueue.h"
#include "LarkmoorKit/Models/LocalModelsUndo.h"
#include "LarkmoorLocalModels/Pipeline/LiveWorkers.h"
#include "LarkmoorLocalModels/Pipeline/LocalModelLaunch.h"
#include "LarkmoorLocalModels/Pipeline/LocalModelSetup.h"
#include "LarkmoorMenuApp/MenuDuties.h"

namespace larkmoor {

/// Main thread. Outlives the menu that has its duties.
class LocalModelsDuties {
  public:
    struct Seams {
        std::shared_ptr<LocalModelSetup> setup;
        HostAgent& host;      ///< outlives this
        std::string support;  ///< Application Support
        /// Whether the models' folders are still where an older build put them.
        std::function<Task<bool>(LocalModelsProgress::Receipts)> layoutIsDue;
        LocalModelsUndo::Seams undo;
        std::function<void(std::string)> log;  ///< the setup log; called from any thread
    };

    /// Removes a unit of the service manager.
    using RemoveUnit = std::function<Task<void>(std::string unit)>;

    /// The real ones. The references of the workers, and `launchctl`, outlive the tasks.
    static Seams live(const LiveWorkers& workers, LaunchAgents& launchctl, RemoveUnit removeUnit);

    explicit LocalModelsDuties(Seams seams);

    MenuDuties::Models make();

    Task<void> startIfNeeded();
    /// Ends the setup, takes away what it made, and writes the receipt for which the journey waits. No pass begins
    /// afterwards.
    Task<void> cancel();

  private:
    void attachProgress(std::function<void()> changed);
    Task<void> decideAtLaunch();
    Task<std::vector<LocalModelsUndo::Step>> undoPlan();
    Task<void> leaveNoTrace();

    Seams seams_;
    std::string progressPath_;
    LocalModelLaunch launch_;
    bool isCancelled_ = false;
    std::shared_ptr<OneShotEvent> decided_;        ///< at this launch; null before `startIfNeeded`
    std::optional<LocalModelsProgress> progress_;  ///< the last one published
    /// Writes the progress file; a slow disk must not stop the menu.
    std::shared_ptr<SerialQueue> file_ = std::make_shared<SerialQueue>("models-progress");
};

}  // namespace larkmoor
