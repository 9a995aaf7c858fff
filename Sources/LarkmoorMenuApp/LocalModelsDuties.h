// The local models' duties for the menu: whether this launch starts their setup, the row that shows it, and the cancel.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "LarkmoorBase/SerialQueue.h"
#include "LarkmoorKit/Models/LocalModelsUndo.h"
#include "LarkmoorLocalModels/Pipeline/LocalModelLaunch.h"
#include "LarkmoorLocalModels/Pipeline/LocalModelSetup.h"
#include "LarkmoorLocalModels/Runtime/HostAgent.h"
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
        std::function<void(std::string)> log;  ///< the setup log
    };

    explicit LocalModelsDuties(Seams seams);

    MenuDuties::Models make();

    Task<void> startIfNeeded();
    /// Ends the setup, takes away what it made, and writes the receipt for which the journey waits.
    Task<void> cancel();

  private:
    void attachProgress(std::function<void()> changed);

    Seams seams_;
    std::string progressPath_;
    LocalModelLaunch launch_;
    std::optional<LocalModelsProgress> progress_;  ///< the last one published
    /// Writes the progress file; a slow disk must not stop the menu.
    std::shared_ptr<SerialQueue> file_ = std::make_shared<SerialQueue>("models-progress");
};

}  // namespace larkmoor
