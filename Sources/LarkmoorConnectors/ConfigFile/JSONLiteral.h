// The JSON values that the program writes into files. There are no nulls and no fractions, because the program never
// writes them.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"

namespace larkmoor {

/// How a literal is laid out.
struct RenderStyle {
    bool spread = false;         ///< containers spread over lines, or all on one line
    std::string newline = "\n";  ///< between the lines

    bool operator==(const RenderStyle&) const = default;
};

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

/// Converts from text, whole numbers and bools: JSONLiteral::object({{"type", "command"}, {"timeout", 10}}).
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

    /// The value that a reader of the rendered text gets; of members with the same name the last one counts.
    JSONValue value() const;

    /// The literal's text. `indent` is that of the line on which the literal begins, `unit` what each level adds;
    /// neither matters where containers do not spread.
    std::string render(std::string_view indent, std::string_view unit, const RenderStyle& style) const;

    /// A JSON string of the text, with its quotes; escapes only what JSON requires.
    static std::string quote(std::string_view text);
};

struct JSONLiteralCases::Member {
    std::string key;
    JSONLiteral value;
    bool operator==(const Member&) const = default;
};

}  // namespace larkmoor
