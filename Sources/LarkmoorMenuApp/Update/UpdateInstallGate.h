// Holds a staged update back while a call is recorded and for a while after it, but never for ever. It polls the
// meeting state and calls the updater's install block when that is safe, when the user insists, or when the wait was
// too long.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorMenuApp/Update/BoundedDoorCall.h"
#include "LarkmoorUpdate/Meeting/MeetingGuard.h"
#include "LarkmoorUpdate/Row/UpdateMenuLine.h"

namespace larkmoor {

/// Main thread. Without a held block nothing runs. All waits count on the steady clock, which stops while the machine
/// sleeps: neither the grace after a call nor the longest hold is used up by a closed lid.
class UpdateInstallGate : public std::enable_shared_from_this<UpdateInstallGate> {
  public:
    using Install = std::function<void()>;
    using Instant = MeetingDeferral::Instant;

    /// What is referred to outlives the gate and its tasks.
    struct Seams {
        MainLoop& loop;
        /// The live reporter behind the migration's hold, so that a running migration reads as a call.
        std::shared_ptr<MeetingReporting> meeting;
        std::function<void(const std::string&)> system;  ///< writes a line to the system's log
        std::function<void(const std::string&)> note;    ///< writes a line to the update log
        RepeatingTimer::Every every;
        /// Calls the block, at once or when nothing stands against it that the gate does not know.
        std::function<void(Install)> install = [](const Install& now) { now(); };
        /// Whether what is held may go in without a click. The consent may be withdrawn while it waits.
        std::function<bool()> isAgreed = [] { return true; };
        /// The wait is over, but not agreed to any more: has the update offered, and drops the held block.
        std::function<void()> offer = [] {};
        std::function<Instant()> now = [] { return std::chrono::steady_clock::now(); };
        UpdateDoorDeadlines deadlines = UpdateDoorDeadlines::shipped();
        std::shared_ptr<DoorWaiting> waiting = std::make_shared<DoorSleepWait>();
    };

    /// Owned by a shared_ptr.
    explicit UpdateInstallGate(Seams seams) : seams_(std::move(seams)) {}

    /// Takes what the menu's row shall show. Without it nobody is told.
    std::function<void(const UpdateMenuLine::Event&)> onRow;

    /// An update is staged: `install` is called later, once, or never if `drop` or another `hold` comes before.
    void hold(Install install, const std::string& version);
    /// An update that the user has just agreed to: does not wait for a call's end.
    void holdOfferedInstall(Install install) { seams_.install(std::move(install)); }
    /// Calls the held block, at once or when the answer of a question under way is there. False if none is held.
    bool installNow();
    /// Polls without waiting for the next tick.
    void pollNow();
    /// The updater that made the held block is gone, so the block must not be called any more.
    void drop();

  private:
    void beginVersion(const std::string& version);
    void rearm();
    Task<void> poll();
    void holdForSilence(const DeferralTermination::Verdict::HoldForSilence& silence);
    void wait(MeetingReading reading, int seconds);
    Task<void> swap(bool doorSilent);
    Task<bool> confirmStillClear(bool doorSilent);
    void swapNow();
    void handOverUnasked();
    void handOver();
    void endWait();
    Task<BoundedDoorCall::Answer<MeetingReading>> readMeeting();
    void sendWaiting() const;
    void sendRow(const UpdateMenuLine::Event& event) const;

    const Seams seams_;
    MeetingDeferral deferral_;
    std::unique_ptr<RepeatingTimer> timer_;  ///< null unless a block is held
    Install handler_;                        ///< empty unless a block is held
    bool polling_ = false;                   ///< a poll is under way, with the swap in which it may end
    int silentPolls_ = 0;                    ///< in a row
    std::optional<Instant> holdingSince_;    ///< the first hold of the announced version; a rebuild does not restart it
    std::optional<std::string> announcedStagedVersion_;
    std::optional<Instant> deferralAnnouncedAt_;
    bool installNowAsked_ = false;  ///< while a poll was under way
};

}  // namespace larkmoor
