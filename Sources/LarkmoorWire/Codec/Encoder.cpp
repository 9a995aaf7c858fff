#include "LarkmoorWire/Codec/Encoder.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>

#include "LarkmoorPlatform/UTF8.h"
#include "LarkmoorWire/Codec/Base64.h"

namespace larkmoor {

namespace {

/// Whether the byte stands in a JSON string as it is, whatever comes after it.
constexpr bool isPlain(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return value >= 0x20 && value < 0x80 && byte != '"' && byte != '\\';
}

std::string escaped(char byte) {
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
            return fmt::format("\\u{:04x}", static_cast<unsigned char>(byte));
    }
}

template <class Number>
std::string_view spelled(std::array<char, 32>& room, Number number) {
    const auto result = std::to_chars(room.data(), room.data() + room.size(), number);
    return {room.data(), result.ptr};
}

}  // namespace

void Encoder::writeScalar(std::string_view text) {
    put("\"");
    while (!text.empty()) {
        std::size_t run = 0;
        while (run < text.size() && isPlain(text[run])) ++run;
        while (run < text.size() && static_cast<unsigned char>(text[run]) >= 0x80) {
            const std::size_t length = UTF8::characterLength(text.substr(run));
            if (length == 0) return fail("text that is not UTF-8");
            run += length;
        }
        if (run == 0) {
            put(escaped(text.front()));
            run = 1;
        } else {
            put(text.substr(0, run));
        }
        text.remove_prefix(run);
    }
    put("\"");
}

void Encoder::writeScalar(Int number) {
    std::array<char, 32> room{};
    put(spelled(room, number));
}

void Encoder::writeScalar(double number) {
    if (!std::isfinite(number)) return fail("a number that is not finite");
    std::array<char, 32> room{};
    put(spelled(room, number));
}

void Encoder::writeScalar(const Bytes& bytes) { put("\""), put(Base64::encode(bytes)), put("\""); }

void Encoder::writeScalar(const FilterValue& value) {
    value.visit([this](const FilterValue::String& text) { writeScalar(text._0); },
                [this](const FilterValue::Number& number) { writeScalar(number._0); },
                [this](const FilterValue::Bool& truth) { writeScalar(truth._0); });
}

void Encoder::fail(std::string_view reason) {
    if (!failure_) failure_ = CodingFailure{.path = {}, .reason = std::string{reason}};
}

}  // namespace larkmoor
