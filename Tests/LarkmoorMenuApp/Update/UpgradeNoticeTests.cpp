// Another version in the place of a bundle that runs: real files, a driven clock.
#include <fcntl.h>

#include "LarkmoorBase/Files.h"
#include "LarkmoorMenuApp/FakePlatform.h"
#include "LarkmoorMenuApp/Update/UpgradeNotice.h"
#include "Support/DrivenClock.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor::testing {
namespace {

using namespace std::chrono_literals;

struct NoCall final : MeetingReporting {
    Task<MeetingReading> meetingReading() override { co_return MeetingReading::clear; }
};

struct Trial final : ProcessRunner {
    Task<ProcessResult> run(ProcessRequest, std::stop_token) override { co_return ProcessResult{end}; }
    std::expected<void, FileError> launch(std::string, std::vector<std::string>, ProcessEnvironment) override {
        return {};
    }
    ProcessEnd end = ProcessEnds::Exited{127};
};

TEST(UpgradeNotice, TellsOnceAndOffersWhatIsThereAsAWholeAndStarts) {
    const TemporaryFolder folder;
    const std::string bundle = folder / "X.app", list = bundle + "/Contents/Info.plist", program = bundle + "/x",
                      dpkgs = program + ".dpkg-new", kept = list + ".dpkg-tmp",
                      record = folder / ".X.app.update/record.json";
    const auto put = [](const std::string& path, std::string_view words = "") {
        EXPECT_TRUE(Files::makeFolders(std::filesystem::path{path}.parent_path(), 0700));
        EXPECT_TRUE(Files::replace(path, asBytes(words), 0755));
    };
    const auto putList = [&](const std::string& build, const char* product = "tools.fenwright.larkmoor.menubar") {
        put(list,
            fmt::format("<plist><dict><key>CFBundleIdentifier</key><string>{}</string><key>CFBundleVersion</key>"
                        "<string>{}</string><key>CFBundleShortVersionString</key><string>1.{}</string></dict></plist>",
                        product, build, build));
    };
    const auto remove = [](const std::string& path) { std::filesystem::remove_all(path); };
    putList("1"), put(program);
    const FileDescriptor running{::open(program.c_str(), O_PATH | O_CLOEXEC)};  // no later file gets its number
    std::filesystem::create_hard_link(program, bundle + "/kept");
    putList("2"), put(program);

    DrivenClock clock;
    FakeAlerts news;
    Trial trial;
    int starts = 0;
    const auto notice =
        std::make_shared<UpgradeNotice>(UpgradeNotice::Seams{clock.loop(),
                                                             UpdatePlaces{bundle},
                                                             program,
                                                             fmt::format("/proc/self/fd/{}", running.get()),
                                                             {"1.1", "1"},
                                                             std::make_shared<NoCall>(),
                                                             trial,
                                                             news,
                                                             clock.every(),
                                                             [&] { ++starts; },
                                                             [](auto&) {},
                                                             [&] { return clock.steady(); },
                                                             clock.waiting()});
    MenuDuties::Updates duties{};
    duties.line = [] { return std::nullopt; };
    duties.migrationOwed = [] { return true; };
    duties = notice->before(duties);
    const auto row = [&] { return duties.line().value_or(MenuLine{}).title; };
    const auto lookAfter = [&](std::chrono::seconds rest) { clock.run(rest), duties.lookForUpgrade(), clock.run(0s); };
    const auto click = [&] {
        std::string said;
        const auto take = [&said](const std::exception_ptr&, auto sentence) { said = sentence.value_or(""); };
        boost::asio::co_spawn(clock.loop(), duties.installUpdate(), take);
        return clock.run(0s), said;
    };

    const std::tuple<const char*, std::function<void()>, const char*, std::size_t> steps[] = {
        {"all of it, while ours was being started", [] {}, "Larkmoor 1.2", 1},
        {"ours", [&] { putList("1"), std::filesystem::rename(bundle + "/kept", program); }, "", 1},
        {"the list, and the program beside its place", [&] { put(dpkgs), putList("2"); }, "", 1},
        {"the list alone", [&] { remove(dpkgs); }, "", 1},
        {"the program, and the old files kept", [&] { put(kept), put(program); }, "", 1},
        {"all of it", [&] { remove(kept); }, "Larkmoor 1.2", 1},
        {"the same again", [&] { putList("2"), put(program); }, "Larkmoor 1.2", 1},
        {"a lower one", [&] { putList("0"), put(program); }, "Larkmoor 1.0", 2},
        {"ours again", [&] { putList("1"), put(program); }, "", 2},
        {"our own update",
         [&] { putList("3"), put(record, R"({"from":"1","to":"3","starts":0,"isGivenBack":false})"); }, "", 2},
        {"another product", [&] { remove(record), putList("3", "x.y"); }, "", 2},
        {"a removal", [&] { remove(bundle); }, "", 2},
        {"one more", [&] { putList("3"), put(program); }, "Larkmoor 1.3", 3},
    };
    std::string before;
    for (const auto& [what, change, name, told] : steps) {
        SCOPED_TRACE(what);
        change(), lookAfter(0s), lookAfter(9s);
        EXPECT_EQ(row(), before) << "it has not rested";
        lookAfter(1s), lookAfter(60s);
        EXPECT_EQ(row(), before = *name == 0 ? "" : std::string{name} + " is installed — click to start it anew");
        EXPECT_EQ(duties.migrationOwed(), before.empty());
        EXPECT_EQ(news.shown.size(), told);
    }
    EXPECT_EQ(click(), "Larkmoor 1.3 cannot start: exit 127");
    trial.end = ProcessEnds::Exited{0};
    put(program);
    EXPECT_EQ(click(), "Larkmoor's files are being changed, try again in a moment");
    EXPECT_EQ(row() + std::to_string(starts), before + "0");
    lookAfter(0s), lookAfter(10s);
    EXPECT_EQ(click() + row() + std::to_string(starts), "Starting Larkmoor 1.3…1");
    EXPECT_EQ(clock.timers(), 0U);
}

}  // namespace
}  // namespace larkmoor::testing
