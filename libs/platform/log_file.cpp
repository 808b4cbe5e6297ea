#include "log_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t LONGEST_PATH = 192;
/** Writers hold the lock for one line. Whoever holds it longer has stopped, or is what this handler interrupted. */
constexpr int LOCK_ATTEMPTS = 100;
constexpr timespec LOCK_PAUSE{0, 1000000};
constexpr int TURNS_MISSED = 3;

/** An open log. Without the lock, lines are appended all the same, but nothing is turned over or taken back. */
struct LogFile_t {
    int fd;
    bool locked;
    off_t size;
};

bool lock(int fd) {
    for (int i = 0; i < LOCK_ATTEMPTS; ++i) {
        if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
            return true;
        }
        nanosleep(&LOCK_PAUSE, nullptr);
    }
    return false;
}

/** A file of its own, neither link nor device nor pipe; not readable for everybody. -1 when there is none. */
int openRegular(const CHAR_t* path, struct stat& status) {
    const int fd = open(path, O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0640);
    if (fd >= 0 && fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink <= 1) {
        if ((status.st_mode & S_IRWXO) != 0) {
            (void)fchmod(fd, status.st_mode & (S_IRWXU | S_IRWXG)); // somebody else's file stays as it is
        }
        return fd;
    }
    if (fd >= 0) {
        close(fd);
    }
    return -1;
}

/** Whether `path` is still the file `status`: another process may have turned the log over meanwhile. */
bool isStill(const CHAR_t* path, const struct stat& status) {
    struct stat now;
    return lstat(path, &now) == 0 && now.st_dev == status.st_dev && now.st_ino == status.st_ino;
}

LogFile_t openLog(const CHAR_t* path) {
    LogFile_t log{-1, false, 0};
    for (int i = 0; i < TURNS_MISSED; ++i) {
        struct stat status;
        log.fd = openRegular(path, status);
        if (log.fd < 0) {
            return log;
        }
        log.locked = lock(log.fd);
        const bool current = !log.locked || isStill(path, status);
        if (fstat(log.fd, &status) == 0) {
            log.size = status.st_size;
        }
        if (current) {
            return log;
        }
        close(log.fd);
        log.fd = -1;
    }
    return log;
}

/** `path` with ".N" behind it; the path itself for 0. */
void numberedPath(std::array<CHAR_t, LONGEST_PATH + 2>& out, const CHAR_t* path, int number) {
    const std::size_t length = strnlen(path, LONGEST_PATH - 1);
    CHAR_t* end = std::copy_n(path, length, out.data());
    if (number > 0) {
        *end++ = '.';
        *end++ = static_cast<CHAR_t>('0' + number);
    }
    *end = '\0';
}

/** Makes room under the name `path`. The caller has the lock on the file of that name. */
void turnOver(const CHAR_t* path) {
    std::array<CHAR_t, LONGEST_PATH + 2> from;
    std::array<CHAR_t, LONGEST_PATH + 2> to;
    for (int number = LOG_FILES_KEPT; number > 0; --number) {
        numberedPath(from, path, number - 1);
        numberedPath(to, path, number);
        (void)std::rename(from.data(), to.data()); // a gap in the row does no harm
    }
}

bool endsInsideALine(const LogFile_t& log) {
    CHAR_t last = '\n';
    return log.size > 0 && pread(log.fd, &last, 1, log.size - 1) == 1 && last != '\n';
}

/** A line goes out in one write, so that those of several processes do not mix; only a full disk breaks one up. */
bool writeAll(int fd, std::span<const CHAR_t> line) {
    while (!line.empty()) {
        const ssize_t written = write(fd, line.data(), line.size());
        if (written > 0) {
            line = line.subspan(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

} // namespace

bool logFileAppend(const CHAR_t* path, std::span<CHAR_t> line) {
    LogFile_t log = openLog(path);
    if (log.locked && log.size > 0 && log.size + static_cast<off_t>(line.size()) > LOG_FILE_LIMIT) {
        turnOver(path);
        close(log.fd);
        log = openLog(path);
    }
    if (log.fd < 0) {
        return false;
    }
    if (endsInsideALine(log)) {
        line = {line.data() - 1, line.size() + 1};
        line[0] = '\n';
    }
    const bool whole = writeAll(log.fd, line);
    if (!whole && log.locked) {
        (void)!ftruncate(log.fd, log.size); // where that fails, the next line begins anew
    }
    close(log.fd);
    return whole;
}
