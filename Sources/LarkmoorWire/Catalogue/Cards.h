// Memories as a client gets them: cards with their filters and sessions, shortcuts, and the pages of a browse.
#pragma once

#include "LarkmoorBase/JSON/Coding.h"
#include "LarkmoorBase/Record.h"

namespace larkmoor {

/// The value of a filter.
#define LARKMOOR_VARIANT FilterValue
#define LARKMOOR_CASE_LIST                           \
    LARKMOOR_CASE(String, string, (std::string, _0)) \
    LARKMOOR_CASE(Number, number, (double, _0))      \
    LARKMOOR_CASE(Bool, bool, (bool, _0))
#include "LarkmoorBase/DefineVariant.inc"

/// It is written as the bare scalar, without the case's name.
template <>
struct JSONForm<FilterValue> {
    static bool read(Decoder& decoder, const FlatNode& node, FilterValue& out);
    static void write(Encoder& encoder, const FilterValue& value);
};

LARKMOOR_RECORD(FilterPair, (std::string, key), (FilterValue, value))

LARKMOOR_RECORD(FilterValueCount, (FilterValue, value), (Int, count))

LARKMOOR_RECORD(FilterKeyCount, (std::string, key), (Int, count))

LARKMOOR_RECORD(FilterKeyCensus, (std::string, key), (Int, count), (std::vector<FilterValueCount>, values))

LARKMOOR_RECORD(KindCount, (std::string, kind), (Int, count), (std::optional<std::vector<FilterKeyCount>>, filters))

LARKMOOR_RECORD(NameCount, (std::string, name), (Int, count))

LARKMOOR_RECORD(SessionLink, (std::string, id), (std::optional<std::string>, name))

LARKMOOR_RECORD(SessionBody, (std::optional<std::string>, started), (std::optional<std::string>, lastActive),
                (std::vector<std::string>, files), (Int, filesMore), (std::vector<std::string>, tickets),
                (Int, ticketsMore), (std::vector<std::string>, tail), (std::optional<std::string>, continuesFrom),
                (std::optional<SessionLink>, startedBy), (std::optional<SessionLink>, mainChat))

LARKMOOR_RECORD(SessionOfferRow, (std::string, id), (std::string, title), (std::string, when),
                (std::optional<std::string>, length), (std::optional<Int>, turns))

LARKMOOR_RECORD(SessionOffer, (std::string, scope), (std::vector<SessionOfferRow>, rows))

LARKMOOR_RECORD(MomentBody, (std::string, text), (Int, hidden), (std::string, source), (bool, cleaned),
                (std::optional<std::string>, sessionArtifact), (std::optional<SessionLink>, startedBy),
                (std::optional<SessionLink>, mainChat))

LARKMOOR_RECORD(Card, (std::string, kind), (std::string, id), (std::optional<std::string>, state),
                (std::optional<std::string>, snippet), (std::string, why), (std::optional<Int>, src),
                (std::optional<std::string>, when), (std::optional<std::string>, chapter),
                (std::optional<std::string>, excerpt), (std::optional<std::string>, locator),
                (std::optional<std::string>, filed), (std::optional<std::string>, memoryKind),
                (std::optional<std::vector<FilterPair>>, filters), (std::optional<std::string>, title),
                (std::optional<SessionBody>, session), (std::optional<MomentBody>, body),
                (std::optional<std::string>, subagent))

LARKMOOR_RECORD(PrimeCard, (std::string, when), (std::string, whenRelative), (std::string, chapter),
                (std::string, gist), (std::string, evidence), (std::string, grabId))

/// Whether a shortcut fired, was listed, or could not be read.
#define LARKMOOR_VARIANT ShortcutInjection
#define LARKMOOR_CASE_LIST      \
    LARKMOOR_CASE(Fired, fired) \
    LARKMOOR_CASE(List, list)   \
    LARKMOOR_CASE(Unreadable, unreadable)
#include "LarkmoorBase/DefineVariant.inc"

LARKMOOR_RECORD(ShortcutCard, (std::string, scope), (Int, moments), (Int, memories), (Int, meetings),
                (std::optional<std::string>, version), (std::optional<std::string>, build))

LARKMOOR_RECORD(ShortcutDetail, (std::string, name), (std::optional<std::string>, when), (std::string, body),
                (Int, duplicates))

LARKMOOR_RECORD(ShortcutRow, (std::string, name), (std::string, when), (Int, duplicates))

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
