// The progress file of the models' setup: what is read, how it is replaced, what it adds up to, and the menu's row.
#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <limits>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorKit/Models/LocalModelsMenuLine.h"
#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor {
namespace {

using Row = LocalModelsProgress::Row;

const std::string stored = testing::testData("local-models-progress.json");

TEST(LocalModelsProgress, AFileOfThisBuildStaysReadableToTheByte) {
    const auto progress = LocalModelsProgress::decoded(asBytes(stored));
    ASSERT_TRUE(progress) << progress.error().description();
    EXPECT_EQ(testing::text(progress->encoded().value()), stored);
    EXPECT_EQ(progress->knownTotalBytes(), 153'876'009 + 2'498'344'265);
    EXPECT_EQ(progress->downloadedBytes(), 153'876'009);
    EXPECT_EQ(progress->footprintBytes(), 153'876'009 + 2'498'344'265 + 464'413'250);
    EXPECT_EQ(progress->downloadsDone(), (LocalModelsProgress::Count{.done = 2, .all = 3}));
    for (std::size_t size = 0; size < stored.size(); ++size)
        ASSERT_FALSE(LocalModelsProgress::decoded(asBytes(stored.substr(0, size)))) << size;
}

TEST(LocalModelsProgress, ReadsAWholeRecordOrNone) {
    struct Case {
        std::string_view part, instead;
        bool isReadable;
    };
    const Case table[] = {
        {R"(,"migrating":false)", "", true},
        {R"(,"migrating":false)", R"(,"migrating":null,"later":[{}])", true},
        {R"("state":"skipped")", R"("state":"of a later build")", true},
        {R"("totalBytes":2498344265,)", "", true},
        {R"("totalBytes":2498344265,)", R"("totalBytes":0.5,)", false},
        {R"("pid":4711)", R"("pid":2147483647)", true},
        {R"("pid":4711)", R"("pid":2147483648)", false},
        {R"("pid":4711)", R"("pid":"4711")", false},
        {R"("pid":4711)", R"("pid":4711,"\u0070id":4711)", false},
        {R"("takenAt":1785399990)", R"("takenAt":null)", false},
        {R"("takenAt":1785399990)", R"("takenAt":1e999)", false},
        {R"(,"samples":[)", R"(,"sample":[)", false},
        {R"("expected":false,"present":false}])", R"("expected":false}])", false},
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
    EXPECT_EQ(path, support / "Larkmoor/local-models-progress.json");
    LocalModelsProgress progress = LocalModelsProgress::decoded(asBytes(stored)).value();
    progress.write(path);
    EXPECT_EQ(Files::permissions(support / "Larkmoor"), 0700U);
    EXPECT_EQ(Files::permissions(path), 0600U);

    const FileDescriptor reader{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    const std::string ours = fmt::format("{}.{}.tmp", path, ::getpid());
    ASSERT_TRUE(Files::create(ours, asBytes(std::string(2 * stored.size(), 'x')), 0600));
    progress.running = false;
    progress.write(path);
    EXPECT_EQ(LocalModelsProgress::read(path), progress);
    EXPECT_EQ(testing::text(Files::readAll(reader.get(), path).value()), stored);

    std::filesystem::create_directories(support / "folder/with something");
    progress.write(support / "folder");
    EXPECT_EQ(Files::names(support.path()), (std::vector<std::string>{"Larkmoor", "folder"}));
    EXPECT_EQ(Files::names(support / "Larkmoor"), std::vector<std::string>{"local-models-progress.json"});
    EXPECT_FALSE(LocalModelsProgress::read(support / "folder"));
}

TEST(LocalModelsProgress, AProcessOfAnotherUserIsAlive) {
    ASSERT_NE(::geteuid(), 0U) << "root may send signals to all";
    testing::ChildProcess child{{"true"}};
    const pid_t gone = child.pid();
    child.wait();
    for (const auto& [pid, isAlive] : {std::pair{1, true}, {::getpid(), true}, {gone, false}, {0, false}, {-1, false}})
        EXPECT_EQ(LocalModelsProgress::isAlive(pid), isAlive) << pid;
}

TEST(LocalModelsMenuLine, SaysWhatMovesWhileALivingWriterIsAtWork) {
    constexpr auto setUp = "Setting up local models", setUpUnknown = "Setting up local models…";
    constexpr Int most = std::numeric_limits<Int>::max();
    const auto row = [](std::string_view state, std::optional<Int> bytes, std::optional<Int> total) {
        return Row{.state = std::string{state}, .download = true, .bytes = bytes, .totalBytes = total};
    };
    const Row step{.state = std::string{Row::pending}};
    Row present = row(Row::done, {}, 100);
    present.present = true;
    using Line = std::optional<MenuLine>;
    const auto filled = [](std::string title, double value) {
        return Line{{.title = std::move(title), .bar = RowProgresses::Fill{value}}};
    };
    const auto unknown = [](std::string title) {
        return Line{{.title = std::move(title), .bar = RowProgresses::Indeterminate{}}};
    };
    const std::pair<std::vector<Row>, Line> table[] = {
        {{}, unknown(setUpUnknown)},
        {{step}, unknown(setUpUnknown)},
        {{row(Row::active, 50, 200), step}, filled(setUp, 0.25)},
        {{row(Row::done, 1, 200), row(Row::pending, {}, 200), present}, filled(setUp, 0.5)},
        {{row(Row::done, 200, 200), present, step}, {}},
        {{present, row(Row::active, 50, {}), row(Row::active, 50, 200)}, unknown(setUpUnknown)},
        {{row(Row::done, 7, {}), row(Row::active, 50, 200)}, unknown(setUpUnknown)},
        {{row(Row::active, 50, 0)}, unknown(setUpUnknown)},
        {{row(Row::active, 50, -200)}, unknown(setUpUnknown)},
        {{row(Row::active, 300, 200)}, filled(setUp, 1)},
        {{row(Row::active, -300, 200)}, filled(setUp, 0)},
        {{row(Row::active, most, most), row(Row::active, most, most)}, filled(setUp, 1)},
        {{row(Row::skipped, 50, 100), row(Row::done, {}, 100)}, filled(setUp, 0.75)},
    };
    for (const auto& [rows, want] : table) {
        LocalModelsProgress progress{.pid = ::getpid(), .running = true, .rows = rows};
        EXPECT_EQ(LocalModelsMenuLine::line(progress), want) << &rows - &table[0].first;
        EXPECT_EQ(LocalModelsMenuLine::line(progress, false), Line{});
        progress.migrating = true;
        const Line migrating = LocalModelsMenuLine::line(progress);
        EXPECT_EQ(migrating.has_value(), want.has_value());
        EXPECT_TRUE(!migrating || migrating->title.starts_with("Updating the naming model")) << migrating->title;
        progress.running = false;
        EXPECT_EQ(LocalModelsMenuLine::line(progress), Line{});
    }
    EXPECT_EQ(LocalModelsMenuLine::line({}), Line{});
}

}  // namespace
}  // namespace larkmoor
