// The door's pieces: its words for each fault, and whether this process is an old copy.
#include "LarkmoorBase/Files.h"
#include "LarkmoorKit/Door/ClientLineage.h"
#include "LarkmoorKit/Door/DoorFault.h"
#include "LarkmoorKit/Door/XPCWire.h"
#include "LarkmoorPlatform/PropertyList.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor::testing {
namespace {

TEST(DoorFault, SpeaksToTheLetter) {
    struct Case {
        DoorFault fault;
        std::string_view raw, message, production, dev;
        bool isTerminal;
    };
    constexpr std::string_view absent = "Larkmoor isn't running — start it to access your memory.";
    constexpr std::string_view refused =
        "Larkmoor is running but refused this connection — this binary isn't signed with the daemon's expected "
        "identity (sign it: Scripts/sign.sh).";
    constexpr std::string_view silent =
        "Larkmoor is running but did not answer in 3s — it may be busy starting up; try again in a moment.";
    constexpr std::string_view skewLine = "Larkmoor is finishing an update — this window will reconnect by itself.";
    const Case table[] = {
        {DoorFault::absent, "absent", absent, absent, absent, false},
        {DoorFault::refused, "refused", refused, "Larkmoor is running but this menu needs a restart to reconnect.",
         refused, true},
        {DoorFault::silent, "silent", silent, silent, silent, false},
        {DoorFault::skew, "skew",
         "Larkmoor updated; this session's bridge is older than the daemon, restart the session", skewLine, skewLine,
         false},
    };
    for (const Case& row : table) {
        EXPECT_EQ(rawText(row.fault), row.raw);
        EXPECT_EQ(message(row.fault), row.message);
        EXPECT_EQ(menuLine(row.fault, ClientProfile::production), row.production);
        EXPECT_EQ(menuLine(row.fault, ClientProfile::dev), row.dev);
        EXPECT_EQ(isTerminalForThisProcess(row.fault), row.isTerminal) << row.raw;
    }
}

TEST(RefusalNotice, ReportsOneThatLastsOnce) {
    using namespace std::chrono_literals;
    struct Case {
        std::optional<DoorFault> fault;
        std::optional<std::chrono::duration<double>> refusedFor;
        bool alreadyReported;
        RefusalNotice::Action action;
    };
    using enum RefusalNotice::Action;
    const Case table[] = {{DoorFault::refused, 45s, false, report}, {DoorFault::refused, 44.9s, false, wait},
                          {DoorFault::refused, 60s, true, wait},    {DoorFault::refused, {}, false, wait},
                          {DoorFault::absent, 60s, false, wait},    {{}, 60s, false, wait}};
    for (const Case& row : table)
        EXPECT_EQ(RefusalNotice::decide(row.fault, row.refusedFor, row.alreadyReported), row.action);
}

TEST(MCPGatewayName, BelievesOnlyATestService) {
    constexpr std::string_view production = "tools.fenwright.larkmoor.gateway";
    EXPECT_EQ(MCPGatewayName::resolve({}), production);
    const std::pair<std::string, std::string_view> table[] = {
        {"", production},
        {"tools.fenwright.larkmoor.test.", production},
        {"tools.fenwright.larkmoor.gateway2", production},
        {"x tools.fenwright.larkmoor.test.a", production},
        {"  tools.fenwright.larkmoor.test.a\n", "tools.fenwright.larkmoor.test.a"},
    };
    for (const auto& [named, service] : table)
        EXPECT_EQ(MCPGatewayName::resolve({{"LARKMOOR_MCP_GATEWAY_FOR_TESTS", named}}), service) << named;
}

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
        {true, "xtools.fenwright.larkmoor.menubar", "2.1", Foreign{}},
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
        {"<dict/>", Occupant{}},
        {"<array/>", std::nullopt},
        {"", std::nullopt},
    };
    for (const Case& row : table) {
        plist(row.keys);
        EXPECT_EQ(ClientLineage::occupantBundle(executable), row.occupant) << row.keys;
    }
    plist("<dict/>");
    fs::create_directories(folder.path() / "L.app/Contents/bin");
    EXPECT_FALSE(ClientLineage::occupantBundle(folder / "L.app/Contents/bin/program")) << "no folder MacOS";
    EXPECT_FALSE(ClientLineage::occupantBundle("program"));
}

TEST_F(LineageOnDisk, ProbeTakesItAllTogether) {
    plist(
        "<dict><key>CFBundleIdentifier</key><string>tools.fenwright.larkmoor.menubar</string>"
        "<key>CFBundleShortVersionString</key><string>2.1</string></dict>");
    // A package's file is as old as the package.
    fs::last_write_time(executable, fs::file_time_type::clock::now() - std::chrono::hours{1000});
    EXPECT_EQ(ClientLineage::probe(executable), ClientLineage{Stale{"2.1"}});
    fs::remove(executable);
    fs::create_symlink("/proc/self/exe", executable);
    EXPECT_EQ(ClientLineage::probe(executable), ClientLineage{Foreign{}}) << "the very file that runs";
    EXPECT_EQ(ClientLineage::probe(std::nullopt), ClientLineage{Foreign{}});
    EXPECT_EQ(ClientLineage::probe(folder / "larkmoor-menubar"), ClientLineage{Foreign{}});
    EXPECT_FALSE(ClientLineage::executableReplaced(folder / "none"));
}

}  // namespace
}  // namespace larkmoor::testing
