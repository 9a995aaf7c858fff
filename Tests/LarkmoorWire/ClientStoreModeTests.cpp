#include "LarkmoorWire/Identity/ClientStoreMode.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "Support/SmallDisk.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor {
namespace {

using testing::TemporaryFolder;

std::size_t entriesIn(const std::filesystem::path& folder) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator{folder}, {}));
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
        EXPECT_EQ(testing::text(*Files::read(folder / "a/b/file")), bytes);
        EXPECT_EQ(entriesIn(folder / "a/b"), 1U);
        ASSERT_EQ(::chmod((folder / "a/b/file").c_str(), 0644), 0);
    }
    ::umask(umaskBefore);
}

TEST(ClientStoreMode, AFailureKeepsTheOldBytesAndLeavesNothing) {
    ASSERT_NE(::geteuid(), 0U) << "root is refused nothing";
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
    const testing::SmallDisk disk;
    if (disk.path() == nullptr) GTEST_SKIP() << disk.absence;
    const TemporaryFolder folder{disk.path()};
    ASSERT_TRUE(ClientStoreMode::write(asBytes("old"), folder / "file"));
    const auto refused = ClientStoreMode::write(Bytes(1 << 20), folder / "file");
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().code, ENOSPC);
    EXPECT_EQ(testing::text(*Files::read(folder / "file")), "old");
    EXPECT_EQ(entriesIn(folder.path()), 1U);
}

}  // namespace
}  // namespace larkmoor
