#include "LarkmoorKit/Door/XPCWire.h"

#include <algorithm>
#include <limits>

#include "LarkmoorBase/Text.h"

namespace larkmoor {

namespace XPCWire {

namespace {

void setCount(std::int64_t value, std::string_view key, MessageDictionary& on) {
    on.set(key, static_cast<std::uint64_t>(std::max<std::int64_t>(value, 0)));
}

std::optional<std::int64_t> count(std::string_view key, const MessageDictionary& from) {
    const auto* value = from.find<std::uint64_t>(key);
    if (value == nullptr) return std::nullopt;
    constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(std::min(*value, largest));
}

}  // namespace

void set(BytesView data, std::string_view key, MessageDictionary& on) { on.set(key, copyBytes(data)); }

std::optional<BytesView> data(std::string_view key, const MessageDictionary& from) {
    const auto* bytes = from.find<Bytes>(key);
    if (bytes == nullptr || bytes->empty()) return std::nullopt;
    return BytesView{*bytes};
}

void setWire(std::int64_t version, MessageDictionary& on) { setCount(version, XPCEndpoint::wireKey, on); }

void setServed(std::int64_t milliseconds, MessageDictionary& on) { setCount(milliseconds, XPCEndpoint::servedKey, on); }

std::optional<std::int64_t> wireVersion(const MessageDictionary& from) { return count(XPCEndpoint::wireKey, from); }

std::optional<std::chrono::milliseconds> servedDuration(const MessageDictionary& from) {
    const auto served = count(XPCEndpoint::servedKey, from);
    return served ? std::optional{std::chrono::milliseconds{*served}} : std::nullopt;
}

}  // namespace XPCWire

std::string MCPGatewayName::resolve(const std::map<std::string, std::string>& env) {
    if (const auto named = env.find(std::string{overrideKey}); named != env.end()) {
        const std::string_view service = trimmed(named->second);
        if (service.starts_with(testPrefix) && service.size() > testPrefix.size()) return std::string{service};
    }
    return std::string{XPCEndpoint::machServiceName};
}

}  // namespace larkmoor
