#include "LarkmoorFetch/Order.h"

#include <string_view>

#include "LarkmoorBase/WholeNumber.h"
#include "LarkmoorPlatform/FetchProtocol.h"

namespace larkmoor {

namespace {

/// What follows the name, if the argument is of that name.
bool take(std::string_view argument, std::string_view name, std::string& value) {
    if (!argument.starts_with(name)) return false;
    value = argument.substr(name.size());
    return true;
}

/// A positive number; anything else leaves 0, which no order may hold.
bool take(std::string_view argument, std::string_view name, std::int64_t& value) {
    std::string digits;
    if (!take(argument, name, digits)) return false;
    value = std::max<std::int64_t>(wholeNumber<std::int64_t>(digits).value_or(0), 0);
    return true;
}

}  // namespace

std::expected<FetchOrder, std::string> FetchOrder::read(std::span<char* const> arguments) {
    namespace protocol = FetchProtocol;
    FetchOrder order;
    std::int64_t asker = 0, silence = 0;
    for (const std::string_view argument : arguments) {
        const bool isKnown =
            take(argument, protocol::build, order.build) || take(argument, protocol::asker, asker) ||
            take(argument, protocol::url, order.url) || take(argument, protocol::output, order.output) ||
            take(argument, protocol::maxBytes, order.maxBytes) || take(argument, protocol::maxSilence, silence) ||
            take(argument, protocol::authorities, order.authorities) ||
            (argument == protocol::allowHTTP && (order.allowsHTTP = true));
        if (!isKnown) return std::unexpected("unknown argument " + std::string{argument});
    }
    order.asker = static_cast<pid_t>(asker);
    order.maxSilence = std::chrono::milliseconds{silence};
    if (order.asker <= 0 || order.url.empty() || order.maxBytes <= 0 || silence <= 0) {
        return std::unexpected(
            "the arguments --asker, --url, --max-bytes and --max-silence are needed, numbers above 0");
    }
    return order;
}

}  // namespace larkmoor
