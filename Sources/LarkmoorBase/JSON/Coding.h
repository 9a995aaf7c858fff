// What the JSON reader and writer share: which types have a JSON form, how a caller wants a document read and laid out,
// and why reading or writing failed.
//
//   a record                  an object with one member for each field (Record.h)
//   a closed variant          an object whose single key is the case's wire name, over the case's own fields
//   an enum with raw text     the name of its case (RawText.h)
//   a vector; a set           an array; a set's texts are sorted by their bytes
//   a map from text           an object
//   Int, int32_t, double      a number; whole doubles have no fraction, and only finite ones have a form
//   Bytes; Date               base64; the number of seconds since 2001
#pragma once

#include <boost/describe.hpp>
#include <concepts>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "LarkmoorBase/RawText.h"

namespace larkmoor {

class Decoder;
class Encoder;
struct FlatNode;

/// What becomes of a document in which some object holds the same name twice. Either way a member that no field names
/// is skipped, an optional field may be absent or null, and any other field that is missing or does not fit its type
/// fails the whole document.
enum class Strictness {
    lenient,  ///< the last member of that name counts
    strict,   ///< the document is refused, even if a skipped member holds that object
};

enum class Layout {
    compact,  ///< no blanks
    pretty,   ///< a line for each member and element, two blanks for each level, a line feed at the end
};

/// `path` names the place from the outside in: "cards[3].id"; an unlabelled payload adds nothing to it.
struct [[nodiscard]] CodingFailure {
    std::string path;
    std::string reason;

    /// "{path}: {reason}", or the reason alone for the whole document.
    std::string description() const { return path.empty() ? reason : path + ": " + reason; }

    bool operator==(const CodingFailure&) const = default;
};

// How the reader and the writer tell types apart. A type that is none of these, and not a scalar, does not compile.

template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;

template <class T>
inline constexpr bool isList = false;
template <class T>
inline constexpr bool isList<std::vector<T>> = true;

template <class T>
inline constexpr bool isTextSet = false;
template <class T>
inline constexpr bool isTextSet<std::set<T>> = std::same_as<T, std::string> || RawText<T>;

template <class T>
inline constexpr bool isTextMap = false;
template <class T>
inline constexpr bool isTextMap<std::map<std::string, T>> = true;

/// See DefineVariant.inc.
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

/// The key of an unlabelled payload; paths in failures leave it out.
inline constexpr std::string_view unlabelled = "_0";

/// Specialise it for a type whose JSON form does not follow from its description, in the header that defines the type,
/// so that every reader and writer sees it. Either both of
///   static bool read(Decoder& decoder, const FlatNode& node, T& out);
///   static void write(Encoder& encoder, const T& value);
/// or, for a closed variant, its own words for an object that has no key or several:
///   static std::string wrongKeyCount(const FlatNode& object);
template <class T>
struct JSONForm {};

template <class T>
concept HasOwnJSONForm = requires {
    &JSONForm<T>::read;
    &JSONForm<T>::write;
};

template <class V>
concept HasWrongKeyCountReason = requires { &JSONForm<V>::wrongKeyCount; };

}  // namespace larkmoor
