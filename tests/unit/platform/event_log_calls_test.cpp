/** What the event log asks of the kernel: writes that are cut short, that fail, and the end of the process. */
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "child.h"
#include "folder.h"
#include "platform.h"
#include "wrapped_calls.h"

namespace {

class EventLogCalls : public testing::Test {
protected:
    EventLogCalls() {
        std::memcpy(params.logDirectory, folder.path().data(), folder.path().size());
        record[145] = 2; // bytes of the body
        record[151] = 9; // event id
        record[152] = 0xAB;
        record[153] = 0xCD;
        onWrite = [this](int fd, const void* bytes, std::size_t count) {
            if (fd == STDERR_FILENO) {
                onStandardError.append(static_cast<const char*>(bytes), count);
                return static_cast<ssize_t>(count);
            }
            return toFile(++writes, fd, bytes, count);
        };
    }
    ~EventLogCalls() override { onWrite = nullptr; }

    void logOne() { altEventLogM(reinterpret_cast<const EmpEvLogHeader_t*>(record.data()), &params); }

    /** What follows the line's time in the file. */
    [[nodiscard]] std::string inTheFile() const { return withoutTime(folder.read("altevents.jsonl")); }

    static std::string withoutTime(const std::string& line) {
        EXPECT_EQ(line.substr(0, 8), "{\"time\":");
        return line.substr(line.find_first_not_of("0123456789", 8));
    }

    const testsupport::Folder_t folder;
    MPU_PARAMS_t params{};
    std::array<U8_t, 154> record{};
    /** Answers the writes that do not go to standard error. */
    std::function<ssize_t(int callNumber, int fd, const void* bytes, std::size_t count)> toFile;
    int writes = 0;
    std::string onStandardError;
};

const char* const LINE = ",\"evId\":9,\"evSource\":0,\"evType\":0,\"evCategory\":0,\"evIdVersion\":0,"
                         "\"evStructLength\":2,\"body\":\"abcd\"}\n";

TEST_F(EventLogCalls, WriteThatTookAPartAndOneThatASignalStoppedAreGoneOnWith) {
    toFile = [](int callNumber, int fd, const void* bytes, std::size_t count) -> ssize_t {
        if (callNumber == 2) {
            errno = EINTR;
            return -1;
        }
        return __real_write(fd, bytes, callNumber == 1 ? 20 : count);
    };
    logOne();
    EXPECT_EQ(writes, 3);
    EXPECT_EQ(inTheFile(), LINE);
    EXPECT_EQ(onStandardError, "");
}

TEST_F(EventLogCalls, WriteThatFailsAfterAPartSendsTheWholeLineToStandardError) {
    toFile = [](int callNumber, int, const void*, std::size_t) -> ssize_t {
        errno = ENOSPC;
        return callNumber == 1 ? 20 : -1;
    };
    logOne();
    EXPECT_EQ(writes, 2);
    EXPECT_EQ(withoutTime(onStandardError), LINE);
}

TEST_F(EventLogCalls, AfterAFullDiskTheLogGoesOnWithAWholeLine) {
    toFile = [](int callNumber, int fd, const void* bytes, std::size_t count) -> ssize_t {
        if (callNumber == 2) {
            errno = ENOSPC;
            return -1;
        }
        return __real_write(fd, bytes, callNumber == 1 ? 20 : count);
    };
    logOne();
    EXPECT_EQ(std::filesystem::file_size(folder.path("altevents.jsonl")), 0U) << "the piece has been taken back";
    logOne();
    EXPECT_EQ(inTheFile(), LINE);
}

TEST_F(EventLogCalls, WriteThatTakesNothingIsNotRepeated) {
    toFile = [](int callNumber, int, const void*, std::size_t count) -> ssize_t {
        errno = EINTR; // of an earlier call: it says nothing about this one
        return callNumber == 1 ? 0 : static_cast<ssize_t>(count);
    };
    logOne();
    EXPECT_EQ(writes, 1);
    EXPECT_EQ(withoutTime(onStandardError), LINE);
}

TEST_F(EventLogCalls, ABugCheckEndsTheProcessEvenWhenNothingCanBeWritten) {
    testsupport::Child_t child([&] {
        onWrite = [](int, const void*, std::size_t) -> ssize_t {
            errno = EIO;
            return -1;
        };
        altEventLog(reinterpret_cast<const EmpEvLogHeader_t*>(record.data()), &params, -1);
    });
    EXPECT_EQ(child.wait().signal, SIGABRT);
}

} // namespace
