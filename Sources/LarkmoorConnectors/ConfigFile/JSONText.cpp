#include "LarkmoorConnectors/ConfigFile/JSONText.h"

#include <charconv>
#include <optional>
#include <utility>

#include "LarkmoorBase/UTF8.h"
#include "LarkmoorConnectors/ConfigFile/EightBytes.h"
#include "LarkmoorConnectors/ConfigFile/JSONComments.h"

namespace larkmoor {

namespace {

bool isBlank(char byte) { return byte == ' ' || byte == '\n' || byte == '\r' || byte == '\t'; }

/// A position in the document and what was found up to it. Each function that reads something begins at its first byte
/// and ends just past it; one that answers false has left the reason in `error_`, and the scan is over.
class Scanner {
  public:
    Scanner(BytesView bytes, JSONDialect dialect)
        : bytes_(bytes), dialect_(dialect), begin_(asText(bytes).data()), end_(begin_ + bytes.size()), at_(begin_) {}

    std::expected<JSONScan, JSONTextError> scan() {
        if (!trivia() || !value() || !trivia() || !atTheEnd()) return std::unexpected{std::move(error_)};
        return JSONScan{std::move(values_.front()), std::move(comments_)};
    }

  private:
    std::int64_t offset(const char* at) const { return at - begin_; }

    [[nodiscard]] bool fail(const char* at, const char* reason) {
        error_ = JSONTextError::unreadable(offset(at), reason);
        return false;
    }

    [[nodiscard]] bool atTheEnd() { return at_ == end_ || fail(at_, "there are bytes after the top-level value"); }

    [[nodiscard]] bool trivia() {
        // Most often there is one blank or none.
        if (at_ != end_ && *at_ == ' ') ++at_;
        if (at_ != end_ && *at_ > ' ' && *at_ != '/') return true;
        return blanksAndComments();
    }

    [[nodiscard, gnu::noinline]] bool blanksAndComments() {
        skipBlanks();
        while (dialect_ == JSONDialect::withComments) {
            auto comment = JSONComments::span(bytes_, offset(at_));
            if (!comment) {
                error_ = std::move(comment.error());
                return false;
            }
            const std::optional<ByteRange>& found = *comment;
            if (!found) break;
            comments_.push_back(*found);
            at_ = begin_ + found->end;
            skipBlanks();
        }
        return true;
    }

    void skipBlanks() {
        while (at_ != end_ && isBlank(*at_)) {
            ++at_;
            skip([](EightBytes eight) { return eight.otherThan(' '); });
        }
    }

    /// On to the first byte flagged, and to the end of the document at the latest: NULs need flags.
    template <class Flags>
    void skip(Flags flagged) {
        while (true) {
            if (const std::uint64_t flags = flagged(EightBytes{at_, end_}); flags != 0) {
                at_ += EightBytes::before(flags);
                return;
            }
            at_ += EightBytes::size;
        }
    }

    template <class Held>
    void push(const char* start, Held&& held) {
        values_.emplace_back(ByteRange{offset(start), offset(at_)}, std::forward<Held>(held));
    }

    /// Leaves the value at the end of `values_`.
    [[nodiscard]] bool value() {
        if (at_ == end_) return fail(at_, "the document ended where a value was expected");
        const char* start = at_;
        switch (*start) {
            case '"': {
                std::string_view decoded;
                if (!string(decoded)) return false;
                push(start, JSONKind::String{decoded});
                return true;
            }
            case '[':
                return array();
            case '{':
                return object();
            case 'f':
                return literal("false", JSONKind::Bool{false});
            case 'n':
                return literal("null", JSONKind::Null{});
            case 't':
                return literal("true", JSONKind::Bool{true});
            default:
                if (!number()) return fail(start, "a value was expected");
                push(start, JSONKind::Number{});
                return true;
        }
    }

    template <class Case>
    [[nodiscard]] bool literal(std::string_view word, Case meaning) {
        const char* start = at_;
        if (!std::string_view{at_, end_}.starts_with(word)) return fail(start, "a value was expected");
        at_ += word.size();
        push(start, meaning);
        return true;
    }

    [[nodiscard]] bool number() {
        if (*at_ == '-') ++at_;
        if (at_ != end_ && *at_ == '0') {
            ++at_;
        } else if (!digits()) {
            return false;
        }
        if (at_ != end_ && *at_ == '.') {
            ++at_;
            if (!digits()) return false;
        }
        if (at_ != end_ && (*at_ == 'e' || *at_ == 'E')) {
            ++at_;
            if (at_ != end_ && (*at_ == '+' || *at_ == '-')) ++at_;
            if (!digits()) return false;
        }
        return true;
    }

    /// Whether there was one at least.
    [[nodiscard]] bool digits() {
        const char* first = at_;
        skip([](EightBytes eight) { return eight.noDigit(); });
        return at_ != first;
    }

    [[nodiscard]] bool enter() {
        if (depth_ == JSONText::depthLimit) return fail(at_, "the document nests deeper than 64 levels");
        ++depth_;
        ++at_;
        return trivia();
    }

    /// Past a closing bracket, if that is what stands here.
    [[nodiscard]] bool leave(char bracket) {
        if (at_ == end_ || *at_ != bracket) return false;
        ++at_;
        --depth_;
        return true;
    }

    [[nodiscard]] bool object() {
        const char* start = at_;
        const std::size_t firstName = names_.size(), firstValue = values_.size();
        if (!enter()) return false;
        if (!leave('}') && !membersAndBrace()) return false;
        push(start, JSONKind::objectTakingTail(names_, firstName, values_, firstValue));
        return true;
    }

    [[nodiscard]] bool membersAndBrace() {
        while (true) {
            if (!member()) return false;
            if (leave('}')) return true;
            if (at_ == end_) return fail(at_, "the document ended inside an object");
            if (*at_ != ',') return fail(at_, "a comma or a closing brace was expected");
            ++at_;
            if (!trivia()) return false;
        }
    }

    /// One member and the trivia behind it.
    [[nodiscard]] bool member() {
        const bool named = at_ != end_ && *at_ == '"';
        if (!named) return fail(at_, "a member name was expected");
        const char* start = at_;
        std::string_view decoded;
        if (!string(decoded)) return false;
        names_.emplace_back(CompactText{decoded}, offset(start));
        if (!trivia()) return false;
        if (at_ == end_ || *at_ != ':') return fail(at_, "a colon was expected after a member name");
        ++at_;
        return trivia() && value() && trivia();
    }

    [[nodiscard]] bool array() {
        const char* start = at_;
        const std::size_t first = values_.size();
        if (!enter()) return false;
        if (!leave(']') && !elementsAndBracket()) return false;
        push(start, JSONKind::arrayTakingTail(values_, first));
        return true;
    }

    [[nodiscard]] bool elementsAndBracket() {
        while (true) {
            if (!value() || !trivia()) return false;
            if (leave(']')) return true;
            if (at_ == end_) return fail(at_, "the document ended inside an array");
            if (*at_ != ',') return fail(at_, "a comma or a closing bracket was expected");
            ++at_;
            if (!trivia()) return false;
        }
    }

    /// `decoded` is good until the next string is read. A fault inside a string is told at its opening quote, wherever
    /// the fault lies.
    [[nodiscard]] bool string(std::string_view& decoded) {
        const char* quote = at_++;
        const char* run = at_;
        if (!plainRun(quote)) return false;
        decoded = {run, at_};
        if (*at_ == '\\') {
            decoded_ = decoded;
            if (!escapesAndRuns(quote)) return false;
            decoded = decoded_;
        }
        ++at_;
        return true;
    }

    [[nodiscard]] bool escapesAndRuns(const char* quote) {
        while (*at_ == '\\') {
            ++at_;
            if (!escape(quote)) return false;
            const char* run = at_;
            if (!plainRun(quote)) return false;
            decoded_.append(run, at_);
        }
        return true;
    }

    /// Up to a backslash or the closing quote. What an escape splits is no character, so each run stands for itself.
    [[nodiscard]] bool plainRun(const char* quote) {
        const char* first = at_;
        std::uint64_t beyondASCII = 0;
        skip([&](EightBytes eight) {
            beyondASCII |= eight.beyondASCII();
            return eight.below(' ') | eight.equalTo('"') | eight.equalTo('\\');
        });
        if (at_ == end_) return fail(quote, "the document ended inside a string");
        if (static_cast<unsigned char>(*at_) < ' ') return fail(quote, "a string holds an unescaped control character");
        if (beyondASCII == 0 || UTF8::isValid({first, at_})) return true;
        return fail(quote, "a string holds bytes that are not UTF-8");
    }

    /// What stands behind a backslash.
    [[nodiscard]] bool escape(const char* quote) {
        if (at_ == end_) return fail(quote, "the document ended inside an escape");
        switch (*at_++) {
            case '"':
                decoded_ += '"';
                return true;
            case '\\':
                decoded_ += '\\';
                return true;
            case '/':
                decoded_ += '/';
                return true;
            case 'b':
                decoded_ += '\b';
                return true;
            case 'f':
                decoded_ += '\f';
                return true;
            case 'n':
                decoded_ += '\n';
                return true;
            case 'r':
                decoded_ += '\r';
                return true;
            case 't':
                decoded_ += '\t';
                return true;
            case 'u':
                return unicodeEscape(quote);
            default:
                return fail(quote, "a string holds an escape that is not JSON's");
        }
    }

    [[nodiscard]] bool unicodeEscape(const char* quote) {
        constexpr char32_t highSurrogates = 0xD800, lowSurrogates = 0xDC00, surrogatesEnd = 0xE000;
        char32_t scalar = 0;
        if (!fourHexDigits(quote, scalar)) return false;
        if (scalar >= highSurrogates && scalar < surrogatesEnd) {
            const auto unpaired = [this, quote] { return fail(quote, "a string holds an unpaired surrogate"); };
            if (scalar >= lowSurrogates || !std::string_view{at_, end_}.starts_with("\\u")) return unpaired();
            at_ += 2;
            char32_t low = 0;
            if (!fourHexDigits(quote, low)) return false;
            if (low < lowSurrogates || low >= surrogatesEnd) return unpaired();
            scalar = 0x10000 + ((scalar - highSurrogates) << 10) + (low - lowSurrogates);
        }
        UTF8::append(decoded_, scalar);
        return true;
    }

    [[nodiscard]] bool fourHexDigits(const char* quote, char32_t& into) {
        std::uint16_t unit = 0;
        // from_chars takes no sign for an unsigned number, and no prefix.
        if (end_ - at_ < 4 || std::from_chars(at_, at_ + 4, unit, 16).ptr != at_ + 4) {
            return fail(quote, "a string holds a \\u escape that is not four hex digits");
        }
        at_ += 4;
        into = unit;
        return true;
    }

    BytesView bytes_;
    JSONDialect dialect_;
    const char* begin_;
    const char* end_;
    const char* at_;
    int depth_ = 0;
    std::vector<ByteRange> comments_;
    /// What the objects and arrays hold that are not closed yet; each takes its own from the end.
    std::vector<JSONName> names_;
    std::vector<JSONNode> values_;
    std::string decoded_;
    JSONTextError error_;
};

}  // namespace

std::expected<JSONScan, JSONTextError> JSONText::scanWithTrivia(BytesView bytes, JSONDialect dialect) {
    return Scanner{bytes, dialect}.scan();
}

}  // namespace larkmoor
