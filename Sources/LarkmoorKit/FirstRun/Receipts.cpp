#include "LarkmoorKit/FirstRun/Receipts.h"

#include <fmt/format.h>

#include "LarkmoorBase/Files.h"
#include "LarkmoorWire/Identity/ClientInstance.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"

namespace larkmoor {

namespace {

std::string place(std::string_view support, std::string_view name) {
    return fmt::format("{}/{}", ClientInstance::supportRoot(support), name);
}

void mark(const std::string& at) { static_cast<void>(ClientStoreMode::write({}, at)); }

}  // namespace

std::string TermsReceipt::path(std::string_view support) { return place(support, fileName); }
bool TermsReceipt::isAgreed(const std::string& at) { return Files::exists(at); }
void TermsReceipt::markAgreed(const std::string& at) { mark(at); }

std::string RecoveryKeyReceipt::path(std::string_view support) { return place(support, fileName); }
bool RecoveryKeyReceipt::isPassed(const std::string& at) { return Files::exists(at); }
void RecoveryKeyReceipt::markPassed(const std::string& at) { mark(at); }

}  // namespace larkmoor
