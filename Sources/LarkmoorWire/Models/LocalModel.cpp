#include "LarkmoorWire/Models/LocalModel.h"

#include <algorithm>
#include <utility>

#include "LarkmoorBase/JSON/FlatDocument.h"
#include "LarkmoorPlatform/HTTPClient.h"

namespace larkmoor::LocalModel {

bool ready(std::span<const std::string> among) {
    constexpr std::string_view bare = titleModel.substr(0, titleModel.find(':'));
    return std::ranges::any_of(among, [bare](std::string_view name) {
        return name == titleModel || (name.starts_with(bare) && name.substr(bare.size()).starts_with(':'));
    });
}

std::optional<std::vector<std::string>> names(BytesView tagsAnswer) {
    using Kind = FlatNode::Kind;
    FlatDocument document;
    if (!document.parse(tagsAnswer)) return std::nullopt;
    const FlatNode* models = document.root().member("models");
    if (models == nullptr || models->kind != Kind::array) return std::nullopt;
    std::vector<std::string> names;
    for (const FlatNode* model = models->begin(); model != models->end(); model = model->next()) {
        if (model->kind != Kind::object) return std::nullopt;
        const FlatNode* name = model->member("name");
        if (name != nullptr && name->kind == Kind::string) names.emplace_back(name->text());
    }
    return names;
}

Task<std::optional<std::vector<std::string>>> askNames(HTTPClient& http, std::string host, std::stop_token stop) {
    constexpr std::chrono::seconds patience{2};
    constexpr int ok = 200;
    const auto answer =
        co_await http.send({.url = std::move(host) + "/api/tags", .timeout = patience}, std::move(stop));
    if (!answer || answer->head.status != ok) co_return std::nullopt;
    co_return names(answer->body);
}

Task<bool> ready(HTTPClient& http, std::string host, std::stop_token stop) {
    const auto listed = co_await askNames(http, std::move(host), std::move(stop));
    co_return listed.has_value() && ready(*listed);
}

}  // namespace larkmoor::LocalModel
