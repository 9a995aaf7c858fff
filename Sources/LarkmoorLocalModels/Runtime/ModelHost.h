// Questions to the model host over its HTTP interface. None fails: whatever goes wrong is an answer. Main thread.
#pragma once

#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "LarkmoorBase/Task.h"
#include "LarkmoorWire/Models/LocalModel.h"

namespace larkmoor {

/// Where the host listens and how it is reached. A request that is stopped has the answer of a failed one.
struct ModelHost {
    HTTPClient* http;  ///< not null; outlives the tasks
    std::string endpoint{LocalModel::endpoint};
    std::stop_token stop{};
};

/// Whether the host lists its models within two seconds, whatever stands there, if it is not longer than
/// `HTTPClient::maxBody`.
Task<bool> hostAnswers(ModelHost host);

/// Asks up to `seconds` times, with a second behind each no. Returns at once when it is stopped.
Task<bool> waitForHost(ModelHost host, int seconds);

/// The names of the host's models; nullopt if it does not tell them within two seconds.
Task<std::optional<std::vector<std::string>>> hostTags(ModelHost host);

/// Whether the model generates text, within two minutes, since the host may have to load it first.
Task<bool> pingModel(ModelHost host, std::string name);

/// Sends a request with a JSON object of texts and waits at most a minute: a DELETE for "/api/delete", otherwise a
/// POST. True for an HTTP status from 200 to 299.
Task<bool> post(ModelHost host, std::string path, std::map<std::string, std::string> body);

}  // namespace larkmoor
