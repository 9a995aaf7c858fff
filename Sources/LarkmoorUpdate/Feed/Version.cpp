#include "LarkmoorUpdate/Feed/Version.h"

#include <algorithm>

namespace larkmoor {

namespace {

bool isDigit(char byte) { return byte >= '0' && byte <= '9'; }

bool isLetter(char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || static_cast<unsigned char>(byte) >= 0x80;
}

/// The parts that are still to be compared.
class Parts {
  public:
    explicit Parts(std::string_view text) : rest_(text) { toNext(0); }

    std::string_view first() const { return first_; }
    bool isAtEnd() const { return first_.empty(); }
    bool isNumber() const { return !isAtEnd() && isDigit(first_.front()); }
    void dropFirst() { toNext(first_.size()); }

  private:
    void toNext(std::size_t length) {
        rest_.remove_prefix(length);
        const auto begin = std::ranges::find_if(rest_, [](char byte) { return isDigit(byte) || isLetter(byte); });
        const auto end = begin != rest_.end() && isDigit(*begin) ? std::find_if_not(begin, rest_.end(), isDigit)
                                                                 : std::find_if_not(begin, rest_.end(), isLetter);
        rest_ = {begin, rest_.end()};
        first_ = {begin, end};
    }

    std::string_view rest_;
    std::string_view first_;
};

/// Without a number there is a missing zero.
std::strong_ordering compareNumbers(const Parts& left, const Parts& right) {
    const auto digits = [](const Parts& parts) {
        std::string_view text = parts.isNumber() ? parts.first() : "";
        text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
        return text;
    };
    const std::string_view one = digits(left), other = digits(right);
    const auto byLength = one.size() <=> other.size();
    return byLength == 0 ? one <=> other : byLength;
}

std::strong_ordering compareParts(Parts left, Parts right) {
    while (!left.isAtEnd() || !right.isAtEnd()) {
        if (left.isNumber() || right.isNumber()) {
            if (const auto order = compareNumbers(left, right); order != 0) return order;
            if (left.isNumber()) left.dropFirst();
            if (right.isNumber()) right.dropFirst();
        } else {
            if (left.isAtEnd()) return std::strong_ordering::greater;
            if (right.isAtEnd()) return std::strong_ordering::less;
            if (const auto order = left.first() <=> right.first(); order != 0) return order;
            left.dropFirst();
            right.dropFirst();
        }
    }
    return std::strong_ordering::equal;
}

struct Version {
    std::string_view release;
    std::string_view build;

    explicit Version(std::string_view text) {
        text = text.substr(0, text.find('-'));
        const std::size_t parenthesis = std::min(text.find('('), text.size());
        release = text.substr(0, parenthesis);
        build = text.substr(parenthesis);
    }
};

}  // namespace

std::strong_ordering compareVersions(std::string_view left, std::string_view right) {
    const Version one{left}, other{right};
    const auto order = compareParts(Parts{one.release}, Parts{other.release});
    return order == 0 ? compareParts(Parts{one.build}, Parts{other.build}) : order;
}

}  // namespace larkmoor
