// Fills a message, value by value. The first value that does not fit ends the writing; the rest does nothing.
#pragma once

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdint>
#include <string>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"

namespace larkmoor {

/// The message outlives the writer. `contents` are signatures as the bus writes them: "(is)" is an array's, "is" a
/// structure's.
class BusWriter {
  public:
    explicit BusWriter(const BusMessage& message) : message_(message.get()), fits_(message_ != nullptr) {}
    explicit BusWriter(BusMessage&&) = delete;
    explicit BusWriter(sd_bus_message* message) : message_(message), fits_(message_ != nullptr) {}

    /// False once a value was refused; such a message must not be sent.
    bool fits() const { return fits_; }

    /// UTF-8 without a NUL; anything else is refused.
    BusWriter& text(const std::string& value) { return characters('s', value); }
    BusWriter& path(const std::string& value) { return characters('o', value); }
    BusWriter& boolean(bool value) {
        const int truth = value ? 1 : 0;
        return basic('b', &truth);
    }
    BusWriter& int32(std::int32_t value) { return basic('i', &value); }
    BusWriter& uint32(std::uint32_t value) { return basic('u', &value); }
    BusWriter& uint64(std::uint64_t value) { return basic('t', &value); }
    /// The message keeps a duplicate. Refused before the connection stands, where the library would wait for it.
    BusWriter& descriptor(int value) {
        return check([&] {
            const int ready = sd_bus_is_ready(sd_bus_message_get_bus(message_));
            return ready > 0 ? sd_bus_message_append_basic(message_, 'h', &value) : -ENOTCONN;
        });
    }
    BusWriter& bytes(BytesView value) {
        return check([&] { return sd_bus_message_append_array(message_, 'y', value.data(), value.size()); });
    }

    /// `fill` writes the elements.
    template <class F>
    BusWriter& array(const char* contents, F&& fill) {
        return container('a', contents, fill);
    }
    template <class F>
    BusWriter& structure(const char* contents, F&& fill) {
        return container('r', contents, fill);
    }
    template <class F>
    BusWriter& variant(const char* contents, F&& fill) {
        return container('v', contents, fill);
    }
    template <class F>
    BusWriter& entry(const char* contents, F&& fill) {
        return container('e', contents, fill);
    }
    /// One entry of an a{sv}.
    template <class F>
    BusWriter& property(const std::string& key, const char* contents, F&& fill) {
        return entry("sv", [&] {
            text(key);
            variant(contents, fill);
        });
    }

  private:
    template <class F>
    BusWriter& check(F&& append) {
        if (fits_) fits_ = append() >= 0;
        return *this;
    }
    BusWriter& basic(char type, const void* value) {
        return check([&] { return sd_bus_message_append_basic(message_, type, value); });
    }
    BusWriter& characters(char type, const std::string& value) {
        return check([&] {
            if (value.find('\0') != std::string::npos) return -EINVAL;
            return sd_bus_message_append_basic(message_, type, value.c_str());
        });
    }
    template <class F>
    BusWriter& container(char type, const char* contents, F& fill) {
        check([&] { return sd_bus_message_open_container(message_, type, contents); });
        if (fits_) fill();
        return check([&] { return sd_bus_message_close_container(message_); });
    }

    sd_bus_message* message_;
    bool fits_;
};

}  // namespace larkmoor
