#include "config/Rows.h"

#include <toml++/toml.h>

#include <any>
#include <cstdio>
#include <cstdlib>

#include "LarkmoorConnectors/ConfigFile/TOMLEdit.h"
#include "LarkmoorConnectors/ConfigFile/TOMLText.h"
#include "Statistics.h"
#include "config/Documents.h"
#include "config/Measure.h"

namespace larkmoor::bench {

namespace {

void ours(const std::string& text) {
    const auto document = TOMLText::scan(asBytes(text));
    if (!document) std::abort();
    keep(document);
}

void scanning() {
    struct Row {
        const char* name;
        std::string text;
        int repeats;
    };
    const Row rows[] = {{"10 KiB of servers", configTOML(10 << 10), 50},
                        {"1 MiB of servers", configTOML(1 << 20), 1},
                        {"1 MiB of hooks", hooksTOML(1 << 20), 1},
                        {"1 MiB of numbers", numbersTOML(1 << 20), 1}};
    std::printf(
        "\nscan, processor time, median of 41 (toml++ models every value, ours only delimits them)\n%-20s %10s %8s "
        "%22s\n",
        "", "larkmoor", "", "toml++");
    for (const Row& row : rows) {
        const Comparison both = compare([&] { ours(row.text); }, [&] { keep(toml::parse(row.text)); }, 41, row.repeats);
        std::printf("%-20s %7.1f us %3.0f MB/s %7.1f us, ours %4.2fx\n", row.name, both.ours * 1e6,
                    static_cast<double>(row.text.size()) / both.ours / 1e6, both.theirs * 1e6, both.ours / both.theirs);
    }
}

bool editing() {
    const std::string text = configTOML(10 << 10);
    const TOMLName name = {"mcp_servers", "larkmoor"};
    const TOMLEdit::Line lines[] = {{"command", "\"/opt/larkmoor-mcp\""}, {"enabled", "true"}};
    const auto there = [&](BytesView document) { return TOMLEdit::setTable(document, name, lines)->bytes; };
    const auto andBack = [&] { return *TOMLEdit::removeTable(there(asBytes(text)), name); };
    if (asText(andBack()) != text) return false;
    std::printf("set a table in %zu bytes, then take it out again: %.1f us, every byte as before\n", text.size(),
                secondsFor([&] { keep(andBack()); }, 401) * 1e6);
    return true;
}

}  // namespace

bool runTOMLRows() {
    scanning();
    growth("TOML of servers", configTOML,
           [](const std::string& text) { return std::make_any<TOMLDocument>(*TOMLText::scan(asBytes(text))); });
    return editing();
}

}  // namespace larkmoor::bench
