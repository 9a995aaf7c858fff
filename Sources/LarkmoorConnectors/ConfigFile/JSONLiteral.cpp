#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"

#include <fmt/format.h>

#include <utility>

namespace larkmoor {

bool JSONLiteralCases::Object::operator==(const Object& other) const { return members == other.members; }
bool JSONLiteralCases::Array::operator==(const Array& other) const { return elements == other.elements; }

JSONLiteral JSONLiteral::object(std::vector<Member> members) { return Object{std::move(members)}; }
JSONLiteral JSONLiteral::array(std::vector<JSONLiteral> elements) { return Array{std::move(elements)}; }

JSONValue JSONLiteral::value() const {
    return visit(
        [](const Object& object) -> JSONValue {
            JSONValue::Object result;
            for (const Member& member : object.members)
                result.members.insert_or_assign(member.key, member.value.value());
            return result;
        },
        [](const Array& array) -> JSONValue {
            JSONValue::Array result;
            for (const JSONLiteral& element : array.elements) result.elements.push_back(element.value());
            return result;
        },
        [](const String& string) -> JSONValue { return JSONValue::String{string.text}; },
        [](const Number& number) -> JSONValue { return JSONValue::Number{std::to_string(number.value)}; },
        [](const Bool& flag) -> JSONValue { return JSONValue::Bool{flag.value}; });
}

namespace {

/// Appends a literal and what it holds, one level deeper at each container.
class Renderer {
  public:
    Renderer(std::string_view indent, std::string_view unit, const RenderStyle& style)
        : indent_(indent), unit_(unit), style_(style) {}

    void put(const JSONLiteral& literal) {
        literal.visit(
            [this](const JSONLiteral::Object& object) {
                container('{', object.members, '}', [this](const JSONLiteral::Member& member) {
                    out_ += JSONLiteral::quote(member.key);
                    out_ += style_.spread ? ": " : ":";
                    put(member.value);
                });
            },
            [this](const JSONLiteral::Array& array) {
                container('[', array.elements, ']', [this](const JSONLiteral& element) { put(element); });
            },
            [this](const JSONLiteral::String& string) { out_ += JSONLiteral::quote(string.text); },
            [this](const JSONLiteral::Number& number) { out_ += std::to_string(number.value); },
            [this](const JSONLiteral::Bool& flag) { out_ += flag.value ? "true" : "false"; });
    }

    std::string take() { return std::move(out_); }

  private:
    template <class Items, class Put>
    void container(char opening, const Items& items, char closing, Put putItem) {
        out_ += opening;
        if (!items.empty()) {
            indent_ += unit_;
            bool first = true;
            for (const auto& item : items) {
                if (!std::exchange(first, false)) out_ += ',';
                breakLine();
                putItem(item);
            }
            indent_.resize(indent_.size() - unit_.size());
            breakLine();
        }
        out_ += closing;
    }

    void breakLine() {
        if (!style_.spread) return;
        out_ += style_.newline;
        out_ += indent_;
    }

    std::string out_;
    std::string indent_;
    std::string_view unit_;
    const RenderStyle& style_;
};

}  // namespace

std::string JSONLiteral::render(std::string_view indent, std::string_view unit, const RenderStyle& style) const {
    Renderer renderer{indent, unit, style};
    renderer.put(*this);
    return renderer.take();
}

std::string JSONLiteral::quote(std::string_view text) {
    std::string quoted = "\"";
    for (const char byte : text) {
        switch (byte) {
            case '\b':
                quoted += "\\b";
                break;
            case '\t':
                quoted += "\\t";
                break;
            case '\n':
                quoted += "\\n";
                break;
            case '\f':
                quoted += "\\f";
                break;
            case '\r':
                quoted += "\\r";
                break;
            case '"':
                quoted += "\\\"";
                break;
            case '\\':
                quoted += "\\\\";
                break;
            default:
                // Bytes beyond ASCII belong to a character that is copied raw.
                if (static_cast<unsigned char>(byte) < ' ')
                    quoted += fmt::format("\\u{:04x}", static_cast<int>(byte));
                else
                    quoted += byte;
        }
    }
    return quoted + '"';
}

}  // namespace larkmoor
