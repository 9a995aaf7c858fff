// UTF-8 by RFC 3629: no overlong form, no surrogate, nothing above U+10FFFF.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace larkmoor::UTF8 {

/// The length in bytes of the well-formed character at `text[0]`, or 0 where none begins. `text` is not empty.
constexpr std::size_t characterLength(std::string_view text) {
    auto byteAt = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    auto continues = [&](std::size_t index, unsigned char low = 0x80, unsigned char high = 0xBF) {
        return index < text.size() && byteAt(index) >= low && byteAt(index) <= high;
    };
    const unsigned char lead = byteAt(0);
    if (lead < 0x80) return 1;
    if (lead < 0xC2 || lead > 0xF4) return 0;
    if (lead < 0xE0) return continues(1) ? 2 : 0;
    if (lead < 0xF0) {
        const bool second = lead == 0xE0 ? continues(1, 0xA0) : lead == 0xED ? continues(1, 0x80, 0x9F) : continues(1);
        return second && continues(2) ? 3 : 0;
    }
    const bool second = lead == 0xF0 ? continues(1, 0x90) : lead == 0xF4 ? continues(1, 0x80, 0x8F) : continues(1);
    return second && continues(2) && continues(3) ? 4 : 0;
}

/// Whether the whole text is well-formed.
inline bool isValid(std::string_view text) {
    while (!text.empty()) {
        // Nearly all that we meet is ASCII: take it eight bytes at a step.
        std::uint64_t eight = 0;
        if (text.size() >= sizeof eight) {
            std::memcpy(&eight, text.data(), sizeof eight);
            if ((eight & 0x8080808080808080U) == 0) {
                text.remove_prefix(sizeof eight);
                continue;
            }
        }
        const std::size_t length = characterLength(text);
        if (length == 0) return false;
        text.remove_prefix(length);
    }
    return true;
}

/// Appends one Unicode scalar value; the caller has made sure that it is one (no surrogate, at most U+10FFFF).
inline void append(std::string& out, char32_t scalar) {
    auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (scalar < 0x80) {
        put(scalar);
    } else if (scalar < 0x800) {
        put(0xC0 | scalar >> 6);
        put(0x80 | (scalar & 0x3F));
    } else if (scalar < 0x10000) {
        put(0xE0 | scalar >> 12);
        put(0x80 | (scalar >> 6 & 0x3F));
        put(0x80 | (scalar & 0x3F));
    } else {
        put(0xF0 | scalar >> 18);
        put(0x80 | (scalar >> 12 & 0x3F));
        put(0x80 | (scalar >> 6 & 0x3F));
        put(0x80 | (scalar & 0x3F));
    }
}

}  // namespace larkmoor::UTF8
