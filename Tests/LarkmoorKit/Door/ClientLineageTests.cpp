// Is this process an old copy of a build that was replaced?
#include "LarkmoorKit/Door/ClientLineage.h"

#include "LarkmoorBase/Files.h"
#include "LarkmoorPlatform/PropertyList.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor::testing {
namespace {

using Stale = ClientLineage::Stale;
using Foreign = ClientLineage::Foreign;
namespace fs = std::filesystem;

TEST(ClientLineage, IsJudgedByTheFamilysName) {
    struct Case {
        bool replaced;
        std::optional<std::string> id, version;
        ClientLineage lineage;
    };
    const Case table[] = {
        {true, "tools.fenwright.larkmoor.menubar", "2.1", Stale{"2.1"}},
        {true, "tools.fenwright.larkmoor", std::nullopt, Stale{}},
        {true, "tools.fenwright.larkmoor.dev.menubar", "2.1", Stale{"2.1"}},
        {true, "tools.fenwright.larkmoorish", "2.1", Foreign{}},
        {true, "tools.fenwright.larkmoo", "2.1", Foreign{}},
        {true, "xtools.fenwright.larkmoor.menubar", "2.1", Foreign{}},
        {true, "", "2.1", Foreign{}},
        {true, std::nullopt, "2.1", Foreign{}},
        {false, "tools.fenwright.larkmoor.menubar", "2.1", Foreign{}},
    };
    for (const Case& row : table)
        EXPECT_EQ(ClientLineage::judge(row.replaced, row.id, row.version), row.lineage) << row.id.value_or("none");
}

class LineageOnDisk : public ::testing::Test {
  protected:
    LineageOnDisk() {
        fs::create_directories(folder.path() / "L.app/Contents/MacOS");
        write(executable, "program");
    }

    static void write(const std::string& path, std::string_view text) {
        ASSERT_TRUE(Files::replace(path, asBytes(text), 0600));
    }
    void plist(std::string_view keys) {
        write(folder / "L.app/Contents/Info.plist",
              fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\">{}</plist>", keys));
    }

    TemporaryFolder folder;
    std::string executable = folder / "L.app/Contents/MacOS/larkmoor-menubar";
};

TEST_F(LineageOnDisk, TheOccupantIsTheBundleAroundIt) {
    EXPECT_FALSE(ClientLineage::occupantBundle(executable)) << "no list";
    using Occupant = ClientLineage::Occupant;
    struct Case {
        std::string_view keys;
        std::optional<Occupant> occupant;
    };
    const Case table[] = {
        {"<dict><key>CFBundleIdentifier</key><string>a.b</string><key>CFBundleVersion</key><string>7</string>"
         "<key>CFBundleShortVersionString</key><string>2.1</string></dict>",
         Occupant{"a.b", "2.1"}},
        {"<dict><key>CFBundleIdentifier</key><string>a.b</string><key>CFBundleVersion</key><string>7</string></dict>",
         Occupant{"a.b", "7"}},
        {"<dict><key>CFBundleVersion</key><string>7</string></dict>", Occupant{std::nullopt, "7"}},
        {"<dict/>", Occupant{}},
        {"<array/>", std::nullopt},
        {"<dict>", std::nullopt},
        {"", std::nullopt},
    };
    for (const Case& row : table) {
        plist(row.keys);
        EXPECT_EQ(ClientLineage::occupantBundle(executable), row.occupant) << row.keys;
    }
    write(folder / "L.app/Contents/Info.plist", std::string_view{"\x00\xff garbage", 10});
    EXPECT_FALSE(ClientLineage::occupantBundle(executable));
    plist("<dict/>");
    fs::create_directories(folder.path() / "L.app/Contents/bin");
    EXPECT_FALSE(ClientLineage::occupantBundle(folder / "L.app/Contents/bin/program")) << "no folder MacOS";
    EXPECT_FALSE(ClientLineage::occupantBundle("program"));
}

TEST_F(LineageOnDisk, ProbeTakesItAllTogether) {
    plist(
        "<dict><key>CFBundleIdentifier</key><string>tools.fenwright.larkmoor.menubar</string>"
        "<key>CFBundleShortVersionString</key><string>2.1</string></dict>");
    ASSERT_TRUE(ClientLineage::processStart());
    for (const auto& [sinceNow, lineage] : {std::pair{std::chrono::hours{1}, ClientLineage{Stale{"2.1"}}},
                                            std::pair{std::chrono::hours{-1000}, ClientLineage{Foreign{}}}}) {
        fs::last_write_time(executable, fs::file_time_type::clock::now() + sinceNow);
        EXPECT_EQ(ClientLineage::probe(executable), lineage);
    }
    EXPECT_EQ(ClientLineage::probe(std::nullopt), ClientLineage{Foreign{}});
    EXPECT_EQ(ClientLineage::probe(folder / "larkmoor-menubar"), ClientLineage{Foreign{}});
    EXPECT_FALSE(ClientLineage::executableReplaced(folder / "none"));
}

}  // namespace
}  // namespace larkmoor::testing
