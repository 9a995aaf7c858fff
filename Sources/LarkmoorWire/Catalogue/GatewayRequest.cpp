#include "LarkmoorWire/Catalogue/GatewayRequest.h"

#include <array>

namespace larkmoor {

namespace {

/// A case's name in snake case, put together at compile time: "pauseFor" is "pause_for".
template <class Case>
constexpr auto snakeCase = [] {
    struct {
        std::array<char, 2 * Case::wireName.size()> letters{};
        std::size_t length = 0;
    } name;
    for (const char letter : Case::wireName) {
        const bool isCapital = letter >= 'A' && letter <= 'Z';
        if (isCapital) name.letters[name.length++] = '_';
        name.letters[name.length++] = isCapital ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    return name;
}();

}  // namespace

LARKMOOR_COMPILE(ReadRequest)
LARKMOOR_COMPILE(ControlRequest)
LARKMOOR_COMPILE(NotesRequest)
LARKMOOR_COMPILE(GatewayRequest)

std::string_view verb(const ControlRequest& request) {
    return request.visit([]<class Case>(const Case&) {
        return std::string_view{snakeCase<Case>.letters.data(), snakeCase<Case>.length};
    });
}

}  // namespace larkmoor
