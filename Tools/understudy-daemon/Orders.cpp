#include "Orders.h"

#include <unistd.h>

#include <array>
#include <csignal>

#include "LarkmoorBase/RawText.h"
#include "Stage.h"

namespace larkmoor::understudy {

namespace {

using Complaint = std::optional<std::string>;

/// An order that is nothing but one field of a scenario.
template <class T>
auto field(std::optional<T> Scenario::* member, T (*read)(BusReader&)) {
    return [member, read](Stage& stage, BusReader& reader, BusWriter&) -> Complaint {
        Scenario scenario;
        scenario.*member = read(reader);
        stage.part().apply(scenario);
        return std::nullopt;
    };
}

std::string text(BusReader& reader) { return std::string{reader.text()}; }
std::string bytes(BusReader& reader) { return std::string{asText(reader.bytes())}; }
bool truth(BusReader& reader) { return reader.boolean(); }
Int number(BusReader& reader) { return reader.int64(); }
TextMap<std::string> texts(BusReader& reader) {
    TextMap<std::string> map;
    reader.array("{ss}", [&] {
        reader.entry("ss", [&] {
            std::string key = text(reader);
            map.insert_or_assign(std::move(key), text(reader));
        });
    });
    return map;
}

Complaint setFront(Stage& stage, BusReader& reader, bool isPushed) {
    const std::string word = text(reader);
    const auto front = fromRawText<FrontRecording>(word);
    if (!front) return "\"" + word + "\" is no front state";
    if (isPushed) {
        stage.pushFront(*front);
    } else {
        stage.part().front = *front;
    }
    return std::nullopt;
}

Complaint apply(Stage& stage, BusReader& reader, BusWriter&) {
    const auto scenario = readScenario(asBytes(reader.text()));
    if (!scenario) return scenario.error();
    stage.part().apply(*scenario);
    return std::nullopt;
}

Complaint tellLog(Stage& stage, BusReader&, BusWriter& writer) {
    writer.array("s", [&] {
        for (const std::string& line : stage.log()) writer.text(line);
    });
    return std::nullopt;
}

}  // namespace

std::span<const Order> allOrders() {
    static const std::array orders{
        Order{"Apply", "s", "", "a scenario's document, as in a file", apply},
        Order{"SetHealth", "s", "", "the answer to health, whatever is paused; \"\" ends that",
              field(&Scenario::health, text)},
        Order{"SetFrontState", "s", "", "the answer to frontState",
              [](Stage& stage, BusReader& reader, BusWriter&) { return setFront(stage, reader, false); }},
        Order{"PushFrontState", "s", "", "the same, and tells every subscriber",
              [](Stage& stage, BusReader& reader, BusWriter&) { return setFront(stage, reader, true); }},
        Order{"PushEvent", "ay", "", "pushes these bytes as an event, whatever they are",
              [](Stage& stage, BusReader& reader, BusWriter&) -> Complaint {
                  stage.push(reader.bytes());
                  return std::nullopt;
              }},
        Order{"SetGrants", "a{ss}", "", "the answer to grants: kind to state", field(&Scenario::grants, texts)},
        Order{"SetHello", "b", "", "whether there is a hello card", field(&Scenario::hello, truth)},
        Order{"SetBuild", "s", "", "the answer to daemonBuild", field(&Scenario::build, text)},
        Order{"SetMeetingLive", "b", "", "the answer to meetingLive", field(&Scenario::meetingLive, truth)},
        Order{"SetWire", "x", "", "the contract's number in replies; -1 leaves it out", field(&Scenario::wire, number)},
        Order{"SetServed", "x", "", "served_ms in replies; -1 leaves it out",
              field(&Scenario::servedMilliseconds, number)},
        Order{"SetDelay", "x", "", "milliseconds before each reply", field(&Scenario::delayMilliseconds, number)},
        Order{"SetReply", "ay", "", "the payload of every reply, whatever it is; none ends that",
              field(&Scenario::reply, bytes)},
        Order{"SetStoreKey", "ay", "", "the key that storeKeyForMigration hands out; none is a profile without",
              field(&Scenario::storeKey, bytes)},
        Order{"Refuse", "b", "", "requests get AccessDenied", field(&Scenario::refuse, truth)},
        Order{"Silent", "b", "", "requests are taken and never answered", field(&Scenario::silent, truth)},
        Order{"Crash", "", "", "ends the process by signal 9",
              [](Stage&, BusReader&, BusWriter&) -> Complaint {
                  ::kill(::getpid(), SIGKILL);
                  return std::nullopt;
              }},
        Order{"Log", "", "as", "the requests so far, as their JSON documents", tellLog},
        Order{"Subscribers", "", "u", "how many get events",
              [](Stage& stage, BusReader&, BusWriter& writer) -> Complaint {
                  writer.uint32(stage.subscribers());
                  return std::nullopt;
              }},
    };
    return orders;
}

}  // namespace larkmoor::understudy
