// The exchange of the bundle for its update, as it stands on the disk. A process may be killed anywhere in here: under
// the bundle's name there is always a whole bundle, and the next launch settles the rest by the record.
//
// Beside the bundle X.app there is, while there is something to keep, the folder .X.app.update with
//
//   download      the archive while it arrives, and while it is proven
//   unpacking     what tar makes of it
//   kept-*        what could not be removed, out of the way of the next update
//   staged.app    the proven update; after the exchange, the bundle that was there before
//   record.json   stands from before the exchange (since the quit before it) until the new build has said that it is up
//   failed.json   which build did not come up, so that nobody is bothered with it every day
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Record.h"
#include "LarkmoorPlatform/Folders.h"
#include "LarkmoorPlatform/Signatures.h"

namespace larkmoor {

struct UpdatePlaces {
    explicit UpdatePlaces(std::string bundlePath);

    /// For a file of the `staged` of some bundle, even of one that was removed since, that file of the bundle.
    static std::optional<std::string> inBundle(const std::string& file);

    std::string bundle;  ///< absolute, without a slash at its end
    std::string parent;
    std::string folder;

    std::string download() const { return folder + "/download"; }
    std::string unpacking() const { return folder + "/unpacking"; }
    std::string staged() const { return folder + "/staged.app"; }
    std::string record() const { return folder + "/record.json"; }
    std::string failed() const { return folder + "/failed.json"; }
};

/// Builds are CFBundleVersion. `starts` counts those of the new build before it was up. `unneeded` and `untried` are
/// the process of the last start that ended so.
LARKMOOR_RECORD(UpdateRecord, (std::string, from), (std::string, to), (Int, starts), (bool, isGivenBack),
                (std::optional<Int>, unneeded), (std::optional<Int>, untried))

/// Ends of a new build that tell nothing of it.
enum class StartEnd {
    unneeded,  ///< another start is the application, or it was told to end
    untried,   ///< there was no session bus for it, or none any more
};

LARKMOOR_RECORD(FailedUpdate, (std::string, build), (Int, count))

/// Blocks as long as the disk does; any thread.
namespace BundleExchange {

/// A new build that was started so often without saying that it is up is given back at the next start.
inline constexpr Int maxStarts = 2;

/// CFBundleVersion of a bundle.
std::optional<std::string> buildOf(const std::string& bundle);

/// Whether an exchange is not settled. What stands in the record's place and is none counts as settled.
std::optional<UpdateRecord> record(const UpdatePlaces& places);

/// The staged bundle takes the running one's place at the next launch.
Folders::Done arrange(const UpdatePlaces& places, const std::string& from, const std::string& to);

/// Whether the next launch would exchange the bundle, and no process is about that.
bool isArranged(const UpdatePlaces& places);

/// Whether a new build stands in the bundle's place that was never up.
bool isInPlace(const UpdatePlaces& places);

/// Puts the staged bundle in the running one's place: one rename. After an error everything is as before.
Folders::Done exchange(const UpdatePlaces& places, const std::string& from, const std::string& to);

/// Puts the old bundle back and notes that the new one failed. It may be called again after a kill.
Folders::Done giveBack(const UpdatePlaces& places);

/// The new build could not be tried: the old bundle is put back without a note, and the update is staged again.
Folders::Done postpone(const UpdatePlaces& places);

/// This process, a new build that ends before it is up, says so to its watcher, and its start does not count. It holds
/// the folder's lock.
void noteEnd(const UpdatePlaces& places, StartEnd end);

/// The new build is up: from the first step on there is no way back. Then the old bundle goes.
void complete(const UpdatePlaces& places);

/// How often a build did not come up.
Int failures(const UpdatePlaces& places, const std::string& build);

/// Removes what sessions before have left in the folder, but for the note of a failure; nothing while there is a
/// record. The caller holds the folder's lock. The error tells what could not be removed; it is out of the way then, if
/// that could be done.
Folders::Done clear(const UpdatePlaces& places, bool keepsStaged);
/// The same, and the folder if it is empty then.
void sweep(const UpdatePlaces& places, bool keepsStaged);

/// Removes the staged bundle, which does not hold what was proven. The caller holds the folder's lock.
void discard(const UpdatePlaces& places);

/// Whether the bundle is whole and sealed as an update of ours must be; may take a minute at most.
using Proof = std::function<Signatures::BundleVerdict(const std::string& bundle)>;

struct Settlement {
    bool isGivenBack = false;  ///< the old build stands under the bundle's name again
    bool isExchanged = false;  ///< the new one stands there, for the first time: somebody must watch over it
    std::string refusal{};     ///< why what a quit has arranged was not done; it must be arranged anew
    FileDescriptor lock{};     ///< to be held until the new build is up, so that no other start settles
};

/// At each launch, before the application begins: the exchange that a quit has arranged, once the staged bundle is
/// proven anew, or what one that was not completed has left, or a download that was killed. `maxStarts` is counted
/// here. Waits while another launch is about to exchange the bundle; otherwise does nothing while another process is
/// about it.
Settlement settle(const UpdatePlaces& places, const Proof& prove);

}  // namespace BundleExchange

}  // namespace larkmoor
