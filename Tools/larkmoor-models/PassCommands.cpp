// The verbs that do what the application does at a launch, and what the journey does to have it undone.
#include <fmt/format.h>
#include <unistd.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>

#include <exception>
#include <memory>
#include <utility>

#include "Command.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorKit/Models/LocalModelsDoor.h"
#include "LarkmoorKit/Trace/SetupLog.h"
#include "LarkmoorMenuApp/LocalModelsDuties.h"
#include "LarkmoorPlatform/Linux/Fetch/HelperFetch.h"
#include "LarkmoorPlatform/Linux/HTTP/LoopbackHTTPClient.h"
#include "LarkmoorPlatform/Linux/Messaging/BusDistributedNotifications.h"
#include "LarkmoorPlatform/Linux/Processes/SpawningProcessRunner.h"
#include "LarkmoorPlatform/Linux/Services/SystemdAgents.h"
#include "LarkmoorPlatform/Process.h"
#include "LarkmoorWire/Models/LocalModel.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor::models {

namespace {

using boost::asio::co_spawn;

Task<void> pacedPause(std::chrono::milliseconds time) {
    MainTimer timer{co_await boost::asio::this_coro::executor, time};
    co_await timer.async_wait(awaiting);
}

RuntimeRelease release(const Arguments& arguments) {
    RuntimeRelease release = RuntimeRelease::forThisSystem();
    if (!arguments.runtimeURL.empty()) release.url = arguments.runtimeURL;
    if (!arguments.runtimeSHA256.empty()) release.fingerprint = arguments.runtimeSHA256;
    if (!arguments.runtimeExecutable.empty()) release.executable = arguments.runtimeExecutable;
    return release;
}

/// The adapters that the application has for its models.
class Machine {
  public:
    explicit Machine(const Arguments& arguments)
        : log_([isShown = arguments.verbose](const std::string& line) {
              SetupLog::line(line);
              // Whoever reads it may be gone.
              if (isShown) (void)Files::writeAll(STDERR_FILENO, asBytes(line + "\n"), "standard error");
          }),
          bundle_(arguments.bundle.empty() ? LARKMOOR_BUNDLE : arguments.bundle),
          fetch_(runner_, {.helper = bundle_ + "/Contents/MacOS/larkmoor-fetch",
                           .build = LARKMOOR_BUILD,
                           .authorities = arguments.authorities}),
          workers_{.loop = loop_,
                   .runner = runner_,
                   .http = http_,
                   .fetch = fetch_,
                   .host = host_,
                   .home = homeFolder(),
                   .support = ModelsFolder::defaultSupport(),
                   .endpoint = arguments.host.empty() ? std::string{LocalModel::endpoint} : "http://" + arguments.host,
                   .bundle = bundle_,
                   .log = log_,
                   .release = release(arguments)},
          seams_(LocalModelsDuties::live(workers_, launchAgents_,
                                         [this](std::string label) { return removeUnit(std::move(label)); })),
          duties_(seams_) {}

    /// The last state; nullopt if the bus is gone.
    std::optional<LocalModelsProgress> pass() {
        const MenuDuties::Models duties = duties_.make();
        duties.attachProgress([] {});
        const auto door = notifications_.observe(duties.cancelNotification, [this](const auto&, const auto&) {
            if (std::exchange(isCancelled_, true)) return;
            log_("cancel-install: the journey asked — stopping the pipeline and undoing its receipts");
            co_spawn(loop_, duties_.cancel(), ends());
        });
        bus_.onLost([this](const BusError& error) {
            lost_ = error.description();
            loop_.stop();
        });
        co_spawn(loop_, run(), [this](const std::exception_ptr& escaped) {
            if (escaped || !isCancelled_) ends()(escaped);
        });
        loop_.run();
        SetupLog::flush();
        if (!lost_.empty()) return std::nullopt;
        return seams_.setup->snapshot(std::chrono::system_clock::now());
    }

    bool isCancelled() const { return isCancelled_; }
    bool isAnotherAtWork() const { return duties_.isAnotherAtWork(); }
    const std::string& lost() const { return lost_; }

  private:
    Task<void> run() {
        co_await duties_.startIfNeeded();
        co_await seams_.setup->waitForEnd();
    }

    Task<void> removeUnit(std::string label) { static_cast<void>(co_await units_.discard(AgentUnit::nameOf(label))); }

    std::function<void(const std::exception_ptr&)> ends() {
        return [this](const std::exception_ptr& escaped) {
            if (escaped) std::rethrow_exception(escaped);
            loop_.stop();
        };
    }

    const std::function<void(std::string)> log_;
    const std::string bundle_;
    std::string lost_;
    bool isCancelled_ = false;
    MainLoop loop_{1};
    SessionBus bus_{loop_};
    BusDistributedNotifications notifications_{bus_};
    SpawningProcessRunner runner_{loop_};
    UserManager manager_{loop_, bus_};
    AgentUnits units_{manager_, UserFolders::current()};
    SystemdLaunchAgents launchAgents_{manager_, units_};
    LoopbackHTTPClient http_{loop_};
    HelperFetch fetch_;
    HostAgent host_{{.launchctl = launchAgents_,
                     .removeUnit = [this](std::string label) { return removeUnit(std::move(label)); },
                     .home = homeFolder(),
                     .support = ModelsFolder::defaultSupport(),
                     .user = ::getuid(),
                     .log = log_,
                     .pacedPause = pacedPause}};
    const LiveWorkers workers_;
    const LocalModelsDuties::Seams seams_;
    LocalModelsDuties duties_;
};

std::string rows(const LocalModelsProgress& progress) {
    std::string text;
    for (const auto& row : progress.rows) text += fmt::format("{} {}\n", row.id, row.state);
    return text;
}

}  // namespace

Outcome pass(const Arguments& arguments) {
    Machine machine{arguments};
    auto progress = machine.pass();
    if (!progress) return {.status = Outcome::failed, .errors = "there is no session bus: " + machine.lost()};
    if (machine.isCancelled()) return {.status = Outcome::failed, .errors = "cancelled, and undone"};
    if (machine.isAnotherAtWork()) {
        return {.status = Outcome::failed, .errors = "another process is at work on the models"};
    }
    // Nothing was to be done here: what the passes before did stands in the file.
    if (const auto kept = LocalModelsProgress::read(LocalModelsProgress::path(ModelsFolder::defaultSupport())))
        progress = kept;
    const auto document = progress->encoded();
    return {.status = progress->allStepsDone() ? 0 : Outcome::failed,
            .output = arguments.json && document ? std::string{asText(*document)} + "\n" : rows(*progress)};
}

Outcome cancel(const Arguments&) {
    constexpr std::chrono::minutes patience{2};
    constexpr std::chrono::milliseconds every{100};
    MainLoop loop{1};
    SessionBus bus{loop};
    BusDistributedNotifications notifications{bus};
    bool isUndone = false;
    const std::string receipt = LocalModelsDoor::receiptPath(ModelsFolder::defaultSupport());
    // One of an earlier cancel is no answer to this one.
    ::unlink(receipt.c_str());
    bus.onLost([&](const BusError&) { loop.stop(); });
    LocalModelsDoor::postCancel(notifications);
    co_spawn(loop, LocalModelsDoor::awaitReceipt(receipt, patience, every),
             [&](const std::exception_ptr&, bool isThere) {
                 isUndone = isThere;
                 loop.stop();
             });
    loop.run();
    if (isUndone) return {};
    return {.status = Outcome::failed,
            .errors = bus.isLost() ? "there is no session bus" : "no receipt of a cancel came within 2 minutes"};
}

}  // namespace larkmoor::models
