#include "LarkmoorLocalModels/Runtime/RuntimeRelease.h"

namespace larkmoor {

RuntimeRelease RuntimeRelease::forMacOS() {
    const std::string version = "v0.32.14";
    return {.url = "https://github.com/ollama/ollama/releases/download/" + version + "/ollama-darwin.tgz",
            // To be taken from the archive that a build for macOS adopts.
            .fingerprint = "",
            .executable = "ollama"};
}

RuntimeRelease RuntimeRelease::forLinux() {
    return {
        .url = LARKMOOR_RUNTIME_URL, .fingerprint = LARKMOOR_RUNTIME_SHA256, .executable = LARKMOOR_RUNTIME_EXECUTABLE};
}

RuntimeRelease RuntimeRelease::forThisSystem() {
#ifdef __APPLE__
    return forMacOS();
#else
    return forLinux();
#endif
}

}  // namespace larkmoor
