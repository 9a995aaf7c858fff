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
        Message::RevealKeyOpenedNothing{.tried = 3, .notProbed = 0},
        Message::RevealKeyOpenedNothing{.tried = 16, .notProbed = 4},
        Message::RevealFailed{.detail = "no store"},
        Message::AdoptionFailed{.detail = "no room"},
        Message::NotARecoveryVerb{.verb = "revael"},
        Message::PhraseWrongWordCount{.expected = 12, .got = 11},
        Message::PhraseUnknownWord{.word = "larck"},
        Message::RefusedNothingCouldBeOpened{.seen = none, .couldNotRead = none},
        Message::RefusedNothingCouldBeOpened{.seen = nine, .couldNotRead = ten},
        Message::RefusedAKeyIsAlreadyHere{.opened = 0, .tried = 0, .couldNotRead = none, .notProbed = 0},
        Message::RefusedAKeyIsAlreadyHere{.opened = 0, .tried = 0, .couldNotRead = nine, .notProbed = 5},
        Message::RefusedAKeyIsAlreadyHere{.opened = 2, .tried = 3, .couldNotRead = none, .notProbed = 0},
        Message::RefusedAKeyIsAlreadyHere{.opened = 2, .tried = 3, .couldNotRead = nine, .notProbed = 5},
        Message::RefusedPhraseOpenedNothing{.tried = 2, .couldNotRead = none, .notProbed = 0},
        Message::RefusedPhraseOpenedNothing{.tried = 2, .couldNotRead = nine, .notProbed = 1},
        Message::KeyItemIsNotReadableAsAKey{.bytes = 31, .expected = 32},
        Message::KeychainRefused{.status = -25293},
        Message::PhraseAccepted{
            .opened = 2, .tried = 2, .didNotOpen = none, .couldNotRead = none, .notProbed = none, .limit = 16},
        Message::PhraseAccepted{
            .opened = 1, .tried = 2, .didNotOpen = nine, .couldNotRead = ten, .notProbed = eleven, .limit = 16},
        Message::FolderIsNotEmpty{
            .folder = "/home/a/L", .present = two, .couldNotRead = none, .aPhraseCouldBeChecked = true},
        Message::FolderIsNotEmpty{
            .folder = "/home/a/L", .present = nine, .couldNotRead = ten, .aPhraseCouldBeChecked = false},
        Message::CouldNotOpenTheStore{.detail = "disk I/O error", .couldNotRead = none, .offerThePhrase = false},
        Message::CouldNotOpenTheStore{.detail = "disk I/O error", .couldNotRead = nine, .offerThePhrase = true},
        Message::StoreUnreadable{.reason = "not a database"},
        Message::SidecarsDidNotOpen{.didNotOpen = two, .couldNotRead = none, .checked = 5, .notProbed = 0},
        Message::SidecarsDidNotOpen{.didNotOpen = nine, .couldNotRead = ten, .checked = 5, .notProbed = 3},
        Message::TruthFileWasNotThere{.unrecorded = false},
        Message::TruthFileWasNotThere{.unrecorded = true},
        Message::StoreKeyNeedsAPerson{.status = -25308},
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
    EXPECT_TRUE(Message::revealIsAvailable.contains(text(Message::PaneRevealButton{}))) << "it sends people there";
}

TEST(StoreMessage, NamesAsManyAsItIsToldAndCountsTheRest) {
    struct Case {
        Names names;
        std::size_t show;
        std::string_view want;
    };
    const Case table[] = {
        {none, 8, ""},
        {two, 1, "data.db, and 1 more"},
        {{nine.begin(), nine.end() - 1}, 8, "a, b, c, d, e, f, g, h"},
        {nine, 2, "a, b, and 7 more"},
    };
    for (const Case& row : table) EXPECT_EQ(Message::nameList(row.names, row.show), row.want);
}

}  // namespace
}  // namespace larkmoor
