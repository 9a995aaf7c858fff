#include "LarkmoorPlatform/Linux/ProcessApplications.h"

#include <fmt/format.h>

#include <boost/asio/posix/basic_stream_descriptor.hpp>
#include <boost/asio/post.hpp>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <list>
#include <system_error>
#include <utility>

#include "LarkmoorPlatform/Linux/ApplicationUnit.h"
#include "LarkmoorPlatform/Linux/Bus/BusMatch.h"
#include "LarkmoorPlatform/Linux/ProcessDescriptor.h"
#include "LarkmoorPlatform/Linux/ProcessExecutable.h"
#include "LarkmoorPlatform/Linux/ProcessScan.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

namespace {

using Descriptor = boost::asio::posix::basic_stream_descriptor<MainLoop::executor_type>;
using Applications = std::vector<RunningApplication>;

constexpr const char* manager = "org.freedesktop.systemd1";
constexpr const char* managerPath = "/org/freedesktop/systemd1";
constexpr const char* managerInterface = "org.freedesktop.systemd1.Manager";

}  // namespace

/// Kept by its owner alone; what waits on the loop looks whether it is still there.
struct ProcessApplications::Watching : std::enable_shared_from_this<Watching> {
    struct Interest {
        std::string identifier;
        std::function<void()> ended;
        std::optional<Descriptor> process{};  ///< one of the application's, while any runs
    };

    MainLoop& loop;
    ProcessScan scan;
    std::list<Interest> interests;

    explicit Watching(MainLoop& itsLoop) : loop(itsLoop) {}

    bool isInteresting(std::string_view identifier) const {
        return std::ranges::any_of(interests, [identifier](const Interest& interest) {
            return interest.identifier == identifier && !interest.process;
        });
    }

    void refresh() {
        if (std::ranges::all_of(interests, [](const Interest& interest) { return interest.process.has_value(); }))
            return;
        const Applications running = scan.look();
        for (Interest& interest : interests) {
            if (!interest.process) watchOne(interest, running);
        }
    }

    /// False if none of these is the application's.
    bool watchOne(Interest& interest, const Applications& running) {
        const auto found = std::ranges::find(running, interest.identifier, &RunningApplication::bundleIdentifier);
        if (found == running.end()) return false;
        FileDescriptor process = processDescriptor(found->process);
        if (!process && errno != ESRCH) {
            tell(interest, errno);
        } else if (process && scan.identifier(found->process) == interest.identifier) {
            watch(interest, std::move(process));
        } else {
            // It was there and ended meanwhile; whoever has its number now is another.
            boost::asio::post(loop, [self = weak_from_this(), &interest] {
                if (const auto alive = self.lock(); alive && !interest.process) alive->hasEnded(interest);
            });
        }
        return true;
    }

    void watch(Interest& interest, FileDescriptor process) {
        boost::system::error_code failed;
        interest.process.emplace(loop);
        interest.process->assign(process.get(), failed);
        if (failed) {
            interest.process.reset();
            return tell(interest, failed.value());
        }
        static_cast<void>(process.release());
        interest.process->async_wait(Descriptor::wait_read,
                                     [self = weak_from_this(), &interest](boost::system::error_code stopped) {
                                         const auto alive = self.lock();
                                         if (alive && !stopped) alive->hasEnded(interest);
                                     });
    }

    /// Of an application with many processes the one that we watch may not be the last.
    void hasEnded(Interest& interest) {
        interest.process.reset();
        if (watchOne(interest, scan.look())) return;
        const auto ended = interest.ended;
        ended();
    }

    static void tell(const Interest& interest, int code) {
        platformLog(fmt::format("[larkmoor-menu] the end of {} cannot be watched: {}", interest.identifier,
                                std::generic_category().message(code)));
    }
};

ProcessApplications::ProcessApplications(MainLoop& loop, SessionBus& bus)
    : bus_(bus), watching_(std::make_shared<Watching>(loop)) {}

ProcessApplications::~ProcessApplications() = default;

std::vector<RunningApplication> ProcessApplications::list() const { return watching_->scan.look(); }

bool ProcessApplications::terminate(pid_t process) {
    // First the descriptor, then the question whose it is: so the answer holds for what gets the signal.
    const FileDescriptor descriptor = processDescriptor(process);
    const auto listed = watching_->scan.listed(process);
    if (!descriptor || !listed || processExecutable(std::to_string(process)) != listed) return false;
    return ::pidfd_send_signal(descriptor.get(), SIGTERM, nullptr, 0) == 0;
}

void ProcessApplications::onEnd(std::string bundleIdentifier, std::function<void()> ended) {
    if (watching_->interests.empty()) hearOfUnits();
    watching_->interests.push_back({.identifier = std::move(bundleIdentifier), .ended = std::move(ended)});
    refresh();
}

void ProcessApplications::refresh() { watching_->refresh(); }

/// The manager says that a job is done once the processes are in their unit; its word that a unit is new comes too
/// early to find them there.
void ProcessApplications::hearOfUnits() {
    const auto done = BusMatch{}.path(managerPath).interface(managerInterface).member("JobRemoved");
    jobs_ = bus_.match(done.rule(), [this](const BusMessage& job) {
        BusReader reader{job};
        reader.uint32();
        reader.path();
        const auto application = ApplicationUnit::application(reader.text());
        if (reader.fits() && application && watching_->isInteresting(*application)) refresh();
    });
    manager_ = bus_.watchName(manager, [this](const std::string& owner) {
        if (owner.empty()) return;
        const BusMessage subscribe = bus_.methodCall(owner, managerPath, managerInterface, "Subscribe");
        if (subscribe) sd_bus_message_set_expect_reply(subscribe.get(), 0);
        bus_.send(subscribe);
    });
}

}  // namespace larkmoor
