// The running bundle and its exchange, for the life of the process. Updaters come and go; what they have staged stays
// here, and goes in at once or when the application ends.
#pragma once

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "LarkmoorBase/OneShotEvent.h"
#include "LarkmoorBase/Task.h"
#include "LarkmoorMenuApp/Update/Appcast/BundleExchange.h"

namespace larkmoor {

/// An update that lies beside the bundle and was proven by this process.
struct StagedUpdate {
    std::string build;
    std::string version;
    Folders::Identity identity;
    bool isChosen = false;  ///< by the person, and not by the consent to silent updates
};

/// Main thread.
class UpdateInstaller {
  public:
    using Installed = std::expected<void, std::string>;

    struct Options {
        std::string bundle;  ///< the folder that this process runs from, absolute
        std::string build;   ///< what it was at the launch
        /// Whether a bundle is whole and sealed as an update must be.
        std::function<Task<Signatures::BundleVerdict>(std::string bundle)> prove;
        /// Why the bundle has to stay as it is for now, in words; "" if there is no reason.
        std::function<std::string()> objection = [] { return std::string{}; };
        /// Ends this application and starts the one that then stands in its place.
        std::function<void()> relaunch;
        std::function<void(std::string)> log;
        /// Whether an update that nobody chose may go in: the consent may be withdrawn while it waits.
        std::function<bool()> isAutomatic = [] { return true; };
    };

    explicit UpdateInstaller(Options options);

    const UpdatePlaces& places() const { return places_; }
    const std::string& build() const { return options_.build; }

    /// Why no update can be put in the bundle's place, in words, as far as that can be told beforehand: the bundle is
    /// not what was launched, it is not this person's to change, or its file system cannot exchange two folders. Makes
    /// the folder of `places` and holds its lock until `release`.
    std::expected<void, std::string> prepare();
    /// Holds the folder's lock until `release`; false if another process does, or if there is no folder.
    bool hold();
    void release() { lock_.reset(); }

    const std::optional<StagedUpdate>& staged() const { return staged_; }
    void setStaged(std::optional<StagedUpdate> staged) { staged_ = std::move(staged); }
    /// The person wants it.
    void choose() {
        if (staged_) staged_->isChosen = true;
    }

    /// Proves anew what is staged, which may have waited for days, and exchanges the bundle for it: one rename.
    /// `relaunch` is called after a success. What does not hold any more is removed; after an exchange that failed
    /// nothing is staged, until a check has proven it anew. What the person would have to be asked for stays staged.
    Task<Installed> install();
    /// The last thing before the end of the loop: what is staged goes in at the next launch, which can watch over it.
    /// Not if the person would have to be asked. Takes milliseconds; a failure is logged.
    void applyAtQuit();

    /// Says that this build is up, if it is one that was just exchanged; its remains are removed. Blocks as long as
    /// that takes; any thread.
    static void sayUp(const UpdatePlaces& places, const std::string& build);

    /// Sessions take turns: what to wait for, if anything, before the one that brings `mine` may begin.
    std::shared_ptr<OneShotEvent> takeTurn(std::shared_ptr<OneShotEvent> mine);

  private:
    /// By a choice of the person, or by the consent as of now.
    bool isAgreed() const { return staged_ && (staged_->isChosen || options_.isAutomatic()); }
    std::expected<void, std::string> checkIsOurs() const;
    std::expected<void, std::string> checkStaged() const;
    std::expected<void, std::string> holdStaged();
    Task<Installed> proveStagedAnew();
    Installed refuse(const std::string& reason);

    const Options options_;
    const UpdatePlaces places_;
    const std::optional<Folders::Identity> launched_;
    std::optional<StagedUpdate> staged_;
    FileDescriptor lock_;
    std::shared_ptr<OneShotEvent> lastTurn_;
};

}  // namespace larkmoor
