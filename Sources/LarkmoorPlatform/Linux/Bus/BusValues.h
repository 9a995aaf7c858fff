// Reading and writing the values of D-Bus messages.
#pragma once

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"

namespace larkmoor {

/// Reads a message value by value. At the first value of an unexpected type it stops, and everything after that reads
/// as empty. The message must outlive the reader and all views that it returns; it is read once, from its beginning.
class BusReader {
  public:
    explicit BusReader(const BusMessage& message) : BusReader(message.get()) {}
    explicit BusReader(BusMessage&&) = delete;
    explicit BusReader(sd_bus_message* message) : message_(message), fits_(message_ != nullptr) {}

    /// False once a value was missing or of another type than asked.
    bool fits() const { return fits_; }

    std::string_view text() { return characters('s'); }
    std::string_view path() { return characters('o'); }
    bool boolean() { return basic<int>('b') != 0; }
    std::int32_t int32() { return basic<std::int32_t>('i'); }
    std::uint32_t uint32() { return basic<std::uint32_t>('u'); }
    std::int64_t int64() { return basic<std::int64_t>('x'); }
    std::uint64_t uint64() { return basic<std::uint64_t>('t'); }
    /// Owned by the message, -1 for none; duplicate it to keep it.
    int descriptor() {
        const int value = basic<int>('h');
        return fits_ ? value : -1;
    }
    BytesView bytes() {
        const void* data = nullptr;
        std::size_t size = 0;
        check([&] { return sd_bus_message_read_array(message_, 'y', &data, &size); });
        return fits_ ? BytesView{static_cast<const std::byte*>(data), size} : BytesView{};
    }

    /// Calls `read` for each element, which it must consume.
    template <class F>
    void array(const char* contents, F&& read) {
        if (!enter('a', contents)) return;
        while (fits_ && !atEnd()) read();
        leave();
    }
    template <class F>
    void structure(const char* contents, F&& read) {
        if (!enter('r', contents)) return;
        read();
        leave();
    }
    template <class F>
    void entry(const char* contents, F&& read) {
        if (!enter('e', contents)) return;
        read();
        leave();
    }
    /// Calls `read(std::string_view contents)` with the signature of the variant's value, which it must read or `skip`.
    template <class F>
    void variant(F&& read) {
        const char* contents = nullptr;
        char type = 0;
        check([&] { return sd_bus_message_peek_type(message_, &type, &contents); });
        if (!fits_ || type != 'v') return fail();
        const std::string_view signature{contents};
        if (!enter('v', contents)) return;
        read(signature);
        leave();
    }
    /// Calls `read(std::string_view key, std::string_view contents)` for each entry of an a{sv}; it must read or `skip`
    /// the value.
    template <class F>
    void properties(F&& read) {
        array("{sv}", [&] {
            entry("sv", [&] {
                const std::string_view key = text();
                if (fits_) variant([&](std::string_view contents) { read(key, contents); });
            });
        });
    }

    /// Skips the next value of any type.
    void skip() {
        check([&] { return sd_bus_message_skip(message_, nullptr); });
    }
    /// For a caller who finds a value of the right type invalid.
    void fail() { fits_ = false; }

  private:
    template <class F>
    void check(F&& step) {
        if (fits_) fits_ = step() > 0;
    }
    template <class T>
    T basic(char type) {
        T value{};
        check([&] { return sd_bus_message_read_basic(message_, type, static_cast<void*>(&value)); });
        return fits_ ? value : T{};
    }
    std::string_view characters(char type) {
        const char* value = basic<const char*>(type);
        return value == nullptr ? std::string_view{} : std::string_view{value};
    }
    bool enter(char type, const char* contents) {
        check([&] { return sd_bus_message_enter_container(message_, type, contents); });
        return fits_;
    }
    void leave() {
        if (fits_) fits_ = sd_bus_message_exit_container(message_) >= 0;
    }
    bool atEnd() { return sd_bus_message_at_end(message_, 0) != 0; }

    sd_bus_message* message_;
    bool fits_;
};

/// Appends values to a message. After the first value that is refused it appends nothing more. The message must outlive
/// the writer. `contents` are D-Bus signatures: "(is)" for an array of structures, "is" for one structure.
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
    BusWriter& byte(std::uint8_t value) { return basic('y', &value); }
    BusWriter& int32(std::int32_t value) { return basic('i', &value); }
    BusWriter& uint32(std::uint32_t value) { return basic('u', &value); }
    BusWriter& uint64(std::uint64_t value) { return basic('t', &value); }
    /// The message keeps a duplicate. Refused before the connection is ready, since the library would block for it.
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
