// HTTP requests to a host on this machine, such as the model host. What comes from the internet is not fetched here.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/Task.h"

namespace larkmoor {

/// A URL of the form "http://{host}:{port}{path}", taken apart.
struct HTTPAddress {
    std::string host;  ///< without the brackets of an IPv6 address
    std::uint16_t port = 0;
    std::string path;  ///< "/" where the URL has none

    /// nullopt for any other form: another scheme, no port, user information, a blank or a control character.
    static std::optional<HTTPAddress> parse(std::string_view url);

    bool operator==(const HTTPAddress&) const = default;
};

struct HTTPRequest {
    std::string method = "GET";
    std::string url{};   ///< see `HTTPAddress`
    std::string body{};  ///< sent as application/json; none if empty
    /// For `send` the time for the whole answer, for `stream` the longest silence. Mandatory.
    std::chrono::milliseconds timeout;
};

struct HTTPHead {
    int status = 0;
    std::string host{};                           ///< that answered
    std::optional<std::int64_t> contentLength{};  ///< in bytes, where the answer tells it
};

struct HTTPAnswer {
    HTTPHead head;
    Bytes body;
};

/// Why there is no answer, or not a whole one. `reason` is for a log: "connection refused", "timed out"; "cancelled" if
/// the caller stopped the request.
struct [[nodiscard]] HTTPFailure {
    std::string reason;

    bool operator==(const HTTPFailure&) const = default;
};

/// Main thread; listeners are called on it. A request that is stopped, from any thread, closes its connection within a
/// second, by which the host learns of it.
class HTTPClient {
  public:
    /// What `send` takes; a longer answer is a failure.
    static constexpr std::size_t maxBody = std::size_t{1} << 20U;

    struct Listener {
        /// Called once, before the first piece. False ends the request without a failure.
        std::function<bool(const HTTPHead&)> head;
        /// Called with the body's bytes as they arrive; the view ends with the call. False ends the request likewise.
        std::function<bool(BytesView)> piece;
    };

    virtual ~HTTPClient() = default;

    /// The whole answer, whatever its status.
    virtual Task<std::expected<HTTPAnswer, HTTPFailure>> send(HTTPRequest request, std::stop_token stop = {}) = 0;

    /// Passes the answer to the listener in pieces and holds no more than one of them. Returns at the body's end; a
    /// connection that ends before it is a failure.
    virtual Task<std::expected<void, HTTPFailure>> stream(HTTPRequest request, Listener listener,
                                                          std::stop_token stop = {}) = 0;
};

}  // namespace larkmoor
