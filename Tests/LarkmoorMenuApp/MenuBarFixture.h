// A menu between a scripted daemon, fake services of the platform, and duties that note their names.
#pragma once

#include "LarkmoorBase/OneShotEvent.h"
#include "LarkmoorMenuApp/FakePlatform.h"
#include "LarkmoorMenuApp/MenuBar.h"
#include "LarkmoorWire/Identity/ClientInstance.h"
#include "Support/FakeDoor.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {

enum class Daemon {
    answers,
    gone,     ///< every connection fails, and the name has no owner
    refuses,  ///< every connection fails, and the name has an owner
    silent,
    ofTwo,  ///< speaks another contract
};

class MenuBarTest : public ::testing::Test {
  protected:
    using Words = std::vector<std::string>;

    MenuBarTest() {
        door.onMessage([this](const FakeDoor::Sent& sent) { return serve(sent); });
    }

    /// A fresh menu, launched; nothing has run yet.
    void make() {
        menu = MenuBar::make(platform(), duties);
        menu->applicationDidFinishLaunching();
    }
    /// The words of the launch are no longer in `done`, unless the launch itself is looked at by `make`.
    void launch() {
        make();
        settle();
        done.clear();
    }
    /// Runs all that is ready; what is left waits for the daemon, or for the test. The door's second attempt waits a
    /// millisecond here.
    void settle() {
        for (;;) {
            loop.restart();
            if (loop.poll() > 0) continue;
            if (loop.stopped()) return;
            if (loop.run_one_for(std::chrono::milliseconds{5}) == 0 && loop.poll() == 0) return;
        }
    }
    void tick() {
        EXPECT_TRUE(timers.fire(MenuBar::refreshInterval));
        settle();
    }
    void refresh() {
        spawn(loop, std::weak_ptr{menu}, &MenuBar::refresh);
        settle();
    }
    /// All connections of a daemon that ends.
    void endDaemon() {
        for (std::size_t connection = 0; connection < door.dialled(); ++connection) door.fail(connection);
        settle();
    }
    void tellJourney(std::optional<std::string> object) {
        notifications.post(std::string{ClientInstance::journeyVisibleNotification}, object, {});
        settle();
    }
    void open() {
        item->menu->open();
        settle();
    }
    void close() {
        item->menu->close();
        settle();
    }

    /// The settings application runs, and is asked for its panes.
    void runSettings() { applications.running = {{7, "/x/settings", std::string{ClientInstance::settingsID}}}; }
    /// Those that it was asked for since the last call, with "!" behind one that is to come to the front.
    Words panes() {
        Words wanted;
        for (const auto& [name, object, info] : std::exchange(notifications.posted, {})) {
            if (name != "tools.fenwright.larkmoor.open-window") continue;
            EXPECT_TRUE(info.empty() || info == (DistributedNotifications::Info{{"front", "1"}}));
            wanted.push_back(object.value_or("none") + (info.empty() ? "" : "!"));
        }
        return wanted;
    }

    std::shared_ptr<MenuRow> row(std::string_view title) const {
        const auto& rows = menu->rows().inOrder;
        const auto found =
            std::ranges::find(rows, title, [](const auto& one) { return std::string_view{one->title()}; });
        return found == rows.end() ? nullptr : *found;
    }
    /// Clicks as the tray does; false if that does nothing.
    bool click(std::string_view title) {
        const bool clicked = item->menu->click(*row(title));
        settle();
        return clicked;
    }
    /// The titles of the rows that show, and "-" for a separator.
    std::string visible() const {
        Words titles;
        for (const auto& one : menu->rows().inOrder) {
            if (!one->hidden()) titles.push_back(one->isSeparator() ? "-" : one->title());
        }
        return fmt::format("{}", fmt::join(titles, " | "));
    }

    static Task<void> noted(Words& list, std::string word, OneShotEvent* until = nullptr) {
        list.push_back(word);
        if (until == nullptr) co_return;
        co_await until->wait();
        list.push_back(word + " done");
    }
    MenuDuties::Duty noting(std::string word, OneShotEvent* until = nullptr) {
        return [this, word = std::move(word), until] { return noted(done, word, until); };
    }
    template <class T>
    static Task<T> notedAnswer(Words& list, std::string word, T value) {
        list.push_back(std::move(word));
        co_return value;
    }
    template <class T>
    static Task<T> given(T value) {
        co_return value;
    }

    MainLoop loop;
    FakeDoor door{loop};
    FakeNotifications notifications{loop};
    FakeApplications applications{loop};
    FakeAlerts alerts;
    ManualTimers timers;

    Daemon daemon = Daemon::answers;
    GatewayResponse health = GatewayResponse::Text{"healthy"};
    GatewayResponse front = GatewayResponse::FrontState{FrontRecording::full};
    GatewayResponse control = GatewayResponse::Ok{};

    MenuPlatform::Time now{};
    std::optional<bool> warranted = false;
    std::string bundle = "/tree/Larkmoor.app";

    // What the rows are to show.
    std::optional<MenuLine> models, update;
    std::optional<std::string> postponed;
    bool allDone = false, owed = false, migrating = false, hasUpdater = true;

    // What was done.
    Words asked;  ///< of the daemon
    Words done;   ///< by the duties and the platform, in order
    Words log;

    MenuDuties duties{
        .supervision = {.registerLoginItems = noting("register"),
                        .clearQuitAndHealLooseAgent = noting("heal"),
                        .releaseQuitIfHeld = noting("release quit")},
        .firstRun = {.warmBundledBinaries = noting("warm"),
                     .journeyWarranted = [this] { return given(warranted); },
                     .journeyWarrantedUnasked = [this] { return warranted; }},
        .connectors = {.converge = noting("converge"), .retiredBundleID = "the.old.one", .retire = noting("retire")},
        .models = {.startIfNeeded = noting("models"),
                   .attachProgress = [this] { done.emplace_back("attach"); },
                   .line = [this] { return models; },
                   .allDownloadsDone = [this] { return allDone; },
                   .cancelNotification = "cancel.the.models",
                   .cancel = noting("cancel")},
        .updates = {.postSwapBounce = noting("bounce"),
                    .migrateAtLaunch = noting("migrate"),
                    .buildUpdater = [this] { return notedAnswer(done, "updater", hasUpdater); },
                    .armDailyClock = [this] { done.emplace_back("clock"); },
                    .line = [this] { return update; },
                    .postponedSentence = [this] { return postponed; },
                    .migrationOwed = [this] { return owed; },
                    .isMigrating = [this] { return migrating; },
                    .checkForUpdate = answering("The newest one is there."),
                    .installUpdate = answering(std::nullopt),
                    .migrate = answering("All is up to date.")},
    };
    FakeStatusItem* item = nullptr;
    std::shared_ptr<MenuBar> menu;

  private:
    MenuDuties::Click answering(std::optional<std::string> sentence) {
        return [this, sentence] { return notedAnswer(done, "click: " + sentence.value_or("no words"), sentence); };
    }

    MenuPlatform platform() {
        return {
            .loop = loop,
            .client =
                XPCClient::make("the.door",
                                {.dial = door.dial(),
                                 .serviceRegistered = [this](std::string) { return given(daemon == Daemon::refuses); },
                                 .clientLineage = []() -> Task<ClientLineage> { co_return ClientLineage{}; }},
                                {.budget = std::chrono::milliseconds{1}, .pause = std::chrono::milliseconds{0}}),
            .notifications = notifications,
            .applications = applications,
            .alerts = alerts,
            .makeStatusItem =
                [this] {
                    auto made = std::make_unique<FakeStatusItem>();
                    item = made.get();
                    return made;
                },
            .now = [this] { return now; },
            .log = [this](std::string_view line) { log.emplace_back(line); },
            .setupLog = [this](std::string line) { done.push_back("setup log: " + line); },
            .every = timers.every(),
            .open =
                [this](const std::string& path, const Words& arguments) {
                    done.push_back(fmt::format("open {} {}", path, fmt::join(arguments, " ")));
                },
            .terminate = [this] { done.emplace_back("terminate"); },
            .bundle = bundle,
            .version = "2.1",
            .build = "340",
        };
    }

    std::optional<FakeDoor::Incoming> serve(const FakeDoor::Sent& sent) {
        const auto request = requestIn(sent.message);
        if (!request && !isKnock(sent.message)) return std::nullopt;
        if (request) asked.push_back(name(*request));
        switch (daemon) {
            case Daemon::answers:
                return replyOf(request ? answer(*request) : GatewayResponse::Ok{});
            case Daemon::ofTwo:
                return replyOf(request ? answer(*request) : GatewayResponse::Ok{}, 2);
            case Daemon::gone:
            case Daemon::refuses:
                return broken();
            case Daemon::silent:
                break;
        }
        return std::nullopt;
    }

    GatewayResponse answer(const GatewayRequest& request) const {
        if (request.is<GatewayRequest::Control>()) return control;
        if (request.is<GatewayRequest::Diagnostic>()) return GatewayResponse::Ok{};
        return request.as<GatewayRequest::Read>()->_0.is<ReadRequest::Health>() ? health : front;
    }

    static std::string name(const GatewayRequest& request) {
        if (const auto* order = request.as<GatewayRequest::Control>()) {
            const auto* pause = order->_0.as<ControlRequest::PauseFor>();
            return pause == nullptr ? std::string{verb(order->_0)} : fmt::format("pause_for {}", pause->minutes);
        }
        if (const auto* line = request.as<GatewayRequest::Diagnostic>()) {
            const auto& said = *line->_0.as<DiagnosticRequest::Log>();
            return fmt::format("{}: {}", said.source, said.line);
        }
        return request.as<GatewayRequest::Read>()->_0.is<ReadRequest::Health>() ? "health" : "front state";
    }
};

inline std::ostream& operator<<(std::ostream& out, const FakeStatusItem::Shown& shown) {
    return out << static_cast<int>(shown.icon) << " " << shown.label;
}

}  // namespace larkmoor::testing
