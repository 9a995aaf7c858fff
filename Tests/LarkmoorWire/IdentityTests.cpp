// What the family is called, which version runs, and how private files are written.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "LarkmoorWire/Identity/ClientInstance.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"
#include "LarkmoorWire/Identity/ClientVersion.h"
#include "Support/SmallDisk.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor::testing {
namespace {

namespace fs = std::filesystem;

TEST(ClientInstance, KnowsTheSupportFoldersOfBothProfiles) {
    const TemporaryFolder folder;
    fs::create_directories(folder / "Application Support/Larkmoor");
    fs::create_symlink(folder / "Application Support/Larkmoor", folder / "door");
    struct Case {
        std::string path;
        bool isUnder;
    };
    const Case table[] = {
        {"/x/Library/Application Support/Larkmoor", true},
        {"/x/Library/Application Support/Larkmoor Dev/a/b", true},
        {"/x/Library/Application Support/./Other/../Larkmoor/data.db", true},
        {"~/Library/Application Support/Larkmoor/data.db", true},
        {folder / "door", true},
        {folder / "door/not/there/yet", true},
        {"/x/Library/Application Support/LarkmoorOther/Larkmoor", false},
        {"/x/Larkmoor", false},
    };
    for (const Case& row : table) EXPECT_EQ(ClientInstance::isUnderAnySupportRoot(row.path), row.isUnder) << row.path;
}

std::size_t entriesIn(const fs::path& folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator{folder}, {}));
}

TEST(ClientStoreMode, WritesPrivateFilesInPrivateFoldersWhateverWasThere) {
    const TemporaryFolder folder;
    const mode_t umaskBefore = ::umask(0);
    for (const std::string_view bytes : {"a longer text than the new one", "new"}) {
        const auto written = ClientStoreMode::write(asBytes(bytes), folder / "a/b/file");
        ASSERT_TRUE(written) << written.error().description();
        EXPECT_EQ(Files::permissions(folder / "a"), 0700);
        EXPECT_EQ(Files::permissions(folder / "a/b"), 0700);
        EXPECT_EQ(Files::permissions(folder / "a/b/file"), 0600);
        EXPECT_EQ(text(*Files::read(folder / "a/b/file")), bytes);
        EXPECT_EQ(entriesIn(folder / "a/b"), 1U);
        ASSERT_EQ(::chmod((folder / "a/b/file").c_str(), 0644), 0);
    }
    ::umask(umaskBefore);
}

/// A write to `file`, which holds "old", fails and changes nothing.
void expectFailure(const std::string& file, BytesView bytes, int code) {
    const auto refused = ClientStoreMode::write(bytes, file);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), (FileError{file, code}));
    EXPECT_EQ(text(*Files::read(file)), "old");
    EXPECT_EQ(entriesIn(fs::path{file}.parent_path()), 1U);
}

TEST(ClientStoreMode, AFailureKeepsTheOldBytesAndLeavesNothing) {
    ASSERT_NE(::geteuid(), 0U) << "root is refused nothing";
    const TemporaryFolder folder;
    const std::string file = folder / "closed/file";
    ASSERT_TRUE(ClientStoreMode::write(asBytes("old"), file));
    ASSERT_EQ(::chmod((folder / "closed").c_str(), 0500), 0);
    expectFailure(file, asBytes("new"), EACCES);
    EXPECT_EQ(ClientStoreMode::write(asBytes("new"), file + "/below").error().code, ENOTDIR);
}

TEST(ClientStoreMode, AFullDiskKeepsTheOldBytes) {
    const SmallDisk disk;
    if (disk.path() == nullptr) GTEST_SKIP() << disk.absence;
    const TemporaryFolder folder{disk.path()};
    ASSERT_TRUE(ClientStoreMode::write(asBytes("old"), folder / "file"));
    expectFailure(folder / "file", Bytes(1 << 20), ENOSPC);
}

/// A disk of texts: property lists hold their version, "VERSION" files their content.
ClientVersion::Seams disk(const std::map<std::string, std::string>& files) {
    auto read = [files](const fs::path& path) -> std::optional<std::string> {
        const auto found = files.find(path.string());
        return found == files.end() ? std::nullopt : std::optional{found->second};
    };
    return {.plistVersion = read, .versionFileText = read, .exists = [read](const auto& path) {
                return read(path).has_value();
            }};
}

TEST(ClientVersion, PrefersTheBundleAndFallsBackOnTheTree) {
    const std::string bundled = "/t/L.app/Contents/MacOS/larkmoor", plist = "/t/L.app/Contents/Info.plist";
    const std::string own = "/t/VERSION";
    struct Case {
        std::string_view name;
        std::optional<std::string> executable;
        std::map<std::string, std::string> files;
        std::string_view version;
    };
    const Case table[] = {
        {"nothing known", std::nullopt, {}, "0"},
        {"bundle", bundled, {{plist, "2.1"}, {own, "9"}}, "2.1"},
        {"bundle of no version", bundled, {{plist, "1.2.3-beta"}, {own, "9\n"}}, "9"},
        {"beside the executable", "/a/b/x", {{"/a/b/VERSION", "1.2.3\n"}, {"/VERSION", "4"}}, "1.2.3"},
        {"blanks and noughts", "/a/b/x", {{"/a/b/VERSION", " 007.10\r\n"}}, "007.10"},
        {"a stop at the end", "/a/x", {{"/a/VERSION", "1."}}, "0"},
        {"the sixth folder", "/1/2/3/4/5/x", {{"/VERSION", "7"}}, "7"},
        {"the seventh folder", "/1/2/3/4/5/6/x", {{"/VERSION", "7"}}, "0"},
        {"a bad file ends the search", "/a/b/x", {{"/a/b/VERSION", "1..3"}, {"/a/VERSION", "4"}}, "0"},
    };
    for (const Case& row : table) {
        std::optional<fs::path> executable;
        if (row.executable) executable = *row.executable;
        EXPECT_EQ(ClientVersion::resolve(executable, disk(row.files)), row.version) << row.name;
    }
}

TEST(ClientVersion, LiveSeamsReadRealFiles) {
    const TemporaryFolder folder;
    fs::create_directories(folder / "L.app/Contents/MacOS");
    struct Case {
        std::string_view plist, tree, version;
    };
    const Case table[] = {
        {"<dict><key>CFBundleShortVersionString</key><string>3.4</string></dict></plist>", "5\n", "3.4"},
        {"<dict><key>CFBundleShortVersionString</key><integer>3</integer></dict></plist>", "5\n", "5"},
        {"<dict><key>", "5\n", "5"},
        {"", "\xff", "0"},
    };
    for (const Case& row : table) {
        std::ofstream{folder / "VERSION"} << row.tree;
        std::ofstream{folder / "L.app/Contents/Info.plist"} << R"(<?xml version="1.0"?><plist version="1.0">)"
                                                            << row.plist;
        EXPECT_EQ(ClientVersion::resolve(folder / "L.app/Contents/MacOS/larkmoor", ClientVersion::Seams::live()),
                  row.version)
            << row.plist;
    }
}

}  // namespace
}  // namespace larkmoor::testing
