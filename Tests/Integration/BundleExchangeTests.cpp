// The exchange of a bundle, killed at every system call, and the process that watches over a new build: whatever
// happens, a whole bundle stands under the name, and starts.
#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "LarkmoorMenuApp/Main/Successor.h"
#include "Support/KilledAtCall.h"
#include "Support/Linux/UpdateSite.h"
#include "Support/RunTool.h"

namespace larkmoor {
namespace {

namespace fs = std::filesystem;

using testing::TemporaryFolder;

/// A bundle of that build, whose program is a script.
void makeBundle(const std::string& bundle, const std::string& build, const std::string& program = "exit 0") {
    fs::create_directories(bundle + "/Contents/MacOS");
    std::ofstream{bundle + "/Contents/Info.plist"} << "<plist version=\"1.0\"><dict><key>CFBundleVersion</key><string>"
                                                   << build << "</string></dict></plist>";
    std::ofstream{bundle + "/Contents/MacOS/x"} << "#!/bin/sh\n" << program << "\n";
    fs::permissions(bundle + "/Contents/MacOS/x", fs::perms{0755});
    std::ofstream{bundle + "/Contents/whole"} << build;
}

struct Bundles {
    TemporaryFolder home{};
    UpdatePlaces places{home / "X.app"};

    explicit Bundles(const std::string& newProgram = "exit 0", const std::string& oldProgram = "exit 0") {
        fs::create_directory(places.folder);
        fs::permissions(places.folder, fs::perms{0700});
        makeBundle(places.bundle, "1", oldProgram);
        makeBundle(places.staged(), "2", newProgram);
    }

    std::string build() const { return BundleExchange::buildOf(places.bundle).value_or("none"); }
    bool isWhole() const {
        std::string build;
        std::ifstream{places.bundle + "/Contents/whole"} >> build;
        return build == this->build() && fs::exists(places.bundle + "/Contents/MacOS/x");
    }
    bool starts() const { return testing::runTool({places.bundle + "/Contents/MacOS/x"}).status == 0; }
};

TEST(BundleExchangeTests, KilledAtEveryCallItLeavesAWholeBundleThatTheNextLaunchesSettle) {
    using Work = bool (*)(const UpdatePlaces&);
    const Work exchange = [](const UpdatePlaces& places) {
        return BundleExchange::exchange(places, "1", "2").has_value();
    };
    const Work arrange = [](const UpdatePlaces& places) {
        return BundleExchange::arrange(places, "1", "2").has_value();
    };
    const Work nothing = [](const UpdatePlaces&) { return true; };
    const Work giveBack = [](const UpdatePlaces& places) { return BundleExchange::giveBack(places).has_value(); };
    const Work complete = [](const UpdatePlaces& places) { return BundleExchange::complete(places), true; };
    const Work settle = [](const UpdatePlaces& places) { return BundleExchange::settle(places), true; };
    const Work sweep = [](const UpdatePlaces& places) { return BundleExchange::sweep(places, false), true; };
    struct Case {
        const char* name;
        Work work;
        Work before;
        std::string end;       // the build once all is settled and the new one, if it is that, says that it is up
        std::string whenDone;  // the same if it was not killed
        Int starts = 0;
    };
    const Case cases[] = {{"exchange", exchange, nothing, "1|2", "2"},
                          {"giveBack", giveBack, exchange, "1|2", "1"},
                          {"complete", complete, exchange, "2", "2"},
                          {"settle", settle, exchange, "2", "2"},
                          {"settle what a quit has arranged", settle, arrange, "2", "2"},
                          {"settle for the last time", settle, exchange, "1|2", "1", BundleExchange::maxStarts},
                          {"sweep", sweep, nothing, "1", "1"}};
    for (const Case& each : cases) {
        bool isKilled = true;
        for (int call = 1; isKilled; ++call) {
            SCOPED_TRACE(::testing::Message() << each.name << " at call " << call);
            const Bundles bundles;
            ASSERT_TRUE(each.before(bundles.places));
            for (Int starts = 0; starts < each.starts; ++starts) BundleExchange::settle(bundles.places);
            isKilled = testing::isKilledAtCall(call, [&] { return each.work(bundles.places); });
            EXPECT_TRUE(bundles.isWhole());
            // The launch after it.
            BundleExchange::settle(bundles.places);
            EXPECT_TRUE(bundles.isWhole());
            UpdateInstaller::sayUp(bundles.places, bundles.build());
            EXPECT_THAT(isKilled ? each.end : each.whenDone, ::testing::HasSubstr(bundles.build()));
            EXPECT_FALSE(BundleExchange::record(bundles.places));
            // And the check after that.
            BundleExchange::sweep(bundles.places, false);
            const bool isNoted = fs::exists(bundles.places.failed());
            EXPECT_EQ(fs::exists(bundles.places.folder), isNoted);
            EXPECT_TRUE(bundles.isWhole() && bundles.starts());
        }
    }
}

TEST(BundleExchangeTests, AnOldBundleThatIsClosedForWritingGoesAllTheSame) {
    ASSERT_NE(::geteuid(), 0U) << "root is refused nothing";
    const Bundles bundles;
    fs::permissions(bundles.places.bundle + "/Contents/MacOS", fs::perms{0555});
    ASSERT_TRUE(BundleExchange::exchange(bundles.places, "1", "2"));
    BundleExchange::complete(bundles.places);
    EXPECT_FALSE(fs::exists(bundles.places.folder));
}

TEST(BundleExchangeTests, AWholeUpdateKilledOnItsWayIsFoundByTheNextCheck) {
    // Each call takes an update from the feed on, so that usually only some are tried: the first is another each time.
    const char* every = std::getenv("LARKMOOR_EVERY_CALL");
    const int step = every != nullptr ? std::atoi(every) : 97;
    testing::UpdateSite::shared();
    bool isKilled = true;
    for (int call = 1 + ::getpid() % step; isKilled; call += step) {
        SCOPED_TRACE(call);
        const TemporaryFolder home;
        fs::copy(testing::UpdateSite::shared().bundle(), home / "X.app", fs::copy_options::recursive);
        isKilled = testing::isKilledAtCall(call, [&home] {
            testing::UpdatingApplication application{home.path()};
            application.setAutomatic();
            application.check("good");
            if (application.host.install) application.host.install();
            return application.relaunches == 1;
        });
        testing::UpdatingApplication next{home.path()};
        EXPECT_EQ(testing::runTool({home / "X.app/Contents/MacOS/x"}).status, 0);
        BundleExchange::settle(next.installer->places());
        EXPECT_FALSE(fs::exists(next.installer->places().download()) ||
                     fs::exists(next.installer->places().unpacking()));
        if (next.build() == "2") {
            UpdateInstaller::sayUp(next.installer->places(), "2");
        } else {
            next.setAutomatic();
            next.check("good");
            ASSERT_TRUE(next.host.install) << next.host.words();
            next.host.install();
        }
        EXPECT_EQ(next.build(), "2");
        EXPECT_EQ(
            testing::runTool({LARKMOOR_VERIFY, "bundle", next.bundle, testing::UpdateSite::shared().key()}).status, 0);
    }
}

constexpr const char* comesUp = "sleep 0.05; rm \"$(dirname \"$0\")/../../../.X.app.update/record.json\"";

TEST(BundleExchangeTests, WhoeverWatchesOverASuccessorMayBeKilledAtEveryCall) {
    for (const bool isGood : {true, false}) {
        bool isKilled = true;
        for (int call = 1; isKilled; ++call) {
            SCOPED_TRACE(::testing::Message() << (isGood ? "a good" : "a bad") << " update, at call " << call);
            const Bundles bundles{isGood ? comesUp : "exit 1"};
            ASSERT_TRUE(BundleExchange::exchange(bundles.places, "1", "2"));
            std::string name = bundles.places.bundle + "/Contents/MacOS/x";
            char* arguments[] = {name.data(), nullptr};
            isKilled = testing::isKilledAtCall(call, [&] {
                return Successor{.executable = name, .bundle = bundles.places.bundle}.start(arguments) == 0;
            });
            EXPECT_TRUE(bundles.isWhole());
            // The person starts it again, as often as it takes.
            for (int launch = 0; launch <= BundleExchange::maxStarts && BundleExchange::record(bundles.places);
                 ++launch) {
                BundleExchange::settle(bundles.places);
                EXPECT_TRUE(bundles.isWhole());
                if (isGood) testing::runTool({name});
            }
            EXPECT_EQ(bundles.build(), isGood ? "2" : "1");
            EXPECT_TRUE(bundles.isWhole());
        }
    }
}

TEST(BundleExchangeTests, ASuccessorIsWatchedUntilItIsUp) {
    struct Case {
        const char *name, *program;
        std::string build;
        int status;
        const char* said;  // by the programs, in order
    };
    const std::string up = std::string{"echo new >>$SAID; "} + comesUp, dies = "echo new >>$SAID; exit 1",
                      hangs = "echo new >>$SAID; exec sleep 60", leaves = "echo new >>$SAID; exit 0",
                      untried = "echo new >>$SAID; exit 75";
    const Case cases[] = {{"comes up", up.c_str(), "2", 0, "new\n"},
                          {"dies", dies.c_str(), "1", 0, "new\nold\n"},
                          {"hangs", hangs.c_str(), "1", 0, "new\nold\n"},
                          {"leaves", leaves.c_str(), "2", 0, "new\n"},
                          {"has no bus", untried.c_str(), "1", 0, "new\nold\n"},
                          {"cannot be started", nullptr, "1", 0, "old\n"}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const Bundles bundles{each.program == nullptr ? "" : each.program, "echo old >>$SAID"};
        const std::string said = bundles.home / "said";
        if (each.program == nullptr) fs::remove(bundles.places.staged() + "/Contents/MacOS/x");
        ASSERT_TRUE(BundleExchange::exchange(bundles.places, "1", "2"));
        const std::string executable = bundles.places.bundle + "/Contents/MacOS/x";
        ::setenv("SAID", said.c_str(), 1);
        std::string name = executable;
        char* arguments[] = {name.data(), nullptr};
        EXPECT_EQ(
            (Successor{
                .executable = executable, .bundle = bundles.places.bundle, .limit = std::chrono::milliseconds{1500}}
                 .start(arguments)),
            each.status);
        const auto words = [&said] {
            const auto bytes = Files::read(said);
            return bytes ? std::string{asText(*bytes)} : "";
        };
        for (int tries = 0; tries < 100 && words() != each.said; ++tries) ::usleep(50'000);
        EXPECT_EQ(words(), each.said);
        EXPECT_EQ(bundles.build(), each.build);
        const bool isGivenBack = each.build == "1" && each.name != std::string{"has no bus"};
        EXPECT_EQ(BundleExchange::failures(bundles.places, "2"), isGivenBack ? 1 : 0);
        EXPECT_EQ(fs::exists(bundles.places.staged()), !isGivenBack);
    }
}

}  // namespace
}  // namespace larkmoor
