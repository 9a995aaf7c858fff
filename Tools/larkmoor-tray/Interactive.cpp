#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>

#include <array>
#include <csignal>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Commands.h"
#include "Screen.h"

namespace larkmoor::tray {

namespace {

void put(const std::string& codes) {
    std::fputs(codes.c_str(), stdout);
    std::fflush(stdout);
}

/// The terminal in full-screen mode; the destructor restores its state.
class Terminal {
  public:
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Columns and rows.
    std::pair<int, int> size() const;
    void draw(const std::vector<std::string>& lines);

  private:
    termios before_{};
};

Terminal::Terminal() {
    ::tcgetattr(STDIN_FILENO, &before_);
    termios raw = before_;
    // Ctrl-C stays a signal.
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    ::tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    put("\x1b[?1049h\x1b[?25l");
}

Terminal::~Terminal() {
    put("\x1b[?25h\x1b[?1049l");
    ::tcsetattr(STDIN_FILENO, TCSANOW, &before_);
}

std::pair<int, int> Terminal::size() const {
    winsize window{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) != 0 || window.ws_col == 0 || window.ws_row == 0) return {80, 24};
    return {window.ws_col, window.ws_row};
}

void Terminal::draw(const std::vector<std::string>& lines) {
    std::string picture = "\x1b[H";
    for (std::size_t line = 0; line < lines.size(); ++line)
        picture += (line == 0 ? "" : "\r\n") + lines[line] + "\x1b[K";
    put(picture + "\x1b[J");
}

using Clock = std::chrono::steady_clock;

/// Items consider a menu closed after a while without events.
constexpr std::chrono::seconds keepOpen{10};

/// Collects keyboard input until the screen takes it.
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

Task<void> perform(ScreenAction action, std::optional<ItemView> item, TrayHost& host) {
    if (!item) co_return;
    switch (action.kind) {
        case ScreenAction::Kind::open:
            static_cast<void>(co_await host.aboutToShow(*item));
            static_cast<void>(co_await host.event(*item, 0, "opened"));
            co_return;
        case ScreenAction::Kind::click:
            static_cast<void>(co_await host.event(*item, action.row, "clicked"));
            static_cast<void>(co_await host.event(*item, 0, "closed"));
            co_return;
        case ScreenAction::Kind::close:
            static_cast<void>(co_await host.event(*item, 0, "closed"));
            co_return;
        case ScreenAction::Kind::hover:
            static_cast<void>(co_await host.event(*item, action.row, "hovered"));
            co_return;
        case ScreenAction::Kind::nothing:
        case ScreenAction::Kind::quit:
            co_return;
    }
}

}  // namespace

bool isTerminal() { return ::isatty(STDIN_FILENO) != 0 && ::isatty(STDOUT_FILENO) != 0; }

Task<int> runInteractive(MainLoop& loop, TrayHost& host, Changes& changes) {
    Terminal terminal;
    Screen screen;
    Keyboard keyboard{loop, [&] { changes.notify(); }};
    boost::asio::signal_set resized{loop, SIGWINCH};
    std::function<void()> followSize = [&] {
        resized.async_wait([&](boost::system::error_code failed, int) {
            if (failed) return;
            changes.notify();
            followSize();
        });
    };
    followSize();
    for (auto lastEvent = Clock::now();;) {
        screen.show(host.items());
        for (const KeyPress press : readKeys(keyboard.take())) {
            const std::optional<ItemView> item =
                screen.item() == nullptr ? std::nullopt : std::optional{*screen.item()};
            const ScreenAction action = screen.press(press);
            if (action.kind == ScreenAction::Kind::quit) {
                if (screen.isOpen()) co_await perform({.kind = ScreenAction::Kind::close}, item, host);
                co_return 0;
            }
            co_await perform(action, item, host);
            lastEvent = Clock::now();
        }
        if (keyboard.isGone()) co_return 0;
        if (screen.isOpen() && Clock::now() - lastEvent >= keepOpen) {
            co_await perform({.kind = ScreenAction::Kind::hover, .row = 0}, *screen.item(), host);
            lastEvent = Clock::now();
        }
        const auto [columns, rows] = terminal.size();
        terminal.draw(screen.lines(columns, rows));
        co_await changes.wait(screen.isOpen() ? lastEvent + keepOpen : Clock::time_point::max());
    }
}

}  // namespace larkmoor::tray
