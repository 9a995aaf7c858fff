#include "LarkmoorMenuApp/JourneyQuestion.h"

#include <fmt/format.h>

#include "LarkmoorKit/FirstRun/OnboardingTrigger.h"
#include "LarkmoorKit/FirstRun/Receipts.h"
#include "LarkmoorPlatform/Files.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

namespace {

GatewayRequest helloCards() {
    return GatewayRequest::Read{ReadRequest::GetByType{.type = std::string{OnboardingTrigger::helloKind},
                                                       .path = std::string{OnboardingTrigger::helloScope},
                                                       .filters = std::nullopt,
                                                       .session = std::nullopt}};
}

}  // namespace

Task<std::optional<bool>> journeyWarranted(std::shared_ptr<LarkmoorClient> client, std::string support) {
    if (!TermsReceipt::isAgreed(TermsReceipt::path(support))) co_return true;
    const bool storePresent =
        Files::exists(fmt::format("{}/{}", ClientInstance::supportRoot(support), ClientInstance::databaseName));
    const GatewayResponse answer = co_await client->send(GatewayRequest::Read{ReadRequest::Grants{}});
    std::optional<GrantsAnswer> grants;
    if (const auto* told = answer.as<GatewayResponse::Grants>()) grants = told->_0;
    if (!grants && storePresent) co_return std::nullopt;
    std::optional<bool> helloReceived;
    if (grants && OnboardingTrigger::allGranted(*grants))
        helloReceived = OnboardingTrigger::helloReceived(co_await client->send(helloCards()));
    co_return OnboardingTrigger::shouldOpenJourney(
        storePresent, grants, helloReceived, RecoveryKeyReceipt::isPassed(RecoveryKeyReceipt::path(support)), true);
}

}  // namespace larkmoor
