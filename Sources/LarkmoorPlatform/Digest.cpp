#include "LarkmoorPlatform/Digest.h"

#include <fmt/format.h>

#include <array>
#include <bit>
#include <cstdint>

namespace larkmoor::Digest {

namespace {

// FIPS 180-4, of which K and W are these constants and this schedule.
using Word = std::uint32_t;
constexpr std::size_t blockSize = 64;

constexpr std::array<Word, 64> constants{
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

using State = std::array<Word, 8>;
constexpr State initial{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

void take(State& state, BytesView block) {
    std::array<Word, 64> schedule{};
    for (std::size_t t = 0; t < 16; ++t) {
        for (std::size_t byte = 0; byte < 4; ++byte)
            schedule[t] = schedule[t] << 8 | std::to_integer<Word>(block[4 * t + byte]);
    }
    for (std::size_t t = 16; t < schedule.size(); ++t) {
        const Word sigma0 = std::rotr(schedule[t - 15], 7) ^ std::rotr(schedule[t - 15], 18) ^ schedule[t - 15] >> 3;
        const Word sigma1 = std::rotr(schedule[t - 2], 17) ^ std::rotr(schedule[t - 2], 19) ^ schedule[t - 2] >> 10;
        schedule[t] = sigma1 + schedule[t - 7] + sigma0 + schedule[t - 16];
    }
    auto [a, b, c, d, e, f, g, h] = state;
    for (std::size_t t = 0; t < schedule.size(); ++t) {
        const Word sum1 = std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
        const Word first = h + sum1 + ((e & f) ^ (~e & g)) + constants[t] + schedule[t];
        const Word sum0 = std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22);
        const Word second = sum0 + ((a & b) ^ (a & c) ^ (b & c));
        h = g, g = f, f = e, e = d + first, d = c, c = b, b = a, a = first + second;
    }
    const State worked{a, b, c, d, e, f, g, h};
    for (std::size_t word = 0; word < state.size(); ++word) state[word] += worked[word];
}

/// What is left of the bytes, a one bit, zeros, and the length in bits at the end of a block.
Bytes padded(BytesView rest, std::uint64_t bits) {
    Bytes end = copyBytes(rest);
    end.push_back(std::byte{0x80});
    while (end.size() % blockSize != blockSize - 8) end.push_back({});
    for (int shift = 56; shift >= 0; shift -= 8) end.push_back(static_cast<std::byte>(bits >> shift));
    return end;
}

}  // namespace

std::string sha256(BytesView bytes) {
    State state = initial;
    const std::uint64_t bits = std::uint64_t{8} * bytes.size();
    for (; bytes.size() >= blockSize; bytes = bytes.subspan(blockSize)) take(state, bytes.first(blockSize));
    const Bytes end = padded(bytes, bits);
    for (BytesView rest = end; !rest.empty(); rest = rest.subspan(blockSize)) take(state, rest.first(blockSize));
    return fmt::format("{:08x}", fmt::join(state, ""));
}

}  // namespace larkmoor::Digest
