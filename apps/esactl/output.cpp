#include "output.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "errors.h"

void printText(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        throw outputError(std::string("cannot write the result: ") + std::strerror(errno));
    }
}

void printLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    printText(text);
}

void printJson(const Json_t& document) {
    printText(document.text(2) + "\n");
}

void printJsonLine(const Json_t& document) {
    printText(document.text(-1) + "\n");
}

namespace {

constexpr mode_t NEW_FILE = 0644;

[[noreturn]] void cannotWrite(const std::string& path, const std::string& reason) {
    throw outputError("cannot write '" + path + "': " + reason);
}

/** The permissions that the file at `path` has, or is to have when there is none. */
mode_t permissionsFor(const std::string& path) {
    struct stat there {};
    if (lstat(path.c_str(), &there) != 0) {
        const mode_t mask = umask(0);
        (void)umask(mask);
        return NEW_FILE & ~mask;
    }
    if (!S_ISREG(there.st_mode)) {
        cannotWrite(path, "it is no regular file; give another name, or - for standard output");
    }
    return there.st_mode & 07777;
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

void replaceFile(const std::string& path, const std::string& text) {
    const mode_t permissions = permissionsFor(path);
    // A name that nobody can foresee, in the same folder: a link that waits under it would be written through.
    std::string temporary = path + ".XXXXXX";
    const int file = mkostemp(temporary.data(), O_CLOEXEC);
    if (file < 0) {
        cannotWrite(path, std::strerror(errno));
    }
    bool good = writeWhole(file, text) && fchmod(file, permissions) == 0;
    good = close(file) == 0 && good;
    good = good && std::rename(temporary.c_str(), path.c_str()) == 0;
    if (!good) {
        const int reason = errno;
        (void)unlink(temporary.c_str());
        cannotWrite(path, std::strerror(reason));
    }
}

} // namespace

bool isStandardOutput(const std::string& path) {
    return path.empty() || path == "-";
}

void deliverText(const std::string& path, const std::string& text) {
    isStandardOutput(path) ? printText(text) : replaceFile(path, text);
}
