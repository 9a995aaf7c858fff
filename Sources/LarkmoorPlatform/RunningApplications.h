// The applications of this user that run now, and a word when one ends.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "LarkmoorPlatform/RunningApplication.h"

namespace larkmoor {

class RunningApplications {
  public:
    virtual ~RunningApplications() = default;

    /// Looks at the system now; costs a few milliseconds. Any thread.
    virtual std::vector<RunningApplication> list() const = 0;

    /// Asks a listed process to end, as its session's end would; what becomes of that is its own affair. False if it is
    /// gone, if its number is another's by now, or if the system refuses. Any thread.
    virtual bool terminate(pid_t process) = 0;

    /// `ended` comes from the main loop once for each end of the application: when the last process with this
    /// identifier is gone. An application is known from a `refresh` that found it, or from the desktop's word that it
    /// began; one that comes and goes between these is missed. Main thread, for as long as this lives.
    virtual void onEnd(std::string bundleIdentifier, std::function<void()> ended) = 0;

    /// Looks for the applications whose end somebody wants to hear of. Main thread, a few milliseconds.
    virtual void refresh() = 0;
};

}  // namespace larkmoor
