#include "LarkmoorMenuApp/Main/Registrations.h"

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <boost/asio/co_spawn.hpp>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>

#include "LarkmoorKit/Supervision/LoginItems.h"
#include "LarkmoorPlatform/Linux/Applications/ProcessScan.h"
#include "LarkmoorPlatform/Linux/Processes/SystemProcess.h"
#include "LarkmoorPlatform/Linux/Services/AutostartItem.h"

namespace larkmoor {

namespace {

std::string loginItem(const AgentUnitFiles& place) {
    return AutostartEntry::path(place.folders, ClientInstance::menubarID);
}

/// Whether something is there, even a link that leads nowhere.
bool isThere(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::symlink_status(path, ignored).type() != std::filesystem::file_type::not_found;
}

template <class T>
void addNew(std::vector<T>& all, T one) {
    if (std::ranges::find(all, one) == all.end()) all.push_back(std::move(one));
}

/// The variables with which a process was started.
std::vector<std::string> environmentOf(pid_t process) {
    std::vector<std::string> variables;
    const auto bytes = Files::read(fmt::format("/proc/{}/environ", process));
    std::string_view text = bytes ? asText(*bytes) : std::string_view{};
    while (!text.empty()) {
        variables.emplace_back(text.substr(0, text.find('\0')));
        text.remove_prefix(std::min(text.size(), variables.back().size() + 1));
    }
    return variables;
}

/// A process that the unit runs.
std::optional<pid_t> processOf(const std::string& unit) {
    for (const RunningApplication& running : ProcessScan{}.scan()) {
        const auto groups = Files::read(fmt::format("/proc/{}/cgroup", running.process));
        if (groups && asText(*groups).contains("/" + unit)) return running.process;
    }
    return std::nullopt;
}

/// The person's service manager, by its own socket, which is there without a session bus too.
class OwnManager {
  public:
    UserManager& manager() { return manager_; }

    /// Once. A task that takes longer does not come to its end.
    void run(Task<void> task, std::chrono::seconds limit) {
        boost::asio::co_spawn(loop_, std::move(task), [this](const std::exception_ptr&) { loop_.stop(); });
        loop_.run_for(limit);
    }

  private:
    static std::unique_ptr<SessionBus> connect(MainLoop& loop) {
        const char* runtime = std::getenv("XDG_RUNTIME_DIR");
        const std::string socket = fmt::format("{}/systemd/private", runtime == nullptr ? "" : runtime);
        if (!isThere(socket)) return std::make_unique<SessionBus>(loop);
        return std::make_unique<SessionBus>(loop, SessionBus::Peer{socket});
    }

    MainLoop loop_{1};
    const std::unique_ptr<SessionBus> bus_ = connect(loop_);
    UserManager manager_{loop_, *bus_};
};

Task<void> ask(UserManager& manager, std::vector<std::string>& environment) {
    environment = co_await manager.environment();
}

using Units = std::vector<std::pair<UserFolders, std::string>>;
using Errors = std::map<std::string, std::string>;

/// What is left of their files shows by itself.
Task<void> discard(UserManager& manager, Units units, Errors& errors) {
    for (const auto& [folders, unit] : units) {
        AgentUnits agents{manager, folders};
        const auto done = co_await agents.discard(unit);
        if (done) {
            errors.erase(unit);
        } else {
            errors[unit] = done.error().description();
        }
    }
}

}  // namespace

Registrations::Registrations(RunningBundle bundle) : bundle_(std::move(bundle)) {
    std::vector<UserFolders> folders{UserFolders::current()};
    for (const RunningApplication& running : applications()) {
        addNew(folders, UserFolders::of(environmentOf(running.process)));
    }
    constexpr std::chrono::seconds patience{5};
    std::vector<std::string> environment;
    OwnManager own;
    own.run(ask(own.manager(), environment), patience);
    if (!environment.empty()) addNew(folders, UserFolders::of(environment));
    for (UserFolders& each : folders) places_.push_back({std::move(each)});
}

/// Even one that the user has changed.
bool Registrations::isLoginItemOurs(const Place& place) const {
    const auto entry = Files::read(loginItem(place));
    return entry &&
           (AutostartEntry::starts(asText(*entry), bundle_.executable) || asText(*entry).contains(bundle_.executable));
}

bool Registrations::isAgentOurs(const Place& place) const {
    const auto text = Files::read(place.unit(AgentUnit::nameOf(LoginItems::daemonAgentLabel)));
    return text && AgentUnit::source(asText(*text)) == LoginItems::inBundlePlistPath(bundle_.folder);
}

bool Registrations::isOthers(const Place& place) const {
    return (isThere(loginItem(place)) && !isLoginItemOurs(place)) ||
           (isThere(place.unit(AgentUnit::nameOf(LoginItems::daemonAgentLabel))) && !isAgentOurs(place));
}

std::vector<std::string> Registrations::units(const Place& place) const {
    std::vector<std::string> units;
    if (isAgentOurs(place)) units.push_back(AgentUnit::nameOf(LoginItems::daemonAgentLabel));
    const std::string host = AgentUnit::nameOf(ClientInstance::ollamaAgentLabel);
    const auto others = [this](const Place& each) { return isOthers(each); };
    if ((isThere(place.unit(host)) || isThere(place.link(host))) && std::ranges::none_of(places_, others))
        units.push_back(host);
    return units;
}

std::vector<std::string> Registrations::files() const {
    std::vector<std::string> files;
    for (const Place& place : places_) {
        if (isLoginItemOurs(place)) addNew(files, loginItem(place));
        for (const std::string& unit : units(place)) {
            if (isThere(place.unit(unit))) addNew(files, place.unit(unit));
            if (isThere(place.link(unit)) && !place.isUsers(unit)) addNew(files, place.link(unit));
        }
    }
    return files;
}

std::vector<RunningApplication> Registrations::applications() const {
    std::vector<RunningApplication> running = ProcessScan{}.scan();
    std::erase_if(running, [this](const RunningApplication& each) {
        return each.executable != bundle_.executable || each.process == ::getpid();
    });
    return running;
}

std::vector<std::string> Registrations::endApplications() const {
    using std::chrono::steady_clock;
    constexpr std::chrono::seconds patience{60};  // a migration of the store comes to its end
    std::vector<std::pair<pid_t, FileDescriptor>> told;
    for (const RunningApplication& running : applications()) {
        FileDescriptor process = processDescriptor(running.process);
        // Its number may be another's by now.
        if (processExecutable(std::to_string(running.process)) != bundle_.executable) continue;
        if (::pidfd_send_signal(process.get(), SIGTERM, nullptr, 0) == 0)
            told.emplace_back(running.process, std::move(process));
    }
    std::vector<std::string> lines;
    const auto end = steady_clock::now() + patience;
    for (const auto& [number, process] : told) {
        pollfd ended{.fd = process.get(), .events = POLLIN, .revents = 0};
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now()).count();
        if (::poll(&ended, 1, static_cast<int>(std::max<std::int64_t>(left, 0))) == 0)
            lines.push_back(fmt::format("Larkmoor is still running, as process {}", number));
    }
    return lines;
}

std::vector<std::string> Registrations::discardUnits() const {
    Units all;
    for (const Place& place : places_) {
        for (std::string& unit : units(place)) all.emplace_back(place.folders, std::move(unit));
    }
    Errors errors;
    for (const auto& [folders, unit] : all) errors[unit] = "the service manager does not answer";
    {
        // Time for both to end, and less than whoever removes the package waits.
        constexpr std::chrono::seconds patience{45};
        OwnManager own;
        own.run(discard(own.manager(), all, errors), patience);
    }
    for (const auto& [folders, unit] : all) static_cast<void>(Place{folders}.remove(unit));
    std::vector<std::string> lines;
    for (const auto& [unit, error] : errors) {
        // Without a process there was nothing to stop.
        if (const auto process = processOf(unit))
            lines.push_back(fmt::format("{} could not be stopped, and runs as process {}: {}", unit, *process, error));
    }
    return lines;
}

std::vector<std::string> Registrations::remove() const {
    std::vector<std::string> left = endApplications();
    for (const Place& place : places_) {
        if (isLoginItemOurs(place)) ::unlink(loginItem(place).c_str());
    }
    for (std::string& line : discardUnits()) left.push_back(std::move(line));
    for (const std::string& file : files()) left.push_back(file + " is still there");
    return left;
}

}  // namespace larkmoor
