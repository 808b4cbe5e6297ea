#include "exchange.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>

#include "processes.h"
#include "ses_mesgs.h"

namespace {

sockaddr_un addressOf(const std::string& name) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof(address.sun_path), "%s/%s", place.folder.c_str(), name.c_str());
    return address;
}

} // namespace

int listenAt(const std::string& name) {
    const sockaddr_un address = addressOf(name);
    unlink(address.sun_path);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 || listen(fd, 1) != 0) {
        fail(address.sun_path);
    }
    return fd;
}

int connectTo(const std::string& name) {
    const sockaddr_un address = addressOf(name);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    for (int i = 0; i < 200; ++i) {
        if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
            return fd;
        }
        usleep(20000);
    }
    fail(address.sun_path);
}

void readWhole(int fd, U8_t* bytes, std::size_t size) {
    if (recv(fd, bytes, size, MSG_WAITALL) != static_cast<ssize_t>(size)) {
        fail("recv");
    }
}

unsigned readMessage(int fd, U8_t* bytes) {
    readWhole(fd, bytes, MMSG_K_HEADER_SIZE);
    const unsigned length = wireAt<MMCH_t>(static_cast<const void*>(bytes)).mmsg_length;
    if (length > MMSG_K_HEADER_SIZE) {
        readWhole(fd, bytes + MMSG_K_HEADER_SIZE, length - MMSG_K_HEADER_SIZE);
    }
    return length;
}

Request_t::Request_t(U8_t requestor) {
    auto& mmch = wireAt<MMCH_t>(static_cast<void*>(bytes));
    mmch.message_type = MSG_E_TYPE_MMSG;
    mmch.mmch_version = MMCH_K_VERSION;
    mmch.mmsg_length = REQUEST_SIZE;
    mmch.opcode.request.protocol = MMSG_E_PROTOCOL_SES;
    mmch.opcode.request.type = SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND;
    mmch.requestor = requestor;
    mmch.dest_ep = MMSG_E_EPID_ES_ADAPTERMP;
    mmsgAddRecipient(mmch.recipient_loc_bm, MMSG_E_EPID_ES_ADAPTERMP);
    auto& command = wireAt<RcvDiagResCommand_t>(static_cast<void*>(bytes + MMSG_K_HEADER_SIZE));
    command.operationCode = SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND;
    command.pcv = 1;
    command.pageCode = SES_K_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE;
    command.allocationLength = 4000;
}

void sendRequest(int fd, const Request_t& request) {
    if (send(fd, request.bytes, REQUEST_SIZE, 0) != REQUEST_SIZE) {
        fail("send");
    }
}

void settle(int fd, const Request_t& request) {
    sendRequest(fd, request);
    U8_t reply[MMSG_K_MAX_SIZE];
    while (readMessage(fd, reply) != REPLY_SIZE) {
    }
}

void roundTrip(int fd, const Request_t& request) {
    sendRequest(fd, request);
    U8_t reply[REPLY_SIZE];
    readWhole(fd, reply, sizeof(reply));
}

Ends_t connectedPair() {
    Ends_t ends;
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) {
        fail("socketpair");
    }
    return ends;
}

bool echoOnce(int fd) {
    U8_t bytes[REPLY_SIZE] = {};
    return recv(fd, bytes, REQUEST_SIZE, MSG_WAITALL) == REQUEST_SIZE && send(fd, bytes, REPLY_SIZE, 0) == REPLY_SIZE;
}

bool relay(int from, int to, std::size_t size) {
    U8_t bytes[REPLY_SIZE];
    return recv(from, bytes, size, MSG_WAITALL) == static_cast<ssize_t>(size) &&
           send(to, bytes, size, 0) == static_cast<ssize_t>(size);
}

int connectPeer(U8_t* endpoint) {
    const int fd = connectTo("peer");
    U8_t greeting[MMSG_K_MAX_SIZE];
    (void)readMessage(fd, greeting);
    *endpoint = wireAt<MMCH_t>(static_cast<const void*>(greeting)).dest_ep;
    return fd;
}
