// The terminal for as long as we draw on all of it: a second screen, keys as they are pressed, and all as it was after.
#pragma once

#include <termios.h>

#include <string>
#include <utility>
#include <vector>

namespace larkmoor::tray {

class Terminal {
  public:
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Whether both ends are a terminal at all.
    static bool isThere();

    /// Columns and rows.
    std::pair<int, int> size() const;
    void draw(const std::vector<std::string>& lines);

  private:
    termios before_{};
};

}  // namespace larkmoor::tray
