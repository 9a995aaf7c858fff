// What launches of this bundle registered with the person's session, and how it is taken back when the bundle goes.
#pragma once

#include <string>
#include <vector>

#include "LarkmoorMenuApp/Main/RunningBundle.h"
#include "LarkmoorPlatform/Linux/Services/AgentUnits.h"
#include "LarkmoorPlatform/RunningApplications.h"

namespace larkmoor {

/// They are in the folders of our environment, of the service manager's, and of those in which this bundle's
/// applications run. Blocks for the disk and for the service manager.
class Registrations {
  public:
    explicit Registrations(RunningBundle bundle);

    /// The files by which the session starts the application, the daemon and the model host. Those of another bundle
    /// are not listed, nor is the model host where another bundle is registered.
    std::vector<std::string> files() const;

    /// Ends this bundle's applications, then stops the daemon and the model host and removes the files, even if the
    /// service manager does not answer. What is left, as lines for the person.
    std::vector<std::string> remove() const;

  private:
    /// The files of one pair of folders.
    using Place = AgentUnitFiles;

    bool isLoginItemOurs(const Place& place) const;
    bool isAgentOurs(const Place& place) const;
    bool isOthers(const Place& place) const;
    std::vector<std::string> units(const Place& place) const;
    std::vector<RunningApplication> applications() const;
    std::vector<std::string> endApplications() const;
    /// What was not stopped.
    std::vector<std::string> discardUnits() const;

    RunningBundle bundle_;
    std::vector<Place> places_;
};

}  // namespace larkmoor
