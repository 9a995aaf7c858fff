// The exchange of a bundle, killed at every system call, and the process that watches over a new build: whatever
// happens, a whole bundle stands under the name, and starts.
#include <cstdlib>
#include <fstream>
#include <thread>

#include "LarkmoorMenuApp/Main/Successor.h"
#include "Support/KilledAtCall.h"
#include "Support/Linux/UpdateSite.h"
#include "Support/RunTool.h"

namespace larkmoor::testing {
namespace {

namespace fs = std::filesystem;

/// A bundle of that build, whose program is a script.
void makeBundle(const std::string& bundle, const std::string& build, const std::string& program = "exit 0") {
    fs::create_directories(bundle + "/Contents/MacOS");
    std::ofstream{bundle + "/Contents/Info.plist"} << "<plist version=\"1.0\"><dict><key>CFBundleVersion</key><string>"
                                                   << build << "</string></dict></plist>";
    std::ofstream{bundle + "/Contents/MacOS/x"} << "#!/bin/sh\n" << program << "\n";
    fs::permissions(bundle + "/Contents/MacOS/x", fs::perms{0755});
    std::ofstream{bundle + "/Contents/whole"} << build;
}

using Proven = Signatures::BundleVerdict;
Proven isSealed(const std::string&) { return {}; }
Proven isNotSealed(const std::string&) { return std::unexpected{Signatures::Objection{"not as it was sealed", true}}; }

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
    bool starts() const { return runTool({places.bundle + "/Contents/MacOS/x"}).status == 0; }
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
    const Work settle = [](const UpdatePlaces& places) { return BundleExchange::settle(places, isSealed), true; };
    const Work refuse = [](const UpdatePlaces& places) {
        return BundleExchange::settle(places, isNotSealed).refusal == "not as it was sealed";
    };
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
                          {"refuse what a quit has arranged", refuse, arrange, "1|2", "1"},
                          {"settle for the last time", settle, exchange, "1|2", "1", BundleExchange::maxStarts},
                          {"sweep", sweep, nothing, "1", "1"}};
    for (const Case& each : cases) {
        bool isKilled = true;
        for (int call = 1; isKilled; ++call) {
            SCOPED_TRACE(::testing::Message() << each.name << " at call " << call);
            const Bundles bundles;
            ASSERT_TRUE(each.before(bundles.places));
            for (Int starts = 0; starts < each.starts; ++starts) BundleExchange::settle(bundles.places, isSealed);
            isKilled = isKilledAtCall(call, [&] { return each.work(bundles.places); });
            EXPECT_TRUE(bundles.isWhole());
            // The launch after it.
            BundleExchange::settle(bundles.places, isSealed);
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

TEST(BundleExchangeTests, AFileOfWhatWasExchangedIsFoundInTheBundle) {
    const std::string file = "/h/.X.app.update/staged.app/Contents/MacOS/x";
    EXPECT_EQ(UpdatePlaces::inBundle(file), "/h/X.app/Contents/MacOS/x");
    for (const char* other : {"/h/X.app/Contents/MacOS/x", "/h/.X.app.update/unpacking/X.app/Contents/MacOS/x",
                              "/h/.X.app.update/staged.app", "/.update/staged.app/x", "x", ""}) {
        EXPECT_EQ(UpdatePlaces::inBundle(other), std::nullopt) << other;
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
    UpdateSite::shared();
    bool isKilled = true;
    for (int call = 1 + ::getpid() % step; isKilled; call += step) {
        SCOPED_TRACE(call);
        const TemporaryFolder home;
        fs::copy(UpdateSite::shared().bundle(), home / "X.app", fs::copy_options::recursive);
        isKilled = isKilledAtCall(call, [&home] {
            UpdatingApplication application{home.path()};
            application.setAutomatic();
            application.check("good");
            if (application.host.install) application.install();
            return application.relaunches == 1;
        });
        UpdatingApplication next{home.path()};
        EXPECT_EQ(runTool({home / "X.app/Contents/MacOS/x"}).status, 0);
        BundleExchange::settle(next.installer->places(),
                               [&next](const std::string& staged) { return next.prove(staged); });
        EXPECT_FALSE(fs::exists(next.installer->places().download()) ||
                     fs::exists(next.installer->places().unpacking()));
        if (next.build() == "2") {
            UpdateInstaller::sayUp(next.installer->places(), "2");
        } else {
            next.setAutomatic();
            next.check("good");
            ASSERT_TRUE(next.host.install) << next.host.words();
            next.install();
        }
        EXPECT_EQ(next.build(), "2");
        EXPECT_EQ(runTool({LARKMOOR_VERIFY, "bundle", next.bundle, UpdateSite::shared().key()}).status, 0);
    }
}

constexpr const char* comesUp = "sleep 0.05; rm \"$(dirname \"$0\")/../../../.X.app.update/record.json\"";

/// As the application does it at its end: what is left of it is the old program or the new one.
bool startSuccessor(const Bundles& bundles, std::chrono::milliseconds limit = Successor::patience) {
    std::string name = bundles.places.bundle + "/Contents/MacOS/x";
    char* arguments[] = {name.data(), nullptr};
    return Successor{.executable = name, .bundle = bundles.places.bundle, .limit = limit}.start(arguments) == 0;
}

TEST(BundleExchangeTests, WhoeverTakesPartInAStartMayBeKilledAtEveryCall) {
    for (const bool isGood : {true, false}) {
        bool isKilled = true;
        for (int call = 1; isKilled; ++call) {
            SCOPED_TRACE(::testing::Message() << (isGood ? "a good" : "a bad") << " update, at call " << call);
            const Bundles bundles{isGood ? comesUp : "exit 1"};
            ASSERT_TRUE(BundleExchange::exchange(bundles.places, "1", "2"));
            isKilled = isKilledAtCall(call, [&] { return startSuccessor(bundles); }, Killed::anyOfThem);
            EXPECT_TRUE(bundles.isWhole());
            // The person starts it again, as often as it takes.
            for (int launch = 0; launch <= BundleExchange::maxStarts && BundleExchange::record(bundles.places);
                 ++launch) {
                BundleExchange::settle(bundles.places, isSealed);
                EXPECT_TRUE(bundles.isWhole());
                if (isGood) bundles.starts();
            }
            EXPECT_THAT(isGood ? (isKilled ? "1|2" : "2") : "1", ::testing::HasSubstr(bundles.build()));
            EXPECT_TRUE(bundles.isWhole() && (bundles.build() == "2" || bundles.starts()));
            EXPECT_FALSE(BundleExchange::record(bundles.places));
        }
    }
}

TEST(BundleExchangeTests, ASuccessorIsWatchedUntilItIsUp) {
    struct Case {
        const char *name, *program;
        std::string build;
        int status;
        const char* said;  // by the programs, in order
        Int failures = 0;
    };
    const auto says = [](const std::string& rest) { return "echo new >>$SAID; " + rest; };
    const auto notes = [&says](const char* how, const char* rest) {
        return says(std::string{"printf '{\"from\":\"1\",\"to\":\"2\",\"starts\":0,\"isGivenBack\":false,\""} + how +
                    "\":%d}' $$ >\"$(dirname \"$0\")/../../../.X.app.update/record.json\"; " + rest);
    };
    const std::string up = says(comesUp), dies = says("exit 1"), hangs = says("exec sleep 60"), leaves = says("exit 0"),
                      unneeded = notes("unneeded", "exit 0"), untried = notes("untried", "exit 1"),
                      // A shell that has waited for a program blocks nothing any more.
        early = says("kill -TERM $$; exec rm \"${0%/*}/../../../.X.app.update/record.json\""),
                      deaf = says("kill -TERM $$; exec sleep 60"),
                      stopped = says("setsid sh -c \"sleep 2; kill -s CONT -- -$$\" & sleep 0.2; kill -STOP 0; " +
                                     std::string{comesUp}),
                      ended = says("trap '' TERM; kill -TERM 0; exit 1");
    constexpr int killed = SIGKILL, one = 1 << 8;
    const Case cases[] = {{"comes up", up.c_str(), "2", 0, "new\n"},
                          {"is told to end before it listens", early.c_str(), "2", 0, "new\n"},
                          {"hangs, and is told to end", deaf.c_str(), "1", killed, "new\n"},
                          {"is stopped with its watcher", stopped.c_str(), "2", 0, "new\n"},
                          {"dies", dies.c_str(), "1", one, "new\nold\n", 1},
                          {"hangs", hangs.c_str(), "1", killed, "new\nold\n", 1},
                          {"leaves in order before it is up", leaves.c_str(), "1", 0, "new\nold\n", 1},
                          {"is not needed", unneeded.c_str(), "2", 0, "new\n"},
                          {"has no bus", untried.c_str(), "1", one, "new\n"},
                          {"dies, and its unit ends", ended.c_str(), "1", one, "new\n", 1},
                          {"cannot be started", nullptr, "1", 0, "old\n", 1}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const Bundles bundles{each.program == nullptr ? "" : each.program, "echo old >>$SAID"};
        const std::string said = bundles.home / "said";
        if (each.program == nullptr) fs::remove(bundles.places.staged() + "/Contents/MacOS/x");
        ASSERT_TRUE(BundleExchange::exchange(bundles.places, "1", "2"));
        ::setenv("SAID", said.c_str(), 1);
        const int status = familysStatus([&] { return startSuccessor(bundles, std::chrono::milliseconds{1500}); });
        EXPECT_EQ(status, each.status);
        const auto words = Files::read(said);
        EXPECT_EQ(words ? std::string{asText(*words)} : "", each.said);
        EXPECT_EQ(bundles.build(), each.build);
        EXPECT_EQ(BundleExchange::failures(bundles.places, "2"), each.failures);
        EXPECT_EQ(fs::exists(bundles.places.staged()), each.failures == 0);
    }
}

TEST(BundleExchangeTests, ALaunchWaitsForAnotherThatIsAboutToExchangeTheBundle) {
    const Bundles bundles;
    ASSERT_TRUE(BundleExchange::arrange(bundles.places, "1", "2"));
    const std::jthread other{[&, lock = Folders::lock(bundles.places.folder)] {
        ::usleep(100'000);
        EXPECT_TRUE(Folders::exchange(bundles.places.bundle, bundles.places.staged()));
    }};
    const auto settled = BundleExchange::settle(bundles.places, [](const std::string&) -> Proven {
        ADD_FAILURE() << "the other has proven it";
        return {};
    });
    EXPECT_EQ(bundles.build(), "2");
    EXPECT_FALSE(settled.lock || settled.isExchanged);
    EXPECT_EQ(BundleExchange::record(bundles.places)->starts, 0);
}

}  // namespace
}  // namespace larkmoor::testing
