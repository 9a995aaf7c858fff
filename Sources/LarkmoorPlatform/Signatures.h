// Signatures of archives, and seals of bundles and of their executables: whether they hold, and whose they are. What a
// seal is, docs/updates.md tells.
#pragma once

#include <expected>
#include <optional>
#include <stop_token>
#include <string>

#include "LarkmoorBase/Task.h"

namespace larkmoor {

/// Main thread; nothing blocks it. An error is the reason in words, "cancelled" after a stop.
class Signatures {
  public:
    using Verdict = std::expected<void, std::string>;
    struct Objection {
        std::string words;
        bool isVerdict;  ///< false if nobody has judged: no time for it, a disk that fails, no helper, or a stop
    };
    using BundleVerdict = std::expected<void, Objection>;

    virtual ~Signatures() = default;

    /// Whether `signature` is the key's Ed25519 signature of the whole file. Key and signature are base64.
    virtual Task<Verdict> verifyArchive(std::string file, std::string key, std::string signature,
                                        std::stop_token stop) = 0;

    /// Whether each file, link, folder and mode of the bundle is as it was sealed by `key`, and nothing came to it.
    virtual Task<BundleVerdict> verifyBundle(std::string folder, std::string key, std::stop_token stop) = 0;

    /// Whether the executable or bundle is as it was sealed, whoever did it: `codesign --verify --strict`.
    virtual Task<Verdict> verifyStrictly(std::string path) = 0;

    /// Who sealed the executable or bundle, as text to compare: `codesign -d -r-`. nullopt if nobody did.
    virtual Task<std::optional<std::string>> designatedRequirement(std::string path) = 0;
};

}  // namespace larkmoor
