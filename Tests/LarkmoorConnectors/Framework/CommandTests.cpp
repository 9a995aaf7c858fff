// Whose a command is by its text alone, and the bundle that a program lies in.
#include "LarkmoorConnectors/Framework/HookCommand.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

#define HOOK "/x/Larkmoor.app/Contents/MacOS/larkmoor-hook"

TEST(HookCommandTest, TierOfACommand) {
    const std::string blank = "/with blank/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness claude-code";
    const std::vector<std::string> currents{"/build/larkmoor-hook --harness claude-code --slot rules",
                                            "/build/larkmoor-hook --harness claude-code --slot pretool", blank};
    constexpr auto current = HookOwnership::current, stale = HookOwnership::stale;
    constexpr std::nullopt_t foreign = std::nullopt;
    const std::pair<std::string_view, std::optional<HookOwnership>> table[] = {
        {"/build/larkmoor-hook --harness claude-code --slot rules", current},
        {"/build/larkmoor-hook --harness=claude-code --slot=rules", current},
        {"/build/larkmoor-hook --harness claude-code --slot=rules", current},
        {"/with blank/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness=claude-code", current},
        {HOOK " --harness claude-code", stale},
        {"//Larkmoor.app//Contents/MacOS/larkmoor-hook/ --harness=claude-code", stale},
        {"/Contents/MacOS/larkmoor-hook --harness claude-code", foreign},
        {HOOK " --harness claude-code --slot anything", stale},
        {HOOK " --harness=claude-code --slot=", foreign},
        {HOOK " --harness claude-code --slot two words", foreign},
        {HOOK " --slot rules --harness claude-code", foreign},
        {HOOK " --harness codex", foreign},
        {HOOK, foreign},
        {"/a b/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness claude-code", foreign},
        {"x/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness claude-code", foreign},
        {"/x/Larkmoor.app/Contents/MacOS/larkmoor-hook-2 --harness claude-code", foreign},
        {"/elsewhere/larkmoor-hook --harness claude-code --slot rules", foreign},
        {"python3 /x/fenwright/larkmoor/Scripts/rules-hook.py", stale},
        {"python3 /fenwright/larkmoor/Scripts/prime-hook.py", stale},
        {"python3  /x/fenwright/larkmoor/Scripts/rules-hook.py", foreign},
        {"python3 /x/fenwright/larkmoor/Scripts/other.py", foreign},
    };
    for (const auto& [command, want] : table) EXPECT_EQ(HookCommand::tier(command, currents), want) << command;
    EXPECT_EQ(HookCommand::tier("anything", {}), foreign);
}

TEST(InstalledBundleTest, TheOutermostApplicationAboveAFile) {
    const testing::TemporaryFolder folder;
    const std::string outer = folder / "Outer.app", inner = outer + "/Contents/Inner.app";
    std::filesystem::create_directories(inner + "/Contents/MacOS");
    std::string deep = outer;
    for (int level = 0; level < 63; ++level) deep += "/d";
    const std::pair<std::string, std::optional<std::string>> table[] = {
        {inner + "/Contents/MacOS/x", outer}, {outer + "/", outer}, {outer + "/Contents/../Contents/./MacOS/x", outer},
        {"Outer.app/x", std::nullopt},        {"/", std::nullopt},  {deep, outer},
        {deep + "/d", std::nullopt},
    };
    for (const auto& [in, want] : table) EXPECT_EQ(InstalledBundle::enclosing(in), want) << in;
}

}  // namespace
}  // namespace larkmoor
