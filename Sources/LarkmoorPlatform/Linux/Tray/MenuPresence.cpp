#include "LarkmoorPlatform/Linux/Tray/MenuPresence.h"

namespace larkmoor {

MenuPresence::Step MenuPresence::aboutToShow(Time now) {
    if (!opening_ || now - opening_->began < sameOpening) return opened(now);
    opening_ = Opening{.began = now, .lastEvent = now};
    return Step::openedAgain;
}

MenuPresence::Step MenuPresence::event(std::string_view name, bool ofWholeMenu, Time now) {
    if (ofWholeMenu && name == "opened") return opened(now);
    if (ofWholeMenu && name == "closed") return closed();
    keepAlive(now);
    return Step::nothing;
}

MenuPresence::Step MenuPresence::opened(Time now) {
    keepAlive(now);
    if (opening_) return Step::nothing;
    opening_ = Opening{.began = now, .lastEvent = now};
    return Step::opened;
}

MenuPresence::Step MenuPresence::closed() {
    if (!opening_) return Step::nothing;
    opening_.reset();
    return Step::closed;
}

void MenuPresence::keepAlive(Time now) {
    if (opening_) opening_->lastEvent = now;
}

MenuPresence::Step MenuPresence::expire(Time now) {
    return deadline().value_or(Time::max()) <= now ? closed() : Step::nothing;
}

std::optional<MenuPresence::Time> MenuPresence::deadline() const {
    if (!opening_) return std::nullopt;
    return opening_->lastEvent + timeout;
}

}  // namespace larkmoor
