// Every edit of a file that scans gives a file that scans, replaces one range and leaves the rest to the byte; what was
// set is read, and a table or a key that was added can be taken out again.
#include <cstdint>

#include "LarkmoorConnectors/ConfigFile/TOMLGuarantees.h"
#include "Require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace larkmoor;
    const BytesView bytes = std::as_bytes(std::span{data, size});
    const auto document = TOMLText::scan(bytes);
    // A few of each kind: each edit scans the whole of the file again.
    if (document) fuzz::require(testing::TOMLGuarantees{bytes, *document}.ofEveryEdit(4));
    return 0;
}
