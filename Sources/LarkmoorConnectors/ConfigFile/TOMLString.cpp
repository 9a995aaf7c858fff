#include "LarkmoorConnectors/ConfigFile/TOMLText.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

#include "LarkmoorBase/UTF8.h"

namespace larkmoor {

namespace {

/// The bytes that end a run of plain characters in a basic string.
constexpr std::array<bool, 256> stopsBasicString = [] {
    std::array<bool, 256> stops{};
    for (const unsigned char byte : {'"', '\\', '\n'}) stops[byte] = true;
    return stops;
}();

int hexValue(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    return -1;
}

/// Reads one string; `text`, if not null, receives the decoded text.
class StringReader {
  public:
    StringReader(BytesView bytes, std::int64_t opening, std::string* text)
        : file_(asText(bytes)), opening_(opening), at_(static_cast<std::size_t>(opening) + 1), text_(text) {}

    /// The offset past the closing quote.
    std::expected<std::int64_t, TOMLTextError> basic() {
        while (true) {
            const std::size_t plain = at_;
            while (at_ < file_.size() && !stopsBasicString[static_cast<unsigned char>(file_[at_])]) ++at_;
            if (at_ == file_.size()) return fail("a string never closed");
            if (file_[at_] == '\n') return fail("a string ran past the end of its line");
            if (!take(plain)) return fail("a string holds bytes that are not UTF-8");
            if (file_[at_++] == '"') return static_cast<std::int64_t>(at_);
            if (const char* reason = escape(); reason != nullptr) return fail(reason);
        }
    }

    /// The offset past the closing quote.
    std::expected<std::int64_t, TOMLTextError> literal() {
        const std::size_t plain = at_;
        at_ = std::min(file_.find('\'', plain), file_.size());
        if (file_.substr(plain, at_ - plain).contains('\n')) return fail("a string ran past the end of its line");
        if (at_ == file_.size()) return fail("a string never closed");
        if (!take(plain)) return fail("a string holds bytes that are not UTF-8");
        return static_cast<std::int64_t>(at_ + 1);
    }

    std::expected<std::int64_t, TOMLTextError> either() { return file_[at_ - 1] == '"' ? basic() : literal(); }

  private:
    std::unexpected<TOMLTextError> fail(const char* reason) const {
        return std::unexpected{TOMLTextError::unreadable(opening_, reason)};
    }

    /// Appends the characters from `plain` up to here; false if they are not UTF-8.
    bool take(std::size_t plain) {
        const std::string_view characters = file_.substr(plain, at_ - plain);
        if (!UTF8::isValid(characters)) return false;
        if (text_ != nullptr) text_->append(characters);
        return true;
    }

    /// Reads what follows a backslash; the reason if that is not an escape of TOML, otherwise null.
    const char* escape() {
        if (at_ == file_.size()) return "the file ended inside an escape";
        switch (file_[at_++]) {
            case '"':
                return put('"');
            case '\\':
                return put('\\');
            case 'b':
                return put('\b');
            case 'e':
                return put('\x1B');
            case 'f':
                return put('\f');
            case 'n':
                return put('\n');
            case 'r':
                return put('\r');
            case 't':
                return put('\t');
            case 'u':
                return scalar(4);
            case 'U':
                return scalar(8);
            default:
                return unknownEscape;
        }
    }

    const char* scalar(int digits) {
        char32_t value = 0;
        for (; digits > 0; --digits, ++at_) {
            const int digit = at_ < file_.size() ? hexValue(file_[at_]) : -1;
            if (digit < 0) return unknownEscape;
            value = value << 4 | static_cast<char32_t>(digit);
        }
        if (value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
            return "a string holds an escape that is not a character";
        }
        return put(value);
    }

    const char* put(char32_t scalar) {
        if (text_ != nullptr) UTF8::append(*text_, scalar);
        return nullptr;
    }

    static constexpr const char* unknownEscape = "a string holds an escape that is not TOML's";

    std::string_view file_;
    std::int64_t opening_;
    std::size_t at_;
    std::string* text_;
};

using Reading = std::expected<std::int64_t, TOMLTextError> (StringReader::*)();

std::expected<TOMLString, TOMLTextError> decoded(BytesView bytes, std::int64_t start, Reading reading) {
    TOMLString string;
    auto end = (StringReader{bytes, start, &string.text}.*reading)();
    if (!end) return std::unexpected{std::move(end.error())};
    string.end = *end;
    return string;
}

}  // namespace

namespace TOMLText {

std::expected<TOMLString, TOMLTextError> parseBasicString(BytesView bytes, std::int64_t start) {
    return decoded(bytes, start, &StringReader::basic);
}

std::expected<TOMLString, TOMLTextError> parseLiteralString(BytesView bytes, std::int64_t start) {
    return decoded(bytes, start, &StringReader::literal);
}

std::expected<TOMLString, TOMLTextError> parseString(BytesView bytes, std::int64_t start) {
    return decoded(bytes, start, &StringReader::either);
}

std::expected<std::int64_t, TOMLTextError> pastString(BytesView bytes, std::int64_t start) {
    return StringReader{bytes, start, nullptr}.either();
}

std::string quote(std::string_view text) {
    std::string quoted = "\"";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        switch (character) {
            case '"':
                quoted += R"(\")";
                break;
            case '\\':
                quoted += R"(\\)";
                break;
            case '\t':
                quoted += R"(\t)";
                break;
            case '\n':
                quoted += R"(\n)";
                break;
            case '\r':
                quoted += R"(\r)";
                break;
            default:
                if (byte < 32 || byte == 127) {
                    quoted += fmt::format("\\u{:04X}", byte);
                } else {
                    quoted += character;
                }
        }
    }
    return quoted += '"';
}

std::string joined(std::span<const std::string> parts) {
    std::string name;
    for (const std::string& part : parts) {
        if (&part != parts.data()) name += '.';
        name += !part.empty() && std::ranges::all_of(part, isTOMLBareKey) ? part : quote(part);
    }
    return name;
}

}  // namespace TOMLText

}  // namespace larkmoor
