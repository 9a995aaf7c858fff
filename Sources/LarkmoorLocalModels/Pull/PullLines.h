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

    /// False if the listener ended it.
    bool read(BytesView piece, const Listener& listener);

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

    // Return whether a layer changed.
    bool readLikeTheLast(std::string_view line);
    bool parse(std::string_view line);
    bool update(const FlatNode& object, std::string_view line);

    void setCurrent(std::size_t layer);
    Sums sum() const;
    std::optional<Transfer> advance();

    std::vector<Layer> layers_;
    std::size_t current_ = 0;  ///< the layer of which a line spoke last
    Sums others_;              ///< of all but that one: summing up all for each line would take as long as reading it
    std::optional<Pattern> pattern_;
    double highest_ = 0;  ///< the largest fraction that was reported
    std::optional<std::string> error_;
    bool isSuccess_ = false;
    bool isUnderstood_ = false;
};

}  // namespace larkmoor
