// What the local models do for the menu.
#include <unistd.h>

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

}  // namespace

HostAgent::Seams Application::hostAgentSeams() {
    return {.launchctl = launchAgents_,
            .removeUnit = [this](std::string label) { return removeUnit(std::move(label)); },
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
    return LocalModelsDuties::live(live, launchAgents_,
                                   [this](std::string label) { return removeUnit(std::move(label)); });
}

MenuDuties::Models Application::modelDuties() { return localModels_.make(); }

Task<void> Application::removeUnit(std::string label) {
    static_cast<void>(co_await agentUnits_.discard(AgentUnit::nameOf(label)));
}

}  // namespace larkmoor
