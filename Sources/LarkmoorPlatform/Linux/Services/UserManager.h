// This user's service manager, over its bus interface (org.freedesktop.systemd1(5)).
#pragma once

#include <chrono>
#include <expected>
#include <string>

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"

namespace larkmoor {

/// Main thread; outlives its tasks. A session without a manager answers each question with an error.
class UserManager {
  public:
    using Done = std::expected<void, BusError>;
    using Answer = std::expected<std::string, BusError>;

    static constexpr std::string_view noSuchUnit = "org.freedesktop.systemd1.NoSuchUnit";
    static constexpr std::string_view unitMasked = "org.freedesktop.systemd1.UnitMasked";
    static constexpr std::string_view noSuchFile = "org.freedesktop.DBus.Error.FileNotFound";
    /// A job that was begun and is not done in time.
    static constexpr std::string_view jobPending = "tools.fenwright.larkmoor.JobPending";

    /// `patience` is what a job may take: by itself more than the 90 s after which the manager ends what does not stop.
    UserManager(MainLoop& loop, SessionBus& bus, std::chrono::seconds patience = std::chrono::seconds{100})
        : loop_(loop), bus_(bus), patience_(patience) {}

    /// "loaded", "not-found", "masked", ...; a unit that was never asked for is loaded for the question.
    Task<Answer> loadState(std::string unit);
    /// "enabled", "disabled", "masked", "masked-runtime", "static", ...; `noSuchFile` for a unit without a file.
    Task<Answer> fileState(std::string unit);

    // Each waits until its job is done. A job that fails is an error.

    Task<Done> start(std::string unit) { return perform("StartUnit", std::move(unit)); }
    Task<Done> stop(std::string unit) { return perform("StopUnit", std::move(unit)); }
    Task<Done> restart(std::string unit) { return perform("RestartUnit", std::move(unit)); }

    /// Forgets that the unit failed.
    Task<Done> resetFailed(const std::string& unit);
    /// Masks the unit until the next login, and lifts that mask.
    Task<Done> maskForNow(const std::string& unit);
    Task<Done> unmaskForNow(const std::string& unit);
    /// Reads the unit files anew.
    Task<Done> reload();

  private:
    struct Jobs;

    BusMessage manager(const char* member);
    Task<BusResult> ask(BusMessage call);
    Task<Done> done(BusMessage call);
    Task<Done> perform(const char* member, std::string unit);

    MainLoop& loop_;
    SessionBus& bus_;
    std::chrono::seconds patience_;
};

}  // namespace larkmoor
