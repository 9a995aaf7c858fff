// The updater framework, as the update host and its driver use it: it reads the feed, downloads, proves and unpacks an
// update, and puts it in the running bundle's place. It has no clock of its own that we use, and decides nothing about
// when.
#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <string>

#include "LarkmoorUpdate/Feed/AppcastItem.h"

namespace larkmoor {

enum class UserUpdateChoice {
    skip,
    install,
    dismiss,
    unseen,  ///< none, since the question could not be shown
};
enum class UserUpdateStage { notDownloaded, downloaded, installing };

struct UserUpdateState {
    bool userInitiated = false;
    UserUpdateStage stage = UserUpdateStage::notDownloaded;
};

/// What the updater tells and asks the person. Main thread. The functions that are handed in may be called later, once,
/// and do nothing when the updater is gone.
class UserDriver {
  public:
    using Cancellation = std::function<void()>;
    using Acknowledgement = std::function<void()>;
    using Reply = std::function<void(UserUpdateChoice)>;

    virtual ~UserDriver() = default;

    virtual void showUserInitiatedUpdateCheck(Cancellation cancellation) = 0;
    virtual void showUpdateFound(const AppcastItem& item, UserUpdateState state, Reply reply) = 0;
    /// Why no update was found is told by `reason`, for the visible flow alone.
    virtual void showUpdateNotFoundWithError(const std::string& reason, Acknowledgement acknowledgement) = 0;
    virtual void showUpdaterError(const std::string& reason, Acknowledgement acknowledgement) = 0;
    virtual void showDownloadInitiated(Cancellation cancellation) = 0;
    virtual void showDownloadDidReceiveExpectedContentLength(std::uint64_t bytes) = 0;
    /// New bytes, not a total.
    virtual void showDownloadDidReceiveData(std::uint64_t bytes) = 0;
    virtual void showDownloadDidStartExtracting() = 0;
    /// From 0 to 1.
    virtual void showExtractionReceivedProgress(double progress) = 0;
    virtual void showReadyToInstallAndRelaunch(Reply reply) = 0;
    virtual void showInstallingUpdate() = 0;
    /// The session is over, or was cancelled: what is still shown is taken away.
    virtual void dismissUpdateInstallation() = 0;
};

class Updater;

/// Main thread. `updater` is who calls; an updater that was replaced may still call once or twice.
class UpdaterDelegate {
  public:
    virtual ~UpdaterDelegate() = default;

    virtual void willDownloadUpdate(const Updater& updater, const AppcastItem& item) = 0;
    virtual void failedToDownloadUpdate(const Updater& updater, const AppcastItem& item, const std::string& reason) = 0;
    virtual void willExtractUpdate(const Updater& updater, const AppcastItem& item) = 0;
    virtual void userDidMakeChoice(const Updater& updater, UserUpdateChoice choice, const AppcastItem& item,
                                   UserUpdateState state) = 0;
    /// A silently downloaded update is staged and would be installed when the application ends. True if the delegate
    /// took `immediateInstallation`, which installs it at once and starts the application anew.
    virtual bool willInstallUpdateOnQuit(const Updater& updater, const AppcastItem& item,
                                         std::function<void()> immediateInstallation) = 0;
    virtual bool updaterShouldRelaunchApplication(const Updater& updater) = 0;
    /// The last word of every check; `error` is a reason for a log.
    virtual void didFinishUpdateCycle(const Updater& updater, const std::optional<std::string>& error) = 0;
    virtual void didAbortWithError(const Updater& updater, const std::string& reason) = 0;
};

/// Main thread. Destroying it ends what it is doing; an update that it has staged stays staged.
class Updater {
  public:
    using Date = std::chrono::system_clock::time_point;

    virtual ~Updater() = default;

    virtual void setAutomaticallyChecksForUpdates(bool checks) = 0;
    virtual void setUpdateCheckInterval(std::chrono::seconds interval) = 0;
    /// Once, before all else; the error is a reason in words.
    virtual std::expected<void, std::string> startUpdater() = 0;
    /// For a click: everything that follows is shown.
    virtual void checkForUpdates() = 0;
    virtual void checkForUpdatesInBackground() = 0;
    /// The person wants what is staged, which then needs no consent to silent updates.
    virtual void chooseStaged() = 0;
    /// Whether an update is ready to be put in its place, at the quit at the latest.
    virtual bool hasStaged() const = 0;
    virtual std::optional<Date> lastUpdateCheckDate() const = 0;
    /// The person's choice of silent updates.
    virtual bool automaticallyDownloadsUpdates() const = 0;
};

}  // namespace larkmoor
