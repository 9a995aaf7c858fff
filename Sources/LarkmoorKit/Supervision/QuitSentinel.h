// The file by which the daemon knows that the person quit: while it is there the daemon does not come back.
#pragma once

#include <string>
#include <string_view>

namespace larkmoor {

struct QuitSentinel {
    static constexpr std::string_view fileName = "quit-requested";
    /// `support` is Application Support.
    static std::string defaultPath(std::string_view support);

    std::string path;

    bool isSet() const;
    /// For the daemon's use. A failure is ignored.
    void set() const;
    /// A failure is ignored, and so is a file that is not there.
    void clear() const;
};

}  // namespace larkmoor
