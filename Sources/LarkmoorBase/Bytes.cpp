#include "LarkmoorBase/Bytes.h"

#include <array>
#include <cstdint>

namespace larkmoor::Base64 {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t noDigit = 0xFF;

constexpr auto digitValues = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(noDigit);
    for (std::size_t index = 0; index < alphabet.size(); ++index) {
        values[static_cast<unsigned char>(alphabet[index])] = static_cast<std::uint8_t>(index);
    }
    return values;
}();

}  // namespace

std::string encode(BytesView bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t held = std::min<std::size_t>(3, bytes.size() - at);
        std::uint32_t group = 0;
        for (std::size_t index = 0; index < 3; ++index) {
            group = group << 8 | (index < held ? std::to_integer<std::uint32_t>(bytes[at + index]) : 0);
        }
        for (std::size_t digit = 0; digit < 4; ++digit) {
            text.push_back(digit <= held ? alphabet[group >> (18 - 6 * digit) & 0x3F] : '=');
        }
    }
    return text;
}

std::optional<Bytes> decode(std::string_view text) {
    if (text.size() % 4 != 0) return std::nullopt;
    Bytes bytes;
    bytes.reserve(text.size() / 4 * 3);
    for (std::size_t at = 0; at < text.size(); at += 4) {
        const std::string_view group = text.substr(at, 4);
        const bool isLast = at + 4 == text.size();
        const std::size_t padding = !isLast || group[3] != '=' ? 0 : group[2] != '=' ? 1 : 2;
        std::uint32_t bits = 0;
        for (std::size_t digit = 0; digit < 4; ++digit) {
            const std::uint8_t value = digit < 4 - padding ? digitValues[static_cast<unsigned char>(group[digit])] : 0;
            if (value == noDigit) return std::nullopt;
            bits = bits << 6 | value;
        }
        const std::uint32_t unused = padding == 0 ? 0 : padding == 1 ? 0xFF : 0xFFFF;
        if ((bits & unused) != 0) return std::nullopt;
        for (std::size_t index = 0; index < 3 - padding; ++index) {
            bytes.push_back(static_cast<std::byte>(bits >> (16 - 8 * index) & 0xFF));
        }
    }
    return bytes;
}

}  // namespace larkmoor::Base64
