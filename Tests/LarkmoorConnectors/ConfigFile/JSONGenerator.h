// Documents as people, formatters and accidents leave them, and literals to put into them; repeatable by the seed.
#pragma once

#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"

namespace larkmoor::testing {

class JSONGenerator {
  public:
    JSONGenerator(unsigned seed, bool comments) : random_(seed), comments_(comments) {
        const char* const units[] = {"  ", "    ", "\t", " ", "", " \t"};
        const char* const newlines[] = {"\n", "\n", "\r\n"};
        unit_ = oneOf(units);
        newline_ = oneOf(newlines);
        layout_ = static_cast<Layout>(pick(3));
    }

    std::string document() {
        out_.clear();
        if (pick(3) == 0) gap(0);
        if (pick(8) == 0)
            value(0);
        else
            container(0);
        if (pick(2) == 0) out_ += newline_;
        if (pick(4) == 0) gap(0);
        return out_;
    }

    std::string name() {
        const char* const names[] = {
            "a",     "b", "hooks", "PreToolUse", "", "q\"\\", "na\u00efve \U0001D11E", "a name past fifteen bytes",
            "\n\x01"};
        return oneOf(names);
    }

    JSONLiteral literal(int depth = 0) {
        switch (pick(depth < 3 ? 6 : 3)) {
            case 0:
                return name();
            case 1:
                return static_cast<std::int64_t>(random_());
            case 2:
                return pick(2) == 0;
            case 3:
                return JSONLiteral::array({});
            case 4: {
                std::vector<JSONLiteral> elements;
                for (std::size_t left = pick(4); left > 0; --left) elements.push_back(literal(depth + 1));
                return JSONLiteral::array(std::move(elements));
            }
            default: {
                std::vector<JSONLiteral::Member> members;
                for (std::size_t left = pick(4); left > 0; --left) members.push_back({name(), literal(depth + 1)});
                return JSONLiteral::object(std::move(members));
            }
        }
    }

    std::size_t pick(std::size_t below) { return random_() % below; }

  private:
    enum class Layout { oneLine, spread, scattered };

    template <std::size_t N>
    const char* oneOf(const char* const (&&list)[N]) {
        return list[pick(N)];
    }
    template <std::size_t N>
    const char* oneOf(const char* const (&list)[N]) {
        return list[pick(N)];
    }

    void comment() {
        const char* const comments[] = {"// note",    "//",   "// blanks  ", "// \"a\": 1,", "// a \r b",
                                        "/* note */", "/**/", "/*\n*/",      "/* // */",     "/*/ */"};
        const std::string chosen = oneOf(comments);
        out_ += chosen;
        if (!chosen.starts_with("//")) return;
        if (pick(8) == 0)
            out_ += "\r\r\n";
        else
            out_ += newline_;
    }

    /// What may stand anywhere between two tokens.
    void gap(int level) {
        if (layout_ == Layout::scattered) {
            const char* const blanks[] = {"", " ", "\t", "\n", "\r\n", "\r", "  \n  "};
            for (std::size_t left = pick(4); left > 0; --left) {
                if (comments_ && pick(4) == 0)
                    comment();
                else
                    out_ += oneOf(blanks);
            }
        } else if (comments_ && pick(6) == 0) {
            if (pick(2) == 0) out_ += ' ';
            comment();
            if (layout_ == Layout::spread && pick(2) == 0) line(level);
        } else if (pick(3) == 0) {
            out_ += ' ';
        }
    }

    void line(int level) {
        for (std::size_t left = pick(12) == 0 ? 2 : 1; left > 0; --left) out_ += newline_;
        while (level-- > 0) out_ += unit_;
    }

    /// What stands before a child or a closing bracket.
    void startOfChild(int level) {
        if (layout_ != Layout::spread || pick(15) == 0) return gap(level);
        if (comments_ && pick(6) == 0) gap(level);
        line(level);
        if (comments_ && pick(8) == 0) {
            comment();
            line(level);
        }
    }

    void container(int level) {
        const bool object = pick(3) != 0;
        out_ += object ? '{' : '[';
        const std::size_t count = pick(4) == 0 ? 0 : pick(5);
        if (count == 0 && pick(2) == 0) gap(level);
        for (std::size_t index = 0; index < count; ++index) {
            if (index > 0) {
                gap(level);
                out_ += ',';
            }
            startOfChild(level + 1);
            if (object) {
                out_ += spelled(name());
                gap(level + 1);
                out_ += ':';
                gap(level + 1);
            }
            value(level + 1);
        }
        if (count > 0) startOfChild(level);
        out_ += object ? '}' : ']';
    }

    void value(int level) {
        if (level < 60 && (level < 4 ? pick(3) == 0 : pick(9) == 0)) return container(level);
        if (level == 2 && pick(40) == 0) {
            out_ += std::string(61, '[') + std::string(61, ']');
        } else if (pick(3) == 0) {
            out_ += spelled(name());
        } else if (pick(3) == 0) {
            out_ += oneOf({"true", "false", "null"});
        } else {
            number();
        }
    }

    /// Every way in which one is spelled: a sign, digits, a fraction, an exponent with its own sign.
    void number() {
        const auto digits = [this] { return oneOf({"0", "5", "00", "123456789012345678901234567890"}); };
        out_ += oneOf({"", "", "-"});
        out_ += oneOf({"0", "7", "10", "123456789012345678901234567890"});
        if (pick(3) == 0) out_.append(".").append(digits());
        if (pick(4) == 0) out_.append(oneOf({"e", "E", "e+", "E+", "e-", "E-"})).append(digits());
    }

    /// One of the spellings of a text.
    std::string spelled(const std::string& text) {
        std::string quoted = JSONLiteral::quote(text);
        if (pick(4) != 0) return quoted;
        quoted.pop_back();
        const char* const escapes[] = {"\\u0061", "\\/", "\\ud83d\\ude00", "\\uFFFF", "\\\"", "\\u0000"};
        return quoted + oneOf(escapes) + "\"";
    }

    std::mt19937 random_;
    bool comments_;
    Layout layout_ = Layout::oneLine;
    std::string unit_, newline_, out_;
};

}  // namespace larkmoor::testing
