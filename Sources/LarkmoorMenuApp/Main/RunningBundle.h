// The bundle that this process runs from.
#pragma once

#include <optional>
#include <string>

namespace larkmoor {

struct RunningBundle {
    std::string folder;  ///< "X.app", absolute; of a bare executable the folder that it lies in
    std::string executable;
    std::optional<std::string> version;
    std::optional<std::string> build;
    std::optional<std::string> feedURL;    ///< of its updates
    std::optional<std::string> publicKey;  ///< with which they are signed, base64

    static RunningBundle current();

    /// A file that lies beside the executable.
    std::string beside(const std::string& name) const;
    std::string resources() const { return folder + "/Contents/Resources"; }
};

}  // namespace larkmoor
