// What the menu starts and asks beyond its own rows. Each duty has its place in the launch sequence or in the rows from
// the start; until the room that fulfils it joins, it is quiet.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "LarkmoorBase/Task.h"

namespace larkmoor {

/// All of them are called on the main thread and leave it by themselves for what blocks.
struct MenuDuties {
    using Duty = std::function<Task<void>()>;
    using Question = std::function<Task<std::optional<bool>>()>;

    struct Line {
        std::string title;
        std::optional<double> fraction{};  ///< none: no bar, or one that moves by itself
        bool indeterminate = false;
        bool actionable = false;
    };

    // The launch sequence, in its order.

    /// The application's own login item, then the daemon's agent in the bundle.
    Duty registerLoginItems = quiet;
    Duty warmBundledBinaries = quiet;
    /// The quit sentinel goes, then a loose agent is healed.
    Duty clearQuitAndHealLooseAgent = quiet;
    Duty postSwapBounce = quiet;
    Duty migrateAtLaunch = quiet;
    std::function<Task<bool>()> buildUpdater = noUpdater;
    std::function<void()> armDailyClock = [] {};
    Duty converge = quiet;
    Duty startLocalModelsIfNeeded = quiet;
    /// Gives the models' pipeline the place where it tells its progress.
    std::function<void()> attachModelsProgress = [] {};

    // What comes of itself later.

    /// Claude has ended: its old connection may be retired.
    Duty retireChatConnection = quiet;
    Duty cancelLocalModels = quiet;
    Duty releaseQuitIfHeld = quiet;
    /// Whether the first-run journey is owed; nothing means that it cannot be told now.
    Question journeyWarranted = cannotBeTold;
    /// The same where the daemon does not answer.
    std::function<std::optional<bool>()> journeyWarrantedUnasked = [] { return std::optional<bool>{}; };

    // What the rows say.

    std::function<std::optional<Line>()> modelsLine = [] { return std::optional<Line>{}; };
    std::function<bool()> allDownloadsDone = [] { return false; };
    std::function<std::optional<std::string>()> postponedSentence = [] { return std::optional<std::string>{}; };
    std::function<std::optional<Line>()> updateLine = [] { return std::optional<Line>{}; };
    std::function<bool()> migrationOwed = [] { return false; };
    std::function<bool()> isMigrating = [] { return false; };

    // What a click does; none while there is no update host.

    std::function<void()> checkForUpdate{};
    std::function<void()> installUpdate{};
    /// The sentence that answers the click.
    std::function<Task<std::string>()> migrateNow{};

    static Task<void> quiet() { co_return; }
    static Task<bool> noUpdater() { co_return false; }
    static Task<std::optional<bool>> cannotBeTold() { co_return std::nullopt; }
};

}  // namespace larkmoor
