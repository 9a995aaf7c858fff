// Checks for updates, from the click or the clock to the last word, and the migration beside them.
#include "LarkmoorMenuApp/UpdateHostFixture.h"

namespace larkmoor::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using enum UserUpdateStage;
using enum UserUpdateChoice;
using Verdict = MigrationVerdict;
using Text = GatewayResponse::Text;
using Chosen = AlertAnswers::Chosen;

const std::string started =
    "updater started · feed https://a.b/feed · key key45678… · OUR clock, Sparkle's scheduler "
    "off (m:1545) · auto-install=false";
const std::string rebuilt =
    "rebuilt the updater before asking, so the feed decides rather than a pick from an earlier "
    "check (m:1545) · running=true";
const std::string couldNot = "Larkmoor couldn't check for updates: ";
const auto nothing = [](auto...) {};

TEST_F(UpdateHostTest, AnUpdaterRunsWithAFeedAlone) {
    EXPECT_EQ(click(duties.checkForUpdate)->sentence, couldNot + "Larkmoor is still starting, try again in a moment");
    start(duties.buildUpdater);
    EXPECT_THAT(log, ElementsAre(started));
    EXPECT_EQ(daemonLog, log);
    book.starts = std::unexpected("no place for it");
    const Sentence noFeed = UpdateMenuAnswer{UpdateMenuAnswer::NoFeed{}}.sentence();
    EXPECT_EQ(click(duties.checkForUpdate)->sentence, noFeed);
    EXPECT_EQ(log[1], "the updater would not start: no place for it");
    for (auto* missing : {&bundle.feedURL, &bundle.publicKey}) {
        const auto kept = std::exchange(*missing, " \n");
        remake();
        EXPECT_EQ(click(duties.checkForUpdate)->sentence, noFeed);
        EXPECT_THAT(log,
                    ElementsAre("NOT starting the updater: this bundle carries no SUFeedURL and/or no SUPublicEDKey. "
                                "It was wrapped without them (Scripts/make-daemon-app.sh stamps both)."));
        *missing = kept;
    }
}

TEST_F(UpdateHostTest, AClickIsAnsweredByItsOwnCheckAlone) {
    struct Case {
        std::function<void()> end;
        Sentence sentence;
        std::string line;
    };
    const std::string asked = "check for updates: asked from the menu";
    const std::vector<Case> cases{
        {[&] { book.driver->showUpdateNotFoundWithError("", nothing); }, "You're up to date (v1.0)",
         "no update on the feed (asked from the menu: true)"},
        {[&] { book.driver->showUpdaterError("no network", nothing); }, couldNot + "no network",
         "update check failed: no network"},
        {[&] { book.driver->showUpdateFound(item, {.userInitiated = true}, nothing); }, std::nullopt,
         "update 1.2 (build 8) found — offered"},
        {[&] { host->didFinishUpdateCycle(*book.updater, std::nullopt); }, std::nullopt,
         "check for updates: the menu check ended with no answer (cancelled) · the daily clock is free again"},
        {[&] { click(duties.checkForUpdate); }, couldNot + "another check just started, try again in a moment", asked},
    };
    remake();
    for (const Case& each : cases) {
        forget();
        const auto clicked = click(duties.checkForUpdate);
        EXPECT_THAT(log, ElementsAre(started, rebuilt, asked));
        EXPECT_THAT(book.done, ElementsAre("made", "check"));
        book.driver->showUserInitiatedUpdateCheck(nothing);
        tellStale();
        clock.run(900ms);
        EXPECT_FALSE(clicked->isDone);
        each.end();
        clock.run(10s);
        EXPECT_TRUE(clicked->isDone);
        EXPECT_EQ(clicked->sentence, each.sentence);
        EXPECT_EQ(log.back(), each.line);
        EXPECT_EQ(alerts.shown.size(), each.line.ends_with("offered") ? 1U : 0U) << "a quick check shows no window";
    }
    // The last click is not answered yet; a download has no second check beside it.
    book.driver->showDownloadInitiated(nothing);
    EXPECT_EQ(click(duties.checkForUpdate)->sentence, couldNot + "an update is already downloading");
    host->didFinishUpdateCycle(*book.updater, "no network");
    alerts.answers = {Chosen{0}};
    book.driver->showUserInitiatedUpdateCheck([&] { opened.emplace_back("cancelled"); });
    clock.run(1s);
    EXPECT_THAT(alerts.shown, ElementsAre("Checking for updates… [Cancel]"));
    EXPECT_THAT(opened, ElementsAre("cancelled"));
    EXPECT_FALSE(click(duties.installUpdate)->isDone) << "with nothing to install it is a check";
}

TEST_F(UpdateHostTest, ASessionIsSilentForThoseWhoWantItAlone) {
    for (unsigned bits = 0; bits < 16; ++bits) {
        remake();
        book.optedIn = (bits & 1U) != 0;
        item.isOfferOnly = (bits & 4U) != 0;
        item.url = (bits & 8U) != 0 ? std::nullopt : std::optional<std::string>{"https://a.b/8"};
        std::vector<UserUpdateChoice> replies;
        book.driver->showUpdateFound(item, {.userInitiated = (bits & 2U) != 0},
                                     [&](UserUpdateChoice choice) { replies.push_back(choice); });
        EXPECT_THAT(replies, IsEmpty());
        clock.run(0s);
        const bool isSilent = bits == 1;
        EXPECT_EQ(log[0], std::string{"update 1.2 (build 8) found — "} +
                              (isSilent ? "installing silently, through the gate" : "offered"));
        EXPECT_EQ(alerts.shown.size(), isSilent ? 0U : 1U);
        EXPECT_THAT(replies, ElementsAre(isSilent ? install : UserUpdateChoice::unseen));
    }
}

TEST_F(UpdateHostTest, TheRowFollowsADownloadToItsEnd) {
    remake();
    host->willDownloadUpdate(*book.updater, item);
    book.driver->showDownloadInitiated(nothing);
    EXPECT_EQ(row(), "Downloading 1.2…");
    book.driver->showDownloadDidReceiveExpectedContentLength(200);
    for (int part = 0; part < 100; ++part) book.driver->showDownloadDidReceiveData(1);
    EXPECT_EQ(rowChanges, 1) << "progress is drawn at the menu's own pace";
    tellStale();
    EXPECT_EQ(row(), "Downloading 1.2, 50%");
    host->willExtractUpdate(*book.updater, item);
    EXPECT_EQ(row(), "Unpacking 1.2…");
    callIsLive = book.optedIn = true;
    book.driver->dismissUpdateInstallation();
    EXPECT_EQ(row(), "");
    EXPECT_TRUE(host->willInstallUpdateOnQuit(*book.updater, item, [&] { opened.emplace_back("installed"); }));
    clock.run(1s);
    EXPECT_EQ(row(), "1.2 ready, installs after your call");
    EXPECT_TRUE(click(duties.installUpdate)->isDone);
    EXPECT_THAT(opened, ElementsAre("installed"));
    EXPECT_EQ(book.done.back(), "chosen") << "else it would need a consent";
    EXPECT_TRUE(
        host->willInstallUpdateOnQuit(*book.updater, item, [&] { host->didAbortWithError(*book.updater, "no room"); }));
    clock.run(0s);
    click(duties.installUpdate);
    book.driver->showUpdaterError("no luck", nothing);
    const std::string not_ = "Larkmoor couldn't install the update: ";
    EXPECT_THAT(opened, ElementsAre("installed", not_ + "no room", not_ + "no luck"));
    host->userDidMakeChoice(*book.updater, dismiss, item, {.stage = installing});
    EXPECT_EQ(row(), "1.2 ready, installs when you quit");
    log.clear();
    host->failedToDownloadUpdate(*book.updater, item, "no\nnetwork");
    host->didAbortWithError(*book.updater, "the\x1B disk is full");
    EXPECT_EQ(opened.size(), 3U) << "nobody asked for this one";
    EXPECT_THAT(log, ElementsAre("failed to download 1.2: no network", "update cycle aborted: the\uFFFD disk is full"));
    UserUpdateChoice reply{};
    book.driver->showReadyToInstallAndRelaunch([&](UserUpdateChoice choice) { reply = choice; });
    EXPECT_EQ(row(), "");
    clock.run(0s);
    EXPECT_EQ(reply, install);

    host->willInstallUpdateOnQuit(*book.updater, item, [&] { ADD_FAILURE() << "without a consent"; });
    clock.run(1s);
    callIsLive = book.optedIn = false;
    forget();
    clock.run(150s);
    EXPECT_EQ(book.done, (Words{"made", "background check"})) << "which offers it";
    EXPECT_EQ(row(), "");
}

TEST_F(UpdateHostTest, ATickAsksUnlessSomethingIsUnderWay) {
    const std::string asks = "fired (every 60s) · rebuilding, then asking", not_ = "stood down (every 60s) · ";
    const std::vector<std::pair<std::function<void()>, std::string>> cases{
        {[] {}, asks},
        {[&] { click(duties.checkForUpdate); }, not_ + "a menu click is still owed an answer"},
        {[&] { book.driver->showDownloadInitiated(nothing); }, not_ + "an update is downloading"},
        {[&] { host->willInstallUpdateOnQuit(*book.updater, item, nothing); },
         not_ + "an update is waiting for a call to end"},
        {[&] { host->userDidMakeChoice(*book.updater, dismiss, item, {.stage = installing}); }, asks},
    };
    defaults.strings["UpdateTestLane"] = "YES";
    callIsLive = book.optedIn = true;
    for (const auto& [before, tick] : cases) {
        remake();
        before();
        clock.run(0s);
        forget();
        duties.armDailyClock();
        clock.run(59s);
        EXPECT_EQ(log[0],
                  "daily clock armed · first tick in 0s, then every 60s (m:1545) · TEST LANE, not the shipped "
                  "cadence");
        EXPECT_EQ(log[1], "daily check: tick " + tick);
        EXPECT_EQ(book.done, tick == asks ? (Words{"made", "background check"}) : Words{});
        EXPECT_EQ(std::ranges::count(log, log[1]), 1);
        clock.run(1s);
        EXPECT_EQ(std::ranges::count(log, log[1]), 2);
    }
    defaults.strings.clear();
    book.lastCheck = clock.wall() - 1h;
    duties.armDailyClock();
    EXPECT_EQ(log.back(), "daily clock armed · first tick in 82800s, then every 86400s (m:1545)");
}

TEST_F(UpdateHostTest, AnOfferIsDrawnWithItsButtons) {
    struct Case {
        AppcastItem item;
        UserUpdateStage stage;
        std::vector<AlertAnswer> answers;
        std::string shown, text;
        UserUpdateChoice reply;
        Words opened{};
    };
    AppcastItem critical = item, noted = item, news = item;
    critical.isCritical = true, critical.notes = "<p>Less &amp; less</p>";
    noted.notesURL = "https://a.b/n";
    news.url.reset(), news.infoURL = "https://a.b/i";
    const std::string available = "Larkmoor 1.2 is available [", others = "Skip This Version|Remind Me Later]";
    const std::string plain = available + "Install Update|" + others, told = available + "Learn More…|" + others;
    const std::string urgent = available + "Install Update|Remind Me Later]";
    const std::string withPage = available + "Install Update|Release Notes…|" + others;
    const std::string ready = "Larkmoor 1.2 is ready to install [Install and Relaunch|Install on Quit]";
    const std::string fewer = " This update is critical.\n\nLess & less",
                      elsewhere = " This one is not installed from here.";
    const std::vector<Case> cases{
        {item, notDownloaded, {Chosen{0}}, plain, "", install},
        {item, notDownloaded, {Chosen{1}}, plain, "", skip},
        {item, downloaded, {Chosen{2}}, plain, "", dismiss},
        {item, notDownloaded, {AlertAnswers::NotShown{}}, plain, "", UserUpdateChoice::unseen},
        {item, installing, {Chosen{0}}, ready, "", install},
        {critical, notDownloaded, {Chosen{1}}, urgent, fewer, dismiss},
        {noted, notDownloaded, {Chosen{1}, Chosen{0}}, withPage, "", install, {"https://a.b/n"}},
        {news, notDownloaded, {Chosen{0}}, told, elsewhere, dismiss, {"https://a.b/i"}},
    };
    remake();
    for (const Case& each : cases) {
        forget();
        opened.clear();
        alerts.answers = each.answers;
        std::vector<UserUpdateChoice> replies;
        book.driver->showUpdateFound(each.item, {.stage = each.stage},
                                     [&](UserUpdateChoice choice) { replies.push_back(choice); });
        clock.run(0s);
        EXPECT_EQ(alerts.shown, Words(each.answers.size(), each.shown));
        EXPECT_EQ(alerts.lastText, "You have version 1.0." + each.text);
        EXPECT_THAT(replies, ElementsAre(each.reply));
        EXPECT_EQ(opened, each.opened);
    }
    OneShotEvent answered{loop};
    alerts.until = &answered;
    alerts.answers = {Chosen{0}};
    book.driver->showUpdateFound(item, {}, [](UserUpdateChoice) { ADD_FAILURE() << "it was taken back"; });
    clock.run(0s);
    click(duties.checkForUpdate);
    answered.set();
    clock.run(0s);
}

TEST_F(UpdateHostTest, AMigrationIsToldAndSettled) {
    struct Case {
        MigrationRun run;
        MarkerWrite settled;
        std::string line, sentence;
    };
    const PostponedUpdate::Record record{.version = "7", .because = "so", .at = "now", .backup = {}, .log = {}};
    const std::string begin = "migrations at launch · build 7 · pending ";
    const std::string silent = " · the daemon did not answer on build 7, so this line reached NSLog only";
    const std::string current = "Larkmoor's data is up to date.";
    const MarkerWrite::NotEarned none;
    const std::vector<Case> cases{
        {{Verdict::Green{}, 0, true, {}, 12}, none, "0 · plan 12 ms · nothing pending", current},
        {{Verdict::Green{}, {}, true}, none, "- · plan - ms · nothing pending", current},
        {{Verdict::Green{}, 2, true, "put back"},
         none,
         "2 · plan - ms · applied 2 steps",
         "Larkmoor updated its data."},
        {{Verdict::PostponeAndRetry{record}, {}, false, "put back"},
         none,
         "- · plan - ms · retriable: so" + silent,
         "Larkmoor couldn't update its data just now. It will try again the next time it opens."},
        {{Verdict::PostponeForever{record}, {}, true},
         MarkerWrite::Failed{"/p", "full"},
         "- · plan - ms · red, postponed for build 7 · the red marker at /p could NOT be changed — full",
         "Larkmoor couldn't update its data on this Mac. Tell RK."},
    };
    for (const Case& each : cases) {
        forget();
        run = each.run;
        settled = each.settled;
        EXPECT_EQ(click(duties.migrate)->sentence, each.sentence);
        Words want{begin + each.line};
        if (run.restoreLine) want.insert(want.begin(), *run.restoreLine + (run.serving ? "" : silent));
        EXPECT_EQ(log, want);
        EXPECT_EQ(daemonLog, run.serving ? log : Words{});
        EXPECT_EQ(duties.migrationOwed(), !run.verdict.is<Verdict::Green>());
    }
    // A standing marker stops the launch, and no click.
    isPostponed = true;
    run = cases[0].run;
    for (const bool answers : {true, false}) {
        forget();
        dances = 0;
        daemonBuild = Text{answers ? "7" : "6"};
        start(duties.migrateAtLaunch);
        clock.run(70s);
        EXPECT_THAT(log, ElementsAre(begin + "- · plan - ms · red, postponed for build 7 (standing marker)" +
                                     (answers ? "" : silent)));
        EXPECT_TRUE(duties.migrationOwed() && !duties.isMigrating() && dances == 0);
        EXPECT_EQ(book.done.back(), "recovered");
        click(duties.migrate);
        EXPECT_TRUE(!duties.migrationOwed() && dances == 1);
    }
}

TEST_F(UpdateHostTest, AMigrationHoldsUpdatesUntilItsEnd) {
    remake();
    book.optedIn = true;
    const auto installs = [this] { opened.emplace_back("installed"); };
    for (const bool throws : {false, true}) {
        for (const bool holds : {true, false}) {
            OneShotEvent ends{loop};
            danceEnds = &ends;
            danceThrows = throws;
            opened.clear();
            const auto clicked = click(duties.migrate);
            EXPECT_EQ(click(duties.migrate)->sentence, std::string{MigrationWords::notNow}) << "one at a time";
            if (holds) host->willInstallUpdateOnQuit(*book.updater, item, installs);
            clock.run(1min);
            EXPECT_EQ(row(), holds ? "1.2 ready, installs after your call" : "");
            EXPECT_TRUE(click(duties.installUpdate)->isDone);
            EXPECT_EQ(log.back(), "install now: a migration is running — the swap waits for its end");
            EXPECT_TRUE(opened.empty() && duties.isMigrating());
            ends.set();
            clock.run(0s);
            EXPECT_TRUE(clicked->sentence && !duties.isMigrating());
            EXPECT_EQ(opened, holds ? Words{"installed"} : Words{});
            EXPECT_EQ(log.back() ==
                          "install now: the migration ended with no install held — nothing to swap; the next "
                          "check offers it",
                      !holds);
        }
    }
    host->willInstallUpdateOnQuit(*book.updater, item, installs);
    clock.run(0s);
    EXPECT_THAT(opened, ElementsAre("installed")) << "nothing holds it any more";
}

TEST_F(UpdateHostTest, AnOlderDaemonIsRestarted) {
    const std::string failed =
        "post-swap kickstart FAILED (launchctl exit 5) — the daemon is still running the previous "
        "binary; it will come back on the new one at the next login";
    const std::vector<std::tuple<std::optional<GatewayResponse>, ExitStatus, Words>> older{
        {Text{"6"}, 0, {}},
        {Text{"6"}, 5, {failed}},
        {Text{"6"}, std::unexpected("nobody"), {"post-swap kickstart could not run launchctl: nobody"}},
    };
    for (auto [daemon, exit, want] : older) {
        forget();
        daemonBuild = daemon;
        kickstartExit = exit;
        start(duties.postSwapBounce);
        want.insert(want.begin(),
                    "the daemon is on build 6 and this app is on 7 — kickstarting "
                    "gui/501/tools.fenwright.larkmoor.gateway so the family runs one version (m:955)");
        EXPECT_EQ(log, want);
    }
    EXPECT_EQ(restarted, Words(older.size(), "gui/501/tools.fenwright.larkmoor.gateway killed"));
    forget();
    for (const char* build : {"7", "8", "-6", "", "6.1", "99999999999999999999"}) {
        daemonBuild = Text{build};
        start(duties.postSwapBounce);
    }
    daemonBuild = GatewayResponse::Failure{"6"};
    start(duties.postSwapBounce);
    daemonBuild.reset();
    start(duties.postSwapBounce);
    clock.run(12s);
    EXPECT_THAT(log, IsEmpty());
}

}  // namespace
}  // namespace larkmoor::testing
