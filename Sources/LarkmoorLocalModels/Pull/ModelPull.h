// The naming model's way onto this machine: from the registry, or, if that refuses, from a mirror under another name.
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "LarkmoorBase/Record.h"
#include "LarkmoorBase/Task.h"
#include "LarkmoorLocalModels/Pipeline/Transfer.h"
#include "LarkmoorLocalModels/Pull/PullOnce.h"

namespace larkmoor {

/// Who is to blame for a download that failed: only the registry's refusal can be helped by a mirror.
enum class PullFailure : std::uint8_t { registry, network };
BOOST_DESCRIBE_ENUM(PullFailure, registry, network)

#define LARKMOOR_VARIANT ModelPullOutcome
#define LARKMOOR_CASE_LIST                           \
    LARKMOOR_CASE(Failed, failed, (PullFailure, _0)) \
    LARKMOOR_CASE(Pulled, pulled)                    \
    LARKMOOR_CASE(Mirrored, mirrored)
#include "LarkmoorBase/DefineVariant.inc"

/// Main thread.
class ModelPull {
  public:
    using Outcome = ModelPullOutcome;

    /// The same weights as the naming model, by the name under which the host knows the mirror.
    static constexpr std::string_view mirrorModel = "hf.co/fenwright/gemma3-4b-text";

    struct Seams {
        /// nullopt on success, otherwise what went wrong.
        std::function<Task<std::optional<std::string>>(std::string name)> pull;
        std::function<Task<bool>(std::string source, std::string destination)> copy;
        std::function<Task<bool>(std::string name)> ping;
        std::function<Task<bool>(std::string name)> remove;
        SetupLogger log;
        std::stop_token stop{};
    };

    explicit ModelPull(Seams seams) : seams_(std::move(seams)) {}

    /// The seams that ask the host. `progress` is told of the registry's download, as `pullOnce` says, and then of the
    /// mirror's: where the host has none of the mirror's layers yet, that begins at nothing, and so does what is told,
    /// since a bar at the end with the whole download still to come would be a lie.
    static Seams live(const ModelHost& host, const TransferListener& progress, const SetupLogger& log);

    /// By the words of the host: whether this machine reaches nothing, in any letter case.
    static PullFailure classify(std::string_view text);

    /// What the row of the model is skipped with.
    static std::string_view words(PullFailure failure);

    /// Must not outlive this. When it is stopped, each further request fails at once, but for one: a model that came
    /// from the mirror is removed under the mirror's name.
    Task<Outcome> run();

  private:
    Task<Outcome> pullFromMirror();
    Task<bool> renameMirrored();

    Seams seams_;
};

/// Downloads the naming model. Main thread.
Task<std::expected<void, SetupError>> pullModel(ModelHost host, TransferListener progress, SetupLogger log);

}  // namespace larkmoor
