// The running applications as a test says; an end is told of those alone that a refresh has seen.
#pragma once

#include <boost/asio/post.hpp>

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "LarkmoorPlatform/RunningApplications.h"
#include "LarkmoorPlatform/Task.h"

namespace larkmoor::testing {

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

}  // namespace larkmoor::testing
