// This application as an entry in the desktop's autostart folder, $XDG_CONFIG_HOME/autostart (XDG autostart 0.5).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorPlatform/Linux/Services/UserFolders.h"
#include "LarkmoorPlatform/LoginItemService.h"

namespace larkmoor {

namespace AutostartEntry {

/// The whole entry that starts `executable` at login.
std::string text(std::string_view name, std::string_view icon, std::string_view executable);

/// `entry` is nothing where there is no file. An entry that was switched off, by whichever of the desktops' keys, is
/// the person's no; one that starts another executable, such as one of a bundle that has moved, is none.
LoginItemStatus status(const std::optional<std::string>& entry, std::string_view executable);

}  // namespace AutostartEntry

/// `identifier` names the entry's file.
class AutostartItem final : public LoginItemService {
  public:
    struct Application {
        std::string identifier, name, icon, executable;
    };
    AutostartItem(const UserFolders& folders, Application application);

    Task<LoginItemStatus> status() override;
    Task<std::expected<void, std::string>> registerItem() override;
    Task<std::expected<void, std::string>> unregisterItem() override;

  private:
    Application application_;
    std::string folder_, path_;
};

}  // namespace larkmoor
