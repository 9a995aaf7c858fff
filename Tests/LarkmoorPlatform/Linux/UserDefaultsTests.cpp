// User defaults in their file: what is read, what is written, and what must not be lost.
#include "LarkmoorPlatform/Linux/System/PropertyListDefaults.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor {
namespace {

const std::string suite = "tools.example.app";

struct UserDefaultsTests : ::testing::Test {
    testing::TemporaryFolder home;
    PropertyListDefaults defaults{home.path().string(), suite};
    const std::string file = home / "Library/Preferences/tools.example.app.plist";

    void write(std::string_view body) const {
        ASSERT_TRUE(Files::makeFolders(home / "Library/Preferences", 0700));
        ASSERT_TRUE(Files::replace(file, asBytes(body), 0644));
    }
    static std::string list(std::string_view entries) {
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" + std::string{entries} +
               "</dict></plist>\n";
    }
};

TEST_F(UserDefaultsTests, KeepsTheLastStringOrFlagOfEachKey) {
    const PropertyListDefaults later{home.path().string(), suite};
    EXPECT_EQ(later.string("a"), std::nullopt);
    EXPECT_EQ(later.flag("a"), std::nullopt);
    const std::string awkward = "<a> & \"b\"\n\té 😀";
    ASSERT_TRUE(defaults.set("& <key>", "text"));
    // Each of these follows another type and another value.
    for (const bool flag : {true, false}) {
        for (const std::string& text : {std::string{"1"}, awkward, std::string{}}) {
            ASSERT_TRUE(defaults.set("a", text));
            EXPECT_EQ(later.string("a"), text);
            EXPECT_EQ(later.flag("a"), std::nullopt);
        }
        ASSERT_TRUE(defaults.set("a", flag));
        EXPECT_EQ(later.flag("a"), flag);
        EXPECT_EQ(later.string("a"), std::nullopt);
    }
    EXPECT_EQ(later.string("& <key>"), "text");
    EXPECT_EQ(Files::permissions(file), 0600);
}

TEST_F(UserDefaultsTests, ReadsValuesOfOtherProgramsAndKeepsThem) {
    const std::string others =
        "<key>one</key><integer>1</integer><key>zero</key><integer>0</integer><key>half</key><real>0.5</real>"
        "<key>none</key><array/><key>real</key><real>0.10000000000000001</real><key>negative</key><integer>-5</integer>"
        "<key>large</key><integer>18446744073709551615</integer><key>date</key><date>2024-02-03T04:05:06Z</date>"
        "<key>data</key><data>AAECAwQ=</data><key>nested</key><dict><key>a&amp;b</key><array><true/>"
        "<string>é &lt;x&gt;</string><dict/></array></dict>";
    write(list("<key>old</key><string>YES</string>" + others));
    const std::pair<const char*, std::optional<bool>> flags[] = {
        {"one", true}, {"zero", false}, {"half", true}, {"old", std::nullopt}, {"none", std::nullopt}};
    for (const auto& [key, want] : flags) EXPECT_EQ(defaults.flag(key), want) << key;
    ASSERT_TRUE(defaults.set("old", "new"));
    ASSERT_TRUE(defaults.set("added", true));
    std::string text = testing::text(*Files::read(file));
    std::erase_if(text, [](char letter) { return letter == '\n' || letter == '\t'; });
    EXPECT_THAT(text, ::testing::HasSubstr("<dict><key>old</key><string>new</string>" + others +
                                           "<key>added</key><true/></dict>"));
}

TEST_F(UserDefaultsTests, ADamagedFileIsLeftAloneAndInvalidTextIsRefused) {
    using namespace std::string_literals;
    for (const std::string& body :
         {"not a list"s, ""s, list("<key>a</key>").substr(0, 70), "<plist version=\"1.0\"><array/></plist>"s}) {
        write(body);
        const auto set = defaults.set("key", "value");
        ASSERT_FALSE(set) << body;
        EXPECT_EQ(set.error(), (FileError{file, EBADMSG}));
        EXPECT_EQ(asText(*Files::read(file)), body);
        EXPECT_EQ(defaults.string("key"), std::nullopt);
    }
    write(list("<key>key</key><string>value</string>"));
    const auto before = Files::read(file);
    for (const std::string& text : {"a\0b"s, "\x01"s, "\xff"s, "a\rb"s}) {
        EXPECT_EQ(defaults.set("key", text).error().code, EILSEQ);
        EXPECT_EQ(defaults.set(text, "value").error().code, EILSEQ);
    }
    EXPECT_EQ(Files::read(file), before);
}

}  // namespace
}  // namespace larkmoor
