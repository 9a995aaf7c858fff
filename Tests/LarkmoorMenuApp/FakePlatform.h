// Fakes of the menu's platform: they keep what they were given, and tests direct what they do.
#pragma once

#include <boost/asio/post.hpp>

#include <algorithm>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "LarkmoorBase/Task.h"
#include "LarkmoorBase/Timers.h"
#include "LarkmoorPlatform/Alerts.h"
#include "LarkmoorPlatform/DistributedNotifications.h"
#include "LarkmoorPlatform/RunningApplications.h"
#include "LarkmoorPlatform/StatusItem.h"

namespace larkmoor::testing {

/// A user who answers every alert alike.
class FakeAlerts final : public Alerts {
  public:
    Task<AlertAnswer> show(Alert alert) override {
        shown.push_back(std::move(alert));
        co_return answer;
    }

    AlertAnswer answer = AlertAnswers::Dismissed{};
    std::vector<Alert> shown;
};

/// A status item that keeps what it was given.
class FakeStatusItem : public StatusItem {
  public:
    struct Shown {
        StatusIcon icon;
        std::string label;
        bool operator==(const Shown&) const = default;
    };

    void setIcon(StatusIcon icon, std::string label) override { shown.push_back({icon, std::move(label)}); }
    void setMenu(std::shared_ptr<Menu> given) override { menu = std::move(given); }

    std::vector<Shown> shown;
    std::shared_ptr<Menu> menu;
};

/// A notification centre within the process.
class FakeNotifications final : public DistributedNotifications {
  public:
    struct Posted {
        std::string name;
        std::optional<std::string> object;
        Info info;
        bool operator==(const Posted&) const = default;
    };

    explicit FakeNotifications(MainLoop& loop) : loop_(loop) {}

    void post(const std::string& name, const std::optional<std::string>& object, const Info& info) override {
        posted.push_back({.name = name, .object = object, .info = info});
        boost::asio::post(loop_, [listeners = listeners_, note = posted.back()] {
            for (const auto& weak : listeners) {
                const auto listener = weak.lock();
                if (listener && listener->name == note.name) listener->handler(note.object, note.info);
            }
        });
    }

    std::unique_ptr<Token> observe(const std::string& name, Handler handler) override {
        auto listener = std::make_shared<Listener>(name, std::move(handler));
        listeners_.push_back(listener);
        return std::make_unique<Observation>(std::move(listener));
    }

    std::size_t listening() const {
        return static_cast<std::size_t>(
            std::ranges::count_if(listeners_, [](const auto& weak) { return !weak.expired(); }));
    }

    std::vector<Posted> posted;

  private:
    struct Listener {
        std::string name;
        Handler handler;
    };
    struct Observation final : Token {
        explicit Observation(std::shared_ptr<Listener> kept) : listener(std::move(kept)) {}
        std::shared_ptr<Listener> listener;
    };

    MainLoop& loop_;
    std::vector<std::weak_ptr<Listener>> listeners_;
};

/// Running applications; reports the end of those only that a refresh has seen.
class FakeApplications final : public RunningApplications {
  public:
    explicit FakeApplications(MainLoop& loop) : loop_(loop) {}

    std::vector<RunningApplication> list() const override { return running; }
    bool terminate(pid_t process) override {
        terminated.push_back(process);
        return true;
    }
    void onEnd(std::string bundleIdentifier, std::function<void()> ended) override {
        handlers_.emplace_back(std::move(bundleIdentifier), std::move(ended));
    }
    void refresh() override {
        for (const RunningApplication& application : running) seen_.insert(application.bundleIdentifier);
    }

    /// All processes of that identifier end.
    void end(const std::string& bundleIdentifier) {
        std::erase_if(running,
                      [&](const auto& application) { return application.bundleIdentifier == bundleIdentifier; });
        if (seen_.erase(bundleIdentifier) == 0) return;
        for (const auto& [identifier, handler] : handlers_) {
            if (identifier == bundleIdentifier) boost::asio::post(loop_, handler);
        }
    }

    std::vector<RunningApplication> running;
    std::vector<pid_t> terminated;

  private:
    MainLoop& loop_;
    std::set<std::optional<std::string>> seen_;
    std::vector<std::pair<std::string, std::function<void()>>> handlers_;
};

/// Repeating timers that a test fires by hand.
class ManualTimers {
  public:
    RepeatingTimer::Every every() {
        return [this](std::chrono::milliseconds interval, std::function<void()> function) {
            auto beat = std::make_shared<Beat>(interval, std::move(function));
            beats_.push_back(beat);
            return std::make_unique<Token>(std::move(beat));
        };
    }

    /// One beat of every timer of that interval; false if there is none.
    bool fire(std::chrono::milliseconds interval) {
        bool fired = false;
        for (const auto& weak : std::vector{beats_}) {
            const auto beat = weak.lock();
            if (!beat || beat->interval != interval) continue;
            beat->function();
            fired = true;
        }
        return fired;
    }

    std::size_t running() const {
        return static_cast<std::size_t>(
            std::ranges::count_if(beats_, [](const auto& weak) { return !weak.expired(); }));
    }

  private:
    struct Beat {
        std::chrono::milliseconds interval;
        std::function<void()> function;
    };
    struct Token final : RepeatingTimer {
        explicit Token(std::shared_ptr<Beat> kept) : beat(std::move(kept)) {}
        std::shared_ptr<Beat> beat;
    };

    std::vector<std::weak_ptr<Beat>> beats_;
};

}  // namespace larkmoor::testing
