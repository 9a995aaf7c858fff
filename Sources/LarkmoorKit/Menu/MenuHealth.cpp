#include "LarkmoorKit/Menu/MenuHealth.h"

#include "LarkmoorKit/Door/DoorFault.h"
#include "LarkmoorKit/Menu/MenuLabels.h"

namespace larkmoor {

namespace {

/// What follows "resumes " up to the closing bracket or the end.
std::optional<std::string> resumeTime(std::string_view text) {
    constexpr std::string_view mark = "resumes ";
    const auto found = text.find(mark);
    if (found == std::string_view::npos) return std::nullopt;
    const std::string_view rest = text.substr(found + mark.size());
    const std::string_view time = rest.substr(0, rest.find(')'));
    if (time.empty()) return std::nullopt;
    return std::string{time};
}

MenuHealth read(std::string_view word) {
    if (word == "healthy") return MenuHealth::Recording{};
    if (word.contains("stopped") || word.contains("paused")) return MenuHealth::Paused{resumeTime(word)};
    // The daemon's own sentence is shown unchanged.
    return MenuHealth::Attention{std::string{word}};
}

}  // namespace

MenuHealth MenuHealth::decide(const GatewayResponse& health, std::optional<DoorFault> fault, ClientProfile profile) {
    if (const auto* failure = health.as<GatewayResponse::Failure>()) {
        return Attention{fault ? menuLine(*fault, profile) : failure->message};
    }
    if (const auto* text = health.as<GatewayResponse::Text>()) return read(text->_0);
    return Attention{"Larkmoor sent an answer we couldn't read"};
}

RecordingStatus RecordingStatus::after(const MenuHealth& health, std::optional<DoorFault> fault,
                                       bool showsAlert) const {
    RecordingStatus next = *this;
    next.paused = health.isPaused();
    next.alert = health.isAlert() && showsAlert;
    next.resumesAt.reset();
    health.visit(
        [&next](const MenuHealth::Recording&) {
            next.line = "Recording";
            next.hasRecordingDot = true;
        },
        // The status line is hidden during a pause, and stays as it was.
        [&next](const MenuHealth::Paused& pause) { next.resumesAt = pause.resumesAt; },
        [&next, fault](const MenuHealth::Attention& attention) {
            next.alertFault = fault;
            next.line = attention.line;
            next.hasRecordingDot = false;
        });
    return next;
}

StatusIcon RecordingStatus::icon() const {
    if (alert) return StatusIcon::attention;
    return lastFront == FrontRecording::full ? StatusIcon::trailFilled : StatusIcon::trailHollow;
}

std::string RecordingStatus::iconLabel() const {
    return alert ? MenuLabels::attention(alertFault) : MenuLabels::trail(lastFront);
}

std::string RecordingStatus::resumeTitle() const { return MenuLabels::resumeTitle(resumesAt); }

bool RefusalRun::note(std::optional<DoorFault> fault, Time now) {
    if (fault != DoorFault::refused) {
        *this = {};
        return false;
    }
    if (!refusedSince) refusedSince = now;
    const bool isDue =
        RefusalNotice::decide(fault, now - *refusedSince, reportedRefusal) == RefusalNotice::Action::report;
    reportedRefusal = reportedRefusal || isDue;
    return isDue;
}

}  // namespace larkmoor
