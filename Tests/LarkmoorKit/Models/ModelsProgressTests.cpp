// The progress file of the models' setup: what is read, how it is replaced, and the menu's row.
#include <fcntl.h>
#include <unistd.h>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorKit/Models/LocalModelsMenuLine.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor {
namespace {

using Row = LocalModelsProgress::Row;

const std::string stored = testing::testData("local-models-progress.json");

TEST(LocalModelsProgress, ReadsAWholeRecordOrNone) {
    const auto progress = LocalModelsProgress::decoded(asBytes(stored));
    ASSERT_TRUE(progress) << progress.error().description();
    EXPECT_EQ(testing::text(progress->encoded().value()), stored);
    EXPECT_EQ(progress->footprintBytes(), 153'876'009 + 2'498'344'265 + 464'413'250);
    // With it, tests keep the setup from starting.
    const std::string setUp = testing::testData("local-models-set-up.json");
    EXPECT_TRUE(LocalModelsProgress::decoded(asBytes(setUp)).value().allStepsDone());
    const std::tuple<std::string_view, std::string_view, bool> table[] = {
        {R"(,"migrating":false)", "", true},
        {R"("totalBytes":2498344265,)", R"("totalBytes":null,)", true},
        {R"("pid":4711)", R"("pid":2147483648)", false},
        {R"("pid":4711)", R"("pid":4711,"\u0070id":4711)", false},
        {R"(,"samples":[)", R"(,"sample":[)", false},
    };
    for (const auto& [part, instead, isReadable] : table) {
        std::string document = stored;
        document.replace(document.find(part), part.size(), instead);
        EXPECT_EQ(LocalModelsProgress::decoded(asBytes(document)).has_value(), isReadable) << instead;
    }
}

TEST(LocalModelsProgress, IsReplacedWholeWhateverAKilledWriterLeft) {
    const testing::TemporaryFolder support;
    const std::string path = LocalModelsProgress::path(support.path().string());
    auto progress = LocalModelsProgress::decoded(asBytes(stored)).value();
    progress.write(path);
    EXPECT_EQ(Files::permissions(support / "Larkmoor"), 0700U);
    EXPECT_EQ(Files::permissions(path), 0600U);

    const FileDescriptor reader{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    ASSERT_TRUE(Files::create(fmt::format("{}.{}.tmp", path, ::getpid()), asBytes(stored + stored), 0600));
    progress.running = false;
    progress.write(path);
    EXPECT_EQ(LocalModelsProgress::read(path), progress);
    EXPECT_EQ(testing::text(Files::readAll(reader.get(), path).value()), stored);

    const std::string alive = fmt::format("{}.{}.tmp", path, ::getppid());
    for (const std::string& left : {fmt::format("{}.{}.tmp", path, INT32_MAX), alive}) {
        ASSERT_TRUE(Files::create(left, asBytes(stored), 0600));
    }
    LocalModelsProgress::sweepTemporaries(path);
    ASSERT_EQ(::unlink(alive.c_str()), 0);

    std::string padded = stored + std::string(LocalModelsProgress::maxBytes - stored.size(), ' ');
    for (const bool isReadable : {true, false}) {
        ASSERT_TRUE(Files::replace(path, asBytes(padded), 0600));
        EXPECT_EQ(LocalModelsProgress::read(path).has_value(), isReadable);
        padded += ' ';
    }

    progress.write(support / "Larkmoor");  // no file can have the name of a folder
    EXPECT_EQ(Files::names(support.path()), std::vector<std::string>{"Larkmoor"});
    EXPECT_EQ(Files::names(support / "Larkmoor"), std::vector<std::string>{"local-models-progress.json"});
}

TEST(LocalModelsProgress, AProcessOfAnotherUserIsAlive) {
    ASSERT_NE(::geteuid(), 0U) << "root may send signals to all";
    constexpr pid_t beyondAll = INT32_MAX;
    for (const auto& [pid, isAlive] :
         {std::pair{1, true}, {::getpid(), true}, {beyondAll, false}, {0, false}, {-1, false}})
        EXPECT_EQ(LocalModelsProgress::isAlive(pid), isAlive) << pid;
}

std::string shown(const std::optional<MenuLine>& line) {
    if (!line) return "";
    const auto* fill = std::get_if<RowProgresses::Fill>(&line->bar);
    return fill == nullptr ? line->title : fmt::format("{} {}", line->title, fill->value);
}

TEST(LocalModelsMenuLine, SaysWhatMovesWhileALivingWriterIsAtWork) {
    const auto row = [](std::string_view state, std::optional<Int> bytes, std::optional<Int> total) {
        return Row{.state = std::string{state}, .download = true, .bytes = bytes, .totalBytes = total};
    };
    const Row step{.state = std::string{Row::pending}};
    Row present = row(Row::done, {}, 100);
    present.present = true;
    const Row most = row(Row::active, INT64_MAX, INT64_MAX);
    const std::pair<std::vector<Row>, std::string> table[] = {
        {{}, "…"},
        {{row(Row::done, 1, 200), row(Row::pending, {}, 200), present, step}, " 0.5"},
        {{row(Row::skipped, 50, 100), row(Row::done, {}, 100)}, " 0.75"},
        {{row(Row::done, 7, {}), row(Row::active, 50, 200)}, "…"},
        {{row(Row::active, 300, 200)}, " 1"},
        {{row(Row::active, -300, 200)}, " 0"},
        {{most, most}, " 1"},
        {{present, row(Row::active, {}, 0)}, "…"},
    };
    for (const auto& [rows, want] : table) {
        LocalModelsProgress progress{.pid = ::getpid(), .running = true, .rows = rows};
        EXPECT_EQ(shown(LocalModelsMenuLine::line(progress)), "Setting up local models" + want);
        progress.migrating = true;
        EXPECT_EQ(shown(LocalModelsMenuLine::line(progress)), "Updating the naming model" + want);
        EXPECT_EQ(shown(LocalModelsMenuLine::line(progress, false)), "");
        progress.running = false;
        EXPECT_EQ(shown(LocalModelsMenuLine::line(progress)), "");
    }
    EXPECT_EQ(shown(LocalModelsMenuLine::line({{.running = true, .rows = {row(Row::done, 2, 2), step}}}, true)), "");
}

}  // namespace
}  // namespace larkmoor
