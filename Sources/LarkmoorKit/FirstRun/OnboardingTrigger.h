// Whether the person still owes steps of the first-run journey.
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "LarkmoorWire/Catalogue/GatewayResponse.h"

namespace larkmoor::OnboardingTrigger {

inline constexpr std::string_view screenRecordingKind = "screen_recording";
inline constexpr std::string_view accessibilityKind = "accessibility";
inline constexpr std::string_view microphoneKind = "microphone";
inline constexpr std::string_view grantedState = "granted";
inline constexpr std::string_view deniedState = "denied";
inline constexpr std::array requiredKinds{screenRecordingKind, accessibilityKind, microphoneKind};
/// The card by which the daemon knows that the journey's last step was taken.
inline constexpr std::string_view helloKind = "onboarding";
inline constexpr std::string_view helloScope = "/";

/// Of the first row of that kind; no row is false.
bool granted(std::string_view kind, const GrantsAnswer& grants);
bool denied(std::string_view kind, const GrantsAnswer& grants);
bool allGranted(const GrantsAnswer& grants);

/// Whether the answer holds a card; nothing for any other answer.
std::optional<bool> helloReceived(const GatewayResponse& response);

/// `grants` and `helloReceived` are nothing where the daemon did not say.
bool shouldOpenJourney(bool storePresent, const std::optional<GrantsAnswer>& grants, std::optional<bool> helloReceived,
                       bool recoveryPassed, bool termsAgreed);

}  // namespace larkmoor::OnboardingTrigger
