// Whether the first-run journey is owed, the receipts that it is judged by, and how its window is asked for.
#include <sys/stat.h>

#include "LarkmoorKit/FirstRun/OnboardingTrigger.h"
#include "LarkmoorKit/FirstRun/Receipts.h"
#include "LarkmoorKit/FirstRun/UpdateOptIn.h"
#include "LarkmoorKit/FirstRun/WindowDoor.h"
#include "Support/FakeDefaults.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

GrantsAnswer rows(std::vector<std::pair<std::string, std::string>> states) {
    GrantsAnswer answer;
    for (const auto& [kind, state] : states) answer.grants.push_back({.kind = kind, .state = state, .displayName = ""});
    return answer;
}

TEST(OnboardingTrigger, TheJourneyIsOwedForOneReasonAfterTheOther) {
    const auto all = rows({{"microphone", "granted"}, {"accessibility", "granted"}, {"screen_recording", "granted"}});
    const auto some = rows({{"screen_recording", "granted"}, {"accessibility", "granted"}});
    struct Case {
        std::string_view name;
        bool store;
        std::optional<GrantsAnswer> grants;
        std::optional<bool> hello;
        bool recovery, terms, want;
    };
    const Case cases[] = {
        {"terms not agreed", true, all, true, true, false, true},
        {"no store", false, all, true, true, true, true},
        {"no store and a daemon that says nothing", false, {}, {}, true, true, true},
        {"a store and a daemon that says nothing", true, {}, {}, false, true, false},
        {"no row for the microphone", true, some, true, true, true, true},
        {"recovery key not confirmed", true, all, true, false, true, true},
        {"hello not told", true, all, {}, true, true, false},
        {"hello there", true, all, true, true, true, false},
        {"no hello", true, all, false, true, true, true},
    };
    for (const Case& test : cases)
        EXPECT_EQ(OnboardingTrigger::shouldOpenJourney(test.store, test.grants, test.hello, test.recovery, test.terms),
                  test.want)
            << test.name;
}

TEST(OnboardingTrigger, TheFirstRowOfAKindDecides) {
    using namespace OnboardingTrigger;
    const auto answer = rows({{"microphone", "denied"}, {"microphone", "granted"}, {"accessibility", "Granted"}});
    EXPECT_FALSE(granted("microphone", answer));
    EXPECT_TRUE(denied("microphone", answer));
    EXPECT_FALSE(granted("accessibility", answer));
    EXPECT_FALSE(granted("screen_recording", answer) || denied("screen_recording", answer));
}

TEST(OnboardingTrigger, OnlyCardsTellOfTheHello) {
    using OnboardingTrigger::helloReceived;
    GatewayResponse::KindCards cards;
    EXPECT_EQ(helloReceived(cards), false);
    cards.cards.emplace_back();
    EXPECT_EQ(helloReceived(cards), true);
    EXPECT_EQ(helloReceived(GatewayResponse::Failure{"no"}), std::nullopt);
}

TEST(Receipts, AreEmptyPrivateFiles) {
    const testing::TemporaryFolder support;
    const std::string terms = TermsReceipt::path(support.path().string());
    EXPECT_EQ(terms, support / "Larkmoor/terms-agreed");
    EXPECT_EQ(RecoveryKeyReceipt::path("/s"), "/s/Larkmoor/recovery-key-passed");
    EXPECT_FALSE(TermsReceipt::isAgreed(terms));
    TermsReceipt::markAgreed(terms);
    EXPECT_TRUE(TermsReceipt::isAgreed(terms));
    struct stat found{};
    ASSERT_EQ(::stat(terms.c_str(), &found), 0);
    EXPECT_EQ(found.st_size, 0);
    EXPECT_EQ(found.st_mode & 0777, 0600U);
    RecoveryKeyReceipt::markPassed(terms + "/below a file");
    EXPECT_FALSE(RecoveryKeyReceipt::isPassed(terms + "/below a file"));
}

TEST(UpdateOptIn, IsWrittenIntoTheMenusSuite) {
    std::string opened;
    const auto suite = std::make_shared<testing::FakeDefaults>();
    UpdateOptIn::write(true, "the.menu", [&](const std::string& name) {
        opened = name;
        return suite;
    });
    EXPECT_EQ(opened, "the.menu");
    EXPECT_EQ(suite->flag("SUAutomaticallyUpdate"), true);
    UpdateOptIn::write(true, "the.menu", [](const std::string&) { return nullptr; });
}

TEST(WindowDoor, TheFirstKnownWordIsRequested) {
    using enum WindowDoor::Pane;
    struct Case {
        std::vector<std::string> arguments;
        std::optional<WindowDoor::Pane> want;
    };
    const Case cases[] = {
        {{}, {}},
        {{"--window=settings"}, settings},
        {{"--window=onboarding"}, onboarding},
        {{"--window=nonsense", "--window=stats"}, stats},
        {{"program", "--window=editor", "--window=stats"}, editor},
        {{"--window", "stats", "window=stats", "--window=", "--window=Stats"}, {}},
    };
    for (const Case& test : cases) EXPECT_EQ(WindowDoor::requested(test.arguments), test.want);
    EXPECT_EQ(WindowDoor::argument(stats), "--window=stats");
}

TEST(WindowDoor, FrontIsAWordInTheInfo) {
    using WindowDoor::UserInfo;
    EXPECT_EQ(WindowDoor::userInfo(false), std::nullopt);
    EXPECT_EQ(WindowDoor::userInfo(true), (UserInfo{{"front", "1"}}));
    EXPECT_TRUE(WindowDoor::wantsFront({{"front", "1"}}));
    for (const UserInfo& info : {UserInfo{}, UserInfo{{"front", "true"}}, UserInfo{{"Front", "1"}}})
        EXPECT_FALSE(WindowDoor::wantsFront(info));
}

TEST(WindowDoor, TheJourneysWindow) {
    using enum WindowDoor::Journey::Action;
    for (const bool front : {false, true}) {
        EXPECT_EQ(WindowDoor::journeyDoor(false, false, front), build);
        EXPECT_EQ(WindowDoor::journeyDoor(false, true, front), build);
        EXPECT_EQ(WindowDoor::journeyDoor(true, false, front), refresh);
    }
    EXPECT_EQ(WindowDoor::journeyDoor(true, true, true), WindowDoor::Journey::Action::front);
    EXPECT_EQ(WindowDoor::journeyDoor(true, true, false), nothing);
}

}  // namespace
}  // namespace larkmoor
