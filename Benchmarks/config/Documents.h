// Configuration files as harnesses and their users write them, made to a wanted size; the same at each run.
#pragma once

#include <cstddef>
#include <string>

namespace larkmoor::bench {

/// Permissions, environment, hooks and servers, pretty-printed: what a harness's settings file holds.
std::string settingsJSON(std::size_t bytes);

/// Hook groups under many events, pretty-printed.
std::string hooksJSON(std::size_t bytes);

/// Rows of numbers of every spelling.
std::string numbersJSON(std::size_t bytes);

/// Tables with strings, numbers, arrays and comments: what Codex's file holds.
std::string configTOML(std::size_t bytes);

/// The states of hooks, and groups of hooks as arrays of tables.
std::string hooksTOML(std::size_t bytes);

/// The rows of `numbersJSON` under one key.
std::string numbersTOML(std::size_t bytes);

}  // namespace larkmoor::bench
