// Steps of the first-run journey that were taken: each an empty file in the support root. `support` is Application
// Support; a mark that cannot be made is ignored, and the step is asked for again.
#pragma once

#include <string>
#include <string_view>

namespace larkmoor {

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
