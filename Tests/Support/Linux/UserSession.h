// A login session in a home of a test's own: a `systemd --user` with the bus that it starts.
#pragma once

#include <sys/stat.h>

#include <csignal>
#include <sstream>
#include <thread>

#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor::testing {

class UserSession {
  public:
    /// Control groups of the tester's own, which Scripts/lib/as-tester makes; without them there is no session.
    static bool isPossible() {
        const char* prepared = std::getenv("LARKMOOR_CGROUPS");
        return prepared != nullptr && *prepared != '\0';
    }

    /// The home outlives it, and its folder "run" is made. Throws if the manager does not come up.
    explicit UserSession(const TemporaryFolder& home) : home_(home) {
        std::filesystem::create_directories(home_ / "data/systemd/user");
        std::filesystem::create_directory(home_ / "run");
        std::filesystem::permissions(home_ / "run", std::filesystem::perms::owner_all);
        std::vector<std::string> command{
            "/bin/sh", "-c",
            "for group in \"$@\"; do echo $$ >\"$group/cgroup.procs\"; done; exec /lib/systemd/systemd --user", "sh"};
        std::istringstream parents{std::getenv("LARKMOOR_CGROUPS")};
        for (std::string parent; parents >> parent;) {
            command.push_back(parent + "/" + home_.path().filename().string());
            ::mkdir(command.back().c_str(), 0755);
        }
        manager_.emplace(command, environment());
        for (int tries = 0; !shell("systemctl --user --quiet is-active default.target"); ++tries) {
            if (tries == 600) throw std::runtime_error("no user manager");
            std::this_thread::sleep_for(std::chrono::milliseconds{50});
        }
    }
    /// The manager ends its services before itself.
    ~UserSession() {
        ::kill(manager_->pid(), SIGTERM);
        manager_->wait();
    }

    std::string address() const { return "unix:path=" + (home_ / "run/bus"); }
    /// Where a unit file lies.
    std::string unitFile(std::string_view unit) const { return home_ / ("data/systemd/user/" + std::string{unit}); }
    std::map<std::string, std::string> environment() const {
        return {{"HOME", home_.path().string()},   {"XDG_RUNTIME_DIR", home_ / "run"},
                {"XDG_DATA_HOME", home_ / "data"}, {"XDG_CONFIG_HOME", home_ / "config"},
                {"SYSTEMD_LOG_LEVEL", "err"},      {"DBUS_SESSION_BUS_ADDRESS", address()}};
    }
    /// Whether the script succeeds.
    bool shell(std::string script) const {
        return ChildProcess{{"/bin/sh", "-c", std::move(script)}, environment()}.wait() == 0;
    }

  private:
    const TemporaryFolder& home_;
    std::optional<ChildProcess> manager_;
};

}  // namespace larkmoor::testing
