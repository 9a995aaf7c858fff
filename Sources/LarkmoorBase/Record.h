// How a record of the contract is written down: once, on one line, with everything that the codec must know of it.
//
//   LARKMOOR_RECORD(SessionLink, (std::string, id), (std::optional<std::string>, name))
//
// A field's name is its key on the wire; a field without a label is called _0, as it is there. A std::optional field is
// left out when it has no value, any other is required. A type with a comma needs an alias.
#pragma once

#include <boost/describe.hpp>
#include <boost/preprocessor/cat.hpp>
#include <boost/preprocessor/seq/enum.hpp>
#include <boost/preprocessor/seq/for_each.hpp>
#include <boost/preprocessor/seq/transform.hpp>
#include <boost/preprocessor/stringize.hpp>
#include <boost/preprocessor/tuple/elem.hpp>
#include <boost/preprocessor/variadic/to_seq.hpp>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/ClosedVariant.h"

namespace larkmoor {

/// A whole number of the contract; 64 bits wide everywhere.
using Int = std::int64_t;

/// A JSON object from text to X.
template <class X>
using TextMap = std::map<std::string, X>;

}  // namespace larkmoor

#define LARKMOOR_DECLARE_FIELD(r, data, field) BOOST_PP_TUPLE_ELEM(2, 0, field) BOOST_PP_TUPLE_ELEM(2, 1, field){};
#define LARKMOOR_FIELD_NAME(s, data, field) BOOST_PP_TUPLE_ELEM(2, 1, field)
#define LARKMOOR_FIELD_NAMES(...) \
    BOOST_PP_SEQ_ENUM(BOOST_PP_SEQ_TRANSFORM(LARKMOOR_FIELD_NAME, _, BOOST_PP_VARIADIC_TO_SEQ(__VA_ARGS__)))

/// In a struct's body: its fields, their description and equality.
#define LARKMOOR_FIELDS(Type, ...)                                                                      \
    __VA_OPT__(BOOST_PP_SEQ_FOR_EACH(LARKMOOR_DECLARE_FIELD, _, BOOST_PP_VARIADIC_TO_SEQ(__VA_ARGS__))) \
    bool operator==(const Type&) const = default;                                                       \
    BOOST_DESCRIBE_CLASS(Type, (), (__VA_OPT__(LARKMOOR_FIELD_NAMES(__VA_ARGS__))), (), ())

#define LARKMOOR_RECORD(Type, ...)         \
    struct Type {                          \
        LARKMOOR_FIELDS(Type, __VA_ARGS__) \
    };

// What a header needs that defines a closed variant through DefineVariant.inc.
