#include "stop_signal.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr std::array SIGNALS{SIGINT, SIGTERM, SIGHUP};
std::array<struct sigaction, SIGNALS.size()> formerly; /**< what each of them did */
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
    action.sa_handler = onSignal;
    sigset_t noted;
    (void)sigemptyset(&noted);
    for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
        (void)sigaction(SIGNALS[i], nullptr, &formerly[i]);
        if (SIGNALS[i] != SIGHUP || formerly[i].sa_handler != SIG_IGN) {
            (void)sigaction(SIGNALS[i], &action, nullptr);
            (void)sigaddset(&noted, SIGNALS[i]);
        }
    }
    (void)sigprocmask(SIG_UNBLOCK, &noted, nullptr);
}

void stopSignalForget() {
    if (wakePipe[0] == -1) {
        return;
    }
    for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
        (void)sigaction(SIGNALS[i], &formerly[i], nullptr);
    }
    for (int& end : wakePipe) {
        (void)close(end);
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
