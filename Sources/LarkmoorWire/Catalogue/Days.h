// Reports on what days, hours and stretches of time were spent on. All times are in seconds.
#pragma once

#include "LarkmoorBase/Record.h"

namespace larkmoor {

struct DayPresence {
    LARKMOOR_RECORD(Interval, (double, start), (double, end), (std::string, kind))
    LARKMOOR_RECORD(App, (std::string, app), (Int, attended), (Int, unattended), (Int, active), (bool, isBrowser),
                    (std::vector<Interval>, intervals))
    LARKMOOR_FIELDS(DayPresence, (std::string, day), (std::vector<App>, apps), (Int, active))
};

// Outside of the report, because an optional record must be a complete type, and a struct nested in its owner is not
// complete yet.
struct DayStretchReportParts {
    LARKMOOR_RECORD(AppSlice, (std::string, app), (Int, seconds))
    LARKMOOR_RECORD(FocusRun, (double, start), (double, end), (Int, seconds), (std::vector<AppSlice>, apps))
    LARKMOOR_RECORD(Sitting, (Int, seconds), (double, startedAt), (double, endedAt), (std::vector<AppSlice>, apps))
};

struct DayStretchReport {
    using AppSlice = DayStretchReportParts::AppSlice;
    using FocusRun = DayStretchReportParts::FocusRun;
    using Sitting = DayStretchReportParts::Sitting;
    LARKMOOR_FIELDS(DayStretchReport, (std::string, day), (std::vector<FocusRun>, focus), (Int, runCount),
                    (std::optional<Sitting>, sitting))
};

struct SpanHoursReport {
    LARKMOOR_RECORD(App, (std::string, app), (Int, attended), (Int, unattended), (Int, active))
    LARKMOOR_RECORD(Day, (std::string, day), (Int, attended), (Int, unattended))
    LARKMOOR_FIELDS(SpanHoursReport, (std::string, from), (std::string, to), (Int, attended), (Int, unattended),
                    (Int, active), (std::vector<App>, apps), (std::vector<Day>, days))
};

struct TopSessionsReport {
    LARKMOOR_RECORD(Session, (std::string, title), (Int, seconds), (std::string, chapterId))
    LARKMOOR_FIELDS(TopSessionsReport, (std::string, day), (std::vector<Session>, sessions))
};

LARKMOOR_RECORD(AttentionReport, (std::string, day), (Int, aiSeconds), (Int, humansSeconds), (Int, scrollingSeconds),
                (Int, scrollingGlances))

struct WebReport {
    LARKMOOR_RECORD(Site, (std::string, domain), (Int, seconds))
    LARKMOOR_FIELDS(WebReport, (std::string, day), (Int, browserSeconds), (std::vector<Site>, sites))
};

LARKMOOR_RECORD(LongestChapterReport, (std::string, title), (Int, spanSeconds))

LARKMOOR_RECORD(AllTimeTotals, (Int, moments), (Int, meetings), (Int, days), (Int, yourWorkSeconds),
                (Int, aiWorkSeconds), (Int, storageBytes), (std::optional<Int>, cpuMs), (std::optional<Int>, cpuWallMs))

}  // namespace larkmoor
