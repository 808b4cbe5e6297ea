#include "stop_signal.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

volatile std::sig_atomic_t received = 0;
// A signal that arrives just before a wait must still end it: the handler leaves a byte in this pipe.
std::array<int, 2> wakePipe{-1, -1};

void onSignal(int /*signal*/) {
    const int saved = errno;
    received = 1;
    const char byte = 0;
    (void)!write(wakePipe[1], &byte, 1); // a full pipe wakes as well
    errno = saved;
}

} // namespace

void stopSignalInstall() {
    if (wakePipe[0] != -1 || pipe2(wakePipe.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = onSignal;
    sigset_t noted;
    (void)sigemptyset(&noted);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const bool isKept =
            signal == SIGHUP && sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
        if (!isKept) {
            (void)sigaction(signal, &action, nullptr);
            (void)sigaddset(&noted, signal);
        }
    }
    (void)sigprocmask(SIG_UNBLOCK, &noted, nullptr);
}

void stopSignalForget() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        (void)std::signal(signal, SIG_DFL);
    }
    for (int& end : wakePipe) {
        (void)close(end); // nothing happens where there is none
        end = -1;
    }
    received = 0;
}

int stopSignalFd() {
    return wakePipe[0];
}

bool stopSignalReceived() {
    return received != 0;
}
