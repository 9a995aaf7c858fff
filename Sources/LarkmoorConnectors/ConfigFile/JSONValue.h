// What a JSON value says, without where it says it: for comparing contents.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "LarkmoorBase/ClosedVariant.h"

namespace larkmoor {

class JSONValue;

struct JSONValueCases {
    struct Object {
        std::map<std::string, JSONValue, std::less<>> members;
        bool operator==(const Object& other) const;
    };
    struct Array {
        std::vector<JSONValue> elements;
        bool operator==(const Array& other) const;
    };
    struct String {
        std::string text;
        bool operator==(const String&) const = default;
    };
    /// The number as the document spells it, never its worth: 1.0 and 1 differ, and no digit is lost.
    struct Number {
        std::string text;
        bool operator==(const Number&) const = default;
    };
    struct Bool {
        bool value = false;
        bool operator==(const Bool&) const = default;
    };
    struct Null {
        bool operator==(const Null&) const = default;
    };
};

/// The order of an object's members says nothing here.
class JSONValue
    : public ClosedVariant<JSONValueCases, JSONValueCases::Object, JSONValueCases::Array, JSONValueCases::String,
                           JSONValueCases::Number, JSONValueCases::Bool, JSONValueCases::Null> {
  public:
    using ClosedVariant::ClosedVariant;
};

// Both hold what is declared only now.
inline bool JSONValueCases::Object::operator==(const Object& other) const { return members == other.members; }
inline bool JSONValueCases::Array::operator==(const Array& other) const { return elements == other.elements; }

}  // namespace larkmoor
