// The journal, or standard error where there is no journal.
#include "LarkmoorPlatform/PlatformLog.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <string>

#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

namespace larkmoor {

namespace {

constexpr const char* journalSocket = "/run/systemd/journal/socket";

bool toJournal(std::string_view line) {
    // The library reports success even if there is no journal.
    if (::access(journalSocket, W_OK) != 0) return false;
    std::array fields{"MESSAGE=" + std::string{line}, std::string{"PRIORITY=6"},
                      std::string{"SYSLOG_IDENTIFIER=larkmoor-menubar"}};
    std::array<iovec, fields.size()> pieces{};
    std::ranges::transform(fields, pieces.begin(),
                           [](std::string& field) { return iovec{.iov_base = field.data(), .iov_len = field.size()}; });
    return sd_journal_sendv(pieces.data(), static_cast<int>(pieces.size())) >= 0;
}

/// Standard error may be a pipe without a reader: SIGPIPE is blocked, and removed if this write has caused it.
void toStandardError(std::string_view text) {
    sigset_t broken;
    sigset_t before;
    sigset_t pending;
    sigemptyset(&broken);
    sigaddset(&broken, SIGPIPE);
    sigpending(&pending);
    pthread_sigmask(SIG_BLOCK, &broken, &before);
    const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
    if (written < 0 && errno == EPIPE && sigismember(&pending, SIGPIPE) == 0) {
        const timespec none{};
        sigtimedwait(&broken, nullptr, &none);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace

void platformLog(std::string_view line) noexcept {
    const int error = errno;
    try {
        if (!toJournal(line)) toStandardError(std::string{line} + "\n");
    } catch (...) {
        toStandardError("[larkmoor-menu] a line is lost: no memory\n");
    }
    errno = error;
}

}  // namespace larkmoor
