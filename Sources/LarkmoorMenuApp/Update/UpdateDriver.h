// What the updater shows goes through this driver: it decides for each update session whether the user is asked, hands
// a silent one to the install gate, and feeds the menu's row.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "LarkmoorBase/Record.h"
#include "LarkmoorMenuApp/Update/UpdateInstallGate.h"
#include "LarkmoorMenuApp/Update/UpdateLogRelay.h"
#include "LarkmoorMenuApp/Update/Updater.h"
#include "LarkmoorUpdate/Row/UpdateMenuAnswer.h"

namespace larkmoor {

/// Main thread; owned by a shared_ptr. What it refers to outlives it.
class UpdateDriver final : public UserDriver, public std::enable_shared_from_this<UpdateDriver> {
  public:
    struct Seams {
        MainLoop& loop;
        std::unique_ptr<UserDriver> standard;  ///< shows what is offered
        std::function<bool()> optedIn;         ///< to silent updates
        std::shared_ptr<UpdateInstallGate> gate;
        const UpdateLogRelay& relay;
        std::string displayVersion;  ///< ours
        std::function<void(Int token, const UpdateMenuAnswer&)> onMenuAnswer;
        std::function<void(const UpdateMenuLine::Event&)> onRow;
    };

    explicit UpdateDriver(Seams seams) : seams_(std::move(seams)) {}

    /// The check that begins now answers this click.
    void setCurrentToken(Int token) { currentToken_ = token; }
    /// A download is running.
    bool bitsInFlight() const { return bitsInFlight_; }

    void showUserInitiatedUpdateCheck(Cancellation cancellation) override;
    void showUpdateFound(const AppcastItem& item, UserUpdateState state, Reply reply) override;
    void showUpdateNotFoundWithError(const std::string& reason, Acknowledgement acknowledgement) override;
    void showUpdaterError(const std::string& reason, Acknowledgement acknowledgement) override;
    void showDownloadInitiated(Cancellation cancellation) override;
    void showDownloadDidReceiveExpectedContentLength(std::uint64_t bytes) override;
    void showDownloadDidReceiveData(std::uint64_t bytes) override;
    void showDownloadDidStartExtracting() override;
    void showExtractionReceivedProgress(double progress) override;
    void showReadyToInstallAndRelaunch(Reply reply) override;
    void showInstallingUpdate() override;
    void dismissUpdateInstallation() override;

  private:
    bool isSilent() const { return sessionMood_ == UpdateMood::silent; }
    void endSession();
    void endWith(const UpdateMenuAnswer& answer, const Acknowledgement& acknowledgement);
    /// Runs `function(self)` in the loop's next turn, if the driver is still there.
    template <class Function>
    void later(Function function);

    const Seams seams_;
    std::optional<UpdateMood> sessionMood_;  ///< nothing until the session has found an update
    bool userInitiatedSession_ = false;
    std::string sessionVersion_;
    Int currentToken_ = 0;
    bool bitsInFlight_ = false;
};

}  // namespace larkmoor
