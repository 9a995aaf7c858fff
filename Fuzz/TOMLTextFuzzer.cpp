// Any bytes scan or are refused at a place inside them; the tables of what scans tile the file, and entries lie in
// them.
#include <cstdint>

#include "LarkmoorBase/UTF8.h"
#include "LarkmoorConnectors/ConfigFile/TOMLGuarantees.h"
#include "LarkmoorConnectors/ConfigFile/TOMLText.h"
#include "Require.h"

namespace {

using namespace larkmoor;
using fuzz::require;

/// A text that is written into a file is read from it again.
void quoteAndRead(BytesView bytes) {
    if (!UTF8::isValid(asText(bytes))) return;
    const std::string quoted = TOMLText::quote(asText(bytes));
    const auto again = TOMLText::parseBasicString(asBytes(quoted), 0);
    require(again && again->text == asText(bytes) && again->end == std::ssize(quoted), "a quoted text reads as it was");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const BytesView bytes = std::as_bytes(std::span{data, size});
    quoteAndRead(bytes);
    const auto document = TOMLText::scan(bytes);
    if (!document) {
        require(document.error().offset >= 0 && document.error().offset <= std::ssize(bytes),
                "a refusal has its place");
        require(!document.error().reason.empty(), "a refusal says why");
        return 0;
    }
    require(testing::TOMLGuarantees{bytes, *document}.ofTheScan());
    for (const TOMLEntry& entry : document->allEntries) {
        const auto text = entry.text();
        require(!text || UTF8::isValid(*text), "a text is UTF-8");
    }
    const TOMLName owned[] = {{"mcp_servers", "larkmoor"}, document->tables.back().name};
    const auto reason = TOMLText::unreadableReason(*document, owned);
    require(!reason || !reason->empty(), "a refusal says why");
    return 0;
}
