// Joins one harness to Larkmoor by editing that harness's own configuration files: the interface, and the records that
// its verbs give back. Nothing here throws or reports an error of its own: a failure is a refused outcome that says
// why.
#pragma once

#include <boost/describe.hpp>

#include <string>
#include <vector>

#include "LarkmoorConnectors/Framework/Inventory.h"
#include "LarkmoorConnectors/Observation.h"

namespace larkmoor {

/// What a harness is called, for machines and for people.
struct ConnectorIdentity {
    std::string id;      ///< stable: the hook command's harness flag, and the stem of the receipt's name
    std::string name;    ///< for display
    std::string detail;  ///< one sentence for the user
    std::string symbol;  ///< the name of a system symbol image

    bool operator==(const ConnectorIdentity&) const = default;
};

/// How a harness stands to us, over all that we wire into it. Of `notFound` the configuration is not on this machine;
/// `found` holds nothing of ours; in `connected` every block is exactly what this build writes; `drifted` is all
/// between.
BOOST_DEFINE_ENUM_CLASS(ConnectorState, notFound, found, connected, drifted)

/// What a look at a harness's files found.
struct ScanReport {
    ConnectorIdentity identity;
    ConnectorState state = ConnectorState::notFound;
    std::vector<Observation> observations;

    bool operator==(const ScanReport&) const = default;
};

/// What a verb that may write gives back. There is no other error: a refusal explains itself by its observations.
struct [[nodiscard]] ConnectorOutcome {
    enum class Result { changed, unchanged, refused };
    BOOST_DESCRIBE_NESTED_ENUM(Result, changed, unchanged, refused)

    Result result = Result::refused;
    std::vector<Observation> observations;
    std::vector<std::string> backups{};  ///< the paths of the copies made

    static ConnectorOutcome refused(std::vector<Observation> observations) {
        return {Result::refused, std::move(observations)};
    }
    static ConnectorOutcome unchanged(std::vector<Observation> observations) {
        return {Result::unchanged, std::move(observations)};
    }

    bool operator==(const ConnectorOutcome&) const = default;
};

/// Keeps no state: every verb reads the files again, and blocks as long as the disk does. Any thread; `install` and
/// `remove` of one harness are run one at a time by whoever calls them.
class Connector {
  public:
    virtual ~Connector() = default;

    /// Always the same, without a look at the disk; a scan's report may carry another `detail`.
    virtual ConnectorIdentity identity() const = 0;

    // These read only.

    virtual ScanReport scan() const = 0;
    virtual ProjectReport projects() const = 0;
    virtual MemoryFileReport memoryFiles() const = 0;

    virtual ConnectorOutcome install() const = 0;
    virtual ConnectorOutcome remove() const = 0;

    /// Whether what is there is ours, only out of date, and safe to rewrite without asking. Reads only.
    virtual bool staleOwnWiring() const { return false; }
};

}  // namespace larkmoor
