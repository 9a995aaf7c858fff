// One health question through the door client against a bare bus call of the same bytes to the same daemon, in one run;
// then the throughput with many callers. Started by Benchmarks/door/run, which brings bus and daemon.
#include <systemd/sd-bus.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <chrono>
#include <cstdio>
#include <vector>

#include "LarkmoorKit/Door/XPCClient.h"
#include "LarkmoorKit/Door/XPCWire.h"
#include "LarkmoorPlatform/Linux/Messaging/MessageServiceDial.h"
#include "LarkmoorWire/Codec/Messages.h"
#include "Statistics.h"

namespace larkmoor {
namespace {

using namespace bench;
using Clock = std::chrono::steady_clock;
constexpr int rounds = 20;
constexpr int callsInRound = 200;

const GatewayRequest health = GatewayRequest::Read{ReadRequest::Health{}};

double microseconds(Clock::duration time) { return std::chrono::duration<double, std::micro>(time).count(); }

/// The peer: the library's own blocking call.
class BareCaller {
  public:
    BareCaller() : payload_(*encode(health)) {
        if (sd_bus_open_user(&bus_) < 0) give("no session bus");
    }
    ~BareCaller() { sd_bus_flush_close_unref(bus_); }

    void measure(std::vector<double>& times) {
        for (int call = 0; call < callsInRound; ++call) {
            const auto start = Clock::now();
            ask();
            times.push_back(microseconds(Clock::now() - start));
        }
    }

  private:
    void ask() {
        sd_bus_message* message = nullptr;
        sd_bus_message* reply = nullptr;
        const std::string name{XPCEndpoint::machServiceName};
        sd_bus_message_new_method_call(bus_, &message, name.c_str(), "/tools/fenwright/larkmoor/gateway",
                                       "tools.fenwright.larkmoor.Gateway", "Request");
        sd_bus_message_open_container(message, 'a', "{sv}");
        sd_bus_message_open_container(message, 'e', "sv");
        sd_bus_message_append(message, "s", "payload");
        sd_bus_message_open_container(message, 'v', "ay");
        sd_bus_message_append_array(message, 'y', payload_.data(), payload_.size());
        sd_bus_message_close_container(message);
        sd_bus_message_close_container(message);
        sd_bus_message_append(message, "{sv}", "wire", "t", std::uint64_t{1});
        sd_bus_message_close_container(message);
        if (sd_bus_call(bus_, message, 0, nullptr, &reply) < 0) give("the daemon does not answer");
        sd_bus_message_unref(reply);
        sd_bus_message_unref(message);
    }

    sd_bus* bus_ = nullptr;
    Bytes payload_;
};

std::shared_ptr<XPCClient> doorClient(MainLoop& loop) {
    return XPCClient::make(std::string{XPCEndpoint::machServiceName},
                           {.dial = sessionBusDial(loop),
                            .serviceRegistered = [](std::string) -> Task<bool> { co_return false; },
                            .clientLineage = []() -> Task<ClientLineage> { co_return ClientLineage{}; }});
}

Task<void> askInTurn(std::shared_ptr<XPCClient> client, int calls, std::vector<double>* times) {
    for (int call = 0; call < calls; ++call) {
        const auto start = Clock::now();
        const auto answer = co_await client->sendTimed(health);
        if (!answer.response.is<GatewayResponse::Text>()) give("the door does not answer");
        if (times != nullptr) times->push_back(microseconds(Clock::now() - start));
    }
}

void runAll(MainLoop& loop, const std::shared_ptr<XPCClient>& client, int callers, int calls,
            std::vector<double>* times) {
    int left = callers;
    for (int caller = 0; caller < callers; ++caller) {
        boost::asio::co_spawn(loop, askInTurn(client, calls, times), [&](const std::exception_ptr&) {
            if (--left == 0) loop.stop();
        });
    }
    loop.restart();
    loop.run();
}

int run() {
    MainLoop loop{1};
    const auto client = doorClient(loop);
    BareCaller bare;
    std::vector<double> ours;
    std::vector<double> theirs;
    std::vector<double> warm;
    runAll(loop, client, 1, callsInRound, &warm);
    bare.measure(warm);
    for (int round = 0; round < rounds; ++round) {
        runAll(loop, client, 1, callsInRound, &ours);
        bare.measure(theirs);
    }
    const double mine = median(ours);
    const double peer = median(theirs);
    std::printf("health question, median of %d: door client %.1f us, bare call %.1f us, ratio %.2f\n",
                rounds * callsInRound, mine, peer, mine / peer);
    for (const int callers : {1, 8, 64}) {
        const int calls = 4096 / callers;
        const auto start = Clock::now();
        runAll(loop, client, callers, calls, nullptr);
        const double seconds = microseconds(Clock::now() - start) / 1e6;
        std::printf("%2d callers: %.0f questions a second\n", callers, callers * calls / seconds);
    }
    return 0;
}

}  // namespace
}  // namespace larkmoor

int main() { return larkmoor::run(); }
