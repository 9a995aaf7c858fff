// What the local models do for the menu.
#include <unistd.h>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"
#include "LarkmoorKit/Trace/SetupLog.h"
#include "LarkmoorLocalModels/Pipeline/LiveWorkers.h"
#include "LarkmoorMenuApp/Main/Application.h"
#include "LarkmoorWire/Models/LocalModel.h"

namespace larkmoor {

namespace {

Task<void> pacedPause(std::chrono::milliseconds time) {
    MainTimer timer{co_await boost::asio::this_coro::executor, time};
    co_await timer.async_wait(awaiting);
}

Task<bool> layoutIsDue(std::string support, LocalModelsProgress::Receipts receipts) {
    co_return co_await BlockingWork::run(
        [support, receipts] { return ModelLayoutMigration::isDue(support, receipts); });
}

}  // namespace

HostAgent::Seams Application::hostAgentSeams() {
    return {.launchctl = launchAgents_,
            .home = home_,
            .support = support_,
            .user = ::getuid(),
            .log = SetupLog::line,
            .pacedPause = pacedPause};
}

LocalModelsDuties::Seams Application::localModelsSeams() {
    const LiveWorkers live{.loop = loop_,
                           .runner = runner_,
                           .http = http_,
                           .fetch = fetch_,
                           .host = hostAgent_,
                           .home = home_,
                           .support = support_,
                           .endpoint = std::string{LocalModel::endpoint},
                           .bundle = InstalledBundle::current(),
                           .log = SetupLog::line};
    return {
        .setup = std::make_shared<LocalModelSetup>(live.seams()),
        .host = hostAgent_,
        .support = support_,
        .layoutIsDue =
            [support = support_](LocalModelsProgress::Receipts receipts) {
                return layoutIsDue(support, std::move(receipts));
            },
        .undo = {.http = http_,
                 .launchctl = launchAgents_,
                 .host = live.endpoint,
                 .removePlist = [this](std::string plist,
                                       std::string label) { return removeAgent(std::move(plist), std::move(label)); },
                 .log = SetupLog::line},
        .log = SetupLog::line};
}

MenuDuties::Models Application::modelDuties() { return localModels_.make(); }

/// The unit that was made of the property list goes with it.
Task<void> Application::removeAgent(std::string plist, std::string label) {
    co_await BlockingWork::run([plist] { ::unlink(plist.c_str()); });
    static_cast<void>(co_await agentUnits_.uninstall(label + ".service"));
}

}  // namespace larkmoor
