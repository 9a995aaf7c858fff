#include "LarkmoorMenuApp/JourneyQuestion.h"

#include <fmt/format.h>

#include "LarkmoorBase/Files.h"
#include "LarkmoorKit/FirstRun/OnboardingTrigger.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

namespace {

bool termsAgreed(const std::string& support) { return TermsReceipt::isAgreed(TermsReceipt::path(support)); }

bool storePresent(const std::string& support) {
    return Files::exists(fmt::format("{}/{}", ClientInstance::supportRoot(support), ClientInstance::databaseName));
}

GatewayRequest helloCards() {
    return GatewayRequest::Read{ReadRequest::GetByType{.type = std::string{OnboardingTrigger::helloKind},
                                                       .path = std::string{OnboardingTrigger::helloScope},
                                                       .filters = std::nullopt,
                                                       .session = std::nullopt}};
}

}  // namespace

Task<std::optional<bool>> journeyWarranted(std::shared_ptr<LarkmoorClient> client, std::string support) {
    if (!termsAgreed(support)) co_return true;
    const GatewayResponse answer = co_await client->send(GatewayRequest::Read{ReadRequest::Grants{}});
    std::optional<GrantsAnswer> grants;
    if (const auto* told = answer.as<GatewayResponse::Grants>()) grants = told->_0;
    if (!grants) co_return journeyWarrantedUnasked(support);
    std::optional<bool> helloReceived;
    if (OnboardingTrigger::allGranted(*grants))
        helloReceived = OnboardingTrigger::helloReceived(co_await client->send(helloCards()));
    co_return OnboardingTrigger::shouldOpenJourney(storePresent(support), grants, helloReceived,
                                                   RecoveryKeyReceipt::isPassed(RecoveryKeyReceipt::path(support)),
                                                   true);
}

/// A daemon that cannot be asked says nothing about a machine that has a store.
std::optional<bool> journeyWarrantedUnasked(const std::string& support) {
    if (termsAgreed(support) && storePresent(support)) return std::nullopt;
    return true;
}

}  // namespace larkmoor
