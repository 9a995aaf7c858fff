// What the tool can do with a document: one record for each verb of the command line.
#pragma once

#include <cstddef>
#include <expected>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor::edit {

/// Why the tool ends without a result.
struct [[nodiscard]] Stop {
    static constexpr int refused = 1;
    static constexpr int wrongUsage = 2;

    int status = refused;  ///< the exit status
    std::string words;     ///< for a person
};

/// Returns the changed document.
using Change = std::function<std::expected<Bytes, Stop>(BytesView document)>;

struct Verb {
    std::string_view format;     ///< "json" or "toml"
    std::string_view name;       ///< "set"
    std::string_view arguments;  ///< those before FILE, as the usage shows them
    std::size_t count = 0;       ///< the number of these arguments
    bool takesMore = false;      ///< the last argument may be repeated
    bool takesComments = false;
    bool changes = true;  ///< false if it only reads

    /// Parses the arguments, of which there are at least `count`.
    std::expected<Change, Stop> (*prepare)(std::span<const std::string> arguments, JSONDialect dialect);
};

std::span<const Verb> jsonVerbs();
std::span<const Verb> tomlVerbs();

}  // namespace larkmoor::edit
