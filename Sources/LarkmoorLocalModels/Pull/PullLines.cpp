#include "LarkmoorLocalModels/Pull/PullLines.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <utility>

#include "LarkmoorBase/JSON/FlatDocument.h"

namespace larkmoor {

namespace {

using Kind = FlatNode::Kind;

std::optional<std::string_view> text(const FlatNode& object, std::string_view name) {
    const FlatNode* member = object.member(name);
    if (member == nullptr || member->kind != Kind::string) return std::nullopt;
    return member->text();
}

std::optional<double> number(const FlatNode* member) {
    return member == nullptr || member->kind != Kind::number ? std::nullopt : Numbers::finite(member->text());
}

/// The value of an integer as JSON writes it, without a sign, if a double holds it exactly.
std::optional<double> plainInteger(std::string_view digits) {
    constexpr std::size_t maxDigits = 15;
    const bool isJSON = !digits.empty() && (digits.front() != '0' || digits.size() == 1);
    if (!isJSON || digits.size() > maxDigits) return std::nullopt;
    std::int64_t value = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') return std::nullopt;
        value = value * 10 + (digit - '0');
    }
    return static_cast<double>(value);
}

std::int64_t whole(double bytes) {
    constexpr auto most = static_cast<double>(std::numeric_limits<std::int64_t>::max());
    if (bytes >= most) return std::numeric_limits<std::int64_t>::max();
    return bytes <= -most ? std::numeric_limits<std::int64_t>::min() : static_cast<std::int64_t>(bytes);
}

}  // namespace

bool LineReader::read(BytesView piece, const Listener& listener, const Taker& taker) {
    for (std::string_view rest = asText(piece); !rest.empty();) {
        if (taker && held_.empty() && !isSkipping_) rest.remove_prefix(taker(rest));
        const std::size_t end = rest.find('\n');
        const std::string_view part = rest.substr(0, end);
        rest.remove_prefix(std::min(rest.size(), part.size() + 1));
        if (held_.size() + part.size() > maxLine) {
            isSkipping_ = true;
            held_ = {};
        }
        if (end == std::string_view::npos) {
            if (!isSkipping_) held_ += part;
        } else if (std::exchange(isSkipping_, false)) {
            continue;
        } else if (held_.empty()) {
            if (!listener(part)) return false;
        } else {
            held_ += part;
            if (!listener(held_)) return false;
            held_.clear();
        }
    }
    return true;
}

bool LineReader::finish(const Listener& listener) {
    const std::string last = std::exchange(held_, {});
    return last.empty() || listener(last);
}

std::optional<Transfer> PullLines::read(std::string_view line) {
    if (const auto completed = completedLikeTheLast(line)) return setCompleted(*completed, line.size());
    return parse(line) ? advance(sum()) : std::nullopt;
}

std::size_t PullLines::readAlike(std::string_view text, const TransferListener& progress) {
    std::size_t taken = 0;
    // There a line of the last one's size would end; what is like that line has no line feed in front of its end.
    while (text.size() - taken > size_ && text[taken + size_] == '\n') {
        const auto completed = completedLikeTheLast(text.substr(taken, size_));
        if (!completed) break;
        if (const auto transfer = setCompleted(*completed, size_)) progress(*transfer);
        taken += size_ + 1;
    }
    return taken;
}

std::optional<double> PullLines::completedLikeTheLast(std::string_view line) const {
    if (!pattern_ || !line.starts_with(pattern_->before) || !line.ends_with(pattern_->after)) return std::nullopt;
    const std::size_t around = pattern_->before.size() + pattern_->after.size();
    if (line.size() <= around) return std::nullopt;
    return plainInteger(line.substr(pattern_->before.size(), line.size() - around));
}

std::optional<Transfer> PullLines::setCompleted(double completed, std::size_t lineSize) {
    isUnderstood_ = true;
    size_ = lineSize;
    Sums& bytes = layers_[current_].bytes;
    bytes.completed = completed;
    // Not `sum`: loading the layer's two numbers together, one just stored, would take as long as all the rest.
    return advance({.completed = others_.completed + completed, .total = others_.total + bytes.total});
}

bool PullLines::parse(std::string_view line) {
    isUnderstood_ = false;
    // A flood of what is no object, empty lines among it, must not take a turn of the main loop for long.
    const std::size_t start = line.find_first_not_of(" \t\r");
    if (start == line.npos || line[start] != '{') return false;
    FlatDocument document;
    isUnderstood_ = document.parse(asBytes(line)).has_value();
    if (!isUnderstood_) return false;
    const FlatNode& root = document.root();
    if (const auto error = text(root, "error")) {
        error_ = *error;
        return false;
    }
    if (text(root, "status") == "success") isSuccess_ = true;
    return update(root, line);
}

bool PullLines::update(const FlatNode& object, std::string_view line) {
    const auto digest = text(object, "digest");
    const double total = number(object.member("total")).value_or(0);
    if (!digest || !(total > 0)) return false;
    auto layer = std::ranges::find(layers_, *digest, &Layer::digest);
    if (layer == layers_.end()) {
        if (layers_.size() == maxLayers) return false;
        layer = layers_.insert(layer, {.digest = std::string{*digest}});
    }
    const FlatNode* completed = object.member("completed");
    layer->bytes.completed = number(completed).value_or(0);
    layer->bytes.total = total;
    setCurrent(static_cast<std::size_t>(layer - layers_.begin()));
    pattern_.reset();
    if (number(completed) && plainInteger(completed->text())) {
        const auto at = static_cast<std::size_t>(completed->textStart - line.data());
        pattern_ = {.before = std::string{line.substr(0, at)}, .after = std::string{line.substr(at + completed->size)}};
        size_ = line.size();
    }
    return true;
}

void PullLines::setCurrent(std::size_t layer) {
    if (layer == current_) return;
    current_ = layer;
    others_ = {};
    for (std::size_t at = 0; at < layers_.size(); ++at) {
        if (at != current_) others_ += layers_[at].bytes;
    }
}

PullLines::Sums PullLines::sum() const {
    Sums sums = others_;
    if (!layers_.empty()) sums += layers_[current_].bytes;
    return sums;
}

std::optional<Transfer> PullLines::advance(Sums sums) {
    const double fraction = std::min(sums.completed / sums.total, 1.0);
    if (!(fraction > highest_)) return std::nullopt;
    highest_ = fraction;
    return Transfer{.bytes = whole(sums.completed), .total = whole(sums.total)};
}

Transfer PullLines::sums() const {
    const Sums sums = sum();
    return {.bytes = whole(sums.completed), .total = whole(sums.total)};
}

}  // namespace larkmoor
