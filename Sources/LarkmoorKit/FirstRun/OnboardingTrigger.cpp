#include "LarkmoorKit/FirstRun/OnboardingTrigger.h"

#include <fmt/format.h>

#include <algorithm>

#include "LarkmoorBase/Files.h"
#include "LarkmoorWire/Identity/ClientInstance.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"

namespace larkmoor {

namespace OnboardingTrigger {

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
    // With a store but no answer from the daemon, the machine is left alone.
    if (!grants) return false;
    if (!allGranted(*grants)) return true;
    if (!recoveryPassed) return true;
    return helloReceived == false;
}

}  // namespace OnboardingTrigger

namespace {

std::string receiptPath(std::string_view support, std::string_view name) {
    return fmt::format("{}/{}", ClientInstance::supportRoot(support), name);
}

void writeReceipt(const std::string& at) { static_cast<void>(ClientStoreMode::write({}, at)); }

}  // namespace

std::string TermsReceipt::path(std::string_view support) { return receiptPath(support, fileName); }
bool TermsReceipt::isAgreed(const std::string& at) { return Files::exists(at); }
void TermsReceipt::markAgreed(const std::string& at) { writeReceipt(at); }

std::string RecoveryKeyReceipt::path(std::string_view support) { return receiptPath(support, fileName); }
bool RecoveryKeyReceipt::isPassed(const std::string& at) { return Files::exists(at); }
void RecoveryKeyReceipt::markPassed(const std::string& at) { writeReceipt(at); }

}  // namespace larkmoor
