#include "Interactive.h"

#include <unistd.h>

#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>

#include <array>
#include <csignal>
#include <functional>
#include <optional>
#include <string>

#include "Screen.h"
#include "Terminal.h"

namespace larkmoor::tray {

namespace {

using Clock = std::chrono::steady_clock;

/// An item takes a menu for closed that nobody has spoken of for a while.
constexpr std::chrono::seconds keepOpen{10};

/// Gathers what the keyboard sends between two turns of the screen.
class Keyboard {
  public:
    Keyboard(MainLoop& loop, std::function<void()> pressed)
        : input_(loop, ::dup(STDIN_FILENO)), pressed_(std::move(pressed)) {
        read();
    }

    std::string take() { return std::exchange(bytes_, {}); }
    bool isGone() const { return isGone_; }

  private:
    void read() {
        input_.async_read_some(boost::asio::buffer(room_), [this](boost::system::error_code failed, std::size_t count) {
            if (failed == boost::asio::error::operation_aborted) return;
            isGone_ = static_cast<bool>(failed);
            bytes_.append(room_.data(), count);
            pressed_();
            if (!isGone_) read();
        });
    }

    boost::asio::posix::stream_descriptor input_;
    std::function<void()> pressed_;
    std::array<char, 64> room_{};
    std::string bytes_;
    bool isGone_ = false;
};

Task<void> obey(ScreenAsks asks, std::optional<ItemView> item, TrayHost& host) {
    if (!item) co_return;
    switch (asks.what) {
        case ScreenAsks::What::open:
            static_cast<void>(co_await host.aboutToShow(*item));
            static_cast<void>(co_await host.event(*item, 0, "opened"));
            co_return;
        case ScreenAsks::What::click:
            static_cast<void>(co_await host.event(*item, asks.row, "clicked"));
            static_cast<void>(co_await host.event(*item, 0, "closed"));
            co_return;
        case ScreenAsks::What::close:
            static_cast<void>(co_await host.event(*item, 0, "closed"));
            co_return;
        case ScreenAsks::What::hover:
            static_cast<void>(co_await host.event(*item, asks.row, "hovered"));
            co_return;
        case ScreenAsks::What::nothing:
        case ScreenAsks::What::quit:
            co_return;
    }
}

}  // namespace

Task<int> runInteractive(MainLoop& loop, TrayHost& host, Changes& changes) {
    Terminal terminal;
    Screen screen;
    Keyboard keyboard{loop, [&] { changes.happened(); }};
    boost::asio::signal_set resized{loop, SIGWINCH};
    std::function<void()> followSize = [&] {
        resized.async_wait([&](boost::system::error_code failed, int) {
            if (failed) return;
            changes.happened();
            followSize();
        });
    };
    followSize();
    for (auto lastWord = Clock::now();;) {
        screen.show(host.items());
        for (const KeyPress press : readKeys(keyboard.take())) {
            const std::optional<ItemView> item =
                screen.item() == nullptr ? std::nullopt : std::optional{*screen.item()};
            const ScreenAsks asks = screen.press(press);
            if (asks.what == ScreenAsks::What::quit) {
                if (screen.isOpen()) co_await obey({.what = ScreenAsks::What::close}, item, host);
                co_return 0;
            }
            co_await obey(asks, item, host);
            lastWord = Clock::now();
        }
        if (keyboard.isGone()) co_return 0;
        if (screen.isOpen() && Clock::now() - lastWord >= keepOpen) {
            co_await obey({.what = ScreenAsks::What::hover, .row = 0}, *screen.item(), host);
            lastWord = Clock::now();
        }
        const auto [columns, rows] = terminal.size();
        terminal.draw(screen.lines(columns, rows));
        co_await changes.next(screen.isOpen() ? lastWord + keepOpen : Clock::time_point::max());
    }
}

}  // namespace larkmoor::tray
