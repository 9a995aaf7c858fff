// Closed variant: std::variant whose cases are named structs, each with its own data.
#pragma once

#include <concepts>
#include <type_traits>
#include <utility>
#include <variant>

namespace larkmoor {

/// One visitor made of several functions, one for each case.
template <class... F>
struct Overloaded : F... {
    using F::operator()...;
};
template <class... F>
Overloaded(F...) -> Overloaded<F...>;

/// `Scope` holds the case structs, so that they are named through the variant: ControlRequest::Pause. The default is
/// the first case; only decoding uses it.
template <class Scope, class... Cases>
class ClosedVariant : public Scope {
  public:
    using Alternatives = std::variant<Cases...>;

    ClosedVariant() = default;

    template <class Case>
        requires(std::same_as<std::remove_cvref_t<Case>, Cases> || ...)
    ClosedVariant(Case&& held) : held_(std::forward<Case>(held)) {}

    template <class Case>
    bool is() const {
        return std::holds_alternative<Case>(held_);
    }

    /// The case's data if this is the case held, otherwise null; valid as long as the variant is not changed.
    template <class Case>
    const Case* as() const {
        return std::get_if<Case>(&held_);
    }

    /// Calls the function for the case that is held; every case needs one.
    template <class... F>
    decltype(auto) visit(F&&... functions) const {
        return std::visit(Overloaded{std::forward<F>(functions)...}, held_);
    }

    /// Replaces what was held by an empty case.
    template <class Case>
    Case& emplace() {
        return held_.template emplace<Case>();
    }

    friend bool operator==(const ClosedVariant& left, const ClosedVariant& right) { return left.held_ == right.held_; }

  private:
    Alternatives held_;
};

}  // namespace larkmoor
