// The vocabulary that all connectors share: what findings add up to, and in which ways an entry has drifted.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/Framework/Drift.h"
#include "LarkmoorConnectors/Framework/ScanJoin.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

using Finding = BlockFinding;

TEST(ScanJoinTest, HalfAWiringIsADrift) {
    const Finding unreadable = Finding::Unreadable{"why"}, drifted = Finding::Drifted{{"why"}},
                  foreign = Finding::Foreign{{"why"}}, fileAbsent = Finding::FileAbsent{}, absent = Finding::Absent{},
                  connected = Finding::Connected{};
    struct Case {
        std::vector<Finding> in;
        ConnectorState want;
    };
    const Case table[] = {
        {{}, ConnectorState::connected},
        {{connected}, ConnectorState::connected},
        {{connected, connected}, ConnectorState::connected},
        {{connected, absent}, ConnectorState::drifted},
        {{fileAbsent, connected}, ConnectorState::drifted},
        {{connected, unreadable}, ConnectorState::drifted},
        {{foreign, drifted}, ConnectorState::drifted},
        {{absent, fileAbsent}, ConnectorState::found},
        {{foreign, unreadable}, ConnectorState::found},
    };
    for (const Case& row : table) EXPECT_EQ(ScanJoin::state(row.in), row.want) << &row - table;
}

TEST(DriftTest, EachReasonInItsOrder) {
    const testing::TemporaryFolder folder;
    const std::string there = folder.path().string(), gone = folder / "gone";
    const std::string missing = "the file the command names is not on disk: " + gone;
    struct Case {
        std::string found, binary;
        std::vector<std::string> want;
    };
    const std::string both = "/b/dist-prod/dist-dev/x", all = "/fenwright/larkmoor/dist-dev/x";
    const std::string dev = "the command points at a development build: ";
    const Case table[] = {
        {"right", gone, {missing}},
        {"other", gone, {"the command is not the one this build writes: other", missing}},
        {both, there, {dev + both, dev + both}},
        {all, gone, {"the command points into a source checkout: " + all, dev + all, missing}},
    };
    for (const Case& row : table) EXPECT_EQ(Drift::reasons(row.found, "right", row.binary), row.want) << row.found;
}

}  // namespace
}  // namespace larkmoor
