// Which types the codec carries, and how it tells them apart. Every other type is a compile-time error.
#pragma once

#include <boost/describe.hpp>

#include <concepts>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "LarkmoorWire/Codec/RawText.h"

namespace larkmoor {

template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;

template <class T>
inline constexpr bool isList = false;
template <class T>
inline constexpr bool isList<std::vector<T>> = true;

template <class T>
inline constexpr bool isTextMap = false;
template <class T>
inline constexpr bool isTextMap<std::map<std::string, T>> = true;

/// A closed variant of the contract; see DefineVariant.inc.
template <class T>
concept WireVariant = requires {
    { T::variantName } -> std::convertible_to<std::string_view>;
    typename T::Alternatives;
};

/// A record or the payload of a case; see Record.h.
template <class T>
concept WireRecord = std::is_class_v<T> && boost::describe::has_describe_members<T>::value && !WireVariant<T>;

/// The fields of a record in declared order, each with a `name` and a member `pointer`.
template <WireRecord T>
using FieldsOf = boost::describe::describe_members<T, boost::describe::mod_public>;

/// The key of an unlabelled payload. It stands in the document, but means nothing to a person.
inline constexpr std::string_view unlabelled = "_0";

}  // namespace larkmoor
