// A check for updates as the person meets it: how it begins, how a found update is treated, and the sentence at the end
// of a check from the menu. Pure.
#pragma once

#include <boost/describe.hpp>

#include <optional>
#include <string>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorBase/RawText.h"

namespace larkmoor {

/// How an update session treats a found update: offers it, or installs it through the gate without asking.
BOOST_DEFINE_ENUM_CLASS(UpdateMood, offer, silent)

struct UpdateMenuAnswerCases {
    struct UpToDate {
        std::string displayVersion;
        bool operator==(const UpToDate&) const = default;
    };
    struct Failed {
        std::string reason;
        bool operator==(const Failed&) const = default;
    };
    struct UpdateOffered {
        bool operator==(const UpdateOffered&) const = default;
    };
    struct NoFeed {
        bool operator==(const NoFeed&) const = default;
    };
};

class UpdateMenuAnswer
    : public ClosedVariant<UpdateMenuAnswerCases, UpdateMenuAnswerCases::UpToDate, UpdateMenuAnswerCases::Failed,
                           UpdateMenuAnswerCases::UpdateOffered, UpdateMenuAnswerCases::NoFeed> {
  public:
    using ClosedVariant::ClosedVariant;

    /// Nothing for an offer, which the updater's own window shows.
    std::optional<std::string> sentence() const;
};

namespace StalePick {

BOOST_DEFINE_ENUM_CLASS(Verdict, rebuildThenCheck, waitForTheDownload)

/// An updater goes on offering the version that it picked once, so every check begins with a fresh one, unless that
/// would throw a download away.
constexpr Verdict beforeCheck(bool bitsInFlight) {
    return bitsInFlight ? Verdict::waitForTheDownload : Verdict::rebuildThenCheck;
}

}  // namespace StalePick

}  // namespace larkmoor
