// Described records: a struct whose fields are written down once, with all that the JSON reader and writer must know.
//
//   LARKMOOR_RECORD(SessionLink, (std::string, id), (std::optional<std::string>, name))
//
// A field's name is its key; a field without a label is called _0. A std::optional field is left out when it has no
// value, any other is required. A type with a comma needs an alias.
#pragma once

#include <boost/describe.hpp>
#include <boost/preprocessor/cat.hpp>
#include <boost/preprocessor/seq/enum.hpp>
#include <boost/preprocessor/seq/for_each.hpp>
#include <boost/preprocessor/seq/transform.hpp>
#include <boost/preprocessor/stringize.hpp>
#include <boost/preprocessor/tuple/elem.hpp>
#include <boost/preprocessor/variadic/to_seq.hpp>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorBase/RawText.h"

namespace larkmoor {

/// A whole number of a document; 64 bits wide everywhere.
using Int = std::int64_t;

/// Seconds since 2001-01-01T00:00:00Z. Kept as that number, so that reading and writing it loses nothing.
struct Date {
    double secondsSinceReference = 0;

    using Clock = std::chrono::system_clock;
    static constexpr std::chrono::sys_seconds reference{std::chrono::sys_days{std::chrono::year{2001} / 1 / 1}};

    /// To the microsecond or so, for a date of our time.
    static Date from(Clock::time_point moment) { return {std::chrono::duration<double>(moment - reference).count()}; }
    Clock::time_point timePoint() const {
        return Clock::time_point{reference} +
               std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(secondsSinceReference));
    }

    bool operator==(const Date&) const = default;
};

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

/// In one source file: what a variant that is defined with LARKMOOR_COMPILED_ONCE leaves to it.
#define LARKMOOR_COMPILE(Variant)                                                   \
    Variant::Variant() = default;                                                   \
    Variant::Variant(const Variant&) = default;                                     \
    Variant::Variant(Variant&&) noexcept = default;                                 \
    Variant& Variant::operator=(const Variant&) = default;                          \
    Variant& Variant::operator=(Variant&&) noexcept = default;                      \
    Variant::~Variant() = default;                                                  \
    bool operator==(const Variant& left, const Variant& right) {                    \
        using Cases = Variant::ClosedVariant;                                       \
        return static_cast<const Cases&>(left) == static_cast<const Cases&>(right); \
    }
