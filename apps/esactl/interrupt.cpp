#include "interrupt.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

volatile std::sig_atomic_t stopAsked = 0;
// A signal that arrives just before poll() must still wake it: the handler leaves a byte in this pipe.
std::array<int, 2> wakePipe{-1, -1};
int keyFd = -1;

void onSignal(int) {
    const int saved = errno;
    stopAsked = 1;
    const char byte = 0;
    (void)!write(wakePipe[1], &byte, 1);
    errno = saved;
}

} // namespace

void interruptInstall() {
    if (wakePipe[0] != -1 || pipe2(wakePipe.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    struct sigaction action {};
    action.sa_handler = onSignal;
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(signal, &action, nullptr);
    }
}

void interruptWatchKeys(int fd) {
    keyFd = fd;
}

int interruptSignalFd() {
    return wakePipe[0];
}

int interruptKeyFd() {
    return keyFd;
}

bool interruptRequested() {
    while (keyFd != -1) {
        pollfd ready{keyFd, POLLIN, 0};
        char key = 0;
        if (poll(&ready, 1, 0) != 1) {
            break;
        }
        if (read(keyFd, &key, 1) != 1) {
            keyFd = -1; // the terminal is gone
            stopAsked = 1;
        } else if (key == 'q' || key == 'Q') {
            stopAsked = 1;
        }
    }
    return stopAsked != 0;
}
