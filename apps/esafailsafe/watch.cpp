#include "watch.h"

#include <cerrno>
#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

#include "enclosure_bus.h"
#include "failsafe.h"
#include "osdep.h"

namespace {

constexpr U32_t LOOK_SECONDS = 1;
/** Looks that find a master before it is taken for the adapter: this program by hand is one for a moment too. */
constexpr int LOOKS_OF_A_MASTER = 5;

/** Whether somebody else holds this lock of the open device. */
bool isLocked(int fd, off_t which) {
    struct flock byte {};
    byte.l_type = F_WRLCK;
    byte.l_whence = SEEK_SET;
    byte.l_start = which;
    byte.l_len = 1;
    return fcntl(fd, F_OFD_GETLK, &byte) == 0 && byte.l_type != F_UNLCK;
}

bool isAlive(pid_t process) {
    return kill(process, 0) == 0 || errno == EPERM;
}

/** What the looks have found so far. */
struct Findings_t {
    int masters = 0; /**< looks in a row */
    bool unanswered = false;
};

/** One look; whether the enclosure answers to nobody but us. */
bool look(const Chassis_t& chassis, const CHAR_t* device, Findings_t& findings) {
    const int fd = open(device, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        findings.masters = 0;
        return false;
    }
    const bool hasMaster = isLocked(fd, BUS_K_LOCK_MASTER);
    findings.masters = hasMaster ? findings.masters + 1 : 0;
    findings.unanswered = findings.unanswered || isLocked(fd, BUS_K_LOCK_UNANSWERED);
    (void)close(fd);
    return !hasMaster && findings.unanswered && failSafe(chassis, device, 0) == FAIL_SAFE_E_DONE;
}

} // namespace

void watchAdapter(const Chassis_t& chassis, const CHAR_t* device, pid_t process) {
    Findings_t findings;
    while (isAlive(process) && findings.masters < LOOKS_OF_A_MASTER) {
        if (look(chassis, device, findings)) {
            (void)std::printf("%s answers: the adapter, which had no answer, starts again\n", device);
            (void)kill(process, SIGTERM);
            return;
        }
        MPU_sleep(LOOK_SECONDS);
    }
}
