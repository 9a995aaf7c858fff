// The process that starts the application anew at its own end, after an update or because it is wanted again, and stays
// until the new one is up.
#pragma once

#include <chrono>
#include <string>

namespace larkmoor {

struct Successor {
    static constexpr std::chrono::seconds patience{60};
    /// The exit status of an update that could not show whether it comes up, since there was no session bus for it.
    static constexpr int untried = 75;

    std::string executable;  ///< as it was at the launch; an update stands in its place
    std::string bundle;
    std::chrono::milliseconds limit = patience;

    /// Starts it with our arguments and environment, as a process of its own. After an update it then waits until that
    /// says that it is up; if it ends in failure before, or does not within the limit, the old bundle is put back and
    /// started. A successor that ends with status 0 has found another that is up, or was quit: nothing more is done.
    /// For one that ends with `untried` the same is done, but the update stays staged.
    /// Called when our name on the bus is free. The exit status; blocks.
    int start(char** arguments) const;
};

}  // namespace larkmoor
