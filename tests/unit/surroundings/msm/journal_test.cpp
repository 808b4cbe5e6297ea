#include "journal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr const char* FIFTY = "01234567890123456789012345678901234567890123456789";

std::string readAll(int descriptor) {
    std::string text;
    char piece[65536];
    for (ssize_t count = 0; (count = ::read(descriptor, piece, sizeof piece)) > 0;) {
        text.append(piece, static_cast<std::size_t>(count));
    }
    return text;
}

/** Both ends of what the log goes through. */
struct Log_t {
    explicit Log_t(bool isSocket, bool isOpenedAnew = true) {
        EXPECT_EQ(isSocket ? ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) : ::pipe2(ends, O_CLOEXEC), 0);
        rlimit files{};
        (void)::getrlimit(RLIMIT_NOFILE, &files);
        const rlimit allowed{isOpenedAnew ? files.rlim_cur : 0, files.rlim_max};
        (void)::setrlimit(RLIMIT_NOFILE, &allowed);
        log.open(ends[1]);
        (void)::setrlimit(RLIMIT_NOFILE, &files);
    }
    ~Log_t() {
        closeReader();
        (void)::close(ends[1]);
    }
    void closeReader() { (void)::close(std::exchange(ends[0], -1)); }
    std::string read() const {
        (void)::fcntl(ends[0], F_SETFL, O_NONBLOCK);
        return readAll(ends[0]);
    }

    int ends[2] = {-1, -1};
    LogWriter_t log;
};

TEST(LogWriterTest, WhoeverReadsNothingBlocksNobodyAndLossesAreCounted) {
    constexpr std::size_t COUNT = 20000; // more than anybody keeps
    for (const auto& [isSocket, isOpenedAnew] : {std::pair{false, true}, {true, true}, {false, false}}) {
        Log_t rig(isSocket, isOpenedAnew);
        for (std::size_t i = 0; i < COUNT; ++i) {
            rig.log.write(FIFTY);
        }
        EXPECT_EQ(::fcntl(rig.ends[1], F_GETFL) & O_NONBLOCK, 0) << "who shares it is not made non-blocking";
        std::string text;
        while (rig.log.isWaiting()) {
            text += rig.read();
            rig.log.flush();
        }
        text += rig.read();
        const auto kept = static_cast<std::size_t>(std::ranges::count(text, '\n')) - 1;
        EXPECT_GE(kept, 5000U);
        EXPECT_LT(kept, COUNT);
        const std::string last = std::to_string(COUNT - kept) + " lines of the log lost: nobody read them in time\n";
        EXPECT_EQ(text.substr(text.size() - last.size()), last);
        rig.log.write("on it goes");
        EXPECT_EQ(rig.read(), "on it goes\n");
        rig.log.write(std::string(9000, 'x'));
        EXPECT_EQ(rig.read(), std::string(9000, 'x') + "\n") << "more than goes in one piece";
    }
}

TEST(LogWriterTest, LinesOfAFullDiskOrOfNoFileAreCountedOnceThereIsRoomAgain) {
    Log_t rig(false);
    const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    const int closed = ::dup(full);
    (void)::close(closed);
    for (const int useless : {full, closed}) {
        rig.log.open(useless);
        for (int i = 0; i < 7; ++i) {
            rig.log.write(FIFTY);
        }
        EXPECT_TRUE(rig.log.isWaiting());
        rig.log.open(rig.ends[1]);
        rig.log.write("after");
        EXPECT_EQ(rig.read(), "7 lines of the log lost: nobody read them in time\nafter\n");
    }
    (void)::close(full);
}

TEST(LogWriterTest, AReaderThatHasGoneEndsNothing) {
    Log_t rig(true);
    rig.closeReader();
    for (int i = 0; i < 10000; ++i) {
        rig.log.write(FIFTY);
    }
    EXPECT_TRUE(rig.log.isWaiting());
}

} // namespace
