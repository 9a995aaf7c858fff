// One thing that the tool can do with a document.
#pragma once

#include <cstddef>
#include <expected>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"
#include "Stop.h"

namespace larkmoor::edit {

/// What the document becomes. A refusal changes nothing.
using Change = std::function<std::expected<Bytes, Stop>(BytesView document)>;

struct Verb {
    std::string_view format;     ///< "json" or "toml"
    std::string_view name;       ///< "set"
    std::string_view arguments;  ///< those before FILE, as the usage shows them
    std::size_t count = 0;       ///< how many of them there are
    bool takesMore = false;      ///< the last of them may be given again
    bool takesComments = false;
    bool changes = true;  ///< otherwise it only looks

    /// Reads the arguments, which are as many as `count` says.
    std::expected<Change, Stop> (*prepare)(std::span<const std::string> arguments, JSONDialect dialect);
};

}  // namespace larkmoor::edit
