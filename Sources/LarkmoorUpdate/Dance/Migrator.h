// The Migrator as seen from outside: how it is proven, what it answers to a plan, and what its exit statuses mean.
// Pure.
#pragma once

#include <boost/describe.hpp>

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorBase/Record.h"

namespace larkmoor {

namespace InstalledMigrator {

/// In the application's bundle.
inline constexpr std::string_view migratorRelativePath = "Contents/MacOS/larkmoor-migrator";

struct RefusalCases {
    struct NoMigrator {
        bool operator==(const NoMigrator&) const = default;
    };
    struct SignatureDidNotVerify {
        bool operator==(const SignatureDidNotVerify&) const = default;
    };
    struct Unsigned {
        bool operator==(const Unsigned&) const = default;
    };
    struct OurOwnSignature {
        bool operator==(const OurOwnSignature&) const = default;
    };
    struct WrongSigner {
        std::string saw, wanted;
        bool operator==(const WrongSigner&) const = default;
    };
};

class Refusal : public ClosedVariant<RefusalCases, RefusalCases::NoMigrator, RefusalCases::SignatureDidNotVerify,
                                     RefusalCases::Unsigned, RefusalCases::OurOwnSignature, RefusalCases::WrongSigner> {
  public:
    using ClosedVariant::ClosedVariant;

    std::string description() const;
};

/// The path of the proven Migrator.
using Located = std::expected<std::string, std::vector<Refusal>>;

/// What was found out about the two files; nullopt for a signer that could not be read.
struct Evidence {
    bool isExecutable = false;
    bool verifies = false;
    std::optional<std::string> ourSigner{}, itsSigner{};
};

/// Nothing if the Migrator is ours.
std::optional<Refusal> refusal(const Evidence& evidence);

}  // namespace InstalledMigrator

/// Whose a signature is, as text that can be compared.
namespace Signer {

inline constexpr std::string_view certificateClause = "certificate leaf = H\"";
inline constexpr std::string_view teamClause = "certificate leaf[subject.OU] = \"";

/// The clause that names the certificate, else the one that names the team, of a designated requirement.
std::optional<std::string> read(std::string_view requirement);

}  // namespace Signer

/// The Migrator's exit statuses, as ProcessResult::status() tells them.
namespace MigratorExit {

inline constexpr std::int32_t neverRan = -1;

/// Its own deliberate ones.
bool isOwn(std::int32_t exit);
/// It was killed when its budget was over.
bool isWatchdogKill(std::int32_t exit);
/// It judged this store, or crashed on it; any other status means that it was kept from running to its end.
bool isAnswered(std::int32_t exit);

std::string_view planPhrase(std::int32_t exit);

/// Why an apply or a floor is no success, and whether the next launch may try again.
struct Red {
    std::string because;
    bool retriable = false;

    bool operator==(const Red&) const = default;
};
Red applyRed(std::int32_t status, std::int64_t steps);
Red floorRed(std::int32_t status);

/// The Migrator's output may tell about the store: it goes to the system's log, and not to the daemon's.
struct PlanExitLines {
    std::string relayed, systemOnly;
};
PlanExitLines planExitLines(std::string_view version, std::int32_t status, std::string_view output);

}  // namespace MigratorExit

/// What the Migrator answers to a plan: a JSON object.
struct PlanReceipt {
    enum class Disposition { applied, adopt, pending };
    BOOST_DESCRIBE_NESTED_ENUM(Disposition, applied, adopt, pending)

    LARKMOOR_RECORD(Step, (std::string, id), (Disposition, disposition))

    LARKMOOR_FIELDS(PlanReceipt, (std::vector<Step>, steps))

    std::int64_t pendingSteps() const;

    /// Of one line of output; nothing if it is no receipt.
    static std::optional<PlanReceipt> read(std::string_view line);
};

struct PlanOutcomeCases {
    struct NoPlan {
        std::string detail;
        std::int32_t exit = 0;
        bool operator==(const NoPlan&) const = default;
    };
    struct Pending {
        std::int64_t steps = 0;
        bool operator==(const Pending&) const = default;
    };
    struct NothingPending {
        bool operator==(const NothingPending&) const = default;
    };
};

class PlanOutcome : public ClosedVariant<PlanOutcomeCases, PlanOutcomeCases::NoPlan, PlanOutcomeCases::Pending,
                                         PlanOutcomeCases::NothingPending> {
  public:
    using ClosedVariant::ClosedVariant;

    /// Of a plan that exited with 0: its last line that begins with "{" is the receipt.
    static PlanOutcome ofOutput(std::string_view output);
};

struct ApplyOutcome {
    std::int32_t status = 0;
    std::vector<std::string> lines{};
    std::string logPath{};
};

}  // namespace larkmoor
