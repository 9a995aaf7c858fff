// One download of a model from the registry that the scenario describes.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Connection.h"
#include "ModelFiles.h"

namespace larkmoor::modelhost {

struct Host;

class Pull {
  public:
    /// `faults` are those with a place in the download: before a line, or in a layer.
    Pull(Host& host, Connection& connection, std::vector<Fault> faults)
        : host_(host), connection_(connection), faults_(std::move(faults)) {}

    /// Writes the whole answer.
    void run(const ModelName& name);

  private:
    void say(const char* status);
    void fail(std::string_view words);
    void report(const Layer& layer, Int completed);
    void download(std::size_t index, const Layer& layer);
    void downloadAlone(std::size_t index, const Layer& layer);
    /// Brings into effect what is due in this layer and tells how far the next piece may go.
    Int passFaults(std::size_t index, const Layer& layer, Int at);
    void perform(const Fault& fault, const Layer& layer);
    void throttle(Int bytes);
    bool verify();

    Host& host_;
    Connection& connection_;
    std::vector<Fault> faults_;
    std::vector<Layer> fresh_;           ///< downloaded by this pull
    std::vector<Layer> late_;            ///< told, and in no manifest
    std::map<std::string, Int> totals_;  ///< told instead of the true ones
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    Int received_ = 0;
};

}  // namespace larkmoor::modelhost
