// Whether the first-run journey is owed, and how far the daemon is asked.
#include "LarkmoorMenuApp/JourneyQuestion.h"

#include <fstream>

#include "LarkmoorKit/FirstRun/OnboardingTrigger.h"
#include "LarkmoorWire/Catalogue/GatewayResponse.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

/// A daemon that answers two questions, and notes which were put.
class Daemon final : public LarkmoorClient {
  public:
    GatewayResponse grants = GatewayResponse::Failure{"not now"};
    GatewayResponse hello = GatewayResponse::Failure{"not now"};
    std::string asked;

    Task<GatewayResponse> send(GatewayRequest request) override {
        const ReadRequest& read = request.as<GatewayRequest::Read>()->_0;
        const auto* cards = read.as<ReadRequest::GetByType>();
        if (cards == nullptr) {
            asked += "grants ";
            co_return grants;
        }
        asked += fmt::format("{} at {} ", cards->type, cards->path.value_or("?"));
        EXPECT_FALSE(cards->filters || cards->session);
        co_return hello;
    }
};

/// The three kinds, with the state of the first one; an empty state is no row.
GatewayResponse grantsOf(std::string state) {
    GrantsAnswer answer{.grants = {{"screen_recording", "granted", ""}, {"accessibility", "granted", ""}}};
    if (!state.empty()) answer.grants.insert(answer.grants.begin(), {"microphone", std::move(state), ""});
    answer.grants.push_back({"screen_recording", "denied", ""});  // the first row of a kind counts
    return GatewayResponse::Grants{std::move(answer)};
}

GatewayResponse cardsOf(std::size_t count) {
    GatewayResponse::KindCards cards;
    cards.cards.resize(count);
    return cards;
}

TEST(JourneyQuestion, IsAskedNoFurtherThanItNeedsTo) {
    const GatewayResponse failure = GatewayResponse::Failure{"not now"};
    const GatewayResponse all = grantsOf("granted");
    struct Case {
        std::string_view name;
        bool terms, store, recovery;
        GatewayResponse grants, hello;
        std::optional<bool> want;
        std::string_view asked;
    };
    const Case cases[] = {
        {"terms not agreed", false, true, true, all, cardsOf(1), true, ""},
        {"a store and a silent daemon", true, true, true, failure, failure, std::nullopt, "grants "},
        {"no store and a silent daemon", true, false, true, failure, failure, true, "grants "},
        {"a grant denied", true, true, true, grantsOf("denied"), cardsOf(1), true, "grants "},
        {"a grant in a state of its own", true, true, true, grantsOf("Granted"), cardsOf(1), true, "grants "},
        {"no row for a grant", true, true, true, grantsOf(""), cardsOf(1), true, "grants "},
        {"no store", true, false, true, all, cardsOf(1), true, "grants onboarding at / "},
        {"recovery key missing", true, true, false, all, cardsOf(1), true, "grants onboarding at / "},
        {"all done", true, true, true, all, cardsOf(1), false, "grants onboarding at / "},
        {"no hello", true, true, true, all, cardsOf(0), true, "grants onboarding at / "},
        {"hello not told", true, true, true, all, failure, false, "grants onboarding at / "},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        MainLoop loop;
        const testing::TemporaryFolder support;
        const std::string root = support.path().string();
        if (test.terms) TermsReceipt::markAgreed(TermsReceipt::path(root));
        if (test.recovery) RecoveryKeyReceipt::markPassed(RecoveryKeyReceipt::path(root));
        std::filesystem::create_directories(support / "Larkmoor");
        if (test.store) std::ofstream{support / "Larkmoor/data.db"};
        const auto daemon = std::make_shared<Daemon>();
        daemon->grants = test.grants;
        daemon->hello = test.hello;
        EXPECT_EQ(testing::runTask(loop, journeyWarranted(daemon, root)).value(), test.want);
        EXPECT_EQ(daemon->asked, test.asked);
        const bool isToldByTheDisk = !test.terms || !test.store;
        EXPECT_EQ(journeyWarrantedUnasked(root), isToldByTheDisk ? std::optional{true} : std::nullopt);
    }
}

}  // namespace
}  // namespace larkmoor
