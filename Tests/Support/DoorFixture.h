// A door client whose daemon, look-up and lineage are the test's.
#pragma once

#include "LarkmoorKit/Door/XPCClient.h"
#include "Support/FakeDoor.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {

/// What the daemon makes of one message.
enum class Fate {
    good,
    unsaid,
    served,
    ofTwo,
    failure,
    fails,   ///< its owner refuses it, or dies
    nobody,  ///< it meets no owner
    silent,
    noPayload,
    emptyPayload,
    noJSON,
    tooLarge,
    badOfTwo
};

inline std::optional<FakeDoor::Incoming> incoming(Fate fate) {
    const GatewayResponse healthy = GatewayResponse::Text{"healthy"};
    MessageDictionary served = replyOf(healthy), badOfTwo = replyOf("nonsense");
    XPCWire::setServed(1500, served);
    XPCWire::setWire(2, badOfTwo);
    const std::map<Fate, std::optional<FakeDoor::Incoming>> replies{
        {Fate::good, replyOf(healthy)},
        {Fate::unsaid, replyOf(healthy, std::nullopt)},
        {Fate::served, served},
        {Fate::ofTwo, replyOf(healthy, 2)},
        {Fate::failure, replyOf(GatewayResponse::Failure{"not now"})},
        {Fate::fails, broken()},
        {Fate::nobody, broken(ConnectionFailure::Kind::unowned)},
        {Fate::tooLarge, broken(ConnectionFailure::Kind::unanswerable)},
        {Fate::silent, std::nullopt},
        {Fate::noPayload, MessageDictionary{}},
        {Fate::emptyPayload, replyOf("")},
        {Fate::noJSON, replyOf("{\"text\":{}}")},
        {Fate::badOfTwo, badOfTwo},
    };
    return replies.at(fate);
}

class XPCClientTest : public ::testing::Test {
  protected:
    static constexpr std::chrono::milliseconds budget{10};

    XPCClientTest() {
        door.onDial([this] { look(); });
        door.onMessage([this](const FakeDoor::Sent&) {
            times.push_back(std::chrono::steady_clock::now());
            return incoming(next < fates.size() ? fates[next++] : Fate::good);
        });
        dial(budget);
    }

    void dial(std::chrono::nanoseconds patience, std::chrono::nanoseconds pause = std::chrono::milliseconds{1}) {
        client = XPCClient::make("the.door",
                                 {.dial = door.dial(),
                                  .onWireMismatch =
                                      [this] {
                                          look();
                                          ++mismatches;
                                      },
                                  .serviceRegistered =
                                      [this](std::string) {
                                          look();
                                          ++lookups;
                                          return given(registered);
                                      },
                                  .clientLineage =
                                      [this] {
                                          look();
                                          return given(lineage);
                                      }},
                                 {.budget = patience, .pause = pause});
    }

    /// What happens to the messages from now on, in order; all is good after them.
    void expectMessages(std::vector<Fate> script) {
        fates = std::move(script);
        next = 0;
    }

    struct Asked {
        std::optional<TimedResponse> answer;
        int outcomes = 0;
    };
    /// Asks without waiting.
    std::shared_ptr<Asked> start(GatewayRequest request = GatewayRequest::Read{ReadRequest::Health{}}) {
        auto asked = std::make_shared<Asked>();
        boost::asio::co_spawn(loop, client->sendTimed(std::move(request)),
                              [asked](const std::exception_ptr& thrown, TimedResponse answer) {
                                  EXPECT_FALSE(thrown);
                                  asked->answer = std::move(answer);
                                  ++asked->outcomes;
                              });
        return asked;
    }
    TimedResponse ask(GatewayRequest request = GatewayRequest::Read{ReadRequest::Health{}}) {
        const auto asked = start(std::move(request));
        EXPECT_TRUE(runUntil(loop, [&] { return asked->answer.has_value(); }));
        return asked->answer.value_or(TimedResponse{});
    }
    /// The text or the failure's message.
    static std::string words(const GatewayResponse& response) {
        if (const auto* text = response.as<GatewayResponse::Text>()) return text->_0;
        const auto* failure = response.as<GatewayResponse::Failure>();
        return failure == nullptr ? "another case" : failure->message;
    }

    MainLoop loop;
    FakeDoor door{loop};
    std::vector<Fate> fates;
    std::size_t next = 0;
    std::vector<std::chrono::steady_clock::time_point> times;  ///< when each message was sent
    bool registered = false;
    ClientLineage lineage = ClientLineage::Foreign{};
    bool seamsThrow = false;
    int mismatches = 0;
    int lookups = 0;
    std::shared_ptr<XPCClient> client;

  private:
    template <class T>
    Task<T> given(T answer) {
        if (seamsThrow) throw std::runtime_error{"no thread to be had"};
        co_return answer;
    }

    /// Nothing that the client calls may find its lock held.
    void look() const {
        if (client) static_cast<void>(client->lastDoorFault());
    }
};

}  // namespace larkmoor::testing
