#include "config/Rows.h"

#define RAPIDJSON_HAS_STDSTRING 1
#include <rapidjson/document.h>

#include <any>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"
#include "Statistics.h"
#include "config/Documents.h"
#include "config/Measure.h"

namespace larkmoor::bench {

namespace {

using Peer = nlohmann::json;

void rapid(const std::string& text) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseValidateEncodingFlag>(text.data(), text.size());
    if (document.HasParseError()) std::abort();
    keep(document);
}

JSONDocument read(const std::string& text) {
    auto document = JSONDocument::read(asBytes(text), JSONDialect::strict);
    if (!document) std::abort();
    return std::move(*document);
}

void scanning() {
    struct Row {
        const char* name;
        std::string text;
        int repeats;
    };
    const Row rows[] = {{"10 KiB of settings", settingsJSON(10 << 10), 100},
                        {"1 MiB of hooks", hooksJSON(1 << 20), 2},
                        {"1 MiB of numbers", numbersJSON(1 << 20), 2}};
    std::printf("scan, processor time, median of 41\n%-20s %10s %8s %22s %22s\n", "", "larkmoor", "",
                "RapidJSON (validating)", "nlohmann::json");
    for (const Row& row : rows) {
        const auto mine = [&] { keep(read(row.text)); };
        const Comparison fast = compare(mine, [&] { rapid(row.text); }, 41, row.repeats);
        const Comparison usual = compare(mine, [&] { keep(Peer::parse(row.text)); }, 41, row.repeats);
        std::printf("%-20s %7.1f us %3.0f MB/s %7.1f us, ours %4.2fx %7.1f us, ours %4.2fx\n", row.name,
                    fast.ours * 1e6, static_cast<double>(row.text.size()) / fast.ours / 1e6, fast.theirs * 1e6,
                    fast.ours / fast.theirs, usual.theirs * 1e6, usual.ours / usual.theirs);
    }
    std::printf("bytes of memory held per byte of it");
    for (const Row& row : rows) {
        std::any tree, peers;
        const Memory mine = memoryOf([&] { tree = std::make_any<JSONDocument>(read(row.text)); });
        const Memory usual = memoryOf([&] { peers = Peer::parse(row.text); });
        rapidjson::Document fast;
        fast.Parse<rapidjson::kParseValidateEncodingFlag>(row.text.data(), row.text.size());
        const double size = static_cast<double>(row.text.size());
        std::printf("\n%-20s %10.2f %27.2f %22.2f", row.name, static_cast<double>(mine.held) / size,
                    static_cast<double>(fast.GetAllocator().Capacity()) / size, static_cast<double>(usual.held) / size);
    }
    std::printf("\n");
}

/// One member set and taken out again, which gives back the document.
bool editing() {
    const std::string text = settingsJSON(10 << 10);
    const JSONLiteral entry =
        JSONLiteral::object({{"command", "/opt/larkmoor-mcp"}, {"args", JSONLiteral::array({"--stdio"})}});
    const JSONPath servers = {"mcpServers"};
    const auto set = [&](const JSONDocument& document) {
        return *JSONEdit::setMember(document, servers, "larkmoor", entry);
    };
    const auto removed = [&](const JSONDocument& document) {
        return *JSONEdit::removeMember(document, servers, "larkmoor");
    };
    const auto peerSet = [](const std::string& document) {
        Peer json = Peer::parse(document);
        json["mcpServers"]["larkmoor"] = {{"command", "/opt/larkmoor-mcp"}, {"args", {"--stdio"}}};
        return json.dump(2);
    };
    const auto peerRemoved = [](const std::string& document) {
        Peer json = Peer::parse(document);
        json["mcpServers"].erase("larkmoor");
        return json.dump(2);
    };
    if (asText(removed(set(read(text))).bytes()) != text) return false;
    if (Peer::parse(peerRemoved(peerSet(text))) != Peer::parse(text)) return false;
    const Comparison both =
        compare([&] { keep(removed(set(read(text)))); }, [&] { keep(peerRemoved(peerSet(text))); }, 41, 50);
    const Comparison one = compare([&] { keep(set(read(text))); }, [&] { keep(peerSet(text)); }, 41, 50);
    std::printf("\nedit %zu bytes of settings, median of 41      larkmoor   nlohmann::json (parse, change, dump)\n",
                text.size());
    std::printf("%-42s %7.1f us %7.1f us, ours %4.2fx\n", "set one member", one.ours * 1e6, one.theirs * 1e6,
                one.ours / one.theirs);
    std::printf("%-42s %7.1f us %7.1f us, ours %4.2fx\n", "set it, then take it out again", both.ours * 1e6,
                both.theirs * 1e6, both.ours / both.theirs);
    std::printf("bytes of the user's that differ afterwards: 0; the peer's %s\n",
                peerRemoved(peerSet(text)) == text ? "gives the file back, too" : "has laid the file out anew");
    return true;
}

bool nesting() {
    const std::string deep(1000, '['), endless(64 << 20, '[');
    const auto refused = [](const std::string& text) {
        return !JSONDocument::read(asBytes(text), JSONDialect::strict);
    };
    if (!refused(deep) || !refused(endless)) return false;
    std::printf("\nrefused: a nest 1000 deep in %.1f us, 64 MiB of brackets in %.1f us\n",
                secondsFor([&] { refused(deep); }, 41) * 1e6, secondsFor([&] { refused(endless); }, 41) * 1e6);
    return true;
}

}  // namespace

bool runJSONRows() {
    scanning();
    growth("JSON of hooks", hooksJSON, [](const std::string& text) { return std::make_any<JSONDocument>(read(text)); });
    growth("JSON of numbers", numbersJSON,
           [](const std::string& text) { return std::make_any<JSONDocument>(read(text)); });
    return editing() && nesting();
}

}  // namespace larkmoor::bench
