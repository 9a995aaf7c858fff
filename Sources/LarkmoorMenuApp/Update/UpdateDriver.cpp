#include "LarkmoorMenuApp/Update/UpdateDriver.h"

#include <fmt/format.h>

#include <boost/asio/post.hpp>

namespace larkmoor {

using Row = UpdateMenuLine::Event;

template <class Function>
void UpdateDriver::later(Function function) {
    boost::asio::post(seams_.loop, [weak = weak_from_this(), function = std::move(function)] {
        if (const auto self = weak.lock()) function(*self);
    });
}

void UpdateDriver::showUserInitiatedUpdateCheck(Cancellation cancellation) {
    userInitiatedSession_ = true;
    seams_.standard->showUserInitiatedUpdateCheck(std::move(cancellation));
}

void UpdateDriver::showUpdateFound(const AppcastItem& item, UserUpdateState state, Reply reply) {
    seams_.onRow(Row::Found{});
    userInitiatedSession_ = userInitiatedSession_ || state.userInitiated;
    sessionVersion_ = item.displayVersionString;
    // What cannot be installed without the user, or must not be, is offered to those as well who want no questions.
    const bool mayBeSilent = !state.userInitiated && !item.isOfferOnly && !item.isNewsOnly();
    sessionMood_ = mayBeSilent && seams_.optedIn() ? UpdateMood::silent : UpdateMood::offer;
    if (isSilent()) {
        seams_.relay.say(fmt::format("update {} (build {}) found — installing silently, through the gate",
                                     item.displayVersionString, item.versionString));
        later([reply = std::move(reply), version = sessionVersion_](UpdateDriver& self) {
            self.seams_.gate->hold([reply] { reply(UserUpdateChoice::install); }, version);
        });
    } else {
        seams_.relay.say(
            fmt::format("update {} (build {}) found — offered", item.displayVersionString, item.versionString));
        seams_.onMenuAnswer(currentToken_, UpdateMenuAnswer::UpdateOffered{});
        seams_.standard->showUpdateFound(item, state, std::move(reply));
    }
}

void UpdateDriver::showUpdateNotFoundWithError(const std::string&, Acknowledgement acknowledgement) {
    seams_.relay.say(fmt::format("no update on the feed (asked from the menu: {})", userInitiatedSession_));
    endWith(UpdateMenuAnswer::UpToDate{seams_.displayVersion}, acknowledgement);
}

void UpdateDriver::showUpdaterError(const std::string& reason, Acknowledgement acknowledgement) {
    seams_.relay.say("update check failed: " + reason);
    endWith(UpdateMenuAnswer::Failed{reason}, acknowledgement);
}

void UpdateDriver::endWith(const UpdateMenuAnswer& answer, const Acknowledgement& acknowledgement) {
    seams_.standard->dismissUpdateInstallation();
    seams_.onMenuAnswer(currentToken_, answer);
    acknowledgement();
    endSession();
}

void UpdateDriver::showDownloadInitiated(Cancellation cancellation) {
    bitsInFlight_ = true;
    if (!isSilent()) seams_.standard->showDownloadInitiated(std::move(cancellation));
}

void UpdateDriver::showDownloadDidReceiveExpectedContentLength(std::uint64_t bytes) {
    seams_.onRow(Row::ExpectedLength{bytes});
    if (!isSilent()) seams_.standard->showDownloadDidReceiveExpectedContentLength(bytes);
}

void UpdateDriver::showDownloadDidReceiveData(std::uint64_t bytes) {
    seams_.onRow(Row::Received{bytes});
    if (!isSilent()) seams_.standard->showDownloadDidReceiveData(bytes);
}

void UpdateDriver::showDownloadDidStartExtracting() {
    if (!isSilent()) seams_.standard->showDownloadDidStartExtracting();
}

void UpdateDriver::showExtractionReceivedProgress(double progress) {
    if (!isSilent()) seams_.standard->showExtractionReceivedProgress(progress);
}

void UpdateDriver::showReadyToInstallAndRelaunch(Reply reply) {
    seams_.onRow(Row::HandedToSparkle{});
    later([reply = std::move(reply)](UpdateDriver& self) {
        self.seams_.gate->holdOfferedInstall([reply] { reply(UserUpdateChoice::install); });
    });
}

void UpdateDriver::showInstallingUpdate() {
    if (sessionMood_ == UpdateMood::offer) seams_.standard->showInstallingUpdate();
}

void UpdateDriver::dismissUpdateInstallation() {
    endSession();
    seams_.standard->dismissUpdateInstallation();
}

void UpdateDriver::endSession() {
    sessionMood_.reset();
    userInitiatedSession_ = false;
    sessionVersion_.clear();
    bitsInFlight_ = false;
    seams_.onRow(Row::SessionEnded{});
}

}  // namespace larkmoor
