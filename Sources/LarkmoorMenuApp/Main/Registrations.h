// What launches of this bundle registered with the person's session, and how it is taken back when the bundle goes.
#pragma once

#include <string>
#include <vector>

#include "LarkmoorMenuApp/Main/RunningBundle.h"
#include "LarkmoorPlatform/Linux/Services/AgentUnits.h"

namespace larkmoor {

/// Blocks for the disk, and `remove` for the service manager too.
class Registrations {
  public:
    explicit Registrations(RunningBundle bundle) : bundle_(std::move(bundle)) {}

    /// The files by which the session starts the application, the daemon and the model host. Those of another bundle
    /// are not listed, nor is the model host where another bundle is registered.
    std::vector<std::string> files() const;

    /// Ends this bundle's applications, then stops the daemon and the model host and removes the files; without a
    /// service manager it only removes the files. What is left, as lines for the person.
    std::vector<std::string> remove() const;

  private:
    bool isLoginItemOurs() const;
    bool isAgentOurs() const;
    bool isOthers() const;
    std::string loginItem() const;
    std::vector<std::string> units() const;
    std::vector<std::string> endApplications() const;

    RunningBundle bundle_;
    AgentUnitFiles files_{UserFolders::current()};
};

}  // namespace larkmoor
