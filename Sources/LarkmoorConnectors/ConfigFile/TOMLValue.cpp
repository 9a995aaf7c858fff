#include "LarkmoorConnectors/ConfigFile/TOMLText.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

namespace larkmoor {

namespace {

enum class Role : unsigned char { plain, blank, lineFeed, comment, open, close, quote };

constexpr std::array<Role, 256> roles = [] {
    std::array<Role, 256> table{};
    for (const unsigned char byte : {' ', '\t', '\r'}) table[byte] = Role::blank;
    for (const unsigned char byte : {'[', '{'}) table[byte] = Role::open;
    for (const unsigned char byte : {']', '}'}) table[byte] = Role::close;
    for (const unsigned char byte : {'"', '\''}) table[byte] = Role::quote;
    table['\n'] = Role::lineFeed;
    table['#'] = Role::comment;
    return table;
}();

Role roleOf(char byte) { return roles[static_cast<unsigned char>(byte)]; }
bool isDigit(char byte) { return byte >= '0' && byte <= '9'; }

/// Whether `text` matches the form, in which 0 matches any digit.
bool hasForm(std::string_view text, std::string_view form) {
    if (text.size() != form.size()) return false;
    for (std::size_t index = 0; index < form.size(); ++index) {
        if (form[index] == '0' ? !isDigit(text[index]) : text[index] != form[index]) return false;
    }
    return true;
}

/// The offset past the multi-line string that opens at `opening`; nullopt if it never closes.
std::optional<std::size_t> pastMultiLineString(std::string_view file, std::size_t opening) {
    const char quote = file[opening];
    std::size_t at = opening + 3;
    while (true) {
        while (at < file.size() && file[at] != quote) at += file[at] == '\\' && quote == '"' ? 2 : 1;
        if (at >= file.size()) return std::nullopt;
        std::size_t past = at;
        while (past < file.size() && file[past] == quote && past - at < 5) ++past;
        if (past - at >= 3) return past;
        at = past;
    }
}

class ValueReader {
  public:
    ValueReader(BytesView bytes, std::size_t start)
        : bytes_(bytes), file_(asText(bytes)), start_(start), at_(start), end_(start) {}

    std::expected<std::int64_t, TOMLTextError> read() {
        while (at_ < file_.size()) {
            const Role role = roleOf(file_[at_]);
            if (depth_ == 0 && (role == Role::lineFeed || role == Role::comment)) break;
            if (role == Role::comment) {
                at_ = std::min(file_.find('\n', at_), file_.size());
            } else if (role == Role::lineFeed || role == Role::blank) {
                if (depth_ == 0 && !blank_) blank_ = at_;
                ++at_;
            } else if (!part(role)) {
                return std::unexpected{std::move(error_)};
            }
        }
        if (depth_ > 0) return std::unexpected{unreadable("a value was left open at the end of the file")};
        if (end_ == start_) return std::unexpected{unreadable("a value was expected")};
        return static_cast<std::int64_t>(end_);
    }

  private:
    TOMLTextError unreadable(const char* reason) const {
        return TOMLTextError::unreadable(static_cast<std::int64_t>(start_), reason);
    }

    bool fail(TOMLTextError error) {
        error_ = std::move(error);
        return false;
    }

    /// Reads a bracket, a whole string or a run of plain bytes; false leaves the reason in `error_`.
    [[nodiscard]] bool part(Role role) {
        if (blank_) {
            if (!TOMLText::isDateTimeSeparator(bytes_, static_cast<std::int64_t>(start_),
                                               static_cast<std::int64_t>(end_), static_cast<std::int64_t>(*blank_))) {
                return fail(unreadable("there are bytes after the end of a value"));
            }
            blank_.reset();
        }
        switch (role) {
            case Role::open:
                ++depth_;
                ++at_;
                break;
            case Role::close:
                if (depth_ == 0) return fail(unreadable("a value closed a bracket it never opened"));
                --depth_;
                ++at_;
                break;
            case Role::quote:
                if (!string()) return false;
                break;
            default:
                while (at_ < file_.size() && roleOf(file_[at_]) == Role::plain) ++at_;
        }
        end_ = at_;
        return true;
    }

    [[nodiscard]] bool string() {
        const char quote = file_[at_];
        const std::string_view three = quote == '"' ? R"(""")" : "'''";
        if (file_.substr(at_).starts_with(three)) {
            const auto past = pastMultiLineString(file_, at_);
            if (!past) {
                return fail(
                    TOMLTextError::unreadable(static_cast<std::int64_t>(at_), "a multi-line string never closed"));
            }
            at_ = *past;
            return true;
        }
        auto end = TOMLText::pastString(bytes_, static_cast<std::int64_t>(at_));
        if (!end) return fail(std::move(end.error()));
        at_ = static_cast<std::size_t>(*end);
        return true;
    }

    BytesView bytes_;
    std::string_view file_;
    std::size_t start_;
    std::size_t at_;
    std::size_t end_;  ///< one past the last byte that was not blank
    std::size_t depth_ = 0;
    std::optional<std::size_t> blank_;  ///< the first one at depth 0; only a time may follow
    TOMLTextError error_;
};

}  // namespace

namespace TOMLText {

bool isDateTimeSeparator(BytesView bytes, std::int64_t valueStart, std::int64_t valueEnd, std::int64_t space) {
    constexpr std::string_view date = "0000-00-00";
    constexpr std::string_view time = " 00:00";
    if (space != valueEnd || valueEnd - valueStart != std::ssize(date)) return false;
    const std::string_view file = asText(bytes);
    return hasForm(file.substr(static_cast<std::size_t>(valueStart), date.size()), date) &&
           hasForm(file.substr(static_cast<std::size_t>(space), time.size()), time);
}

std::expected<std::int64_t, TOMLTextError> consumeValue(BytesView bytes, std::int64_t start) {
    return ValueReader{bytes, static_cast<std::size_t>(start)}.read();
}

}  // namespace TOMLText

}  // namespace larkmoor
