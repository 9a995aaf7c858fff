// Browsing and auditing the index of texts.
#pragma once

#include "LarkmoorBase/Record.h"
#include "LarkmoorWire/Catalogue/Filters.h"

namespace larkmoor {

LARKMOOR_RECORD(TextBrowseRow, (std::string, id), (std::string, type), (std::string, scope), (std::string, title),
                (double, at), (std::vector<FilterPair>, filters), (double, score), (std::optional<std::string>, app),
                (std::optional<std::string>, abstract), (std::optional<std::string>, passage),
                (std::optional<std::vector<std::string>>, files), (std::optional<Int>, fileCount), (bool, framed),
                (std::optional<std::string>, sessionTool))

LARKMOOR_RECORD(TextBrowseAnswer, (bool, ready), (Int, total), (std::vector<TextBrowseRow>, rows),
                (std::vector<NameCount>, byType), (std::vector<NameCount>, byScope), (std::vector<KindCount>, byKind),
                (std::vector<FilterKeyCensus>, byFilter), (std::optional<std::string>, order), (bool, narrowed))

LARKMOOR_RECORD(TextIndexAuditAnswer, (bool, ready), (Int, rows), (Int, memories), (Int, moments), (Int, meetings),
                (Int, pending), (Int, added), (Int, removed), (Int, megabytes))

}  // namespace larkmoor
