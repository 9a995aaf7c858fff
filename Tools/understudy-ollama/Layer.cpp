#include "Layer.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nettle/sha2.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace larkmoor::modelhost {

namespace {

constexpr Int wordBytes = sizeof(std::uint64_t);

// SplitMix64, whose n-th word needs none of those before it: a partial layer is resumed anywhere.
std::uint64_t word(std::uint64_t seed, std::uint64_t index) {
    std::uint64_t mixed = seed + (index + 1) * 0x9E3779B97F4A7C15U;
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31U);
}

// FNV-1a
std::uint64_t hash(std::string_view text, std::uint64_t start) {
    std::uint64_t value = 0xCBF29CE484222325U ^ start;
    for (const char letter : text) value = (value ^ static_cast<unsigned char>(letter)) * 0x100000001B3U;
    return value;
}

std::string digestOf(const Layer& layer) {
    sha256_ctx state{};
    sha256_init(&state);
    std::vector<std::byte> piece(std::size_t{1} << 18U);
    for (Int offset = 0; offset < layer.bytes;) {
        const auto count = std::min<std::size_t>(piece.size(), static_cast<std::size_t>(layer.bytes - offset));
        layer.read(offset, std::span{piece}.first(count));
        sha256_update(&state, count, reinterpret_cast<const std::uint8_t*>(piece.data()));
        offset += static_cast<Int>(count);
    }
    std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
    sha256_digest(&state, digest.size(), digest.data());
    return fmt::format("sha256:{:02x}", fmt::join(digest, ""));
}

}  // namespace

void Layer::read(Int offset, std::span<std::byte> out) const {
    while (!out.empty()) {
        const std::uint64_t value = word(seed, static_cast<std::uint64_t>(offset / wordBytes));
        const auto skip = static_cast<std::size_t>(offset % wordBytes);
        const std::size_t count = std::min(out.size(), sizeof value - skip);
        std::memcpy(out.data(), reinterpret_cast<const std::byte*>(&value) + skip, count);
        out = out.subspan(count);
        offset += static_cast<Int>(count);
    }
}

Layer Layers::of(const LayerOffer& offer) {
    Layer layer{hash(offer.name, seed_), offer.bytes, {}};
    const std::lock_guard lock{mutex_};
    std::string& digest = digests_[{offer.name, offer.bytes}];
    if (digest.empty()) digest = digestOf(layer);
    layer.digest = digest;
    return layer;
}

}  // namespace larkmoor::modelhost
