// The rule of a match, written from its parts.
#pragma once

#include <string>
#include <string_view>

namespace larkmoor {

/// Values hold no quote and no backslash, of which the bus and its library think differently.
/// `BusMatch{}.interface("a.b").member("C").argument(0, "x").rule()`
class BusMatch {
  public:
    BusMatch& sender(std::string_view name) { return add("sender", name); }
    BusMatch& path(std::string_view path) { return add("path", path); }
    BusMatch& interface(std::string_view name) { return add("interface", name); }
    BusMatch& member(std::string_view name) { return add("member", name); }
    BusMatch& argument(int index, std::string_view text) { return add("arg" + std::to_string(index), text); }

    const std::string& rule() const { return rule_; }

  private:
    BusMatch& add(std::string_view key, std::string_view value) {
        rule_.append(",").append(key).append("='").append(value).append("'");
        return *this;
    }

    std::string rule_ = "type='signal'";
};

}  // namespace larkmoor
