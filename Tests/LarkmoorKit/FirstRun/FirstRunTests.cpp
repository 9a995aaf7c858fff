// The first run's receipts, and what passes between the menu and the settings application.
#include "LarkmoorBase/Files.h"
#include "LarkmoorKit/FirstRun/OnboardingTrigger.h"
#include "LarkmoorKit/FirstRun/WindowDoor.h"
#include "Support/FakeDefaults.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

TEST(Receipts, AreEmptyPrivateFiles) {
    const testing::TemporaryFolder support;
    const std::string terms = TermsReceipt::path(support.path().string());
    EXPECT_EQ(terms, support / "Larkmoor/terms-agreed");
    EXPECT_EQ(RecoveryKeyReceipt::path("/s"), "/s/Larkmoor/recovery-key-passed");
    TermsReceipt::markAgreed(terms);
    EXPECT_EQ(Files::permissions(terms), 0600U);
    EXPECT_TRUE(Files::read(terms).value().empty());
    RecoveryKeyReceipt::markPassed(terms + "/below a file");
    EXPECT_FALSE(RecoveryKeyReceipt::isPassed(terms + "/below a file"));
}

TEST(UpdateOptIn, IsWrittenIntoTheMenusSuite) {
    const auto suite = std::make_shared<testing::FakeDefaults>();
    UpdateOptIn::write(true, "the.menu", [&](const std::string& name) { return name == "the.menu" ? suite : nullptr; });
    EXPECT_EQ(suite->flag("SUAutomaticallyUpdate"), true);
    UpdateOptIn::write(true, "the.menu", [](const std::string&) { return nullptr; });
}

TEST(WindowDoor, TheFirstKnownWordIsRequested) {
    using enum WindowDoor::Pane;
    const std::pair<std::vector<std::string>, std::optional<WindowDoor::Pane>> cases[] = {
        {{WindowDoor::argument(settings)}, settings},
        {{"--window=nonsense", "--window=stats"}, stats},
        {{"program", "--window=editor", "--window=stats"}, editor},
        {{"--window", "stats", "window=stats", "--window=", "--window=Stats"}, {}}};
    for (const auto& [arguments, want] : cases) EXPECT_EQ(WindowDoor::requested(arguments), want);
    EXPECT_TRUE(WindowDoor::wantsFront(WindowDoor::userInfo(true).value()));
    EXPECT_FALSE(WindowDoor::userInfo(false) || WindowDoor::wantsFront({}) ||
                 WindowDoor::wantsFront({{"front", "true"}}));
}

}  // namespace
}  // namespace larkmoor
