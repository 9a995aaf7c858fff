// The vocabulary that all connectors share: what findings add up to, and what is said of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LarkmoorConnectors/Framework/Drift.h"
#include "LarkmoorConnectors/Framework/Observations.h"
#include "LarkmoorConnectors/Framework/ScanJoin.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

using ::testing::ElementsAre;
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

TEST(ObservationsTest, EqualOnesAreToldOnceWithTheirNumber) {
    const Observation one{"/a", "x"}, other{"/b", "x"}, third{"/a", "y"};
    EXPECT_THAT(Observations::folded({one, third, one, other, one}),
                ElementsAre(Observation{"/a", "x (3 entries)"}, third, other));
    EXPECT_THAT(Observations::folded({}), ElementsAre());
}

TEST(ObservationsTest, EachFindingHasItsWords) {
    const Observations::Place place{"/f", "hook entry", "/hook --harness x", "TOML"};
    struct Case {
        Finding in;
        std::vector<std::string> want;
    };
    const Case table[] = {
        {Finding::Unreadable{"why"}, {"this file did not read as TOML — why"}},
        {Finding::Drifted{{"one", "two"}},
         {"the Larkmoor hook entry here — one", "the Larkmoor hook entry here — two"}},
        {Finding::Foreign{{"one", "two"}}, {"one", "two"}},
        {Finding::FileAbsent{}, {"there is no file here"}},
        {Finding::Absent{}, {"this file holds no Larkmoor hook entry"}},
        {Finding::Connected{}, {"the Larkmoor hook entry here runs /hook --harness x"}},
    };
    for (const Case& row : table) {
        std::vector<Observation> want;
        for (const std::string& text : row.want) want.push_back({"/f", text});
        EXPECT_EQ(Observations::of(row.in, place), want);
    }
}

TEST(DriftTest, EachReasonInItsOrder) {
    const testing::TemporaryFolder folder;
    const std::string there = folder.path().string(), gone = folder / "gone";
    const std::string missing = "the file the command names is not on disk: " + gone;
    struct Case {
        std::string found, binary;
        std::vector<std::string> want;
    };
    const std::string source = "/me/fenwright/larkmoor/x", dev = "/b/dist-dev/x", both = "/b/dist-prod/dist-dev/x",
                      all = "/fenwright/larkmoor/dist-dev/x";
    const Case table[] = {
        {"right", there, {}},
        {"right", gone, {missing}},
        {"other", there, {"the command is not the one this build writes: other"}},
        {"other", gone, {"the command is not the one this build writes: other", missing}},
        {source, there, {"the command points into a source checkout: " + source}},
        {dev, there, {"the command points at a development build: " + dev}},
        {both,
         there,
         {"the command points at a development build: " + both, "the command points at a development build: " + both}},
        {all,
         gone,
         {"the command points into a source checkout: " + all, "the command points at a development build: " + all,
          missing}},
    };
    for (const Case& row : table) EXPECT_EQ(Drift::reasons(row.found, "right", row.binary), row.want) << row.found;
}

}  // namespace
}  // namespace larkmoor
