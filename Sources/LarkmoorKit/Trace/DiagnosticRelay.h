// Hands lines to the daemon, which keeps them in its own log. Never stops its caller: a line said while the door is
// shut is lost.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "LarkmoorBase/Task.h"
#include "LarkmoorWire/Catalogue/Tracing.h"
#include "LarkmoorWire/Client/LarkmoorClient.h"

namespace larkmoor {

class DiagnosticRelay {
  public:
    using Ask = std::function<Task<GatewayResponse>(DiagnosticRequest)>;

    /// Asks `client`, which the relay shares. Main thread.
    DiagnosticRelay(MainLoop& loop, DiagnosticSource source, std::shared_ptr<LarkmoorClient> client);
    DiagnosticRelay(MainLoop& loop, DiagnosticSource source, Ask ask);

    /// Returns at once; the answer is not looked at.
    void note(std::string line) const;

  private:
    MainLoop& loop_;
    DiagnosticSource source_;
    std::shared_ptr<const Ask> ask_;
};

}  // namespace larkmoor
