#include "LarkmoorKit/Models/LocalModelsDoor.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <boost/asio/this_coro.hpp>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/Timers.h"
#include "LarkmoorPlatform/DistributedNotifications.h"
#include "LarkmoorWire/Identity/ClientInstance.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"

namespace larkmoor::LocalModelsDoor {

std::string receiptPath(std::string_view support) {
    return ClientInstance::supportRoot(support) + "/local-models-cancelled";
}

void postCancel(DistributedNotifications& notifications) { notifications.post(cancelNotification, std::nullopt, {}); }

void writeReceipt(const std::string& path) {
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    static_cast<void>(
        ClientStoreMode::write(asBytes(fmt::format("cancelled at {:%Y-%m-%d %H:%M:%S} +0000\n", now)), path));
}

Task<bool> awaitReceipt(std::string path, std::chrono::milliseconds timeout, std::chrono::milliseconds every) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    MainTimer pause{co_await boost::asio::this_coro::executor};
    while (!Files::exists(path)) {
        if (std::chrono::steady_clock::now() >= deadline) co_return false;
        pause.expires_after(every);
        co_await pause.async_wait(awaiting);
    }
    co_return true;
}

}  // namespace larkmoor::LocalModelsDoor
