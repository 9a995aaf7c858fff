#include "Flood.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace larkmoor::modelhost {

namespace {

constexpr std::string_view prefix =
    R"({"status":"pulling 0123456789ab","digest":"sha256:0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef",)"
    R"("total":9999999999,"completed":)";
constexpr std::string_view success = "{\"status\":\"success\"}\n";
constexpr std::size_t completedDigits = 10;
constexpr std::size_t turnDigits = 5;

/// As many lines as a mebibyte holds, numbered in the last digits of `completed`.
std::string linesOf(std::size_t lineBytes, std::size_t count) {
    std::string lines;
    lines.reserve(lineBytes * count);
    for (std::size_t line = 0; line < count; ++line) {
        lines += prefix;
        lines += fmt::format("{:010}", 10'000 * 100'000 + line);
        // Blanks between members are none of a reader's business.
        lines.append(lineBytes - prefix.size() - completedDigits - 2, ' ');
        lines += "}\n";
    }
    return lines;
}

}  // namespace

void flood(Connection& connection, const Fault& fault) {
    const auto least = static_cast<Int>(prefix.size() + completedDigits + 2);
    const Int lineBytes = std::max(fault.lineBytes.value_or(0), least);
    const Int perTurn = std::max<Int>(1, (Int{1} << 20U) / lineBytes);
    Int left = (fault.size.value_or(0) + lineBytes - 1) / lineBytes;
    std::string lines = linesOf(static_cast<std::size_t>(lineBytes), static_cast<std::size_t>(perTurn));
    connection.begin(200, Connection::streamType, fault.framing.value_or(Framing::chunked),
                     left * lineBytes + static_cast<Int>(success.size()));
    for (Int turn = 10'000; left > 0 && connection.isGoing(); turn = std::min<Int>(turn + 1, 99'998)) {
        const std::string digits = std::to_string(turn);
        const auto step = static_cast<std::size_t>(lineBytes);
        for (std::size_t at = prefix.size(); at < lines.size(); at += step)
            std::memcpy(lines.data() + at, digits.data(), turnDigits);
        const Int now = std::min(left, perTurn);
        connection.write(std::string_view{lines}.substr(0, static_cast<std::size_t>(now * lineBytes)));
        left -= now;
    }
    connection.write(success);
    connection.end();
}

}  // namespace larkmoor::modelhost
