// This application as a login item: an entry in $XDG_CONFIG_HOME/autostart (XDG autostart 0.5).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorPlatform/Linux/Services/UserFolders.h"
#include "LarkmoorPlatform/LoginItemService.h"

namespace larkmoor {

namespace AutostartEntry {

/// Where the entry of that identifier is.
std::string path(const UserFolders& folders, std::string_view identifier);

/// The desktop entry that starts `executable` at login.
std::string text(std::string_view name, std::string_view icon, std::string_view executable);

/// Whether the entry, enabled or not, starts `executable`.
bool starts(std::string_view entry, std::string_view executable);

/// `entry` is the file's content, nullopt if there is no file. An entry that the user disabled by any of the desktops'
/// keys requires approval; one with another executable, as of a bundle that was moved, counts as not registered.
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
