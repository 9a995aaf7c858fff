// Every sentence about the store, its key and the phrase, against the sentences as they were written out by hand.
#include "LarkmoorWire/Store/StoreMessage.h"

#include <set>
#include <sstream>

#include "LarkmoorBase/JSON/Coding.h"
#include "Support/Text.h"

namespace larkmoor {
namespace {

using Message = StoreMessage;
using Names = std::vector<std::string>;

const Names none;
const Names two{"data.db", "frames.db"};
const Names nine{"a", "b", "c", "d", "e", "f", "g", "h", "i"};
const Names ten{"k", "l", "m", "n", "o", "p", "q", "r", "s", "t"};
const Names eleven{"A", "B", "C", "D", "E", "F", "G", "H", "I", "J", "K"};

/// Messages with figures and names: with as little to say as there may be, and with all of it and lists that are cut.
std::vector<Message> withPayload() {
    return {
        Message::RevealKeyOpenedNothing{3, 0},
        Message::RevealKeyOpenedNothing{16, 4},
        Message::RevealFailed{"no store"},
        Message::AdoptionFailed{"no room"},
        Message::NotARecoveryVerb{"revael"},
        Message::PhraseWrongWordCount{12, 11},
        Message::PhraseUnknownWord{"larck"},
        Message::RefusedNothingCouldBeOpened{none, none},
        Message::RefusedNothingCouldBeOpened{nine, ten},
        Message::RefusedAKeyIsAlreadyHere{0, 0, none, 0},
        Message::RefusedAKeyIsAlreadyHere{0, 0, nine, 5},
        Message::RefusedAKeyIsAlreadyHere{2, 3, none, 0},
        Message::RefusedAKeyIsAlreadyHere{2, 3, nine, 5},
        Message::RefusedPhraseOpenedNothing{2, none, 0},
        Message::RefusedPhraseOpenedNothing{2, nine, 1},
        Message::KeyItemIsNotReadableAsAKey{31, 32},
        Message::KeychainRefused{-25293},
        Message::PhraseAccepted{2, 2, none, none, none, 16},
        Message::PhraseAccepted{1, 2, nine, ten, eleven, 16},
        Message::FolderIsNotEmpty{"/home/a/L", two, none, true},
        Message::FolderIsNotEmpty{"/home/a/L", nine, ten, false},
        Message::CouldNotOpenTheStore{"disk I/O error", none, false},
        Message::CouldNotOpenTheStore{"disk I/O error", nine, true},
        Message::StoreUnreadable{"not a database"},
        Message::SidecarsDidNotOpen{two, none, 5, 0},
        Message::SidecarsDidNotOpen{nine, ten, 5, 3},
        Message::TruthFileWasNotThere{false},
        Message::TruthFileWasNotThere{true},
        Message::StoreKeyNeedsAPerson{-25308},
    };
}

std::vector<Message> everything() {
    using namespace boost::mp11;
    std::vector<Message> all = withPayload();
    mp_for_each<mp_transform<mp_identity, Message::Alternatives>>([&all](auto type) {
        using Case = typename decltype(type)::type;
        if constexpr (mp_empty<FieldsOf<Case>>::value) all.emplace_back(Case{});
    });
    return all;
}

TEST(StoreMessage, SaysTheWholeSentence) {
    std::istringstream file{testing::testData("store-messages.txt")};
    std::set<std::string_view> said;
    std::string line;
    for (const Message& message : everything()) {
        const std::string_view name = message.visit([](const auto& held) { return held.wireName; });
        std::getline(file, line);
        EXPECT_EQ(fmt::format("{}: {}", name, text(message)), line);
        said.insert(name);
    }
    EXPECT_FALSE(std::getline(file, line)) << "nobody says: " << line;
    EXPECT_EQ(said.size(), std::variant_size_v<Message::Alternatives>) << "a case is not in the table";
    EXPECT_EQ(Message::nameList({nine.begin(), nine.end() - 1}, 8), "a, b, c, d, e, f, g, h") << "nothing is cut";
    EXPECT_TRUE(Message::revealIsAvailable.contains(text(Message::PaneRevealButton{}))) << "it sends people there";
}

}  // namespace
}  // namespace larkmoor
