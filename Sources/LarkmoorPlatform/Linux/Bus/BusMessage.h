// D-Bus messages, errors, registrations and match rules: sd-bus objects with C++ lifetimes.
#pragma once

#include <systemd/sd-bus.h>

#include <expected>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace larkmoor {

/// An error reply, or a local failure. `name` is a D-Bus error name; `message` is for a log.
struct [[nodiscard]] BusError {
    std::string name;
    std::string message;

    /// "{name}: {message}"
    std::string description() const { return name + ": " + message; }

    bool operator==(const BusError&) const = default;
};

namespace BusErrorName {

inline constexpr std::string_view accessDenied = "org.freedesktop.DBus.Error.AccessDenied";
inline constexpr std::string_view disconnected = "org.freedesktop.DBus.Error.Disconnected";
inline constexpr std::string_view failed = "org.freedesktop.DBus.Error.Failed";
inline constexpr std::string_view limitsExceeded = "org.freedesktop.DBus.Error.LimitsExceeded";
inline constexpr std::string_view nameHasNoOwner = "org.freedesktop.DBus.Error.NameHasNoOwner";
/// Ours, for a name that another connection owns; what the bus library calls it.
inline constexpr std::string_view nameTaken = "System.Error.EEXIST";
inline constexpr std::string_view noReply = "org.freedesktop.DBus.Error.NoReply";
inline constexpr std::string_view serviceUnknown = "org.freedesktop.DBus.Error.ServiceUnknown";

}  // namespace BusErrorName

/// A reference-counted message; the last reference frees it and closes the descriptors that it received. Empty if the
/// bus could not create it, and then sending fails. Main thread.
class BusMessage {
  public:
    BusMessage() = default;
    /// Takes over the caller's reference.
    static BusMessage adopting(sd_bus_message* message) { return BusMessage{message}; }
    /// Adds a reference, as a handler needs that replies later.
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
    /// The unique name of the sender, which the bus guarantees; empty if there is none.
    std::string sender() const {
        const char* name = message_ == nullptr ? nullptr : sd_bus_message_get_sender(message_);
        return name == nullptr ? std::string{} : std::string{name};
    }

    /// The reply to a method call, to be filled and sent.
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

using BusResult = std::expected<BusMessage, BusError>;

class BusPump;

/// A registration with the bus: a pending call, a match, a filter or an exported object. Destroying it ends the
/// registration and frees its callback; it may be destroyed inside that callback, and after its bus. Main thread.
class [[nodiscard]] BusSlot {
  public:
    BusSlot() = default;
    BusSlot(sd_bus_slot* slot, std::weak_ptr<BusPump> pump) : slot_(slot), pump_(std::move(pump)) {}
    /// A registration that failed, and whose failure is reported in a later turn unless `isCancelled` is set.
    explicit BusSlot(std::shared_ptr<bool> isCancelled) : isCancelled_(std::move(isCancelled)) {}
    BusSlot(BusSlot&& other) noexcept
        : slot_(std::exchange(other.slot_, nullptr)),
          pump_(std::move(other.pump_)),
          isCancelled_(std::move(other.isCancelled_)) {}
    BusSlot& operator=(BusSlot&& other) noexcept {
        if (this != &other) {
            reset();
            slot_ = std::exchange(other.slot_, nullptr);
            pump_ = std::move(other.pump_);
            isCancelled_ = std::move(other.isCancelled_);
        }
        return *this;
    }
    BusSlot(const BusSlot&) = delete;
    BusSlot& operator=(const BusSlot&) = delete;
    ~BusSlot() { reset(); }

    void reset();
    /// Lets the registration last until it is done or the bus is closed.
    void detach();

  private:
    sd_bus_slot* slot_ = nullptr;
    std::weak_ptr<BusPump> pump_;
    std::shared_ptr<bool> isCancelled_;
};

/// Builds a match rule. Values must not hold quotes or backslashes, which the bus and its library parse differently.
/// `BusMatch{}.interface("a.b").member("C").argument(0, "x").rule()`
class BusMatch {
  public:
    BusMatch& sender(std::string_view name) { return add("sender", name); }
    BusMatch& path(std::string_view path) { return add("path", path); }
    BusMatch& interface(std::string_view name) { return add("interface", name); }
    BusMatch& member(std::string_view name) { return add("member", name); }
    BusMatch& argument(int index, std::string_view text) { return add("arg" + std::to_string(index), text); }

    const std::string& rule() const { return rule_; }

  private:
    BusMatch& add(std::string_view key, std::string_view value) {
        rule_.append(",").append(key).append("='").append(value).append("'");
        return *this;
    }

    std::string rule_ = "type='signal'";
};

}  // namespace larkmoor
