#include "LarkmoorMenuApp/LocalModelsDuties.h"

#include <fmt/format.h>
#include <unistd.h>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorKit/Models/LocalModelsDoor.h"
#include "LarkmoorKit/Models/LocalModelsMenuLine.h"
#include "LarkmoorLocalModels/Migration/ModelMigration.h"

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

}  // namespace

LocalModelsDuties::LocalModelsDuties(Seams seams)
    : seams_(std::move(seams)), progressPath_(LocalModelsProgress::path(seams_.support)) {}

MenuDuties::Models LocalModelsDuties::make() {
    return {
        .startIfNeeded = [this] { return startIfNeeded(); },
        .attachProgress = [this] { attachProgress(); },
        .line = [this] { return LocalModelsMenuLine::line(progress_); },
        .allDownloadsDone = [this] { return progress_ && progress_->allDownloadsDone(); },
        .cancelNotification = LocalModelsDoor::cancelNotification,
        .cancel = [this] { return cancel(); },
    };
}

Task<void> LocalModelsDuties::startIfNeeded() {
    co_await seams_.host.capHostIfUncapped();
    co_await seams_.host.reloadIfStale();
    const auto progress =
        co_await BlockingWork::run([path = progressPath_] { return LocalModelsProgress::read(path); });
    const bool stepsDone = LocalModelsProgress::stepsDone(progress);
    const bool migrationDue =
        ModelMigration::decide(co_await seams_.host.plistText()) == ModelMigration::Decision::migrate ||
        co_await seams_.layoutIsDue(progress ? progress->installed : LocalModelsProgress::Receipts{});
    if (launch_.claim(stepsDone, migrationDue)) {
        seams_.log(fmt::format("models-at-open: the progress file says {} — starting the pipeline in the background",
                               summary(progress)));
        co_return seams_.setup->start();
    }
    seams_.log(fmt::format("models-at-open: nothing to start (steps-done={}, migration-due={}, already-started={})",
                           stepsDone, migrationDue, launch_.hasStarted()));
}

void LocalModelsDuties::attachProgress() {
    seams_.setup->setProgressSink([this](const LocalModelsProgress& progress) {
        file_->add([progress, path = progressPath_] { progress.write(path); });
        progress_ = progress;
    });
}

Task<void> LocalModelsDuties::cancel() {
    co_await seams_.setup->cancel();
    const auto steps = co_await BlockingWork::run(
        [receipts = seams_.setup->installed()] { return LocalModelsUndo::planNow(receipts); });
    co_await LocalModelsUndo::perform(steps, seams_.undo);
    // The receipts go after what they name: a process that is killed before still has them.
    co_await BlockingWork::run([file = file_, path = progressPath_, support = seams_.support] {
        file->drain();
        ::unlink(path.c_str());
        LocalModelsDoor::writeReceipt(LocalModelsDoor::receiptPath(support));
    });
}

}  // namespace larkmoor
