#include "LarkmoorBase/JSON/FlatDocument.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/json/basic_parser_impl.hpp>
#include <charconv>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <system_error>

namespace larkmoor {

namespace {

constexpr std::size_t maxDepth = 512;
// A typical document has this many bytes for each value: a guess that saves reallocations, and no limit.
constexpr std::size_t bytesPerNode = 24;
// Smaller documents cost nothing worth a count, whatever they hold.
constexpr std::size_t smallDocument = 4096;
constexpr std::size_t maxMemoryPerByte = 6;

/// The end of the string whose opening quote is at the offset: most of a document is text, and is not looked at.
std::size_t endOfString(std::string_view input, std::size_t quote) {
    for (std::size_t at = quote; (at = input.find('"', at + 1)) != std::string_view::npos;) {
        std::size_t escapes = 0;
        while (input[at - 1 - escapes] == '\\') ++escapes;
        if (escapes % 2 == 0) return at + 1;
    }
    return input.size();
}

/// An upper bound of the values in the document: each is the first, or follows a comma or an opening bracket.
std::size_t maxValues(std::string_view input) {
    std::size_t values = 1;
    for (std::size_t at = 0; at < input.size();) {
        const char letter = input[at];
        if (letter == ',' || letter == '[' || letter == '{') ++values;
        at = letter == '"' ? endOfString(input, at) : at + 1;
    }
    return values;
}

}  // namespace

const FlatNode* FlatNode::member(std::string_view name) const {
    const FlatNode* found = nullptr;
    if (kind != Kind::object) return found;
    for (const FlatNode* each = begin(); each != end(); each = each->next()) {
        if (each->key() == name) found = each;
    }
    return found;
}

class FlatDocument::Handler {
  public:
    // Names and limits as boost::json::basic_parser asks for them.
    static constexpr std::size_t max_object_size = std::numeric_limits<std::uint32_t>::max();
    static constexpr std::size_t max_array_size = max_object_size;
    static constexpr std::size_t max_key_size = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t max_string_size = max_key_size;
    using Error = boost::json::error_code;

    Handler(FlatDocument& document, std::string_view input) : document_(document), input_(input) {}

    bool on_document_begin(Error&) { return true; }
    bool on_document_end(Error&) { return true; }
    bool on_object_begin(Error&) { return open(FlatNode::Kind::object); }
    bool on_object_end(std::size_t count, Error&) { return close(count); }
    bool on_array_begin(Error&) { return open(FlatNode::Kind::array); }
    bool on_array_end(std::size_t count, Error&) { return close(count); }
    bool on_key_part(std::string_view part, std::size_t, Error&) { return gather(part); }
    bool on_key(std::string_view part, std::size_t, Error&) {
        key_ = whole(part);
        return true;
    }
    bool on_string_part(std::string_view part, std::size_t, Error&) { return gather(part); }
    bool on_string(std::string_view part, std::size_t, Error&) { return add(FlatNode::Kind::string, whole(part)); }
    bool on_number_part(std::string_view part, Error&) { return gather(part); }
    bool on_int64(std::int64_t, std::string_view part, Error&) { return add(FlatNode::Kind::number, whole(part)); }
    bool on_uint64(std::uint64_t, std::string_view part, Error&) { return add(FlatNode::Kind::number, whole(part)); }
    bool on_double(double, std::string_view part, Error&) { return add(FlatNode::Kind::number, whole(part)); }
    bool on_bool(bool truth, Error&) {
        add(FlatNode::Kind::boolean, {});
        document_.nodes_.back().truth = truth;
        return true;
    }
    bool on_null(Error&) { return add(FlatNode::Kind::null, {}); }
    bool on_comment_part(std::string_view, Error&) { return true; }
    bool on_comment(std::string_view, Error&) { return true; }

  private:
    bool add(FlatNode::Kind kind, std::string_view text) {
        document_.nodes_.push_back({.keyStart = key_.data(),
                                    .textStart = text.data(),
                                    .keySize = static_cast<std::uint32_t>(key_.size()),
                                    .size = static_cast<std::uint32_t>(text.size()),
                                    .kind = kind});
        key_ = {};
        return true;
    }

    bool open(FlatNode::Kind kind) {
        open_[depth_++] = static_cast<std::uint32_t>(document_.nodes_.size());
        return add(kind, {});
    }

    bool close(std::size_t count) {
        const std::uint32_t index = open_[--depth_];
        FlatNode& node = document_.nodes_[index];
        node.span = static_cast<std::uint32_t>(document_.nodes_.size()) - index;
        node.size = static_cast<std::uint32_t>(count);
        return true;
    }

    bool gather(std::string_view part) {
        pending_ += part;
        return true;
    }

    /// The text that ends with `part`: a view of the input if it is unescaped there, otherwise of a copy.
    std::string_view whole(std::string_view part) {
        const std::less<const char*> before;
        const char* end = input_.data() + input_.size();
        if (pending_.empty() && !before(part.data(), input_.data()) && !before(end, part.data() + part.size()))
            return part;
        pending_ += part;
        auto* copy = static_cast<char*>(document_.memory_.allocate(pending_.size() + 1, 1));
        std::ranges::copy(pending_, copy);
        const std::string_view text{copy, pending_.size()};
        pending_.clear();
        return text;
    }

    FlatDocument& document_;
    std::string_view input_;
    std::string pending_;
    std::string_view key_;
    std::array<std::uint32_t, maxDepth + 1> open_;
    std::size_t depth_ = 0;
};

std::expected<void, CodingFailure> FlatDocument::parse(BytesView bytes, Strictness strictness) {
    const std::string_view input = asText(bytes);
    if (input.size() >= std::numeric_limits<std::uint32_t>::max()) {
        return std::unexpected(CodingFailure{.path = {}, .reason = "not JSON that we read: 4 GiB or more"});
    }
    nodes_.clear();
    std::size_t room = input.size() / bytesPerNode + 8;
    if (input.size() > smallDocument) {
        room = maxValues(input);
        if (room > input.size() / sizeof(FlatNode) * maxMemoryPerByte)
            return std::unexpected(CodingFailure{.path = {}, .reason = "more values than we have room for"});
    }
    nodes_.reserve(room);
    boost::json::parse_options options;
    options.max_depth = maxDepth;
    boost::json::basic_parser<Handler> parser{options, *this, input};
    boost::json::error_code error;
    const std::size_t taken = parser.write_some(false, input.data(), input.size(), error);
    if (!error && taken < input.size()) error = boost::json::error::extra_data;
    if (error) {
        return std::unexpected(
            CodingFailure{.path = {}, .reason = fmt::format("not JSON: {} (at byte {})", error.message(), taken)});
    }
    if (strictness == Strictness::strict) {
        if (const auto name = repeatedName())
            return std::unexpected(CodingFailure{.path = {}, .reason = fmt::format("a name stands twice: {}", *name)});
    }
    return {};
}

std::optional<std::string_view> FlatDocument::repeatedName() const {
    std::vector<std::string_view> names;
    for (const FlatNode& node : nodes_) {
        if (node.kind != FlatNode::Kind::object) continue;
        names.clear();
        for (const FlatNode* member = node.begin(); member != node.end(); member = member->next())
            names.push_back(member->key());
        std::ranges::sort(names);
        if (const auto twice = std::ranges::adjacent_find(names); twice != names.end()) return *twice;
    }
    return std::nullopt;
}

namespace Numbers {

namespace {

/// Of a number that no double can hold: is it too small, rather than too large? By the power of ten of its first digit.
bool isTiny(std::string_view number) {
    const auto mark = number.find_first_of("eE");
    const std::string_view digits = number.substr(0, mark);
    const auto first = digits.find_first_of("123456789");
    if (first == std::string_view::npos) return true;
    const auto point = std::min(digits.find('.'), digits.size());
    const double power = first < point ? static_cast<double>(point - first) - 1 : -static_cast<double>(first - point);
    double exponent = 0;
    if (mark != std::string_view::npos) {
        std::string_view written = number.substr(mark + 1);
        const bool isNegative = written.starts_with('-');
        if (isNegative || written.starts_with('+')) written.remove_prefix(1);
        for (const char digit : written) exponent = exponent * 10 + (digit - '0');
        if (isNegative) exponent = -exponent;
    }
    return power + exponent < 0;
}

}  // namespace

std::optional<std::int64_t> whole(std::string_view number) {
    const char* end = number.data() + number.size();
    std::int64_t value = 0;
    const auto exact = std::from_chars(number.data(), end, value);
    if (exact.ptr == end) return exact.ec == std::errc{} ? std::optional{value} : std::nullopt;
    const std::optional<double> near = finite(number);
    // 2^63 is a double, and the first that no longer fits.
    constexpr double limit = 0x1p63;
    if (!near || std::trunc(*near) != *near || *near < -limit || *near >= limit) return std::nullopt;
    return static_cast<std::int64_t>(*near);
}

std::optional<double> finite(std::string_view number) {
    double value = 0;
    const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
    if (result.ec == std::errc{}) return std::isfinite(value) ? std::optional{value} : std::nullopt;
    if (result.ec == std::errc::result_out_of_range && isTiny(number)) return number.starts_with('-') ? -0.0 : 0.0;
    return std::nullopt;
}

}  // namespace Numbers

}  // namespace larkmoor
