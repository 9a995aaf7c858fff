// The visible flow of an update: what the user is told and asked, in alerts. A download has none: the menu's row tells
// of it.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>

#include "LarkmoorMenuApp/Update/BoundedDoorCall.h"
#include "LarkmoorMenuApp/Update/Updater.h"
#include "LarkmoorPlatform/Alerts.h"

namespace larkmoor {

/// One alert at a time: each takes back the one before, as does the end of this object, and an alert that was taken
/// back is not answered.
class StandardUserDriver final : public UserDriver {
  public:
    /// A check that is over before this shows no window.
    static constexpr std::chrono::milliseconds checkPatience{1000};

    struct Seams {
        MainLoop& loop;
        Alerts& alerts;  ///< outlives the loop's tasks
        std::shared_ptr<DoorWaiting> waiting;
        std::function<void(const std::string& address)> openPage;  ///< in the user's browser
        std::string displayVersion;                                ///< ours
    };

    explicit StandardUserDriver(Seams seams) : seams_(std::move(seams)) {}
    ~StandardUserDriver() override { dismissUpdateInstallation(); }

    void showUserInitiatedUpdateCheck(Cancellation cancellation) override;
    void showUpdateFound(const AppcastItem& item, UserUpdateState state, Reply reply) override;
    // The menu's alert tells these two, and of a download that is ready nobody is asked again.
    void showUpdateNotFoundWithError(const std::string&, Acknowledgement acknowledgement) override {
        acknowledgement();
    }
    void showUpdaterError(const std::string&, Acknowledgement acknowledgement) override { acknowledgement(); }
    void showReadyToInstallAndRelaunch(Reply reply) override { reply(UserUpdateChoice::install); }
    void showDownloadInitiated(Cancellation) override {}
    void showDownloadDidReceiveExpectedContentLength(std::uint64_t) override {}
    void showDownloadDidReceiveData(std::uint64_t) override {}
    void showDownloadDidStartExtracting() override {}
    void showExtractionReceivedProgress(double) override {}
    void showInstallingUpdate() override {}
    void dismissUpdateInstallation() override;

  private:
    /// What follows an answer; true shows the alert again.
    using Answered = std::function<bool(const AlertAnswer&)>;
    struct Question;

    void show(Alert alert, Answered answered, std::chrono::milliseconds after = {});

    Seams seams_;
    std::shared_ptr<std::stop_source> window_;  ///< takes back what is shown; null if nothing was
};

}  // namespace larkmoor
