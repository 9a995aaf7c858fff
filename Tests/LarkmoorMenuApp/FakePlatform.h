// Fakes of the menu's platform: they keep what they were given, and tests direct what they do.
#pragma once

#include <boost/asio/post.hpp>

#include <set>

#include "LarkmoorBase/OneShotEvent.h"
#include "LarkmoorBase/Task.h"
#include "LarkmoorBase/Timers.h"
#include "LarkmoorPlatform/Alerts.h"
#include "LarkmoorPlatform/DistributedNotifications.h"
#include "LarkmoorPlatform/RunningApplications.h"
#include "LarkmoorPlatform/StatusItem.h"

namespace larkmoor::testing {

/// Functions by a key, each registered for as long as its token lives.
template <class Token, class Key, class Function>
class Registrations {
  public:
    std::unique_ptr<Token> add(Key key, Function function) {
        auto entry = std::make_shared<Entry>(std::move(key), std::move(function));
        entries_.push_back(entry);
        return std::make_unique<Held>(std::move(entry));
    }
    /// Calls the functions of that key; false if there is none.
    template <class... Arguments>
    bool call(const Key& key, const Arguments&... arguments) const {
        bool called = false;
        for (const auto& weak : std::vector{entries_}) {
            const auto entry = weak.lock();
            if (!entry || entry->key != key) continue;
            entry->function(arguments...);
            called = true;
        }
        return called;
    }
    std::ptrdiff_t alive() const {
        return std::ranges::count_if(entries_, [](const auto& weak) { return !weak.expired(); });
    }

  private:
    struct Entry {
        Key key;
        Function function;
    };
    struct Held final : Token {
        explicit Held(std::shared_ptr<Entry> kept) : entry(std::move(kept)) {}
        std::shared_ptr<Entry> entry;
    };
    std::vector<std::weak_ptr<Entry>> entries_;
};

/// Repeating timers that a test fires by hand.
using ManualTimers = Registrations<RepeatingTimer, std::chrono::milliseconds, std::function<void()>>;

/// A user who answers every alert alike, at once or after an event.
struct FakeAlerts final : Alerts {
    Task<AlertAnswer> show(Alert alert, AlertWatch given) override {
        shown.push_back(std::move(alert));
        watch = std::move(given);
        if (until != nullptr) co_await until->wait();
        co_return watch.withdrawn.stop_requested() ? AlertAnswers::NotShown{} : answer;
    }

    AlertAnswer answer = AlertAnswers::Dismissed{};
    OneShotEvent* until = nullptr;
    AlertWatch watch;  ///< of the last one
    std::vector<Alert> shown;
};

struct FakeStatusItem final : StatusItem {
    using Shown = std::pair<StatusIcon, std::string>;

    void setIcon(StatusIcon icon, std::string label) override { shown.emplace_back(icon, std::move(label)); }
    void setMenu(std::shared_ptr<Menu> given) override { menu = std::move(given); }

    std::vector<Shown> shown;
    std::shared_ptr<Menu> menu;
};

/// A notification centre within the process.
struct FakeNotifications final : DistributedNotifications {
    struct Posted {
        std::string name;
        std::optional<std::string> object;
        Info info;
    };

    explicit FakeNotifications(MainLoop& mainLoop) : loop(mainLoop) {}
    void post(const std::string& name, const std::optional<std::string>& object, const Info& info) override {
        posted.emplace_back(name, object, info);
        boost::asio::post(loop, [this, note = posted.back()] { observers.call(note.name, note.object, note.info); });
    }
    std::unique_ptr<Token> observe(const std::string& name, Handler handler) override {
        return observers.add(name, std::move(handler));
    }

    MainLoop& loop;
    std::vector<Posted> posted;
    Registrations<Token, std::string, Handler> observers;
};

/// Running applications; reports the end of those only that a refresh has seen.
struct FakeApplications final : RunningApplications {
    explicit FakeApplications(MainLoop& mainLoop) : loop(mainLoop) {}
    std::vector<RunningApplication> list() const override { return running; }
    bool terminate(pid_t process) override { return terminated.push_back(process), true; }
    void onEnd(std::string bundleIdentifier, std::function<void()> ended) override {
        tokens.push_back(handlers.add(std::move(bundleIdentifier), std::move(ended)));
    }
    void refresh() override {
        for (const RunningApplication& one : running) seen.insert(one.bundleIdentifier.value_or(""));
    }
    /// All processes of that identifier end.
    void end(const std::string& identifier) {
        std::erase_if(running, [&](const auto& one) { return one.bundleIdentifier == identifier; });
        if (seen.erase(identifier) != 0) boost::asio::post(loop, [this, identifier] { handlers.call(identifier); });
    }

    struct Token {
        virtual ~Token() = default;
    };
    MainLoop& loop;
    std::vector<RunningApplication> running;
    std::vector<pid_t> terminated;
    std::set<std::string> seen;
    Registrations<Token, std::string, std::function<void()>> handlers;
    std::vector<std::unique_ptr<Token>> tokens;
};

}  // namespace larkmoor::testing
