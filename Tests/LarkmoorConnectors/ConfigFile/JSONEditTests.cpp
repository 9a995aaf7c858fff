// The layout that an edit writes, in whole files before and after it, and the words of its errors. That the other bytes
// stay as they are is asked of generated documents.
#include <ranges>

#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"
#include "LarkmoorConnectors/ConfigFile/JSONShown.h"

namespace larkmoor::testing {
namespace {

using namespace std::string_literals;

JSONDocument strict(std::string_view text) { return JSONDocument::read(asBytes(text), JSONDialect::strict).value(); }

const JSONLiteral one = JSONLiteral::object({{"x", 1}});
const JSONLiteral list = JSONLiteral::array({1});
const JSONLiteral nested =
    JSONLiteral::array({JSONLiteral::object({}), JSONLiteral::object({{"x\n", JSONLiteral::array({})}})});
const JSONLiteral entry = JSONLiteral::object({{"type", "command"}, {"args", JSONLiteral::array({"-q", 10, true})}});

/// Documents as `unfolded` reads them, in the dialect that they need.
struct Case {
    std::string_view name, before;
    std::string_view place;  ///< steps with "/" between, the key or the index of the edit last
    std::string_view after;
    JSONLiteral to = 0;
};

JSONPath pathOf(std::string_view place) {
    JSONPath path;
    for (const auto part : std::views::split(place, '/')) {
        const std::string_view step{part.begin(), part.end()};
        if (!step.empty() && step.find_first_not_of("-0123456789") == std::string_view::npos)
            path.push_back(std::stoi(std::string{step}));
        else
            path.push_back(unfolded(step));
    }
    return path;
}

JSONDialect dialectOf(std::string_view document) {
    return document.contains("//") || document.contains("/*") ? JSONDialect::withComments : JSONDialect::strict;
}

/// Of the place, the container's path and the key.
JSONPath above(std::string_view place) {
    JSONPath path = pathOf(place);
    path.pop_back();
    return path;
}
std::string last(std::string_view place) { return unfolded(place.substr(place.rfind('/') + 1)); }
std::int64_t lastIndex(std::string_view place) { return std::stoi(last(place)); }

template <class Edit>
void expectEdits(std::span<const Case> table, Edit edit) {
    for (const Case& row : table) {
        const std::string before = unfolded(row.before);
        const auto document = JSONDocument::read(asBytes(before), dialectOf(row.before));
        ASSERT_TRUE(document) << row.name;
        EXPECT_EQ(shown(edit(*document, row)), unfolded(row.after)) << row.name;
    }
}

TEST(JSONEdit, SetsAMember) {
    const auto set = [](const JSONDocument& document, const Case& row) {
        return JSONEdit::setMember(document, above(row.place), last(row.place), row.to);
    };
    const Case replaced[] = {
        {"one line in a spread object", "{|    'a': {'x':1},|    'b': 2|}|", "a",
         "{|    'a': {|        'type': 'command',|        'args': [|            '-q',|            10,|            true|"
         "        ]|    },|    'b': 2|}|",
         entry},
        {"a spread value in an object on one line", "[|  {'a': 1, 'b': 2}|]", "0/b",
         "[|  {'a': 1, 'b': {'type':'command','args':['-q',10,true]}}|]", entry},
        {"the old value spreads its object", "{'a': [|1]}", "a", "{'a': [|  1|]}", list},
        {"empty containers stay closed", "{\r|\t'a': 1\r|}", "a",
         "{\r|\t'a': [\r|\t\t{},\r|\t\t{\r|\t\t\t'x\\n': []\r|\t\t}\r|\t]\r|}", nested},
        {"behind a line comment", "{|  'a': // why|    1 // so|}", "a", "{|  'a': // why|    2 // so|}", 2},
    };
    expectEdits(replaced, set);
    const Case added[] = {
        {"two spaces", "{|  'a': 1|}|", "b", "{|  'a': 1,|  'b': {|    'x': 1|  }|}|", one},
        {"the first on the brace's line", "{ 'a': 1,|      'b': 2}", "c",
         "{ 'a': 1,|      'b': 2,|      'c': {|        'x': 1|      }}", one},
        {"an odd indent", "{|   'a': 1,| \t 'b': 2|}", "c", "{|   'a': 1,| \t 'b': 2,| \t 'c': [| \t    1| \t ]|}",
         list},
        {"one pair decides, the last line's end is copied", "{\r|  'a': 1,|  'b': 2|}", "c",
         "{\r|  'a': 1,|  'b': 2,|  'c': [\r|    1\r|  ]|}", list},
        {"in an element, at the file's unit", "[|    {|      'a': 1|    }|]", "0/b",
         "[|    {|      'a': 1,|      'b': {|          'x': 1|      }|    }|]", one},
        {"a note on the last", "{|  'a': 1 // note|}", "b", "{|  'a': 1,|  'b': 2 // note|}", 2},
    };
    expectEdits(added, set);
    const Case filled[] = {
        {"a line feed at the end", "{}|", "a", "{|  'a': {|    'x': 1|  }|}|", one},
        {"a carriage return alone", "{\r}", "a", "{'a':1}", 1},
        {"in an element of one line", "{|\t'o': [ {}, {} ]|}", "o/1/a", "{|\t'o': [ {}, {|\t\t'a': 1|\t} ]|}", 1},
        {"a comment inside", "[|  {/* c */ }|]", "0/a", "[|  {/* c */ 'a':{'x':1}}|]", one},
        {"a line comment", "{ // c  |}", "a", "{ // c  |  'a': {|    'x': 1|  }|}", one},
        {"deeper, CRLF", "{\r|\t'o': {\r|\t\t// c\r|\t}\r|}", "o/a", "{\r|\t'o': {\r|\t\t// c\r|\t\t'a': 1\r|\t}\r|}",
         1},
    };
    expectEdits(filled, set);
}

TEST(JSONEdit, TakesAMemberOutWithOneCommaAndNoComment) {
    const auto remove = [](const JSONDocument& document, const Case& row) {
        return JSONEdit::removeMember(document, above(row.place), last(row.place));
    };
    const Case table[] = {
        {"notes on both", "{|  'a': 1, // on a|  'b': 2 // on b|}", "b", "{|  'a': 1 // on a| // on b|}"},
        {"inside it", "{|  'a': 1,|  'b': [ // 1st|    1, /* 2nd */ 2|  ]|}", "b", "{|  'a': 1 // 1st| /* 2nd */|}"},
        {"notes, CRLF", "{\r|  'a': 1, // a\r|  'b': 2, // b\r|  'c': 3\r|}", "b",
         "{\r|  'a': 1 // a\r|, // b\r|  'c': 3\r|}"},
        {"a carriage return ends no line comment", "{|  'a': 1, // a|  'b': 2\r}", "b", "{|  'a': 1 // a|\r}"},
        {"nor before a block", "{|  'a': 1, // a|  'b': 2\r/* b */|}", "b", "{|  'a': 1 // a|\r/* b */|}"},
        {"the only one, a line before, CRLF", "{\r|  // c\r|  'a': 1\r|}", "a", "{\r|  // c\r|}"},
        {"the only one, a line inside", "{|  'a': { // c|  }|}", "a", "{ // c|}"},
    };
    expectEdits(table, remove);
}

TEST(JSONEdit, ElementsComeAndGoAsMembersDo) {
    const Case appended[] = {
        {"empty", "{|  'a': []|}", "a", "{|  'a': [|    [|      1|    ]|  ]|}", list},
        {"one line", "{'a':[1, 2]}", "a", "{'a':[1, 2, {'x':1}]}", one},
        {"the first on the bracket's line", "[[1,| 2|]]", "0", "[[1,| 2,| [|   1| ]|]]", list},
    };
    expectEdits(appended, [](const JSONDocument& document, const Case& row) {
        return JSONEdit::appendElement(document, pathOf(row.place), row.to);
    });
    const Case inserted[] = {
        {"behind the first", "[|  1,||  2, 3|]", "0", "[|  1,|  9,||  2, 3|]", 9},
        {"behind one with a blank line", "[|  1,||  2, 3|]", "1", "[|  1,||  2,||  9, 3|]", 9},
        {"behind one on another's line", "[|  1,||  2, 3|]", "2", "[|  1,||  2, 3, [1]|]", list},
        {"behind none", "[]", "0", "refused: the top-level value has no element 0"},
    };
    expectEdits(inserted, [](const JSONDocument& document, const Case& row) {
        return JSONEdit::insertElement(document, above(row.place), lastIndex(row.place), row.to);
    });
    const Case replaced[] = {
        {"one line", "[1, 2, 3]", "1", "[1, {'x':1}, 3]", one},
        {"lines", "[|\t1,|\t2|]", "1", "[|\t1,|\t{|\t\t'x': 1|\t}|]", one},
        {"none", "{'a':[]}", "a/0", "refused: a has no element 0"},
    };
    expectEdits(replaced, [](const JSONDocument& document, const Case& row) {
        return JSONEdit::replaceElement(document, above(row.place), lastIndex(row.place), row.to);
    });
    const Case removed[] = {
        {"the only one", "{\r|  'a': [\r|    1\r|  ]\r|}", "a/0", "{\r|  'a': []\r|}"},
    };
    expectEdits(removed, [](const JSONDocument& document, const Case& row) {
        return JSONEdit::removeElement(document, above(row.place), lastIndex(row.place));
    });
}

TEST(JSONLiteral, QuotesWhatJSONWantsQuotedAndNothingElse) {
    const std::pair<std::string, std::string_view> table[] = {
        {"a/b", R"("a/b")"},
        {"\"\\\b\t\n\f\r", R"("\"\\\b\t\n\f\r")"},
        {"\0\x01\x0b\x1f"s, R"("\u0000\u0001\u000b\u001f")"},
        {"\x7f \u00e9\u2028\U0001F600", "\"\x7f \u00e9\u2028\U0001F600\""},
    };
    for (const auto& [in, want] : table) EXPECT_EQ(JSONLiteral::quote(in), want);
}

TEST(JSONEdit, RefusesInWords) {
    const auto document = strict(R"({"hooks":{"PreToolUse":[{"a":1}],"n":1}})");
    const auto set = [&](const JSONPath& path) { return JSONEdit::setMember(document, path, "k", 1); };
    const auto remove = [&](const JSONPath& path) { return JSONEdit::removeMember(document, path, "b"); };
    const auto append = [&](const JSONPath& path) { return JSONEdit::appendElement(document, path, 1); };
    const auto cut = [&](const JSONPath& path, int index) { return JSONEdit::removeElement(document, path, index); };
    const auto all = [&](std::vector<JSONPath> items) { return JSONEdit::removeAll(document, items); };
    const auto commented = JSONDocument::read(asBytes("[1] // note"), JSONDialect::withComments).value();
    const std::string deep = std::string(63, '[') + "{}" + std::string(63, ']');
    const JSONPath inside(63, 0);
    const std::pair<JSONEdit::Result, std::string_view> table[] = {
        {set({"hooks", "PreToolUse"}), "hooks.PreToolUse is not an object"},
        {remove({"hooks", "PreToolUse", 0}), "b is not in hooks.PreToolUse.[0]"},
        {append({}), "the top-level value is not an array"},
        {cut({"hooks", "PreToolUse"}, -1), "hooks.PreToolUse has no element -1"},
        {JSONEdit::setMember(strict("[1]"), {}, "k", 1), "the top-level value is not an object"},
        {all({{"hooks", "n"}, {"hooks", "PreToolUse", 1}}), "hooks.PreToolUse has no element 1"},
        // What does not scan after the edit.
        {JSONEdit::setMember(strict(deep), inside, "k", JSONLiteral::array({})),
         "the document nests deeper than 64 levels (at byte 68)"},
        {JSONEdit::setMember(strict("{}"), {}, "k", "\xff"), "a string holds bytes that are not UTF-8 (at byte 5)"},
        // Elements are edited in the strict dialect alone.
        {JSONEdit::appendElement(commented, {}, 1), "there are bytes after the top-level value (at byte 4)"},
    };
    for (const auto& [result, want] : table) EXPECT_EQ(shown(result), "refused: " + std::string{want});
    EXPECT_TRUE(JSONEdit::setMember(strict(deep), inside, "k", 1));
}

}  // namespace
}  // namespace larkmoor::testing
