#include "LarkmoorPlatform/Linux/Messaging/BusDistributedNotifications.h"

#include <utility>

#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"

namespace larkmoor {

namespace {

constexpr const char* member = "Posted";
constexpr const char* signature = "ssa{ss}";
// Our notifications are small; a larger dictionary is not one of them.
constexpr std::size_t maxEntries = 64;

class BusToken final : public DistributedNotifications::Token {
  public:
    explicit BusToken(BusSlot slot) : slot_(std::move(slot)) {}

  private:
    BusSlot slot_;
};

void deliver(const BusMessage& message, const DistributedNotifications::Handler& handler) {
    if (!message.hasSignature(signature)) return;
    BusReader reader{message};
    reader.text();
    const std::string object{reader.text()};
    DistributedNotifications::Info info;
    reader.array("{ss}", [&] {
        reader.entry("ss", [&] {
            if (info.size() == maxEntries) return reader.fail();
            std::string key{reader.text()};
            info.insert_or_assign(std::move(key), std::string{reader.text()});
        });
    });
    if (reader.fits()) handler(object.empty() ? std::nullopt : std::optional{object}, std::move(info));
}

}  // namespace

void BusDistributedNotifications::post(const std::string& name, const std::optional<std::string>& object,
                                       const Info& info) {
    const BusMessage signal = bus_.signal(objectPath, interface, member);
    BusWriter writer{signal};
    writer.text(name).text(object.value_or("")).array("{ss}", [&] {
        for (const auto& [key, value] : info) {
            writer.entry("ss", [&] { writer.text(key).text(value); });
        }
    });
    if (writer.fits()) bus_.send(signal);
}

std::unique_ptr<DistributedNotifications::Token> BusDistributedNotifications::observe(const std::string& name,
                                                                                      Handler handler) {
    // The bus filters by name, so that other notifications wake nobody.
    const auto rule = BusMatch{}.interface(interface).member(member).argument(0, name);
    return std::make_unique<BusToken>(bus_.match(
        rule.rule(), [handler = std::move(handler)](const BusMessage& message) { deliver(message, handler); }));
}

}  // namespace larkmoor
