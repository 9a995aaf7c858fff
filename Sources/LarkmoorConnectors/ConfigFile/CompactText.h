// An unchanging text in sixteen bytes: a short one, as most names in a configuration file are, costs no allocation.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <utility>

namespace larkmoor {

/// Owns its bytes. A view of it lives as long as this very object, unmoved: a short text moves with it.
class CompactText {
  public:
    CompactText() = default;

    explicit CompactText(std::string_view text) {
        if (text.size() > inlineCapacity) {
            hold(newBlock(text), onHeap);
            return;
        }
        if (!text.empty()) std::memcpy(bytes_.data(), text.data(), text.size());
        bytes_[inlineCapacity] = static_cast<char>(text.size());
    }

    CompactText(const CompactText& other) : bytes_(other.bytes_) {
        if (other.mark() == onHeap) hold(newBlock(other.view()), onHeap);
    }
    CompactText(CompactText&& other) noexcept : bytes_(std::exchange(other.bytes_, {})) {}
    CompactText& operator=(CompactText other) noexcept {
        swap(other);
        return *this;
    }
    ~CompactText() {
        if (mark() == onHeap) ::operator delete(block());
    }

    std::string_view view() const {
        if (mark() != onHeap) return {bytes_.data(), static_cast<std::size_t>(mark())};
        std::size_t size = 0;
        std::memcpy(&size, block(), sizeof size);
        return {static_cast<const char*>(block()) + sizeof size, size};
    }
    operator std::string_view() const { return view(); }

    friend bool operator==(const CompactText& left, std::string_view right) { return left.view() == right; }

  protected:
    // The last byte tells a short text's length. Higher marks are for those who build on this: with a mark above
    // `onHeap` the other bytes are theirs, copied and moved as they stand.
    static constexpr char inlineCapacity = 15;
    static constexpr char onHeap = inlineCapacity + 1;

    CompactText(void* block, char mark) { hold(block, mark); }

    void swap(CompactText& other) noexcept { std::swap(bytes_, other.bytes_); }

    char mark() const { return bytes_[inlineCapacity]; }

    void* block() const {
        void* block = nullptr;
        std::memcpy(static_cast<void*>(&block), bytes_.data(), sizeof block);
        return block;
    }

    void hold(void* block, char mark) {
        std::memcpy(bytes_.data(), static_cast<const void*>(&block), sizeof block);
        bytes_[inlineCapacity] = mark;
    }

  private:
    /// A length and that many characters.
    static void* newBlock(std::string_view text) {
        const std::size_t size = text.size();
        char* block = static_cast<char*>(::operator new(sizeof size + size));
        std::memcpy(block, &size, sizeof size);
        std::memcpy(block + sizeof size, text.data(), size);
        return block;
    }

    std::array<char, inlineCapacity + 1> bytes_ = {};
};

}  // namespace larkmoor
