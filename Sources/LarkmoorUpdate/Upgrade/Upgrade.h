// Another version in the place of the running bundle, put there by a package manager or by hand: when it is there as a
// whole, whether it is to be offered, and the menu's row for it. Pure.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "LarkmoorKit/Menu/MenuLine.h"

namespace larkmoor {

/// Which file is at a path, known without reading it. A package's files have the dates of its build, so that two
/// versions may differ in nothing but `number` and `changed`.
struct FileStamp {
    std::uint64_t device = 0, number = 0, size = 0;
    std::int64_t modified = 0, changed = 0;  ///< nanoseconds

    bool isSameFile(const FileStamp& other) const { return device == other.device && number == other.number; }
    bool operator==(const FileStamp&) const = default;
};

/// What a look at the bundle's place finds; nullopt where there is no file.
struct BundleSighting {
    std::optional<FileStamp> list;     ///< Info.plist
    std::optional<FileStamp> program;  ///< this application's executable
    bool operator==(const BundleSighting&) const = default;
};

/// What a bundle's Info.plist says of it.
struct BundleVersion {
    std::optional<std::string> version, build;
};

/// Finds the end of a change, by looks at any distance in time: an installer puts file after file in place.
class UpgradeWatch {
  public:
    using Instant = std::chrono::steady_clock::time_point;
    /// For so long nothing has moved when a change is over.
    static constexpr std::chrono::seconds rest{10};

    /// What lies there at the launch is ours.
    explicit UpgradeWatch(BundleSighting launched) : launched_(launched), judged_(launched) {}

    /// Whether nothing has changed since the last change that was over.
    bool isJudged(const BundleSighting& sighting) const { return sighting == judged_; }
    /// Whether the change that `sighting` is a part of is over; it is judged then. `isBusy`: an installer has left
    /// marks of its work.
    bool isOver(const BundleSighting& sighting, bool isBusy, Instant now);
    /// Whether both files are there and the program is not the one that runs. Judges what was found last.
    bool isReplaced() const;

  private:
    BundleSighting launched_, judged_;
    std::optional<BundleSighting> moving_;
    Instant since_{};  ///< the first look that found `moving_`
};

/// A version that is installed and does not run yet.
struct Upgrade {
    enum class Stage { offered, waitsForCall, starts };

    std::string build;
    std::string name;     ///< "Larkmoor 1.2"
    std::string running;  ///< what runs instead: "1.1"
    Stage stage = Stage::offered;

    /// Nothing if there is no build, or only ours. A lower build is told like a higher one: it is what a start would
    /// run. The name tells builds of one version apart.
    static std::optional<Upgrade> of(const BundleVersion& installed, const BundleVersion& running);

    MenuLine line() const;
};

}  // namespace larkmoor
