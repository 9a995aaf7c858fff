// What Claude Code knows on this machine, read from a real home.
#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeInventory.h"
#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

TEST(ClaudeCodeInventoryTest, AProjectsPathIsFoundAgainOnTheDisk) {
    const ConnectorHome home;
    for (const char* folder : {"me/my-app", "a/b-c/d", "q-b/c", "me/-x"}) home.makeFolder(folder);
    home.write("me/notes-file", "");
    const std::pair<std::string_view, std::string> table[] = {
        {"me/my-app", "me/my-app"}, {"a/b-c/d", "a/b-c/d"},
        {"q/b/c", "q-b/c"},         {"me/notes/file", "me/notes-file"},
        {"me/-x", "me/-x"},         {"me/my-apps", "me/my/apps (decoded path not verified on disk)"},
    };
    for (const auto& [name, path] : table) {
        std::string encoded = home.path(name);
        std::ranges::replace(encoded, '/', '-');
        EXPECT_EQ(ClaudeCodeInventory::decodeProjectPath(encoded), home.path(path));
    }
    EXPECT_EQ(ClaudeCodeInventory::decodeProjectPath("-"), "/");
    EXPECT_EQ(ClaudeCodeInventory::decodeProjectPath("nowhere"), "/nowhere (decoded path not verified on disk)");
}

TEST(ClaudeCodeInventoryTest, ProjectsByTheirLastActivity) {
    const ConnectorHome home;
    home.write(".claude/projects/a file", "");
    EXPECT_EQ(home.claudeCode().projects(),
              (ProjectReport{home.path(".claude/projects"), {}, "no session store found"}));
    const auto at = [](int seconds) { return std::chrono::sys_seconds{std::chrono::seconds{seconds}}; };
    for (const char* name : {"-gone-old/a.jsonl", "-gone-new/b.jsonl", "-gone-new/memory/MEMORY.md"}) {
        home.write(std::string{".claude/projects/"} + name, "four");
    }
    // From the inside outwards, since a file made changes its folder.
    for (const auto& [name, seconds] : {std::pair{"-gone-old/a.jsonl", 1000},
                                        {"-gone-old", 2000},
                                        {"-gone-new/b.jsonl", 3000},
                                        {"-gone-new/memory/MEMORY.md", 9000},
                                        {"-gone-new/memory", 9000},
                                        {"-gone-new", 1000}}) {
        fs::last_write_time(home.path(std::string{".claude/projects/"} + name),
                            fs::file_time_type::clock::from_sys(at(seconds)));
    }
    const ConnectorMemoryFile memory{home.path(".claude/projects/-gone-new/memory/MEMORY.md"), 4, at(9000)};
    EXPECT_THAT(home.claudeCode().projects().projects,
                ElementsAre(ConnectorProject{"/gone/new (decoded path not verified on disk)", at(3000), memory},
                            ConnectorProject{"/gone/old (decoded path not verified on disk)", at(2000), std::nullopt}));
}

TEST(ClaudeCodeInventoryTest, MemoryFilesInPlainOrder) {
    const ConnectorHome home;
    EXPECT_EQ(home.claudeCode().memoryFiles(), MemoryFileReport{});
    for (const char* name :
         {"memory/b.md", "memory/B.md", "memory/c.txt", "memory/deeper/d.md", "memory/folder.md/e.md"}) {
        home.write(std::string{".claude/"} + name, "12");
    }
    home.write(".claude/CLAUDE.md", "123");
    std::vector<std::string> paths;
    for (const ConnectorMemoryFile& file : home.claudeCode().memoryFiles().files) {
        EXPECT_TRUE(file.modified);
        paths.push_back(home.shown(file.path) + " " + std::to_string(file.bytes.value_or(-1)));
    }
    EXPECT_THAT(paths, ElementsAre("~/.claude/CLAUDE.md 3", "~/.claude/memory/B.md 2", "~/.claude/memory/b.md 2"));
}

}  // namespace
}  // namespace larkmoor::testing
