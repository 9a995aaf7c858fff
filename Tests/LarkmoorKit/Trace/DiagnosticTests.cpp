// Lines for the daemon's log.
#include "LarkmoorKit/Trace/DiagnosticRelay.h"
#include "Support/DoorFixture.h"

namespace larkmoor::testing {
namespace {

class DiagnosticRelayTest : public XPCClientTest {};

TEST_F(DiagnosticRelayTest, NamesItsSourceAndLosesWhatIsSaidWhileTheDoorIsShut) {
    const DiagnosticRelay relay{loop, DiagnosticSource::menu, client};
    expectMessages({Fate::fails, Fate::fails});
    relay.note("lost");
    relay.note("cannot be \xff written");
    EXPECT_TRUE(door.sent().empty()) << "it does not wait";
    ASSERT_TRUE(runUntil(loop, [&] { return client->lastDoorFault() == DoorFault::absent; }));
    relay.note("said “so”");
    ASSERT_TRUE(runUntil(loop, [&] { return client->lastDoorFault() == std::nullopt; }));
    EXPECT_EQ(door.sent().size(), 3U);
    EXPECT_EQ(asText(*XPCWire::data("payload", door.sent().back().message)),
              R"({"diagnostic":{"_0":{"log":{"source":"menu","line":"said “so”"}}}})");
}

}  // namespace
}  // namespace larkmoor::testing
