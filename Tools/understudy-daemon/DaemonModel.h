// A model of the daemon: its answers to requests, and how they change by pauses and settings. Without bus and clock.
#pragma once

#include <chrono>
#include <expected>
#include <optional>
#include <string>
#include <variant>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/Record.h"
#include "LarkmoorWire/Catalogue/GatewayRequest.h"
#include "LarkmoorWire/Catalogue/GatewayResponse.h"
#include "LarkmoorWire/Identity/WireContract.h"

namespace larkmoor::understudy {

/// Settings of the model, from a file at the start or over the bus later. Each field that is present replaces the
/// current setting; --help explains them.
LARKMOOR_RECORD(Scenario, (std::optional<Int>, startDelayMilliseconds), (std::optional<Int>, delayMilliseconds),
                (std::optional<std::string>, health), (std::optional<std::string>, front),
                (std::optional<TextMap<std::string>>, grants), (std::optional<bool>, hello),
                (std::optional<std::string>, build), (std::optional<bool>, meetingLive), (std::optional<Int>, wire),
                (std::optional<Int>, servedMilliseconds), (std::optional<bool>, refuse), (std::optional<bool>, silent),
                (std::optional<std::string>, silentTo), (std::optional<std::string>, storeKey),
                (std::optional<std::string>, reply))

/// Reads a JSON object; an unknown key is an error.
std::expected<Scenario, std::string> readScenario(BytesView document);

class DaemonModel {
  public:
    using Time = std::chrono::system_clock::time_point;

    /// A response and its side effects.
    struct Answer {
        GatewayResponse response;
        Int keyLegs = 0;      ///< number of descriptors with the store's key to send along
        bool isLast = false;  ///< the daemon exits after this response
    };

    void apply(const Scenario& scenario);
    Answer answer(const GatewayRequest& request, Time now);

    /// "healthy", "stopped", "paused (resumes HH:MM)" in local time, or the health that was set.
    std::string health(Time now) const;

    FrontRecording front = FrontRecording::full;
    std::optional<Int> wire = WireContract::version;  ///< nothing: left out of replies
    std::optional<Int> served = 0;                    ///< milliseconds; nothing: left out
    std::chrono::milliseconds delay{0};
    bool refuses = false;
    bool isSilent = false;
    std::string silentTo;  ///< the name of requests that get no answer
    std::string storeKey;  ///< empty: this profile has none
    std::optional<Bytes> rawReply;

  private:
    struct Recording {};
    struct Stopped {};
    struct PausedUntil {
        Time time;
    };

    Answer answerTo(const ReadRequest& request, Time now) const;
    Answer answerTo(const ControlRequest& request, Time now);

    std::variant<Recording, Stopped, PausedUntil> recording_;
    std::optional<std::string> fixedHealth_;
    TextMap<std::string> grants_{
        {"screen_recording", "granted"}, {"accessibility", "granted"}, {"microphone", "granted"}};
    bool hasHello_ = true;
    bool isMeetingLive_ = false;
    std::string build_ = "1";
};

}  // namespace larkmoor::understudy
