// Takes a message apart, value by value. The first value of another type ends the reading; the rest reads as nothing.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <string_view>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"

namespace larkmoor {

/// The message outlives the reader and every view that it gives. A message is read once, from its beginning.
class BusReader {
  public:
    explicit BusReader(const BusMessage& message) : BusReader(message.get()) {}
    explicit BusReader(BusMessage&&) = delete;
    explicit BusReader(sd_bus_message* message) : message_(message), fits_(message_ != nullptr) {}

    /// False once a value was of another type than asked, or missing.
    bool fits() const { return fits_; }

    std::string_view text() { return characters('s'); }
    std::string_view path() { return characters('o'); }
    bool boolean() { return basic<int>('b') != 0; }
    std::int32_t int32() { return basic<std::int32_t>('i'); }
    std::uint32_t uint32() { return basic<std::uint32_t>('u'); }
    std::int64_t int64() { return basic<std::int64_t>('x'); }
    std::uint64_t uint64() { return basic<std::uint64_t>('t'); }
    /// The message's own descriptor, -1 for none; who keeps it takes a duplicate.
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

    /// Calls `read` for each element; it takes exactly one.
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
    /// Calls `read(std::string_view contents)` with the signature of what the variant holds; it takes that, or `skip`s.
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
    /// Calls `read(std::string_view key, std::string_view contents)` for each entry of an a{sv}; it takes the value, or
    /// `skip`s it.
    template <class F>
    void properties(F&& read) {
        array("{sv}", [&] {
            entry("sv", [&] {
                const std::string_view key = text();
                if (fits_) variant([&](std::string_view contents) { read(key, contents); });
            });
        });
    }

    /// Passes over the next value, whatever it is.
    void skip() {
        check([&] { return sd_bus_message_skip(message_, nullptr); });
    }
    /// For a caller who finds that a value of the right type says nothing useful.
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

}  // namespace larkmoor
