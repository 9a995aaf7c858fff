#include "LarkmoorBase/JSON/Decoder.h"

namespace larkmoor {

bool Decoder::readScalar(const FlatNode& node, std::string& out) {
    if (node.kind != Kind::string) return fail("expected a string");
    out = node.text();
    return true;
}

bool Decoder::readScalar(const FlatNode& node, bool& out) {
    if (node.kind != Kind::boolean) return fail("expected true or false");
    out = node.truth;
    return true;
}

bool Decoder::readScalar(const FlatNode& node, Int& out) {
    const auto value = node.kind == Kind::number ? Numbers::whole(node.text()) : std::nullopt;
    if (!value) return fail("expected a whole number");
    out = *value;
    return true;
}

bool Decoder::readScalar(const FlatNode& node, std::int32_t& out) {
    Int value = 0;
    if (!readScalar(node, value)) return false;
    if (!std::in_range<std::int32_t>(value)) return fail("expected a whole number of 32 bits");
    out = static_cast<std::int32_t>(value);
    return true;
}

bool Decoder::readScalar(const FlatNode& node, double& out) {
    const auto value = node.kind == Kind::number ? Numbers::finite(node.text()) : std::nullopt;
    if (!value) return fail("expected a finite number");
    out = *value;
    return true;
}

bool Decoder::readScalar(const FlatNode& node, Bytes& out) {
    auto value = node.kind == Kind::string ? Base64::decode(node.text()) : std::nullopt;
    if (!value) return fail("expected bytes in base64");
    out = *std::move(value);
    return true;
}

bool Decoder::readScalar(const FlatNode& node, Date& out) { return readScalar(node, out.secondsSinceReference); }

bool Decoder::fail(std::string reason) {
    failure_.reason = std::move(reason);
    return false;
}

bool Decoder::under(std::string_view name) {
    if (name == unlabelled) return false;
    const bool joins = failure_.path.empty() || failure_.path.starts_with('[');
    failure_.path = fmt::format("{}{}{}", name, joins ? "" : ".", failure_.path);
    return false;
}

bool Decoder::under(std::size_t index) { return under(fmt::format("[{}]", index)); }

}  // namespace larkmoor
