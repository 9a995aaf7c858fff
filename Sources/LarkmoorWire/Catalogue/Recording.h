// What is recorded: the recorder's state for the front window, screens, meetings, exclusions, and the disk space used.
#pragma once

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/Record.h"

namespace larkmoor {

/// What the recorder does with the front window.
BOOST_DEFINE_ENUM_CLASS(FrontRecording, full, titleOnly, blocked, unknown, none)

LARKMOOR_RECORD(ScreenRef, (Int, moment), (std::optional<std::string>, window))

LARKMOOR_RECORD(ScreenImage, (Int, moment), (std::string, window), (std::optional<Bytes>, heic),
                (std::optional<std::string>, note))

BOOST_DEFINE_ENUM_CLASS(LineDeleteOutcome, deleted, staleWitness, notFound)

LARKMOOR_RECORD(MeetingJustEnded, (std::string, key), (std::optional<std::string>, title),
                (std::vector<std::string>, speakers), (std::string, started), (std::string, ended),
                (std::optional<bool>, askSelfName))

LARKMOOR_RECORD(TranscriptLineRow, (Int, rowid), (std::string, speaker), (double, at), (std::string, text),
                (std::string, witness))

LARKMOOR_RECORD(MeetingTranscriptAnswer, (std::string, meeting), (std::optional<std::string>, title),
                (std::optional<std::string>, titleSource), (std::vector<std::string>, who),
                (std::vector<TranscriptLineRow>, lines))

BOOST_DEFINE_ENUM_CLASS(RuleKind, app, site, word, phrase, topic)

BOOST_DEFINE_ENUM_CLASS(RuleTier, usageOnly, never)

BOOST_DEFINE_ENUM_CLASS(RuleOrigin, shipped, user)

LARKMOOR_RECORD(Rule, (std::string, id), (RuleKind, kind), (std::string, value), (RuleTier, tier), (RuleOrigin, origin),
                (bool, enabled))

LARKMOOR_RECORD(PurgeProgress, (Int, daysRemaining), (std::optional<Int>, bytesRemaining),
                (std::vector<std::string>, skipped))

LARKMOOR_RECORD(FrameStats, (Int, screenshots), (std::optional<Int>, bytes), (std::optional<PurgeProgress>, purge))

LARKMOOR_RECORD(ReelStats, (Int, meetings), (Int, bytes))

LARKMOOR_RECORD(DiskUsed, (Int, text), (Int, transcripts), (Int, reel), (std::optional<Int>, frames))

LARKMOOR_RECORD(GrantRow, (std::string, kind), (std::string, state), (std::string, displayName))

LARKMOOR_RECORD(GrantsAnswer, (std::vector<GrantRow>, grants))

}  // namespace larkmoor
