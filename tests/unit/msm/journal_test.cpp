#include "journal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

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

std::size_t lines(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

class LogWriterTest : public testing::Test {
protected:
    ~LogWriterTest() override {
        closeReader();
        (void)::close(ends_[1]);
    }
    void openPipe() { ASSERT_EQ(::pipe2(ends_, O_CLOEXEC), 0); }
    void openSocket() { ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_), 0); }
    int writer() const { return ends_[1]; }
    int reader() const {
        (void)::fcntl(ends_[0], F_SETFL, O_NONBLOCK);
        return ends_[0];
    }
    void closeReader() {
        (void)::close(ends_[0]);
        ends_[0] = -1;
    }

    /** More lines than anybody keeps to one who reads only afterwards: what has gone is counted in a last line. */
    void expectLossesCounted() {
        constexpr std::size_t COUNT = 20000;
        LogWriter_t log;
        log.open(writer());
        for (std::size_t i = 0; i < COUNT; ++i) {
            log.write(FIFTY);
        }
        std::string text;
        while (log.isWaiting()) {
            text += readAll(reader());
            log.flush();
        }
        text += readAll(reader());
        const std::size_t kept = lines(text) - 1;
        EXPECT_GE(kept, 5000U);
        EXPECT_LT(kept, COUNT);
        const std::string last = std::to_string(COUNT - kept) + " lines of the log lost: nobody read them in time\n";
        EXPECT_EQ(text.substr(text.size() - last.size()), last);
        log.write("on it goes");
        EXPECT_EQ(readAll(reader()), "on it goes\n");
    }

private:
    int ends_[2] = {-1, -1};
};

TEST_F(LogWriterTest, APipeThatNobodyReadsBlocksNobodyAndLossesAreCounted) {
    openPipe();
    expectLossesCounted();
}

TEST_F(LogWriterTest, ASocketThatNobodyReadsBlocksNobodyAndLossesAreCounted) {
    openSocket();
    expectLossesCounted();
}

TEST_F(LogWriterTest, WhoSharesThePipeIsNotMadeNonBlocking) {
    openPipe();
    LogWriter_t log;
    log.open(writer());
    log.write("line");
    EXPECT_EQ(::fcntl(writer(), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(LogWriterTest, LinesOfAFullDiskAreCountedOnceThereIsRoomAgain) {
    openPipe();
    const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    LogWriter_t log;
    log.open(full);
    for (int i = 0; i < 7; ++i) {
        log.write(FIFTY);
    }
    EXPECT_TRUE(log.isWaiting());
    log.open(writer());
    log.write("after");
    EXPECT_EQ(readAll(reader()), "7 lines of the log lost: nobody read them in time\nafter\n");
    (void)::close(full);
}

TEST_F(LogWriterTest, AReaderThatHasGoneEndsNothing) {
    openSocket();
    LogWriter_t log;
    log.open(writer());
    closeReader();
    for (int i = 0; i < 10000; ++i) {
        log.write(FIFTY);
    }
    EXPECT_TRUE(log.isWaiting());
}

} // namespace
