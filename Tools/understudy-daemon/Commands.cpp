#include "Commands.h"

#include <unistd.h>

#include <array>
#include <csignal>

#include "DaemonServer.h"
#include "LarkmoorBase/RawText.h"

namespace larkmoor::understudy {

namespace {

using Error = std::optional<std::string>;

/// A command that sets one field of a scenario.
template <class T>
auto field(std::optional<T> Scenario::* member, T (*read)(BusReader&)) {
    return [member, read](DaemonServer& server, BusReader& reader, BusWriter&) -> Error {
        Scenario scenario;
        scenario.*member = read(reader);
        server.model().apply(scenario);
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

Error setFront(DaemonServer& server, BusReader& reader, bool isPushed) {
    const std::string word = text(reader);
    const auto front = fromRawText<FrontRecording>(word);
    if (!front) return "\"" + word + "\" is no front state";
    if (isPushed) {
        server.pushFront(*front);
    } else {
        server.model().front = *front;
    }
    return std::nullopt;
}

Error apply(DaemonServer& server, BusReader& reader, BusWriter&) {
    const auto scenario = readScenario(asBytes(reader.text()));
    if (!scenario) return scenario.error();
    server.model().apply(*scenario);
    return std::nullopt;
}

Error tellLog(DaemonServer& server, BusReader&, BusWriter& writer) {
    writer.array("s", [&] {
        for (const std::string& line : server.log()) writer.text(line);
    });
    return std::nullopt;
}

}  // namespace

std::span<const Command> allCommands() {
    static const std::array commands{
        Command{"Apply", "s", "", "a scenario's document, as in a file", apply},
        Command{"SetHealth", "s", "", "the answer to health, whatever is paused; \"\" ends that",
                field(&Scenario::health, text)},
        Command{"SetFrontState", "s", "", "the answer to frontState",
                [](DaemonServer& server, BusReader& reader, BusWriter&) { return setFront(server, reader, false); }},
        Command{"PushFrontState", "s", "", "the same, and tells every subscriber",
                [](DaemonServer& server, BusReader& reader, BusWriter&) { return setFront(server, reader, true); }},
        Command{"PushEvent", "ay", "", "pushes these bytes as an event, whatever they are",
                [](DaemonServer& server, BusReader& reader, BusWriter&) -> Error {
                    server.push(reader.bytes());
                    return std::nullopt;
                }},
        Command{"SetGrants", "a{ss}", "", "the answer to grants: kind to state", field(&Scenario::grants, texts)},
        Command{"SetHello", "b", "", "whether there is a hello card", field(&Scenario::hello, truth)},
        Command{"SetBuild", "s", "", "the answer to daemonBuild", field(&Scenario::build, text)},
        Command{"SetMeetingLive", "b", "", "the answer to meetingLive", field(&Scenario::meetingLive, truth)},
        Command{"SetWire", "x", "", "the contract's number in replies; -1 leaves it out",
                field(&Scenario::wire, number)},
        Command{"SetServed", "x", "", "served_ms in replies; -1 leaves it out",
                field(&Scenario::servedMilliseconds, number)},
        Command{"SetDelay", "x", "", "milliseconds before each reply", field(&Scenario::delayMilliseconds, number)},
        Command{"SetReply", "ay", "", "the payload of every reply, whatever it is; none ends that",
                field(&Scenario::reply, bytes)},
        Command{"SetStoreKey", "ay", "", "the key that storeKeyForMigration hands out; none is a profile without",
                field(&Scenario::storeKey, bytes)},
        Command{"Refuse", "b", "", "requests get AccessDenied", field(&Scenario::refuse, truth)},
        Command{"Silent", "b", "", "requests are taken and never answered", field(&Scenario::silent, truth)},
        Command{"SilentTo", "s", "", "the same for requests of that name, such as meetingLive; \"\" ends that",
                field(&Scenario::silentTo, text)},
        Command{"Crash", "", "", "ends the process by signal 9",
                [](DaemonServer&, BusReader&, BusWriter&) -> Error {
                    ::kill(::getpid(), SIGKILL);
                    return std::nullopt;
                }},
        Command{"Log", "", "as", "the requests so far, as their JSON documents", tellLog},
        Command{"Subscribers", "", "u", "how many get events",
                [](DaemonServer& server, BusReader&, BusWriter& writer) -> Error {
                    writer.uint32(server.subscribers());
                    return std::nullopt;
                }},
    };
    return commands;
}

}  // namespace larkmoor::understudy
