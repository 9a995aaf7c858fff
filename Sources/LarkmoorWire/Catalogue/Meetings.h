// Meetings and their transcripts.
#pragma once

#include "LarkmoorBase/RawText.h"
#include "LarkmoorBase/Record.h"

namespace larkmoor {

BOOST_DEFINE_ENUM_CLASS(LineDeleteOutcome, deleted, staleWitness, notFound)

LARKMOOR_RECORD(MeetingJustEnded, (std::string, key), (std::optional<std::string>, title),
                (std::vector<std::string>, speakers), (std::string, started), (std::string, ended),
                (std::optional<bool>, askSelfName))

LARKMOOR_RECORD(TranscriptLineRow, (Int, rowid), (std::string, speaker), (double, at), (std::string, text),
                (std::string, witness))

LARKMOOR_RECORD(MeetingTranscriptAnswer, (std::string, meeting), (std::optional<std::string>, title),
                (std::optional<std::string>, titleSource), (std::vector<std::string>, who),
                (std::vector<TranscriptLineRow>, lines))

}  // namespace larkmoor
