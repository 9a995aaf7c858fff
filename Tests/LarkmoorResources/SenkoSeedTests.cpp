#include "LarkmoorResources/SenkoSeed.h"

#include <sys/stat.h>

#include <fstream>

#include "LarkmoorBase/Files.h"
#include "Support/ChildProcess.h"
#include "Support/KilledAtCall.h"
#include "Support/SmallDisk.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

namespace fs = std::filesystem;
using Outcome = SenkoSeed::OutcomeCases;
using ::testing::ElementsAre;

struct SenkoSeedTests : ::testing::Test {
    // In memory: each copy is flushed to its disk.
    const testing::TemporaryFolder folder{"/dev/shm"};
    const std::string bundle = folder / "bundle", target = folder / "voices/senko";

    void SetUp() override {
        fs::create_directories(bundle + "/deep/er");
        write(bundle + "/a.onnx", 300'000);
        write(bundle + "/deep/empty", 0);
        write(bundle + "/deep/er/b.onnx", 7);
    }
    static void write(const std::string& path, std::size_t size) { std::ofstream{path} << std::string(size, 'm'); }

    SenkoSeed::Outcome seed() { return SenkoSeed::seed(bundle, target); }
    std::string failure() {
        const auto outcome = seed();
        return outcome.is<Outcome::Failed>() ? outcome.as<Outcome::Failed>()->why : "no failure";
    }
    std::vector<std::string> beside() { return Files::names(folder / "voices").value_or(std::vector<std::string>{}); }
    bool isWhole() {
        for (const char* file : {"/a.onnx", "/deep/empty", "/deep/er/b.onnx"}) {
            if (Files::read(target + file) != Files::read(bundle + file)) return false;
        }
        return SenkoSeed::census(target) == SenkoSeed::census(bundle);
    }
};

TEST_F(SenkoSeedTests, CopiesOnceAndPrivately) {
    fs::permissions(bundle + "/a.onnx", fs::perms{0444});
    fs::permissions(bundle + "/deep", fs::perms{0555});
    fs::create_directories(target);
    EXPECT_EQ(seed(), (Outcome::Seeded{.files = 3, .bytes = 300'007}));
    EXPECT_TRUE(isWhole());
    EXPECT_THAT(beside(), ElementsAre("senko"));
    for (const char* path : {"", "/deep", "/deep/er"}) EXPECT_EQ(Files::permissions(target + path), 0700) << path;
    for (const char* path : {"/a.onnx", "/deep/er/b.onnx"}) EXPECT_EQ(Files::permissions(target + path), 0600) << path;
    EXPECT_EQ(seed(), Outcome::Present{});
}

TEST_F(SenkoSeedTests, LeavesWhatIsThere) {
    EXPECT_EQ(SenkoSeed::seed(folder / "none", target), Outcome::BundleMissing{folder / "none"});
    const std::string own = folder / "own";
    fs::create_directories(folder / "voices");
    fs::create_symlink(own, target);
    EXPECT_EQ(failure(), target + ": it is a link");
    fs::create_directory(own);
    EXPECT_EQ(failure(), target + ": it is a link");
    write(own + "/stray", 1);
    EXPECT_EQ(seed(), Outcome::Present{});
    fs::remove(target);
    write(target, 1);
    EXPECT_EQ(failure(), target + ": Not a directory");
    EXPECT_EQ(fs::file_size(target), 1U);
    fs::remove(target);
    fs::rename(own, target);
    EXPECT_EQ(seed(), Outcome::Present{});
    EXPECT_EQ(SenkoSeed::census(target), (SenkoSeed::Census{.files = 1, .bytes = 1}));
}

TEST_F(SenkoSeedTests, CopiesNothingThatIsNoFile) {
    const std::string odd = bundle + "/deep/odd";
    const std::function<void()> kinds[] = {[&] { fs::create_symlink("../a.onnx", odd); },
                                           [&] { fs::create_symlink("..", odd); },
                                           [&] { ASSERT_EQ(::mkfifo(odd.c_str(), 0600), 0); },
                                           [&] { ASSERT_EQ(::mknod(odd.c_str(), S_IFSOCK | 0600, 0), 0); }};
    for (const auto& make : kinds) {
        make();
        EXPECT_EQ(failure(), odd + ": it is neither a folder nor a regular file");
        EXPECT_THAT(beside(), ElementsAre());
        fs::remove(odd);
    }
    std::string deep = bundle;
    for (int level = 0; level < 40; ++level) fs::create_directory(deep += "/d");
    EXPECT_THAT(failure(), ::testing::EndsWith(": its folders are nested too deep"));
    EXPECT_THAT(beside(), ElementsAre());
}

TEST_F(SenkoSeedTests, LeavesNothingOnAFullDisk) {
    const testing::SmallDisk disk;
    if (disk.path() == nullptr) GTEST_SKIP() << testing::SmallDisk::absence;
    const testing::TemporaryFolder small{disk.path()};
    const auto outcome = SenkoSeed::seed(bundle, small / "senko");
    ASSERT_TRUE(outcome.is<Outcome::Failed>());
    EXPECT_THAT(outcome.as<Outcome::Failed>()->why, ::testing::EndsWith(": No space left on device"));
    EXPECT_TRUE(fs::is_empty(small.path()));
}

TEST_F(SenkoSeedTests, RemovesWhatADeadProcessBegan) {
    testing::ChildProcess process{{"sleep", "60"}};
    const std::string staging = folder / "voices/.senko.seeding-";
    const std::string its = staging + std::to_string(process.pid());
    const std::string foreign[] = {staging + "1x", staging, staging + "0"};
    fs::create_directories(its + "/deep");
    for (const std::string& name : foreign) fs::create_directory(name);
    ASSERT_TRUE(seed().is<Outcome::Seeded>());
    EXPECT_TRUE(fs::exists(its));
    process.kill();
    // Also where there is nothing left to copy.
    EXPECT_EQ(seed(), Outcome::Present{});
    EXPECT_FALSE(fs::exists(its));
    for (const std::string& name : foreign) EXPECT_TRUE(fs::exists(name)) << name;
}

TEST_F(SenkoSeedTests, IsWholeOrAbsentWhereverItIsKilled) {
    int begun = 0;
    const auto seeds = [&] { return seed(), true; };
    for (int stop = 1; testing::isKilledAtCall(stop, seeds); ++stop) {
        const bool isThere = fs::exists(target);
        ASSERT_TRUE(!isThere || isWhole()) << stop;
        if (beside().size() > (isThere ? 1U : 0U)) ++begun;
        ASSERT_EQ(seed().is<Outcome::Present>(), isThere) << stop;
        ASSERT_THAT(beside(), ElementsAre("senko")) << stop;
        fs::remove_all(folder / "voices");
    }
    // It was killed at least once in each copy of a file.
    EXPECT_GT(begun, 20);
    EXPECT_TRUE(isWhole());
}

}  // namespace
}  // namespace larkmoor
