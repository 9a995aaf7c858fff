#include "Windows.h"

#include <fmt/format.h>

#include "LarkmoorBase/RawText.h"
#include "LarkmoorKit/FirstRun/OnboardingTrigger.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor::understudy {

Windows::Windows(DistributedNotifications& notifications, std::string support)
    : notifications_(notifications), support_(std::move(support)) {
    door_ = notifications_.observe(
        std::string{WindowDoor::notification},
        [this](const std::optional<std::string>& object, const DistributedNotifications::Info& info) {
            if (const auto pane = fromRawText<WindowDoor::Pane>(object.value_or("")))
                open(*pane, WindowDoor::wantsFront(info));
        });
}

void Windows::open(WindowDoor::Pane pane, bool front) {
    if (pane != WindowDoor::Pane::onboarding) {
        seen_.push_back(fmt::format("open {}", rawText(pane)));
        return;
    }
    seen_.push_back(
        fmt::format("{} onboarding", rawText(WindowDoor::journeyDoor(isJourneyLive_, isJourneyLive_, front))));
    tellJourney(true);
}

void Windows::finishJourney() {
    TermsReceipt::markAgreed(TermsReceipt::path(support_));
    RecoveryKeyReceipt::markPassed(RecoveryKeyReceipt::path(support_));
    tellJourney(false);
}

void Windows::close() {
    if (isJourneyLive_) tellJourney(false);
}

void Windows::tellJourney(bool isVisible) {
    isJourneyLive_ = isVisible;
    notifications_.post(std::string{ClientInstance::journeyVisibleNotification}, isVisible ? "1" : "0", {});
}

}  // namespace larkmoor::understudy
