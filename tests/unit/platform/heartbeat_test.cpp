/** What the service manager hears: datagrams at the socket that NOTIFY_SOCKET names. */
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "child.h"
#include "folder.h"
#include "heartbeat.h"
#include "platform.h"
#include "shared_segment.h"
#include "tapped_line.h"

namespace {

using testsupport::inOwnProcess;

/**
 * The manager's end: a datagram socket named by NOTIFY_SOCKET. A process looks for it once, so each test beats in a
 * child, of a process where nothing has beaten yet: GoogleTest runs what is called a death test before all others.
 */
class HeartbeatDeathTest : public testing::Test {
protected:
    HeartbeatDeathTest() {
        unsetenv("ESA_KEY");
        listenAt(folder.path("s"));
    }
    ~HeartbeatDeathTest() override {
        close(manager);
        unsetenv("NOTIFY_SOCKET");
        unsetenv("ESA_KEY");
    }

    void listenAt(const std::string& name) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, name.data(), name.size());
        if (name[0] == '@') {
            address.sun_path[0] = '\0';
        }
        close(manager);
        manager = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
        ASSERT_EQ(bind(manager, reinterpret_cast<sockaddr*>(&address),
                       static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size())),
                  0);
        ASSERT_EQ(setenv("NOTIFY_SOCKET", name.c_str(), 1), 0);
    }

    /** The next datagram, "T" for a time of the last minute; empty when there is none. */
    [[nodiscard]] std::string heard() const {
        char bytes[1024];
        const ssize_t count = recv(manager, bytes, sizeof(bytes), 0);
        std::string text(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
        const std::size_t at = text.find("transfer ");
        if (at == std::string::npos) {
            return text;
        }
        std::tm time{};
        const char* end = strptime(text.c_str() + at + 9, "%Y-%m-%dT%H:%M:%SZ", &time);
        EXPECT_NE(end, nullptr) << text;
        const time_t then = timegm(&time);
        EXPECT_GE(then, std::time(nullptr) - 60);
        EXPECT_LE(then, std::time(nullptr));
        return text.substr(0, at + 9) + "T" + (end == nullptr ? "" : end);
    }

    void makeBlock(U8_t chassis) {
        std::string bytes(744, '\0');
        bytes[71] = static_cast<char>(chassis);
        (void)segment.make(bytes);
        ASSERT_EQ(setenv("ESA_KEY", std::to_string(segment.key()).c_str(), 1), 0);
    }

    const testsupport::Folder_t folder;
    const testsupport::Segment_t segment;
    int manager = -1;
};

TEST_F(HeartbeatDeathTest, TheFirstCompletedTransferArmsTheWatchdogAndSaysWhatIsManaged) {
    inOwnProcess([&] {
        makeBlock(5);
        heartbeatBeat("serial bridge", true);
        EXPECT_EQ(heard(), "WATCHDOG_USEC=45000000\nWATCHDOG=1\n"
                           "STATUS=VSC055 backplane enclosure on /dev/enc-0 (serial bridge), last transfer T");
        EXPECT_EQ(heard(), "");
    });
}

TEST_F(HeartbeatDeathTest, TransfersFeedItOnceASecondThoseThatFailOnlyWhenOneWasCompleted) {
    inOwnProcess([&] {
        heartbeatBeat("I2C", false);
        usleep(1010000);
        heartbeatBeat("I2C", false);
        EXPECT_EQ(heard(), "");
        heartbeatBeat("I2C", true);
        (void)heard();
        for (int i = 0; i < 100; ++i) {
            heartbeatBeat("I2C", true);
        }
        EXPECT_EQ(heard(), "");
        for (const std::string bus : {"I2C", "gone"}) {
            usleep(1010000);
            heartbeatBeat(bus.c_str(), bus == "I2C");
            EXPECT_EQ(heard(), "WATCHDOG=1\nSTATUS=unknown enclosure on /dev/enc-0 (" + bus + "), last transfer T");
            EXPECT_EQ(heard(), "");
        }
    });
}

TEST_F(HeartbeatDeathTest, EveryChassisHasItsName) {
    const char* const names[] = {"unknown",           "no",           "Xyratex 2U12",
                                 "VSC055 Quadra",     "Chenbro 3U16", "VSC055 backplane",
                                 "W83782D backplane", "unknown",      "unknown"};
    makeBlock(0);
    for (U8_t chassis = 0; chassis < 9; ++chassis) {
        const U8_t type = chassis == 8 ? U8_t{2} : chassis;
        segment.patch(71, &type, 1);
        inOwnProcess([&] {
            calls::shmat.failWith(chassis == 8 ? EACCES : 0); // the last block cannot be read
            heartbeatBeat("SMBus", true);
            const std::string status =
                std::string("STATUS=") + names[chassis] + " enclosure on /dev/enc-0 (SMBus), last";
            EXPECT_NE(heard().find(status), std::string::npos) << names[chassis];
        });
    }
}

TEST_F(HeartbeatDeathTest, ASocketInTheAbstractSpaceWillDo) {
    inOwnProcess([&] {
        listenAt("@esa-heartbeat-" + std::to_string(getpid()));
        heartbeatBeat("I2C", true);
        EXPECT_NE(heard(), "");
    });
}

/** Number of descriptors that a beat opens with NOTIFY_SOCKET as it is. */
int openedByABeat() {
    const int before = dup(STDERR_FILENO);
    close(before);
    heartbeatBeat("I2C", true);
    const int after = dup(STDERR_FILENO);
    close(after);
    return after - before;
}

TEST_F(HeartbeatDeathTest, WithoutAManagerOrTheNameOfASocketNothingIsOpened) {
    for (const std::string& name : {std::string(), std::string("run/notify"), "/" + std::string(107, 'x')}) {
        inOwnProcess([&] {
            ASSERT_EQ(name.empty() ? unsetenv("NOTIFY_SOCKET") : setenv("NOTIFY_SOCKET", name.c_str(), 1), 0);
            EXPECT_EQ(openedByABeat(), 0) << name;
        });
    }
}

TEST_F(HeartbeatDeathTest, AManagerThatIsGoneDoesNoHarm) {
    inOwnProcess([&] {
        unlink(folder.path("s").c_str());
        errno = EMLINK;
        heartbeatBeat("I2C", true);
        EXPECT_EQ(errno, EMLINK);
    });
}

TEST_F(HeartbeatDeathTest, ABusyManagerIsArmedByALaterOneAndOnlyOnce) {
    inOwnProcess([&] {
        const std::string there = folder.path("s");
        for (const char* begin : {"WATCHDOG_USEC=45000000\n", "WATCHDOG=1\n"}) {
            ASSERT_EQ(rename(there.c_str(), (there + "x").c_str()), 0);
            heartbeatBeat("I2C", true);
            ASSERT_EQ(rename((there + "x").c_str(), there.c_str()), 0);
            usleep(1010000);
            heartbeatBeat("I2C", true);
            EXPECT_TRUE(heard().starts_with(begin));
            usleep(1010000);
        }
    });
}

TEST_F(HeartbeatDeathTest, ComesWithATransferOverTheBus) {
    inOwnProcess([&] {
        TappedLine_t line;
        line.afterWrite = [&](std::size_t, std::size_t count) {
            line.answer({0x41, 0x22});
            return static_cast<ssize_t>(count);
        };
        U8_t data = 0;
        ASSERT_EQ(read_i2c_data(line.fd, 0x4C, 0x00, &data, 1), 1);
        EXPECT_EQ(heard().substr(0, 34), "WATCHDOG_USEC=45000000\nWATCHDOG=1\n");
    });
}

} // namespace
