#include "LarkmoorBase/JSON/Encoder.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <cstring>

#include "LarkmoorBase/UTF8.h"

namespace larkmoor {

namespace {

/// Whether the byte is an ASCII character that a JSON string holds unescaped.
constexpr bool isPlain(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return value >= 0x20 && value < 0x80 && byte != '"' && byte != '\\';
}

/// How many such bytes the text begins with.
std::size_t plainRun(std::string_view text) {
    constexpr std::uint64_t ones = 0x0101010101010101U;
    constexpr std::uint64_t tops = ones << 7;
    // Eight bytes at a step: `(x - n * ones) & ~x` has a byte's top bit set if the byte is below n, and none set if no
    // byte is.
    auto hasByteBelow = [](std::uint64_t x, std::uint64_t n) { return (x - ones * n) & ~x & tops; };
    std::size_t run = 0;
    for (std::uint64_t eight = 0; run + sizeof eight <= text.size(); run += sizeof eight) {
        std::memcpy(&eight, text.data() + run, sizeof eight);
        const std::uint64_t special = (eight & tops) | hasByteBelow(eight, 0x20) | hasByteBelow(eight ^ ones * '"', 1) |
                                      hasByteBelow(eight ^ ones * '\\', 1);
        if (special != 0) break;
    }
    while (run < text.size() && isPlain(text[run])) ++run;
    return run;
}

/// The escape of two characters if JSON has one, otherwise empty.
std::string_view shortEscape(char byte) {
    switch (byte) {
        case '"':
            return "\\\"";
        case '\\':
            return "\\\\";
        case '\b':
            return "\\b";
        case '\f':
            return "\\f";
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            return {};
    }
}

}  // namespace

void Encoder::writeScalar(std::string_view text) {
    put("\"");
    std::size_t run = 0;
    while (run < text.size()) {
        run += plainRun(text.substr(run));
        if (run == text.size()) break;
        if (static_cast<unsigned char>(text[run]) >= 0x80) {
            const std::size_t length = UTF8::characterLength(text.substr(run));
            if (length == 0) return fail("text that is not UTF-8");
            run += length;
            continue;
        }
        put(text.substr(0, run));
        writeEscape(text[run]);
        text.remove_prefix(run + 1);
        run = 0;
    }
    put(text);
    put("\"");
}

void Encoder::writeEscape(char byte) {
    if (const auto brief = shortEscape(byte); !brief.empty()) return put(brief);
    fmt::format_to(std::back_inserter(out_), "\\u{:04x}", static_cast<unsigned char>(byte));
}

void Encoder::writeScalar(Int number) {
    std::array<char, 32> room{};
    const auto result = std::to_chars(room.data(), room.data() + room.size(), number);
    put({room.data(), result.ptr});
}

void Encoder::writeScalar(double number) {
    if (!std::isfinite(number)) return fail("a number that is not finite");
    // Not by std::to_chars, whose tables take 110 KB.
    fmt::format_to(std::back_inserter(out_), "{}", number);
}

void Encoder::writeScalar(const Bytes& bytes) { put("\""), put(Base64::encode(bytes)), put("\""); }

/// The same document with line breaks and blanks. `compact` has none outside its strings.
std::string Encoder::pretty(std::string_view compact) {
    std::string out;
    std::size_t depth = 0;
    const auto breakLine = [&] { out.append("\n").append(2 * depth, ' '); };
    bool isInString = false;
    for (std::size_t at = 0; at < compact.size(); ++at) {
        const char byte = compact[at];
        if (isInString) {
            out += byte;
            if (byte == '\\') out += compact[++at];
            isInString = byte != '"';
        } else if (byte == '{' || byte == '[') {
            out += byte;
            const char next = compact[at + 1];
            if (next == '}' || next == ']') {
                out += next;
                ++at;
            } else {
                ++depth;
                breakLine();
            }
        } else if (byte == '}' || byte == ']') {
            --depth;
            breakLine();
            out += byte;
        } else {
            out += byte;
            isInString = byte == '"';
            if (byte == ',') breakLine();
            if (byte == ':') out += ' ';
        }
    }
    return out += '\n';
}

void Encoder::fail(std::string_view reason) {
    if (!failure_) failure_ = CodingFailure{.path = {}, .reason = std::string{reason}};
}

}  // namespace larkmoor
