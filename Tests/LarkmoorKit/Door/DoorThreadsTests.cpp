// What any thread may ask of the door while the main thread uses it.
#include <atomic>
#include <thread>

#include "LarkmoorKit/Door/XPCClient.h"
#include "Support/DoorFixture.h"

namespace larkmoor::testing {
namespace {

class DoorThreadsTest : public XPCClientTest {};

TEST_F(DoorThreadsTest, FaultAndKnocksAreReadFromElsewhere) {
    std::atomic<bool> isOver = false;
    int last = 0;
    std::thread reader{[&] {
        while (!isOver) {
            static_cast<void>(client->lastDoorFault());
            const int knocks = client->knockCount();
            EXPECT_GE(knocks, last);
            last = knocks;
        }
    }};
    for (int round = 0; round < 20; ++round) {
        expectMessages({Fate::fails, Fate::ofTwo, Fate::good});
        static_cast<void>(ask());
    }
    isOver = true;
    reader.join();
    EXPECT_EQ(mismatches, 1);
    EXPECT_EQ(client->knockCount(), 19) << "none at the first contact";
}

}  // namespace
}  // namespace larkmoor::testing
