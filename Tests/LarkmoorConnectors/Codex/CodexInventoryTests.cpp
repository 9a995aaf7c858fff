// What Codex knows on this machine, read from a real store of sessions.
#include <sys/stat.h>

#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor {
namespace {

namespace fs = std::filesystem;

TEST(CodexInventoryTest, ProjectsOfTheSessionsFirstLines) {
    const testing::ConnectorHome home;
    const std::string store = home.path(".codex/sessions");
    EXPECT_EQ(home.codex().projects(), (ProjectReport{store, {}, "no session store found"}));
    const auto line = [](std::string_view folder, std::size_t padding = 0) {
        return fmt::format("{{'type':'session_meta','payload':{{'cwd':'{}','more':'{}'}}}}|not JSON", folder,
                           std::string(padding, 'x'));
    };
    const std::size_t before = line("/long").find('|');
    const auto at = [](int seconds) { return std::chrono::sys_seconds{std::chrono::seconds{seconds}}; };
    const std::tuple<std::string, std::string, int> sessions[] = {
        {"2024/01/a.jsonl", line("/a"), 1000},
        {"2024/02/a.jsonl", line("/a"), 3000},
        {"b.jsonl", line("/b \\u00e9"), 2000},
        {"b.json", line("/ignored"), 9000},
        // The line feed is the last byte that counts, or one too far.
        {"longest.jsonl", line("/long", 262143 - before), 4000},
        {"longer.jsonl", line("/longer", 262144 - before - 2), 9000},
    };
    for (const auto& [name, text, seconds] : sessions) {
        home.write(".codex/sessions/" + name, text);
        fs::last_write_time(store + "/" + name, fs::file_time_type::clock::from_sys(at(seconds)));
    }
    // Nothing here is a session's file or leads to one again.
    fs::create_directory_symlink("..", store + "/2024/circle");
    fs::create_symlink("b.jsonl", store + "/link.jsonl");
    ASSERT_EQ(::mkfifo((store + "/pipe.jsonl").c_str(), 0600), 0);
    const std::vector<ConnectorProject> projects{{"/long", at(4000), {}}, {"/a", at(3000), {}}, {"/b é", at(2000), {}}};
    EXPECT_EQ(home.codex().projects(), (ProjectReport{store, projects, "1 session file records no project cwd"}));
    for (const char* text :
         {"", "{}", "[]|", "{'type':'turn','payload':{'cwd':'/x'}}|", "{'type':'session_meta','payload':{'cwd':7}}|",
          "{'type':'session_meta','payload':'/x'}|"}) {
        home.write(".codex/sessions/longer.jsonl", text);
        EXPECT_EQ(home.codex().projects().note, "1 session file records no project cwd") << text;
    }
    home.setMode(".codex/sessions/b.jsonl", 0000);
    EXPECT_EQ(home.codex().projects().note, "2 session files record no project cwd");
}

}  // namespace
}  // namespace larkmoor
