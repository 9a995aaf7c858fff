// One check for updates, from the feed to an update that is staged or put in place.
#pragma once

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "LarkmoorMenuApp/Update/Appcast/AppcastUpdater.h"
#include "LarkmoorMenuApp/Update/Appcast/UpdateProof.h"

namespace larkmoor {

/// Main thread. What it was doing goes on for a moment after `abandon`, until its helper has ended and its files are
/// gone; the next session waits for that.
class UpdateSession : public std::enable_shared_from_this<UpdateSession> {
  public:
    struct Owner {
        const Updater* updater;
        UserDriver* driver;
        UpdaterDelegate* delegate;
    };

    UpdateSession(AppcastServices services, Owner owner, bool isUserInitiated);

    void start();
    bool isUnderWay() const { return isUnderWay_; }
    /// Its updater is going: nobody is called any more, and a block that was handed out does nothing.
    void abandon();

  private:
    /// The error is in words.
    using Step = std::expected<void, std::string>;
    using Choice = std::optional<UserUpdateChoice>;  ///< nothing if the session was ended before one

    Task<void> run();
    Task<Step> check();
    Task<std::expected<std::optional<AppcastItem>, std::string>> readFeed();
    Task<Step> offer(AppcastItem item);
    Task<bool> isWanted(AppcastItem item);
    Task<void> findStaged(AppcastItem item);
    Task<Step> bring(AppcastItem item);
    Task<Step> download(AppcastItem item);
    Task<Step> unpack(AppcastItem item);
    Task<Step> offerInstallation(AppcastItem item);
    void awaitInstallation();
    void installNow();
    Task<void> install();
    void finish(const Step& end);

    bool isPassedOver(const AppcastItem& item) const;
    bool isSilent(const AppcastItem& item) const;
    void forgetStaged();
    UserUpdateState state() const;
    UpdateProof proof() const;
    FetchListener downloadListener(const AppcastItem& item);

    bool isOver() const { return stop_.stop_requested(); }
    /// Each does nothing once the updater is gone.
    void tell(const std::function<void(UserDriver&)>& words) const;
    void report(const std::function<void(UpdaterDelegate&, const Updater&)>& words) const;
    /// A closure that ends the session, as often as it is called.
    std::function<void()> cancellation();
    Task<Choice> ask(std::function<void(UserDriver&, UserDriver::Reply)> question);

    const AppcastServices services_;
    std::optional<Owner> owner_;
    const bool isUserInitiated_;
    bool isUnderWay_ = false;
    bool isShown_;             // the person sees what becomes of it
    bool wasUnseen_ = false;   // the offer of what may go in silently, too
    bool keepsStaged_ = true;  // what an earlier process has left, until the feed has spoken
    std::stop_source stop_;
    std::uint64_t received_ = 0;  // bytes of the archive that the driver has heard of
};

}  // namespace larkmoor
