/** Sockets and what goes over them: status requests, their replies, and echoes of the same sizes. */
#pragma once

#include <array>
#include <string>

#include "mmsg.h"

inline constexpr unsigned REQUEST_SIZE = 72;
inline constexpr unsigned REPLY_SIZE = 192; // status page of the chassis that is measured

/** A listening socket of that name in our folder. */
int listenAt(const std::string& name);

/** A connection to the socket of that name, as soon as somebody listens there. */
int connectTo(const std::string& name);

/** Connects as a peer of the switch; the greeting says which endpoint this is. */
int connectPeer(U8_t* endpoint);

using Ends_t = std::array<int, 2>;
Ends_t connectedPair();

/** Reads exactly so many bytes. */
void readWhole(int fd, U8_t* bytes, std::size_t size);

/** Takes one message off the socket; returns its length. */
unsigned readMessage(int fd, U8_t* bytes);

/** Asks for the status page. */
struct Request_t {
    U8_t bytes[REQUEST_SIZE] = {};

    explicit Request_t(U8_t requestor);
};

void sendRequest(int fd, const Request_t& request);

/** A first round trip: events that come before the reply are dropped. */
void settle(int fd, const Request_t& request);

/** A round trip when nothing changes in the enclosure any more: the next bytes are the reply, read like an echo's. */
void roundTrip(int fd, const Request_t& request);

/** Takes a request's bytes off the socket and sends a reply's; whether both went well. */
bool echoOnce(int fd);

/** Hands a message of `size` bytes on from one socket to the other; whether that went well. */
bool relay(int from, int to, std::size_t size);
