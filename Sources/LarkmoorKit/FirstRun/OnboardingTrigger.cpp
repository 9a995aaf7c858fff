#include "LarkmoorKit/FirstRun/OnboardingTrigger.h"

#include <algorithm>

namespace larkmoor::OnboardingTrigger {

namespace {

bool isIn(std::string_view state, std::string_view kind, const GrantsAnswer& answer) {
    const auto row = std::ranges::find(answer.grants, kind, &GrantRow::kind);
    return row != answer.grants.end() && row->state == state;
}

}  // namespace

bool granted(std::string_view kind, const GrantsAnswer& grants) { return isIn(grantedState, kind, grants); }

bool denied(std::string_view kind, const GrantsAnswer& grants) { return isIn(deniedState, kind, grants); }

bool allGranted(const GrantsAnswer& grants) {
    return std::ranges::all_of(requiredKinds, [&](std::string_view kind) { return granted(kind, grants); });
}

std::optional<bool> helloReceived(const GatewayResponse& response) {
    const auto* cards = response.as<GatewayResponse::KindCards>();
    return cards == nullptr ? std::nullopt : std::optional{!cards->cards.empty()};
}

bool shouldOpenJourney(bool storePresent, const std::optional<GrantsAnswer>& grants, std::optional<bool> helloReceived,
                       bool recoveryPassed, bool termsAgreed) {
    if (!termsAgreed || !storePresent) return true;
    // A machine with a store whose daemon says nothing is left alone.
    if (!grants) return false;
    if (!allGranted(*grants)) return true;
    if (!recoveryPassed) return true;
    return helloReceived == false;
}

}  // namespace larkmoor::OnboardingTrigger
