// The protocol between the application and its download helper, larkmoor-fetch.
//
// The request is the helper's arguments, each NAME=VALUE; an option without a value is the name alone. The helper
// writes lines to standard output while it works: the head of the answer, then the arrival of the body, and at last
// `end` or `failure`. A request that it does not even begin is explained on standard error. Killing it cancels.
#pragma once

#include <string_view>

namespace larkmoor::FetchProtocol {

// Arguments.
inline constexpr std::string_view build = "--build=";  ///< of the application; a helper of another build refuses
inline constexpr std::string_view asker = "--asker=";  ///< process id; the helper is killed when that process ends
inline constexpr std::string_view url = "--url=";
inline constexpr std::string_view maxBytes = "--max-bytes=";      ///< of the body
inline constexpr std::string_view maxSilence = "--max-silence=";  ///< milliseconds without a byte, connecting included
/// The file that takes the body, made anew with mode 0600 once the answer has status 200. Without it the body goes to
/// the descriptor that is the helper's standard input.
inline constexpr std::string_view output = "--output=";
/// Optional: the address may be http, and redirects to https and http are followed as long as they were http.
inline constexpr std::string_view allowHTTP = "--allow-http";
/// Optional: trust these authorities instead of the system's.
inline constexpr std::string_view authorities = "--ca-file=";

// Lines.
inline constexpr std::string_view head = "head ";  ///< "head {status} {length, or -1} {host}", after all redirects
inline constexpr std::string_view firstByte = "first-byte";
inline constexpr std::string_view progress = "progress ";  ///< followed by the bytes written so far
inline constexpr std::string_view end = "end ";            ///< followed by the bytes of the whole body
inline constexpr std::string_view failure = "failure ";    ///< followed by the reason in words

enum ExitStatus : int {
    fetched = 0,
    failed = 1,
    badRequest = 2,
    otherBuild = 3,
    noAsker = 5,
};

}  // namespace larkmoor::FetchProtocol
