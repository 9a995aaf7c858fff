// One registration with the bus: a call under way, a match, a filter, an object.
#pragma once

#include <systemd/sd-bus.h>

#include <memory>
#include <utility>

namespace larkmoor {

class BusPump;

/// Ends its registration when it is destroyed: its callback is not called after that, and what it holds is freed. May
/// be destroyed inside that callback, and after its bus. Main thread.
class [[nodiscard]] BusSlot {
  public:
    BusSlot() = default;
    BusSlot(sd_bus_slot* slot, std::weak_ptr<BusPump> pump) : slot_(slot), pump_(std::move(pump)) {}
    /// A registration that failed and whose word of that is still on its way.
    explicit BusSlot(std::shared_ptr<bool> unwanted) : unwanted_(std::move(unwanted)) {}
    BusSlot(BusSlot&& other) noexcept
        : slot_(std::exchange(other.slot_, nullptr)),
          pump_(std::move(other.pump_)),
          unwanted_(std::move(other.unwanted_)) {}
    BusSlot& operator=(BusSlot&& other) noexcept {
        if (this != &other) {
            reset();
            slot_ = std::exchange(other.slot_, nullptr);
            pump_ = std::move(other.pump_);
            unwanted_ = std::move(other.unwanted_);
        }
        return *this;
    }
    BusSlot(const BusSlot&) = delete;
    BusSlot& operator=(const BusSlot&) = delete;
    ~BusSlot() { reset(); }

    void reset();
    /// Leaves the registration to the bus: it lasts until it is done or the bus is closed.
    void detach();

  private:
    sd_bus_slot* slot_ = nullptr;
    std::weak_ptr<BusPump> pump_;
    std::shared_ptr<bool> unwanted_;
};

}  // namespace larkmoor
