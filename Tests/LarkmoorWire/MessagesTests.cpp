// Golden documents: one for every shape that the mapping has, written out, read and written to the byte.
#include "LarkmoorWire/Codec/Messages.h"

#include <cmath>

#include "Support/Text.h"

namespace larkmoor::testing {
namespace {

template <WireMessage T>
struct Golden {
    std::string_view document;
    T message;
};

template <WireMessage T>
void expectGolden(std::span<const Golden<T>> table) {
    for (const auto& [document, message] : table) {
        SCOPED_TRACE(document);
        const auto written = encode(message);
        ASSERT_TRUE(written) << written.error().description();
        EXPECT_EQ(text(*written), document);
        const auto read = decode<T>(asBytes(document));
        ASSERT_TRUE(read) << read.error().description();
        EXPECT_TRUE(*read == message);
    }
}

using Read = ReadRequest;
using Control = ControlRequest;
using Notes = NotesRequest;
using Answer = GatewayResponse;

GatewayRequest reading(Read request) { return GatewayRequest::Read{std::move(request)}; }
GatewayRequest controlling(Control request) { return GatewayRequest::Control{std::move(request)}; }

TEST(Messages, RequestsAreTheirGoldenDocuments) {
    using Filters = TextMap<FilterValue>;
    const Golden<GatewayRequest> table[] = {
        {R"({"read":{"_0":{"health":{}}}})", reading(Read::Health{})},
        {R"({"control":{"_0":{"pauseFor":{"minutes":15}}}})", controlling(Control::PauseFor{15})},
        {R"({"control":{"_0":{"deleteUtterance":{"meeting":"m","rowid":9007199254740993,"witness":"w"}}}})",
         controlling(Control::DeleteUtterance{"m", 9007199254740993, "w"})},
        {R"({"notes":{"_0":{"editFilters":{"id":"n","set":{"done":true,"rank":2.5,"who":"Ann"},"unset":[]}}}})",
         GatewayRequest::Notes{Notes::EditFilters{"n",
                                                  Filters{{"done", FilterValue::Bool{true}},
                                                          {"rank", FilterValue::Number{2.5}},
                                                          {"who", FilterValue::String{"Ann"}}},
                                                  std::vector<std::string>{}}}},
        {R"({"diagnostic":{"_0":{"log":{"source":"menu","line":"a \"b\"\n\u0001 › \\ / 𝄞"}}}})",
         GatewayRequest::Diagnostic{DiagnosticRequest::Log{"menu", "a \"b\"\n\x01 › \\ / 𝄞"}}},
        {R"({"read":{"_0":{"recall":{"query":"q","to":"today"}}}})",
         reading(Read::Recall{.query = "q", .to = "today"})},
        {R"({"read":{"_0":{"openScreens":{"_0":[{"moment":1,"window":"w"},{"moment":-2}]}}}})",
         reading(Read::OpenScreens{{{1, "w"}, {-2, std::nullopt}}})},
    };
    expectGolden<GatewayRequest>(table);
}

TEST(Messages, AnswersAndEventsAreTheirGoldenDocuments) {
    const Golden<GatewayResponse> answers[] = {
        {R"({"ok":{}})", Answer::Ok{}},
        {R"({"frontState":{"_0":"titleOnly"}})", Answer::FrontState{FrontRecording::titleOnly}},
        {R"({"standingWalk":{}})", Answer::StandingWalk{}},
        {R"({"standingWalk":{"_0":{"path":"p","levels":[{"path":"/","rules":["r"]}],"overflow":0,"announce":false}}})",
         Answer::StandingWalk{RulesWalk{.path = "p", .levels = {{"/", {"r"}}}, .overflow = 0, .announce = false}}},
        {R"({"icons":{"_0":{"a.example":"AAH/","b.example":"","c.example":"+/8="}}})",
         Answer::Icons{{{"a.example", {std::byte{0}, std::byte{1}, std::byte{255}}},
                        {"b.example", {}},
                        {"c.example", {std::byte{251}, std::byte{255}}}}}},
        {R"({"primed":{"_0":[],"distilled":true,"shortcut":{"fired":{}}}})",
         Answer::Primed{{}, true, ShortcutInjection{ShortcutInjection::Fired{}}, std::nullopt}},
        {R"({"presence":{"_0":{"day":"d","apps":[{"app":"a","attended":1,"unattended":2,"active":3,"isBrowser":false,)"
         R"("intervals":[{"start":5,"end":5.25,"kind":"k"}]}],"active":4},"app":"a"}})",
         Answer::Presence{{"d", {{"a", 1, 2, 3, false, {{5, 5.25, "k"}}}}, 4}, "a"}},
    };
    expectGolden<GatewayResponse>(answers);
}

// Documents that other writers produce and that mean the same.
TEST(Messages, ReadingForgivesWhatChangesNothing) {
    struct Case {
        std::string_view name, document;
        GatewayResponse message;
    };
    const Case table[] = {
        {"white space", " {\r\n\t\"text\" : { \"_0\" : \"healthy\" } } ", Answer::Text{"healthy"}},
        {"an unknown member", R"({"text":{"_0":"a","later":{"deep":[1,{"x":null}]}}})", Answer::Text{"a"}},
        {"null for an optional", R"({"thing":{"_0":null}})", Answer::Thing{}},
        {"escapes", R"({"text":{"_0":"\u00e9\/\ud834\udd1e\u0000"}})", Answer::Text{std::string{"é/𝄞\0", 8}}},
        {"a member twice: nothing is left of the first",
         R"({"diskUsed":{"_0":{"text":1,"transcripts":2,"reel":3,"frames":4},"_0":{"text":5,"transcripts":6,"reel":7}}})",
         Answer::DiskUsed{{5, 6, 7, std::nullopt}}},
        {"a payload's case without fields", R"({"ok":{"since":1}})", Answer::Ok{}},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        const auto read = decode<GatewayResponse>(asBytes(row.document));
        ASSERT_TRUE(read) << read.error().description();
        EXPECT_TRUE(*read == row.message);
    }
}

template <WireMessage T>
std::string refusal(std::string_view document) {
    const auto read = decode<T>(asBytes(document));
    return read ? "" : read.error().description();
}

TEST(Messages, AFailureNamesItsPlaceAndAReadRequestTheKeysItFound) {
    struct Case {
        std::string_view document, words;
    };
    const Case table[] = {
        {R"({})", "Invalid number of keys found, expected one."},
        {R"({"ok":{},"ok":{}})", "Invalid number of keys found, expected one."},
        {R"({"laterCase":{}})", "Unknown GatewayResponse case: laterCase"},
        {R"({"ok":null})", "ok: expected an object"},
        {R"({"text":{"_0":7}})", "text: expected a string"},
        {R"({"frontState":{"_0":"Full"}})", "frontState: unknown case: Full"},
        {R"({"cards":{"_0":[{"kind":"k","id":"a","why":"w"},{"kind":"k","id":7,"why":"w"}]}})",
         "cards[1].id: expected a string"},
        {R"({"kindCards":{"scope":"s","cards":[{"kind":"k","id":"i","why":"w","filters":[{"key":"f","value":[]}]}]}})",
         "kindCards.cards[0].filters[0].value: expected a string, a number, true or false"},
        {R"({"icons":{"_0":{"a.example":"AAH"}}})", "icons.a.example: expected bytes in base64"},
        {R"({"diskUsed":{"_0":{"text":1.5,"transcripts":2,"reel":3}}})", "diskUsed.text: expected a whole number"},
        {R"({"transcript":{"_0":{"meeting":"m","who":[],"lines":[{"rowid":1,"speaker":"s","at":1e999,"text":"","witness":""}]}}})",
         "transcript.lines[0].at: expected a finite number"},
        {R"({"primed":{"_0":[],"distilled":true,"shortcut":{"fired":{},"list":{}}}})",
         "primed.shortcut: Invalid number of keys found, expected one."},
    };
    for (const Case& row : table) EXPECT_EQ(refusal<GatewayResponse>(row.document), row.words) << row.document;

    const Case requests[] = {
        {R"({"read":{"_0":{}}})", "read: ReadRequest expects exactly one case key, got []"},
        {R"({"read":{"_0":{"health":{},"frontState":{}}}})",
         R"(read: ReadRequest expects exactly one case key, got ["health", "frontState"])"},
        {R"({"read":{"_0":{"health":{},"health":{}}}})",
         R"(read: ReadRequest expects exactly one case key, got ["health", "health"])"},
        {R"({"read":{"_0":{"noSuchThing":{}}}})", "read: Unknown ReadRequest case: noSuchThing"},
    };
    for (const Case& row : requests) EXPECT_EQ(refusal<GatewayRequest>(row.document), row.words);
}

TEST(Messages, WhatIsNotJSONIsNoMessage) {
    const std::string deep = R"({"ok":{"x":)" + std::string(600, '[') + std::string(600, ']') + "}}";
    const std::string_view table[] = {
        "",
        R"({"ok":{}} x)",
        R"({"ok":{},})",
        "\xEF\xBB\xBF{\"ok\":{}}",
        "{\"text\":{\"_0\":\"\xff\"}}",
        R"({"text":{"_0":"\ud834"}})",
        R"({"ok":{}/**/})",
        "{\"text\":{\"_0\":\"a\tb\"}}",
        deep,
    };
    for (const std::string_view document : table) {
        EXPECT_TRUE(refusal<GatewayResponse>(document).starts_with("not JSON")) << document;
    }
    const std::string_view whole = R"({"text":{"_0":"a é \n"}})";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_NE(refusal<GatewayResponse>(whole.substr(0, length)), "") << whole.substr(0, length);
    }
}

TEST(Messages, WhatJSONCannotSayIsNotWritten) {
    const auto broken = encode(GatewayResponse{Answer::Text{"\xff"}});
    ASSERT_FALSE(broken);
    EXPECT_EQ(broken.error().reason, "text that is not UTF-8");
    EXPECT_FALSE(encode(GatewayResponse{Answer::Presence{{"d", {{"a", 1, 2, 3, false, {{NAN, 0, "k"}}}}, 4}, {}}}));
}

}  // namespace
}  // namespace larkmoor::testing
