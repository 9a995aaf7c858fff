// The application's autostart entry, and how users disable it.
#include "LarkmoorPlatform/Linux/Services/AutostartItem.h"

#include <fstream>

#include "LarkmoorBase/Files.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor::testing {
namespace {

TEST(AutostartEntry, HasTheStatusThatTheUserChose) {
    using enum LoginItemStatus;
    const std::string executable = "/opt/100% \"mine\"\\$x`/larkmoor-menubar";
    const std::string entry = AutostartEntry::text("Larkmoor", "larkmoor", executable);
    struct Case {
        std::string_view name;
        std::optional<std::string> entry;
        LoginItemStatus want;
    };
    const Case cases[] = {
        {"no entry", std::nullopt, notRegistered},
        {"as written", entry, enabled},
        {"hidden", entry + "Hidden=true\n", requiresApproval},
        {"not hidden", entry + "Hidden = false\n", enabled},
        {"off in one desktop", entry + "X-GNOME-Autostart-enabled=false", requiresApproval},
        {"off in another, by Windows's lines", entry + "X-MATE-Autostart-enabled = false\r\n", requiresApproval},
        {"a switch of something else", entry + "[Desktop Action x]\nHidden=true\n", enabled},
        {"hidden, and of another place", "[Desktop Entry]\nExec=/old/x\nHidden=true\n", requiresApproval},
        {"of another place", "[Desktop Entry]\nType=Application\nExec=/old/x\n", notRegistered},
    };
    for (const Case& test : cases) EXPECT_EQ(AutostartEntry::status(test.entry, executable), test.want) << test.name;
    EXPECT_NE(entry.find(R"(Exec="/opt/100%% \\"mine\\"\\\\\\$x\\`/larkmoor-menubar")"), std::string::npos) << entry;
}

TEST(AutostartItem, IsWrittenAndNeverOverTheUsersWish) {
    MainLoop loop;
    const TemporaryFolder home;
    const UserFolders folders{.config = home / "config", .data = home / "data"};
    AutostartItem item{folders, {.identifier = "a.b", .name = "A", .icon = "a", .executable = "/x/a"}};
    AutostartItem moved{folders, {.identifier = "a.b", .name = "A", .icon = "a", .executable = "/y/a"}};
    const std::string path = home / "config/autostart/a.b.desktop";
    EXPECT_EQ(runTask(loop, item.status()), LoginItemStatus::notRegistered);
    for (int turn = 0; turn < 2; ++turn) {
        EXPECT_TRUE(runTask(loop, item.registerItem())->has_value());
        EXPECT_EQ(runTask(loop, item.status()), LoginItemStatus::enabled);
        EXPECT_TRUE(runTask(loop, moved.registerItem())->has_value()) << "a bundle that was moved";
        EXPECT_EQ(runTask(loop, item.status()), LoginItemStatus::notRegistered);
        std::ofstream{path, std::ios::app} << "Hidden=true\n";
        EXPECT_EQ(runTask(loop, item.status()), LoginItemStatus::requiresApproval);
        EXPECT_EQ(runTask(loop, item.registerItem())->error(), path + " was switched off by the person");
        EXPECT_TRUE(runTask(loop, item.unregisterItem())->has_value());
        EXPECT_FALSE(Files::exists(path));
    }
    AutostartItem odd{folders, {.identifier = "a.b", .name = "A", .icon = "a", .executable = "/x/a\nHidden=true"}};
    EXPECT_EQ(runTask(loop, odd.registerItem())->error(), "/x/a\nHidden=true: no entry can name it");
}

}  // namespace
}  // namespace larkmoor::testing
