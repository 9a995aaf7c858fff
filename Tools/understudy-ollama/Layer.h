// A layer of a model: its content, which its name and the scenario's seed determine, and its digest.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <span>
#include <string>
#include <utility>

#include "Scenario.h"

namespace larkmoor::modelhost {

struct Layer {
    std::uint64_t seed = 0;
    Int bytes = 0;
    std::string digest;  ///< "sha256:" and 64 hexadecimal digits

    /// Fills `out` with the layer's bytes from `offset` on.
    void read(Int offset, std::span<std::byte> out) const;
};

/// Computes each digest once. Any thread.
class Layers {
  public:
    explicit Layers(Int seed) : seed_(static_cast<std::uint64_t>(seed)) {}

    /// Takes as long as hashing the layer, the first time.
    Layer of(const LayerOffer& offer);

  private:
    const std::uint64_t seed_;
    std::mutex mutex_;
    std::map<std::pair<std::string, Int>, std::string> digests_;
};

}  // namespace larkmoor::modelhost
