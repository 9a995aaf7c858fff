#include "LarkmoorPlatform/Linux/Services/UserManager.h"

#include <fmt/format.h>

#include <boost/asio/redirect_error.hpp>

#include <map>
#include <memory>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"

namespace larkmoor {

namespace {

constexpr const char* service = "org.freedesktop.systemd1";
constexpr const char* objectPath = "/org/freedesktop/systemd1";
constexpr const char* interface = "org.freedesktop.systemd1.Manager";

UserManager::Answer unreadable(const char* what) {
    return std::unexpected(BusError{std::string{BusErrorName::failed}, fmt::format("{} cannot be read", what)});
}

}  // namespace

/// The results of jobs that finished since we subscribed. A result may arrive before the reply that names its job.
struct UserManager::Jobs {
    std::map<std::string, std::string> results;
    MainTimer timer;

    Jobs(MainLoop& loop, std::chrono::seconds timeout) : timer(loop.get_executor(), timeout) {}

    void onJobRemoved(const BusMessage& removed) {
        BusReader reader{removed};
        reader.uint32();
        const std::string job{reader.path()};
        reader.text();
        const std::string result{reader.text()};
        if (!reader.fits()) return;
        results.insert_or_assign(job, result);
        timer.cancel();
    }
};

BusMessage UserManager::managerCall(const char* member) {
    BusMessage call = bus_.methodCall(service, objectPath, interface, member);
    // Must not start a service manager by D-Bus activation.
    if (call) sd_bus_message_set_auto_start(call.get(), 0);
    return call;
}

Task<BusResult> UserManager::send(BusMessage call) { return bus_.call(std::move(call)); }

Task<UserManager::Result> UserManager::sendForResult(BusMessage call) {
    const BusResult reply = co_await send(std::move(call));
    if (!reply) co_return std::unexpected(reply.error());
    co_return Result{};
}

BusMessage UserManager::propertyCall(const std::string& path, const char* kind, const char* name) {
    BusMessage get = bus_.methodCall(service, path, "org.freedesktop.DBus.Properties", "Get");
    if (get) sd_bus_message_set_auto_start(get.get(), 0);
    BusWriter{get}.text(kind).text(name);
    return get;
}

/// A property of the unit, which is loaded if necessary.
Task<BusResult> UserManager::property(std::string unit, const char* kind, const char* name) {
    const BusMessage load = managerCall("LoadUnit");
    BusWriter{load}.text(unit);
    BusResult loaded = co_await send(load);
    if (!loaded) co_return loaded;
    BusReader reader{*loaded};
    const std::string path{reader.path()};
    if (!reader.fits()) co_return std::unexpected(unreadable("a unit's path").error());
    co_return co_await send(propertyCall(path, kind, name));
}

Task<UserManager::Answer> UserManager::loadState(std::string unit) {
    const BusResult got = co_await property(std::move(unit), "org.freedesktop.systemd1.Unit", "LoadState");
    if (!got) co_return std::unexpected(got.error());
    std::string state;
    BusReader reader{*got};
    reader.variant([&](std::string_view) { state = reader.text(); });
    if (!reader.fits()) co_return unreadable("a unit's load state");
    co_return state;
}

Task<std::optional<std::int32_t>> UserManager::mainProcess(std::string unit) {
    const BusResult got = co_await property(std::move(unit), "org.freedesktop.systemd1.Service", "MainPID");
    if (!got) co_return std::nullopt;
    std::uint32_t process = 0;
    BusReader reader{*got};
    reader.variant([&](std::string_view) { process = reader.uint32(); });
    if (!reader.fits() || process == 0) co_return std::nullopt;
    co_return static_cast<std::int32_t>(process);
}

Task<UserManager::Answer> UserManager::fileState(std::string unit) {
    const BusMessage call = managerCall("GetUnitFileState");
    BusWriter{call}.text(unit);
    const BusResult reply = co_await send(call);
    if (!reply) co_return std::unexpected(reply.error());
    BusReader reader{*reply};
    const std::string state{reader.text()};
    if (!reader.fits()) co_return unreadable("a unit file's state");
    co_return state;
}

Task<UserManager::Result> UserManager::resetFailed(const std::string& unit) {
    const BusMessage call = managerCall("ResetFailedUnit");
    BusWriter{call}.text(unit);
    return sendForResult(call);
}

Task<UserManager::Result> UserManager::maskRuntime(const std::string& unit) {
    const BusMessage call = managerCall("MaskUnitFiles");
    BusWriter{call}.array("s", [&] { BusWriter{call}.text(unit); }).boolean(true).boolean(true);
    return sendForResult(call);
}

Task<UserManager::Result> UserManager::unmaskRuntime(const std::string& unit) {
    const BusMessage call = managerCall("UnmaskUnitFiles");
    BusWriter{call}.array("s", [&] { BusWriter{call}.text(unit); }).boolean(true);
    return sendForResult(call);
}

Task<std::vector<std::string>> UserManager::environment() {
    std::vector<std::string> variables;
    const BusResult got = co_await send(propertyCall(objectPath, interface, "Environment"));
    if (!got) co_return variables;
    BusReader reader{*got};
    reader.variant([&](std::string_view) { reader.array("s", [&] { variables.emplace_back(reader.text()); }); });
    co_return variables;
}

Task<UserManager::Result> UserManager::reload() { return sendForResult(managerCall("Reload")); }

Task<UserManager::Result> UserManager::runJob(const char* member, std::string unit) {
    const auto jobs = std::make_shared<Jobs>(loop_, jobTimeout_);
    const BusSlot subscription =
        bus_.match(BusMatch{}.path(objectPath).interface(interface).member("JobRemoved").rule(),
                   [jobs](const BusMessage& removed) { jobs->onJobRemoved(removed); });
    // Fails harmlessly if this connection has subscribed already.
    static_cast<void>(co_await send(managerCall("Subscribe")));
    const BusMessage call = managerCall(member);
    BusWriter{call}.text(unit).text("replace");
    const BusResult started = co_await send(call);
    if (!started) co_return std::unexpected(started.error());
    BusReader reader{*started};
    const std::string job{reader.path()};
    while (!jobs->results.contains(job)) {
        boost::system::error_code cancelled;
        co_await jobs->timer.async_wait(boost::asio::redirect_error(awaiting, cancelled));
        if (!cancelled && !jobs->results.contains(job))
            co_return std::unexpected(
                BusError{std::string{jobPending},
                         fmt::format("{} of {} is not done after {} s", member, unit, jobTimeout_.count())});
    }
    const std::string& result = jobs->results[job];
    if (result == "done") co_return Result{};
    co_return std::unexpected(
        BusError{std::string{BusErrorName::failed}, fmt::format("{} of {} ended as {}", member, unit, result)});
}

}  // namespace larkmoor
