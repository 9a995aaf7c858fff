// What holds of every document and every edit, tried on made-up documents of all layouts.
#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <random>

#include "LarkmoorConnectors/ConfigFile/JSONGuarantees.h"

namespace larkmoor {
namespace {

using testing::Broken;

/// Documents as people, formatters and accidents leave them, and literals to put into them; repeatable by the seed.
class Generator {
  public:
    Generator(unsigned seed, bool comments) : random_(seed), comments_(comments) {
        unit_ = oneOf({"  ", "    ", "\t", " ", "", " \t"});
        newline_ = oneOf({"\n", "\n", "\r\n"});
        layout_ = static_cast<Layout>(pick(3));
    }

    std::string document() {
        if (pick(3) == 0) gap();
        if (pick(8) == 0)
            value(0);
        else
            container(0);
        if (pick(2) == 0) out_ += newline_;
        if (pick(4) == 0) gap();
        return std::move(out_);
    }

    std::string name() {
        return oneOf({"a", "b", "hooks", "PreToolUse", "", "q\"\\", "na\u00efve \U0001D11E",
                      "a name past fifteen bytes", "\n\x01"});
    }

    JSONLiteral literal(int depth = 0) {
        std::vector<JSONLiteral> elements;
        std::vector<JSONLiteral::Member> members;
        switch (pick(depth < 3 ? 5 : 3)) {
            case 0:
                return name();
            case 1:
                return static_cast<std::int64_t>(random_());
            case 2:
                return pick(2) == 0;
            case 3:
                for (std::size_t left = pick(4); left > 0; --left) elements.push_back(literal(depth + 1));
                return JSONLiteral::array(std::move(elements));
            default:
                for (std::size_t left = pick(4); left > 0; --left) members.push_back({name(), literal(depth + 1)});
                return JSONLiteral::object(std::move(members));
        }
    }

    std::vector<std::int64_t> quotes;  ///< where the strings of the document open

    std::size_t pick(std::size_t below) { return random_() % below; }
    std::string oneOf(std::initializer_list<const char*> list) { return list.begin()[pick(list.size())]; }

  private:
    enum class Layout { oneLine, spread, scattered };

    void comment() {
        const std::string chosen = oneOf({"// note", "//", "// blanks  ", "// \"a\": 1,", "// a \r b", "/* note */",
                                          "/**/", "/*\n*/", "/* // */", "/*/ */"});
        out_ += chosen;
        if (chosen.starts_with("//")) out_ += pick(8) == 0 ? "\r\r\n" : newline_;
    }

    /// What may stand anywhere between two tokens.
    void gap() {
        if (layout_ == Layout::scattered) {
            for (std::size_t left = pick(4); left > 0; --left) {
                if (comments_ && pick(4) == 0)
                    comment();
                else
                    out_ += oneOf({"", " ", "\t", "\n", "\r\n", "\r", "  \n  "});
            }
        } else {
            out_ += oneOf({"", "", " "});
            if (comments_ && pick(6) == 0) comment();
        }
    }

    void line(int level) {
        for (std::size_t left = pick(12) == 0 ? 2 : 1; left > 0; --left) out_ += newline_;
        while (level-- > 0) out_ += unit_;
    }

    /// What stands before a child or a closing bracket.
    void startOfChild(int level) {
        if (layout_ != Layout::spread || pick(15) == 0) return gap();
        if (comments_ && pick(6) == 0) gap();
        line(level);
        if (!comments_ || pick(8) != 0) return;
        comment();
        line(level);
    }

    void container(int level) {
        const bool object = pick(3) != 0;
        out_ += object ? '{' : '[';
        const std::size_t count = pick(4) == 0 ? 0 : pick(5);
        if (count == 0 && pick(2) == 0) gap();
        for (std::size_t index = 0; index < count; ++index) {
            if (index > 0) {
                gap();
                out_ += ',';
            }
            startOfChild(level + 1);
            if (object) {
                string();
                gap();
                out_ += ':';
                gap();
            }
            value(level + 1);
        }
        if (count > 0) startOfChild(level);
        out_ += object ? '}' : ']';
    }

    void value(int level) {
        if (level < 60 && (level < 4 ? pick(3) == 0 : pick(9) == 0)) return container(level);
        if (level == 2 && pick(40) == 0)
            out_ += std::string(61, '[') + std::string(61, ']');
        else if (pick(3) == 0)
            string();
        else
            out_ += pick(3) == 0 ? oneOf({"true", "false", "null"}) : number();
    }

    /// Every way in which one is spelled: a sign, digits, a fraction, an exponent with its own sign.
    std::string number() {
        const auto digits = [this] { return oneOf({"0", "5", "00", "123456789012345678901234567890"}); };
        std::string number = oneOf({"", "", "-"}) + oneOf({"0", "7", "10", "123456789012345678901234567890"});
        if (pick(3) == 0) number += "." + digits();
        if (pick(4) == 0) number += oneOf({"e", "E", "e+", "E+", "e-", "E-"}) + digits();
        return number;
    }

    /// One of the spellings of a text.
    void string() {
        quotes.push_back(std::ssize(out_));
        out_ += JSONLiteral::quote(name());
        if (pick(4) != 0) return;
        out_.pop_back();
        out_ += oneOf({"\\u0061", "\\/", "\\ud83d\\ude00", "\\uFFFF", "\\\"", "\\u0000"}) + "\"";
    }

    std::mt19937 random_;
    bool comments_;
    Layout layout_ = Layout::oneLine;
    std::string unit_, newline_, out_;
};

constexpr unsigned documents = 4000;

class JSONDocuments : public ::testing::TestWithParam<bool> {
  protected:
    JSONDialect dialect() const { return testing::dialectOf(GetParam()); }

    /// Shows what is broken in the document that a seed makes, with the document.
    template <class Check>
    void tryAll(Check check) const {
        for (unsigned seed = 0; seed < documents; ++seed) {
            Generator generator{seed, GetParam()};
            const std::string text = generator.document();
            const auto scan = JSONText::scanWithTrivia(asBytes(text), dialect());
            ASSERT_TRUE(scan) << "seed " << seed << ": " << scan.error().description() << "\n" << text;
            const Broken broken = check(text, *scan, generator);
            ASSERT_FALSE(broken) << "seed " << seed << ": " << *broken << "\n" << text;
        }
    }
};

TEST_P(JSONDocuments, NodesTileTheDocument) {
    tryAll([](const std::string& text, const JSONScan& scan, Generator&) {
        return testing::Tiling{asBytes(text), scan}.broken();
    });
}

TEST_P(JSONDocuments, WhatIsSetIsReadAndARemovalLeavesTheRest) {
    tryAll([this](const std::string& text, const JSONScan& scan, Generator& generator) {
        const testing::EditGuarantees guarantees{asBytes(text), scan, dialect()};
        const std::string name = generator.pick(2) == 0 ? "a name of our own" : generator.name();
        return guarantees.ofEveryPlace(name, generator.literal(), text.size());
    });
}

TEST_P(JSONDocuments, ALoneSurrogateIsRefusedAtItsStringByScansAndEdits) {
    unsigned tried = 0;
    tryAll([&](const std::string& text, const JSONScan&, Generator& generator) -> Broken {
        if (generator.quotes.empty()) return std::nullopt;
        const std::int64_t quote = generator.quotes[generator.pick(generator.quotes.size())];
        std::string damaged = text;
        damaged.insert(static_cast<std::size_t>(quote) + 1,
                       generator.oneOf({"\\ud83d", "\\uDE00", "\\uDBFF\\u0041", "\\ude00\\ude01", "\\uD800 "}));
        const auto want = JSONTextError::unreadable(quote, "a string holds an unpaired surrogate");
        if (JSONText::scanWithTrivia(asBytes(damaged), dialect()).error() != want) return "the scan says other words";
        const auto edited = JSONEdit::setMember(asBytes(damaged), {}, "k", 1, dialect());
        if (edited || edited.error().description() != want.description()) return "the edit says other words";
        ++tried;
        return std::nullopt;
    });
    EXPECT_GT(tried, documents / 2) << "the documents hold too few strings";
}

INSTANTIATE_TEST_SUITE_P(Dialects, JSONDocuments, ::testing::Bool(),
                         [](const auto& suite) { return suite.param ? "WithComments" : "Strict"; });

/// An independent reader accepts the same documents, cut and damaged ones included.
TEST(JSONProperties, AnotherParserAgreesOnWhatIsJSON) {
    boost::json::parse_options options;
    options.max_depth = 64;
    for (unsigned seed = 0; seed < documents; ++seed) {
        Generator generator{seed, false};
        std::string text = generator.document();
        text.insert(generator.pick(text.size() + 1),
                    generator.oneOf({"", ",", "\"", "}", "0", "\xff", "\\", "u12", "e", "-", "\t"}));
        if (seed % 3 == 0) text.resize(generator.pick(text.size() + 1));
        boost::system::error_code fault;
        boost::json::parse(text, fault, {}, options);
        // That one refuses exponents beyond an int, and counts levels in its own way.
        if (fault == boost::json::error::too_deep || fault == boost::json::error::exponent_overflow) continue;
        const auto scan = JSONText::scanWithTrivia(asBytes(text), JSONDialect::strict);
        ASSERT_EQ(scan.has_value(), !fault)
            << "seed " << seed << ": " << fault.message() << " " << (scan ? "" : scan.error().description()) << "\n"
            << text;
    }
}

}  // namespace
}  // namespace larkmoor
