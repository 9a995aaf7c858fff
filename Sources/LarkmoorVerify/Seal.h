// The seal of one file: its digest, signed. It lies beside the file, under its name and ".seal".
//
//   larkmoor-seal 1
//   key {Ed25519 public key, 32 bytes in base64}
//   signature {of the 32 bytes of the file's SHA-256, 64 bytes in base64}
#pragma once

#include <array>
#include <cstdint>
#include <expected>
#include <string>
#include <string_view>
#include <utility>

#include "LarkmoorBase/Files.h"

namespace larkmoor {

using Words = std::string;  ///< why something does not hold
using Verdict = std::expected<void, Words>;

/// Why a seal does not hold, or why nobody can tell.
struct Objection {
    Words words;
    bool isVerdict = true;  ///< false for what could not be read, as on a disk that fails

    Objection(Words why) : words(std::move(why)) {}
    /// What is missing, or is no file that is read, is not as it was sealed.
    Objection(const FileError& error);
};

struct PublicKey {
    std::array<std::uint8_t, 32> bytes{};

    static std::expected<PublicKey, Words> of(std::string_view base64);
    /// SHA-256 in lower-case hexadecimal.
    std::string hash() const;
    bool operator==(const PublicKey&) const = default;
};

struct Signature {
    std::array<std::uint8_t, 64> bytes{};

    static std::expected<Signature, Words> of(std::string_view base64);
};

/// Whether the key has signed the whole file. The file is mapped, not read: Ed25519 wants all of it at once.
Verdict checkArchive(const std::string& file, const PublicKey& key, const Signature& signature);

namespace Seal {

inline constexpr std::string_view suffix = ".seal";

/// Who sealed the file; an error if nobody did or if the file is not as it was then.
std::expected<PublicKey, Objection> check(const std::string& file);

}  // namespace Seal

}  // namespace larkmoor
