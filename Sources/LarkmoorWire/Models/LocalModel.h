// The model that names memories: what it is called, what it costs to download, and where the host that runs it listens.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/Task.h"

namespace larkmoor {

class HTTPClient;

namespace LocalModel {

/// The model this build names with, as the host must list it.
inline constexpr std::string_view titleModel = "fenwright/gemma3-4b-text";
/// The embedding model.
inline constexpr std::string_view embedModel = "nomic-embed-text";
/// What the user is told that the naming model costs.
inline constexpr std::string_view approxDownload = "2.5 GB";
/// The naming model's expected size, until the host tells the real one.
inline constexpr std::int64_t approxDownloadBytes = 2'498'344'265;
/// The expected size of the runtime's archive.
inline constexpr std::int64_t runtimeApproxBytes = 153'876'009;
/// The model host, without a path.
inline constexpr std::string_view endpoint = "http://127.0.0.1:11434";

/// Whether the naming model, with any tag or none, is among the names that the host lists.
bool ready(std::span<const std::string> among);

/// The models' names in the body of an answer to "/api/tags", in its order; a model without a name is left out. nullopt
/// for what is not a JSON object with a list of objects "models", or is too dense for a `FlatDocument`. Any bytes are
/// safe.
std::optional<std::vector<std::string>> names(BytesView tagsAnswer);

// Questions to the host at an endpoint such as `endpoint`. Every failure, an answer later than two seconds among them,
// is an answer. The client must outlive the task.

/// The names of the models that the host has; nullopt if it does not tell.
Task<std::optional<std::vector<std::string>>> askNames(HTTPClient& http, std::string host, std::stop_token stop);

/// Whether the host has the naming model; false if it does not tell.
Task<bool> ready(HTTPClient& http, std::string host = std::string{endpoint}, std::stop_token stop = {});

}  // namespace LocalModel

}  // namespace larkmoor
