// Every edit of a file that scans gives a file that scans, replaces one range and leaves the rest to the byte; what was
// set is read, and a table or a key that was added can be taken out again.
#include <cstdint>

#include "LarkmoorConnectors/ConfigFile/TOMLGuarantees.h"
#include "Require.h"

namespace {

using namespace larkmoor;
using fuzz::require;

std::size_t strideOver(std::size_t count) { return count / 4 + 1; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const BytesView bytes = std::as_bytes(std::span{data, size});
    const auto document = TOMLText::scan(bytes);
    if (!document) return 0;
    const testing::TOMLGuarantees guarantees{bytes, *document};
    const std::vector<TOMLEdit::Line> lines{{"command", "\"/a \\\"b\""}, {"args", "[]"}};
    require(guarantees.ofSettingTable({"mcp_servers", "larkmoor"}, lines));
    require(guarantees.ofSettingTable({"hooks", "state", "/a:user_prompt_submit:0:0"}, lines));
    require(guarantees.ofSettingTable(document->tables.back().name, {}));

    // A few of each kind, spread over the file: each edit scans the whole of it again.
    const auto& tables = document->tables;
    for (std::size_t index = 0; index < tables.size(); index += strideOver(tables.size())) {
        const TOMLTable& table = tables[index];
        require(guarantees.ofSettingKey(table, "trusted_hash", "\"sha256:0\""));
        if (const auto entries = document->entries(table); !entries.empty() && entries.back().key.size() == 1) {
            require(guarantees.ofSettingKey(table, entries.back().key.front(), "[1, # x\n2]"));
        }
        if (document->table(table.name) == &table) require(guarantees.ofRemovingTable(table));
    }
    const std::size_t entries = document->allEntries.size();
    for (std::size_t index = 0; index < entries; index += strideOver(entries)) require(guarantees.ofRemovingKey(index));
    return 0;
}
