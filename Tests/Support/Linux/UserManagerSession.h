// A login session of a test's own: a home, a `systemd --user` and the bus that it starts.
#pragma once

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

#include "LarkmoorPlatform/FileDescriptor.h"
#include "LarkmoorPlatform/Linux/Services/UserFolders.h"
#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor::testing {

class UserManagerSession {
  public:
    /// Whether this process may start one: Scripts/lib/as-tester prepares what it needs.
    static bool canStart() {
        const char* groups = std::getenv("LARKMOOR_CGROUPS");
        return groups != nullptr && *groups != '\0';
    }

    UserManagerSession() { begin(); }
    UserManagerSession(const UserManagerSession&) = delete;
    UserManagerSession& operator=(const UserManagerSession&) = delete;
    ~UserManagerSession() { end(); }

    /// Ends the manager, which ends its services before itself.
    void end() {
        if (!manager_) return;
        ::kill(manager_->pid(), SIGTERM);
        manager_->wait();
        manager_.reset();
    }
    /// A login: a manager that knows nothing but what lies in the home.
    void begin() {
        // The system takes away what lay there at the last logout, which its owner has not the right to.
        if (std::filesystem::exists(home_ / "run"))
            std::filesystem::rename(home_ / "run", (home_ / "run.") + std::to_string(++logouts_));
        std::filesystem::create_directories(home_ / "run");
        std::filesystem::permissions(home_ / "run", std::filesystem::perms::owner_all);
        std::vector<std::string> command{"/bin/sh", "-c",
                                         "for group in \"$@\"; do echo $$ >\"$group/cgroup.procs\"; done; "
                                         "exec /lib/systemd/systemd --user",
                                         "sh"};
        std::istringstream parents{std::getenv("LARKMOOR_CGROUPS")};
        for (std::string parent; parents >> parent;) {
            command.push_back(parent + "/" + home_.path().filename().string());
            ::mkdir(command.back().c_str(), 0755);
        }
        auto environment = this->environment();
        environment["SYSTEMD_LOG_LEVEL"] = "err";
        manager_.emplace(command, environment);
        for (int tries = 0; tries < 600 && !busTakesConnections(); ++tries)
            std::this_thread::sleep_for(std::chrono::milliseconds{50});
    }

    std::string address() const { return "unix:path=" + (home_ / "run/bus"); }
    std::string operator/(std::string_view name) const { return home_ / name; }
    UserFolders folders() const { return {.config = home_ / "config", .data = home_ / "data"}; }

    /// A command of the person's, such as {"systemctl", "--user", "mask", "x.service"}; true if it succeeds.
    bool run(std::vector<std::string> command) const {
        return ChildProcess{std::move(command), environment()}.wait() == 0;
    }

  private:
    /// The socket is there a moment before anybody listens to it, and a connection made too early is lost for good.
    bool busTakesConnections() const {
        const FileDescriptor asking{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
        sockaddr_un where{.sun_family = AF_UNIX, .sun_path = {}};
        (home_ / "run/bus").copy(where.sun_path, sizeof where.sun_path - 1);
        return ::connect(asking.get(), reinterpret_cast<const sockaddr*>(&where), sizeof where) == 0;
    }
    std::map<std::string, std::string> environment() const {
        return {{"HOME", home_.path().string()},
                {"XDG_RUNTIME_DIR", home_ / "run"},
                {"XDG_CONFIG_HOME", folders().config},
                {"XDG_DATA_HOME", folders().data},
                {"DBUS_SESSION_BUS_ADDRESS", address()}};
    }

    TemporaryFolder home_;
    std::optional<ChildProcess> manager_;
    int logouts_ = 0;
};

}  // namespace larkmoor::testing
