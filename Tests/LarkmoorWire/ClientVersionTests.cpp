#include "LarkmoorWire/Identity/ClientVersion.h"

#include <fstream>
#include <map>

#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

TEST(ClientVersion, IsDigitsBetweenFullStops) {
    struct Case {
        std::optional<std::string> text, version;
    };
    const Case table[] = {
        {"1.2.3", "1.2.3"}, {" 1.10\r\n", "1.10"},
        {"007", "007"},     {"1.2.3-beta", {}},
        {"1..3", {}},       {".1", {}},
        {"1.", {}},         {"", {}},
        {" \n", {}},        {"1 .2", {}},
        {"٣", {}},          {std::nullopt, {}},
    };
    for (const Case& row : table)
        EXPECT_EQ(ClientVersion::shaped(row.text), row.version) << row.text.value_or("nothing");
}

TEST(ClientVersion, FindsTheBundleThatHoldsTheExecutable) {
    EXPECT_EQ(ClientVersion::appInfoPlist("/a/Larkmoor.app/Contents/MacOS/larkmoor"),
              "/a/Larkmoor.app/Contents/Info.plist");
    for (const char* stranger :
         {"/a/Larkmoor.app/Contents/macos/larkmoor", "/a/Larkmoor.app/contents/MacOS/larkmoor",
          "/a/Larkmoor.App/Contents/MacOS/larkmoor", "/a/Larkmoor/Contents/MacOS/larkmoor", "/MacOS/x", "/x"}) {
        EXPECT_FALSE(ClientVersion::appInfoPlist(stranger)) << stranger;
    }
}

/// A disk of texts: property lists hold their version, "VERSION" files their content.
ClientVersion::Seams disk(const std::map<std::string, std::string>& files) {
    auto read = [files](const std::filesystem::path& path) -> std::optional<std::string> {
        const auto found = files.find(path.string());
        return found == files.end() ? std::nullopt : std::optional{found->second};
    };
    return {.plistVersion = read, .versionFileText = read, .exists = [read](const auto& path) {
                return read(path).has_value();
            }};
}

TEST(ClientVersion, PrefersTheBundleAndFallsBackOnTheTree) {
    const std::string bundled = "/t/L.app/Contents/MacOS/larkmoor";
    const std::string plist = "/t/L.app/Contents/Info.plist";
    struct Case {
        std::string_view name;
        std::optional<std::string> executable;
        std::map<std::string, std::string> files;
        std::string_view version;
    };
    const Case table[] = {
        {"nothing known", std::nullopt, {}, "0"},
        {"bundle", bundled, {{plist, "2.1"}, {"/t/VERSION", "9"}}, "2.1"},
        {"bundle of no version", bundled, {{plist, "1.2.3-beta"}, {"/t/VERSION", "9\n"}}, "9"},
        {"beside the executable", "/a/b/x", {{"/a/b/VERSION", "1.2.3\n"}, {"/VERSION", "4"}}, "1.2.3"},
        {"the sixth folder", "/1/2/3/4/5/x", {{"/VERSION", "7"}}, "7"},
        {"the seventh folder", "/1/2/3/4/5/6/x", {{"/VERSION", "7"}}, "0"},
        {"a bad file ends the search", "/a/b/x", {{"/a/b/VERSION", "1..3"}, {"/a/VERSION", "4"}}, "0"},
        {"at the root", "/x", {}, "0"},
    };
    for (const Case& row : table) {
        std::optional<std::filesystem::path> executable;
        if (row.executable) executable = *row.executable;
        EXPECT_EQ(ClientVersion::resolve(executable, disk(row.files)), row.version) << row.name;
    }
}

TEST(ClientVersion, SearchesNoFurtherThanItIsTold) {
    struct Case {
        std::string_view folder;
        int levels, asked;
    };
    for (const auto& [folder, levels, asked] : {Case{"/1/2/3/4/5", 3, 4}, Case{"/1/2", -1, 1}, Case{"/", 5, 1}}) {
        int questions = 0;
        EXPECT_FALSE(ClientVersion::versionFile(folder, levels, [&](const auto&) { return ++questions, false; }));
        EXPECT_EQ(questions, asked) << folder;
    }
}

TEST(ClientVersion, LiveSeamsReadRealFiles) {
    const testing::TemporaryFolder folder;
    const auto write = [&](const std::string& name, std::string_view text) { std::ofstream{folder / name} << text; };
    std::filesystem::create_directories(folder / "L.app/Contents/MacOS");
    const std::string head = R"(<?xml version="1.0"?><plist version="1.0">)";
    const auto executable = std::filesystem::path{folder / "L.app/Contents/MacOS/larkmoor"};
    write("VERSION", "5\n");
    struct Case {
        std::string_view name, plist, version;
    };
    const Case table[] = {
        {"a version", "<dict><key>CFBundleShortVersionString</key><string>3.4</string></dict></plist>", "3.4"},
        {"a number", "<dict><key>CFBundleShortVersionString</key><integer>3</integer></dict></plist>", "5"},
        {"no dictionary", "<array><string>3.4</string></array></plist>", "5"},
        {"broken", "<dict><key>", "5"},
    };
    for (const Case& row : table) {
        write("L.app/Contents/Info.plist", head + std::string{row.plist});
        EXPECT_EQ(ClientVersion::resolve(executable, ClientVersion::Seams::live()), row.version) << row.name;
    }
    write("VERSION", "\xff");
    write("L.app/Contents/Info.plist", "");
    EXPECT_EQ(ClientVersion::resolve(executable, ClientVersion::Seams::live()), "0");
}

}  // namespace
}  // namespace larkmoor
