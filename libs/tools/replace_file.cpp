#include "replace_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr mode_t NEW_FILE = 0644;

/** The permissions that the file at `path` has, or is to have when there is none; nothing for what is no file. */
std::optional<mode_t> permissionsFor(const std::string& path) {
    struct stat there {};
    if (lstat(path.c_str(), &there) != 0) {
        const mode_t mask = umask(0);
        (void)umask(mask);
        return NEW_FILE & ~mask;
    }
    return S_ISREG(there.st_mode) ? std::optional<mode_t>(there.st_mode & 07777) : std::nullopt;
}

bool writeWhole(int file, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write(file, text.data() + done, text.size() - done);
        if (count < 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

} // namespace

std::string replaceFile(const std::string& path, const std::string& text, std::optional<mode_t> wanted) {
    std::optional<mode_t> permissions = permissionsFor(path);
    if (!permissions) {
        return "it is no regular file";
    }
    permissions = wanted ? wanted : permissions;
    // A name that nobody can foresee, in the same folder: a link that waits under it would be written through.
    std::string temporary = path + ".XXXXXX";
    const int file = mkostemp(temporary.data(), O_CLOEXEC);
    if (file < 0) {
        return std::strerror(errno);
    }
    bool good = writeWhole(file, text) && fchmod(file, *permissions) == 0;
    good = close(file) == 0 && good;
    good = good && std::rename(temporary.c_str(), path.c_str()) == 0;
    if (good) {
        return "";
    }
    const int reason = errno;
    (void)unlink(temporary.c_str());
    return std::strerror(reason);
}
