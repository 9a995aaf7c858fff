// What the JSON reader and writer share: which types have a JSON form, and why reading or writing one failed.
#pragma once

#include <boost/describe.hpp>
#include <concepts>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "LarkmoorBase/RawText.h"

namespace larkmoor {

/// `path` names the place from the outside in: "cards[3].id"; an unlabelled payload adds nothing to it.
struct [[nodiscard]] CodingFailure {
    std::string path;
    std::string reason;

    /// "{path}: {reason}", or the reason alone for the whole document.
    std::string description() const { return path.empty() ? reason : path + ": " + reason; }

    bool operator==(const CodingFailure&) const = default;
};

// How the reader and the writer tell types apart. A type that is none of these, and no scalar, does not compile.

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
concept DescribedVariant = requires {
    { T::variantName } -> std::convertible_to<std::string_view>;
    typename T::Alternatives;
};

/// A record or the payload of a case; see Record.h.
template <class T>
concept DescribedRecord = std::is_class_v<T> && boost::describe::has_describe_members<T>::value && !DescribedVariant<T>;

/// The fields of a record in declared order, each with a `name` and a member `pointer`.
template <DescribedRecord T>
using FieldsOf = boost::describe::describe_members<T, boost::describe::mod_public>;

/// The key of an unlabelled payload. It stands in the document, but means nothing to a person.
inline constexpr std::string_view unlabelled = "_0";

/// To be specialised for a type whose JSON form does not follow from its description, with the two functions
///   static bool read(Decoder& decoder, const FlatNode& node, T& out);
///   static void write(Encoder& encoder, const T& value);
template <class T>
struct OwnJSONForm;

template <class T>
concept HasOwnJSONForm = requires { sizeof(OwnJSONForm<T>); };

/// To be specialised for a closed variant that refuses an object with no key, or with several, in words of its own:
///   static std::string reason(const FlatNode& object);
template <class V>
struct WrongKeyCount;

template <class V>
concept HasWrongKeyCountReason = requires { sizeof(WrongKeyCount<V>); };

}  // namespace larkmoor
