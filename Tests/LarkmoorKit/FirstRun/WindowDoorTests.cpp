// How the settings application is asked for a window.
#include "LarkmoorKit/FirstRun/WindowDoor.h"

namespace larkmoor::WindowDoor {
namespace {

TEST(WindowDoor, AnArgumentNamesAPaneAndIsReadBack) {
    struct Case {
        Pane pane;
        std::string_view word;
    };
    for (const Case& row : {Case{Pane::settings, "settings"}, Case{Pane::stats, "stats"}, Case{Pane::editor, "editor"},
                            Case{Pane::onboarding, "onboarding"}}) {
        EXPECT_EQ(argument(row.pane), fmt::format("--window={}", row.word));
        EXPECT_EQ(requested(std::vector{argument(row.pane)}), row.pane);
    }
}

TEST(WindowDoor, TheFirstKnownWordIsRequested) {
    using Arguments = std::vector<std::string>;
    EXPECT_EQ(requested(Arguments{}), std::nullopt);
    EXPECT_EQ(requested(Arguments{"--window=nonsense", "--window=stats"}), Pane::stats);
    EXPECT_EQ(requested(Arguments{"program", "--window=editor", "--window=stats"}), Pane::editor);
    EXPECT_EQ(requested(Arguments{"--window", "stats", "window=stats", "--window=", "--window=Stats"}), std::nullopt);
}

TEST(WindowDoor, FrontIsAWordInTheInfo) {
    EXPECT_EQ(userInfo(false), std::nullopt);
    EXPECT_EQ(userInfo(true), (UserInfo{{"front", "1"}}));
    EXPECT_TRUE(wantsFront({{"front", "1"}}));
    for (const UserInfo& info :
         {UserInfo{}, UserInfo{{"front", "0"}}, UserInfo{{"front", "true"}}, UserInfo{{"Front", "1"}}})
        EXPECT_FALSE(wantsFront(info));
    EXPECT_EQ(notification, "tools.fenwright.larkmoor.open-window");
}

TEST(WindowDoor, TheJourneysWindow) {
    using Journey::Action;
    for (const bool front : {false, true}) {
        EXPECT_EQ(journeyDoor(false, false, front), Action::build);
        EXPECT_EQ(journeyDoor(false, true, front), Action::build);
        EXPECT_EQ(journeyDoor(true, false, front), Action::refresh);
    }
    EXPECT_EQ(journeyDoor(true, true, true), Action::front);
    EXPECT_EQ(journeyDoor(true, true, false), Action::nothing);
}

}  // namespace
}  // namespace larkmoor::WindowDoor
