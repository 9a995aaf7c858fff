#include "LarkmoorPlatform/Linux/Fetch/HelperFetch.h"

#include <sys/mman.h>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorPlatform/Linux/Processes/SpawningProcessRunner.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;

struct HelperFetchTests : ::testing::Test {
    testing::TemporaryFolder folder;
    MainLoop loop;
    SpawningProcessRunner runner{loop};

    /// What the listener heard and the end, each a line.
    std::string fetch(const std::string& script, std::stop_token stop = {}, std::chrono::milliseconds budget = 30s,
                      FetchTarget target = FetchTargets::NewFile{"f"}) {
        const std::string helper = folder / "helper";
        EXPECT_TRUE(Files::replace(helper, asBytes("#!/bin/sh\n" + script), 0700));
        HelperFetch fetch{runner, {.helper = helper, .build = "7"}};
        FetchRequest request{.url = "u", .target = std::move(target), .maxBytes = 9, .budget = budget};
        std::string heard;
        const auto end = testing::runTask(
            loop, fetch.fetch(std::move(request),
                              {.head =
                                   [&](const FetchHead& head) {
                                       heard +=
                                           fmt::format("{} {} {}\n", head.status, head.length.value_or(-9), head.host);
                                   },
                               .firstByte = [&] { heard += "first\n"; },
                               .progress = [&](std::int64_t bytes) { heard += fmt::format("{}\n", bytes); }},
                              stop));
        if (!end) return "no end";
        return heard + (*end ? fmt::format("= {}", **end) : end->error().reason);
    }
};

TEST_F(HelperFetchTests, PassesOnWhatTheHelperSays) {
    const std::string head = "echo head 200 -1 h; echo first-byte; echo progress 65536; ";
    EXPECT_EQ(fetch(head + "echo end 7"), "200 -9 h\nfirst\n65536\n= 7");
    EXPECT_EQ(fetch(head + "echo failure no more; exit 1"), "200 -9 h\nfirst\n65536\nno more");
    EXPECT_EQ(fetch("echo end 7; exit 1"), "exit 1");
    EXPECT_EQ(fetch("echo head x; echo progress; echo end"), "exit 0");
    EXPECT_EQ(fetch("echo Oh >&2; exit 2"), "exit 2; Oh");
    EXPECT_EQ(fetch("head -c 9000000 /dev/zero; echo; echo end 7"), "= 7");
    EXPECT_EQ(fetch("sleep 60", {}, 200ms), "not complete after 0.2 s");
    EXPECT_EQ(fetch("echo \"failure $*\"; exit 1"),
              fmt::format("--build=7 --asker={} --url=u --max-bytes=9 --max-silence=60000 --output=f", ::getpid()));
}

TEST_F(HelperFetchTests, HandsTheHelperADescriptorToWriteInto) {
    FileDescriptor memory{::memfd_create("body", MFD_CLOEXEC)};
    const FileDescriptor mine{::dup(memory.get())};
    EXPECT_EQ(fetch("printf body >&0; echo end 4", {}, 30s, FetchTargets::Descriptor{std::move(memory)}), "= 4");
    ::lseek(mine.get(), 0, SEEK_SET);
    EXPECT_EQ(testing::text(*Files::readAll(mine.get(), "")), "body");
}

TEST_F(HelperFetchTests, ACancelEndsTheHelperAtOnce) {
    std::stop_source stop;
    MainTimer timer{loop, 300ms};
    timer.async_wait([&](auto) { stop.request_stop(); });
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(fetch("echo head 200 5 h; sleep 60 & wait", stop.get_token()), "200 5 h\ncancelled");
    EXPECT_LT(std::chrono::steady_clock::now() - began, 5s);
}

}  // namespace
}  // namespace larkmoor
