#include "log_writer.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

std::string linesLost(std::uint64_t count) {
    return std::to_string(count) + " lines of the log lost: nobody read them in time\n";
}

} // namespace

/** A reader that is only slow gets a moment to take the rest; one that never reads does not hold up the end. */
LogWriter_t::~LogWriter_t() {
    constexpr int TRIES = 10;
    flush();
    for (int i = 0; i < TRIES && isWaiting(); ++i) {
        pollfd room{descriptor_, POLLOUT, 0};
        (void)::poll(&room, 1, 10);
        flush();
    }
    if (isOwn_) {
        (void)::close(descriptor_);
    }
}

void LogWriter_t::open(int descriptor) {
    struct stat status {};
    if (isOwn_) {
        (void)::close(descriptor_);
        isOwn_ = false;
    }
    descriptor_ = descriptor;
    if (::fstat(descriptor, &status) != 0) {
        return;
    }
    isSocket_ = S_ISSOCK(status.st_mode);
    isFile_ = S_ISREG(status.st_mode);
    if (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)) {
        const std::string name = "/proc/self/fd/" + std::to_string(descriptor);
        const int own = ::open(name.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        isOwn_ = own >= 0;
        descriptor_ = isOwn_ ? own : descriptor;
    }
}

void LogWriter_t::write(std::string_view line) {
    if (lost_ != 0) {
        flush();
    }
    if (lost_ != 0 || waiting_.size() + line.size() + 1 > LOG_K_LIMIT) {
        // Once a line is lost none gets in before the one that says so, which comes when all that waited has gone.
        ++lost_;
        return;
    }
    waiting_.append(line).append("\n");
    flush();
}

void LogWriter_t::flush() {
    if (waiting_.empty() && lost_ != 0) {
        waiting_ = linesLost(lost_);
        told_ = std::exchange(lost_, 0);
    }
    std::size_t done = 0;
    while (done < waiting_.size()) {
        // Whole lines, and at most what a pipe takes or leaves in one piece.
        const std::string_view piece = std::string_view(waiting_).substr(done, PIPE_BUF);
        const std::size_t end = piece.rfind('\n');
        const ssize_t taken = attempt(end == std::string_view::npos ? piece : piece.substr(0, end + 1));
        if (taken < 0 && errno != EAGAIN) {
            waiting_.erase(0, done);
            giveUp();
            return;
        }
        if (taken <= 0) {
            break;
        }
        told_ = 0;
        done += static_cast<std::size_t>(taken);
    }
    waiting_.erase(0, done);
}

/** A full disk, a reader that has gone: what waits is lost and counted, for the case that lines are taken again. */
void LogWriter_t::giveUp() {
    const auto lines = static_cast<std::uint64_t>(std::ranges::count(waiting_, '\n'));
    lost_ += told_ == 0 ? lines : told_ + lines - 1;
    told_ = 0;
    waiting_.clear();
}

/** Bytes taken; less than 0 with errno EAGAIN when none is for now, with another value when none ever will be. */
ssize_t LogWriter_t::attempt(std::string_view text) const {
    pollfd room{descriptor_, POLLOUT, 0};
    if (!isFile_ && !isSocket_ && !isOwn_ && ::poll(&room, 1, 0) != 1) {
        errno = EAGAIN;
        return -1;
    }
    ssize_t count = 0;
    do {
        count = isSocket_ ? ::send(descriptor_, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL)
                          : ::write(descriptor_, text.data(), text.size());
    } while (count < 0 && errno == EINTR);
    return count;
}
