#include "LarkmoorMenuApp/Update/UpdateLogRelay.h"

#include "LarkmoorBase/Text.h"

namespace larkmoor {

namespace {

/// A run of line feeds becomes one blank. Some words are of a feed's making, which nobody has signed, or of a
/// program's, and may be no text at all, which could not be sent.
std::string oneLine(std::string_view text) {
    constexpr std::string_view feeds = "\r\n";
    std::string line;
    while (!text.empty()) {
        const auto end = std::min(text.find_first_of(feeds), text.size());
        if (!line.empty() && end != 0) line += ' ';
        line += text.substr(0, end);
        text.remove_prefix(std::min(text.find_first_not_of(feeds, end), text.size()));
    }
    return printable(line);
}

}  // namespace

UpdateLogRelay::UpdateLogRelay(MainLoop& loop, std::shared_ptr<LarkmoorClient> client, System system)
    : UpdateLogRelay(loop, RequestRelay<ControlRequest>::through<GatewayRequest::Control>(std::move(client)),
                     std::move(system)) {}

UpdateLogRelay::UpdateLogRelay(MainLoop& loop, Ask ask, System system)
    : relay_(loop, std::move(ask)), system_(std::move(system)) {}

void UpdateLogRelay::say(std::string_view line) const {
    sayHere(line);
    note(line);
}

void UpdateLogRelay::note(std::string_view line) const { relay_.send(ControlRequest::LogUpdate{oneLine(line)}); }

void UpdateLogRelay::sayHere(std::string_view line) const { system_("[larkmoor-menu] " + oneLine(line)); }

}  // namespace larkmoor
