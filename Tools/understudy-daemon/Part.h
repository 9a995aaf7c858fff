// The daemon as it is played: what it would answer, and what a pause does to that. No bus and no clock of its own.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <variant>

#include "LarkmoorWire/Catalogue/GatewayRequest.h"
#include "LarkmoorWire/Catalogue/GatewayResponse.h"
#include "LarkmoorWire/Identity/WireContract.h"
#include "Scenario.h"

namespace larkmoor::understudy {

class Part {
  public:
    using Time = std::chrono::system_clock::time_point;

    /// What the answer does beyond its words.
    struct Answer {
        GatewayResponse response;
        Int keyLegs = 0;         ///< descriptors with the store's key to send beside it
        bool isTheLast = false;  ///< the daemon goes once it is sent
    };

    void apply(const Scenario& scenario);
    Answer answer(const GatewayRequest& request, Time now);

    /// "healthy", "stopped", "paused (resumes HH:MM)" in local time, or what was ordered.
    std::string health(Time now) const;

    FrontRecording front = FrontRecording::full;
    std::optional<Int> wire = WireContract::version;  ///< nothing: replies say none
    std::optional<Int> served = 0;                    ///< milliseconds, likewise
    std::chrono::milliseconds delay{0};
    bool refuses = false;
    bool isSilent = false;
    std::string storeKey;  ///< none on this profile if empty
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
    std::optional<std::string> orderedHealth_;
    TextMap<std::string> grants_{
        {"screen_recording", "granted"}, {"accessibility", "granted"}, {"microphone", "granted"}};
    bool hasHello_ = true;
    bool isMeetingLive_ = false;
    std::string build_ = "1";
};

}  // namespace larkmoor::understudy
