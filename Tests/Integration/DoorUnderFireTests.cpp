// The door while the daemon is killed again and again under many callers, and brought back by a real user manager.
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/use_future.hpp>

#include <atomic>
#include <fstream>
#include <future>
#include <set>

#include "CXPCShim/larkmoor_mach_service_registered.h"
#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorKit/Door/XPCClient.h"
#include "LarkmoorKit/Door/XPCWire.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/Linux/Messaging/MessageServiceDial.h"
#include "Support/Linux/UserSession.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {
namespace {

constexpr int callers = 32;

/// $LARKMOOR_DOOR_KILLS is for a person with time.
int restarts() {
    const char* wanted = std::getenv("LARKMOOR_DOOR_KILLS");
    return wanted == nullptr ? 16 : std::atoi(wanted);
}

/// What went over the door's connections. Main thread.
struct Traffic {
    int connections = 0;
    int requests = 0;
    int knocks = 0;
    std::set<int> failed;  ///< the connections on which something failed
};

/// A real connection, watched.
class WatchedConnection final : public MessageConnection {
  public:
    WatchedConnection(std::shared_ptr<MessageConnection> real, std::shared_ptr<Traffic> traffic)
        : real_(std::move(real)), traffic_(std::move(traffic)), number_(traffic_->connections++) {}

    void setEventHandler(Handler handler) override { real_->setEventHandler(std::move(handler)); }
    void resume() override { real_->resume(); }
    void cancel() override { real_->cancel(); }
    void send(MessageDictionary message) override { real_->send(std::move(message)); }
    void sendWithReply(MessageDictionary message, Handler handler) override {
        ++(message.find<Bytes>(XPCEndpoint::payloadKey) == nullptr ? traffic_->knocks : traffic_->requests);
        real_->sendWithReply(std::move(message),
                             [traffic = traffic_, number = number_, handler = std::move(handler)](Incoming incoming) {
                                 if (!incoming) traffic->failed.insert(number);
                                 handler(std::move(incoming));
                             });
    }

  private:
    std::shared_ptr<MessageConnection> real_;
    std::shared_ptr<Traffic> traffic_;
    int number_;
};

Task<GatewayResponse> ask(std::shared_ptr<XPCClient> client) {
    co_return co_await client->send(GatewayRequest::Read{ReadRequest::Health{}});
}

class DoorUnderFireTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!UserSession::isPossible()) GTEST_SKIP() << "no control groups of the tester's own";
        session.emplace(home);
        ::setenv("DBUS_SESSION_BUS_ADDRESS", session->address().c_str(), 1);
    }

    std::shared_ptr<XPCClient> makeClient() {
        return XPCClient::make(std::string{XPCEndpoint::machServiceName},
                               {.dial = [this, dial = sessionBusDial(loop, session->address())](
                                            const std::string& name) -> std::shared_ptr<MessageConnection> {
                                    return std::make_shared<WatchedConnection>(dial(name), traffic);
                                },
                                .onWireMismatch = [this] { ++announcements; },
                                .serviceRegistered =
                                    [](std::string name) {
                                        return BlockingWork::run([name = std::move(name)] {
                                            return larkmoor_mach_service_registered(name.c_str());
                                        });
                                    },
                                .clientLineage = []() -> Task<ClientLineage> { co_return ClientLineage{}; }},
                               {.budget = std::chrono::seconds{3}, .pause = std::chrono::milliseconds{5}});
    }

    /// Of this contract, and back so long after it was killed.
    void writeDaemon(std::chrono::milliseconds gap, int contract = 1) {
        std::ofstream{folder / "scenario"} << fmt::format(R"({{"wire": {}}})", contract);
        if (gap == lastGap) return;
        lastGap = gap;
        std::ofstream{session->unitFile(unit)} << fmt::format(
            "[Unit]\nStartLimitIntervalSec=0\n[Service]\nExecStart={} --scenario {}\nRestart=always\nRestartSec={}ms\n",
            LARKMOOR_UNDERSTUDY_DAEMON, folder / "scenario", gap.count());
        EXPECT_TRUE(session->shell("systemctl --user daemon-reload"));
    }
    void startDaemon() { EXPECT_TRUE(session->shell("systemctl --user start " + unit)); }
    void killDaemon() { EXPECT_TRUE(session->shell("systemctl --user kill -s KILL " + unit)); }

    const std::string unit = std::string{XPCEndpoint::machServiceName} + ".service";
    TemporaryFolder folder;
    TemporaryFolder home;
    std::optional<UserSession> session;
    std::chrono::milliseconds lastGap{-1};
    MainLoop loop;
    std::shared_ptr<Traffic> traffic = std::make_shared<Traffic>();
    int announcements = 0;
};

enum class Heard { daemon, silence, somethingElse };

/// A daemon of another contract is one; a person's words that it does not run, or refuses, are something else.
Heard heard(const GatewayResponse& response) {
    if (response.is<GatewayResponse::Text>()) return Heard::daemon;
    const auto* failure = response.as<GatewayResponse::Failure>();
    if (failure != nullptr && failure->message == message(DoorFault::skew)) return Heard::daemon;
    if (failure != nullptr && failure->message == message(DoorFault::silent)) return Heard::silence;
    return Heard::somethingElse;
}

TEST_F(DoorUnderFireTest, ARestartIsRiddenOutWhateverTheGapAndNothingIsCountedTwice) {
    using std::chrono::milliseconds;
    const auto client = makeClient();
    writeDaemon(milliseconds{20});
    startDaemon();
    // The first answer, after which each failed first attempt is worth exactly one knock.
    ASSERT_TRUE(runUntil(loop, [&] { return runTask(loop, ask(client))->is<GatewayResponse::Text>(); }));
    const int requestsBefore = traffic->requests;
    const int knocksBefore = traffic->knocks;

    std::atomic<bool> isOver = false;
    std::atomic<int> calls = 0;
    std::array<std::atomic<int>, 3> outcomes{};
    std::vector<std::thread> threads;
    for (int caller = 0; caller < callers; ++caller) {
        threads.emplace_back([&] {
            while (!isOver) {
                ++calls;
                auto answer = boost::asio::co_spawn(loop, ask(client), boost::asio::use_future);
                const bool isThere = answer.wait_for(std::chrono::seconds{60}) == std::future_status::ready;
                ++outcomes[static_cast<std::size_t>(isThere ? heard(answer.get()) : Heard::somethingElse)];
                if (!isThere) return;
            }
        });
    }
    std::thread killer{[&] {
        constexpr std::array gaps{milliseconds{20}, milliseconds{300}, milliseconds{1000}, milliseconds{2500}};
        for (int round = 0; round < restarts(); ++round) {
            const int before = outcomes[0];
            const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds{10};
            // There is no third attempt: nobody may be at the second one when the next daemon dies.
            const int wanted = before + 2 * callers + round % 7;
            while (outcomes[0] < wanted && std::chrono::steady_clock::now() < patience)
                std::this_thread::sleep_for(milliseconds{1});
            writeDaemon(gaps[static_cast<std::size_t>(round * 4 / restarts())], round % 8 == 5 ? 2 : 1);
            killDaemon();
        }
        isOver = true;
        for (auto& thread : threads) thread.join();
        boost::asio::post(loop, [this] { loop.stop(); });
    }};
    const auto working = boost::asio::make_work_guard(loop);
    loop.restart();
    loop.run();
    killer.join();

    EXPECT_EQ(outcomes[2], 0) << "nobody hangs, and nobody hears that the daemon is not running or refuses";
    EXPECT_LE(outcomes[1], restarts()) << "a daemon that needs longer than three seconds is rare";
    EXPECT_GT(outcomes[0], restarts());
    writeDaemon(milliseconds{20});
    killDaemon();
    // The last daemon serves: the fault is gone with its first answer.
    ASSERT_TRUE(runUntil(loop, [&] { return ++calls, runTask(loop, ask(client))->is<GatewayResponse::Text>(); }));
    EXPECT_EQ(client->lastDoorFault(), std::nullopt);

    const int repeated = traffic->requests - requestsBefore - calls;
    EXPECT_GT(repeated, 0);
    EXPECT_EQ(traffic->knocks - knocksBefore, repeated) << "one knock for each request that is repeated";
    EXPECT_EQ(client->knockCount(), traffic->knocks);
    EXPECT_LE(traffic->connections, 1 + static_cast<int>(traffic->failed.size()))
        << "each dead connection is replaced once";
    EXPECT_EQ(announcements, 1) << "of all the daemons of another contract";
    std::printf("%d calls, %d answered, %d silent, %d repeated, %d connections\n", calls.load(), outcomes[0].load(),
                outcomes[1].load(), repeated, traffic->connections);

    // One that was stopped stays down, and is told of at once.
    EXPECT_TRUE(session->shell("systemctl --user stop " + unit));
    const auto begin = std::chrono::steady_clock::now();
    const auto answer = runTask(loop, ask(client)).value();
    EXPECT_EQ(answer.as<GatewayResponse::Failure>()->message, message(DoorFault::absent));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{2}) << "300 ms on a machine at rest";
}

}  // namespace
}  // namespace larkmoor::testing
