#include "DaemonModel.h"

#include <fmt/chrono.h>

#include "LarkmoorWire/Identity/WireContract.h"
#include "ScenarioFile.h"

namespace larkmoor::understudy {

namespace {

std::optional<Int> unlessNegative(Int value) { return value < 0 ? std::nullopt : std::optional{value}; }

GatewayResponse text(std::string words) { return GatewayResponse::Text{std::move(words)}; }

template <class V>
GatewayResponse unimplemented(const V& request) {
    return GatewayResponse::Unimplemented{
        request.visit([]<class Case>(const Case&) { return std::string{Case::wireName}; })};
}

GatewayResponse kindCards(const ReadRequest::GetByType& asked, bool hasHello) {
    GatewayResponse::KindCards answer;
    answer.scope = asked.path.value_or("/");
    if (hasHello && asked.type == "onboarding" && answer.scope == "/") {
        Card hello;
        hello.kind = asked.type;
        hello.id = "hello";
        hello.why = "the first memory";
        answer.cards.push_back(std::move(hello));
    }
    return answer;
}

}  // namespace

std::expected<Scenario, std::string> readScenario(BytesView bytes) {
    auto scenario = decodeScenario<Scenario>(bytes);
    if (!scenario) return scenario;
    const std::optional<std::string>& front = scenario->front;
    if (front && !fromRawText<FrontRecording>(*front))
        return std::unexpected(fmt::format("\"{}\" is no front state", *front));
    return scenario;
}

void DaemonModel::apply(const Scenario& scenario) {
    const auto take = [](const auto& from, auto& to) {
        if (from) to = *from;
    };
    if (scenario.health) fixedHealth_ = scenario.health->empty() ? std::nullopt : scenario.health;
    if (scenario.front) front = fromRawText<FrontRecording>(*scenario.front).value_or(front);
    if (scenario.wire) wire = unlessNegative(*scenario.wire);
    if (scenario.servedMilliseconds) served = unlessNegative(*scenario.servedMilliseconds);
    if (scenario.delayMilliseconds) delay = std::chrono::milliseconds{*scenario.delayMilliseconds};
    if (scenario.reply) rawReply = scenario.reply->empty() ? std::nullopt : std::optional{copyBytes(*scenario.reply)};
    take(scenario.grants, grants_);
    take(scenario.hello, hasHello_);
    take(scenario.build, build_);
    take(scenario.meetingLive, isMeetingLive_);
    take(scenario.refuse, refuses);
    take(scenario.silent, isSilent);
    take(scenario.silentTo, silentTo);
    take(scenario.storeKey, storeKey);
}

std::string DaemonModel::health(Time now) const {
    if (fixedHealth_) return *fixedHealth_;
    if (std::holds_alternative<Stopped>(recording_)) return "stopped";
    const auto* paused = std::get_if<PausedUntil>(&recording_);
    if (paused == nullptr || paused->time <= now) return "healthy";
    return fmt::format("paused (resumes {:%H:%M})", fmt::localtime(std::chrono::system_clock::to_time_t(paused->time)));
}

DaemonModel::Answer DaemonModel::answer(const GatewayRequest& request, Time now) {
    if (const auto* read = request.as<GatewayRequest::Read>()) return answerTo(read->_0, now);
    if (const auto* control = request.as<GatewayRequest::Control>()) return answerTo(control->_0, now);
    if (const auto* notes = request.as<GatewayRequest::Notes>()) return {.response = unimplemented(notes->_0)};
    return {.response = GatewayResponse::Ok{}};
}

DaemonModel::Answer DaemonModel::answerTo(const ReadRequest& request, Time now) const {
    if (request.is<ReadRequest::Health>()) return {.response = text(health(now))};
    if (request.is<ReadRequest::FrontState>()) return {.response = GatewayResponse::FrontState{front}};
    if (request.is<ReadRequest::DaemonBuild>()) return {.response = text(build_)};
    if (request.is<ReadRequest::MeetingLive>()) return {.response = GatewayResponse::Flag{isMeetingLive_}};
    if (const auto* asked = request.as<ReadRequest::GetByType>()) return {.response = kindCards(*asked, hasHello_)};
    if (request.is<ReadRequest::Grants>()) {
        GrantsAnswer rows;
        for (const auto& [kind, state] : grants_)
            rows.grants.push_back({.kind = kind, .state = state, .displayName = kind});
        return {.response = GatewayResponse::Grants{std::move(rows)}};
    }
    return {.response = unimplemented(request)};
}

DaemonModel::Answer DaemonModel::answerTo(const ControlRequest& request, Time now) {
    const GatewayResponse ok = GatewayResponse::Ok{};
    if (const auto* pause = request.as<ControlRequest::PauseFor>()) {
        recording_ = PausedUntil{now + std::chrono::minutes{pause->minutes}};
        return {.response = ok};
    }
    if (request.is<ControlRequest::Pause>()) return recording_ = Stopped{}, Answer{.response = ok};
    if (request.is<ControlRequest::Resume>()) return recording_ = Recording{}, Answer{.response = ok};
    if (request.is<ControlRequest::LogUpdate>()) return {.response = ok};
    if (request.is<ControlRequest::Shutdown>()) return {.response = ok, .isLast = true};
    if (const auto* lease = request.as<ControlRequest::StoreKeyForMigration>()) {
        if (storeKey.empty()) return {.response = text(std::string{StoreKeyWire::noKeyOnThisProfile})};
        return {.response = ok, .keyLegs = lease->legs};
    }
    return {.response = GatewayResponse::Unimplemented{std::string{verb(request)}}};
}

}  // namespace larkmoor::understudy
