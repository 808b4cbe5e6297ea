/** SES commands to the enclosure services adapter, each answered by its own reply or by a time limit. */
#pragma once

#include <chrono>
#include <functional>

#include "switch_client.h"

/** The adapter's answer to one command. */
struct SesReply_t {
    U8_t statusCode = 0;       /**< 0 GOOD, 2 CHECK CONDITION */
    U32_t returnCode = 0;      /**< of the header */
    std::vector<U8_t> payload; /**< what follows the status byte: a page or sense data */
};

class SesClient_t {
public:
    /** Connects as a peer; `timeout` also limits each later exchange. Throws as PeerConnection does. */
    SesClient_t(const std::string& directory, std::chrono::milliseconds timeout, const PeerDoor_t& door = {});

    /**
     * RECEIVE DIAGNOSTIC RESULTS for `page`. Throws ToolError_t "no-answer" when no reply to this very request came in
     * time (the adapter passes over pages that it lacks in silence), "bad-answer" when the reply holds no status.
     */
    SesReply_t receiveDiagnostic(U8_t page);

    /** SEND DIAGNOSTIC of `page` in page format; an empty page is sent as an empty parameter list. Throws as above. */
    SesReply_t sendDiagnostic(std::span<const U8_t> page);

    /** Called some times a second while an answer is waited for; what it throws ends the exchange. */
    std::function<void()> whileWaiting;

private:
    SesReply_t exchange(Message_t request, const std::string& what, const std::string& hint);

    std::chrono::milliseconds timeout_;
    PeerConnection_t peer_;
    U32_t handle_;
};

/** Longest page that a SEND DIAGNOSTIC message can carry. */
inline constexpr std::size_t SES_K_MAX_CONTROL_PAGE = MMSG_K_MAX_SIZE - 72;

/** Throws ToolError_t "refused", with the sense data spelt out, unless the reply is GOOD. */
void requireGood(const SesReply_t& reply, const std::string& what);
