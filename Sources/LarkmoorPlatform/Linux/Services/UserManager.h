// This user's service manager (systemd --user), over its D-Bus interface, org.freedesktop.systemd1(5).
#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"

namespace larkmoor {

/// Main thread; must outlive its tasks. Without a running service manager every call is an error.
class UserManager {
  public:
    using Result = std::expected<void, BusError>;
    using Answer = std::expected<std::string, BusError>;

    static constexpr std::string_view noSuchUnit = "org.freedesktop.systemd1.NoSuchUnit";
    static constexpr std::string_view unitMasked = "org.freedesktop.systemd1.UnitMasked";
    static constexpr std::string_view noSuchFile = "org.freedesktop.DBus.Error.FileNotFound";
    /// A job was started but has not finished in time.
    static constexpr std::string_view jobPending = "tools.fenwright.larkmoor.JobPending";

    /// `jobTimeout` is longer than the 90 s after which the service manager kills a unit that does not stop.
    UserManager(MainLoop& loop, SessionBus& bus, std::chrono::seconds jobTimeout = std::chrono::seconds{100})
        : loop_(loop), bus_(bus), jobTimeout_(jobTimeout) {}

    /// LoadState: "loaded", "not-found", "masked", ... Loads the unit if necessary.
    Task<Answer> loadState(std::string unit);
    /// The process that the unit runs now; nullopt if it runs none.
    Task<std::optional<std::int32_t>> mainProcess(std::string unit);
    /// UnitFileState: "enabled", "disabled", "masked", "masked-runtime", "static", ...; `noSuchFile` without a file.
    Task<Answer> fileState(std::string unit);

    // Each waits for its job to finish. A failed job is an error.

    Task<Result> start(std::string unit) { return runJob("StartUnit", std::move(unit)); }
    Task<Result> stop(std::string unit) { return runJob("StopUnit", std::move(unit)); }
    Task<Result> restart(std::string unit) { return runJob("RestartUnit", std::move(unit)); }

    /// Clears the unit's failed state.
    Task<Result> resetFailed(const std::string& unit);
    /// Masks the unit until the next login, and undoes that.
    Task<Result> maskRuntime(const std::string& unit);
    Task<Result> unmaskRuntime(const std::string& unit);
    /// The variables that it gives its services, and finds their units by: "NAME=value".
    Task<std::vector<std::string>> environment();
    /// Reloads all unit files.
    Task<Result> reload();

  private:
    struct Jobs;

    BusMessage managerCall(const char* member);
    BusMessage propertyCall(const std::string& path, const char* kind, const char* name);
    Task<BusResult> property(std::string unit, const char* kind, const char* name);
    Task<BusResult> send(BusMessage call);
    Task<Result> sendForResult(BusMessage call);
    Task<Result> runJob(const char* member, std::string unit);

    MainLoop& loop_;
    SessionBus& bus_;
    std::chrono::seconds jobTimeout_;
};

}  // namespace larkmoor
