// Enums with raw text: an enum class described once, so that the text of a case is its name.
//
//   BOOST_DEFINE_ENUM_CLASS(RuleOrigin, shipped, user)
#pragma once

#include <boost/describe.hpp>

#include <optional>
#include <string_view>
#include <type_traits>

namespace larkmoor {

/// An enum class that Boost.Describe knows.
template <class E>
concept RawText = std::is_enum_v<E> && boost::describe::has_describe_enumerators<E>::value;

/// The case's name; static storage.
template <RawText E>
constexpr std::string_view rawText(E value) {
    std::string_view text;
    boost::mp11::mp_for_each<boost::describe::describe_enumerators<E>>([&](auto enumerator) {
        if (enumerator.value == value) text = enumerator.name;
    });
    return text;
}

/// The case of exactly that name, or nullopt.
template <RawText E>
constexpr std::optional<E> fromRawText(std::string_view text) {
    std::optional<E> value;
    boost::mp11::mp_for_each<boost::describe::describe_enumerators<E>>([&](auto enumerator) {
        if (text == enumerator.name) value = enumerator.value;
    });
    return value;
}

}  // namespace larkmoor
