// The platform's log where there is a journal and where there is none.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {
namespace {

constexpr const char* journalSocket = "/run/systemd/journal/socket";

// One test, since the journal's place is the same for all.
TEST(PlatformLog, GoesToTheJournalAndElseToStandardError) {
    if (::access(journalSocket, F_OK) == 0) GTEST_SKIP() << "this machine has a journal, which is not for tests";
    ::testing::internal::CaptureStderr();
    platformLog("[larkmoor-menu] a line — and its dash");
    platformLog("");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "[larkmoor-menu] a line — and its dash\n\n");

    const FileDescriptor journal{::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    std::ranges::copy(std::string_view{journalSocket}, std::begin(address.sun_path));
    if (::bind(journal.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        GTEST_SKIP() << "no right to make " << journalSocket << ": run it through Scripts/lib/as-tester";
    ::testing::internal::CaptureStderr();
    platformLog("one line");
    std::array<char, 4096> datagram{};
    const ssize_t count = ::recv(journal.get(), datagram.data(), datagram.size(), MSG_DONTWAIT);
    ::unlink(journalSocket);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    ASSERT_GT(count, 0);
    const std::string fields{datagram.data(), static_cast<std::size_t>(count)};
    EXPECT_EQ(fields, "MESSAGE=one line\nPRIORITY=6\nSYSLOG_IDENTIFIER=larkmoor-menubar\n");
}

/// 7 if it lives on with nothing owed to it.
[[noreturn]] void logToNobody() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) ::_exit(6);
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[0]);
    ::signal(SIGPIPE, SIG_DFL);
    errno = ENOENT;
    platformLog("lost");
    platformLog("lost too");
    const bool errorIsKept = errno == ENOENT;
    sigset_t pending;
    sigpending(&pending);
    ::_exit(errorIsKept && sigismember(&pending, SIGPIPE) == 0 ? 7 : 8);
}

TEST(PlatformLogDeathTest, ALogThatNobodyReadsEndsNobody) {
    EXPECT_EXIT(logToNobody(), ::testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace larkmoor
