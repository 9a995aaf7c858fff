// Whether the door was ever answered. Shared between what asks and what answers; any thread.
#pragma once

#include <mutex>

namespace larkmoor {

class DoorHistory {
  public:
    bool connected() const {
        const std::lock_guard held{lock_};
        return connected_;
    }
    /// At the first answered request; it never goes back.
    void markConnected() {
        const std::lock_guard held{lock_};
        connected_ = true;
    }

  private:
    mutable std::mutex lock_;
    bool connected_ = false;
};

}  // namespace larkmoor
