// One download: redirects, certificates and limits.
#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorFetch/Address.h"
#include "LarkmoorFetch/BodyFile.h"
#include "LarkmoorFetch/Order.h"

namespace larkmoor {

/// Prints the lines of the protocol up to `end`. Blocks; what is killed in its middle leaves a part of the file.
class Download {
  public:
    static constexpr int maxRedirects = 10;
    static constexpr std::size_t maxHeaderBytes = std::size_t{256} << 10U;
    /// Between two lines of progress.
    static constexpr std::chrono::milliseconds progressInterval{200};

    explicit Download(const FetchOrder& order);
    ~Download();
    Download(const Download&) = delete;
    Download& operator=(const Download&) = delete;

    /// The bytes of the body; the error is in words.
    std::expected<std::int64_t, std::string> run();

  private:
    using Clock = std::chrono::steady_clock;

    void prepare();
    /// Asks one address. Its result is where to go next, or nothing if this answer has brought the body.
    std::expected<std::optional<Address>, std::string> ask(const Address& address);

    // All return whether to go on, and leave a reason if not.
    bool takeHeader(std::string_view line);
    bool takeHead();
    bool takeBody(BytesView piece);
    bool isInTime();
    bool fail(std::string reason);

    const FetchOrder& order_;
    CURL* const curl_;
    std::array<char, CURL_ERROR_SIZE> curlReason_{};
    BodyFile body_;
    Clock::time_point lastByte_{};
    Clock::time_point lastProgress_{};

    // Of the address being asked.
    Address address_{};
    std::size_t headerBytes_ = 0;
    bool hasHead_ = false;
    std::optional<std::string> location_{};
    std::string reason_{};  ///< ours for ending it
};

}  // namespace larkmoor
