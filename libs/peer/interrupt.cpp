#include "interrupt.h"

#include <poll.h>
#include <unistd.h>

#include "stop_signal.h"

namespace {

bool stopAsked = false;
int keyFd = -1;

} // namespace

void interruptWatchKeys(int fd) {
    keyFd = fd;
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
            stopAsked = true;
        } else if (key == 'q' || key == 'Q') {
            stopAsked = true;
        }
    }
    return stopAsked || stopSignalReceived();
}
