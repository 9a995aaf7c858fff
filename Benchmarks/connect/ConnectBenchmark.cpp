// What a launch costs that finds nothing to repair: the question of every connector, and the retirement's, over a home
// that is connected and whose files are large. Milliseconds of the clock and of the processor, and the files opened.
// And how often an install, an upgrade and a removal scan a JSON file.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeConnector.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"
#include "LarkmoorConnectors/Connectors.h"
#include "LarkmoorConnectors/Converge.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"
#include "Statistics.h"
#include "Support/TemporaryFolder.h"
#include "config/Documents.h"
#include "config/Measure.h"
#include "connect/OpenedFiles.h"

namespace {

using namespace larkmoor;
using namespace larkmoor::bench;
namespace fs = std::filesystem;

constexpr std::size_t fileSize = 200 * 1024;
constexpr int rounds = 200;
constexpr double bound = 5;  // milliseconds

void write(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream{path, std::ios::binary} << text;
}

/// A home with large files, and all connectors connected to them.
struct Home {
    larkmoor::testing::TemporaryFolder folder;
    std::string home = folder / "home", bundle = folder / "Larkmoor.app", applications = folder / "Applications";

    bool isConnected = true;

    Home() {
        for (const char* name : {"larkmoor-hook", "larkmoor-mcp"}) write(InstalledBundle::executable(bundle, name), "");
        write(home + "/.claude/settings.json", settingsJSON(fileSize));
        write(home + "/.claude.json", hooksJSON(fileSize));
        write(home + "/.codex/hooks.json", hooksJSON(fileSize));
        write(home + "/.codex/config.toml", hooksTOML(fileSize));
        write(home + "/.cursor/hooks.json", hooksJSON(fileSize));
        write(home + "/.cursor/mcp.json", hooksJSON(fileSize));
        write(home + "/.config/opencode/opencode.jsonc", "// mine\n" + hooksJSON(fileSize));
        write(home + "/Library/Application Support/Claude/claude_desktop_config.json", hooksJSON(fileSize));
        for (const auto& connector : Connectors::all(home, bundle, applications)) {
            for (const auto& [subject, text] : connector->install().observations)
                fmt::print("  {}: {}\n", subject, text);
            isConnected = isConnected && connector->scan().state == ConnectorState::connected;
        }
    }

    auto launch() const {
        return Converge::run(home, bundle, applications, Connectors::Profile::production, [] { return false; });
    }
};

/// Connects a home that holds nothing of ours, once more from a bundle at another place, and takes all back. Whether no
/// verb made more scans than wanted.
bool printScans() {
    const larkmoor::testing::TemporaryFolder folder;
    const std::string home = folder / "home", old = folder / "Old/Larkmoor.app", bundle = folder / "Larkmoor.app";
    for (const std::string& each : {old, bundle}) {
        for (const char* name : {"larkmoor-hook", "larkmoor-mcp"}) write(InstalledBundle::executable(each, name), "");
    }
    fs::create_directories(home + "/.claude");
    const ClaudeCodeConnector before{home, old}, now{home, bundle};
    bool isHeld = true;
    const auto print = [&](const char* verb, std::size_t wanted, auto run) {
        JSONText::scanCount = 0;
        const bool changed = run().result == ConnectorOutcome::Result::changed;
        const std::size_t scans = JSONText::scanCount;
        fmt::print("  {}: {} scans; wanted: at most {}: {}\n", verb, scans, wanted, scans <= wanted ? "yes" : "NO");
        isHeld = isHeld && changed && scans <= wanted;
    };
    fmt::print("JSON scans of Claude Code's verbs:\n");
    print("install", 5, [&] { return before.install(); });
    print("upgrade", 8, [&] { return now.install(); });
    print("removal", 6, [&] { return now.remove(); });
    return isHeld;
}

}  // namespace

int main() {
    const Home home;
    const std::size_t steps = home.launch().size();
    if (!home.isConnected || steps != 1) {
        fmt::print("no connected home: a launch had {} steps where the retirement's alone was expected\n", steps);
        return 1;
    }
    std::vector<double> clock;
    for (int left = rounds; left > 0; --left) {
        const auto start = std::chrono::steady_clock::now();
        keep(home.launch());
        clock.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    const double processor = secondsFor([&] { keep(home.launch()); }, rounds) * 1000;
    const auto opened = openedFiles(home.folder.path().string(), [&] { keep(home.launch()); });
    const double usual = median(clock);
    fmt::print("the launch's check of {} connector(s) and the retirement, files of {} KiB, median of {}:\n",
               Connectors::all(home.home, home.bundle, home.applications).size(), fileSize / 1024, rounds);
    fmt::print("  {:.2f} ms by the clock (longest {:.2f}), {:.2f} ms of the processor; wanted: under {} ms: {}\n",
               usual, std::ranges::max(clock), processor, bound, usual < bound ? "yes" : "NO");
    fmt::print("  {} files read:\n", opened.size());
    for (const std::string& path : opened) fmt::print("    {}\n", path);
    return printScans() && usual < bound ? 0 : 1;
}
