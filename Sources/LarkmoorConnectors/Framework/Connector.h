// Joins one harness to Larkmoor by editing that harness's own configuration files. Nothing here throws or reports an
// error of its own: a failure is a refused outcome that says why. It keeps no state: every verb reads the files again.
#pragma once

#include "LarkmoorConnectors/Framework/ConnectorIdentity.h"
#include "LarkmoorConnectors/Framework/ConnectorOutcome.h"
#include "LarkmoorConnectors/Framework/MemoryFileReport.h"
#include "LarkmoorConnectors/Framework/ProjectReport.h"
#include "LarkmoorConnectors/Framework/ScanReport.h"

namespace larkmoor {

/// Blocks as long as the disk does. Any thread; `install` and `remove` of one harness are run one at a time by whoever
/// calls them.
class Connector {
  public:
    virtual ~Connector() = default;

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
