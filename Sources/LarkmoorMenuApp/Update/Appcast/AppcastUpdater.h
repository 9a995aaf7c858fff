// The updater framework on this system: reads an update feed, downloads over larkmoor-fetch, proves with
// larkmoor-verify, and puts the update in place with the installer. It has no timer and no thread.
//
// A background check with the person's consent to silent updates brings the update and stages it without a question;
// every other check asks the driver first. An update that is staged waits for the delegate's word or for the end of the
// application. What an earlier process has staged is proven again and used, as long as it is still what the feed
// offers.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/Task.h"
#include "LarkmoorMenuApp/Update/Appcast/UpdateInstaller.h"
#include "LarkmoorMenuApp/Update/Updater.h"
#include "LarkmoorPlatform/Fetch.h"
#include "LarkmoorPlatform/ProcessRunner.h"
#include "LarkmoorPlatform/Signatures.h"
#include "LarkmoorPlatform/UserDefaults.h"
#include "LarkmoorUpdate/Feed/Appcast.h"

namespace larkmoor {

/// What updaters work with. The references outlive them all.
struct AppcastServices {
    MainLoop& loop;
    Fetch& fetch;
    Signatures& signatures;
    ProcessRunner& runner;
    UserDefaults& defaults;
    UpdateInstaller& installer;
    std::string feedURL;     ///< https; http on this machine alone, for tests
    std::string publicKey;   ///< base64
    std::string identifier;  ///< CFBundleIdentifier of the product
    OurVersion ours;
    std::function<std::chrono::system_clock::time_point()> now;
    std::function<void(std::string)> log;
};

/// The keys of the user defaults, which the rest of the family reads and writes, too.
namespace UpdateDefaults {

inline constexpr const char* lastCheck = "SULastCheckTime";          ///< 2026-01-31T12:00:00Z
inline constexpr const char* isAutomatic = "SUAutomaticallyUpdate";  ///< the person's consent to silent updates
inline constexpr const char* skipped = "SUSkippedVersion";           ///< the build that the person does not want

/// Whether the person consents to silent updates, as of now.
inline bool consent(const UserDefaults& defaults) { return defaults.flag(isAutomatic).value_or(false); }

}  // namespace UpdateDefaults

/// Whether an address is of this machine, over http.
bool isLoopbackHTTP(std::string_view url);

class UpdateSession;

class AppcastUpdater final : public Updater {
  public:
    /// Driver and delegate outlive it.
    AppcastUpdater(AppcastServices services, UserDriver& driver, UpdaterDelegate& delegate);
    ~AppcastUpdater() override;
    AppcastUpdater(const AppcastUpdater&) = delete;
    AppcastUpdater& operator=(const AppcastUpdater&) = delete;

    /// There is no scheduler to be switched off.
    void setAutomaticallyChecksForUpdates(bool) override {}
    void setUpdateCheckInterval(std::chrono::seconds) override {}
    std::expected<void, std::string> startUpdater() override;
    /// Nothing happens while a check is under way.
    void checkForUpdates() override { check(true); }
    void checkForUpdatesInBackground() override { check(false); }
    void chooseStaged() override { services_.installer.choose(); }
    bool hasStaged() const override { return services_.installer.staged().has_value(); }
    std::optional<Date> lastUpdateCheckDate() const override;
    bool automaticallyDownloadsUpdates() const override;

  private:
    void check(bool isUserInitiated);

    const AppcastServices services_;
    UserDriver& driver_;
    UpdaterDelegate& delegate_;
    std::shared_ptr<UpdateSession> session_;  ///< the last one; it holds the block that installs
};

}  // namespace larkmoor
