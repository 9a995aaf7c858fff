// The protocol between the application and its helper for signatures, larkmoor-verify.
//
// The request is the helper's arguments: first those below, each NAME=VALUE and optional, then one question. The answer
// is the exit status; a "no" and a request that is not understood are explained on standard error.
//
//   archive FILE KEY SIGNATURE   is this KEY's signature of the whole file? Both in base64
//   bundle FOLDER KEY            is the bundle whole, and sealed by KEY?
//   --verify --strict PATH       is the file, or the bundle, as it was sealed, whoever did it?
//   -d -r- PATH                  who sealed it, on standard output: designated => certificate leaf = H"{hash}"
//
// The last two are asked and answered as codesign is. The hash is the key's SHA-256.
#pragma once

#include <string_view>

namespace larkmoor::VerifyProtocol {

inline constexpr std::string_view build = "--build=";  ///< of the application; a helper of another build refuses
inline constexpr std::string_view asker = "--asker=";  ///< process id; the helper is killed when that process ends

inline constexpr std::string_view archive = "archive";
inline constexpr std::string_view bundle = "bundle";
inline constexpr std::string_view verify = "--verify";
inline constexpr std::string_view strict = "--strict";
inline constexpr std::string_view display = "-d";
inline constexpr std::string_view requirement = "-r-";

enum ExitStatus : int {
    holds = 0,
    holdsNot = 1,
    badRequest = 2,
    otherBuild = 3,
    unread = 4,  ///< what is asked of could not be read: nobody has judged
    noAsker = 5,
};

}  // namespace larkmoor::VerifyProtocol
