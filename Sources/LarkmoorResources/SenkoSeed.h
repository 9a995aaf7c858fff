// Copies the voice models that come with the application to where the speech helper looks for them. The folder there is
// whole or absent at every moment, also if this process is killed or the power fails.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "LarkmoorBase/ClosedVariant.h"

namespace larkmoor::SenkoSeed {

struct Census {
    std::int64_t files = 0;
    std::int64_t bytes = 0;
    bool operator==(const Census&) const = default;
};

struct OutcomeCases {
    struct Seeded {
        std::int64_t files = 0;
        std::int64_t bytes = 0;
        bool operator==(const Seeded&) const = default;
    };
    struct BundleMissing {
        std::string path;
        bool operator==(const BundleMissing&) const = default;
    };
    struct Failed {
        std::string why;
        bool operator==(const Failed&) const = default;
    };
    /// Something is there already; it is not touched.
    struct Present {
        bool operator==(const Present&) const = default;
    };
};

using Outcome = ClosedVariant<OutcomeCases, OutcomeCases::Seeded, OutcomeCases::BundleMissing, OutcomeCases::Failed,
                              OutcomeCases::Present>;

/// The regular files below the folder and the sum of their sizes; links below it are not followed. nullopt if it cannot
/// be listed whole.
std::optional<Census> census(const std::string& folder);

/// Copies `bundleDir` to `supportDir`, which may be absent or an empty folder. Files become 0600 and folders 0700,
/// whatever they are in the bundle. Only folders and regular files are copied: anything else in the bundle, links
/// included, is a failure. A link in the place of `supportDir` is the user's own: it is never replaced. One call at a
/// time in a process; blocks as long as the disk does.
Outcome seed(const std::string& bundleDir, const std::string& supportDir);

/// Removes the staging folders beside `supportDir` whose process is gone, or is this one. `seed` begins with it; also
/// for an undo of what a killed process began.
void removeAbandoned(const std::string& supportDir);

}  // namespace larkmoor::SenkoSeed
