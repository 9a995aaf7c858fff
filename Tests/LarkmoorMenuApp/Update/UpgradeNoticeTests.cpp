// Another version in the place of a bundle that runs: real files, a driven clock.
#include <fcntl.h>
#include <gmock/gmock.h>

#include "LarkmoorBase/Files.h"
#include "LarkmoorMenuApp/FakePlatform.h"
#include "LarkmoorMenuApp/Update/UpgradeNotice.h"
#include "Support/DrivenClock.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor::testing {
namespace {

using namespace std::chrono_literals;

class UpgradeNoticeTest : public ::testing::Test, protected ProcessRunner, protected MeetingReporting {
  protected:
    Task<ProcessResult> run(ProcessRequest, std::stop_token) override { co_return ProcessResult{trial}; }
    std::expected<void, FileError> launch(std::string, std::vector<std::string>, ProcessEnvironment) override {
        return {};
    }
    Task<MeetingReading> meetingReading() override { co_return meeting; }

    static void put(const std::string& path, const std::string& words) {
        EXPECT_TRUE(Files::replace(path, asBytes(words), 0755));
    }
    void putList(const std::string& build, const char* product = "tools.fenwright.larkmoor.menubar") {
        constexpr auto words =
            "<plist><dict><key>CFBundleIdentifier</key><string>{}</string><key>CFBundleVersion</key><string>{}</string>"
            "<key>CFBundleShortVersionString</key><string>1.{}</string></dict></plist>";
        put(list, fmt::format(words, product, build, build));
    }
    void look(std::chrono::seconds rest) {
        clock.run(rest);
        duties.lookForUpgrade();
        clock.run(0s);
    }
    std::string row() const { return duties.line().value_or(MenuLine{}).title; }
    std::string click() {
        std::string said = "none";
        const auto take = [&said](const std::exception_ptr&, auto sentence) { said = sentence.value_or(""); };
        boost::asio::co_spawn(clock.loop(), duties.installUpdate(), take);
        clock.run(0s);
        return said;
    }

    TemporaryFolder folder;
    FileDescriptor running;  ///< keeps its number from later files, as a process does
    const std::string bundle = folder / "X.app", list = bundle + "/Contents/Info.plist", program = bundle + "/x";
    DrivenClock clock;
    FakeAlerts news;
    ProcessEnd trial = ProcessEnds::Exited{0};
    MeetingReading meeting = MeetingReading::clear;
    int relaunches = 0;
    std::shared_ptr<UpgradeNotice> notice;
    MenuDuties::Updates duties{};

    UpgradeNoticeTest() {
        EXPECT_TRUE(Files::makeFolders(bundle + "/Contents", 0755) &&
                    Files::makeFolders(folder / ".X.app.update", 0700));
        putList("1"), put(program, "");
        running = FileDescriptor{::open(program.c_str(), O_PATH | O_CLOEXEC)};
        notice = std::make_shared<UpgradeNotice>(UpgradeNotice::Seams{clock.loop(),
                                                                      UpdatePlaces{bundle},
                                                                      program,
                                                                      {"1.1", "1"},
                                                                      {std::shared_ptr<void>{}, this},
                                                                      *this,
                                                                      news,
                                                                      clock.every(),
                                                                      [this] { ++relaunches; },
                                                                      [](auto&) {},
                                                                      [this] { return clock.steady(); },
                                                                      clock.waiting()});
        duties.line = [] { return std::nullopt; };
        duties.migrationOwed = [] { return true; };
        duties = notice->before(duties);
    }
};

TEST_F(UpgradeNoticeTest, WhatIsThereAsAWholeIsToldOnceAndOfferedWhileItIsTrue) {
    const std::string dpkgs = program + ".dpkg-new", kept = list + ".dpkg-tmp",
                      record = folder / ".X.app.update/record.json";
    const auto remove = [](const std::string& path) { std::filesystem::remove_all(path); };
    const std::tuple<const char*, std::function<void()>, const char*, std::size_t> steps[] = {
        {"nothing", [] {}, "", 0},
        {"the list, and the program beside its place", [&] { put(dpkgs, ""), putList("2"); }, "", 0},
        {"the list alone", [&] { remove(dpkgs); }, "", 0},
        {"the program, and the old files kept", [&] { put(kept, ""), put(program, ""); }, "", 0},
        {"all of it", [&] { remove(kept); }, "Larkmoor 1.2", 1},
        {"the same again", [&] { putList("2"), put(program, ""); }, "Larkmoor 1.2", 1},
        {"a lower one", [&] { putList("0"), put(program, ""); }, "Larkmoor 1.0", 2},
        {"ours again", [&] { putList("1"), put(program, ""); }, "", 2},
        {"by our own updater",
         [&] { putList("3"), put(record, R"({"from":"1","to":"3","starts":0,"isGivenBack":false})"); }, "", 2},
        {"another product", [&] { remove(record), putList("3", "x.y"); }, "", 2},
        {"one more", [&] { putList("3"); }, "Larkmoor 1.3", 3},
        {"a removal", [&] { remove(bundle); }, "", 3},
    };
    std::string before;
    for (const auto& [what, change, name, told] : steps) {
        SCOPED_TRACE(what);
        change(), look(0s), look(9s);
        EXPECT_EQ(row(), before) << "it has not rested";
        look(1s), look(60s);
        EXPECT_EQ(row(), before = *name == 0 ? "" : std::string{name} + " is installed — click to start it anew");
        EXPECT_EQ(duties.migrationOwed(), before.empty());
        EXPECT_EQ(news.shown.size(), told);
    }
    EXPECT_EQ(clock.timers(), 0U);
}

TEST_F(UpgradeNoticeTest, AStartWaitsForACallAndForAProgramThatRuns) {
    news.answer = AlertAnswers::Chosen{0};
    meeting = MeetingReading::live;
    putList("2"), put(program, ""), look(0s), look(10s);
    EXPECT_EQ(row(), "Larkmoor 1.2 starts after your call") << "the news start it as the row does";
    put(program, "");
    EXPECT_EQ(click(), "") << "a second click does not wait, but for the files";
    EXPECT_EQ(click(), "Larkmoor's files are being changed, try again in a moment");
    look(0s), look(10s);
    trial = ProcessEnds::Exited{127};
    EXPECT_EQ(click(), "Larkmoor 1.2 cannot start: the update does not run on this machine: exit 127");
    trial = ProcessEnds::Exited{0};
    EXPECT_EQ(click() + row(), "Larkmoor 1.2 starts after your call");
    EXPECT_EQ(relaunches, 0);
    EXPECT_EQ(click() + row(), "Starting Larkmoor 1.2…");
    EXPECT_EQ(relaunches, 1);
}

}  // namespace
}  // namespace larkmoor::testing
