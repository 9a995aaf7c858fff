#include "LarkmoorBase/UUID.h"

#include <fmt/format.h>
#include <sys/random.h>

#include <array>
#include <cstdint>
#include <random>

namespace larkmoor {

std::string newUUID() {
    std::array<std::uint8_t, 16> bytes{};
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        std::random_device device;  // where the call is forbidden
        for (auto& byte : bytes) byte = static_cast<std::uint8_t>(device());
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    std::string text;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        if (index == 4 || index == 6 || index == 8 || index == 10) text += '-';
        text += fmt::format("{:02X}", bytes[index]);
    }
    return text;
}

}  // namespace larkmoor
