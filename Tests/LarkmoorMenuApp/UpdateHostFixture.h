// An update host between a driven clock, a daemon, a user and an updater that the test directs.
#pragma once

#include "LarkmoorBase/OneShotEvent.h"
#include "LarkmoorMenuApp/Update/StandardUserDriver.h"
#include "LarkmoorMenuApp/Update/UpdateHost.h"
#include "Support/DrivenClock.h"
#include "Support/FakeDefaults.h"

namespace larkmoor::testing {

using Words = std::vector<std::string>;

/// A user who answers the next alert with the first of `answers`, and then closes them.
struct ScriptedAlerts final : Alerts {
    Task<AlertAnswer> show(Alert alert, AlertWatch watch) override {
        shown.push_back(fmt::format("{} [{}]", alert.message, fmt::join(alert.buttons, "|")));
        lastText = alert.text;
        if (until != nullptr) co_await until->wait();
        if (watch.withdrawn.stop_requested() || answers.empty()) co_return AlertAnswers::NotShown{};
        const AlertAnswer answer = answers.front();
        answers.erase(answers.begin());
        co_return answer;
    }
    std::vector<AlertAnswer> answers;
    OneShotEvent* until = nullptr;
    Words shown;
    std::string lastText;
};

/// What the test and all updaters share; each updater says a last word while it ends.
struct UpdaterBook {
    Updater* updater = nullptr;  ///< the last one made; null after its end
    UserDriver* driver = nullptr;
    bool optedIn = false;
    bool hasStaged = true;
    std::optional<Updater::Date> lastCheck;
    std::expected<void, std::string> starts;
    Words done;
};

class FakeUpdater final : public Updater {
  public:
    FakeUpdater(UpdaterBook& book, UserDriver& driver, UpdaterDelegate& delegate) : book_(book), delegate_(delegate) {
        book_.updater = this;
        book_.driver = &driver;
        book_.done.emplace_back("made");
    }
    ~FakeUpdater() override {
        book_.updater = nullptr;
        delegate_.didAbortWithError(*this, "the updater ends");
        delegate_.didFinishUpdateCycle(*this, "the updater ends");
    }
    void setAutomaticallyChecksForUpdates(bool checks) override { EXPECT_FALSE(checks); }
    void setUpdateCheckInterval(std::chrono::seconds interval) override { EXPECT_EQ(interval.count(), 86400); }
    std::expected<void, std::string> startUpdater() override { return book_.starts; }
    void checkForUpdates() override { book_.done.emplace_back("check"); }
    void checkForUpdatesInBackground() override { book_.done.emplace_back("background check"); }
    void chooseStaged() override { book_.done.emplace_back("chosen"); }
    bool hasStaged() const override { return book_.hasStaged; }
    std::optional<Date> lastUpdateCheckDate() const override { return book_.lastCheck; }
    bool automaticallyDownloadsUpdates() const override { return book_.optedIn; }

  private:
    UpdaterBook& book_;
    UpdaterDelegate& delegate_;
};

class UpdateHostTest : public ::testing::Test, protected LarkmoorClient, protected LaunchAgents {
  protected:
    using Sentence = std::optional<std::string>;
    struct Clicked {
        bool isDone = false;
        Sentence sentence;
    };

    Task<GatewayResponse> send(GatewayRequest request) override {
        if (const auto* control = request.as<GatewayRequest::Control>()) {
            daemonLog.push_back(control->_0.as<ControlRequest::LogUpdate>()->line);
            co_return GatewayResponse::Ok{};
        }
        if (!daemonBuild) co_await clock.delay(std::chrono::hours{10000});
        if (request.as<GatewayRequest::Read>()->_0.is<ReadRequest::MeetingLive>()) {
            co_return GatewayResponse::Flag{callIsLive};
        }
        co_return *daemonBuild;
    }
    Task<ExitStatus> kickstart(std::string target, bool kill) override {
        restarted.push_back(target + (kill ? " killed" : ""));
        co_return kickstartExit;
    }
    Task<ExitStatus> print(std::string) override { co_return 0; }
    Task<std::optional<std::int32_t>> pid(std::string) override { co_return std::nullopt; }
    Task<bool> isCurrent(std::string) override { co_return true; }
    Task<ExitStatus> bootstrap(std::string, std::string) override { co_return 0; }
    Task<ExitStatus> bootout(std::string, bool) override { co_return 0; }

    /// A fresh host, whose launch has come to the updater. Without a feed the log has its words.
    void remake() {
        host = make();
        duties = host->duties();
        duties.attachRow([this] { ++rowChanges; });
        forget();
        start(duties.buildUpdater);
        if (book.updater != nullptr) forget();
    }
    void forget() { log.clear(), daemonLog.clear(), book.done.clear(), alerts.shown.clear(); }
    template <class T>
    void start(const std::function<Task<T>()>& task) {
        boost::asio::co_spawn(loop, task(), [](const std::exception_ptr& thrown, auto...) { EXPECT_FALSE(thrown); });
        clock.run({});
    }
    std::shared_ptr<Clicked> click(const MenuDuties::Click& what) {
        auto clicked = std::make_shared<Clicked>();
        boost::asio::co_spawn(loop, what(), [clicked](const std::exception_ptr& thrown, Sentence sentence) {
            EXPECT_FALSE(thrown);
            *clicked = {true, std::move(sentence)};
        });
        clock.run({});
        return clicked;
    }
    std::string row() const {
        const auto line = duties.line();
        return line ? line->title : "";
    }
    /// Everything that an updater can tell which is not the current one.
    void tellStale() {
        UpdaterBook stale;
        {
            const FakeUpdater other{stale, *book.driver, *host};
            host->willDownloadUpdate(other, item);
            host->willExtractUpdate(other, item);
            host->userDidMakeChoice(other, UserUpdateChoice::dismiss, item, {.stage = UserUpdateStage::installing});
            host->failedToDownloadUpdate(other, item, "stale");
            EXPECT_FALSE(host->willInstallUpdateOnQuit(other, item, [] { ADD_FAILURE(); }));
        }
        clock.run({});
    }
    Task<MigrationRun> dance() {
        ++dances;
        if (danceEnds != nullptr) co_await danceEnds->wait();
        if (danceThrows) throw std::runtime_error{"no memory"};
        co_return run;
    }
    template <class T>
    static Task<T> given(T value) {
        co_return value;
    }

    DrivenClock clock;
    MainLoop& loop = clock.loop();
    UpdaterBook book;
    ScriptedAlerts alerts;
    FakeDefaults defaults;
    Words log, daemonLog, restarted, opened;
    std::optional<GatewayResponse> daemonBuild = GatewayResponse::Text{"7"};  ///< nothing: it never answers
    bool callIsLive = false;
    ExitStatus kickstartExit = 0;
    int rowChanges = 0, dances = 0;
    MigrationRun run{.verdict = MigrationVerdict::Green{}, .serving = true};
    OneShotEvent* danceEnds = nullptr;
    bool danceThrows = false, isPostponed = false;
    MarkerWrite settled = MarkerWrite::NotEarned{};
    UpdateHost::Bundle bundle{
        .version = "1.0", .build = "7", .feedURL = " https://a.b/feed ", .publicKey = "key456789"};
    AppcastItem item{.versionString = "8", .displayVersionString = "1.2", .url = "https://a.b/8"};
    std::unique_ptr<UpdateHost> host = make();
    MenuDuties::Updates duties = host->duties();

    std::unique_ptr<UpdateHost> make() {
        return std::make_unique<UpdateHost>(UpdateHost::Seams{
            .loop = loop,
            .client = {std::shared_ptr<void>{}, this},
            .launchctl = *this,
            .defaults = defaults,
            .user = 501,
            .bundle = bundle,
            .log =
                [this](std::string_view line) {
                    EXPECT_TRUE(line.starts_with("[larkmoor-menu] "));
                    log.emplace_back(line.substr(line.find(' ') + 1));
                },
            .every = clock.every(),
            .makeClockSource = [this] { return clock.wallSource(); },
            .makeStandardDriver =
                [this] {
                    return std::make_unique<StandardUserDriver>(StandardUserDriver::Seams{
                        .loop = loop,
                        .alerts = alerts,
                        .waiting = clock.waiting(),
                        .openPage = [this](const std::string& address) { opened.push_back(address); },
                        .displayVersion = "1.0"});
                },
            .makeUpdater = [this](UserDriver& driver,
                                  UpdaterDelegate& to) { return std::make_unique<FakeUpdater>(book, driver, to); },
            .migrateInstalled = [this](const std::string&) { return dance(); },
            .recoverKilled = [this](const std::string&) -> Task<std::optional<std::string>> {
                book.done.emplace_back("recovered");
                co_return std::nullopt;
            },
            .ledger = {.postponed = [this](const std::string&) { return given(isPostponed); },
                       .settle = [this](const MigrationVerdict&, const std::string&) { return given(settled); },
                       .sentence = [] { return Sentence{}; }},
            .tell = [this](const std::string& sentence) { opened.push_back(sentence); },
            .now = [this] { return clock.steady(); },
            .waiting = clock.waiting(),
        });
    }
};

}  // namespace larkmoor::testing
