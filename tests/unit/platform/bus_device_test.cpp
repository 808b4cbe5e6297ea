/** The enclosure's bus under its name: taken for us alone, and found again when it has gone. */
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

#include "bytes.h"
#include "calls.h"
#include "child.h"
#include "closed_input.h"
#include "folder.h"
#include "transfers.h"

namespace {

using testsupport::Bytes_t;

/** A bridge without numbers at a pseudo-terminal: every read is answered with `value`. */
struct Bridge_t {
    explicit Bridge_t(U8_t answer) : value(answer) {
        termios settings{};
        cfmakeraw(&settings);
        settings.c_cflag |= HUPCL;
        int slave = -1;
        char name[64];
        EXPECT_EQ(openpty(&far, &slave, name, &settings, nullptr), 0);
        near = slave;
        path = name;
    }
    ~Bridge_t() {
        close(near);
        close(far);
    }
    Bridge_t(const Bridge_t&) = delete;
    Bridge_t& operator=(const Bridge_t&) = delete;

    int far = -1;
    int near = -1; /**< keeps the line open while nobody uses it */
    std::string path;
    U8_t value;
    bool silent = false;
    int requests = 0;
};

dev_t deviceOf(int fd) {
    struct stat node {};
    EXPECT_EQ(fstat(fd, &node), 0);
    return node.st_rdev;
}

dev_t deviceOf(const std::string& path) {
    struct stat node {};
    EXPECT_EQ(stat(path.c_str(), &node), 0);
    return node.st_rdev;
}

/** /dev/enc-0 is the link `name`, and the line's far end is `bridge`. */
class BusDevice : public testing::Test {
protected:
    BusDevice() {
        calls::open.answer = [this](const char* path, int flags, mode_t mode) {
            if (std::string(path) != "/dev/enc-0") {
                return calls::open.real(path, flags, mode);
            }
            opened += (flags & O_PATH) == 0 ? 1 : 0;
            lastFlags = (flags & O_PATH) == 0 ? flags : lastFlags;
            return calls::open.real(name.c_str(), flags, mode);
        };
        calls::write.answer = [this](int to, const void* bytes, std::size_t count) {
            return to == fd ? take(static_cast<const U8_t*>(bytes), count) : calls::write.real(to, bytes, count);
        };
        plug(0x11);
        fd = open(name.c_str(), O_RDWR | O_NOCTTY);
        EXPECT_GE(fd, 0);
    }
    ~BusDevice() override {
        calls::open.answer = nullptr;
        calls::write.answer = nullptr;
        close(fd);
    }

    ssize_t take(const U8_t* bytes, std::size_t count) {
        if (bytes[0] != 0x52) {
            return static_cast<ssize_t>(count);
        }
        if (bridge == nullptr || deviceOf(fd) != deviceOf(bridge->near)) {
            errno = lineError;
            return -1;
        }
        ++bridge->requests;
        const Bytes_t reply{0x41, bridge->value};
        if (!bridge->silent) {
            EXPECT_EQ(calls::write.real(bridge->far, reply.data(), 2), 2);
        }
        return static_cast<ssize_t>(count);
    }

    void plug(U8_t value) {
        auto fresh = std::make_unique<Bridge_t>(value);
        unlink(name.c_str());
        EXPECT_EQ(symlink(fresh->path.c_str(), name.c_str()), 0);
        older = std::move(bridge);
        bridge = std::move(fresh);
    }

    void unplug() {
        unlink(name.c_str());
        bridge.reset();
    }

    int transfer() {
        if (!std::exchange(transferred, true)) {
            forgetBus();
        }
        return readByte(fd);
    }

    /** Checks that `action` tells the system's journal this of the device, once. */
    static void expectTold(const std::string& what, const std::function<void()>& action) {
        setenv("JOURNAL_STREAM", "8:1234", 1);
        testing::internal::CaptureStderr();
        action();
        unsetenv("JOURNAL_STREAM");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "\nesa: /dev/enc-0" + what + "\n");
    }

    static void wait(int milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

    const testsupport::Folder_t folder;
    const std::string name = folder.path("enc-0");
    std::unique_ptr<Bridge_t> bridge;
    std::unique_ptr<Bridge_t> older; /**< the one before stays open */
    int fd = -1;
    bool transferred = false;
    int opened = 0; /**< times the library has opened the device */
    int lastFlags = 0;
    int lineError = EIO; /**< errno of a line that has no bridge, or an older one */
};

TEST_F(BusDevice, ALineThatHungUpIsOpenedAgainUnderTheSameNumberThoughStandardInputIsClosed) {
    const auto withoutInput = [this] {
        const testsupport::ClosedInput_t closed;
        return transfer();
    };
    ASSERT_EQ(withoutInput(), 0x11);
    unplug();
    EXPECT_LT(withoutInput(), 0);
    plug(0x22);
    EXPECT_EQ(withoutInput(), 0x22);
    EXPECT_EQ(deviceOf(fd), deviceOf(name));
    EXPECT_EQ(opened, 1);
    EXPECT_NE(lastFlags & O_NONBLOCK, 0) << "a line without a carrier must not hold the process";
    EXPECT_NE(lastFlags & O_NOCTTY, 0);
}

TEST_F(BusDevice, ADeviceThatHasGoneIsLetGoAndLookedForOnceASecond) {
    ASSERT_EQ(transfer(), 0x11);
    unplug();
    EXPECT_LT(transfer(), 0);
    EXPECT_EQ(deviceOf(fd), makedev(1, 3)) << "/dev/null keeps the number";
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(transfer(), -ENODEV);
    }
    EXPECT_EQ(opened, 1);
    std::ofstream(name) << "no device";
    expectTold(" is gone; looking for it once a second", [this] {
        for (const int opens : {2, 3}) {
            wait(1000);
            calls::ioctl.failWith(ENOTTY); // an emulated kernel gives another reason
            EXPECT_EQ(transfer(), -ENOTTY);
            EXPECT_EQ(opened, opens);
        }
    });
    plug(0x33);
    wait(1000);
    calls::fcntl.failWith(EACCES);
    EXPECT_EQ(transfer(), -EBUSY) << "a lock that is denied counts as held by another";
    wait(1000);
    EXPECT_EQ(transfer(), 0x33);
}

TEST_F(BusDevice, ADeviceThatItsDriverCallsGoneOrShutDownIsLetGoAtOnce) {
    for (const int error : {ESHUTDOWN, ENODEV}) {
        EXPECT_EQ(transfer(), 0x11);
        older = std::move(bridge);
        lineError = error;
        calls::open.failWith(error == ESHUTDOWN ? EMFILE : 0);
        EXPECT_EQ(transfer(), -error);
        EXPECT_EQ(deviceOf(fd) == makedev(1, 3), error == ENODEV) << "/dev/null, where it can be opened";
        plug(0x11);
    }
}

TEST_F(BusDevice, ADeviceMadeAnewIsUsedThoughTheOldOneIsStillThere) {
    ASSERT_EQ(transfer(), 0x11);
    bridge->silent = true;
    plug(0x22);
    EXPECT_LT(transfer(), 0);
    EXPECT_EQ(transfer(), 0x22);
    EXPECT_EQ(deviceOf(fd), deviceOf(name));
}

TEST_F(BusDevice, ARefusalComesFromABusThatIsAliveSoNoOtherIsLookedFor) {
    ASSERT_EQ(transfer(), 0x11);
    unlink(name.c_str());
    std::ofstream(name) << "no device";
    bridge.swap(older);
    for (const int refusal : {ENXIO, EREMOTEIO}) {
        lineError = refusal;
        EXPECT_EQ(transfer(), -refusal);
        EXPECT_EQ(opened, 0);
    }
    lineError = EIO;
    EXPECT_EQ(transfer(), -EIO);
    EXPECT_EQ(opened, 1);
    bridge.swap(older);
    EXPECT_EQ(transfer(), 0x11) << "what has its name now is no bus";
}

TEST_F(BusDevice, IsUsedAsItWasOpenedWhileItLivesEvenIfItTimesOut) {
    EXPECT_EQ(transfer(), 0x11);
    EXPECT_EQ(transfer(), 0x11);
    bridge->silent = true;
    EXPECT_LT(transfer(), 0);
    EXPECT_LT(transfer(), 0);
    EXPECT_EQ(opened, 0);
    bridge->silent = false;
    EXPECT_EQ(transfer(), 0x11);
}

TEST_F(BusDevice, ALineThatHungUpBeforeTheFirstTransferIsLookedForByItsName) {
    unplug();
    plug(0x22);
    EXPECT_EQ(transfer(), 0x22);
}

TEST_F(BusDevice, AnotherLineThanTheBusIsLeftAsItIs) {
    auto other = std::make_unique<Bridge_t>(0x55);
    close(fd);
    fd = open(other->path.c_str(), O_RDWR | O_NOCTTY);
    bridge.swap(other);
    EXPECT_EQ(transfer(), 0x55);
    bridge.reset();
    EXPECT_EQ(transfer(), -EIO);
    EXPECT_EQ(transfer(), -EIO);
    EXPECT_EQ(opened, 0);
}

/** Locks a byte of the device, or all of it, in another open file of it; closing that lets go. */
int lockElsewhere(const std::string& path, off_t start, off_t length) {
    const int other = open(path.c_str(), O_RDWR | O_NOCTTY);
    struct flock part {};
    part.l_type = F_WRLCK;
    part.l_start = start;
    part.l_len = length;
    if (fcntl(other, F_OFD_SETLK, &part) == 0) {
        return other;
    }
    EXPECT_TRUE(errno == EAGAIN || errno == EACCES);
    close(other);
    return -1;
}

/** Whether `length` bytes from `start` on can be locked by somebody else; 0 stands for all. */
bool isFree(const std::string& path, off_t start, off_t length) {
    const int other = lockElsewhere(path, start, length);
    close(other);
    return other >= 0;
}

TEST_F(BusDevice, ASecondMasterIsRefusedAfterThreeSecondsAndSendsNothing) {
    const int first = lockElsewhere(name, 0, 0);
    ASSERT_GE(first, 0);
    const auto start = std::chrono::steady_clock::now();
    expectTold(" is driven by another process; trying once a second", [this] { EXPECT_EQ(transfer(), -EBUSY); });
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2900));
    const auto refused = std::chrono::steady_clock::now();
    EXPECT_EQ(transfer(), -EBUSY);
    EXPECT_LT(std::chrono::steady_clock::now() - refused, std::chrono::milliseconds(500)) << "it waits only once";
    EXPECT_EQ(bridge->requests, 0);
    close(first);
    wait(1000);
    EXPECT_EQ(transfer(), 0x11);
}

TEST_F(BusDevice, ASecondMasterWaitsForItsTurn) {
    const int first = lockElsewhere(name, 0, 0);
    ASSERT_GE(first, 0);
    std::thread leaving([&] {
        wait(300);
        close(first);
    });
    calls::fcntl.failWith(EACCES); // the first try is denied: that counts as held, too
    EXPECT_EQ(transfer(), 0x11);
    leaving.join();
}

TEST_F(BusDevice, ALineThatCannotBeLockedOrSetUpIsRefusedAndLeftUnlocked) {
    for (int step = 0; step < 5; ++step) {
        forgetBus();
        calls::fcntl.failWith(step < 3 ? ENOLCK : 0, step);
        calls::tcgetattr.failWith(step == 3 ? ENOLCK : 0);
        calls::tcsetattr.failWith(step == 4 ? ENOLCK : 0);
        EXPECT_EQ(readByte(fd), -ENOLCK) << step;
        EXPECT_TRUE(isFree(name, 0, 0));
    }
    EXPECT_EQ(bridge->requests, 0);
}

TEST_F(BusDevice, AnI2cDeviceIsLockedLikeALine) {
    close(fd);
    unlink(name.c_str());
    ASSERT_EQ(symlink("/dev/null", name.c_str()), 0);
    fd = open(name.c_str(), O_RDWR);
    const calls::Answer_t adapter(calls::ioctl,
                                  [this](int of, unsigned long, unsigned long) { return of == fd ? 0 : -1; });
    EXPECT_EQ(transfer(), 0x00);
    EXPECT_FALSE(isFree(name, 0, 0));
}

TEST_F(BusDevice, IsLockedFromTheFirstTransferToTheClosing) {
    ASSERT_EQ(transfer(), 0x11);
    EXPECT_FALSE(isFree(name, 0, 0));
    close(fd);
    fd = -1;
    EXPECT_TRUE(isFree(name, 0, 0));
}

/** Before all others: a process knows for its whole life that a bus has answered it. */
using BusDeviceDeathTest = BusDevice;

TEST_F(BusDeviceDeathTest, IsLeftToOthersUnderAMarkWhileItHasNeverAnswered) {
    testsupport::inOwnProcess([&] {
        bridge->silent = true;
        EXPECT_LT(transfer(), 0);
        EXPECT_TRUE(isFree(name, 0, 1));
        EXPECT_FALSE(isFree(name, 1, 1));
        const int other = lockElsewhere(name, 0, 1);
        EXPECT_EQ(transfer(), -EBUSY);
        EXPECT_EQ(bridge->requests, 1) << "nothing is sent while another drives it";
        close(other);
        wait(1000);
        EXPECT_LT(transfer(), 0);
        bridge->silent = false;
        EXPECT_EQ(transfer(), 0x11);
        EXPECT_FALSE(isFree(name, 0, 1)) << "driven again, and from now on";
        bridge->silent = true;
        EXPECT_LT(transfer(), 0);
        EXPECT_FALSE(isFree(name, 0, 1)) << "a bus that has answered is not given away";
    });
}

TEST_F(BusDevice, ATerminalThatSomebodyTypesAtIsRefusedUntilItIsSetRaw) {
    for (const tcflag_t flag : {tcflag_t{ICANON}, tcflag_t{ISIG}}) {
        plug(0x44);
        close(fd);
        fd = open(name.c_str(), O_RDWR | O_NOCTTY);
        termios settings{};
        ASSERT_EQ(tcgetattr(fd, &settings), 0);
        settings.c_lflag |= flag;
        ASSERT_EQ(tcsetattr(fd, TCSANOW, &settings), 0);
        expectTold(" is somebody's terminal, not the enclosure's bus; trying once a second",
                   [this] { EXPECT_EQ(transfer(), -EPERM); });
        EXPECT_EQ(bridge->requests, 0);
        termios after{};
        ASSERT_EQ(tcgetattr(fd, &after), 0);
        EXPECT_EQ(after.c_lflag & flag, flag) << "its settings are not ours to change";
        cfmakeraw(&settings);
        ASSERT_EQ(tcsetattr(fd, TCSANOW, &settings), 0);
        wait(1000);
        EXPECT_EQ(transfer(), 0x44);
    }
}

TEST_F(BusDevice, ARawLineIsSetToNeedNoCarrierAndNeverToHoldTheProcess) {
    termios before{};
    ASSERT_EQ(tcgetattr(fd, &before), 0);
    before.c_lflag |= ECHO;
    before.c_cflag &= ~tcflag_t{CLOCAL};
    before.c_cflag |= CRTSCTS;
    ASSERT_EQ(tcsetattr(fd, TCSANOW, &before), 0);
    ASSERT_EQ(transfer(), 0x11);
    termios after{};
    ASSERT_EQ(tcgetattr(fd, &after), 0);
    EXPECT_NE(after.c_cflag & CLOCAL, 0U);
    EXPECT_EQ(after.c_cflag & CRTSCTS, 0U);
    EXPECT_EQ(after.c_lflag & ECHO, 0U);
    EXPECT_EQ(cfgetospeed(&after), cfgetospeed(&before));
    EXPECT_NE(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
}

} // namespace
