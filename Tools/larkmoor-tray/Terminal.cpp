#include "Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

namespace larkmoor::tray {

namespace {

void put(const std::string& codes) {
    std::fputs(codes.c_str(), stdout);
    std::fflush(stdout);
}

}  // namespace

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

bool Terminal::isThere() { return ::isatty(STDIN_FILENO) != 0 && ::isatty(STDOUT_FILENO) != 0; }

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

}  // namespace larkmoor::tray
