// The first run's receipts, and what passes between the menu and the settings application.
#include <sys/stat.h>

#include "LarkmoorKit/FirstRun/OnboardingTrigger.h"
#include "LarkmoorKit/FirstRun/WindowDoor.h"
#include "Support/FakeDefaults.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

TEST(OnboardingTrigger, TheFirstRowOfAKindDecides) {
    using namespace OnboardingTrigger;
    const GrantsAnswer answer{
        .grants = {{"microphone", "denied", ""}, {"microphone", "granted", ""}, {"accessibility", "Granted", ""}}};
    EXPECT_FALSE(granted("microphone", answer));
    EXPECT_TRUE(denied("microphone", answer));
    EXPECT_FALSE(granted("accessibility", answer));
    EXPECT_FALSE(granted("screen_recording", answer) || denied("screen_recording", answer));
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

}  // namespace
}  // namespace larkmoor
