// Sends log lines to the daemon, which writes them to its own log with the sender's name.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorKit/Trace/RequestRelay.h"
#include "LarkmoorWire/Catalogue/Tracing.h"

namespace larkmoor {

/// The names by which clients identify themselves in the daemon's log.
namespace DiagnosticSources {

/// The source with this name; surrounding white space and letter case are ignored. nullopt for an unknown name.
std::optional<DiagnosticSource> read(std::string_view text);

/// The log's category: the source's own name, "client" for any other. Static storage.
std::string_view category(std::string_view text);

}  // namespace DiagnosticSources

/// Never blocks: a line is dropped if the daemon cannot be reached. Main thread.
class DiagnosticRelay {
  public:
    using Ask = RequestRelay<DiagnosticRequest>::Ask;

    /// Sends through `client`, which the relay shares.
    DiagnosticRelay(MainLoop& loop, DiagnosticSource source, std::shared_ptr<LarkmoorClient> client);
    DiagnosticRelay(MainLoop& loop, DiagnosticSource source, Ask ask);

    /// Returns at once; the answer is ignored.
    void note(std::string line) const;

  private:
    DiagnosticSource source_;
    RequestRelay<DiagnosticRequest> relay_;
};

}  // namespace larkmoor
