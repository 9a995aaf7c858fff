// Guards a race in which exactly one may win. Any thread.
#pragma once

#include <mutex>
#include <utility>

namespace larkmoor {

class OneShot {
  public:
    /// True for whoever comes first, false for all others.
    bool take() {
        const std::lock_guard held{lock_};
        return !std::exchange(taken_, true);
    }

  private:
    std::mutex lock_;
    bool taken_ = false;
};

}  // namespace larkmoor
