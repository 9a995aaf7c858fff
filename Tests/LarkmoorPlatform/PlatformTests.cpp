// What the platform floor has of its own, without the system's services.
#include <gtest/gtest.h>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/UTF8.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor {
namespace {

TEST(UTF8, IsWellFormedOrNot) {
    struct Case {
        std::string_view name, text;
        bool isValid;
    };
    using namespace std::string_view_literals;
    const Case table[] = {
        {"empty", "", true},
        {"a NUL", "a\0b"sv, true},
        {"each length", "a\u00e9\u203a\U0001d11e", true},
        {"the last of each length", "\x7f\u07ff\uffff\U0010ffff", true},
        {"a lone continuation", "\x80", false},
        {"overlong slash", "\xc0\xaf", false},
        {"overlong in three", "\xe0\x9f\xbf", false},
        {"overlong in four", "\xf0\x8f\xbf\xbf", false},
        {"a surrogate", "\xed\xa0\x80", false},
        {"past the last", "\xf4\x90\x80\x80", false},
        {"cut short", "eight ok\xe2\x80", false},
        {"after eight plain bytes", "12345678\xff", false},
    };
    for (const Case& row : table) EXPECT_EQ(UTF8::isValid(row.text), row.isValid) << row.name;
}

TEST(Files, ReadsWhatIsThereAndNamesWhatIsNot) {
    const testing::TemporaryFolder folder;
    const std::string large(200'000, 'x');
    ASSERT_TRUE(Files::replace(folder / "large", asBytes(large), 0600));
    EXPECT_EQ(testing::text(*Files::read(folder / "large")), large);
    ASSERT_TRUE(Files::replace(folder / "empty", {}, 0600));
    EXPECT_TRUE(Files::read(folder / "empty")->empty());
    EXPECT_FALSE(Files::read("/proc/self/stat")->empty());
    EXPECT_EQ(Files::read(folder / "none").error().description(), folder / "none" + ": No such file or directory");
    EXPECT_EQ(Files::read(folder.path().string()).error().code, EISDIR);
}

TEST(Files, ReplacingBreaksNoReader) {
    const testing::TemporaryFolder folder;
    ASSERT_TRUE(Files::replace(folder / "file", asBytes("old"), 0600));
    std::filesystem::create_hard_link(folder / "file", folder / "reader");
    ASSERT_TRUE(Files::replace(folder / "file", asBytes("new"), 0640));
    EXPECT_EQ(testing::text(*Files::read(folder / "reader")), "old");
    EXPECT_EQ(testing::text(*Files::read(folder / "file")), "new");
    EXPECT_EQ(std::filesystem::status(folder / "file").permissions(), std::filesystem::perms{0640});
    EXPECT_EQ(Files::replace(folder / "none/file", asBytes("x"), 0600).error().code, ENOENT);
}

}  // namespace
}  // namespace larkmoor
