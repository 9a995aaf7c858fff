// The release of the runtime that this build downloads: one for each platform.
#pragma once

#include <string>

namespace larkmoor {

/// Fingerprint, address and executable belong to one archive and change together.
struct RuntimeRelease {
    std::string url;
    std::string fingerprint;  ///< SHA-256 of the archive, 64 lower-case digits; empty: nothing is downloaded
    std::string executable;   ///< its path inside the archive

    static RuntimeRelease forMacOS();
    /// As the build was configured: LARKMOOR_RUNTIME_URL, LARKMOOR_RUNTIME_SHA256, LARKMOOR_RUNTIME_EXECUTABLE.
    static RuntimeRelease forLinux();
    static RuntimeRelease forThisSystem();
};

}  // namespace larkmoor
