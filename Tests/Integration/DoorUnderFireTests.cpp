// The door while the daemon is killed again and again under many callers: a real bus, a real other process.
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/use_future.hpp>

#include <atomic>
#include <fstream>
#include <future>
#include <set>
#include <thread>

#include "CXPCShim/larkmoor_mach_service_registered.h"
#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorKit/Door/XPCClient.h"
#include "LarkmoorKit/Door/XPCWire.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/Linux/Messaging/MessageServiceDial.h"
#include "Support/PrivateBus.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {
namespace {

constexpr int restarts = 200;
constexpr int callers = 32;

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
    DoorUnderFireTest() { ::setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1); }

    std::shared_ptr<XPCClient> makeClient() {
        return XPCClient::make(std::string{XPCEndpoint::machServiceName},
                               {.dial = [this, dial = sessionBusDial(loop, bus.address())](
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
                                .clientLineage = [] { return ClientLineage{}; }},
                               {.budget = std::chrono::seconds{3}, .pause = std::chrono::milliseconds{5}});
    }

    void startDaemon(int contract = 1) {
        const std::string scenario = folder / std::to_string(contract);
        std::ofstream{scenario} << fmt::format(R"({{"wire": {}}})", contract);
        daemon.emplace(std::vector<std::string>{LARKMOOR_UNDERSTUDY_DAEMON, "--scenario", scenario}, bus.environment());
    }

    TemporaryFolder folder;
    PrivateBus bus;
    MainLoop loop;
    std::shared_ptr<Traffic> traffic = std::make_shared<Traffic>();
    int announcements = 0;
    std::optional<ChildProcess> daemon;
};

/// Whether the answer came from a daemon, of this contract or another; nothing for what neither it nor the door says.
std::optional<bool> isAnswered(const GatewayResponse& response) {
    if (response.is<GatewayResponse::Text>()) return true;
    const auto* failure = response.as<GatewayResponse::Failure>();
    if (failure == nullptr) return std::nullopt;
    if (failure->message == message(DoorFault::skew)) return true;
    for (const DoorFault fault : {DoorFault::absent, DoorFault::refused, DoorFault::silent})
        if (failure->message == message(fault)) return false;
    return std::nullopt;
}

TEST_F(DoorUnderFireTest, EveryCallEndsAndNothingIsCountedTwice) {
    const auto client = makeClient();
    startDaemon();
    // The first answer, after which each failed first attempt is worth exactly one knock.
    ASSERT_TRUE(runUntil(loop, [&] { return runTask(loop, ask(client))->is<GatewayResponse::Text>(); }));
    const int requestsBefore = traffic->requests;
    const int knocksBefore = traffic->knocks;

    std::atomic<bool> isOver = false;
    std::atomic<int> calls = 0;
    std::atomic<int> answered = 0;
    std::atomic<int> strange = 0;
    std::vector<std::thread> threads;
    threads.reserve(callers);
    for (int caller = 0; caller < callers; ++caller) {
        threads.emplace_back([&] {
            while (!isOver) {
                ++calls;
                auto answer = boost::asio::co_spawn(loop, ask(client), boost::asio::use_future);
                if (answer.wait_for(std::chrono::seconds{60}) != std::future_status::ready) {
                    ++strange;
                    return;
                }
                const std::optional<bool> heard = isAnswered(answer.get());
                answered += heard.value_or(false) ? 1 : 0;
                strange += heard ? 0 : 1;
            }
        });
    }
    std::thread killer{[&] {
        for (int round = 0; round < restarts; ++round) {
            const int before = answered;
            const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds{10};
            while (answered < before + round % 7 && std::chrono::steady_clock::now() < patience) {
                std::this_thread::sleep_for(std::chrono::milliseconds{1});
            }
            daemon->kill();
            startDaemon(round % 20 == 10 ? 2 : 1);
        }
        isOver = true;
        for (auto& thread : threads) thread.join();
        boost::asio::post(loop, [this] { loop.stop(); });
    }};
    const auto working = boost::asio::make_work_guard(loop);
    loop.restart();
    loop.run();
    killer.join();

    EXPECT_EQ(strange, 0);
    EXPECT_GT(answered, restarts / 2);
    // The system ends a child with the thread that started it: this thread's own daemon is the last.
    daemon->kill();
    startDaemon();
    // The last daemon serves: the fault is gone with its first answer.
    ASSERT_TRUE(runUntil(loop, [&] { return ++calls, runTask(loop, ask(client))->is<GatewayResponse::Text>(); }));
    EXPECT_EQ(client->lastDoorFault(), std::nullopt);

    const int repeated = traffic->requests - requestsBefore - calls;
    EXPECT_GT(repeated, 0);
    EXPECT_EQ(traffic->knocks - knocksBefore, repeated) << "one knock for each request that is repeated";
    EXPECT_EQ(client->knockCount(), traffic->knocks);
    EXPECT_EQ(traffic->connections, 1 + static_cast<int>(traffic->failed.size()))
        << "each dead connection is replaced once";
    EXPECT_EQ(announcements, 1) << "of ten daemons of another contract";
    RecordProperty("calls", calls.load());
    RecordProperty("answered", answered.load());
    std::printf("%d calls, %d answered, %d repeated, %d connections\n", calls.load(), answered.load(), repeated,
                traffic->connections);
}

}  // namespace
}  // namespace larkmoor::testing
