// Downloads from the internet: one address into one file.
#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <variant>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Task.h"

namespace larkmoor {

namespace FetchTargets {

/// Made with mode 0600 once the answer has status 200, in place of what is there; a part of it stays after a failure.
struct NewFile {
    std::string path;
};
/// Open for writing, such as a file in memory; written from its position on.
struct Descriptor {
    FileDescriptor file;
};

}  // namespace FetchTargets

using FetchTarget = std::variant<FetchTargets::NewFile, FetchTargets::Descriptor>;

struct FetchRequest {
    std::string url;
    FetchTarget target;
    std::int64_t maxBytes;                                            ///< a larger body is a failure
    bool allowsHTTP = false;                                          ///< otherwise https alone, redirects included
    std::chrono::milliseconds maxSilence = std::chrono::seconds{60};  ///< connecting included
    std::chrono::milliseconds budget = std::chrono::hours{24};        ///< for the whole, however steadily it arrives
};

/// Of the answer at the end of all redirects.
struct FetchHead {
    int status = 0;
    std::string host{};
    std::optional<std::int64_t> length{};  ///< of the body in bytes, where it is announced

    bool operator==(const FetchHead&) const = default;
};

/// Any may be null.
struct FetchListener {
    std::function<void(const FetchHead&)> head{};
    std::function<void()> firstByte{};
    /// With the bytes written so far; some times a second, and not for the last piece.
    std::function<void(std::int64_t)> progress{};
};

/// `reason` is for a log: "example.org answers with status 404", "Could not resolve host: …", "cancelled".
struct [[nodiscard]] FetchFailure {
    std::string reason;

    bool operator==(const FetchFailure&) const = default;
};

/// Main thread; listeners are called on it. Certificates are checked, and the environment's proxies used.
class Fetch {
  public:
    virtual ~Fetch() = default;

    /// The bytes of the body. A status other than 200 is a failure, of which `head` has told. Nothing is written any
    /// more when this returns. Does not throw unless a listener does.
    virtual Task<std::expected<std::int64_t, FetchFailure>> fetch(FetchRequest request, FetchListener listener,
                                                                  std::stop_token stop) = 0;
};

}  // namespace larkmoor
