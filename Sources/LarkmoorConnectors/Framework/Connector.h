// Connects one harness with Larkmoor by editing that harness's own configuration files: the interface, and the records
// that its verbs return. Nothing here throws, and there is no error type: a failure is a refused outcome that gives the
// reason.
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

/// The connection state of a harness, over all our blocks in its files. `notFound`: the harness has no configuration on
/// this machine. `found`: none of our blocks was found. `connected`: every block is exactly what this build writes.
/// `drifted`: anything between.
BOOST_DEFINE_ENUM_CLASS(ConnectorState, notFound, found, connected, drifted)

/// The result of examining a harness's files.
struct ScanReport {
    ConnectorIdentity identity;
    ConnectorState state = ConnectorState::notFound;
    std::vector<Observation> observations;

    bool operator==(const ScanReport&) const = default;
};

/// The result of a verb that may write. There is no other error: the observations of a refusal give its reason.
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

    /// Constant, and known without reading the disk; a scan's report may carry another `detail`.
    virtual ConnectorIdentity identity() const = 0;

    // These only read.

    virtual ScanReport scan() const = 0;
    virtual ProjectReport projects() const = 0;
    virtual MemoryFileReport memoryFiles() const = 0;

    virtual ConnectorOutcome install() const = 0;
    virtual ConnectorOutcome remove() const = 0;

    /// Whether the harness has entries of ours that are merely out of date or incomplete and safe to rewrite without
    /// asking. Only reads.
    virtual bool staleOwnWiring() const { return false; }
};

}  // namespace larkmoor
