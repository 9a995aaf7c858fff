// Text, whole files and their digests.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/FileURL.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/SHA256.h"
#include "LarkmoorBase/UTF8.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor::testing {
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

TEST(FileURL, NamesAPathOrNothing) {
    for (const auto& [url, path] : {std::pair{"file:///a/b%20c/%C3%A9é/", "/a/b c/éé"},
                                    {"FILE://LocalHost/a?b#c", "/a"},
                                    {"file:/a%3Fb%2fc", "/a?b/c"},
                                    {"file:///", "/"}}) {
        EXPECT_EQ(FileURL::path(url), path) << url;
    }
    for (const char* url : {"file://host/a", "file://localhost", "file:a", "file", "ssh:///a", "file:///%",
                            "file:///%4", "file:///%+4", "file:///%C3", "file:///%00"}) {
        EXPECT_EQ(FileURL::path(url), std::nullopt) << url;
    }
}

TEST(Files, ReadsWhatIsThereAndNamesWhatIsNot) {
    const TemporaryFolder folder;
    const std::string large(200'000, 'x');
    ASSERT_TRUE(Files::replace(folder / "large", asBytes(large), 0600));
    EXPECT_EQ(text(*Files::read(folder / "large")), large);
    ASSERT_TRUE(Files::replace(folder / "large", {}, 0600));
    EXPECT_TRUE(Files::read(folder / "large")->empty());
    EXPECT_FALSE(Files::read("/proc/self/stat")->empty());
    EXPECT_EQ(Files::read(folder / "none").error().description(), folder / "none" + ": No such file or directory");
    EXPECT_EQ(Files::read(folder.path().string()).error().code, EISDIR);
    const FileDescriptor endless{::open("/dev/zero", O_RDONLY | O_CLOEXEC)};
    EXPECT_EQ(Files::readAll(endless.get(), "zeros").error().description(), "zeros: it is larger than 64 MiB");
}

TEST(SHA256, OfBytesAndOfFiles) {
    const TemporaryFolder folder;
    const std::string file = folder / "file";
    struct Case {
        std::string text;
        std::string_view digest;
    };
    const Case table[] = {
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {std::string(1'000'000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (const Case& row : table) {
        EXPECT_EQ(SHA256::ofBytes(asBytes(row.text)), row.digest);
        ASSERT_TRUE(Files::replace(file, asBytes(row.text), 0600));
        EXPECT_EQ(SHA256::ofFile(file), row.digest) << row.text.size() << " bytes";
    }
    ASSERT_NE(::geteuid(), 0U) << "root is refused nothing";
    ASSERT_EQ(::chmod(file.c_str(), 0), 0);
    EXPECT_EQ(SHA256::ofFile(file).error(), (FileError{file, EACCES}));
    EXPECT_EQ(SHA256::ofFile(folder / "none").error().code, ENOENT);
    EXPECT_EQ(SHA256::ofFile(folder.path().string()).error().code, EISDIR);
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    for (const std::string& endless : {folder / "pipe", std::string{"/dev/zero"}})
        EXPECT_EQ(SHA256::ofFile(endless).error().code, EINVAL) << endless;
}

}  // namespace
}  // namespace larkmoor::testing
