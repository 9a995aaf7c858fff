#include "LarkmoorMenuApp/Main/Registrations.h"

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <boost/asio/co_spawn.hpp>

#include <csignal>
#include <exception>
#include <filesystem>

#include "LarkmoorKit/Supervision/LoginItems.h"
#include "LarkmoorPlatform/Linux/Applications/ProcessScan.h"
#include "LarkmoorPlatform/Linux/Processes/SystemProcess.h"
#include "LarkmoorPlatform/Linux/Services/AutostartItem.h"

namespace larkmoor {

namespace {

std::string unitOf(std::string_view label) { return fmt::format("{}.service", label); }

/// Whether something is there, even a link that leads nowhere.
bool isThere(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::symlink_status(path, ignored).type() != std::filesystem::file_type::not_found;
}

Task<void> discard(AgentUnits& units, std::vector<std::string> names) {
    // A failure shows in what is left.
    for (const std::string& name : names) static_cast<void>(co_await units.discard(name));
}

}  // namespace

std::string Registrations::loginItem() const {
    return fmt::format("{}/autostart/{}.desktop", files_.folders.config, ClientInstance::menubarID);
}

/// Even one that the user has changed.
bool Registrations::isLoginItemOurs() const {
    const auto entry = Files::read(loginItem());
    return entry &&
           (AutostartEntry::starts(asText(*entry), bundle_.executable) || asText(*entry).contains(bundle_.executable));
}

bool Registrations::isAgentOurs() const {
    const auto text = Files::read(files_.unit(unitOf(LoginItems::daemonAgentLabel)));
    return text && AgentUnit::source(asText(*text)) == LoginItems::inBundlePlistPath(bundle_.folder);
}

bool Registrations::isOthers() const {
    return (isThere(loginItem()) && !isLoginItemOurs()) ||
           (isThere(files_.unit(unitOf(LoginItems::daemonAgentLabel))) && !isAgentOurs());
}

std::vector<std::string> Registrations::units() const {
    std::vector<std::string> units;
    if (isAgentOurs()) units.push_back(unitOf(LoginItems::daemonAgentLabel));
    if (!isOthers()) units.push_back(unitOf(ClientInstance::ollamaAgentLabel));
    return units;
}

std::vector<std::string> Registrations::files() const {
    std::vector<std::string> files;
    if (isLoginItemOurs()) files.push_back(loginItem());
    for (const std::string& unit : units()) {
        for (std::string& path : std::vector{files_.unit(unit), files_.link(unit)}) {
            if (isThere(path)) files.push_back(std::move(path));
        }
    }
    return files;
}

std::vector<std::string> Registrations::endApplications() const {
    constexpr int patience = 60'000;  // milliseconds: a migration of the store comes to its end
    std::vector<std::string> lines;
    for (const RunningApplication& running : ProcessScan{}.scan()) {
        if (running.executable != bundle_.executable || running.process == ::getpid()) continue;
        const FileDescriptor process = processDescriptor(running.process);
        // Its number may be another's by now.
        if (processExecutable(std::to_string(running.process)) != bundle_.executable) continue;
        pollfd end{.fd = process.get(), .events = POLLIN, .revents = 0};
        if (::pidfd_send_signal(process.get(), SIGTERM, nullptr, 0) == 0 && ::poll(&end, 1, patience) == 0)
            lines.push_back(fmt::format("Larkmoor is still running, as process {}", running.process));
    }
    return lines;
}

std::vector<std::string> Registrations::remove() const {
    std::vector<std::string> left = endApplications();
    if (isLoginItemOurs()) ::unlink(loginItem().c_str());
    MainLoop loop{1};
    SessionBus bus{loop};
    UserManager manager{loop, bus};
    AgentUnits agents{manager, files_.folders};
    boost::asio::co_spawn(loop, discard(agents, units()), [&loop](const std::exception_ptr&) { loop.stop(); });
    loop.run();
    for (const std::string& file : files()) left.push_back(file + " is still there");
    return left;
}

}  // namespace larkmoor
