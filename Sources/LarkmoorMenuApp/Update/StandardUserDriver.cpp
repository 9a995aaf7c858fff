#include "LarkmoorMenuApp/Update/StandardUserDriver.h"

#include <fmt/format.h>

#include "LarkmoorPlatform/Spawn.h"
#include "LarkmoorUpdate/Feed/ReleaseNotes.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

namespace {

enum class Wish { install, openPage, readNotes, skip, later };

/// An offer, and what each of its buttons stands for.
struct Offer {
    Alert alert;
    std::vector<Wish> wishes{};

    void add(Wish wish, std::string button) {
        wishes.push_back(wish);
        alert.buttons.push_back(std::move(button));
    }
    Wish wish(const AlertAnswer& answer) const {
        const auto* chosen = std::get_if<AlertAnswers::Chosen>(&answer);
        return chosen == nullptr ? Wish::later : wishes.at(static_cast<std::size_t>(chosen->button));
    }
};

/// An update that is news only is told with its page; one that is installed at the quit in any case is not skipped.
Offer offerOf(const AppcastItem& item, UserUpdateStage stage, std::string_view ownVersion) {
    const bool isStaged = stage == UserUpdateStage::installing;
    Offer offer{.alert = {.message = fmt::format("{} {} is {}", ClientInstance::productName, item.displayVersionString,
                                                 isStaged ? "ready to install" : "available"),
                          .text = fmt::format("You have version {}.", ownVersion),
                          .buttons = {},
                          .showsApplicationIcon = true}};
    if (item.isCritical) offer.alert.text += " This update is critical.";
    if (item.isNewsOnly()) offer.alert.text += " This one is not installed from here.";
    const std::string notes = ReleaseNotes::plainText(item.notes, !item.notesArePlainText);
    if (!notes.empty()) offer.alert.text += "\n\n" + notes;
    if (!item.isNewsOnly()) offer.add(Wish::install, isStaged ? "Install and Relaunch" : "Install Update");
    if (item.isNewsOnly() && item.infoURL) offer.add(Wish::openPage, "Learn More…");
    if (item.notesURL) offer.add(Wish::readNotes, "Release Notes…");
    if (!isStaged && !item.isCritical) offer.add(Wish::skip, "Skip This Version");
    offer.add(Wish::later, isStaged ? "Install on Quit" : "Remind Me Later");
    return offer;
}

}  // namespace

/// An alert on its way to its answer.
struct StandardUserDriver::Question {
    std::shared_ptr<DoorWaiting> waiting;
    Alerts& alerts;
    Alert alert;
    std::chrono::milliseconds after;
    std::stop_token withdrawn;
    Answered answered;

    static Task<void> ask(Question question) {
        if (question.after.count() > 0) co_await question.waiting->waitOut(question.after, question.withdrawn);
        for (bool again = true; again && !question.withdrawn.stop_requested();) {
            const auto answer = co_await question.alerts.show(question.alert, {.withdrawn = question.withdrawn});
            again = !question.withdrawn.stop_requested() && question.answered(answer);
        }
    }
};

void StandardUserDriver::show(Alert alert, Answered answered, std::chrono::milliseconds after) {
    dismissUpdateInstallation();
    window_ = std::make_shared<std::stop_source>();
    spawn(
        seams_.loop, std::weak_ptr{window_},
        [question = Question{.waiting = seams_.waiting,
                             .alerts = seams_.alerts,
                             .alert = std::move(alert),
                             .after = after,
                             .withdrawn = window_->get_token(),
                             .answered = std::move(answered)}](std::stop_source&) { return Question::ask(question); });
}

void StandardUserDriver::dismissUpdateInstallation() {
    if (const auto shown = std::exchange(window_, nullptr)) shown->request_stop();
}

void StandardUserDriver::showUserInitiatedUpdateCheck(Cancellation cancellation) {
    show(
        {.message = "Checking for updates…", .buttons = {"Cancel"}, .showsApplicationIcon = true},
        [cancellation = std::move(cancellation)](const AlertAnswer& answer) {
            // An alert that could not be shown is nobody's wish.
            if (!std::holds_alternative<AlertAnswers::NotShown>(answer)) cancellation();
            return false;
        },
        checkPatience);
}

void StandardUserDriver::showUpdateFound(const AppcastItem& item, UserUpdateState state, Reply reply) {
    Offer offer = offerOf(item, state.stage, seams_.displayVersion);
    Alert alert = offer.alert;
    show(std::move(alert), [offer = std::move(offer), page = item.infoURL, notes = item.notesURL,
                            openPage = seams_.openPage, reply = std::move(reply)](const AlertAnswer& answer) {
        if (std::holds_alternative<AlertAnswers::NotShown>(answer)) return reply(UserUpdateChoice::unseen), false;
        switch (offer.wish(answer)) {
            case Wish::install:
                return reply(UserUpdateChoice::install), false;
            case Wish::skip:
                return reply(UserUpdateChoice::skip), false;
            case Wish::readNotes:
                return openPage(*notes), true;
            case Wish::openPage:
                openPage(*page);
                break;
            case Wish::later:
                break;
        }
        return reply(UserUpdateChoice::dismiss), false;
    });
}

}  // namespace larkmoor
