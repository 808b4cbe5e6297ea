#include "esamain.h"

#include <sys/select.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "chassis.h"
#include "core/esafault.h"
#include "core/esainit.h"
#include "messaging/esadispatch.h"
#include "messaging/esammsg.h"
#include "osdep.h"
#include "policy/esaevents.h"
#include "startup.h"
#include "trace.h"

EsaControl_t esaControl;
const MPU_PARAMS_t* oMpuParams;
int shmKey;
const CHAR_t* ProgName;

namespace {

constexpr int LEAST_SHM_KEY = 100;
constexpr U16_t TRACE_LEVEL_WHEN_ASKED = 0xC0FF;
constexpr U32_t RCP_WAIT_TESTS = 18;
constexpr U32_t RCP_WAIT_SECONDS = 10;
constexpr MPU_TIME_t SELECT_TIMEOUT = {1, 0};
constexpr MPU_TIME_t POLL_TIMEOUT = {10, 0};
constexpr U32_t USEC_PER_SEC = 1000000;
constexpr U32_t HEADER_PAUSE_USEC = 1000;
constexpr U32_t CLOSED_PAUSE_USEC = 100000;

const CHAR_t* const trc_modNames[TRC_E_MOD_ESA_DEFINED_MODS] = {"ESA"};

/** The flags as they are now: Startup raises bits in the shared block behind the compiler's back. */
U32_t currentFlags() {
    return *static_cast<const volatile U32_t*>(&oMpuParams->flags);
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
    shmKey = static_cast<int>(std::strtol(argv[1], nullptr, 0));
    if (shmKey < LEAST_SHM_KEY) {
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

/**
 * Whether the header phase is over: one peek saw the whole header, or it saw the length field and all of the
 * message that it announces (a message shorter than a header would otherwise never be taken off the stream).
 */
bool headerIsComplete(const MMCH_t& header, U32_t seen) {
    constexpr U32_t lengthFieldEnd = offsetof(MMCH_t, mmsg_length) + sizeof(header.mmsg_length);
    return seen == MMSG_K_HEADER_SIZE || (seen >= lengthFieldEnd && seen >= header.mmsg_length);
}

/**
 * Peeks until the header is there. A peek on a UNIX stream returns what is queued, and the next one returns the
 * same bytes again, so only what a single peek saw counts.
 */
void peekHeader(MMCH_t& tmpMMCH) {
    for (U32_t seenSoFar = 0;;) {
        const ssize_t seen = recv(esaControl.socketFdMSM, &tmpMMCH, MMSG_K_HEADER_SIZE, MSG_PEEK | MSG_WAITALL);
        if (seen < 0) {
            TRACE_DUMP("tmpMMCH  =", &tmpMMCH, seenSoFar);
            esaFault(ESA_CALL_SITE("main()"), "Linux recv function fails, MSG_PEEK readSize = [%d] is wrong",
                     static_cast<int>(seen));
        } else {
            seenSoFar = static_cast<U32_t>(seen);
            if (headerIsComplete(tmpMMCH, seenSoFar)) {
                return;
            }
        }
        // A switch that has closed the connection is not an error; there is just never anything to read again.
        MPU_usleep(seen == 0 ? CLOSED_PAUSE_USEC : HEADER_PAUSE_USEC);
    }
}

/**
 * Takes `length` bytes off the stream: `room` of them into `buffer`, the rest nowhere. Every call reads to the start
 * of the buffer: the socket's low-water mark makes one call return all that is asked for, and the peers rely on a
 * message that is interrupted all the same being handled the way it always was.
 */
void readBody(U8_t* buffer, U32_t room, U32_t length) {
    U8_t discarded[512];
    for (U32_t total = 0; total < length;) {
        const bool fits = total < room;
        const U32_t wanted = fits ? std::min(length, room) - total : std::min<U32_t>(length - total, sizeof(discarded));
        const ssize_t got = recv(esaControl.socketFdMSM, fits ? buffer : discarded, wanted, 0);
        if (got < 0) {
            TRACE_DUMP("esaMMSG =", buffer, std::min(total, room));
            esaFault(ESA_CALL_SITE("main()"), "Linux recv function fails, mmsg_length readSize = [%d] is wrong",
                     static_cast<int>(got));
        } else {
            total += static_cast<U32_t>(got);
        }
        if (got <= 0) {
            MPU_usleep(got == 0 ? CLOSED_PAUSE_USEC : HEADER_PAUSE_USEC);
        }
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
    if (const int status = attachParameters(argc, argv); status != 0) {
        return status;
    }
    // A send to a switch that has gone must come back as a failed send, not end the process silently.
    std::signal(SIGPIPE, SIG_IGN);
    startTracing();
    esaInit();
    TRACE_INFO("Finish initializing the Enclosure Services Adapter internal data structures.");
    esaSendStartupNotice();
    esaWaitForRcp();
    esaInitChassis();
    esaControl.selectTimeout = SELECT_TIMEOUT;
    for (;;) {
        esaMainLoopPass();
    }
}

void esaSendStartupNotice() {
    (void)esaStartMmsg(MMSG_E_PROTOCOL_STARTUP, SUS_E_MMSG_NOTIFY_INIT_COMPLETE, MMSG_E_EPID_STARTUPMP);
    (void)esaSendMmsg(ESA_CALL_SITE("main()"));
    TRACE_INFO("ESA finishes initialization and sends the message to the Startup process.");
}

void esaWaitForRcp() {
    U32_t rcpWaitRetryCount = 0;
    while (rcpWaitRetryCount < RCP_WAIT_TESTS) {
        if ((currentFlags() & MPU_K_FLAG_RCP_COMPLETE) != 0) {
            TRACE_INFO("RCP Complete flag is marked now.");
            break;
        }
        ++rcpWaitRetryCount;
        MPU_sleep(RCP_WAIT_SECONDS);
    }
    TRACE_INFO("rcpWaitRetryCount = [%d]", rcpWaitRetryCount);
}

void esaInitChassis() {
    if (const Chassis_t* chassis = esaChassis(); chassis != nullptr) {
        if (chassis->init() == ESA_E_OK) {
            TRACE_INFO("%s", chassis->initDoneText);
        } else {
            TRACE_INFO("%s", chassis->initFailedText);
        }
        return;
    }
    const bool none = esaControl.enclosureType == VORAN_E_CHASSIS_NONE;
    esaSendInformationEvent(none ? EMP_E_TYPE_INFORMATION : EMP_E_TYPE_WARNING, ESA_E_EVENT_INFO_I2C_BUS_FAULT);
}

void esaMainLoopPass() {
    if (waitForInput()) {
        esaReceiveMmsg();
    }
    esaProcessPollTimeout();
}

void esaReceiveMmsg() {
    MMCH_t tmpMMCH = {};
    peekHeader(tmpMMCH);
    const U32_t length = tmpMMCH.mmsg_length;
    // The dispatcher judges this header even when less than a header is taken off the stream below.
    std::memcpy(esaControl.esaInMsg, &tmpMMCH, sizeof(tmpMMCH));
    if (length == 0) {
        // Nothing to read, but the header must go, or it would be peeked for ever.
        U8_t header[MMSG_K_HEADER_SIZE];
        readBody(header, sizeof(header), sizeof(header));
    } else {
        readBody(esaControl.esaInMsg, sizeof(esaControl.esaInMsg), length);
    }
    esaProcMmsgMsg(wireAt<MMSG_t>(esaControl.esaInMsg));
}

void esaProcessPollTimeout() {
    // Passes are counted, not elapsed time: a pass that a message ended early counts a whole wait as well.
    if (!isLess(esaControl.pollTimeout, esaControl.selectTimeout)) {
        esaControl.pollTimeout = difference(esaControl.pollTimeout, esaControl.selectTimeout);
        return;
    }
    if (const Chassis_t* chassis = esaChassis(); chassis != nullptr && esaControl.i2cConnected == 1) {
        chassis->processPollTimeout();
    }
    esaControl.pollTimeout = POLL_TIMEOUT;
}
