#include "LarkmoorWire/Identity/ClientStoreMode.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor {
namespace {

using testing::TemporaryFolder;

mode_t modeOf(const std::string& path) {
    struct stat status{};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

std::size_t entriesIn(const std::filesystem::path& folder) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator{folder}, {}));
}

TEST(ClientStoreMode, WritesPrivateFilesInPrivateFolders) {
    const TemporaryFolder folder;
    const mode_t umaskBefore = ::umask(0);
    const auto written = ClientStoreMode::write(asBytes("one"), folder / "a/b/file");
    ::umask(umaskBefore);
    ASSERT_TRUE(written) << written.error().description();
    EXPECT_EQ(modeOf(folder / "a"), 0700U);
    EXPECT_EQ(modeOf(folder / "a/b"), 0700U);
    EXPECT_EQ(modeOf(folder / "a/b/file"), 0600U);
    EXPECT_EQ(testing::text(*Files::read(folder / "a/b/file")), "one");
}

TEST(ClientStoreMode, ReplacesAWiderFileByAPrivateOne) {
    const TemporaryFolder folder;
    ASSERT_TRUE(Files::replace(folder / "file", asBytes("a longer text than the new one"), 0644));
    ASSERT_TRUE(ClientStoreMode::write(asBytes("new"), folder / "file"));
    EXPECT_EQ(modeOf(folder / "file"), 0600U);
    EXPECT_EQ(testing::text(*Files::read(folder / "file")), "new");
    EXPECT_EQ(entriesIn(folder.path()), 1U);
}

TEST(ClientStoreMode, AFailureKeepsTheOldBytesAndLeavesNothing) {
    if (::geteuid() == 0) GTEST_SKIP() << "root is refused nothing";
    const TemporaryFolder folder;
    ASSERT_TRUE(ClientStoreMode::write(asBytes("old"), folder / "closed/file"));
    ASSERT_EQ(::chmod((folder / "closed").c_str(), 0500), 0);
    const auto refused = ClientStoreMode::write(asBytes("new"), folder / "closed/file");
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().description(), folder / "closed/file" + ": Permission denied");
    EXPECT_EQ(testing::text(*Files::read(folder / "closed/file")), "old");
    EXPECT_EQ(entriesIn(folder / "closed"), 1U);

    ASSERT_TRUE(Files::replace(folder / "plain", asBytes("x"), 0600));
    const auto below = ClientStoreMode::write(asBytes("new"), folder / "plain/file");
    ASSERT_FALSE(below);
    EXPECT_EQ(below.error().code, ENOTDIR);
}

TEST(ClientStoreMode, AFullDiskKeepsTheOldBytes) {
    const char* disk = std::getenv("LARKMOOR_SMALL_DISK");
    if (disk == nullptr) GTEST_SKIP() << "needs the small disk that Scripts/lib/as-tester mounts";
    const TemporaryFolder folder{disk};
    ASSERT_TRUE(ClientStoreMode::write(asBytes("old"), folder / "file"));
    const auto refused = ClientStoreMode::write(Bytes(1 << 20), folder / "file");
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().code, ENOSPC);
    EXPECT_EQ(testing::text(*Files::read(folder / "file")), "old");
    EXPECT_EQ(entriesIn(folder.path()), 1U);
}

}  // namespace
}  // namespace larkmoor
