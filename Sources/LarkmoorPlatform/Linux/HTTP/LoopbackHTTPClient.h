// HTTP/1.1 over plain TCP to hosts on the loopback interface, a connection for each request.
#pragma once

#include "LarkmoorPlatform/HTTPClient.h"

namespace larkmoor {

/// Names are not resolved, but for "localhost": any host that is no loopback address is a failure, and so is a redirect
/// for whoever asked, since none is followed. Reads 64 KiB at a time; other work of the loop gets its turn in between.
class LoopbackHTTPClient final : public HTTPClient {
  public:
    /// Requests are awaited on `loop`, which outlives this.
    explicit LoopbackHTTPClient(MainLoop& loop) : loop_(loop) {}

    Task<std::expected<HTTPAnswer, HTTPFailure>> send(HTTPRequest request, std::stop_token stop = {}) override;
    Task<std::expected<void, HTTPFailure>> stream(HTTPRequest request, Listener listener,
                                                  std::stop_token stop = {}) override;

  private:
    MainLoop& loop_;
};

}  // namespace larkmoor
