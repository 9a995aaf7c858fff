// Whether this process runs an executable that was replaced since, which would explain why the daemon refuses it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

struct ClientLineageCases {
    /// A bundle of ours replaced the executable after this process started: a restart of the process helps.
    struct Stale {
        std::optional<std::string> installedVersion;
        bool operator==(const Stale&) const = default;
    };
    /// All other cases, and those that cannot be determined.
    struct Foreign {
        bool operator==(const Foreign&) const = default;
    };
};

class ClientLineage : public ClosedVariant<ClientLineageCases, ClientLineageCases::Foreign, ClientLineageCases::Stale> {
  public:
    using ClosedVariant::ClosedVariant;

    static constexpr std::string_view family = ClientInstance::bundlePrefix;

    /// The bundle that now contains the executable's path.
    struct Occupant {
        std::optional<std::string> id;
        std::optional<std::string> version;
        bool operator==(const Occupant&) const = default;
    };

    static ClientLineage judge(bool executableReplaced, const std::optional<std::string>& occupantBundleID,
                               const std::optional<std::string>& occupantVersion);

    /// Whether another file than the one that this process runs is under the path; false for what cannot be told.
    static bool executableReplaced(const std::string& path);

    /// Read from "Info.plist" beside the folder "MacOS" that holds the executable; nothing where there is none.
    static std::optional<Occupant> occupantBundle(const std::string& besideExecutable);

    /// The answer for this process. Reads three small files; any thread.
    static ClientLineage probe(const std::optional<std::string>& executablePath);
};

}  // namespace larkmoor
