// What JSONGuarantees.h asks, of generated documents in every layout; the fuzz targets ask it of any bytes.
#include <boost/json.hpp>
#include <random>

#include "LarkmoorConnectors/ConfigFile/JSONGuarantees.h"

namespace larkmoor::testing {
namespace {

/// Repeatable by its seed.
class Generator {
  public:
    Generator(unsigned seed, bool comments) : random_(seed), comments_(comments) {
        newline_ = oneOf({"\n", "\n", "\r\n"});
        blanks_ = pick(3);
    }

    std::string document() { return gap() + value(0) + gap(); }
    std::size_t pick(std::size_t below) { return random_() % below; }
    std::string oneOf(std::initializer_list<const char*> list) { return list.begin()[pick(list.size())]; }

  private:
    /// White space and comments, as one line, indented lines or anything.
    std::string gap() {
        if (comments_ && pick(8) == 0) return comment();
        if (blanks_ == 0) return oneOf({"", "", " "});
        if (blanks_ == 1) return newline_ + oneOf({"", "  ", "    ", "\t", newline_.c_str()});
        return oneOf({"", " ", "\t", "\n", "\r\n", "\r", "  \n  "});
    }

    std::string comment() {
        if (pick(2) == 0) return oneOf({"/* note */", "/**/", "/*\n*/", "/* // */", " /*/ */ "});
        return oneOf({"// note", " //", "// blanks  ", "// \"a\": 1,", "// a \r b"}) + oneOf({"\r", "", ""}) + newline_;
    }

    std::string string() {
        return oneOf({R"("a")", R"("b")", R"("hooks")", R"("")", R"("q\"\\")", R"("\u0061")", R"("\ud83d\ude00\/")",
                      "\"na\u00efve \U0001D11E\"", R"("a text past sixteen bytes, and past thirty-two too")"});
    }

    std::string value(int level) {
        if (level > 5 || (level > 0 && pick(2) == 0)) {
            return pick(3) == 0 ? string() : oneOf({"0", "-7.50", "1e5", "12345678901234567890", "true", "null"});
        }
        const bool object = pick(2) == 0;
        std::string text = (object ? "{" : "[") + gap();
        for (std::size_t left = pick(5), count = left; left > 0; --left) {
            if (left < count) text += "," + gap();
            if (object) text += string() + gap() + ":" + gap();
            text += value(level + 1) + gap();
        }
        return text + (object ? "}" : "]");
    }

    std::mt19937 random_;
    bool comments_;
    std::size_t blanks_ = 0;
    std::string newline_;
};

constexpr unsigned documents = 1500;

TEST(JSONGenerated, ScansAndEditsKeepTheirGuarantees) {
    const JSONLiteral literal = JSONLiteral::object({{"x\n", JSONLiteral::array({1, "y"})}});
    for (unsigned seed = 0; seed < documents; ++seed) {
        Generator generator{seed, seed % 2 == 0};
        const std::string text = generator.document();
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + text);
        const auto document = JSONDocument::read(asBytes(text), dialectOf(seed % 2 == 0));
        ASSERT_TRUE(document) << document.error().description();
        ASSERT_EQ(Tiling{*document}.broken(), std::nullopt);
        const EditGuarantees guarantees{*document};
        ASSERT_EQ(guarantees.ofEveryPlace(seed % 3 == 0 ? "q\"\\" : "a new name", literal, text.size()), std::nullopt);
        const std::size_t oneIn = 1 + generator.pick(4);
        ASSERT_EQ(guarantees.ofRemovingAll([&] { return generator.pick(oneIn) == 0; }), std::nullopt);
    }
}

/// An independent reader accepts the same documents, cut and damaged ones included.
TEST(JSONGenerated, AnotherParserAgreesOnWhatIsJSON) {
    boost::json::parse_options options;
    options.max_depth = 64;
    for (unsigned seed = 0; seed < documents; ++seed) {
        Generator generator{seed, false};
        std::string text = generator.document();
        text.insert(generator.pick(text.size() + 1),
                    generator.oneOf({"", ",", "\"", "}", "0", "\xff", "\\", "u12", "e", "-", "\t", "\x1f", "\\ud83d"}));
        if (seed % 3 == 0) text.resize(generator.pick(text.size() + 1));
        boost::system::error_code fault;
        boost::json::parse(text, fault, {}, options);
        // That one refuses exponents beyond an int.
        if (fault == boost::json::error::exponent_overflow) continue;
        const auto document = JSONDocument::read(asBytes(text), JSONDialect::strict);
        ASSERT_EQ(document.has_value(), !fault) << "seed " << seed << ": " << fault.message() << "\n" << text;
    }
}

}  // namespace
}  // namespace larkmoor::testing
