// A value to be written into a JSON file. There is no null and no fraction: the program never writes either.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorConnectors/ConfigFile/JSONValue.h"
#include "LarkmoorConnectors/ConfigFile/RenderStyle.h"

namespace larkmoor {

class JSONLiteral;

struct JSONLiteralCases {
    struct Member;

    /// In the order in which the members are to land in the file.
    struct Object {
        std::vector<Member> members;
        bool operator==(const Object& other) const;
    };
    struct Array {
        std::vector<JSONLiteral> elements;
        bool operator==(const Array& other) const;
    };
    struct String {
        std::string text;
        bool operator==(const String&) const = default;
    };
    struct Number {
        std::int64_t value = 0;
        bool operator==(const Number&) const = default;
    };
    struct Bool {
        bool value = false;
        bool operator==(const Bool&) const = default;
    };
};

/// A text, a whole number and a bool are taken for the literals that they are:
/// JSONLiteral::object({{"type", "command"}, {"timeout", 10}}).
class JSONLiteral : public ClosedVariant<JSONLiteralCases, JSONLiteralCases::Object, JSONLiteralCases::Array,
                                         JSONLiteralCases::String, JSONLiteralCases::Number, JSONLiteralCases::Bool> {
  public:
    using ClosedVariant::ClosedVariant;

    template <std::convertible_to<std::string_view> Text>
    JSONLiteral(const Text& text) : ClosedVariant(String{std::string{std::string_view{text}}}) {}
    template <std::integral Whole>
        requires(!std::same_as<Whole, bool>)
    JSONLiteral(Whole number) : ClosedVariant(Number{static_cast<std::int64_t>(number)}) {}
    template <std::same_as<bool> Flag>
    JSONLiteral(Flag flag) : ClosedVariant(Bool{flag}) {}

    static JSONLiteral object(std::vector<Member> members);
    static JSONLiteral array(std::vector<JSONLiteral> elements);

    /// The value that a reader of the literal's text has; of members with one name the last one counts.
    JSONValue value() const;

    /// The literal's text. `indent` is that of the line on which it begins, `unit` what each level adds; both matter
    /// only where containers spread.
    std::string render(std::string_view indent, std::string_view unit, const RenderStyle& style) const;

    /// The text as a JSON string, quotes included: escaped where JSON wants it, otherwise raw.
    static std::string quote(std::string_view text);
};

struct JSONLiteralCases::Member {
    std::string key;
    JSONLiteral value;
    bool operator==(const Member&) const = default;
};

}  // namespace larkmoor
