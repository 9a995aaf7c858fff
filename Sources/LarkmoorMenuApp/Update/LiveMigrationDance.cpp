#include "LarkmoorMenuApp/Update/LiveMigrationDance.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/asio/redirect_error.hpp>

#include <utility>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/Timers.h"
#include "LarkmoorKit/Door/XPCWire.h"
#include "LarkmoorMenuApp/Update/BoundedDoorCall.h"
#include "LarkmoorMenuApp/Update/StoreRecovery.h"
#include "LarkmoorWire/Codec/Messages.h"
#include "LarkmoorWire/Identity/WireContract.h"

namespace larkmoor {

namespace {

/// A run of the Migrator; its two outputs are one.
ProcessRequest run(std::string migrator, std::vector<std::string> arguments, KeyLease& key,
                   std::chrono::milliseconds budget) {
    ProcessRequest request{.executable = std::move(migrator),
                           .arguments = std::move(arguments),
                           .output = ProcessOutputs::Captured{},
                           .errors = ProcessOutputs::WithOutput{},
                           .budget = budget};
    if (FileDescriptor leg = key.spend()) {
        request.arguments.emplace_back("--key-from-stdin");
        request.input = ProcessInputs::FromDescriptor{std::move(leg)};
    }
    return request;
}

/// Our own duplicates of the reply's descriptors; nothing if one of them cannot be had.
std::unique_ptr<KeyLease> leaseOf(const MessageDictionary& reply, int legs) {
    const auto* sent = reply.find<MessageDescriptors>(StoreKeyWire::descriptorsKey);
    if (sent == nullptr || sent->empty() || std::cmp_less(sent->size(), legs)) return nullptr;
    std::vector<FileDescriptor> descriptors;
    for (const auto& descriptor : *sent) {
        FileDescriptor leg{::fcntl(descriptor->get(), F_DUPFD_CLOEXEC, 0)};
        if (!leg) return nullptr;
        descriptors.push_back(std::move(leg));
    }
    return std::make_unique<DescriptorLease>(std::move(descriptors));
}

std::unique_ptr<KeyLease> leaseFrom(const MessageDictionary& reply, int legs) {
    const auto payload = XPCWire::data(XPCEndpoint::payloadKey, reply);
    if (!payload) return nullptr;
    const auto response = decode<GatewayResponse>(*payload);
    if (!response) return nullptr;
    if (const auto* text = response->as<GatewayResponse::Text>()) {
        // A profile without a key.
        return text->_0 == StoreKeyWire::noKeyOnThisProfile ? std::make_unique<DescriptorLease>() : nullptr;
    }
    return response->is<GatewayResponse::Ok>() ? leaseOf(reply, legs) : nullptr;
}

}  // namespace

// The Migrator

Task<InstalledMigrator::Located> LiveMigrationDance::installedMigrator() {
    std::string migrator = seams_.bundle + "/" + std::string{InstalledMigrator::migratorRelativePath};
    InstalledMigrator::Evidence evidence;
    evidence.isExecutable = co_await BlockingWork::run([migrator] { return Files::isExecutable(migrator); });
    if (evidence.isExecutable) evidence.verifies = (co_await seams_.signatures.verifyStrictly(migrator)).has_value();
    const auto signer = [this](std::string path) -> Task<std::optional<std::string>> {
        const auto requirement = co_await seams_.signatures.designatedRequirement(std::move(path));
        co_return requirement ? Signer::read(*requirement) : std::nullopt;
    };
    if (evidence.verifies) evidence.ourSigner = co_await signer(seams_.bundle);
    if (evidence.ourSigner) evidence.itsSigner = co_await signer(migrator);
    if (const auto refusal = InstalledMigrator::refusal(evidence)) co_return std::unexpected(std::vector{*refusal});
    co_return migrator;
}

Task<PlanOutcome> LiveMigrationDance::plan(std::string version, std::string migrator, std::string store,
                                           KeyLease& key) {
    const auto start = std::chrono::steady_clock::now();
    ProcessResult result =
        co_await seams_.runner.run(run(std::move(migrator), {"--db", store, "--json"}, key, seams_.budgets.plan));
    lastPlanMs_ =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
    const std::int32_t status = result.status();
    if (status == 0) {
        co_return co_await BlockingWork::run(
            [output = std::move(result.output)] { return PlanOutcome::ofOutput(asText(output)); });
    }
    const auto [relayed, systemOnly] = MigratorExit::planExitLines(version, status, asText(result.output));
    seams_.say(relayed);
    seams_.systemLog(systemOnly);
    co_return PlanOutcome::NoPlan{"its output is in the menu app's log", status};
}

Task<ApplyOutcome> LiveMigrationDance::apply(std::string migrator, std::string store, std::string backupDir,
                                             std::string log, KeyLease& key) {
    if (!co_await BlockingWork::run([store, log] { return StoreRecovery::mark(store, log); })) {
        co_return ApplyOutcome{.status = MigratorExit::neverRan, .logPath = std::move(log)};
    }
    ProcessRequest request = run(std::move(migrator), {"--db", store, "--apply", "--backup-dir", std::move(backupDir)},
                                 key, seams_.budgets.apply);
    request.output = ProcessOutputs::ToFile{log};
    request.outlivesUs = true;
    const ProcessResult result = co_await seams_.runner.run(std::move(request));
    auto lines = co_await BlockingWork::run([store, log] {
        StoreRecovery::touchMark(store);
        return StoreRecovery::tellingLines(log);
    });
    co_return ApplyOutcome{.status = result.status(), .lines = std::move(lines), .logPath = std::move(log)};
}

Task<std::int32_t> LiveMigrationDance::floor(std::string migrator, std::string store, KeyLease& key) {
    const ProcessResult result =
        co_await seams_.runner.run(run(std::move(migrator), {"--db", store, "--floor"}, key, seams_.budgets.floor));
    if (result.status() == 0) {
        co_await BlockingWork::run([store = std::move(store)] { StoreRecovery::removeMark(store); });
    }
    co_return result.status();
}

// The daemon

/// A connection of its own: the reply carries descriptors, which the door's client does not take.
Task<std::unique_ptr<KeyLease>> LiveMigrationDance::takeKeys(int legs) {
    const auto payload = encode(GatewayRequest{GatewayRequest::Control{ControlRequest::StoreKeyForMigration{legs}}});
    if (!payload) co_return nullptr;
    MessageDictionary message;
    XPCWire::set(*payload, XPCEndpoint::payloadKey, message);
    XPCWire::setWire(WireContract::version, message);

    const auto connection = seams_.dial(std::string{XPCEndpoint::machServiceName});
    connection->setEventHandler([](const MessageConnection::Incoming&) {});
    connection->resume();
    struct Answer {
        MainTimer patience;
        std::unique_ptr<KeyLease> lease;
    };
    const auto answer = std::make_shared<Answer>(MainTimer{seams_.loop, seams_.budgets.key}, nullptr);
    connection->sendWithReply(std::move(message), [answer, legs](MessageConnection::Incoming reply) {
        if (reply) answer->lease = leaseFrom(*reply, legs);
        answer->patience.cancel();
    });
    boost::system::error_code answered;
    co_await answer->patience.async_wait(boost::asio::redirect_error(awaiting, answered));
    connection->cancel();
    co_return std::move(answer->lease);
}

Task<bool> LiveMigrationDance::daemonServes(std::chrono::milliseconds within) { return seams_.serves(within); }

Task<bool> LiveMigrationDance::meetingIsLive() {
    // A daemon that has answered until now and is silent here may be at work on a call: it is not stopped.
    const auto answer = co_await BoundedDoorCall::run<MeetingReading>(
        UpdateCadence::doorSilence, MeetingReading::live, std::make_shared<DoorSleepWait>(),
        [meeting = meeting_] { return meeting->meetingReading(); });
    co_return answer.value == MeetingReading::live;
}

Task<bool> LiveMigrationDance::stopDaemon() {
    seams_.willStopDaemon();
    (void)co_await seams_.launchctl.bootout(LoginItems::guiServiceTarget(seams_.user), true);
    MainTimer second{seams_.loop};
    for (int round = 0; round < seams_.budgets.stopRounds; ++round) {
        if (co_await isDaemonGone()) co_return true;
        second.expires_after(std::chrono::seconds{1});
        co_await second.async_wait(awaiting);
    }
    co_return false;
}

/// Only a search that was made, and found none of this user's, says so.
Task<bool> LiveMigrationDance::isDaemonGone() {
    const ProcessResult search =
        co_await seams_.runner.run({.executable = "/usr/bin/pgrep",
                                    .arguments = {"-U", std::to_string(seams_.user), "-x", "larkmoor"},
                                    .budget = std::chrono::seconds{10}});
    constexpr std::int32_t noneFound = 1;
    co_return search.status() == noneFound;
}

Task<bool> LiveMigrationDance::startDaemon() {
    co_await seams_.agent.registerInBundleAgent();
    co_await seams_.agent.healLooseAgent();
    co_await seams_.agent.start();
    co_return co_await seams_.serves(seams_.budgets.start);
}

// The files around the store

Task<StandingLatch> LiveMigrationDance::standingLatch(std::string store) {
    // The first look of a run, in which nothing is being restored.
    return BlockingWork::run([store = std::move(store)] {
        StoreRecovery::removeAbandonedCopies(store);
        return StoreRecovery::standingLatch(store);
    });
}

Task<std::optional<std::vector<std::string>>> LiveMigrationDance::killedApplyLog(std::string store, std::int32_t pid) {
    return BlockingWork::run([store = std::move(store), pid] { return StoreRecovery::killedApplyLog(store, pid); });
}

Task<void> LiveMigrationDance::lowerLatch(std::string store) {
    return BlockingWork::run([store = std::move(store)] { StoreRecovery::lowerLatch(store); });
}

Task<RestoreOutcome> LiveMigrationDance::restore(std::string store, VouchedBackup backup) {
    return BlockingWork::run([store = std::move(store), backup = std::move(backup)] {
        StoreRecovery::touchMark(store);
        return StoreRestore::put(backup, store);
    });
}

Task<void> LiveMigrationDance::noteFoundBad(std::string store) {
    return BlockingWork::run([store = std::move(store)] { StoreRecovery::markFoundBad(store); });
}

Task<bool> LiveMigrationDance::exists(std::string path) {
    return BlockingWork::run([path = std::move(path)] { return Files::exists(path); });
}

void LiveMigrationDance::say(std::string_view line) { seams_.say(line); }

}  // namespace larkmoor
