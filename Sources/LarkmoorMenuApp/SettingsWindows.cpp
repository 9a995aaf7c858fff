#include "LarkmoorMenuApp/SettingsWindows.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "LarkmoorBase/Files.h"

namespace larkmoor {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view settingsExecutable = "larkmoor-settings";

}  // namespace

bool SettingsWindows::isOwnSettings(const RunningApplication& application, std::string_view bundle) {
    const fs::path executable = fs::path{application.executable}.lexically_normal();
    // A desktop may give our identifier to whatever program it started under our name.
    const bool isInBundle = executable.string().contains(".app/Contents/MacOS/");
    if (application.bundleIdentifier == ClientInstance::settingsID && isInBundle) return true;
    if (executable.filename() != settingsExecutable) return false;
    const std::string ownTreeRoot = fs::path{bundle}.parent_path().lexically_normal().string();
    const std::string place = executable.string();
    return place.starts_with(ownTreeRoot + "/") || place.contains(fmt::format("/{}/", ClientInstance::distDirName));
}

void SettingsWindows::open(WindowDoor::Pane pane, bool front) const {
    const auto running = seams_.applications.list();
    const bool isRunning = std::ranges::any_of(
        running, [this](const RunningApplication& application) { return isOwnSettings(application, seams_.bundle); });
    if (front) {
        seams_.setupLog(isRunning ? "menu: finish-setup row → door post" : "menu: finish-setup row → launch");
    }
    if (isRunning) {
        seams_.notifications.post(std::string{WindowDoor::notification}, std::string{rawText(pane)},
                                  WindowDoor::userInfo(front).value_or(WindowDoor::UserInfo{}));
        return;
    }
    const fs::path bundle{seams_.bundle};
    const std::string inside = (bundle / "Contents/Library/Settings/Larkmoor.app").string();
    const std::string beside = (bundle.parent_path() / settingsExecutable).string();
    if (Files::exists(inside)) {
        seams_.open(inside, {WindowDoor::argument(pane)});
    } else if (Files::isExecutable(beside)) {
        seams_.open(beside, {WindowDoor::argument(pane)});
    }
}

void SettingsWindows::terminateAll() const {
    for (const RunningApplication& application : seams_.applications.list()) {
        if (isOwnSettings(application, seams_.bundle)) seams_.applications.terminate(application.process);
    }
}

}  // namespace larkmoor
