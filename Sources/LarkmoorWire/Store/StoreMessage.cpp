#include "LarkmoorWire/Store/StoreMessage.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <span>

namespace larkmoor {

namespace {

using Message = StoreMessage;
using Names = std::vector<std::string>;

constexpr std::string_view files = "store file(s) Larkmoor checked.";
constexpr std::string_view phraseHint =
    "If you kept a recovery phrase, you can enter it in the Settings › Recovery pane.";

// The two ways in which a sentence continues with a list of names; without names there are no brackets and no colon.
std::string inBrackets(const Names& names) {
    return names.empty() ? std::string{} : fmt::format(" ({})", Message::nameList(names));
}
std::string listed(const Names& names) { return names.empty() ? "." : fmt::format(": {}.", Message::nameList(names)); }

/// `format` with the number of names and their list; empty if there are no names.
std::string ifAny(const Names& names, fmt::format_string<std::size_t, std::string> format) {
    return names.empty() ? std::string{} : fmt::format(format, names.size(), listed(names));
}

/// Follows a sentence about Larkmoor, which "it" and "also" speak of.
std::string alsoRefused(const Names& couldNotRead) {
    return ifAny(couldNotRead,
                 " It was also refused at {} item(s) in the folder, so it does not know what is in those{}");
}

// Asking for the phrase

std::string sentence(const Message::RevealKeyOpenedNothing& it) {
    return fmt::format("the key on this Mac did not open any of the {} {}{} {} {}", it.tried, files,
                       Message::notCheckedClause(it.notProbed), Message::nothingOfYoursMoved, phraseHint);
}

std::string sentence(const Message::RevealFailed& it) {
    return fmt::format("the recovery phrase could not be read: {}", it.detail);
}

std::string_view sentence(const Message::RevealHasNoKeyBecauseThisBuildHasNone&) {
    return "This is a development build of Larkmoor, and it keeps its store unencrypted on disk. There is no key here "
           "and no recovery phrase to reveal.";
}

std::string sentence(const Message::RevealHasNoKeyOnThisMac&) {
    return fmt::format("this Mac holds no Larkmoor store key, so there is no phrase to reveal here. {} {}",
                       Message::nothingOfYoursCreated, phraseHint);
}

// Entering a phrase

std::string sentence(const Message::AdoptionFailed& it) {
    return fmt::format("the phrase could not be adopted: {}", it.detail);
}

std::string sentence(const Message::NotARecoveryVerb& it) { return fmt::format("{} is not a recovery verb", it.verb); }

std::string sentence(const Message::PhraseWrongWordCount& it) {
    return fmt::format("a recovery phrase is {} words — this one has {}", it.expected, it.got);
}

std::string sentence(const Message::PhraseUnknownWord& it) {
    return fmt::format("\"{}\" is not one of the recovery words — check its spelling", it.word);
}

std::string_view sentence(const Message::PhraseBadChecksum&) {
    return "that phrase failed its checksum — one of the twelve words is wrong or out of order";
}

std::string_view sentence(const Message::EnterHasNothingToUnlockOnThisBuild&) {
    return "this Larkmoor does not lock its store with a key, so there is nothing here for a recovery phrase to "
           "unlock. Nothing was written.";
}

std::string_view sentence(const Message::RefusedFolderIsEmpty&) {
    return "Larkmoor's folder is empty — there is nothing here for a phrase to be checked against. "
           "Nothing was written.";
}

std::string sentence(const Message::RefusedNothingCouldBeOpened& it) {
    return fmt::format(
        "there are {} item(s) in Larkmoor's folder{}, and Larkmoor could not open a database among them to check the "
        "phrase against. Nothing was written and nothing was deleted.{}"
        " Larkmoor cannot fix this from here. A phrase can be checked here once there is a store database in that "
        "folder Larkmoor can open.",
        it.seen.size(), inBrackets(it.seen),
        ifAny(it.couldNotRead, " It was refused at {} of them, so it does not know what is in those{}"));
}

std::string sentence(const Message::RefusedAKeyIsAlreadyHere& it) {
    const std::string checked = it.tried == 0
                                    ? " There was no store file Larkmoor could open to check that key against."
                                    : fmt::format(" The key here opened {} of the {} {}{}", it.opened, it.tried, files,
                                                  Message::notCheckedClause(it.notProbed));
    return fmt::format(
        "this Mac already holds a Larkmoor store key, and a phrase is only ever added to a Mac that holds none — "
        "Larkmoor never changes or deletes a key it did not just create.{}{} The phrase you just typed was not checked "
        "against anything — Larkmoor stopped as soon as it found a key here. {} Your key and your phrase are "
        "untouched. {}",
        checked, alsoRefused(it.couldNotRead), Message::nothingOfYoursMoved, Message::revealIsAvailable);
}

std::string sentence(const Message::RefusedPhraseOpenedNothing& it) {
    return fmt::format(
        "those twelve words are a valid recovery phrase, and they did not open any of the {} {}{}{} {} Another phrase "
        "can be checked here whenever you have one.",
        it.tried, files, Message::notCheckedClause(it.notProbed),
        ifAny(it.couldNotRead,
              " Larkmoor was refused at {} other item(s) in the folder and could not check those at all{}"),
        Message::nothingOfYoursMoved);
}

std::string sentence(const Message::PhraseAccepted& it) {
    std::string said = fmt::format(
        "Phrase accepted: it opened {} of the {} store file(s) Larkmoor checked, and the key was installed.", it.opened,
        it.tried);
    if (!it.didNotOpen.empty()) said += fmt::format(" These did not open with it{}", listed(it.didNotOpen));
    if (!it.couldNotRead.empty()) {
        said += fmt::format(" Larkmoor was refused at these, so it does not know what is in them{}",
                            listed(it.couldNotRead));
    }
    if (!it.notProbed.empty()) {
        said += fmt::format(" These were never checked, because Larkmoor only ever tries {} store files{}", it.limit,
                            listed(it.notProbed));
    }
    return said + " Nothing was deleted, moved or re-keyed. Larkmoor is restarting.";
}

// The key in the Keychain

std::string sentence(const Message::KeyItemIsNotReadableAsAKey& it) {
    return fmt::format(
        "the Keychain item for Larkmoor's store key is {} bytes, not {}, so it cannot be read as a Larkmoor key. "
        "Nothing was changed or deleted by this request, and Larkmoor will not change or delete it. Larkmoor cannot "
        "add a key while an item is there. {}",
        it.bytes, it.expected, Message::cannotBeFixedFromHere);
}

std::string sentence(const Message::KeychainRefused& it) {
    return fmt::format(
        "the Keychain refused (OSStatus {}), so what Larkmoor asked of it was not done, and Larkmoor did not try to "
        "get around it. {} {}",
        it.status, Message::nothingOfYoursMoved, Message::cannotBeFixedFromHere);
}

std::string sentence(const Message::StoreKeyNeedsAPerson& it) {
    return fmt::format(
        "store locked: Larkmoor runs in the background with nobody in front of it, so it never asks this Mac's "
        "Keychain to hand over the key to your memory — and the Keychain would only give that key up by asking "
        "(OSStatus {}). Larkmoor is up, but it did not open your memory and it is capturing nothing. {} Larkmoor can "
        "reach the key again when it is opened from the app, where somebody is there to allow it if the Keychain asks.",
        it.status, Message::nothingOfYoursCreated);
}

std::string_view sentence(const Message::NoKeyWasFoundOnThisMac&) {
    return "no Larkmoor store key was found on this Mac, so there is nothing for a phrase to be checked against here";
}

std::string_view sentence(const Message::AKeyAppearedWhileChecking&) {
    return "a key appeared on this Mac while the phrase was being checked — nothing was overwritten.";
}

std::string_view sentence(const Message::NoKeyForTheStoreOnDisk&) {
    return "this Mac holds no key for the store on disk — that is what the phrase is for";
}

// Opening the store

std::string sentence(const Message::FolderIsNotEmpty& it) {
    const std::string wayOn =
        it.aPhraseCouldBeChecked
            ? std::string{Message::thePhraseIsAnOption}
            : fmt::format(
                  "There is no store database in that folder for a recovery phrase to be checked against, so "
                  "entering one here would be refused. {}",
                  Message::cannotBeFixedFromHere);
    return fmt::format(
        "store locked: Larkmoor's folder ({}) is not empty and this Mac holds no key, so Larkmoor did not start a new "
        "memory over what is there. It found {} item(s){} {}{} {}",
        it.folder, it.present.size(), listed(it.present), Message::nothingOfYoursCreated,
        ifAny(it.couldNotRead, " It could not read {} of them, so it does not know what is in those{}"), wayOn);
}

std::string sentence(const Message::CouldNotOpenTheStore& it) {
    std::string said = fmt::format("{} — Larkmoor could not open the store on disk. {}{}", it.detail,
                                   Message::nothingOfYoursChanged, alsoRefused(it.couldNotRead));
    if (it.offerThePhrase) said += fmt::format(" {}", Message::thePhraseIsAnOption);
    return said;
}

std::string sentence(const Message::StoreUnreadable& it) { return fmt::format("store unreadable: {}", it.reason); }

std::string_view sentence(const Message::StoreUnreadableWithNoReason&) { return "store unreadable"; }

std::string sentence(const Message::SidecarsDidNotOpen& it) {
    std::string said = fmt::format("{} of your store's files did not open with the key that opened data.db{}",
                                   it.didNotOpen.size(), inBrackets(it.didNotOpen));
    if (!it.couldNotRead.empty()) {
        said += fmt::format(
            ", and Larkmoor was refused at {} item(s) in its folder, so it does not know what is in those{}",
            it.couldNotRead.size(), inBrackets(it.couldNotRead));
    }
    return said + fmt::format(" (it checked {} store file(s) beside data.db).{} {}", it.checked,
                              Message::notCheckedClause(it.notProbed), Message::nothingOfYoursMoved);
}

std::string sentence(const Message::TruthFileWasNotThere& it) {
    return fmt::format(
        "Larkmoor started a NEW EMPTY diary: the file your moments, settings and rules live in (data.db) was not there "
        "at startup, while other items were still in Larkmoor's folder, so Larkmoor created a new empty one. Nothing "
        "was deleted to do that, and whatever else is in the folder was left exactly as it was. {}{}",
        Message::cannotBeFixedFromHere,
        it.unrecorded ? " (Larkmoor could not write this down, so it may not appear again after a restart.)" : "");
}

// Parts of the status line

std::string_view sentence(const Message::GatewayUnavailableSuffix&) { return "; gateway unavailable"; }
std::string_view sentence(const Message::AGrantIsMissing&) { return "a grant is missing"; }

// The Recovery pane of the settings

std::string_view sentence(const Message::PaneArmedTitle&) { return "Your memory is encrypted"; }
std::string_view sentence(const Message::PaneArmedBody&) {
    return "Larkmoor locks the memory on this Mac's disk, and your recovery phrase is the twelve-word form of that "
           "key.";
}
std::string_view sentence(const Message::PanePlaintextTitle&) { return "This build does not encrypt its memory"; }
std::string_view sentence(const Message::PanePlaintextBody&) {
    return sentence(Message::RevealHasNoKeyBecauseThisBuildHasNone{});
}
std::string_view sentence(const Message::PanePhraseHeader&) { return "Recovery phrase"; }
std::string_view sentence(const Message::PanePhraseFooter&) {
    return "These twelve words are the key to the memory on this Mac. Write them down and store them somewhere safe.";
}
std::string_view sentence(const Message::PaneRevealButton&) { return "Reveal Recovery Phrase"; }
std::string_view sentence(const Message::PaneHideButton&) { return "Hide Recovery Phrase"; }
std::string_view sentence(const Message::PaneCopyButton&) { return "Copy Recovery Phrase"; }
// Twelve words of the same length, so that the mask reveals nothing about the hidden words.
std::string_view sentence(const Message::PaneMaskedPhrase&) {
    return "•••••• •••••• •••••• •••••• •••••• •••••• •••••• •••••• •••••• •••••• •••••• ••••••";
}
std::string_view sentence(const Message::PaneRestoreHeader&) { return "Enter a recovery phrase"; }
std::string_view sentence(const Message::PaneRestoreFooter&) {
    return "On a Mac that holds no Larkmoor key, Larkmoor checks the twelve words against store files in its folder, "
           "and installs the key only if they open at least one. Nothing is deleted, moved or re-keyed.";
}
std::string_view sentence(const Message::PaneRestorePrompt&) { return "Your twelve words, in order"; }
std::string_view sentence(const Message::PaneRestoreButton&) { return "Enter Recovery Phrase"; }
std::string_view sentence(const Message::PaneRestoreWorking&) { return "Checking the phrase…"; }
std::string_view sentence(const Message::PaneRestoreAccepted&) {
    return "Phrase accepted, and the key was installed. Larkmoor is restarting.";
}

}  // namespace

std::string StoreMessage::nameList(const std::vector<std::string>& names, std::size_t show) {
    const std::span shown{names.data(), std::min(show, names.size())};
    std::string list = fmt::format("{}", fmt::join(shown, ", "));
    if (names.size() > show) list += fmt::format(", and {} more", names.size() - show);
    return list;
}

std::string StoreMessage::notCheckedClause(Int n) {
    return n == 0 ? std::string{}
                  : fmt::format(" {} more readable store file(s) in the folder were not checked at all.", n);
}

std::string text(const StoreMessage& message) {
    return message.visit([](const auto& held) { return std::string{sentence(held)}; });
}

}  // namespace larkmoor
