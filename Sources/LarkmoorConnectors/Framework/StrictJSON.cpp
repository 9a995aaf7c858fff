#include "LarkmoorConnectors/Framework/StrictJSON.h"

namespace larkmoor::StrictJSON {

std::expected<JSONScan, JSONEditFailure> scan(BytesView document) {
    auto scan = JSONText::scanWithTrivia(document, JSONDialect::strict);
    if (!scan) return std::unexpected{JSONEditFailure{scan.error()}};
    return std::move(*scan);
}

bool isEmptyContainer(const JSONNode& value) {
    return (value.isObject() || value.isArray()) && value.members().empty() && value.elements().empty();
}

}  // namespace larkmoor::StrictJSON
