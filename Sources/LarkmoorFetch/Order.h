// What larkmoor-fetch is asked to do.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <expected>
#include <span>
#include <string>

namespace larkmoor {

struct FetchOrder {
    std::string build{};
    pid_t asker = 0;
    std::string url{};
    std::string output{};  ///< empty: the descriptor that is standard input
    std::int64_t maxBytes = 0;
    std::chrono::milliseconds maxSilence{0};
    bool allowsHTTP = false;
    std::string authorities{};  ///< empty: the system's

    /// Reads the arguments, without the program's name. The error is in words.
    static std::expected<FetchOrder, std::string> read(std::span<char* const> arguments);
};

}  // namespace larkmoor
