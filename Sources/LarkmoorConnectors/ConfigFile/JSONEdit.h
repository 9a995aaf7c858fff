// Changes members and elements of a JSON document that belongs to another application, and leaves every other byte as
// it is. Each edit plans on the document's tree, replaces bytes, and reads the result in the same dialect: that proves
// the edit and is the next document. What the document means is not checked. Nothing is written to disk; any thread.
#pragma once

#include <cstdint>
#include <expected>
#include <span>
#include <string>
#include <string_view>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor {

struct JSONEditErrorCases {
    struct NotAnObject {
        JSONPath path;
        bool operator==(const NotAnObject&) const = default;
    };
    struct NotAnArray {
        JSONPath path;
        bool operator==(const NotAnArray&) const = default;
    };
    struct NoSuchMember {
        JSONPath path;
        std::string key;
        bool operator==(const NoSuchMember&) const = default;
    };
    struct NoSuchElement {
        JSONPath path;
        std::int64_t index = 0;
        bool operator==(const NoSuchElement&) const = default;
    };
};

/// Why the edit is impossible in this document. The first two cases are also the errors for a path that does not exist.
class [[nodiscard]] JSONEditError
    : public ClosedVariant<JSONEditErrorCases, JSONEditErrorCases::NotAnObject, JSONEditErrorCases::NotAnArray,
                           JSONEditErrorCases::NoSuchMember, JSONEditErrorCases::NoSuchElement> {
  public:
    using ClosedVariant::ClosedVariant;

    /// What is missing and where, for the user.
    std::string description() const;
};

struct JSONEditFailureCases {};

/// Why an edit failed: a JSONTextError where the document, or the result of the edit, does not scan; otherwise a
/// JSONEditError.
class [[nodiscard]] JSONEditFailure : public ClosedVariant<JSONEditFailureCases, JSONTextError, JSONEditError> {
  public:
    using ClosedVariant::ClosedVariant;

    /// The description of the error, for the user.
    std::string description() const {
        return visit([](const JSONTextError& error) { return error.description(); },
                     [](const JSONEditError& error) { return error.description(); });
    }
};

namespace JSONEdit {

using Result = std::expected<JSONDocument, JSONEditFailure>;

/// Gives the member of the object at the path a new value, or adds it after the others.
Result setMember(const JSONDocument& document, const JSONPath& at, std::string_view key, const JSONLiteral& to);

/// Removes the member from the object at the path; comments beside it and in it stay.
Result removeMember(const JSONDocument& document, const JSONPath& at, std::string_view key);

// The functions below work only on documents without comments; otherwise they fail with the error of the strict
// dialect.

/// Adds an element after the others of the array at the path.
Result appendElement(const JSONDocument& document, const JSONPath& at, const JSONLiteral& literal);

/// Inserts an element after the one with this index, which must exist, in the array at the path.
Result insertElement(const JSONDocument& document, const JSONPath& at, std::int64_t after, const JSONLiteral& literal);

/// Replaces the element by the literal.
Result replaceElement(const JSONDocument& document, const JSONPath& at, std::int64_t index, const JSONLiteral& literal);

/// Removes the element from the array at the path.
Result removeElement(const JSONDocument& document, const JSONPath& at, std::int64_t index);

/// Removes members and elements in one edit with one scan. Each item is the path of one member or element in this
/// document, in any order. The bytes are those that `removeMember` and `removeElement` leave when they remove the items
/// one after the other in the order of the file: so an object or array whose items are all removed becomes empty and
/// stays. An item inside another one, or given twice, adds nothing. A path that leads to no item fails the whole edit.
Result removeAll(const JSONDocument& document, std::span<const JSONPath> items);

}  // namespace JSONEdit

}  // namespace larkmoor
