#include "pty.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/stat.h>
#include <system_error>
#include <termios.h>

#include "failure.h"

namespace {

[[noreturn]] void failed(const std::string& what) {
    throw failure(what + ": " + std::strerror(errno));
}

void setRaw(int fd) {
    termios line{};
    if (tcgetattr(fd, &line) != 0) {
        failed("cannot read the settings of the pseudo-terminal");
    }
    cfmakeraw(&line);
    if (tcsetattr(fd, TCSANOW, &line) != 0) {
        failed("cannot set the pseudo-terminal raw");
    }
}

std::string linkTarget(const std::string& path) {
    char target[256];
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    return length > 0 ? std::string(target, static_cast<std::size_t>(length)) : std::string();
}

/**
 * A living simulator holds a lock on its line, on a byte that goes with the link: since a simulator died, its line may
 * have become that of another link. Adapters lock the first bytes.
 */
bool lock(int fd, const std::string& link) {
    std::error_code ignored; // a folder that cannot be looked at has no other name
    const std::filesystem::path path = std::filesystem::absolute(link, ignored);
    const std::string name = std::filesystem::weakly_canonical(path.parent_path(), ignored) / path.filename();
    struct flock byte {};
    byte.l_type = F_WRLCK;
    byte.l_whence = SEEK_SET;
    byte.l_start = 0x10000 + static_cast<off_t>(std::hash<std::string>()(name) % 0x10000000);
    byte.l_len = 1;
    return fcntl(fd, F_OFD_SETLK, &byte) == 0;
}

bool inUse(const std::string& device, const std::string& link) {
    const OwnedFd_t fd(open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    return fd.get() >= 0 && !lock(fd.get(), link);
}

} // namespace

Pty_t::Pty_t(std::string link) : link_(std::move(link)) {
    master_ = OwnedFd_t(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (master_.get() < 0 || grantpt(master_.get()) != 0 || unlockpt(master_.get()) != 0) {
        failed("cannot open a pseudo-terminal");
    }
    const char* const name = ptsname(master_.get());
    if (name == nullptr) {
        failed("cannot name the pseudo-terminal");
    }
    device_ = name;
    slave_ = OwnedFd_t(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (slave_.get() < 0) {
        failed("cannot open " + device_);
    }
    setRaw(slave_.get());
    if (fcntl(master_.get(), F_SETFL, O_NONBLOCK) != 0) {
        failed("cannot make the pseudo-terminal non-blocking");
    }
    place();
    if (!lock(slave_.get(), link_)) {
        failed("cannot lock " + device_);
    }
}

Pty_t::~Pty_t() {
    if (linkTarget(link_) == device_) {
        unlink(link_.c_str());
    }
}

void Pty_t::place() const {
    struct stat there {};
    if (lstat(link_.c_str(), &there) == 0) {
        const std::string target = linkTarget(link_);
        if (!S_ISLNK(there.st_mode) || !target.starts_with("/dev/pts/")) {
            throw failure(link_ + " exists and is not a simulator's link; remove it or give another --link");
        }
        if (target != device_ && inUse(target, link_)) {
            throw failure("another simulator serves " + link_ + "; stop it or give another --link");
        }
        unlink(link_.c_str());
    }
    if (symlink(device_.c_str(), link_.c_str()) != 0) {
        failed("cannot create the link " + link_ + " (--link names another place)");
    }
}
