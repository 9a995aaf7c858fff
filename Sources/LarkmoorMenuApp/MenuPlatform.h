// What of the platform the menu is made of, handed in by the composition root.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Task.h"
#include "LarkmoorBase/Timers.h"
#include "LarkmoorKit/Door/XPCClient.h"
#include "LarkmoorPlatform/Alerts.h"
#include "LarkmoorPlatform/DistributedNotifications.h"
#include "LarkmoorPlatform/RunningApplications.h"
#include "LarkmoorPlatform/StatusItem.h"

namespace larkmoor {

/// The references outlive the menu.
struct MenuPlatform {
    using Time = std::chrono::system_clock::time_point;
    MainLoop& loop;
    std::shared_ptr<XPCClient> client;
    DistributedNotifications& notifications;
    RunningApplications& applications;
    Alerts& alerts;
    std::function<std::unique_ptr<StatusItem>()> makeStatusItem;
    std::function<Time()> now;
    /// A line for the platform's log.
    std::function<void(std::string_view)> log;
    /// A line for the setup log.
    std::function<void(std::string)> setupLog;
    RepeatingTimer::Every every;
    /// Starts an application bundle or an executable, and does not wait for it.
    std::function<void(std::string path, std::vector<std::string> arguments)> open;
    /// Ends this application.
    std::function<void()> terminate;

    /// The running bundle's folder, standardised.
    std::string bundle;
    std::optional<std::string> version;
    std::optional<std::string> build;
};

}  // namespace larkmoor
