// What the stand-in plays: the models that its registry offers, its speed, and its faults. --help explains each field.
#pragma once

#include <expected>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/Record.h"

namespace larkmoor::modelhost {

BOOST_DEFINE_ENUM_CLASS(Does, answer, error, end, stop, halfClose, reset, hang, exit, dribble, text, longLine, flood,
                        total, lateLayer)

BOOST_DEFINE_ENUM_CLASS(Framing, chunked, length, close)

/// Name and size determine the content, so that two models with the same layer share its blob.
LARKMOOR_RECORD(LayerOffer, (std::string, name), (Int, bytes))

LARKMOOR_RECORD(ModelOffer, (std::string, name), (std::vector<LayerOffer>, layers), (std::optional<LayerOffer>, config),
                (std::optional<bool>, installed))

/// The place of a fault: before a status line, in a layer, in the body, or, with none of these, before the answer.
LARKMOOR_RECORD(Fault, (Does, does), (std::optional<std::string>, path), (std::optional<std::string>, model),
                (std::optional<Int>, after), (std::optional<Int>, times), (std::optional<std::string>, before),
                (std::optional<Int>, layer), (std::optional<Int>, bytes), (std::optional<Int>, status),
                (std::optional<std::string>, words), (std::optional<Int>, size), (std::optional<Int>, lineBytes),
                (std::optional<Int>, bytesPerSecond), (std::optional<Framing>, framing))

LARKMOOR_RECORD(Scenario, (std::optional<std::vector<ModelOffer>>, models), (std::optional<std::vector<Fault>>, faults),
                (std::optional<Int>, seed), (std::optional<Int>, bytesPerSecond), (std::optional<Int>, pieceBytes),
                (std::optional<Int>, delayMilliseconds), (std::optional<Int>, startDelayMilliseconds),
                (std::optional<Int>, exitAfterRequests), (std::optional<std::string>, log))

/// Reads a JSON object; an unknown key anywhere is an error, and so is a negative number.
std::expected<Scenario, std::string> readScenario(BytesView document);

/// What the registry offers if the scenario names no models.
std::vector<ModelOffer> defaultModels();

/// Which faults hit which request. Any thread.
class Faults {
  public:
    explicit Faults(std::vector<Fault> faults) : faults_(std::move(faults)), matches_(faults_.size()) {}

    /// Those that hit this request, which counts as one match of each; `model` may be empty.
    std::vector<Fault> hitting(std::string_view path, std::string_view model);

  private:
    const std::vector<Fault> faults_;
    std::mutex mutex_;
    std::vector<Int> matches_;
};

}  // namespace larkmoor::modelhost
