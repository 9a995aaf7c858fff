#include "LarkmoorMenuApp/LocalModelsDuties.h"

#include <fmt/format.h>
#include <unistd.h>

#include <boost/asio/this_coro.hpp>

#include <cerrno>
#include <filesystem>
#include <utility>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/FileTemporaries.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorKit/Models/LocalModelsDoor.h"
#include "LarkmoorKit/Models/LocalModelsMenuLine.h"
#include "LarkmoorLocalModels/Migration/ModelMigration.h"
#include "LarkmoorLocalModels/Migration/OldModelsLayout.h"
#include "LarkmoorLocalModels/Pipeline/UndoPlan.h"
#include "LarkmoorLocalModels/Prefetch/ModelPrefetch.h"
#include "LarkmoorLocalModels/Runtime/ManagedRuntime.h"
#include "LarkmoorLocalModels/Runtime/RuntimeArchive.h"
#include "LarkmoorLocalModels/Runtime/RuntimePartials.h"
#include "LarkmoorPlatform/Folders.h"
#include "LarkmoorPlatform/Spawn.h"
#include "LarkmoorResources/SenkoSeed.h"
#include "LarkmoorWire/Identity/ClientInstance.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor {

namespace {

/// What the progress file says, for the log.
std::string summary(const std::optional<LocalModelsProgress>& progress) {
    if (!progress) return "no pass has run here";
    std::string names;
    for (const auto& row : progress->rows) {
        if (row.state != LocalModelsProgress::Row::done) {
            names += fmt::format("{}\"{}\"", names.empty() ? "" : ", ", row.id);
        }
    }
    return fmt::format("[{}] not done ({})", names, progress->writerAlive() ? "writer alive" : "writer gone");
}

Task<bool> layoutIsDue(std::string support, LocalModelsProgress::Receipts receipts) {
    co_return co_await BlockingWork::run(
        [support, receipts] { return ModelLayoutMigration::isDue(support, receipts); });
}

/// A receipt that stays from an earlier cancel would be taken for the answer to the next one.
Task<void> removeReceipt(std::string support) {
    co_await BlockingWork::run([path = LocalModelsDoor::receiptPath(support)] { ::unlink(path.c_str()); });
}

/// What a move of the models' folders left that was killed, and folders in which there is nothing.
void removeUnfinishedMoves(const std::string& support) {
    std::vector<std::string> unfinished{OldModelsLayout::spareRuntime(support)};
    for (const std::string& folder : {ModelsFolder::speech(support), ModelsFolder::voices(support)}) {
        for (const std::string& name : Files::names(folder).value_or(std::vector<std::string>{})) {
            if (name.starts_with('.') && name.ends_with(".copying")) unfinished.push_back(folder + "/" + name);
        }
    }
    for (const std::string& path : unfinished) {
        static_cast<void>(Folders::removeTree(OldModelsLayout::instanceRoot(support), path));
    }
    for (const std::string& folder : {ModelsFolder::namingStore(support), OldModelsLayout::runtime(support)}) {
        static_cast<void>(Folders::removeIfHollow(folder));
    }
}

/// The unit that was made of the property list, and the log that it wrote, go with it.
Task<void> removeAgent(LocalModelsDuties::RemoveUnit removeUnit, std::string hostLog, std::string plist,
                       std::string label) {
    co_await BlockingWork::run([plist] {
        FileTemporaries::sweep(plist);
        ::unlink(plist.c_str());
    });
    co_await removeUnit(label);
    co_await BlockingWork::run([hostLog] { ::unlink(hostLog.c_str()); });
}

}  // namespace

class LocalModelsDuties::Work {
  public:
    /// Null while another process is at work. Where the folder cannot be made or locked, the work goes on without.
    /// Blocks.
    static std::shared_ptr<Work> begin(const std::string& support) {
        std::string folder = ClientInstance::supportRoot(support) + "/.models-at-work";
        FileDescriptor lock;
        // Whoever ends meanwhile takes the folder away.
        for (int attempts = 2; !lock && attempts > 0; --attempts) {
            static_cast<void>(Files::makeFolders(folder, ClientStoreMode::folder));
            lock = Folders::lock(folder);
            if (!lock && errno == EWOULDBLOCK && Folders::identity(folder)) return nullptr;
        }
        return std::make_shared<Work>(std::move(folder), std::move(lock));
    }

    Work(std::string folder, FileDescriptor lock) : folder_(std::move(folder)), lock_(std::move(lock)) {}
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;
    ~Work() {
        if (lock_) ::rmdir(folder_.c_str());
    }

  private:
    const std::string folder_;
    const FileDescriptor lock_;
};

LocalModelsDuties::Seams LocalModelsDuties::live(const LiveWorkers& workers, LaunchAgents& launchctl,
                                                 RemoveUnit removeUnit) {
    return {.setup = std::make_shared<LocalModelSetup>(workers.seams()),
            .host = workers.host,
            .support = workers.support,
            .layoutIsDue =
                [support = workers.support](LocalModelsProgress::Receipts receipts) {
                    return layoutIsDue(support, std::move(receipts));
                },
            .undo = {.http = workers.http,
                     .launchctl = launchctl,
                     .host = workers.endpoint,
                     .removePlist =
                         [removeUnit = std::move(removeUnit), log = workers.host.logPath()](std::string plist,
                                                                                            std::string label) {
                             return removeAgent(removeUnit, log, std::move(plist), std::move(label));
                         },
                     .log = workers.log},
            .log = workers.log};
}

LocalModelsDuties::LocalModelsDuties(Seams seams)
    : seams_(std::move(seams)), progressPath_(LocalModelsProgress::path(seams_.support)) {}

MenuDuties::Models LocalModelsDuties::make() {
    return {
        .startIfNeeded = [this] { return startIfNeeded(); },
        .attachProgress = [this](std::function<void()> changed) { attachProgress(std::move(changed)); },
        .line = [this] { return LocalModelsMenuLine::line(progress_); },
        .allDownloadsDone = [this] { return progress_ && progress_->allDownloadsDone(); },
        .cancelNotification = LocalModelsDoor::cancelNotification,
        .cancel = [this] { return cancel(); },
    };
}

Task<void> LocalModelsDuties::startIfNeeded() {
    if (isCancelled_) co_return;
    const auto executor = co_await boost::asio::this_coro::executor;
    decided_ = std::make_shared<OneShotEvent>(executor.context());
    co_await Spawning::toItsEnd([this] { return decideAtLaunch(); });
    if (!seams_.setup->running()) endWork();
    decided_->set();
}

Task<bool> LocalModelsDuties::beginWork() {
    if (!work_) work_ = co_await BlockingWork::run([support = seams_.support] { return Work::begin(support); });
    co_return work_ != nullptr;
}

/// Behind what is still written to the progress file. A cancel keeps the lock for its undo.
void LocalModelsDuties::endWork() {
    if (isCancelled_ || !work_) return;
    file_->add([work = std::exchange(work_, nullptr)]() mutable { work.reset(); });
}

Task<void> LocalModelsDuties::decideAtLaunch() {
    // A fresh home has no folder for logs, without which the setup log drops every line.
    co_await BlockingWork::run([logs = std::filesystem::path{seams_.host.logPath()}.parent_path().string()] {
        constexpr mode_t folderMode = 0755;
        static_cast<void>(Files::makeFolders(logs, folderMode));
    });
    isAnotherAtWork_ = !co_await beginWork();
    if (isAnotherAtWork_) {
        co_return seams_.log("models-at-open: nothing to start — another process is at work on the models");
    }
    co_await seams_.host.capHostIfUncapped();
    co_await seams_.host.reloadIfStale();
    const auto progress = co_await BlockingWork::run([path = progressPath_] {
        LocalModelsProgress::sweepTemporaries(path);
        return LocalModelsProgress::read(path);
    });
    const bool stepsDone = LocalModelsProgress::stepsDone(progress);
    const bool migrationDue =
        ModelMigration::decide(co_await seams_.host.plistText()) == ModelMigration::Decision::migrate ||
        co_await seams_.layoutIsDue(progress ? progress->installed : LocalModelsProgress::Receipts{});
    if (isCancelled_) co_return;
    if (launch_.claim(stepsDone, migrationDue)) {
        co_await removeReceipt(seams_.support);
        seams_.log(fmt::format("models-at-open: the progress file says {} — starting the pipeline in the background",
                               summary(progress)));
        co_return seams_.setup->start([this] { endWork(); });
    }
    seams_.log(fmt::format("models-at-open: nothing to start (steps-done={}, migration-due={}, already-started={})",
                           stepsDone, migrationDue, launch_.hasStarted()));
}

void LocalModelsDuties::attachProgress(std::function<void()> changed) {
    seams_.setup->setProgressSink(
        [this, changed = std::move(changed)](const LocalModelsProgress& progress) {
            file_->add([progress, path = progressPath_] { progress.write(path); });
            progress_ = progress;
            changed();
        },
        [file = file_] { return BlockingWork::run([file] { file->drain(); }); });
}

Task<void> LocalModelsDuties::cancel() {
    isCancelled_ = true;
    co_await removeReceipt(seams_.support);
    if (const auto decided = decided_) co_await decided->wait();
    co_await seams_.setup->cancel();
    // The other one hears the cancel, too.
    constexpr int rounds = 120;
    constexpr std::chrono::milliseconds pace{500};
    for (int round = 1; !co_await beginWork(); ++round) {
        if (round == rounds) {
            co_return seams_.log("cancel-install: another process is still at work on the models — nothing is undone");
        }
        co_await seams_.host.pacedPause(pace);
    }
    co_await LocalModelsUndo::perform(co_await undoPlan(), seams_.undo);
    co_await leaveNoTrace();
    // The receipts go after what they name: a process that is killed before still has them.
    co_await BlockingWork::run(
        [work = std::exchange(work_, nullptr), path = progressPath_, support = seams_.support]() mutable {
            ::unlink(path.c_str());
            work.reset();
            LocalModelsDoor::writeReceipt(LocalModelsDoor::receiptPath(support));
        });
}

/// A launch at which no pass ran undoes what the file tells of the passes before.
Task<std::vector<LocalModelsUndo::Step>> LocalModelsDuties::undoPlan() {
    std::optional<LocalModelsProgress> progress;
    if (seams_.setup->knowsReceipts()) progress = seams_.setup->snapshot(std::chrono::system_clock::now());
    if (!progress) {
        progress = co_await BlockingWork::run([file = file_, path = progressPath_] {
            file->drain();
            return LocalModelsProgress::read(path);
        });
    }
    if (!progress) co_return std::vector<LocalModelsUndo::Step>{};
    auto steps =
        co_await BlockingWork::run([progress, support = seams_.support] { return UndoPlan::of(*progress, support); });
    if (!UndoPlan::asksOurHost(*progress) || co_await seams_.host.agentPid()) co_return steps;
    std::erase_if(steps, [&](const LocalModelsUndo::Step& step) {
        const auto* model = step.as<LocalModelsUndo::Step::DeleteModel>();
        if (model != nullptr) seams_.log("cancel-install: our host does not run — not asked to delete " + model->name);
        return model != nullptr;
    });
    co_return steps;
}

/// What no receipt names: the downloads of killed processes, and folders of ours that are empty now.
Task<void> LocalModelsDuties::leaveNoTrace() {
    co_await BlockingWork::run([support = seams_.support, log = seams_.log] {
        LocalModelsProgress::sweepTemporaries(LocalModelsProgress::path(support));
        const auto runtime = RuntimePlaces::of(support);
        sweepStrayTarballs(runtime.temporaryFolder, log);
        removeUnfinishedUnpacking(runtime.managed());
        SenkoSeed::removeAbandoned(ModelPrefetch::senkoFolder(support));
        removeUnfinishedMoves(support);
        for (const std::string& folder : {ModelsFolder::naming(support), ModelsFolder::speech(support),
                                          ModelsFolder::voices(support), ModelsFolder::root(support)}) {
            ::rmdir(folder.c_str());
        }
    });
}

}  // namespace larkmoor
