#include "LarkmoorLocalModels/Store/ModelManifest.h"

#include <algorithm>
#include <optional>
#include <span>

#include "LarkmoorBase/JSON/FlatDocument.h"

namespace larkmoor::ModelManifest {

namespace {

using Kind = FlatNode::Kind;

/// The last member of that name, as most readers take it; null if there is none.
const FlatNode* member(const FlatNode& object, std::string_view name) {
    const FlatNode* found = nullptr;
    if (object.kind != Kind::object) return found;
    for (const FlatNode* each = object.begin(); each != object.end(); each = each->next()) {
        if (each->key() == name) found = each;
    }
    return found;
}

char inFileName(char letter) { return letter == ':' ? '-' : letter; }

std::string fileName(std::string_view digest) {
    std::string name{digest};
    std::ranges::transform(name, name.begin(), inFileName);
    return name;
}

/// The name must not lead out of its folder, nor be a hidden file, as our own temporary files are.
bool isFileName(std::string_view name) {
    return !name.empty() && !name.starts_with('.') && name.find_first_of(std::string_view{"/\0", 2}) == name.npos;
}

std::optional<std::string> blobName(const FlatNode& descriptor) {
    const FlatNode* digest = member(descriptor, "digest");
    if (digest == nullptr || digest->kind != Kind::string) return std::nullopt;
    std::string name = fileName(digest->text());
    return isFileName(name) ? std::optional{std::move(name)} : std::nullopt;
}

bool isPartOfDigest(char letter) {
    return (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z');
}

bool occurs(std::string_view blob, std::string_view text) {
    const auto isSame = [](char inText, char inName) { return inFileName(inText) == inName; };
    for (auto from = text.begin();; ++from) {
        from = std::search(from, text.end(), blob.begin(), blob.end(), isSame);
        if (from == text.end()) return false;
        const auto after = from + static_cast<std::ptrdiff_t>(blob.size());
        if (after == text.end() || !isPartOfDigest(*after)) return true;
    }
}

}  // namespace

std::vector<std::string> blobNames(BytesView manifest) {
    std::vector<std::string> names;
    FlatDocument document;
    if (!document.parse(manifest)) return names;
    const auto add = [&names](const FlatNode& descriptor) {
        if (auto name = blobName(descriptor)) names.push_back(std::move(*name));
    };
    if (const FlatNode* config = member(document.root(), "config")) add(*config);
    const FlatNode* layers = member(document.root(), "layers");
    if (layers == nullptr || layers->kind != Kind::array) return names;
    for (const FlatNode* layer = layers->begin(); layer != layers->end(); layer = layer->next()) add(*layer);
    return names;
}

void eraseMentioned(BytesView manifest, std::set<std::string>& blobs) {
    FlatDocument document;
    if (!document.parse(manifest)) {
        std::erase_if(blobs, [&](const std::string& blob) { return occurs(blob, asText(manifest)); });
        return;
    }
    const FlatNode& root = document.root();
    for (const FlatNode& node : std::span{&root, root.span}) {
        if (node.kind == Kind::string) blobs.erase(fileName(node.text()));
    }
}

}  // namespace larkmoor::ModelManifest
