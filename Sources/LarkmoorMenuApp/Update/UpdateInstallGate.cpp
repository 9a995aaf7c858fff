#include "LarkmoorMenuApp/Update/UpdateInstallGate.h"

#include <fmt/format.h>

#include <utility>

#include "LarkmoorBase/ScopedFlag.h"
#include "LarkmoorPlatform/Spawn.h"

namespace larkmoor {

namespace {

using Row = UpdateMenuLine::Event;

}  // namespace

void UpdateInstallGate::hold(Install install, const std::string& version) {
    handler_ = std::move(install);
    if (announcedStagedVersion_ != version) beginVersion(version);
    if (!holdingSince_) holdingSince_ = seams_.now();
    rearm();
    pollNow();
}

void UpdateInstallGate::beginVersion(const std::string& version) {
    // What was counted belongs to the hold of another version; a call that has just ended is the same for both.
    deferralAnnouncedAt_.reset();
    holdingSince_.reset();
    silentPolls_ = 0;
    announcedStagedVersion_ = version;
    seams_.system(fmt::format("update {} is staged — checking whether it is safe to swap", version));
}

void UpdateInstallGate::rearm() {
    timer_ = seams_.every(std::chrono::seconds{UpdateCadence::guardPollEverySeconds}, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->pollNow();
    });
}

void UpdateInstallGate::pollNow() {
    spawn(seams_.loop, weak_from_this(), [](UpdateInstallGate& gate) { return gate.poll(); });
}

Task<void> UpdateInstallGate::poll() {
    if (polling_ || !handler_) co_return;
    const ScopedFlag polling{polling_};
    const auto [reading, answered] = co_await readMeeting();
    if (!handler_) co_return;
    if (installNowAsked_) co_return swapNow();
    silentPolls_ = answered ? 0 : silentPolls_ + 1;
    const Instant now = seams_.now();
    const auto heldFor = holdingSince_ ? std::optional{now - *holdingSince_} : std::nullopt;
    const auto termination = DeferralTermination::decide(answered, silentPolls_, heldFor, UpdateCadence::maxDeferral,
                                                         UpdateCadence::silentPollsBeforeHealing);
    if (termination.is<DeferralTermination::Verdict::GiveUp>()) {
        seams_.system(
            fmt::format("this update has been held for {} minutes — swapping anyway. Being stuck un-updated is "
                        "worse than a swap at a bad moment (RK 2026-08-28).",
                        UpdateCadence::maxDeferralSeconds / 60));
        silentPolls_ = 0;
        co_return handOverUnasked();
    }
    if (const auto* silence = termination.as<DeferralTermination::Verdict::HoldForSilence>()) {
        co_return holdForSilence(*silence);
    }
    const auto verdict = MeetingGuard::decide(reading, deferral_, now);
    if (const auto* waits = verdict.as<MeetingGuard::Verdict::Wait>()) co_return wait(reading, waits->seconds);
    endWait();
    co_await swap(!answered);
}

void UpdateInstallGate::holdForSilence(const DeferralTermination::Verdict::HoldForSilence& silence) {
    const std::string line = fmt::format(
        "the daemon is not answering — holding the swap (silent poll {} of {}; it installs anyway after that)",
        silence.poll, silence.of);
    seams_.system(line);
    if (silence.poll == 1) seams_.note(line);
    sendRow(Row::GateDoorSilent{});
    rearm();
}

void UpdateInstallGate::wait(MeetingReading reading, int seconds) {
    const Instant now = seams_.now();
    if (!deferralAnnouncedAt_ || now - *deferralAnnouncedAt_ >= UpdateCadence::deferralReminder) {
        const std::string line = reading == MeetingReading::live
                                     ? fmt::format("update swap deferred — a call is live ({}s to go)", seconds)
                                     : fmt::format("update swap deferred — a call just ended ({}s to go)", seconds);
        seams_.system(line);
        seams_.note(line);
        deferralAnnouncedAt_ = now;
    }
    sendWaiting();
}

Task<void> UpdateInstallGate::swap(bool doorSilent) {
    const bool isClear = co_await confirmStillClear(doorSilent);
    if (!handler_) co_return;
    if (isClear) co_return installNowAsked_ ? swapNow() : handOverUnasked();
    sendWaiting();
    rearm();
}

// The last look before the bundle is replaced. The daemon's silence is news only if it has just answered.
Task<bool> UpdateInstallGate::confirmStillClear(bool doorSilent) {
    const auto [reading, answered] = co_await readMeeting();
    if (!handler_ || installNowAsked_) co_return true;
    if (!doorSilent && !answered) {
        seams_.system("the daemon stopped answering while the swap was being prepared — holding the swap");
        co_return false;
    }
    if (MeetingGuard::decide(reading, deferral_, seams_.now()).is<MeetingGuard::Verdict::Install>()) co_return true;
    seams_.system("a call started while the swap was being prepared — holding the swap");
    co_return false;
}

bool UpdateInstallGate::installNow() {
    if (!handler_) return false;
    if (polling_) {
        installNowAsked_ = true;
    } else {
        swapNow();
    }
    return true;
}

void UpdateInstallGate::swapNow() {
    seams_.system("install now: chosen from the menu — swapping without waiting for the call");
    handOver();
}

void UpdateInstallGate::handOverUnasked() {
    if (seams_.isAgreed()) return handOver();
    seams_.system("the consent to silent updates was withdrawn — the update stays staged, and is offered");
    endWait();
    holdingSince_.reset();
    seams_.offer();
}

void UpdateInstallGate::handOver() {
    endWait();
    // A swap that fails is the end of this hold, too.
    holdingSince_.reset();
    installNowAsked_ = false;
    timer_.reset();
    seams_.system("swap proceeding — handing the bundle to Sparkle now");
    // Out of its field first: it must not run twice, and the row or the swap may lead to the next hold.
    Install install = std::exchange(handler_, nullptr);
    sendRow(Row::HandedToSparkle{});
    seams_.install(std::move(install));
}

void UpdateInstallGate::endWait() {
    deferral_ = {};
    deferralAnnouncedAt_.reset();
}

void UpdateInstallGate::drop() {
    if (!handler_) return;
    handler_ = nullptr;
    installNowAsked_ = false;
    timer_.reset();
    seams_.system("the updater was rebuilt — its held install block is dead; the next check hands a live one back");
}

Task<BoundedDoorCall::Answer<MeetingReading>> UpdateInstallGate::readMeeting() {
    return BoundedDoorCall::run<MeetingReading>(seams_.deadlines.silence, MeetingReading::clear, seams_.waiting,
                                                [meeting = seams_.meeting] { return meeting->meetingReading(); });
}

/// The row promises an installation after the call, which is not agreed to any more once the consent is withdrawn.
void UpdateInstallGate::sendWaiting() const {
    if (seams_.isAgreed()) return sendRow(Row::GateWaiting{announcedStagedVersion_.value_or("")});
    sendRow(Row::Rebuilt{});
}

void UpdateInstallGate::sendRow(const UpdateMenuLine::Event& event) const {
    if (onRow) onRow(event);
}

}  // namespace larkmoor
