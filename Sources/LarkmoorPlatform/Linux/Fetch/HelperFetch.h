// Downloads by the helper program larkmoor-fetch, which keeps libcurl out of the resident process.
#pragma once

#include <string>

#include "LarkmoorPlatform/Fetch.h"
#include "LarkmoorPlatform/Linux/Processes/OpenedProgram.h"
#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor {

/// Each download is a process of its own; killing it is the cancel.
class HelperFetch final : public Fetch {
  public:
    struct Options {
        std::string helper;         ///< path of larkmoor-fetch; opened by the constructor
        std::string build;          ///< ours; a helper of another build fetches nothing
        std::string authorities{};  ///< a file of certificates to trust instead of the system's, for tests
    };

    /// `runner` outlives it.
    HelperFetch(ProcessRunner& runner, Options options);

    Task<std::expected<std::int64_t, FetchFailure>> fetch(FetchRequest request, FetchListener listener,
                                                          std::stop_token stop) override;

  private:
    std::vector<std::string> arguments(const FetchRequest& request) const;

    ProcessRunner& runner_;
    const Options options_;
    const OpenedProgram helper_;
};

}  // namespace larkmoor
