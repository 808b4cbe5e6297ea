/** What the event log asks of the kernel: writes that are cut short, that fail, and the end of the process. */
#include <cerrno>
#include <csignal>
#include <functional>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "calls.h"
#include "child.h"
#include "event_log_fixture.h"

namespace {

class EventLogCalls : public EventLog {
protected:
    EventLogCalls() {
        calls::write.answer = [this](int fd, const void* bytes, std::size_t count) {
            if (fd == STDERR_FILENO) {
                onStandardError.append(static_cast<const char*>(bytes), count);
                return static_cast<ssize_t>(count);
            }
            return toFile(++writes, fd, bytes, count);
        };
    }
    ~EventLogCalls() override { calls::write.answer = nullptr; }

    /** Answers the writes that do not go to standard error. */
    std::function<ssize_t(int callNumber, int fd, const void* bytes, std::size_t count)> toFile;
    int writes = 0;
    std::string onStandardError;
};

/** The first write takes 20 bytes, the second fails, and all others are made. */
auto aPartThen(int error) {
    return [error](int callNumber, int fd, const void* bytes, std::size_t count) -> ssize_t {
        errno = error;
        return callNumber == 2 ? -1 : calls::write.real(fd, bytes, callNumber == 1 ? 20 : count);
    };
}

TEST_F(EventLogCalls, WriteThatTookAPartAndOneThatASignalStoppedAreGoneOnWith) {
    toFile = aPartThen(EINTR);
    add(SMALL);
    EXPECT_EQ(writes, 3);
    EXPECT_EQ(log(), SMALL_LINE);
    EXPECT_EQ(onStandardError, "");
}

TEST_F(EventLogCalls, WriteThatFailsAfterAPartSendsTheWholeLineToStandardErrorAndTheLogGoesOnWithAWholeLine) {
    toFile = aPartThen(ENOSPC);
    add(SMALL);
    EXPECT_EQ(writes, 2);
    EXPECT_EQ(withoutTime(onStandardError), SMALL_LINE);
    EXPECT_EQ(std::filesystem::file_size(file), 0U) << "the piece has been taken back";
    add(SMALL);
    EXPECT_EQ(log(), SMALL_LINE);
}

TEST_F(EventLogCalls, WriteThatTakesNothingIsNotRepeated) {
    toFile = [](int callNumber, int, const void*, std::size_t count) -> ssize_t {
        errno = EINTR; // of an earlier call: it says nothing about this one
        return callNumber == 1 ? 0 : static_cast<ssize_t>(count);
    };
    add(SMALL);
    EXPECT_EQ(writes, 1);
    EXPECT_EQ(withoutTime(onStandardError), SMALL_LINE);
}

TEST_F(EventLogCalls, WithoutTheLockALineIsAppendedAllTheSameButNothingIsTurnedOverOrTakenBack) {
    fillLog(4194304, 'a');
    const int holder = open(file.c_str(), O_RDONLY);
    ASSERT_EQ(flock(holder, LOCK_EX), 0);
    toFile = aPartThen(ENOSPC);
    add(SMALL);
    EXPECT_EQ(std::filesystem::file_size(file), 4194304U + 20);
    add(SMALL);
    close(holder);
    EXPECT_TRUE(log().ends_with(std::string("\n") + SMALL_LINE));
}

TEST_F(EventLogCalls, StandardErrorIsWrittenToAgainAfterASignalOrAPartUntilItTakesNothing) {
    std::vector<std::size_t> asked;
    calls::write.answer = [&](int, const void*, std::size_t count) {
        asked.push_back(count);
        errno = EINTR;
        return std::vector<ssize_t>{-1, 8, 0}.at(asked.size() - 1);
    };
    altEventLogM(SMALL.get(), nullptr);
    EXPECT_EQ(asked, (std::vector<std::size_t>{125, 125, 117}));
}

TEST_F(EventLogCalls, ABugCheckEndsTheProcessEvenWhenNothingCanBeWritten) {
    testsupport::Child_t child([&] {
        calls::write.answer = [](int, const void*, std::size_t) -> ssize_t {
            errno = EIO;
            return -1;
        };
        altEventLog(SMALL.get(), &params, -1);
    });
    EXPECT_EQ(child.wait().signal, SIGABRT);
}

} // namespace
