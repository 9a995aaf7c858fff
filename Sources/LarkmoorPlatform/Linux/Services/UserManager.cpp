#include "LarkmoorPlatform/Linux/Services/UserManager.h"

#include <fmt/format.h>

#include <boost/asio/redirect_error.hpp>

#include <map>
#include <memory>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorPlatform/Linux/Bus/BusMatch.h"

namespace larkmoor {

namespace {

constexpr const char* service = "org.freedesktop.systemd1";
constexpr const char* objectPath = "/org/freedesktop/systemd1";
constexpr const char* interface = "org.freedesktop.systemd1.Manager";

UserManager::Answer unreadable(const char* what) {
    return std::unexpected(BusError{std::string{BusErrorName::failed}, fmt::format("{} cannot be read", what)});
}

}  // namespace

/// What the manager said of jobs that ended while we listen. The word may come before the job's own name does.
struct UserManager::Jobs {
    std::map<std::string, std::string> results;
    MainTimer gate;

    Jobs(MainLoop& loop, std::chrono::seconds patience) : gate(loop.get_executor(), patience) {}

    void hear(const BusMessage& removed) {
        BusReader reader{removed};
        reader.uint32();
        const std::string job{reader.path()};
        reader.text();
        const std::string result{reader.text()};
        if (!reader.fits()) return;
        results.insert_or_assign(job, result);
        gate.cancel();
    }
};

BusMessage UserManager::manager(const char* member) {
    BusMessage call = bus_.methodCall(service, objectPath, interface, member);
    // Where no manager runs none is to be started.
    if (call) sd_bus_message_set_auto_start(call.get(), 0);
    return call;
}

Task<BusResult> UserManager::ask(BusMessage call) { return bus_.call(std::move(call)); }

Task<UserManager::Done> UserManager::done(BusMessage call) {
    const BusResult reply = co_await ask(std::move(call));
    if (!reply) co_return std::unexpected(reply.error());
    co_return Done{};
}

Task<UserManager::Answer> UserManager::loadState(std::string unit) {
    const BusMessage load = manager("LoadUnit");
    BusWriter{load}.text(unit);
    const BusResult loaded = co_await ask(load);
    if (!loaded) co_return std::unexpected(loaded.error());
    BusReader reader{*loaded};
    const std::string path{reader.path()};
    if (!reader.fits()) co_return unreadable("a unit's path");
    const BusMessage get = bus_.methodCall(service, path, "org.freedesktop.DBus.Properties", "Get");
    BusWriter{get}.text("org.freedesktop.systemd1.Unit").text("LoadState");
    const BusResult got = co_await ask(get);
    if (!got) co_return std::unexpected(got.error());
    std::string state;
    BusReader property{*got};
    property.variant([&](std::string_view) { state = property.text(); });
    if (!property.fits()) co_return unreadable("a unit's load state");
    co_return state;
}

Task<UserManager::Answer> UserManager::fileState(std::string unit) {
    const BusMessage call = manager("GetUnitFileState");
    BusWriter{call}.text(unit);
    const BusResult reply = co_await ask(call);
    if (!reply) co_return std::unexpected(reply.error());
    BusReader reader{*reply};
    const std::string state{reader.text()};
    if (!reader.fits()) co_return unreadable("a unit file's state");
    co_return state;
}

Task<UserManager::Done> UserManager::resetFailed(const std::string& unit) {
    const BusMessage call = manager("ResetFailedUnit");
    BusWriter{call}.text(unit);
    return done(call);
}

Task<UserManager::Done> UserManager::maskForNow(const std::string& unit) {
    const BusMessage call = manager("MaskUnitFiles");
    BusWriter{call}.array("s", [&] { BusWriter{call}.text(unit); }).boolean(true).boolean(true);
    return done(call);
}

Task<UserManager::Done> UserManager::unmaskForNow(const std::string& unit) {
    const BusMessage call = manager("UnmaskUnitFiles");
    BusWriter{call}.array("s", [&] { BusWriter{call}.text(unit); }).boolean(true);
    return done(call);
}

Task<UserManager::Done> UserManager::reload() { return done(manager("Reload")); }

Task<UserManager::Done> UserManager::perform(const char* member, std::string unit) {
    const auto jobs = std::make_shared<Jobs>(loop_, patience_);
    const BusSlot words = bus_.match(BusMatch{}.path(objectPath).interface(interface).member("JobRemoved").rule(),
                                     [jobs](const BusMessage& removed) { jobs->hear(removed); });
    // Somebody else on this connection may have asked already, and that is an error.
    static_cast<void>(co_await ask(manager("Subscribe")));
    const BusMessage call = manager(member);
    BusWriter{call}.text(unit).text("replace");
    const BusResult begun = co_await ask(call);
    if (!begun) co_return std::unexpected(begun.error());
    BusReader reader{*begun};
    const std::string job{reader.path()};
    while (!jobs->results.contains(job)) {
        boost::system::error_code cancelled;
        co_await jobs->gate.async_wait(boost::asio::redirect_error(awaiting, cancelled));
        if (!cancelled && !jobs->results.contains(job))
            co_return std::unexpected(BusError{std::string{jobPending}, fmt::format("{} of {} is not done after {} s",
                                                                                    member, unit, patience_.count())});
    }
    const std::string& result = jobs->results[job];
    if (result == "done") co_return Done{};
    co_return std::unexpected(
        BusError{std::string{BusErrorName::failed}, fmt::format("{} of {} ended as {}", member, unit, result)});
}

}  // namespace larkmoor
