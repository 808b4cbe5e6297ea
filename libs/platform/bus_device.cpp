#include "bus_device.h"

#include <cerrno>
#include <ctime>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bus_health.h"
#include "i2c_bridge.h"
#include "i2c_dev.h"
#include "journal.h"
#include "monotonic.h"

namespace {

constexpr std::int64_t RETRY_INTERVAL_MS = 1000;
/** What a program that puts the enclosure into a safe state needs the bus for, with room to spare. */
constexpr std::int64_t LOCK_PATIENCE_MS = 3000;
constexpr std::int64_t LOCK_INTERVAL_MS = 20;

/** A device node. Its change of status is part of it: a pseudo-terminal made anew has its predecessor's numbers. */
struct Identity_t {
    dev_t filesystem;
    ino_t inode;
    dev_t device;
    std::int64_t changedSeconds;
    std::int64_t changedNanoseconds;

    bool operator==(const Identity_t&) const = default;
};

/** What is known of the descriptor last used: a process has one bus open. */
struct Device_t {
    int fd;
    Identity_t identity;
    const I2cBus_t* bus; /**< nullptr: no transfers, for the reason `error` */
    int error;
    bool ours;   /**< the enclosure's bus */
    bool master; /**< its lock is held */
    std::int64_t retryMs;
};
Device_t device{-1, {}, nullptr, 0, false, false, 0};

bool answered = false; /**< some transfer of this process was carried out */

bool identify(int fd, Identity_t& identity) {
    struct stat node;
    if (fstat(fd, &node) != 0) {
        return false;
    }
    if (!S_ISCHR(node.st_mode)) {
        errno = ENOTTY;
        return false;
    }
    identity = {node.st_dev, node.st_ino, node.st_rdev, std::int64_t{node.st_ctim.tv_sec}, node.st_ctim.tv_nsec};
    return true;
}

/** Whether /dev/enc-0 is, at this moment, the node `identity`. Looks without opening the device. */
bool isBusDevice(const Identity_t& identity) {
    const int node = open(BUS_K_DEVICE, O_PATH | O_CLOEXEC);
    Identity_t now{};
    const bool same = node >= 0 && identify(node, now) && now == identity;
    if (node >= 0) {
        close(node);
    }
    return same;
}

/** Whether the far end of the line `fd` is gone for good. */
bool hungUp(int fd) {
    pollfd line{fd, 0, 0};
    return poll(&line, 1, 0) > 0 && (line.revents & POLLHUP) != 0;
}

const I2cBus_t* kindOf(int fd) {
    return isatty(fd) == 1 ? &I2C_BRIDGE : i2cDevBus(fd);
}

/** The lock belongs to the open device, not to the process: it lives as long as the descriptor and its duplicates. */
bool setLock(int fd, int which, short kind) {
    struct flock byte {};
    byte.l_type = kind;
    byte.l_whence = SEEK_SET;
    byte.l_start = which;
    byte.l_len = 1;
    return fcntl(fd, F_OFD_SETLK, &byte) == 0;
}

bool lockDevice(int fd, std::int64_t patienceMs) {
    const std::int64_t deadlineMs = monotonicMs() + patienceMs;
    while (!setLock(fd, BUS_K_LOCK_MASTER, F_WRLCK)) {
        if ((errno != EAGAIN && errno != EACCES) || monotonicMs() >= deadlineMs) {
            errno = errno == EACCES || errno == EAGAIN ? EBUSY : errno;
            return false;
        }
        const timespec pause{0, LOCK_INTERVAL_MS * 1000000};
        nanosleep(&pause, nullptr);
    }
    return true;
}

/** Makes the open enclosure bus ours. Its transfers; nullptr with errno set. */
const I2cBus_t* takeOver(int fd, std::int64_t patienceMs) {
    const I2cBus_t* bus = kindOf(fd);
    if (bus == nullptr || !lockDevice(fd, patienceMs)) {
        return nullptr;
    }
    if (!bus->takeOver(fd)) {
        const int cause = errno;
        (void)setLock(fd, BUS_K_LOCK_MASTER, F_UNLCK); // the next try comes with another descriptor
        errno = cause;
        return nullptr;
    }
    return bus;
}

const CHAR_t* reasonOf(int error) {
    switch (error) {
    case EBUSY:
        return " is driven by another process; trying once a second";
    case EPERM:
        return " is somebody's terminal, not the enclosure's bus; trying once a second";
    default:
        return " is gone; looking for it once a second";
    }
}

/** Notes why there is no bus, and says so once. */
void refuse(int error) {
    if (device.bus != nullptr || device.error != error) {
        journalLine({"esa: ", BUS_K_DEVICE, reasonOf(error)});
    }
    device.bus = nullptr;
    device.error = error;
}

void accept(const I2cBus_t* bus) {
    device.bus = bus;
    device.master = device.ours;
    device.error = 0;
    bus->begin();
    busForgetHealth();
}

/** Puts what `from` has open under the number `fd`, and forgets `from`. */
void moveDescriptor(int from, int fd) {
    (void)dup3(from, fd, O_CLOEXEC); // both are open, so there is nothing that it could fail for
    close(from);
    (void)identify(fd, device.identity);
}

/**
 * Lets a device go that has gone: while it is open, its driver cannot give the name to its successor. The number stays
 * taken, since the process that owns it goes on using it.
 */
void letGo(int fd) {
    refuse(ENODEV);
    const int placeholder = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (placeholder >= 0) {
        moveDescriptor(placeholder, fd);
    }
}

/** At most once a second: opens what /dev/enc-0 is now, when that is not what is in use. */
void reopen(int fd) {
    const std::int64_t now = monotonicMs();
    if (now < device.retryMs) {
        return;
    }
    device.retryMs = now + RETRY_INTERVAL_MS;
    if (device.bus != nullptr && isBusDevice(device.identity)) {
        return;
    }
    // Without O_NONBLOCK a serial port without a carrier would hold the process here.
    const int fresh = open(BUS_K_DEVICE, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fresh < 0) {
        return;
    }
    const I2cBus_t* bus = takeOver(fresh, 0);
    if (bus != nullptr) {
        moveDescriptor(fresh, fd);
        accept(bus);
        journalLine({"esa: ", BUS_K_DEVICE, " is open again"});
        return;
    }
    const int error = errno;
    close(fresh);
    if (device.bus == nullptr) {
        refuse(error);
    }
}

/** A descriptor number that is new here, or has another device than before. */
void meet(int fd, const Identity_t& identity) {
    const bool gone = hungUp(fd);
    device = {fd, identity, nullptr, 0, gone || isBusDevice(identity), false, 0};
    if (gone) { // before the first transfer: nothing but the bus is given to us, so it is looked for by its name
        letGo(fd);
        return;
    }
    const I2cBus_t* bus = device.ours ? takeOver(fd, LOCK_PATIENCE_MS) : kindOf(fd);
    if (bus != nullptr) {
        accept(bus);
    } else if (device.ours) {
        refuse(errno);
        device.retryMs = monotonicMs() + RETRY_INTERVAL_MS;
    } else {
        device.error = errno;
    }
}

/** The lock again, which was let go because nobody answered. */
bool isMaster(int fd) {
    if (!device.ours || device.master) {
        return true;
    }
    device.master = lockDevice(fd, LOCK_PATIENCE_MS);
    if (!device.master) {
        refuse(EBUSY);
        device.retryMs = monotonicMs() + RETRY_INTERVAL_MS;
        errno = EBUSY;
    }
    return device.master;
}

} // namespace

const I2cBus_t* busOf(int fd) {
    Identity_t identity{};
    if (!identify(fd, identity)) {
        return nullptr;
    }
    if (device.fd != fd || device.identity != identity || (device.bus == nullptr && !device.ours)) {
        meet(fd, identity);
    }
    if (device.bus == nullptr && device.ours) {
        reopen(fd);
    }
    if (device.bus == nullptr) {
        errno = device.error;
        return nullptr;
    }
    return isMaster(fd) ? device.bus : nullptr;
}

void busNoteAnswer() {
    answered = true;
}

void busNoteFailure(int fd, int error) {
    if (!device.ours) {
        return;
    }
    if (error == ENODEV || error == ESHUTDOWN || hungUp(fd)) {
        letGo(fd);
    } else if (error != ENXIO && error != EREMOTEIO) { // a refusal comes from a bus that is alive
        reopen(fd);
    }
    if (device.bus != nullptr && !answered) {
        (void)setLock(fd, BUS_K_LOCK_UNANSWERED, F_WRLCK);
        device.master = !setLock(fd, BUS_K_LOCK_MASTER, F_UNLCK);
    }
}
