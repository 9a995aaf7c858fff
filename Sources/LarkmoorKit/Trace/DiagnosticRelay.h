// Hands lines to the daemon, which keeps them in its own log under the name of the client that spoke.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/Task.h"
#include "LarkmoorWire/Catalogue/Tracing.h"
#include "LarkmoorWire/Client/LarkmoorClient.h"

namespace larkmoor {

/// The word by which a client names itself in the daemon's log.
namespace DiagnosticSources {

/// Trimmed, and in upper or lower case; nothing for a word that is no source.
std::optional<DiagnosticSource> read(std::string_view text);

/// The log's category: the source's own word, "client" for any other. Lives as long as the program.
std::string_view category(std::string_view text);

}  // namespace DiagnosticSources

/// Never stops its caller: a line said while the door is shut is lost. Main thread.
class DiagnosticRelay {
  public:
    using Ask = std::function<Task<GatewayResponse>(DiagnosticRequest)>;

    /// Asks `client`, which the relay shares.
    DiagnosticRelay(MainLoop& loop, DiagnosticSource source, std::shared_ptr<LarkmoorClient> client);
    DiagnosticRelay(MainLoop& loop, DiagnosticSource source, Ask ask);

    /// Returns at once; the answer is ignored.
    void note(std::string line) const;

  private:
    MainLoop& loop_;
    DiagnosticSource source_;
    std::shared_ptr<const Ask> ask_;
};

}  // namespace larkmoor
