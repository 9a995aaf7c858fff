// What Claude Code knows on this machine, read from a real home.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeInventory.h"
#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor {
namespace {

namespace fs = std::filesystem;
using testing::ConnectorHome;
using ::testing::ElementsAre;

/// As the harness names the folder of a project.
std::string encoded(std::string path) {
    std::ranges::replace(path, '/', '-');
    return path;
}

void setModified(const std::string& path, int seconds) {
    fs::last_write_time(path,
                        fs::file_time_type::clock::from_sys(std::chrono::sys_seconds{std::chrono::seconds{seconds}}));
}

TEST(ClaudeCodeInventoryTest, AProjectsPathIsFoundAgainOnTheDisk) {
    const ConnectorHome home;
    for (const char* folder : {"me/my-app", "me/my/other", "a/b-c/d", "q-b/c", "me/-x"}) home.makeFolder(folder);
    home.write("me/notes-file", "");
    struct Case {
        std::string_view name, path;
        bool isThere = true;
    };
    const Case table[] = {
        {"me/my-app", "me/my-app"},
        {"me/my/other", "me/my/other"},
        {"a/b-c/d", "a/b-c/d"},
        {"q/b/c", "q-b/c"},
        {"me/notes/file", "me/notes-file"},
        {"me/-x", "me/-x"},
        {"me/gone-app", "me/gone/app", false},
        {"me/my-apps", "me/my/apps", false},
    };
    for (const Case& row : table) {
        EXPECT_EQ(ClaudeCodeInventory::decodeProjectPath(encoded(home.path(row.name))),
                  home.path(row.path) + (row.isThere ? "" : " (decoded path not verified on disk)"))
            << row.name;
    }
    EXPECT_EQ(ClaudeCodeInventory::decodeProjectPath("-"), "/");
    EXPECT_EQ(ClaudeCodeInventory::decodeProjectPath("nowhere"), "/nowhere (decoded path not verified on disk)");
}

TEST(ClaudeCodeInventoryTest, ProjectsByTheirLastActivity) {
    const ConnectorHome home;
    const ProjectReport none{home.path(".claude/projects"), {}, "no session store found"};
    EXPECT_EQ(home.claudeCode().projects(), none);
    home.write(".claude/projects/a file", "");
    EXPECT_EQ(home.claudeCode().projects(), none);
    const std::string memory = home.path(".claude/projects/-gone-new/memory/MEMORY.md");
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
        setModified(home.path(std::string{".claude/projects/"} + name), seconds);
    }
    const auto at = [](int seconds) { return std::chrono::system_clock::time_point{std::chrono::seconds{seconds}}; };
    EXPECT_EQ(home.claudeCode().projects(),
              (ProjectReport{home.path(".claude/projects"),
                             {{"/gone/new (decoded path not verified on disk)", at(3000),
                               ConnectorMemoryFile{memory, 4, at(9000)}},
                              {"/gone/old (decoded path not verified on disk)", at(2000), std::nullopt}},
                             std::nullopt}));
}

TEST(ClaudeCodeInventoryTest, MemoryFilesInPlainOrder) {
    const ConnectorHome home;
    EXPECT_EQ(home.claudeCode().memoryFiles(), MemoryFileReport{});
    for (const char* name : {"b.md", "a.md", "B.md", "c.txt", "md", "deeper/d.md", "folder.md/e.md"}) {
        home.write(std::string{".claude/memory/"} + name, "12");
    }
    home.write(".claude/CLAUDE.md", "123");
    std::vector<std::string> paths;
    for (const ConnectorMemoryFile& file : home.claudeCode().memoryFiles().files) {
        EXPECT_TRUE(file.modified);
        paths.push_back(home.shown(file.path) + " " + std::to_string(file.bytes.value_or(-1)));
    }
    EXPECT_THAT(paths, ElementsAre("~/.claude/CLAUDE.md 3", "~/.claude/memory/B.md 2", "~/.claude/memory/a.md 2",
                                   "~/.claude/memory/b.md 2"));
    EXPECT_EQ(ConnectorMemoryFile::stat(home.path("none")), std::nullopt);
}

}  // namespace
}  // namespace larkmoor
