#include "LarkmoorWire/Identity/ClientInstance.h"

#include "LarkmoorWire/Identity/ClientProfile.h"
#include "LarkmoorWire/Identity/WireContract.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

TEST(ClientInstance, DerivesItsPaths) {
    EXPECT_EQ(ClientInstance::daemonLogPath("/h"), "/h/Library/Logs/larkmoor.log");
    EXPECT_EQ(ClientInstance::supportRoot("/h/Library/Application Support"), "/h/Library/Application Support/Larkmoor");
    EXPECT_EQ(ClientInstance::runbooksRootExpanded("/h"), "/h/.larkmoor/runbooks");
}

TEST(ClientInstance, KnowsTheSupportFoldersOfBothProfiles) {
    struct Case {
        std::string_view path;
        bool isUnder;
    };
    const Case table[] = {
        {"/x/Library/Application Support/Larkmoor", true},
        {"/x/Library/Application Support/Larkmoor/", true},
        {"/x/Library/Application Support/Larkmoor Dev", true},
        {"/x/Library/Application Support/Larkmoor Dev/a/b", true},
        {"/x/Library/Application Support/./Other/../Larkmoor/data.db", true},
        {"~/Library/Application Support/Larkmoor/data.db", true},
        {"/x/Library/Application Support/LarkmoorOther", false},
        {"/x/Library/Application Support/LarkmoorOther/Larkmoor", false},
        {"/x/Library/Application Support", false},
        {"/x/Larkmoor", false},
        {"", false},
    };
    for (const Case& row : table) EXPECT_EQ(ClientInstance::isUnderAnySupportRoot(row.path), row.isUnder) << row.path;
}

TEST(ClientInstance, FollowsLinksIntoASupportFolder) {
    const testing::TemporaryFolder folder;
    std::filesystem::create_directories(folder / "Application Support/Larkmoor");
    std::filesystem::create_symlink(folder / "Application Support/Larkmoor", folder / "door");
    EXPECT_TRUE(ClientInstance::isUnderAnySupportRoot(folder / "door"));
    EXPECT_TRUE(ClientInstance::isUnderAnySupportRoot(folder / "door/not/there/yet"));
}

TEST(RawText, IsTheNameOfTheCaseToTheLetter) {
    EXPECT_EQ(fromRawText<ClientProfile>("production"), currentProfile);
    EXPECT_EQ(rawText(ClientProfile::dev), "dev");
    for (const std::string_view stranger : {"", "Production", "dev "})
        EXPECT_FALSE(fromRawText<ClientProfile>(stranger)) << stranger;
}

TEST(WireContract, AdmitsItsOwnNumberAndSilence) {
    using WireContract::Verdict;
    EXPECT_EQ(WireContract::verdict(1, std::nullopt), Verdict::admitted);
    EXPECT_EQ(WireContract::verdict(1, 1), Verdict::admitted);
    EXPECT_EQ(WireContract::verdict(1, 2), Verdict::mismatch);
    EXPECT_EQ(WireContract::verdict(2, 1), Verdict::mismatch);
}

}  // namespace
}  // namespace larkmoor
