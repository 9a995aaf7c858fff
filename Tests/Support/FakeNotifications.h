// A notification centre within the test: what was posted, and who listens.
#pragma once

#include <boost/asio/post.hpp>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "LarkmoorPlatform/DistributedNotifications.h"
#include "LarkmoorPlatform/Task.h"

namespace larkmoor::testing {

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
        Listener(std::string heard, Handler function) : name(std::move(heard)), handler(std::move(function)) {}
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

}  // namespace larkmoor::testing
