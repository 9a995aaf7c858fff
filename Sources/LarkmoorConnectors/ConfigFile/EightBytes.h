// Eight characters looked at in one step. A question is answered by flags: the top bit of each byte that says yes.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace larkmoor {

class EightBytes {
  public:
    static constexpr std::size_t size = 8;

    /// The eight characters at `text`, or those that are there before `end` and NULs for the rest.
    EightBytes(const char* text, const char* end) {
        if (end - text >= static_cast<std::ptrdiff_t>(size)) {
            std::memcpy(&bytes_, text, size);
        } else if (text != end) {
            std::memcpy(&bytes_, text, static_cast<std::size_t>(end - text));
        }
    }

    std::uint64_t beyondASCII() const { return bytes_ & tops; }
    std::uint64_t equalTo(char byte) const { return otherThan(byte) ^ tops; }
    /// `bound` is ASCII.
    std::uint64_t below(char bound) const { return atLeast(bytes_, bound) ^ tops; }
    std::uint64_t otherThan(char byte) const { return atLeast(bytes_ ^ all(byte), 1); }
    std::uint64_t noDigit() const { return atLeast(bytes_ ^ all('0'), 10); }

    /// How many bytes stand before the first one flagged; `flags` is not zero.
    static std::size_t before(std::uint64_t flags) {
        constexpr bool firstIsLowest = std::endian::native == std::endian::little;
        return static_cast<std::size_t>(firstIsLowest ? std::countr_zero(flags) : std::countl_zero(flags)) / 8;
    }

  private:
    static constexpr std::uint64_t all(char byte) { return ~std::uint64_t{0} / 255 * static_cast<unsigned char>(byte); }
    static constexpr std::uint64_t tops = 0x8080808080808080;

    /// No byte's sum reaches into the next: the top bits are added last.
    static constexpr std::uint64_t atLeast(std::uint64_t bytes, char bound) {
        return (((bytes & ~tops) + all(static_cast<char>(0x80 - bound))) | bytes) & tops;
    }

    std::uint64_t bytes_ = 0;
};

}  // namespace larkmoor
