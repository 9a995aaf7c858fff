#include "LarkmoorConnectors/ConfigFile/JSONKind.h"

#include <memory>

#include "LarkmoorConnectors/ConfigFile/JSONNode.h"

namespace larkmoor {

namespace {

/// A block of items: their number and then themselves.
template <class T>
struct Block {
    static_assert(alignof(T) <= alignof(std::size_t));

    static void* make(std::size_t count) {
        void* block = ::operator new(sizeof count + count * sizeof(T));
        std::memcpy(block, &count, sizeof count);
        return block;
    }

    static T* items(void* block) { return reinterpret_cast<T*>(static_cast<std::byte*>(block) + sizeof(std::size_t)); }

    static std::span<const T> view(void* block) {
        if (block == nullptr) return {};
        std::size_t count = 0;
        std::memcpy(&count, block, sizeof count);
        return {items(block), count};
    }

    static void* copy(void* block) {
        const auto from = view(block);
        if (from.empty()) return nullptr;
        void* copied = make(from.size());
        std::uninitialized_copy(from.begin(), from.end(), items(copied));
        return copied;
    }

    static void drop(void* block) {
        if (block == nullptr) return;
        std::destroy_n(items(block), view(block).size());
        ::operator delete(block);
    }
};

}  // namespace

JSONKind JSONKind::objectTakingTail(std::vector<JSONName>& names, std::size_t firstName, std::vector<JSONNode>& values,
                                    std::size_t firstValue) {
    const std::size_t count = values.size() - firstValue;
    if (count == 0) return {nullptr, object};
    void* block = Block<JSONMember>::make(count);
    JSONMember* members = Block<JSONMember>::items(block);
    for (std::size_t index = 0; index < count; ++index) {
        new (members + index) JSONMember{std::move(names[firstName + index]), std::move(values[firstValue + index])};
    }
    names.erase(names.begin() + static_cast<std::ptrdiff_t>(firstName), names.end());
    values.erase(values.begin() + static_cast<std::ptrdiff_t>(firstValue), values.end());
    return {block, object};
}

JSONKind JSONKind::arrayTakingTail(std::vector<JSONNode>& values, std::size_t first) {
    if (first == values.size()) return {nullptr, array};
    const auto tail = values.begin() + static_cast<std::ptrdiff_t>(first);
    void* block = Block<JSONNode>::make(values.size() - first);
    std::uninitialized_move(tail, values.end(), Block<JSONNode>::items(block));
    values.erase(tail, values.end());
    return {block, array};
}

std::span<const JSONMember> JSONKind::members() const { return Block<JSONMember>::view(block()); }
std::span<const JSONNode> JSONKind::elements() const { return Block<JSONNode>::view(block()); }

void JSONKind::copyList(const JSONKind& other) {
    hold(other.mark() == object ? Block<JSONMember>::copy(other.block()) : Block<JSONNode>::copy(other.block()),
         other.mark());
}

void JSONKind::dropList() {
    if (mark() == object)
        Block<JSONMember>::drop(block());
    else
        Block<JSONNode>::drop(block());
}

}  // namespace larkmoor
