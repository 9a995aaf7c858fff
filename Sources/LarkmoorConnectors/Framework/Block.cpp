#include "LarkmoorConnectors/Framework/Block.h"

#include <utility>

namespace larkmoor {

namespace JSONShape {

std::optional<std::string> duplicateAlong(const JSONNode& root, const JSONPath& path) {
    std::optional<std::string> reason = JSONDuplicates::reason(root);
    JSONPath reached;
    for (const JSONStep& step : path) {
        reached.push_back(step);
        const JSONNode* object = root.node(reached);
        if (reason || object == nullptr) break;
        reason = JSONDuplicates::reason(*object);
    }
    return reason;
}

bool isEmptyContainer(const JSONNode& value) {
    return (value.isObject() || value.isArray()) && value.members().empty() && value.elements().empty();
}

}  // namespace JSONShape

std::expected<TOMLFile, TOMLTextError> TOMLFile::read(Bytes bytes) {
    auto document = TOMLText::scan(bytes);
    if (!document) return std::unexpected{std::move(document.error())};
    return TOMLFile{std::move(bytes), std::move(*document)};
}

namespace FileDocuments {

namespace {

std::expected<FileDocument, std::string> readJSON(Bytes bytes, JSONDialect dialect) {
    auto document = JSONDocument::read(std::move(bytes), dialect);
    if (!document) return std::unexpected{document.error().description()};
    return std::move(*document);
}

}  // namespace

std::string_view name(FileFormat format) {
    switch (format) {
        case FileFormat::json:
            return "JSON";
        case FileFormat::jsonWithComments:
            return "JSON with comments";
        case FileFormat::toml:
            return "TOML";
        case FileFormat::text:
            return "text";
    }
    std::unreachable();
}

std::expected<FileDocument, std::string> read(Bytes bytes, FileFormat format) {
    switch (format) {
        case FileFormat::json:
            return readJSON(std::move(bytes), JSONDialect::strict);
        case FileFormat::jsonWithComments:
            return readJSON(std::move(bytes), JSONDialect::withComments);
        case FileFormat::toml: {
            auto file = TOMLFile::read(std::move(bytes));
            if (!file) return std::unexpected{file.error().description()};
            return std::move(*file);
        }
        case FileFormat::text:
            return bytes;
    }
    std::unreachable();
}

BytesView bytes(const FileDocument& document) {
    return std::visit(Overloaded{[](const JSONDocument& json) { return BytesView{json.bytes()}; },
                                 [](const TOMLFile& toml) { return BytesView{toml.bytes}; },
                                 [](const Bytes& text) { return BytesView{text}; }},
                      document);
}

bool isEmptyTopLevel(const FileDocument& document) {
    const auto* json = std::get_if<JSONDocument>(&document);
    return json != nullptr && JSONShape::isEmptyContainer(json->root());
}

}  // namespace FileDocuments

}  // namespace larkmoor
