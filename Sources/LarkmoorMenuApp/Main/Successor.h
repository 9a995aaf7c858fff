// How the application starts anew at its own end, after an update or because it is wanted again: this very process
// becomes what stands in the bundle then, so that it stays the same for whoever started it and waits for it. A new
// build is watched over by a process of ours beside it, until it is up.
#pragma once

#include <chrono>
#include <string>

namespace larkmoor {

struct Successor {
    static constexpr std::chrono::seconds patience{60};
    /// The patience is counted in so many slices. Time in which we are stopped, as by a freezer or a shell's job
    /// control, is time in which the new build is stopped, too: no more than one slice of it counts.
    static constexpr int slices = 6;

    std::string executable;  ///< as it was at the launch; an update stands in its place
    std::string bundle;
    std::chrono::milliseconds limit = patience;

    /// Starts it with our arguments and environment, and returns only if that fails: the exit status.
    ///
    /// After an update a watcher stays for as long as the new build takes to say that it is up. If that ends before,
    /// with whatever status, or is not up within the limit, the watcher puts the old bundle back and becomes its
    /// application. It starts nothing if it was told to end meanwhile, as by a service manager that ends a unit with
    /// its first process. A start that was not needed is left alone. After one that could not be tried (`StartEnd`), or
    /// that has not heard for a slice that it is to end, the update stays staged and nothing is started. A watcher that
    /// is killed leaves all of this to later launches.
    ///
    /// Called when our name on the bus is free. The work of our threads is cut off. After an update, SIGTERM, SIGINT
    /// and SIGHUP are blocked from here on, also in what we become: an end that is wanted before it listens must not
    /// look like its failure. What nobody watches over may be a build that does not unblock them: those end it at once.
    int start(char** arguments) const;

    /// This process becomes the executable. The exit status, if it cannot.
    static int become(const std::string& executable, char** arguments);
    /// The same, for what may not unblock the signals of `holdEndSignals`. Here this process ends, if it was told to.
    static int becomeUnwatched(const std::string& executable, char** arguments);

    /// Of a process that listens no more, and is about to start its successor: blocks those three. Main thread.
    static void holdEndSignals();
    /// Of a process that listens now to those three: what has come since then comes here. Main thread.
    static void hearEndSignals();
};

}  // namespace larkmoor
