// The site of Tests/Support/update_site.py, and what an application needs that looks there for updates.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "LarkmoorMenuApp/Update/Appcast/AppcastUpdater.h"
#include "LarkmoorPlatform/Linux/Fetch/HelperFetch.h"
#include "LarkmoorPlatform/Linux/Processes/SpawningProcessRunner.h"
#include "LarkmoorPlatform/Linux/Signatures/HelperSignatures.h"
#include "Support/ChildProcess.h"
#include "Support/FakeDefaults.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor::testing {

/// Made once, for all tests of a program.
class UpdateSite {
  public:
    static UpdateSite& shared() {
        static UpdateSite site;
        return site;
    }

    std::string feed(const std::string& name) const { return base_ + "/" + name + "/appcast.xml"; }
    const std::string& key() const { return key_; }
    /// Where build 1 is copied from.
    std::string bundle() const { return folder_ / "bundle/X.app"; }
    /// What was asked for since the last call.
    std::string takeAsked() {
        const std::string file = folder_ / "asked";
        const auto bytes = Files::read(file);
        std::filesystem::remove(file);
        return bytes ? std::string{asText(*bytes)} : std::string{};
    }

  private:
    UpdateSite() {
        const std::string said = folder_ / "said";
        server_ = std::make_unique<ChildProcess>(
            std::vector<std::string>{"/bin/sh", "-c", "exec python3 \"$@\" >" + said, "sh", LARKMOOR_UPDATE_SITE,
                                     LARKMOOR_SCRIPTS, folder_.path().string(), "60000"});
        for (int tries = 0; tries < 1200 && key_.empty(); ++tries) {
            ::usleep(100'000);
            const auto bytes = Files::read(said);
            const std::string line = bytes ? std::string{asText(*bytes)} : std::string{};
            if (!line.ends_with('\n')) continue;
            const std::size_t blank = line.find(' ');
            base_ = "http://127.0.0.1:" + line.substr(0, blank);
            key_ = line.substr(blank + 1, line.size() - blank - 2);
        }
        if (key_.empty()) throw std::runtime_error("the site of updates did not come up");
    }

    TemporaryFolder folder_;
    std::unique_ptr<ChildProcess> server_;
    std::string base_, key_;
};

/// Writes down what it is told, and answers as it is set to.
struct RecordingHost final : UserDriver, UpdaterDelegate {
    std::vector<std::string> heard;
    UserUpdateChoice found = UserUpdateChoice::install, ready = UserUpdateChoice::install;
    /// Called at each word that is heard.
    std::function<void(const std::string&)> onWord = [](const std::string&) {};
    Cancellation cancel;
    std::function<void()> install;
    std::uint64_t bytes = 0, expected = 0;

    std::string words() const { return fmt::format("{}", fmt::join(heard, ",")); }
    bool isFinished() const { return !heard.empty() && heard.back().starts_with("finished"); }

    void showUserInitiatedUpdateCheck(Cancellation cancellation) override {
        cancel = std::move(cancellation);
        hear("checking");
    }
    void showUpdateFound(const AppcastItem& item, UserUpdateState state, Reply reply) override {
        hear(
            fmt::format("found {}{}", item.versionString, state.stage == UserUpdateStage::installing ? " staged" : ""));
        reply(found);
        reply(UserUpdateChoice::install);  // a second answer does not count
    }
    void showUpdateNotFoundWithError(const std::string&, Acknowledgement) override { hear("none"); }
    void showUpdaterError(const std::string& reason, Acknowledgement) override { hear("shown: " + reason); }
    void showDownloadInitiated(Cancellation cancellation) override {
        cancel = std::move(cancellation);
        hear("download");
    }
    void showDownloadDidReceiveExpectedContentLength(std::uint64_t length) override {
        expected = length;
        hear("length");
    }
    void showDownloadDidReceiveData(std::uint64_t fresh) override { bytes += fresh; }
    void showDownloadDidStartExtracting() override { hear("extracting"); }
    void showExtractionReceivedProgress(double) override {}
    void showReadyToInstallAndRelaunch(Reply reply) override {
        hear("ready");
        reply(ready);
    }
    void showInstallingUpdate() override { hear("installing"); }
    void dismissUpdateInstallation() override { hear("dismiss"); }

    void willDownloadUpdate(const Updater&, const AppcastItem&) override { hear("will-download"); }
    void failedToDownloadUpdate(const Updater&, const AppcastItem&, const std::string&) override { hear("failed"); }
    void willExtractUpdate(const Updater&, const AppcastItem&) override { hear("will-extract"); }
    void userDidMakeChoice(const Updater&, UserUpdateChoice, const AppcastItem&, UserUpdateState) override {
        hear("chose");
    }
    bool willInstallUpdateOnQuit(const Updater&, const AppcastItem&, std::function<void()> block) override {
        install = std::move(block);
        hear("on-quit");
        return true;
    }
    bool updaterShouldRelaunchApplication(const Updater&) override { return true; }
    void didFinishUpdateCycle(const Updater&, const std::optional<std::string>& error) override {
        hear("finished" + (error ? " " + *error : ""));
    }
    void didAbortWithError(const Updater&, const std::string& reason) override { hear("aborted: " + reason); }

  private:
    void hear(const std::string& word) {
        heard.push_back(word);
        onWord(word);
    }
};

/// One process of the application, as far as updates know it. Copies build 1 into `home` unless a bundle is there.
struct UpdatingApplication {
    explicit UpdatingApplication(const std::filesystem::path& home) : bundle(home / "X.app") {
        if (!std::filesystem::exists(bundle)) {
            std::filesystem::copy(UpdateSite::shared().bundle(), bundle, std::filesystem::copy_options::recursive);
        }
        installer.emplace(
            UpdateInstaller::Options{.bundle = bundle,
                                     .build = BundleExchange::buildOf(bundle).value_or(""),
                                     .prove = [this](std::string staged) { return proof(std::move(staged)); },
                                     .relaunch = [this] { ++relaunches; },
                                     .log = [this](const std::string& line) { log += line + "\n"; },
                                     .isAutomatic = [this] { return UpdateDefaults::consent(defaults); }});
    }

    std::unique_ptr<AppcastUpdater> updater(const std::string& feed) {
        return std::make_unique<AppcastUpdater>(
            AppcastServices{
                .loop = loop,
                .fetch = fetch,
                .signatures = signatures,
                .runner = runner,
                .defaults = defaults,
                .installer = *installer,
                .feedURL = UpdateSite::shared().feed(feed),
                .publicKey = UpdateSite::shared().key(),
                .identifier = "x.y",
                .ours = {.build = installer->build(), .systemVersion = "6.1", .os = "linux", .languages = {}},
                .now = [] { return std::chrono::system_clock::time_point{std::chrono::seconds{1'800'000'000}}; },
                .log = [this](const std::string& line) { log += line + "\n"; }},
            host, host);
    }

    /// A check from beginning to end; all that was told of it, in one line.
    std::string check(const std::string& feed, bool isUserInitiated = false) {
        host.heard.clear();
        session = updater(feed);
        isUserInitiated ? session->checkForUpdates() : session->checkForUpdatesInBackground();
        EXPECT_TRUE(runUntil(loop, [this] { return host.isFinished(); })) << host.words();
        return host.words();
    }

    /// Calls the block that was handed out, and waits for what comes of it.
    void install() {
        const std::size_t said = log.size();
        host.install();
        EXPECT_TRUE(runUntil(loop, [&] { return log.size() > said; }));
    }

    Task<Signatures::BundleVerdict> proof(std::string staged) {
        return signatures.verifyBundle(std::move(staged), UpdateSite::shared().key(), {});
    }
    /// As a launch does it.
    Signatures::BundleVerdict prove(std::string staged) { return runTask(loop, proof(std::move(staged))).value(); }

    void setAutomatic(bool is = true) { EXPECT_TRUE(defaults.set(UpdateDefaults::isAutomatic, is)); }
    std::string build() const { return BundleExchange::buildOf(bundle).value_or("none"); }
    /// What stands beside the bundle.
    std::vector<std::string> rest() const {
        return Files::names(installer->places().folder).value_or(std::vector<std::string>{"nothing"});
    }

    std::string bundle;
    MainLoop loop{1};
    SpawningProcessRunner runner{loop};
    HelperFetch fetch{runner, {.helper = LARKMOOR_FETCH, .build = LARKMOOR_BUILD}};
    HelperSignatures signatures{runner, {.helper = LARKMOOR_VERIFY, .build = LARKMOOR_BUILD}};
    FakeDefaults defaults;
    RecordingHost host;
    std::optional<UpdateInstaller> installer;
    std::unique_ptr<AppcastUpdater> session;
    std::string log;
    int relaunches = 0;
};

}  // namespace larkmoor::testing
