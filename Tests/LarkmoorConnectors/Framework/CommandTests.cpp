// Whose a command is, by its text alone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "LarkmoorConnectors/Framework/BundleCommand.h"
#include "LarkmoorConnectors/Framework/HookCommand.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

using ::testing::UnorderedElementsAre;

#define HOOK "/x/Larkmoor.app/Contents/MacOS/larkmoor-hook"

TEST(HookCommandTest, TierOfACommand) {
    const std::string blank = "/with blank/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness claude-code";
    const std::vector<std::string> currents{"/build/larkmoor-hook --harness claude-code --slot rules",
                                            "/build/larkmoor-hook --harness claude-code --slot pretool", blank};
    constexpr auto current = HookOwnership::current, stale = HookOwnership::stale;
    constexpr std::nullopt_t foreign = std::nullopt;
    struct Case {
        std::string_view command;
        std::optional<HookOwnership> want;
    };
    const Case table[] = {
        {"/build/larkmoor-hook --harness claude-code --slot rules", current},
        {"/build/larkmoor-hook --harness=claude-code --slot=rules", current},
        {"/build/larkmoor-hook --harness claude-code --slot=rules", current},
        {"/build/larkmoor-hook --harness=claude-code --slot rules", current},
        {"/build/larkmoor-hook --harness claude-code --slot=pretool", current},
        {"/with blank/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness=claude-code", current},
        {HOOK " --harness claude-code", stale},
        {HOOK " --harness=claude-code", stale},
        {HOOK " --harness claude-code --slot anything", stale},
        {HOOK " --harness=claude-code --slot=", foreign},
        {HOOK " --harness claude-code --slot two words", foreign},
        {HOOK " --slot rules --harness claude-code", foreign},
        {HOOK " --harness claude-code --verbose", foreign},
        {HOOK " --harness codex", foreign},
        {HOOK, foreign},
        {"/a b/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness claude-code", foreign},
        {"x/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness claude-code", foreign},
        {"/x/Other.app/Contents/MacOS/larkmoor-hook --harness claude-code", foreign},
        {"/x/Larkmoor.app/Contents/MacOS/larkmoor-hook-2 --harness claude-code", foreign},
        {"/elsewhere/larkmoor-hook --harness claude-code --slot rules", foreign},
        {"/build/larkmoor-hook --harness codex", foreign},
        {"python3 /x/fenwright/larkmoor/Scripts/rules-hook.py", stale},
        {"python3 /x/fenwright/larkmoor/Scripts/larkmoor-hook.py", stale},
        {"python3 /fenwright/larkmoor/Scripts/prime-hook.py", stale},
        {"python3  /x/fenwright/larkmoor/Scripts/rules-hook.py", foreign},
        {"python3 x/fenwright/larkmoor/Scripts/rules-hook.py", foreign},
        {"python3 /x/fenwright/larkmoor/Scripts/other.py", foreign},
        {"python3 /x/fenwright/larkmoor/Scripts/sub/rules-hook.py", foreign},
        {"python3 /x/fenwright/larkmoor/Scripts/rules-hook.py --now", foreign},
        {"python /x/fenwright/larkmoor/Scripts/rules-hook.py", foreign},
        {"", foreign},
    };
    for (const Case& row : table) EXPECT_EQ(HookCommand::tier(row.command, currents), row.want) << row.command;
    EXPECT_EQ(HookCommand::tier("anything", {}), foreign);
}

TEST(HookCommandTest, Spellings) {
    EXPECT_THAT(HookCommand::spellings("h --harness a --slot b"),
                UnorderedElementsAre("h --harness a --slot b", "h --harness=a --slot b", "h --harness a --slot=b",
                                     "h --harness=a --slot=b"));
    EXPECT_THAT(HookCommand::spellings("h --harness=a"), UnorderedElementsAre("h --harness=a"));
}

TEST(HookCommandTest, ALegacyBundleIsOfTheSameHarness) {
    EXPECT_TRUE(HookCommand::isLegacyBundle(HOOK " --harness codex", "/b --harness codex"));
    EXPECT_FALSE(HookCommand::isLegacyBundle(HOOK " --harness codex", "/b --harness cursor"));
    EXPECT_FALSE(HookCommand::isLegacyBundle(HOOK " --harness codex", "/b"));
}

TEST(BundleCommandTest, PartsAtTheEnd) {
    struct Case {
        std::string_view command, withoutSlot;
        std::optional<std::string_view> harness, executable;
    };
    const Case table[] = {
        {"/h --harness a --slot b", "/h --harness a", "a", "/h"},
        {"/h --harness=a --slot=b", "/h --harness=a", "a", "/h"},
        {"/h --harness a --slot b c", "/h --harness a --slot b c", std::nullopt, std::nullopt},
        {"/h --slot b --harness a", "/h --slot b --harness a", "a", std::nullopt},
        {"/h --harness b --harness a", "/h --harness b --harness a", "a", std::nullopt},
        {"/h --harness ", "/h --harness ", std::nullopt, std::nullopt},
        {" --harness a", " --harness a", "a", std::nullopt},
    };
    for (const Case& row : table) {
        EXPECT_EQ(BundleCommand::withoutSlot(row.command), row.withoutSlot) << row.command;
        EXPECT_EQ(BundleCommand::harness(row.command), row.harness) << row.command;
        EXPECT_EQ(BundleCommand::hookExecutable(row.command, "a"), row.executable) << row.command;
    }
    EXPECT_EQ(BundleCommand::hookExecutable("/h --harness ", ""), std::nullopt);
    EXPECT_TRUE(BundleCommand::names("//x//Larkmoor.app/Contents/MacOS/larkmoor-mcp/", "larkmoor-mcp"));
    EXPECT_TRUE(BundleCommand::names("/Larkmoor.app/Contents/MacOS/larkmoor-mcp", "larkmoor-mcp"));
    EXPECT_FALSE(BundleCommand::names("/Contents/MacOS/larkmoor-mcp", "larkmoor-mcp"));
}

TEST(InstalledBundleTest, TheOutermostApplicationAboveAFile) {
    const testing::TemporaryFolder folder;
    const std::string outer = folder / "Outer.app", inner = outer + "/Contents/Inner.app";
    std::filesystem::create_directories(inner + "/Contents/MacOS");
    std::string deep = outer;
    for (int level = 0; level < 63; ++level) deep += "/d";
    struct Case {
        std::string in;
        std::optional<std::string> want;
    };
    const Case table[] = {
        {inner + "/Contents/MacOS/x", outer},
        {outer, outer},
        {outer + "/", outer},
        {outer + "/Contents/../Contents/./MacOS/x", outer},
        {folder / "None.app/x", std::nullopt},
        {folder / "x", std::nullopt},
        {"Outer.app/x", std::nullopt},
        {"https://x/Outer.app", std::nullopt},
        {"", std::nullopt},
        {"/", std::nullopt},
        {deep, outer},
        {deep + "/d", std::nullopt},
    };
    for (const Case& row : table) EXPECT_EQ(InstalledBundle::enclosing(row.in), row.want) << row.in;
}

}  // namespace
}  // namespace larkmoor
