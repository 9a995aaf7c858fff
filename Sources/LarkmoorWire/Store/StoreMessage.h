// Every sentence about the encrypted store, its key and the recovery phrase, so that the daemon and all clients use the
// same words. A sentence says exactly what was touched and what was not, and claims no more than was checked. The
// variant itself is in no message: its text is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Record.h"

namespace larkmoor {

#define LARKMOOR_VARIANT StoreMessageVariant
#define LARKMOOR_CASES "LarkmoorWire/Store/StoreMessage.inc"
#include "LarkmoorBase/DefineVariant.inc"

/// One sentence, with the figures and names it needs; the cases are in StoreMessage.inc.
class StoreMessage : public StoreMessageVariant {
  public:
    using StoreMessageVariant::StoreMessageVariant;

    // Whole sentences that several messages share, and that a client may use by themselves.
    static constexpr std::string_view thePhraseIsAnOption =
        "This Mac holds no Larkmoor key. If you kept your 12-word recovery phrase, you can enter it in "
        "Settings › Recovery.";
    static constexpr std::string_view revealIsAvailable =
        "To see the phrase for the key this Mac does hold, use Reveal Recovery Phrase above; that only reads and "
        "changes nothing.";
    static constexpr std::string_view cannotBeFixedFromHere = "Larkmoor cannot fix this from here.";
    static constexpr std::string_view nothingOfYoursCreated =
        "No key was made, and nothing of your memory was created, deleted, moved or re-keyed.";
    static constexpr std::string_view nothingOfYoursChanged =
        "Nothing of your memory was deleted, moved or re-keyed, and no key was made. Opening or checking a store does "
        "write, though: Larkmoor may have created its own \"frames\" or \"pen\" folder, or SQLite's own empty "
        "\"-wal\"/\"-shm\" sidecars, before it stopped.";
    static constexpr std::string_view nothingOfYoursMoved =
        "No key was written, and nothing of your memory was changed, deleted or re-keyed — checking a store file can "
        "leave SQLite's own empty \"-wal\"/\"-shm\" sidecars beside it, and nothing else.";

    /// How many names a list shows; the rest is a number.
    static constexpr std::size_t namesShown = 8;

    /// The first `show` names with commas between them, and the number of those left out.
    static std::string nameList(const std::vector<std::string>& names, std::size_t show = namesShown);
    /// What to add, with a leading blank, if `n` readable files were not checked; empty for 0.
    static std::string notCheckedClause(Int n);
};

/// The final sentence, or a button's or heading's label.
std::string text(const StoreMessage& message);

}  // namespace larkmoor
