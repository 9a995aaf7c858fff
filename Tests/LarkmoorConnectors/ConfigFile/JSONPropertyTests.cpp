// What holds of every document and every edit, tried on made-up documents of all layouts.
#include <gtest/gtest.h>

#include <boost/json.hpp>

#include "LarkmoorConnectors/ConfigFile/JSONGenerator.h"
#include "LarkmoorConnectors/ConfigFile/JSONGuarantees.h"

namespace larkmoor {
namespace {

using testing::Broken;
using testing::EditGuarantees;
using testing::JSONGenerator;

constexpr unsigned documents = 4000;

struct Place {
    JSONPath path;
    const JSONNode* container;
};

/// Every object and array that a path leads to.
void collect(const JSONNode& root, const JSONPath& path, std::vector<Place>& into) {
    const JSONNode& node = *root.node(path);
    if (!node.isObject() && !node.isArray()) return;
    into.push_back({path, &node});
    const auto below = [&](JSONStep step) {
        JSONPath longer = path;
        longer.push_back(std::move(step));
        collect(root, longer, into);
    };
    for (const JSONMember& member : node.members()) {
        if (node.member(member.key) == &member) below(member.key.view());
    }
    for (std::size_t index = 0; index < node.elements().size(); ++index) below(index);
}

/// What is broken in the document that this seed makes, with the document.
template <class Check>
void tryAll(bool comments, Check check) {
    for (unsigned seed = 0; seed < documents; ++seed) {
        JSONGenerator generator{seed, comments};
        const std::string text = generator.document();
        const auto scan = JSONText::scanWithTrivia(asBytes(text), testing::dialectOf(comments));
        ASSERT_TRUE(scan) << "seed " << seed << ": " << scan.error().description() << "\n" << text;
        const Broken broken = check(text, *scan, generator);
        ASSERT_FALSE(broken) << "seed " << seed << ": " << *broken << "\n" << text;
    }
}

template <class Check>
void tryAllPlaces(bool comments, Check check) {
    tryAll(comments, [&](const std::string& text, const JSONScan& scan, JSONGenerator& generator) -> Broken {
        const EditGuarantees guarantees{asBytes(text), scan, testing::dialectOf(comments)};
        std::vector<Place> places;
        collect(scan.root, {}, places);
        for (const Place& place : places) {
            if (auto broken = check(guarantees, place, generator)) return broken;
        }
        return std::nullopt;
    });
}

class JSONDocuments : public ::testing::TestWithParam<bool> {};

TEST_P(JSONDocuments, NodesTileTheDocument) {
    tryAll(GetParam(), [](const std::string& text, const JSONScan& scan, JSONGenerator&) {
        return testing::Tiling{asBytes(text), scan}.broken();
    });
}

TEST_P(JSONDocuments, WhatIsSetIsReadAndTakenOutAgain) {
    tryAllPlaces(GetParam(),
                 [](const EditGuarantees& guarantees, const Place& place, JSONGenerator& generator) -> Broken {
                     if (!place.container->isObject()) return std::nullopt;
                     if (auto broken = guarantees.ofSetting(place.path, "a name of our own", generator.literal()))
                         return broken;
                     return guarantees.ofSetting(place.path, generator.name(), generator.literal());
                 });
}

TEST_P(JSONDocuments, ARemovalLeavesTheRestAndEveryComment) {
    tryAllPlaces(GetParam(), [](const EditGuarantees& guarantees, const Place& place, JSONGenerator&) -> Broken {
        for (std::size_t index = 0; index < place.container->members().size(); ++index) {
            if (auto broken = guarantees.ofRemoving(place.path, index)) return broken;
        }
        return std::nullopt;
    });
}

INSTANTIATE_TEST_SUITE_P(Dialects, JSONDocuments, ::testing::Bool(),
                         [](const auto& suite) { return suite.param ? "WithComments" : "Strict"; });

TEST(JSONProperties, ElementsComeAndGo) {
    tryAllPlaces(false, [](const EditGuarantees& guarantees, const Place& place, JSONGenerator& generator) -> Broken {
        if (!place.container->isArray()) return std::nullopt;
        for (std::size_t index = 0; index < place.container->elements().size(); ++index) {
            if (auto broken = guarantees.ofRemovingElement(place.path, index)) return broken;
        }
        return guarantees.ofAppending(place.path, generator.literal());
    });
}

/// Every string of the tree, names included, by the offset of its opening quote.
void collectStrings(const JSONNode& node, std::vector<std::int64_t>& into) {
    if (node.text()) into.push_back(node.start);
    for (const JSONNode& element : node.elements()) collectStrings(element, into);
    for (const JSONMember& member : node.members()) {
        into.push_back(member.keyStart);
        collectStrings(member.value, into);
    }
}

TEST_P(JSONDocuments, ALoneSurrogateIsRefusedAtItsStringByScansAndEdits) {
    unsigned tried = 0;
    tryAll(GetParam(), [&](const std::string& text, const JSONScan& scan, JSONGenerator& generator) -> Broken {
        std::vector<std::int64_t> quotes;
        collectStrings(scan.root, quotes);
        if (quotes.empty()) return std::nullopt;
        const std::int64_t quote = quotes[generator.pick(quotes.size())];
        const char* const lone[] = {"\\ud83d", "\\uDE00", "\\uDBFF\\u0041", "\\ude00\\ude01", "\\uD800 "};
        std::string damaged = text;
        damaged.insert(static_cast<std::size_t>(quote) + 1, lone[generator.pick(std::size(lone))]);
        const auto want = JSONTextError::unreadable(quote, "a string holds an unpaired surrogate");
        const auto dialect = testing::dialectOf(GetParam());
        if (JSONText::scanWithTrivia(asBytes(damaged), dialect).error() != want) return "the scan says other words";
        const auto edited = JSONEdit::setMember(asBytes(damaged), {}, "k", 1, dialect);
        if (edited || edited.error().description() != want.description()) return "the edit says other words";
        ++tried;
        return std::nullopt;
    });
    EXPECT_GT(tried, documents / 2) << "the documents hold too few strings";
}

/// An independent reader accepts the same documents, cut and damaged ones included.
TEST(JSONProperties, AnotherParserAgreesOnWhatIsJSON) {
    boost::json::parse_options options;
    options.max_depth = 64;
    for (unsigned seed = 0; seed < documents; ++seed) {
        JSONGenerator generator{seed, false};
        std::string text = generator.document();
        const char* const damage[] = {"", ",", "\"", "}", "0", "\xff", "\\", "u12", "e", "-", "\t"};
        text.insert(generator.pick(text.size() + 1), damage[generator.pick(std::size(damage))]);
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
