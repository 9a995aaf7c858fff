// Signatures by the helper program larkmoor-verify, which keeps the arithmetic of Ed25519 out of the resident process.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "LarkmoorPlatform/Linux/Processes/OpenedProgram.h"
#include "LarkmoorPlatform/ProcessRunner.h"
#include "LarkmoorPlatform/Signatures.h"

namespace larkmoor {

/// Each question is a process of its own.
class HelperSignatures final : public Signatures {
  public:
    struct Options {
        std::string helper;  ///< path of larkmoor-verify; opened by the constructor
        std::string build;   ///< ours; a helper of another build answers nothing
        /// Of a question about an archive or a bundle: some gigabytes on a slow disk.
        std::chrono::milliseconds updateBudget = std::chrono::minutes{10};
    };

    /// `runner` outlives it.
    HelperSignatures(ProcessRunner& runner, Options options);

    Task<Verdict> verifyArchive(std::string file, std::string key, std::string signature,
                                std::stop_token stop) override;
    Task<BundleVerdict> verifyBundle(std::string folder, std::string key, std::stop_token stop) override;
    Task<Verdict> verifyStrictly(std::string path) override;
    Task<std::optional<std::string>> designatedRequirement(std::string path) override;

  private:
    Task<ProcessResult> ask(std::vector<std::string> question, std::chrono::milliseconds budget, std::stop_token stop);
    Task<Verdict> judge(std::vector<std::string> question, std::chrono::milliseconds budget, std::stop_token stop);

    ProcessRunner& runner_;
    const Options options_;
    const OpenedProgram helper_;
};

}  // namespace larkmoor
