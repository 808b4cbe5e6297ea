#include "heartbeat.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "bus_device.h"
#include "monotonic.h"
#include "mpu_gbl.h"

namespace {

/** The poll makes transfers every 11 seconds; with this the manager has acted before a minute is over. */
constexpr std::string_view ARM_WATCHDOG = "WATCHDOG_USEC=45000000\n";
constexpr std::string_view FEED_WATCHDOG = "WATCHDOG=1\n";
constexpr std::int64_t INTERVAL_MS = 1000;

struct Heartbeat_t {
    bool known; /**< the socket has been looked for */
    int socket; /**< -1: nobody wants to hear */
    bool armed;
    std::int64_t dueMs;
    time_t lastTransfer;
    std::string_view chassis;
    sockaddr_un manager;
    socklen_t managerSize;
};
Heartbeat_t heart{};

/** A text of bounded length. */
class Text_t {
public:
    void add(std::string_view text) {
        const std::size_t count = std::min(text.size(), bytes_.size() - length_);
        std::copy_n(text.begin(), count, bytes_.begin() + static_cast<std::ptrdiff_t>(length_));
        length_ += count;
    }
    void addTwoDigits(unsigned number) {
        const char digits[] = {static_cast<char>('0' + number / 10 % 10), static_cast<char>('0' + number % 10)};
        add({digits, 2});
    }
    [[nodiscard]] std::string_view get() const { return {bytes_.data(), length_}; }

private:
    std::array<char, 256> bytes_{};
    std::size_t length_ = 0;
};

/** Adds `time` as 2026-11-21T19:04:09Z. localtime() would read files. */
void addTime(Text_t& text, time_t time) {
    using namespace std::chrono;
    const sys_seconds now{seconds{time}};
    const sys_days day = floor<days>(now);
    const year_month_day date{day};
    const hh_mm_ss clock{now - day};
    const auto year = static_cast<unsigned>(static_cast<int>(date.year()));
    text.addTwoDigits(year / 100);
    text.addTwoDigits(year % 100);
    text.add("-");
    text.addTwoDigits(static_cast<unsigned>(date.month()));
    text.add("-");
    text.addTwoDigits(static_cast<unsigned>(date.day()));
    text.add("T");
    text.addTwoDigits(static_cast<unsigned>(clock.hours().count()));
    text.add(":");
    text.addTwoDigits(static_cast<unsigned>(clock.minutes().count()));
    text.add(":");
    text.addTwoDigits(static_cast<unsigned>(clock.seconds().count()));
    text.add("Z");
}

std::string_view nameOf(U32_t chassisType) {
#define CHASSIS(number, constant, name, blockName, title, ...)                                                         \
    case number:                                                                                                       \
        return title;
    switch (chassisType) {
    case VORAN_E_CHASSIS_NONE:
        return "no";
#include "chassis_list.def"
    default:
        return "unknown";
    }
}

/** The chassis in the parameter block whose key the unit puts into the environment. */
std::string_view readChassis() {
    const char* key = getenv("ESA_KEY");
    const int shmid =
        key == nullptr ? -1 : shmget(static_cast<key_t>(strtol(key, nullptr, 0)), sizeof(MPU_PARAMS_t), 0400);
    void* const block = shmid < 0 ? nullptr : shmat(shmid, nullptr, SHM_RDONLY);
    if (block == nullptr || reinterpret_cast<std::intptr_t>(block) == -1) {
        return nameOf(0);
    }
    const std::string_view name = nameOf(static_cast<const MPU_PARAMS_t*>(block)->chassisType);
    shmdt(block);
    return name;
}

/** A path, or with a leading "@" a name of the abstract space. False when there is none that fits. */
bool findManager() {
    const char* path = getenv("NOTIFY_SOCKET");
    const std::size_t length = path == nullptr ? 0 : std::strlen(path);
    if (length < 2 || length >= sizeof(heart.manager.sun_path) || (path[0] != '/' && path[0] != '@')) {
        return false;
    }
    heart.manager.sun_family = AF_UNIX;
    std::memcpy(heart.manager.sun_path, path, length);
    if (path[0] == '@') {
        heart.manager.sun_path[0] = '\0';
    }
    heart.managerSize = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
    return true;
}

void start() {
    heart.known = true;
    heart.socket = findManager() ? socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0) : -1;
    if (heart.socket >= 0) {
        heart.chassis = readChassis();
    }
}

/** False when the manager is too busy to take it; it hears the next one. */
bool send(bool arm, const CHAR_t* busName) {
    Text_t text;
    text.add(arm ? ARM_WATCHDOG : "");
    text.add(FEED_WATCHDOG);
    text.add("STATUS=");
    text.add(heart.chassis);
    text.add(" enclosure on ");
    text.add(BUS_K_DEVICE);
    text.add(" (");
    text.add(busName);
    text.add("), last transfer ");
    addTime(text, heart.lastTransfer);
    const std::string_view bytes = text.get();
    return sendto(heart.socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                  reinterpret_cast<const sockaddr*>(&heart.manager), heart.managerSize) >= 0;
}

} // namespace

void heartbeatBeat(const CHAR_t* busName, bool completed) {
    const int callersErrno = errno;
    if (!heart.known) {
        start();
    }
    if (heart.socket >= 0 && (completed || heart.armed)) {
        heart.lastTransfer = completed ? time(nullptr) : heart.lastTransfer;
        const std::int64_t now = monotonicMs();
        if (now >= heart.dueMs) {
            heart.dueMs = now + INTERVAL_MS;
            heart.armed = send(!heart.armed, busName) || heart.armed;
        }
    }
    errno = callersErrno;
}
