#include "ModelName.h"

#include <algorithm>
#include <cctype>
#include <vector>

#include "LarkmoorLocalModels/Store/ModelStore.h"

namespace larkmoor::modelhost {

namespace {

constexpr std::string_view officialNameSpace = "library";

bool isPiece(std::string_view piece) {
    const auto isPlain = [](unsigned char letter) {
        return std::isalnum(letter) != 0 || letter == '.' || letter == '_' || letter == '-';
    };
    // It becomes a file's name.
    return !piece.empty() && piece.size() <= 128 && std::isalnum(static_cast<unsigned char>(piece.front())) != 0 &&
           std::ranges::all_of(piece, isPlain);
}

}  // namespace

std::optional<ModelName> ModelName::parse(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    const std::string_view tag = colon == std::string_view::npos ? "latest" : text.substr(colon + 1);
    std::string_view base = text.substr(0, colon);
    std::vector<std::string> pieces;
    for (std::size_t slash = 0; slash != std::string_view::npos;) {
        slash = base.find('/');
        pieces.emplace_back(base.substr(0, slash));
        if (slash != std::string_view::npos) base.remove_prefix(slash + 1);
    }
    if (pieces.size() > 3 || !isPiece(tag) || !std::ranges::all_of(pieces, isPiece)) return std::nullopt;
    if (pieces.size() < 2) pieces.emplace(pieces.begin(), officialNameSpace);
    if (pieces.size() < 3) pieces.emplace(pieces.begin(), ModelStore::defaultRegistry);
    return ModelName{pieces[0], pieces[1], pieces[2], std::string{tag}};
}

std::string ModelName::shown() const {
    std::string text = registry == ModelStore::defaultRegistry ? "" : registry + "/";
    if (!text.empty() || nameSpace != officialNameSpace) text += nameSpace + "/";
    return text + model + ":" + tag;
}

}  // namespace larkmoor::modelhost
