// The updater against a real server, with real archives, helpers and tar: what it believes, what it leaves, and what it
// tells.
#include <fstream>

#include "Support/Linux/UpdateSite.h"
#include "Support/SmallDisk.h"

namespace larkmoor::testing {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* broughtSilently =
    "will-download,download,length,will-extract,extracting,dismiss,on-quit,dismiss,finished";

/// The feed offers nothing above ours (any more).
constexpr const char* nothingLeft = "dismiss,finished";

TEST(AppcastUpdaterTests, BringsAnUpdateSilentlyAndPutsItInWhenTold) {
    const TemporaryFolder folder;
    UpdatingApplication application{folder.path()};
    application.setAutomatic();
    EXPECT_EQ(application.check("good"), broughtSilently);
    EXPECT_EQ(application.host.bytes, application.host.expected);
    EXPECT_EQ(application.build(), "1");
    EXPECT_THAT(application.rest(), ElementsAre("staged.app"));
    EXPECT_EQ(application.session->lastUpdateCheckDate()->time_since_epoch(), std::chrono::seconds{1'800'000'000});

    application.install();
    EXPECT_EQ(application.build(), "2");
    EXPECT_EQ(application.relaunches, 1);
    EXPECT_THAT(application.rest(), ElementsAre("record.json", "staged.app"));
    application.install();
    EXPECT_EQ(application.relaunches, 1);

    UpdatingApplication next{folder.path()};
    EXPECT_EQ(next.check("good", true), "checking,none,dismiss,finished");
    UpdateInstaller::sayUp(next.installer->places(), next.build());
    EXPECT_THAT(next.rest(), ElementsAre("nothing"));
}

TEST(AppcastUpdaterTests, RefusesWhatIsNotToBeBelievedAndLeavesNothing) {
    struct Case {
        const char *feed, *words;
    };
    constexpr Case cases[] = {
        {"flipped", "the signature does not hold"},
        {"other-signer", "the signature does not hold"},
        {"unsigned", "no signature of the archive"},
        {"longer-told", "bytes came in place of 1"},
        {"endless", "bytes allowed arrive"},
        {"cut", "transfer closed"},
        {"elsewhere", "the scheme ftp is not allowed"},
        {"other-seal", "sealed by another key"},
        {"touched", "Contents/MacOS/x: not as it was sealed"},
        {"added", "Contents/more: added"},
        {"other-product", "another product, x.z"},
        {"other-build", "holds build 3 in place of build 4"},
        {"lower", "holds build 1 in place of build 2"},
        {"dies", "does not run on this machine: no such library"},
        {"way-out", "it leads out of its folder"},
        {"link-out", "a link that leads out"},
        {"device", "neither a file nor a folder nor a link"},
        {"set-user", "a set-user"},
        {"two-bundles", "something else than one bundle"},
        {"login", ""},
        {"nowhere", "answers with status 404"},
    };
    const TemporaryFolder folder;
    UpdatingApplication application{folder.path()};
    application.setAutomatic();
    for (const Case& each : cases) {
        SCOPED_TRACE(each.feed);
        const std::string told = application.check(each.feed);
        EXPECT_THAT(told, HasSubstr("aborted: "));
        EXPECT_THAT(told, HasSubstr(each.words));
        EXPECT_EQ(application.build(), "1");
        EXPECT_FALSE(application.installer->staged());
        EXPECT_THAT(Files::names(folder.path().string()).value(), ElementsAre("X.app"));
    }
}

TEST(AppcastUpdaterTests, AsksWhereThePersonIsToBeAsked) {
    const TemporaryFolder folder;
    UpdatingApplication application{folder.path()};
    auto& host = application.host;
    host.found = UserUpdateChoice::dismiss;
    EXPECT_EQ(application.check("good"), "found 2,chose,dismiss,finished");
    EXPECT_EQ(application.check("news", true), "checking,found 2,chose,dismiss,finished");
    application.setAutomatic();
    for (const char* neverSilent : {"offer-only", "news"}) {
        EXPECT_EQ(application.check(neverSilent), "found 2,chose,dismiss,finished");
    }
    application.setAutomatic(false);
    host.found = UserUpdateChoice::skip;
    EXPECT_EQ(application.check("good"), "found 2,chose,dismiss,finished");
    EXPECT_EQ(application.check("good"), "dismiss,finished");
    EXPECT_EQ(application.check("good", true), "checking,found 2,chose,dismiss,finished");

    application.setAutomatic();
    EXPECT_EQ(application.check("good"), "dismiss,finished");
    host.found = UserUpdateChoice::install;
    host.ready = UserUpdateChoice::dismiss;
    EXPECT_EQ(
        application.check("good", true),
        "checking,found 2,chose,will-download,download,length,will-extract,extracting,ready,chose,dismiss,finished");
    EXPECT_EQ(application.check("touched", true),
              "checking,found 2 staged,chose,ready,chose,dismiss,finished");  // the archive is not needed any more
    host.ready = UserUpdateChoice::install;
    EXPECT_EQ(application.check("good", true), "checking,found 2 staged,chose,ready,installing,dismiss,finished");
    EXPECT_EQ(application.build(), "2");
}

TEST(AppcastUpdaterTests, FindsAgainWhatIsStagedUntilSomethingElseIsWanted) {
    const TemporaryFolder folder;
    const auto expect = [&](const std::string& feed, const std::string& told, const std::string& staged) {
        SCOPED_TRACE(feed);
        UpdateSite::shared().takeAsked();
        UpdatingApplication application{folder.path()};
        application.setAutomatic();
        EXPECT_THAT(application.check(feed), EndsWith(told));
        const auto& proven = application.installer->staged();
        EXPECT_EQ(proven ? proven->build : "none proven", staged);
        EXPECT_THAT(application.rest(), ElementsAre(told == nothingLeft ? "nothing" : "staged.app"));
    };
    expect("good", broughtSilently, "2");
    expect("good", "dismiss,on-quit,dismiss,finished", "2");
    EXPECT_EQ(UpdateSite::shared().takeAsked(), "/good/appcast.xml\n");
    expect("nowhere", "status 404", "none proven");
    expect("newer", broughtSilently, "3");
    // It is brought anew once somebody has touched it.
    std::ofstream{UpdatePlaces{folder / "X.app"}.staged() + "/Contents/more"} << "x";
    expect("newer", broughtSilently, "3");
    expect("login", "", "none proven");
    expect("old", nothingLeft, "none proven");
}

TEST(AppcastUpdaterTests, EndsAtEveryWordWithoutATraceWhenItIsCancelledOrGone) {
    const std::string words[] = {"checking", "found 2",      "chose",      "will-download", "download",
                                 "length",   "will-extract", "extracting", "ready"};
    for (const std::string& at : words) {
        for (const bool isCancel : {true, false}) {
            SCOPED_TRACE(at + (isCancel ? " cancelled" : " gone"));
            const TemporaryFolder folder;
            UpdatingApplication application{folder.path()};
            auto& host = application.host;
            bool isDone = false;
            host.onWord = [&](const std::string& word) {
                if (word != at || std::exchange(isDone, true)) return;
                isCancel ? host.cancel() : application.session.reset();
            };
            if (isCancel) {
                EXPECT_THAT(application.check("good", true), EndsWith("dismiss,finished cancelled"));
            } else {
                application.session = application.updater("good");
                application.session->checkForUpdates();
                EXPECT_TRUE(runUntil(application.loop, [&] { return isDone; }));
                host.onWord = [](const std::string& word) { ADD_FAILURE() << word << " of an updater that is gone"; };
            }
            host.onWord = [](const std::string&) {};
            // The next one waits for what is still ending, and is none the worse.
            EXPECT_THAT(application.check("good", true), EndsWith("ready,installing,dismiss,finished"));
            EXPECT_EQ(application.build(), "2");
        }
    }
}

TEST(AppcastUpdaterTests, SaysBeforeTheFirstByteThatItCannotBePutInPlace) {
    ASSERT_NE(::geteuid(), 0U) << "root is refused nothing";
    const TemporaryFolder folder;
    const auto refused = [&](const fs::path& home, const std::string& words, const auto& touch) {
        SCOPED_TRACE(words);
        UpdatingApplication application{home};
        application.setAutomatic();
        touch();
        UpdateSite::shared().takeAsked();
        EXPECT_THAT(application.check("good"), HasSubstr(words));
        EXPECT_EQ(UpdateSite::shared().takeAsked(), "/good/appcast.xml\n");
    };
    const auto home = [&](const char* name) {
        fs::create_directory(folder / name);
        return fs::path{folder / name};
    };
    const fs::path closed = home("closed"), fixed = home("fixed"), moved = home("moved"), other = home("other"),
                   taken = home("taken");
    refused(closed, "which you may not change; whoever installed it there",
            [&] { fs::permissions(closed, fs::perms{0555}); });
    refused(fixed, "which you may not change", [&] { fs::permissions(fixed / "X.app", fs::perms{0555}); });
    refused(moved, "is not the copy that runs", [&] { fs::rename(moved / "X.app", moved / "Y.app"); });
    refused(other, "is not the copy that runs", [&] {
        fs::rename(other / "X.app", other / "Y.app");
        fs::copy(other / "Y.app", other / "X.app", fs::copy_options::recursive);
    });
    FileDescriptor lock;
    refused(taken, "is in use by another process", [&] {
        fs::create_directory(taken / ".X.app.update");
        lock = Folders::lock(taken / ".X.app.update");
        std::ofstream{taken / ".X.app.update/download"} << "x";
    });
    EXPECT_TRUE(fs::exists(taken / ".X.app.update/download"));
    const fs::path linked = home("linked"), open = home("open");
    refused(linked, "is not a folder", [&] { fs::create_directory_symlink(taken, linked / ".X.app.update"); });
    refused(open, "is not this user's alone", [&] {
        fs::create_directory(open / ".X.app.update");
        fs::permissions(open / ".X.app.update", fs::perms{0777});
    });
}

TEST(AppcastUpdaterTests, WhatWaitsGoesOnWaitingThroughAFailedCheckAndOutlivesTheConsentAsAnOffer) {
    const TemporaryFolder folder;
    UpdatingApplication application{folder.path()};
    auto& host = application.host;
    application.setAutomatic();
    application.check("good");
    host.install = nullptr;
    EXPECT_THAT(application.check("nowhere", true), HasSubstr("checking,on-quit,shown: "));
    EXPECT_TRUE(host.install) << "the block of a check before is dead";
    application.setAutomatic(false);
    application.install();
    EXPECT_THAT(application.log, HasSubstr("the consent to silent updates was withdrawn"));
    EXPECT_EQ(application.build(), "1");
    EXPECT_THAT(application.check("nowhere"), Not(HasSubstr("on-quit")));
    application.installer->applyAtQuit();
    EXPECT_THAT(application.rest(), ElementsAre("staged.app"));
    host.found = UserUpdateChoice::dismiss;
    EXPECT_EQ(application.check("good"), "found 2 staged,chose,dismiss,finished");
    application.installer->applyAtQuit();
    EXPECT_THAT(application.rest(), ElementsAre("record.json", "staged.app"));
}

TEST(AppcastUpdaterTests, WhatIsTouchedWhileItWaitsIsNeverPutInPlace) {
    for (const bool isQuit : {false, true}) {
        SCOPED_TRACE(isQuit);
        const TemporaryFolder folder;
        UpdatingApplication application{folder.path()};
        application.setAutomatic();
        application.check("good");
        std::ofstream{application.installer->places().staged() + "/Contents/MacOS/x", std::ios::app} << "rm -r /";
        if (isQuit) {
            application.installer->applyAtQuit();
            application.log += BundleExchange::settle(application.installer->places(), [&](const std::string& staged) {
                                   return application.prove(staged);
                               }).refusal;
        } else {
            application.install();
            EXPECT_THAT(application.host.words(), HasSubstr("aborted: "));
        }
        EXPECT_THAT(application.log, HasSubstr("Contents/MacOS/x: not as it was sealed"));
        EXPECT_EQ(application.build(), "1");
        EXPECT_EQ(application.relaunches, 0);
        EXPECT_FALSE(fs::exists(application.installer->places().staged()));
        EXPECT_THAT(application.check("good"), HasSubstr("will-download"));
    }
}

TEST(AppcastUpdaterTests, AFullDiskLeavesNothing) {
    const SmallDisk disk;
    if (disk.path() == nullptr) GTEST_SKIP() << SmallDisk::absence;
    // The bundles are of 60 KB each: ever less is left for the archive, what it unpacks to, and the record.
    for (int ballast = 230'000; ballast > 0; ballast -= 8'000) {
        SCOPED_TRACE(ballast);
        const TemporaryFolder folder{disk.path()};
        UpdatingApplication application{folder.path()};
        application.setAutomatic();
        const fs::path filler = fs::path{disk.path()} / "ballast";
        std::ofstream{filler} << std::string(static_cast<std::size_t>(ballast), 'x');
        const std::string told = application.check("good");
        if (application.installer->staged()) {
            std::ofstream{filler, std::ios::app} << std::string(300'000, 'x');
            application.install();
            // A file system may have room for so small a record.
            EXPECT_EQ(application.build(), application.relaunches > 0 ? "2" : "1");
            EXPECT_THAT(application.log, HasSubstr(application.relaunches > 0 ? "is in place" : "No space left"));
        } else {
            EXPECT_THAT(told, HasSubstr("No space left on device"));
            EXPECT_THAT(Files::names(folder.path().string()).value(), ElementsAre("X.app"));
        }
        fs::remove(filler);
    }
}

TEST(AppcastUpdaterTests, WhatIsStagedGoesInAtTheLaunchAfterTheQuitUnlessItIsNotWhatWasProven) {
    const TemporaryFolder folder;
    UpdatingApplication application{folder.path()};
    application.setAutomatic();
    application.check("good");
    fs::rename(application.installer->places().staged(), folder / "kept");
    fs::copy(folder / "kept", application.installer->places().staged(), fs::copy_options::recursive);
    application.installer->applyAtQuit();
    EXPECT_THAT(application.log, HasSubstr("not the update that was proven"));
    EXPECT_EQ(application.build(), "1");
    application.check("good");
    application.session.reset();
    application.installer->applyAtQuit();
    EXPECT_EQ(application.build(), "1");
    // A proof without an end is no verdict.
    for (const auto& [helper, budget] : {std::pair{LARKMOOR_VERIFY, 1}, {"/no/helper", 60'000}}) {
        HelperSignatures none{application.runner, {helper, LARKMOOR_BUILD, std::chrono::milliseconds{budget}}};
        const auto settled = BundleExchange::settle(application.installer->places(), [&](const std::string& staged) {
            return testing::runTask(application.loop, none.verifyBundle(staged, UpdateSite::shared().key(), {}))
                .value();
        });
        EXPECT_THAT(settled.refusal, HasSubstr("; it stays staged"));
        EXPECT_EQ(application.build(), "1");
        EXPECT_THAT(application.check("good"), Not(HasSubstr("will-download")));
        application.installer->applyAtQuit();
    }
    const auto prove = [&application](const std::string& staged) { return application.prove(staged); };
    EXPECT_TRUE(BundleExchange::settle(application.installer->places(), prove).isExchanged);
    EXPECT_EQ(application.build(), "2");
    EXPECT_EQ(application.relaunches, 0);
}

}  // namespace
}  // namespace larkmoor::testing
