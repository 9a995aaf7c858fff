#include "LarkmoorConnectors/ConfigFile/ConfigFileError.h"

#include <fmt/format.h>

#include <system_error>
#include <utility>

namespace larkmoor {

ConfigFileError ConfigFileError::writeFailed(std::string path, std::string reason) {
    return WriteFailed{std::move(path), std::move(reason)};
}

ConfigFileError ConfigFileError::writeFailed(std::string path, int code) {
    return writeFailed(std::move(path), std::generic_category().message(code));
}

ConfigFileError ConfigFileError::notWritable(std::string path) { return NotWritable{std::move(path)}; }

std::string ConfigFileError::description() const {
    return visit(
        [](const WriteFailed& error) { return fmt::format("{} could not be written: {}", error.path, error.reason); },
        [](const NotWritable& error) { return fmt::format("{} cannot be written by this user", error.path); });
}

}  // namespace larkmoor
