// The lines that the host streams during a download: what they say of its layers, and how the bytes become lines. Pure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorLocalModels/Pipeline/Transfer.h"

namespace larkmoor {

struct FlatNode;

/// Cuts a stream into lines at each line feed. Holds no more than one unfinished line: one longer than `maxLine` is
/// skipped, to its end.
class LineReader {
  public:
    static constexpr std::size_t maxLine = std::size_t{64} << 10U;

    /// Gets a line without its line feed, valid during the call. False ends the reading.
    using Listener = std::function<bool(std::string_view)>;

    /// Gets a text at the beginning of a line and says how many bytes of it, whole lines with their line feeds, it took
    /// from its front: these need not be cut. 0 for none.
    using Taker = std::function<std::size_t(std::string_view)>;

    /// False if the listener ended it.
    bool read(BytesView piece, const Listener& listener, const Taker& taker = {});

    /// At the end of the stream: a last line without a line feed is a line.
    bool finish(const Listener& listener);

  private:
    std::string held_;  ///< the beginning of a line whose end has not come yet
    bool isSkipping_ = false;
};

/// What the lines have said so far.
class PullLines {
  public:
    /// The transfer to report, if the download is further than ever before: new layers raise the total, and a fraction
    /// that was reported is not taken back. A line that is no JSON object says nothing.
    std::optional<Transfer> read(std::string_view line);

    /// For a `LineReader`: reads the lines at the text's front that differ from the last one in the bytes completed
    /// alone, in as many digits, with the same result as `read` line by line. `progress` gets what that would return.
    /// Takes 15 ns for a line of 160 bytes.
    std::size_t readAlike(std::string_view text, const TransferListener& progress);

    /// What the host says went wrong, where a line said that.
    const std::optional<std::string>& error() const { return error_; }
    /// Whether a line told the success.
    bool isSuccess() const { return isSuccess_; }
    /// Whether the last line was a JSON object.
    bool isUnderstood() const { return isUnderstood_; }
    /// Of all layers known so far.
    Transfer sums() const;

  private:
    /// No model has as many layers: others are left out, so that the host cannot fill our memory.
    static constexpr std::size_t maxLayers = 256;

    struct Sums {
        double completed = 0;
        double total = 0;

        Sums& operator+=(const Sums& more) { return completed += more.completed, total += more.total, *this; }
    };
    struct Layer {
        std::string digest;
        Sums bytes{};
    };
    /// The last line about the current layer, around the number of the bytes completed. What differs from it in that
    /// number alone needs no parsing, so that the main thread keeps up with what the loopback interface carries.
    struct Pattern {
        std::string before, after;
    };

    std::optional<double> completedLikeTheLast(std::string_view line) const;
    std::optional<Transfer> setCompleted(double completed, std::size_t lineSize);
    /// Returns whether a layer changed.
    bool parse(std::string_view line);
    bool update(const FlatNode& object, std::string_view line);

    void setCurrent(std::size_t layer);
    Sums sum() const;
    std::optional<Transfer> advance(Sums sums);

    std::vector<Layer> layers_;
    std::size_t current_ = 0;  ///< the layer of which a line spoke last
    Sums others_;              ///< of all but that one: summing up all for each line would take as long as reading it
    std::optional<Pattern> pattern_;
    std::size_t size_ = 0;  ///< of the last line that the pattern fitted
    double highest_ = 0;    ///< the largest fraction that was reported
    std::optional<std::string> error_;
    bool isSuccess_ = false;
    bool isUnderstood_ = false;
};

}  // namespace larkmoor
