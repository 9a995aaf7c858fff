#include "LarkmoorPlatform/Linux/Applications/ProcessApplications.h"

#include <fmt/format.h>

#include <boost/asio/posix/basic_stream_descriptor.hpp>
#include <boost/asio/post.hpp>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <list>
#include <system_error>
#include <utility>

#include "LarkmoorPlatform/Linux/Applications/ProcessScan.h"
#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"
#include "LarkmoorPlatform/Linux/Processes/SystemProcess.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

namespace {

using Descriptor = boost::asio::posix::basic_stream_descriptor<MainLoop::executor_type>;
using Applications = std::vector<RunningApplication>;

constexpr const char* manager = "org.freedesktop.systemd1";
constexpr const char* managerPath = "/org/freedesktop/systemd1";
constexpr const char* managerInterface = "org.freedesktop.systemd1.Manager";

}  // namespace

/// Owned by ProcessApplications alone; callbacks on the loop hold it weakly.
struct ProcessApplications::Watcher : std::enable_shared_from_this<Watcher> {
    struct Observed {
        std::string identifier;
        std::function<void()> ended;
        std::optional<Descriptor> process{};  ///< the pidfd of one of its processes, while any runs
    };

    MainLoop& loop;
    ProcessScan scan;
    std::list<Observed> observed;

    explicit Watcher(MainLoop& itsLoop) : loop(itsLoop) {}

    bool isAwaited(std::string_view identifier) const {
        return std::ranges::any_of(observed, [identifier](const Observed& application) {
            return application.identifier == identifier && !application.process;
        });
    }

    void refresh() {
        if (std::ranges::all_of(observed, [](const Observed& application) { return application.process.has_value(); }))
            return;
        const Applications running = scan.scan();
        for (Observed& application : observed) {
            if (!application.process) watchOne(application, running);
        }
    }

    /// Watches one process of the application; false if none of these is one.
    bool watchOne(Observed& application, const Applications& running) {
        const auto found = std::ranges::find(running, application.identifier, &RunningApplication::bundleIdentifier);
        if (found == running.end()) return false;
        FileDescriptor process = processDescriptor(found->process);
        if (!process && errno != ESRCH) {
            logFailure(application, errno);
        } else if (process && scan.identifier(found->process) == application.identifier) {
            watch(application, std::move(process));
        } else {
            // It has ended since the scan, or its id belongs to another process by now.
            boost::asio::post(loop, [self = weak_from_this(), &application] {
                if (const auto alive = self.lock(); alive && !application.process) alive->onProcessEnd(application);
            });
        }
        return true;
    }

    void watch(Observed& application, FileDescriptor process) {
        boost::system::error_code failed;
        application.process.emplace(loop);
        application.process->assign(process.get(), failed);
        if (failed) {
            application.process.reset();
            return logFailure(application, failed.value());
        }
        static_cast<void>(process.release());
        application.process->async_wait(Descriptor::wait_read,
                                        [self = weak_from_this(), &application](boost::system::error_code stopped) {
                                            const auto alive = self.lock();
                                            if (alive && !stopped) alive->onProcessEnd(application);
                                        });
    }

    /// Another process of the same application may still run.
    void onProcessEnd(Observed& application) {
        application.process.reset();
        if (watchOne(application, scan.scan())) return;
        const auto ended = application.ended;
        ended();
    }

    static void logFailure(const Observed& application, int code) {
        platformLog(fmt::format("[larkmoor-menu] the end of {} cannot be watched: {}", application.identifier,
                                std::generic_category().message(code)));
    }
};

ProcessApplications::ProcessApplications(MainLoop& loop, SessionBus& bus)
    : bus_(bus), watcher_(std::make_shared<Watcher>(loop)) {}

ProcessApplications::~ProcessApplications() = default;

std::vector<RunningApplication> ProcessApplications::list() const { return watcher_->scan.scan(); }

bool ProcessApplications::terminate(pid_t process) {
    // The descriptor first, then the check of the executable: so the check holds for the process that gets the signal.
    const FileDescriptor descriptor = processDescriptor(process);
    const auto executable = watcher_->scan.lastExecutable(process);
    if (!descriptor || !executable || processExecutable(std::to_string(process)) != executable) return false;
    return ::pidfd_send_signal(descriptor.get(), SIGTERM, nullptr, 0) == 0;
}

void ProcessApplications::onEnd(std::string bundleIdentifier, std::function<void()> ended) {
    if (watcher_->observed.empty()) subscribeToUnits();
    watcher_->observed.push_back({.identifier = std::move(bundleIdentifier), .ended = std::move(ended)});
    refresh();
}

void ProcessApplications::refresh() { watcher_->refresh(); }

/// JobRemoved comes when the processes are in their unit; UnitNew comes too early to find them there.
void ProcessApplications::subscribeToUnits() {
    const auto done = BusMatch{}.path(managerPath).interface(managerInterface).member("JobRemoved");
    jobs_ = bus_.match(done.rule(), [this](const BusMessage& job) {
        BusReader reader{job};
        reader.uint32();
        reader.path();
        const auto application = ApplicationUnit::application(reader.text());
        if (reader.fits() && application && watcher_->isAwaited(*application)) refresh();
    });
    manager_ = bus_.watchName(manager, [this](const std::string& owner) {
        if (owner.empty()) return;
        const BusMessage subscribe = bus_.methodCall(owner, managerPath, managerInterface, "Subscribe");
        if (subscribe) sd_bus_message_set_expect_reply(subscribe.get(), 0);
        bus_.send(subscribe);
    });
}

}  // namespace larkmoor
