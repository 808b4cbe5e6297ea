#include "esamain.h"

#include <sys/select.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/fault.h"
#include "core/operation.h"
#include "core/outgoing.h"
#include "esainit.h"
#include "messaging/receive.h"
#include "osdep.h"
#include "policy/chassis.h"
#include "startup.h"

namespace {

constexpr U16_t TRACE_LEVEL_WHEN_ASKED = 0xC0FF;
constexpr U32_t RCP_WAIT_TESTS = 18;
constexpr U32_t RCP_WAIT_SECONDS = 10;
constexpr MPU_TIME_t SELECT_TIMEOUT = {1, 0};
constexpr U32_t USEC_PER_SEC = 1000000;

const CHAR_t* const trc_modNames[TRC_E_MOD_ESA_DEFINED_MODS] = {"ESA"};

/** The flags as they are now: Startup raises bits in the shared block behind the compiler's back. */
U32_t currentFlags() {
    return *static_cast<const volatile U32_t*>(&oMpuParams->flags);
}

/** The key as a long of 32 bits holds it: what is beyond its range is its end, on every processor. */
int keyOf(const CHAR_t* text) {
    return static_cast<int>(std::clamp<long>(std::strtol(text, nullptr, 0), INT32_MIN, INT32_MAX));
}

/** Takes the key from the command line and attaches the block; returns the exit status, 0 when all is well. */
int attachParameters(int argc, char* argv[]) {
    std::printf("main(): Start the Enclosure Services Adapter.");
    std::fflush(stdout);
    if (argc > 0) {
        const CHAR_t* slash = std::strrchr(argv[0], '/');
        ProgName = slash != nullptr ? slash + 1 : argv[0];
    } else {
        ProgName = "";
    }
    if (argc < 2) {
        std::printf("main(): Arguments few than 2.\n");
        return 1;
    }
    shmKey = keyOf(argv[1]);
    if (shmKey < MPU_K_LEAST_KEY) {
        std::printf("main(): shared memory key less than 100.\n");
        return 2;
    }
    oMpuParams = MPU_getMpuParams(shmKey);
    if (oMpuParams == nullptr) {
        std::fprintf(stderr, "%s: Unable to share parameters.", ProgName);
        std::fprintf(stderr, "%s: Giving up.", ProgName);
        return 3;
    }
    return 0;
}

void startTracing() {
    TRACE__init(oMpuParams, "esa_%02d.log", TRC_E_MOD_ESA_DEFINED_MODS, trc_modNames);
    if ((currentFlags() & MPU_K_FLAG_TRACING_ENABLED) != 0) {
        TRACE__setTraceLevel(TRC_E_MOD_ESA, TRACE_LEVEL_WHEN_ASKED);
    }
}

/** Whether the switch has sent something within `selectTimeout`. */
bool waitForInput() {
    fd_set readSet;
    FD_ZERO(&readSet);
    const S32_t socketFd = esaControl.socketFdMSM;
    const bool selectable = socketFd >= 0 && socketFd < FD_SETSIZE;
    if (selectable) {
        FD_SET(socketFd, &readSet);
    }
    timeval timeout = {static_cast<time_t>(esaControl.selectTimeout.sec),
                       static_cast<suseconds_t>(esaControl.selectTimeout.usec)};
    const int ready = select(selectable ? socketFd + 1 : 0, &readSet, nullptr, nullptr, &timeout);
    if (ready == -1) {
        esaFault(ESA_CALL_SITE("main()"), "Linux select function fails");
        return false;
    }
    return selectable && FD_ISSET(socketFd, &readSet);
}

bool isLess(const MPU_TIME_t& a, const MPU_TIME_t& b) {
    return a.sec != b.sec ? a.sec < b.sec : a.usec < b.usec;
}

MPU_TIME_t difference(const MPU_TIME_t& a, const MPU_TIME_t& b) {
    if (a.usec >= b.usec) {
        return {a.sec - b.sec, a.usec - b.usec};
    }
    return {a.sec - b.sec - 1, a.usec + USEC_PER_SEC - b.usec};
}

} // namespace

int esaMain(int argc, char* argv[]) {
    ESA_OPERATION_NAMED("main");
    if (const int status = attachParameters(argc, argv); status != 0) {
        return status;
    }
    // A send to a switch that has gone must come back as a failed send, not end the process silently.
    std::signal(SIGPIPE, SIG_IGN);
    startTracing();
    esaInit();
    ESA_TRACE("Finish initializing the Enclosure Services Adapter internal data structures.");
    esaSendStartupNotice();
    esaWaitForRcp();
    esaInitChassis();
    esaControl.selectTimeout = SELECT_TIMEOUT;
    for (;;) {
        esaMainLoopPass();
    }
}

void esaSendStartupNotice() {
    esaStartMmsg(MMSG_E_PROTOCOL_STARTUP, SUS_E_MMSG_NOTIFY_INIT_COMPLETE, MMSG_E_EPID_STARTUPMP);
    esaSendMmsg(ESA_CALL_SITE("main()"));
    ESA_TRACE("ESA finishes initialization and sends the message to the Startup process.");
}

void esaWaitForRcp() {
    U32_t rcpWaitRetryCount = 0;
    while (rcpWaitRetryCount < RCP_WAIT_TESTS) {
        if ((currentFlags() & MPU_K_FLAG_RCP_COMPLETE) != 0) {
            ESA_TRACE("RCP Complete flag is marked now.");
            break;
        }
        ++rcpWaitRetryCount;
        MPU_sleep(RCP_WAIT_SECONDS);
    }
    ESA_TRACE("rcpWaitRetryCount = [%d]", rcpWaitRetryCount);
}

void esaInitChassis() {
    const Chassis_t& chassis = esaChassis();
    const bool good = chassis.init() == ESA_E_OK;
    ESA_TRACE_TEXT(good ? chassis.initDoneText : chassis.initFailedText);
}

void esaMainLoopPass() {
    if (waitForInput()) {
        esaReceiveMmsg();
    }
    esaProcessPollTimeout();
}

void esaProcessPollTimeout() {
    // Passes are counted, not elapsed time: a pass that a message ended early counts a whole wait as well.
    if (!isLess(esaControl.pollTimeout, esaControl.selectTimeout)) {
        esaControl.pollTimeout = difference(esaControl.pollTimeout, esaControl.selectTimeout);
        return;
    }
    if (esaControl.i2cConnected == 1) {
        esaChassis().processPollTimeout();
    }
    esaControl.pollTimeout = ESA_K_POLL_TIMEOUT;
}
