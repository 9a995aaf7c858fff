// Which files a piece of work opens, as the system saw it.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace larkmoor::bench {

/// The files under `folder` that were opened during `work`, as often as they were and relative to it, in their order.
std::vector<std::string> openedFiles(const std::string& folder, const std::function<void()>& work);

}  // namespace larkmoor::bench
