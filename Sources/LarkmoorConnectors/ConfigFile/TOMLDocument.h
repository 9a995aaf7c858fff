// A TOML file as far as an edit needs to know it: which bytes are which table's and which key's.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "LarkmoorConnectors/ConfigFile/TOMLEntry.h"
#include "LarkmoorConnectors/ConfigFile/TOMLTable.h"

namespace larkmoor {

/// Owns all its text, which copies share; the bytes that were scanned may go.
struct TOMLDocument {
    std::vector<TOMLTable> tables;          ///< in file order, the root first
    std::vector<TOMLEntry> allEntries;      ///< in file order
    std::vector<std::size_t> tableOfEntry;  ///< for each of `allEntries`, the index of its table

    std::shared_ptr<const std::string> file;  ///< the text that the entries' values are views of

    /// The first table of exactly this name that is no array element, or null; valid until the document changes.
    const TOMLTable* table(const TOMLName& named) const;

    /// The entries of one of this document's tables, in file order; valid until the document changes.
    std::span<const TOMLEntry> entries(const TOMLTable& of) const;
};

}  // namespace larkmoor
