// A menu between a scripted daemon, fake services of the platform, and duties that note their names.
#pragma once

#include <stdexcept>

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
        EXPECT_TRUE(timers.call(MenuBar::refreshInterval));
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
    void runSettings() {
        applications.running = {{7, "/x/S.app/Contents/MacOS/settings", std::string{ClientInstance::settingsID}}};
    }
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

    const std::shared_ptr<MenuRow>& row(std::string_view title) const {
        const auto is = [title](const auto& one) { return one->title() == title; };
        const auto found = std::ranges::find_if(menu->rows().inOrder, is);
        return found == menu->rows().inOrder.end() ? throw std::runtime_error{"no such row"} : *found;
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

    static Task<void> noted(Words& list, std::string word, OneShotEvent* until, const bool& throws) {
        list.push_back(word);
        if (until != nullptr) {
            co_await until->wait();
            list.push_back(word + " done");
        }
        if (throws) throw std::runtime_error{"no memory"};
    }
    MenuDuties::Duty noting(std::string word, OneShotEvent* until = nullptr) {
        return [this, word = std::move(word), until] { return noted(done, word, until, dutiesThrow); };
    }
    static Task<void> untilSet(OneShotEvent* event) {
        if (event != nullptr) co_await event->wait();
    }
    template <class T>
    static Task<T> given(T value) {
        co_return value;
    }
    /// A duty that notes the word and answers.
    template <class T>
    std::function<Task<T>()> answering(std::string word, T& answer) {
        return [this, word = std::move(word), &answer] { return done.push_back(word), given(answer); };
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
    std::optional<MenuLine> upgrade;  ///< by a look for an upgrade
    std::function<void()> modelsChanged, updateChanged;
    std::optional<std::string> postponed;
    // What the clicks answer.
    std::optional<std::string> checked = "The newest one is there.", installed, migrated = "All is up to date.";
    bool dutiesThrow = false, allDone = false, owed = false, migrating = false, hasUpdater = true;

    OneShotEvent* storeWork = nullptr;  ///< that of a migration, and its end

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
                     .journeyWarrantedUnasked = [this] { return warranted == true ? warranted : std::nullopt; }},
        .connectors = {.converge = noting("converge"), .retiredBundleID = "the.old.one", .retire = noting("retire")},
        .models = {.startIfNeeded = noting("models"),
                   .attachProgress =
                       [this](std::function<void()> changed) {
                           modelsChanged = std::move(changed);
                           done.emplace_back("attach");
                       },
                   .line = [this] { return models; },
                   .allDownloadsDone = [this] { return allDone; },
                   .cancelNotification = "cancel.the.models",
                   .cancel = noting("cancel")},
        .updates = {.postSwapBounce = noting("bounce"),
                    .migrateAtLaunch = noting("migrate"),
                    .buildUpdater = answering("updater", hasUpdater),
                    .armDailyClock = [this] { done.emplace_back("clock"); },
                    .lookForUpgrade = [this] { update = upgrade ? upgrade : update; },
                    .attachRow = [this](std::function<void()> changed) { updateChanged = std::move(changed); },
                    .line = [this] { return update; },
                    .postponedSentence = [this] { return postponed; },
                    .migrationOwed = [this] { return owed; },
                    .isMigrating = [this] { return migrating; },
                    .checkForUpdate = answering("check", checked),
                    .installUpdate = answering("install", installed),
                    .migrate = answering("migrate now", migrated)},
    };
    FakeStatusItem* item = nullptr;
    std::shared_ptr<MenuBar> menu;

  private:
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
            .every = [this](auto interval, auto function) { return timers.add(interval, std::move(function)); },
            .open =
                [this](const std::string& path, const Words& arguments) {
                    done.push_back(fmt::format("open {} {}", path, fmt::join(arguments, " ")));
                },
            .isStoreAtWork = [this] { return storeWork != nullptr; },
            .untilStoreRests = [this] { return untilSet(storeWork); },
            .terminate = [this] { done.emplace_back("terminate"); },
            .bundle = bundle,
            .version = "2.1",
            .build = "340",
        };
    }

    std::optional<FakeDoor::Incoming> serve(const FakeDoor::Sent& sent) {
        const auto request = requestIn(sent.message);
        if (request) asked.push_back(name(*request));
        if ((!request && !isKnock(sent.message)) || daemon == Daemon::silent) return std::nullopt;
        if (daemon == Daemon::gone || daemon == Daemon::refuses) return broken();
        return replyOf(request ? answer(*request) : GatewayResponse::Ok{}, daemon == Daemon::ofTwo ? 2 : 1);
    }

    GatewayResponse answer(const GatewayRequest& request) const {
        if (request.is<GatewayRequest::Control>()) return control;
        if (request.is<GatewayRequest::Diagnostic>()) return GatewayResponse::Ok{};
        return request.as<GatewayRequest::Read>()->_0.is<ReadRequest::Health>() ? health : front;
    }

    static std::string name(const GatewayRequest& request) {
        if (const auto* read = request.as<GatewayRequest::Read>())
            return read->_0.is<ReadRequest::Health>() ? "health" : "front state";
        if (const auto* line = request.as<GatewayRequest::Diagnostic>()) {
            const auto& said = *line->_0.as<DiagnosticRequest::Log>();
            return fmt::format("{}: {}", said.source, said.line);
        }
        const ControlRequest& order = request.as<GatewayRequest::Control>()->_0;
        const auto* pause = order.as<ControlRequest::PauseFor>();
        return pause == nullptr ? std::string{verb(order)} : fmt::format("pause_for {}", pause->minutes);
    }
};

}  // namespace larkmoor::testing
