// Whether the first-run journey still has steps to complete, and the marker files (receipts) of completed steps.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorWire/Catalogue/GatewayResponse.h"

namespace larkmoor {

namespace OnboardingTrigger {

inline constexpr std::string_view screenRecordingKind = "screen_recording";
inline constexpr std::string_view accessibilityKind = "accessibility";
inline constexpr std::string_view microphoneKind = "microphone";
inline constexpr std::string_view grantedState = "granted";
inline constexpr std::string_view deniedState = "denied";
inline constexpr std::array requiredKinds{screenRecordingKind, accessibilityKind, microphoneKind};
/// Type and path of the card that the journey's last step stores in the daemon.
inline constexpr std::string_view helloKind = "onboarding";
inline constexpr std::string_view helloScope = "/";

/// Whether the first row of that kind has this state; false if there is none.
bool granted(std::string_view kind, const GrantsAnswer& grants);
bool denied(std::string_view kind, const GrantsAnswer& grants);
bool allGranted(const GrantsAnswer& grants);

/// Whether the answer holds a card; nullopt for an answer that is not a list of cards.
std::optional<bool> helloReceived(const GatewayResponse& response);

/// `grants` and `helloReceived` are nullopt if the daemon gave no usable answer.
bool shouldOpenJourney(bool storePresent, const std::optional<GrantsAnswer>& grants, std::optional<bool> helloReceived,
                       bool recoveryPassed, bool termsAgreed);

}  // namespace OnboardingTrigger

// Receipts are empty marker files in the support root. `support` is Application Support. A failure to write one is
// ignored: the journey then asks for the step again.

namespace TermsReceipt {

inline constexpr std::string_view fileName = "terms-agreed";
std::string path(std::string_view support);
bool isAgreed(const std::string& at);
void markAgreed(const std::string& at);

}  // namespace TermsReceipt

namespace RecoveryKeyReceipt {

inline constexpr std::string_view fileName = "recovery-key-passed";
std::string path(std::string_view support);
bool isPassed(const std::string& at);
void markPassed(const std::string& at);

}  // namespace RecoveryKeyReceipt

}  // namespace larkmoor
