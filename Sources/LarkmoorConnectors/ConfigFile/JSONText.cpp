#include "LarkmoorConnectors/ConfigFile/JSONText.h"

#include <charconv>
#include <limits>
#include <optional>
#include <utility>

#include "LarkmoorBase/UTF8.h"
#include "LarkmoorConnectors/ConfigFile/JSONLayout.h"

namespace larkmoor {

namespace {

bool endsRun(char byte) { return static_cast<unsigned char>(byte) < ' ' || byte == '"' || byte == '\\'; }

bool isBlank(char byte) { return byte == ' ' || byte == '\n' || byte == '\r' || byte == '\t'; }

/// A position in the document and what was found up to it. Each reading function begins at the first byte of what it
/// reads and ends one past the last; false means that the scan has failed with `error_`.
class Scanner {
  public:
    Scanner(BytesView bytes, JSONDialect dialect)
        : bytes_(bytes), dialect_(dialect), begin_(asText(bytes).data()), end_(begin_ + bytes.size()), at_(begin_) {}

    std::expected<JSONScan, JSONTextError> scan() {
        JSONNode root;
        if (!fits() || !trivia() || !value(root) || !trivia() || !atTheEnd()) return std::unexpected{std::move(error_)};
        return JSONScan{root, std::move(comments_), std::make_shared<const JSONStorage>(std::move(storage_))};
    }

  private:
    std::int32_t offset(const char* at) const { return static_cast<std::int32_t>(at - begin_); }

    /// Whether 32 bits are enough for every offset.
    [[nodiscard]] bool fits() {
        return end_ - begin_ < std::numeric_limits<std::int32_t>::max() ||
               fail(begin_, "the document is larger than 2 GiB");
    }

    [[nodiscard]] bool fail(const char* at, const char* reason) {
        error_ = JSONTextError::unreadable(offset(at), reason);
        return false;
    }

    [[nodiscard]] bool atTheEnd() { return at_ == end_ || fail(at_, "there are bytes after the top-level value"); }

    [[nodiscard]] bool trivia() {
        // The fast path: one space or none.
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
        while (at_ != end_ && isBlank(*at_)) ++at_;
    }

    JSONNode node(const char* start, JSONKind kind) const { return {offset(start), offset(at_), kind}; }

    [[nodiscard]] bool value(JSONNode& into) {
        if (at_ == end_) return fail(at_, "the document ended where a value was expected");
        const char* start = at_;
        switch (*start) {
            case '"': {
                JSONKind::String decoded;
                if (!string(decoded.text)) return false;
                into = node(start, decoded);
                return true;
            }
            case '[':
                return array(into);
            case '{':
                return object(into);
            case 'f':
                return literal("false", JSONKind::Bool{false}, into);
            case 'n':
                return literal("null", JSONKind::Null{}, into);
            case 't':
                return literal("true", JSONKind::Bool{true}, into);
            default:
                if (!number()) return fail(start, "a value was expected");
                into = node(start, JSONKind::Number{});
                return true;
        }
    }

    [[nodiscard]] bool literal(std::string_view word, JSONKind meaning, JSONNode& into) {
        const char* start = at_;
        if (!std::string_view{at_, end_}.starts_with(word)) return fail(start, "a value was expected");
        at_ += word.size();
        into = node(start, meaning);
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

    /// False if there is none.
    [[nodiscard]] bool digits() {
        const char* first = at_;
        while (at_ != end_ && *at_ >= '0' && *at_ <= '9') ++at_;
        return at_ != first;
    }

    [[nodiscard]] bool enter() {
        if (depth_ == JSONText::depthLimit) return fail(at_, "the document nests deeper than 64 levels");
        ++depth_;
        ++at_;
        return trivia();
    }

    /// Skips the closing bracket if it is next.
    [[nodiscard]] bool leave(char bracket) {
        if (at_ == end_ || *at_ != bracket) return false;
        ++at_;
        --depth_;
        return true;
    }

    /// Moves the items from `first` on into a list of their own.
    template <class T>
    static std::span<const T> closed(std::vector<T>& open, std::size_t first, std::vector<std::vector<T>>& lists) {
        if (first == open.size()) return {};
        const auto tail = open.begin() + static_cast<std::ptrdiff_t>(first);
        lists.emplace_back(tail, open.end());
        open.erase(tail, open.end());
        return lists.back();
    }

    [[nodiscard]] bool object(JSONNode& into) {
        const char* start = at_;
        const std::size_t first = members_.size();
        if (!enter()) return false;
        if (!leave('}') && !membersAndBrace()) return false;
        into = node(start, JSONKind::Object{closed(members_, first, storage_.objects)});
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

    /// One member and the trivia after it.
    [[nodiscard]] bool member() {
        const bool named = at_ != end_ && *at_ == '"';
        if (!named) return fail(at_, "a member name was expected");
        JSONMember member;
        member.keyStart = offset(at_);
        if (!string(member.key) || !trivia()) return false;
        if (at_ == end_ || *at_ != ':') return fail(at_, "a colon was expected after a member name");
        ++at_;
        if (!trivia() || !value(member.value)) return false;
        members_.push_back(member);
        return trivia();
    }

    [[nodiscard]] bool array(JSONNode& into) {
        const char* start = at_;
        const std::size_t first = elements_.size();
        if (!enter()) return false;
        if (!leave(']') && !elementsAndBracket()) return false;
        into = node(start, JSONKind::Array{closed(elements_, first, storage_.arrays)});
        return true;
    }

    [[nodiscard]] bool elementsAndBracket() {
        while (true) {
            JSONNode element;
            if (!value(element)) return false;
            elements_.push_back(element);
            if (!trivia()) return false;
            if (leave(']')) return true;
            if (at_ == end_) return fail(at_, "the document ended inside an array");
            if (*at_ != ',') return fail(at_, "a comma or a closing bracket was expected");
            ++at_;
            if (!trivia()) return false;
        }
    }

    /// Every error in a string carries the offset of its opening quote.
    [[nodiscard]] bool string(std::string_view& decoded) {
        const char* quote = at_++;
        if (!plainRun(quote, decoded)) return false;
        if (*at_ == '\\' && !escapesAndRuns(quote, decoded)) return false;
        ++at_;
        return true;
    }

    /// Decodes from the first escape on; `decoded` is the text before it, and then the whole.
    [[nodiscard]] bool escapesAndRuns(const char* quote, std::string_view& decoded) {
        std::string text{decoded};
        while (*at_ == '\\') {
            ++at_;
            std::string_view run;
            if (!escape(quote, text) || !plainRun(quote, run)) return false;
            text += run;
        }
        decoded = storage_.texts.emplace_front(std::move(text));
        return true;
    }

    /// `run` is what stands before the next backslash or the closing quote. UTF-8 is checked run by run, since no
    /// character may be split by an escape.
    [[nodiscard]] bool plainRun(const char* quote, std::string_view& run) {
        const char* first = at_;
        bool isASCII = true;
        for (; at_ != end_ && !endsRun(*at_); ++at_) isASCII = isASCII && static_cast<unsigned char>(*at_) < 0x80;
        if (at_ == end_) return fail(quote, "the document ended inside a string");
        if (static_cast<unsigned char>(*at_) < ' ') return fail(quote, "a string holds an unescaped control character");
        if (!isASCII && !UTF8::isValid({first, at_})) {
            return fail(quote, "a string holds bytes that are not UTF-8");
        }
        run = {first, at_};
        return true;
    }

    /// Appends what the escape after a backslash means.
    [[nodiscard]] bool escape(const char* quote, std::string& decoded) {
        if (at_ == end_) return fail(quote, "the document ended inside an escape");
        switch (*at_++) {
            case '"':
                decoded += '"';
                return true;
            case '\\':
                decoded += '\\';
                return true;
            case '/':
                decoded += '/';
                return true;
            case 'b':
                decoded += '\b';
                return true;
            case 'f':
                decoded += '\f';
                return true;
            case 'n':
                decoded += '\n';
                return true;
            case 'r':
                decoded += '\r';
                return true;
            case 't':
                decoded += '\t';
                return true;
            case 'u':
                return unicodeEscape(quote, decoded);
            default:
                return fail(quote, "a string holds an escape that is not JSON's");
        }
    }

    [[nodiscard]] bool unicodeEscape(const char* quote, std::string& decoded) {
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
        UTF8::append(decoded, scalar);
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
    /// The items of the objects and arrays that are still open; each takes its own from the end when it closes.
    std::vector<JSONMember> members_;
    std::vector<JSONNode> elements_;
    JSONStorage storage_;
    JSONTextError error_;
};

}  // namespace

std::expected<JSONScan, JSONTextError> JSONText::scanWithTrivia(BytesView bytes, JSONDialect dialect) {
#ifdef LARKMOOR_COUNT_SCANS
    ++scanCount;
#endif
    return Scanner{bytes, dialect}.scan();
}

std::expected<JSONDocument, JSONTextError> JSONDocument::read(Bytes bytes, JSONDialect dialect) {
    auto scan = JSONText::scanWithTrivia(bytes, dialect);
    if (!scan) return std::unexpected{std::move(scan.error())};
    return JSONDocument{std::make_shared<const State>(State{std::move(bytes), dialect, std::move(*scan)})};
}

}  // namespace larkmoor
