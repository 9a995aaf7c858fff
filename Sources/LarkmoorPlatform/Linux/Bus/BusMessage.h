// One message of the bus, counted: the last holder frees it, and closes the descriptors that it brought.
#pragma once

#include <systemd/sd-bus.h>

#include <cerrno>
#include <expected>
#include <string>
#include <string_view>
#include <utility>

#include "LarkmoorPlatform/Linux/Bus/BusError.h"

namespace larkmoor {

/// Empty where the bus could not make the message; sending an empty one fails like any other sending. Main thread.
class BusMessage {
  public:
    BusMessage() = default;
    /// Takes over the caller's reference.
    static BusMessage adopting(sd_bus_message* message) { return BusMessage{message}; }
    /// Adds a reference of its own, as a handler does that answers later.
    static BusMessage retaining(sd_bus_message* message) { return BusMessage{sd_bus_message_ref(message)}; }

    BusMessage(const BusMessage& other) : message_(sd_bus_message_ref(other.message_)) {}
    BusMessage(BusMessage&& other) noexcept : message_(std::exchange(other.message_, nullptr)) {}
    BusMessage& operator=(BusMessage other) noexcept {
        std::swap(message_, other.message_);
        return *this;
    }
    ~BusMessage() { sd_bus_message_unref(message_); }

    sd_bus_message* get() const { return message_; }
    explicit operator bool() const { return message_ != nullptr; }

    bool hasSignature(const char* signature) const {
        return message_ != nullptr && sd_bus_message_has_signature(message_, signature) > 0;
    }
    /// The unique name of whoever sent it, as the bus vouches for it; empty where it names none.
    std::string sender() const {
        const char* name = message_ == nullptr ? nullptr : sd_bus_message_get_sender(message_);
        return name == nullptr ? std::string{} : std::string{name};
    }

    /// The answer to a method call, to be filled and sent.
    static BusMessage methodReturn(const BusMessage& call) {
        sd_bus_message* reply = nullptr;
        if (call) sd_bus_message_new_method_return(call.get(), &reply);
        return adopting(reply);
    }
    static BusMessage methodError(const BusMessage& call, const BusError& error) {
        sd_bus_message* reply = nullptr;
        if (call) sd_bus_message_new_method_errorf(call.get(), &reply, error.name.c_str(), "%s", error.message.c_str());
        return adopting(reply);
    }

  private:
    explicit BusMessage(sd_bus_message* message) : message_(message) {}

    sd_bus_message* message_ = nullptr;
};

/// A reply, or why there is none.
using BusResult = std::expected<BusMessage, BusError>;

}  // namespace larkmoor
