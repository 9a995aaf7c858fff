// The windows of the settings application: asks a running one for a window, or starts one with it.
#pragma once

#include <string>
#include <string_view>

#include "LarkmoorKit/FirstRun/WindowDoor.h"
#include "LarkmoorMenuApp/MenuDuties.h"

namespace larkmoor {

/// Main thread. What `Seams` refers to outlives this.
class SettingsWindows {
  public:
    struct Seams {
        RunningApplications& applications;
        DistributedNotifications& notifications;
        MenuPlatform::SetupLog setupLog;
        MenuPlatform::Open open;
        std::string bundle;  ///< the running bundle's folder
    };

    explicit SettingsWindows(Seams seams) : seams_(std::move(seams)) {}

    /// `front` brings the window before all others, and is written to the setup log.
    void open(WindowDoor::Pane pane, bool front) const;
    /// Asks every settings application of ours to end.
    void terminateAll() const;

    /// Whether this is the settings application of the bundle in the folder `bundle`, or of a developer's build: by its
    /// identifier, or by its name and place. A stranger's tool of the same name is not.
    static bool isOwnSettings(const RunningApplication& application, std::string_view bundle);

  private:
    Seams seams_;
};

}  // namespace larkmoor
