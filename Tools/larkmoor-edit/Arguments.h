// The arguments of the tool that are JSON texts, read with the project's own scanner.
#pragma once

#include <cstdint>
#include <expected>
#include <string>

#include "LarkmoorConnectors/ConfigFile/JSONLiteral.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/ConfigFile/TOMLDocument.h"
#include "Verb.h"

namespace larkmoor::edit {

/// A PATH: a JSON array of names and whole numbers.
std::expected<JSONPath, Stop> path(const std::string& argument);

/// A NAME: a JSON array of texts.
std::expected<TOMLName, Stop> name(const std::string& argument);

/// An INDEX: a whole number.
std::expected<std::int64_t, Stop> index(const std::string& argument);

/// A LITERAL: a JSON text without null and fractions. An object with a duplicate name is refused.
std::expected<JSONLiteral, Stop> literal(const std::string& argument);

}  // namespace larkmoor::edit
