// Every sentence about the store, its key and the phrase, written out by hand.
#include "LarkmoorWire/Store/StoreMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

namespace larkmoor {
namespace {

using Message = StoreMessage;
using Names = std::vector<std::string>;

struct Case {
    Message message;
    std::string want;
};

const std::string created = "No key was made, and nothing of your memory was created, deleted, moved or re-keyed.";
const std::string changed =
    "Nothing of your memory was deleted, moved or re-keyed, and no key was made. Opening or checking a store does "
    "write, though: Larkmoor may have created its own \"frames\" or \"pen\" folder, or SQLite's own empty "
    "\"-wal\"/\"-shm\" sidecars, before it stopped.";
const std::string moved =
    "No key was written, and nothing of your memory was changed, deleted or re-keyed — checking a store file can leave "
    "SQLite's own empty \"-wal\"/\"-shm\" sidecars beside it, and nothing else.";
const std::string option =
    "This Mac holds no Larkmoor key. If you kept your 12-word recovery phrase, you can enter it in "
    "Settings › Recovery.";
const std::string reveal =
    "To see the phrase for the key this Mac does hold, use Reveal Recovery Phrase above; that only reads and changes "
    "nothing.";
const std::string hint = "If you kept a recovery phrase, you can enter it in the Settings › Recovery pane.";
const std::string development =
    "This is a development build of Larkmoor, and it keeps its store unencrypted on disk. There is no key here and no "
    "recovery phrase to reveal.";

const Names none;
const Names one{"pen"};
const Names two{"data.db", "frames.db"};

std::vector<Case> aboutThePhrase() {
    return {
        {Message::RevealKeyOpenedNothing{.tried = 3, .notProbed = 0},
         "the key on this Mac did not open any of the 3 store file(s) Larkmoor checked. " + moved + " " + hint},
        {Message::RevealKeyOpenedNothing{.tried = 16, .notProbed = 4},
         "the key on this Mac did not open any of the 16 store file(s) Larkmoor checked. 4 more readable store file(s) "
         "in the folder were not checked at all. " +
             moved + " " + hint},
        {Message::RevealFailed{.detail = "no store"}, "the recovery phrase could not be read: no store"},
        {Message::AdoptionFailed{.detail = "no room"}, "the phrase could not be adopted: no room"},
        {Message::NotARecoveryVerb{.verb = "revael"}, "revael is not a recovery verb"},
        {Message::PhraseWrongWordCount{.expected = 12, .got = 11}, "a recovery phrase is 12 words — this one has 11"},
        {Message::PhraseUnknownWord{.word = "larck"},
         "\"larck\" is not one of the recovery words — check its spelling"},
        {Message::PhraseBadChecksum{},
         "that phrase failed its checksum — one of the twelve words is wrong or out of order"},
        {Message::RevealHasNoKeyBecauseThisBuildHasNone{}, development},
        {Message::RevealHasNoKeyOnThisMac{},
         "this Mac holds no Larkmoor store key, so there is no phrase to reveal here. " + created + " " + hint},
        {Message::EnterHasNothingToUnlockOnThisBuild{},
         "this Larkmoor does not lock its store with a key, so there is nothing here for a recovery phrase to unlock. "
         "Nothing was written."},
        {Message::RefusedFolderIsEmpty{},
         "Larkmoor's folder is empty — there is nothing here for a phrase to be checked against. Nothing was written."},
    };
}

std::vector<Case> aboutCheckingAPhrase() {
    const std::string alreadyHere =
        "this Mac already holds a Larkmoor store key, and a phrase is only ever added to a Mac that holds none — "
        "Larkmoor never changes or deletes a key it did not just create.";
    const std::string notChecked =
        " The phrase you just typed was not checked against anything — Larkmoor stopped as soon as it found a key "
        "here. " +
        moved + " Your key and your phrase are untouched. " + reveal;
    const std::string seen =
        "there are 2 item(s) in Larkmoor's folder (data.db, frames.db), and Larkmoor could not open a database among "
        "them to check the phrase against. Nothing was written and nothing was deleted.";
    const std::string notFixed =
        " Larkmoor cannot fix this from here. A phrase can be checked here once there is a store database in that "
        "folder Larkmoor can open.";
    const std::string twelve = "those twelve words are a valid recovery phrase, and they did not open any of the ";
    const std::string another = moved + " Another phrase can be checked here whenever you have one.";
    const std::string restarting = " Nothing was deleted, moved or re-keyed. Larkmoor is restarting.";

    return {
        {Message::RefusedNothingCouldBeOpened{.seen = two, .couldNotRead = none}, seen + notFixed},
        {Message::RefusedNothingCouldBeOpened{.seen = two, .couldNotRead = one},
         seen + " It was refused at 1 of them, so it does not know what is in those: pen." + notFixed},
        {Message::RefusedAKeyIsAlreadyHere{.opened = 0, .tried = 0, .couldNotRead = none, .notProbed = 0},
         alreadyHere + " There was no store file Larkmoor could open to check that key against." + notChecked},
        {Message::RefusedAKeyIsAlreadyHere{.opened = 0, .tried = 0, .couldNotRead = two, .notProbed = 0},
         alreadyHere +
             " There was no store file Larkmoor could open to check that key against. It was also refused at 2 item(s) "
             "in the folder, so it does not know what is in those: data.db, frames.db." +
             notChecked},
        {Message::RefusedAKeyIsAlreadyHere{.opened = 2, .tried = 3, .couldNotRead = none, .notProbed = 0},
         alreadyHere + " The key here opened 2 of the 3 store file(s) Larkmoor checked." + notChecked},
        {Message::RefusedAKeyIsAlreadyHere{.opened = 2, .tried = 3, .couldNotRead = one, .notProbed = 5},
         alreadyHere +
             " The key here opened 2 of the 3 store file(s) Larkmoor checked. 5 more readable store file(s) in the "
             "folder were not checked at all. It was also refused at 1 item(s) in the folder, so it does not know what "
             "is in those: pen." +
             notChecked},
        {Message::RefusedPhraseOpenedNothing{.tried = 2, .couldNotRead = none, .notProbed = 0},
         twelve + "2 store file(s) Larkmoor checked. " + another},
        {Message::RefusedPhraseOpenedNothing{.tried = 2, .couldNotRead = one, .notProbed = 1},
         twelve +
             "2 store file(s) Larkmoor checked. 1 more readable store file(s) in the folder were not checked at all. "
             "Larkmoor was refused at 1 other item(s) in the folder and could not check those at all: pen. " +
             another},
        {Message::PhraseAccepted{
             .opened = 2, .tried = 2, .didNotOpen = none, .couldNotRead = none, .notProbed = none, .limit = 16},
         "Phrase accepted: it opened 2 of the 2 store file(s) Larkmoor checked, and the key was installed." +
             restarting},
        {Message::PhraseAccepted{
             .opened = 1, .tried = 2, .didNotOpen = {"old.db"}, .couldNotRead = one, .notProbed = two, .limit = 16},
         "Phrase accepted: it opened 1 of the 2 store file(s) Larkmoor checked, and the key was installed. These did "
         "not open with it: old.db. Larkmoor was refused at these, so it does not know what is in them: pen. These "
         "were never checked, because Larkmoor only ever tries 16 store files: data.db, frames.db." +
             restarting},
    };
}

std::vector<Case> aboutTheKey() {
    return {
        {Message::KeyItemIsNotReadableAsAKey{.bytes = 31, .expected = 32},
         "the Keychain item for Larkmoor's store key is 31 bytes, not 32, so it cannot be read as a Larkmoor key. "
         "Nothing was changed or deleted by this request, and Larkmoor will not change or delete it. Larkmoor cannot "
         "add a key while an item is there. Larkmoor cannot fix this from here."},
        {Message::KeychainRefused{.status = -25293},
         "the Keychain refused (OSStatus -25293), so what Larkmoor asked of it was not done, and Larkmoor did not try "
         "to get around it. " +
             moved + " Larkmoor cannot fix this from here."},
        {Message::StoreKeyNeedsAPerson{.status = -25308},
         "store locked: Larkmoor runs in the background with nobody in front of it, so it never asks this Mac's "
         "Keychain to hand over the key to your memory — and the Keychain would only give that key up by asking "
         "(OSStatus -25308). Larkmoor is up, but it did not open your memory and it is capturing nothing. " +
             created +
             " Larkmoor can reach the key again when it is opened from the app, where somebody is there to allow it if "
             "the Keychain asks."},
        {Message::NoKeyWasFoundOnThisMac{},
         "no Larkmoor store key was found on this Mac, so there is nothing for a phrase to be checked against here"},
        {Message::AKeyAppearedWhileChecking{},
         "a key appeared on this Mac while the phrase was being checked — nothing was overwritten."},
        {Message::NoKeyForTheStoreOnDisk{},
         "this Mac holds no key for the store on disk — that is what the phrase is for"},
    };
}

std::vector<Case> aboutTheStore() {
    const std::string notEmpty =
        "store locked: Larkmoor's folder (/home/a/L) is not empty and this Mac holds no key, so Larkmoor did not start "
        "a new memory over what is there. It found 2 item(s): data.db, frames.db. " +
        created;
    const std::string notOpened = "disk I/O error — Larkmoor could not open the store on disk. " + changed;
    const std::string diary =
        "Larkmoor started a NEW EMPTY diary: the file your moments, settings and rules live in (data.db) was not there "
        "at startup, while other items were still in Larkmoor's folder, so Larkmoor created a new empty one. Nothing "
        "was deleted to do that, and whatever else is in the folder was left exactly as it was. Larkmoor cannot fix "
        "this from here.";
    return {
        {Message::FolderIsNotEmpty{
             .folder = "/home/a/L", .present = two, .couldNotRead = none, .aPhraseCouldBeChecked = true},
         notEmpty + " " + option},
        {Message::FolderIsNotEmpty{
             .folder = "/home/a/L", .present = two, .couldNotRead = one, .aPhraseCouldBeChecked = false},
         notEmpty +
             " It could not read 1 of them, so it does not know what is in those: pen. There is no store database in "
             "that folder for a recovery phrase to be checked against, so entering one here would be refused. Larkmoor "
             "cannot fix this from here."},
        {Message::CouldNotOpenTheStore{.detail = "disk I/O error", .couldNotRead = none, .offerThePhrase = false},
         notOpened},
        {Message::CouldNotOpenTheStore{.detail = "disk I/O error", .couldNotRead = none, .offerThePhrase = true},
         notOpened + " " + option},
        {Message::CouldNotOpenTheStore{.detail = "disk I/O error", .couldNotRead = two, .offerThePhrase = true},
         notOpened +
             " It was also refused at 2 item(s) in the folder, so it does not know what is in those: data.db, "
             "frames.db. " +
             option},
        {Message::StoreUnreadable{.reason = "not a database"}, "store unreadable: not a database"},
        {Message::StoreUnreadableWithNoReason{}, "store unreadable"},
        {Message::SidecarsDidNotOpen{.didNotOpen = two, .couldNotRead = none, .checked = 5, .notProbed = 0},
         "2 of your store's files did not open with the key that opened data.db (data.db, frames.db) (it checked 5 "
         "store file(s) beside data.db). " +
             moved},
        {Message::SidecarsDidNotOpen{.didNotOpen = two, .couldNotRead = one, .checked = 5, .notProbed = 3},
         "2 of your store's files did not open with the key that opened data.db (data.db, frames.db), and Larkmoor was "
         "refused at 1 item(s) in its folder, so it does not know what is in those (pen) (it checked 5 store file(s) "
         "beside data.db). 3 more readable store file(s) in the folder were not checked at all. " +
             moved},
        {Message::TruthFileWasNotThere{.unrecorded = false}, diary},
        {Message::TruthFileWasNotThere{.unrecorded = true},
         diary + " (Larkmoor could not write this down, so it may not appear again after a restart.)"},
        {Message::GatewayUnavailableSuffix{}, "; gateway unavailable"},
        {Message::AGrantIsMissing{}, "a grant is missing"},
    };
}

std::vector<Case> ofThePane() {
    return {
        {Message::PaneArmedTitle{}, "Your memory is encrypted"},
        {Message::PaneArmedBody{},
         "Larkmoor locks the memory on this Mac's disk, and your recovery phrase is the twelve-word form of that key."},
        {Message::PanePlaintextTitle{}, "This build does not encrypt its memory"},
        {Message::PanePlaintextBody{}, development},
        {Message::PanePhraseHeader{}, "Recovery phrase"},
        {Message::PanePhraseFooter{},
         "These twelve words are the key to the memory on this Mac. Write them down and store them somewhere safe."},
        {Message::PaneRevealButton{}, "Reveal Recovery Phrase"},
        {Message::PaneHideButton{}, "Hide Recovery Phrase"},
        {Message::PaneCopyButton{}, "Copy Recovery Phrase"},
        {Message::PaneMaskedPhrase{},
         "•••••• •••••• •••••• •••••• •••••• •••••• •••••• •••••• •••••• •••••• •••••• ••••••"},
        {Message::PaneRestoreHeader{}, "Enter a recovery phrase"},
        {Message::PaneRestoreFooter{},
         "On a Mac that holds no Larkmoor key, Larkmoor checks the twelve words against store files in its folder, and "
         "installs the key only if they open at least one. Nothing is deleted, moved or re-keyed."},
        {Message::PaneRestorePrompt{}, "Your twelve words, in order"},
        {Message::PaneRestoreButton{}, "Enter Recovery Phrase"},
        {Message::PaneRestoreWorking{}, "Checking the phrase…"},
        {Message::PaneRestoreAccepted{}, "Phrase accepted, and the key was installed. Larkmoor is restarting."},
    };
}

std::vector<Case> everything() {
    std::vector<Case> all;
    for (const auto& some : {aboutThePhrase(), aboutCheckingAPhrase(), aboutTheKey(), aboutTheStore(), ofThePane()}) {
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

std::string_view nameOf(const Message& message) {
    return message.visit([](const auto& held) { return held.wireName; });
}

TEST(StoreMessage, SaysTheWholeSentence) {
    std::set<std::string_view> said;
    for (const Case& row : everything()) {
        EXPECT_EQ(text(row.message), row.want) << nameOf(row.message);
        said.insert(nameOf(row.message));
    }
    EXPECT_EQ(said.size(), std::variant_size_v<Message::Alternatives>) << "a case is not in the table";
}

// A client shows these by themselves as well.
TEST(StoreMessage, SharesItsSentences) {
    EXPECT_EQ(Message::thePhraseIsAnOption, option);
    EXPECT_EQ(Message::revealIsAvailable, reveal);
    EXPECT_EQ(Message::cannotBeFixedFromHere, "Larkmoor cannot fix this from here.");
    EXPECT_EQ(Message::nothingOfYoursCreated, created);
    EXPECT_EQ(Message::nothingOfYoursChanged, changed);
    EXPECT_EQ(Message::nothingOfYoursMoved, moved);
    EXPECT_THAT(reveal, ::testing::HasSubstr(text(Message::PaneRevealButton{}))) << "it sends people to that button";
}

TEST(StoreMessage, NamesEightAndCountsTheRest) {
    const Names nine{"a", "b", "c", "d", "e", "f", "g", "h", "i"};
    const Names eight{nine.begin(), nine.end() - 1};
    struct Row {
        Names names;
        std::size_t show;
        std::string_view want;
    };
    const Row table[] = {
        {none, 8, ""},
        {one, 8, "pen"},
        {two, 1, "data.db, and 1 more"},
        {eight, 8, "a, b, c, d, e, f, g, h"},
        {nine, 8, "a, b, c, d, e, f, g, h, and 1 more"},
        {nine, 2, "a, b, and 7 more"},
    };
    for (const Row& row : table) EXPECT_EQ(Message::nameList(row.names, row.show), row.want);
    EXPECT_EQ(Message::nameList(nine), "a, b, c, d, e, f, g, h, and 1 more");

    // Every list is cut, and the figure beside it is not.
    const auto cut = ::testing::HasSubstr("a, b, c, d, e, f, g, h, and 1 more");
    const Message lists[] = {
        Message::RefusedNothingCouldBeOpened{.seen = nine, .couldNotRead = none},
        Message::RefusedNothingCouldBeOpened{.seen = one, .couldNotRead = nine},
        Message::RefusedAKeyIsAlreadyHere{.opened = 1, .tried = 1, .couldNotRead = nine, .notProbed = 0},
        Message::RefusedPhraseOpenedNothing{.tried = 1, .couldNotRead = nine, .notProbed = 0},
        Message::FolderIsNotEmpty{.folder = "/L", .present = nine, .couldNotRead = none, .aPhraseCouldBeChecked = true},
        Message::FolderIsNotEmpty{.folder = "/L", .present = two, .couldNotRead = nine, .aPhraseCouldBeChecked = true},
        Message::CouldNotOpenTheStore{.detail = "x", .couldNotRead = nine, .offerThePhrase = true},
        Message::SidecarsDidNotOpen{.didNotOpen = nine, .couldNotRead = none, .checked = 1, .notProbed = 0},
        Message::SidecarsDidNotOpen{.didNotOpen = one, .couldNotRead = nine, .checked = 1, .notProbed = 0},
    };
    for (const Message& message : lists) {
        EXPECT_THAT(text(message), cut) << nameOf(message);
        EXPECT_THAT(text(message), ::testing::HasSubstr("9 ")) << nameOf(message);
    }
    const std::string accepted = text(Message::PhraseAccepted{
        .opened = 1, .tried = 1, .didNotOpen = nine, .couldNotRead = nine, .notProbed = nine, .limit = 16});
    EXPECT_THAT(accepted, ::testing::HasSubstr("open with it: a, b, c, d, e, f, g, h, and 1 more. Larkmoor"));
    EXPECT_THAT(accepted, ::testing::HasSubstr("is in them: a, b, c, d, e, f, g, h, and 1 more. These"));
    EXPECT_THAT(accepted, ::testing::HasSubstr("store files: a, b, c, d, e, f, g, h, and 1 more. Nothing"));
}

TEST(StoreMessage, SaysNothingOfFilesThatWereAllChecked) {
    EXPECT_EQ(Message::notCheckedClause(0), "");
    EXPECT_EQ(Message::notCheckedClause(1), " 1 more readable store file(s) in the folder were not checked at all.");
}

// Whatever the lists hold, the joined sentences read as one text.
TEST(StoreMessage, IsProperProse) {
    std::vector<Message> messages;
    for (const Case& row : everything()) messages.push_back(row.message);
    for (const Names& first : {none, one, two}) {
        for (const Names& second : {none, one, two}) {
            for (const Int figure : {0, 1, 7}) {
                messages.insert(
                    messages.end(),
                    {Message::RefusedNothingCouldBeOpened{.seen = first, .couldNotRead = second},
                     Message::RefusedAKeyIsAlreadyHere{
                         .opened = 0, .tried = figure, .couldNotRead = first, .notProbed = figure},
                     Message::RefusedPhraseOpenedNothing{.tried = figure, .couldNotRead = first, .notProbed = figure},
                     Message::PhraseAccepted{.opened = figure,
                                             .tried = figure,
                                             .didNotOpen = first,
                                             .couldNotRead = second,
                                             .notProbed = figure == 0 ? none : two,
                                             .limit = 16},
                     Message::FolderIsNotEmpty{.folder = "/L",
                                               .present = first,
                                               .couldNotRead = second,
                                               .aPhraseCouldBeChecked = figure == 0},
                     Message::CouldNotOpenTheStore{.detail = "x", .couldNotRead = first, .offerThePhrase = figure == 0},
                     Message::SidecarsDidNotOpen{
                         .didNotOpen = first, .couldNotRead = second, .checked = figure, .notProbed = figure}});
            }
        }
    }
    for (const Message& message : messages) {
        const std::string said = text(message);
        ASSERT_FALSE(said.empty()) << nameOf(message);
        EXPECT_NE(said.front(), ' ') << said;
        EXPECT_NE(said.back(), ' ') << said;
        for (const char* slip : {"  ", " .", " ,", "..", ".,", ":.", ": .", "()", "( ", " )", "{", "}"}) {
            EXPECT_EQ(said.find(slip), std::string::npos) << '"' << slip << "\" in " << said;
        }
        // A full stop is followed by a blank, but within a file's name.
        for (std::size_t at = 0; (at = said.find('.', at)) != std::string::npos; ++at) {
            const bool ends = at + 1 == said.size() || said[at + 1] == ' ' || said[at + 1] == ')';
            EXPECT_TRUE(ends || said.compare(at, 3, ".db") == 0) << said;
        }
    }
}

}  // namespace
}  // namespace larkmoor
