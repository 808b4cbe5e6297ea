#include "messaging/receive.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstring>

#include "core/control_block.h"
#include "core/fault.h"
#include "core/operation.h"
#include "messaging/dispatch.h"
#include "osdep.h"

namespace {

constexpr U32_t HEADER_PAUSE_USEC = 1000;
constexpr U32_t CLOSED_PAUSE_USEC = 100000;
/** A page code, at byte 72, that a short SEND DIAGNOSTIC leaves out is the earlier message's. */
constexpr U32_t FIRST_CLEARED = 73;

/**
 * Whether the header phase is over: one peek saw the whole header, or it saw the length field and all of the
 * message that it announces (a message shorter than a header would otherwise never be taken off the stream).
 */
bool headerIsComplete(const MMCH_t& header, U32_t seen) {
    constexpr U32_t LENGTH_FIELD_END = offsetof(MMCH_t, mmsg_length) + sizeof(header.mmsg_length);
    return seen == MMSG_K_HEADER_SIZE || (seen >= LENGTH_FIELD_END && seen >= header.mmsg_length);
}

/**
 * Peeks until the header is there. A peek on a UNIX stream returns what is queued, and the next one returns the
 * same bytes again, so only what a single peek saw counts.
 */
void peekHeader(MMCH_t& tmpMMCH) {
    for (U32_t seenSoFar = 0;;) {
        const ssize_t seen = recv(esaControl.socketFdMSM, &tmpMMCH, MMSG_K_HEADER_SIZE, MSG_PEEK | MSG_WAITALL);
        if (seen < 0) {
            ESA_TRACE_DUMP("tmpMMCH  =", &tmpMMCH, seenSoFar);
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
            ESA_TRACE_DUMP("esaMMSG =", buffer, std::min(total, room));
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

/** What an earlier message left behind this one goes, or a short control page would carry out somebody else's. */
void clearBehind(U32_t length) {
    const U32_t end = std::max(length, FIRST_CLEARED);
    if (end < sizeof(esaControl.esaInMsg)) {
        std::memset(esaControl.esaInMsg + end, 0, sizeof(esaControl.esaInMsg) - end);
    }
}

} // namespace

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
    clearBehind(length);
    esaProcMmsgMsg(wireAt<MMSG_t>(esaControl.esaInMsg));
}
