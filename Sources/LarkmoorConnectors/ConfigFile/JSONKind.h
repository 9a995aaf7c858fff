// What a JSON node is, and what it holds: a closed variant in sixteen bytes, since a document makes many.
#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorConnectors/ConfigFile/CompactText.h"

namespace larkmoor {

struct JSONName;
struct JSONNode;
struct JSONMember;

/// Owns what it holds; the cases are views of that, valid as long as the kind is, unmoved.
class JSONKind : CompactText {
  public:
    /// In document order, duplicates included.
    struct Object {
        std::span<const JSONMember> members;
    };
    /// In document order.
    struct Array {
        std::span<const JSONNode> elements;
    };
    /// Decoded.
    struct String {
        std::string_view text;
    };
    struct Bool {
        bool value = false;
    };
    /// Its text is what stands in the node's byte range.
    struct Number {};
    struct Null {};

    JSONKind() : JSONKind(Null{}) {}
    explicit JSONKind(String string) : CompactText(string.text) {}
    explicit JSONKind(Bool flag) : JSONKind(nullptr, flag.value ? yes : no) {}
    explicit JSONKind(Number) : JSONKind(nullptr, number) {}
    explicit JSONKind(Null) : JSONKind(nullptr, null) {}

    /// An object of the names and the values from there on, which are as many and leave the vectors.
    static JSONKind objectTakingTail(std::vector<JSONName>& names, std::size_t firstName, std::vector<JSONNode>& values,
                                     std::size_t firstValue);
    /// An array of the values from `first` on, which leave the vector.
    static JSONKind arrayTakingTail(std::vector<JSONNode>& values, std::size_t first);

    JSONKind(const JSONKind& other) : CompactText(other) {
        if (other.isList()) copyList(other);
    }
    JSONKind(JSONKind&& other) noexcept : CompactText(std::move(other)) {}
    JSONKind& operator=(JSONKind other) noexcept {
        swap(other);
        return *this;
    }
    ~JSONKind() {
        if (isList()) dropList();
    }

    template <class Case>
    bool is() const {
        return as<Case>().has_value();
    }

    /// What is held if this is the case, otherwise nothing.
    template <class Case>
    std::optional<Case> as() const {
        return visit([](const auto& held) -> std::optional<Case> {
            if constexpr (std::same_as<std::remove_cvref_t<decltype(held)>, Case>) return held;
            return std::nullopt;
        });
    }

    /// Calls the function of the case held; every case needs one.
    template <class... F>
    decltype(auto) visit(F&&... functions) const {
        const Overloaded visitor{std::forward<F>(functions)...};
        switch (mark()) {
            case object:
                return visitor(Object{members()});
            case array:
                return visitor(Array{elements()});
            case no:
                return visitor(Bool{false});
            case yes:
                return visitor(Bool{true});
            case number:
                return visitor(Number{});
            case null:
                return visitor(Null{});
            default:
                return visitor(String{view()});
        }
    }

  private:
    enum Mark : char { object = onHeap + 1, array, no, yes, number, null };

    JSONKind(void* items, Mark mark) : CompactText(items, mark) {}

    bool isList() const { return mark() == object || mark() == array; }
    std::span<const JSONMember> members() const;
    std::span<const JSONNode> elements() const;
    void copyList(const JSONKind& other);
    void dropList();
};

}  // namespace larkmoor
