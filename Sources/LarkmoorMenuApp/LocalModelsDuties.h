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
    /// Ends the setup, takes away what it made, and writes the receipt for which the journey waits: after another
    /// process that is at work, and not at all if that does not end within a minute. No pass begins afterwards.
    Task<void> cancel();
    /// Whether this launch left the setup to another process that was at work on it.
    bool isAnotherAtWork() const { return isAnotherAtWork_; }

  private:
    /// While it lives, no other process works on the models.
    class Work;

    void attachProgress(std::function<void()> changed);
    Task<void> decideAtLaunch();
    Task<std::vector<LocalModelsUndo::Step>> undoPlan();
    Task<void> leaveNoTrace();
    Task<bool> beginWork();
    void endWork();

    Seams seams_;
    std::string progressPath_;
    LocalModelLaunch launch_;
    bool isCancelled_ = false;
    bool isAnotherAtWork_ = false;
    std::shared_ptr<Work> work_;                   ///< from the launch's decision to the end of what it started
    std::shared_ptr<OneShotEvent> decided_;        ///< at this launch; null before `startIfNeeded`
    std::optional<LocalModelsProgress> progress_;  ///< the last one published
    /// Writes the progress file; a slow disk must not stop the menu.
    std::shared_ptr<SerialQueue> file_ = std::make_shared<SerialQueue>("models-progress");
};

}  // namespace larkmoor
