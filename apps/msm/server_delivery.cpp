/** Where messages go, and at whose pace. */
#include <algorithm>
#include <poll.h>
#include <sys/epoll.h>

#include "decode.h"
#include "server.h"
#include "ses_mesgs.h"
#include "words.h"

using namespace std::chrono_literals;

namespace {

/**
 * Messages that wait for the adapter before their sender has to wait itself: of one connection, of all connections of
 * one process; and how many a connection may have in any case, so that it need not suffer for the process' others.
 */
constexpr std::size_t CONNECTION_SHARE = 64;
constexpr std::size_t PROCESS_SHARE = 256;
constexpr std::size_t OWN_SHARE = 4;
/** An adapter that has taken nothing for so long holds up no sender: it loses messages as everybody else does. */
constexpr auto ADAPTER_PATIENCE = 1s;
/** A perishable message that has waited so long for a connected receiver: longer than the adapter's start takes. */
constexpr auto STALE = 200s;

/** Whether it is what the socket for questions is for: RECEIVE DIAGNOSTIC RESULTS to the adapter and nobody else. */
bool isQuestion(std::span<const U8_t> message) {
    const MMCH_t& header = wireAt<MMCH_t>(message.data());
    return header.message_type == MSG_E_TYPE_MMSG && header.opcode.request.protocol == MMSG_E_PROTOCOL_SES &&
           header.opcode.request.type == U32_t{SES_K_RECEIVE_DIAGNOSTIC_RESULTS_COMMAND} && header.mmsg_cont == 0 &&
           recipientsOf(header) == endpointSet(MMSG_E_EPID_ES_ADAPTERMP);
}

/** Whom the adapter reports to. */
constexpr EndpointSet_t REPORTED_TO = endpointSet(MMSG_E_EPID_STARTUPMP) | endpointSet(MMSG_E_EPID_EVENTLOGMP);
/** Reports that a listener is given when it connects. */
constexpr std::size_t LATEST_NEWS = 256;

/** What a listener is told: what the switch knows of a message, as a header of its own, and the message. */
std::vector<U8_t> noted(std::span<const U8_t> message, const Arrival_t& arrival, std::uint32_t number,
                        std::uint32_t run) {
    MMCH_t note = ownMessage();
    note.handle = number;
    note.general_use1 = run;
    const auto arrived = static_cast<std::uint64_t>(arrival.wall.time_since_epoch() / std::chrono::microseconds(1));
    note.timestamp.high = static_cast<U32_t>(arrived >> 32);
    note.timestamp.low = static_cast<U32_t>(arrived);
    const std::span noteBytes(reinterpret_cast<const U8_t*>(&note), sizeof note);
    std::vector<U8_t> bytes(noteBytes.size() + message.size());
    std::ranges::copy(message, std::ranges::copy(noteBytes, bytes.begin()).out);
    return bytes;
}

} // namespace

/** Whether the sender's next message has to wait because the adapter has enough of its messages. */
bool Server_t::mustWait(const Connection_t& sender, std::span<const U8_t> message) {
    const Connection_t* there = adapter();
    if (there == nullptr || &sender == there) {
        return false;
    }
    const Backlog_t& waiting = there->mail.waiting();
    const std::size_t own = waiting.count(sender.origin.connection);
    const bool isCrowd = waiting.count(sender.origin.visitor) >= PROCESS_SHARE;
    if (own < OWN_SHARE || (own < CONNECTION_SHARE && !isCrowd)) {
        return false;
    }
    const bool isForAdapter = (recipientsOf(wireAt<MMCH_t>(message.data())) & endpointSet(there->endpoint)) != 0;
    return isForAdapter && now_ - there->taken < ADAPTER_PATIENCE;
}

void Server_t::switchMessage(Connection_t& sender, std::span<const U8_t> message) {
    if (isRefused(sender, message)) {
        return;
    }
    const Parcel_t parcel(message, sender.endpoint, sender.origin, sender.arrival);
    const Routing_t& routing = router_.route(parcel);
    if (journal_.isTracing()) {
        journal_.trace(describeMessage(message, sender.endpoint, routing));
    }
    for (const int descriptor : routing.connections) {
        deliver(*find(descriptor), parcel);
    }
    tellListeners(parcel);
    reportLosses(routing);
}

/** Note and message are one letter: whoever reads too slowly loses both. */
void Server_t::tellListeners(const Parcel_t& message) {
    const bool isReport = (recipientsOf(wireAt<MMCH_t>(message.bytes().data())) & REPORTED_TO) != 0;
    if (!isReport || message.sender() != MMSG_E_EPID_ES_ADAPTERMP) {
        return;
    }
    const std::vector<U8_t> bytes = noted(message.bytes(), message.arrival(), ++told_, run_);
    const Parcel_t news(bytes, MMSG_E_EPID_MSMMP, message.origin(), message.arrival());
    news_.push_back(news.letter());
    if (news_.size() > LATEST_NEWS) {
        news_.pop_front();
    }
    for (const int listener : listeners_) {
        deliver(*find(listener), news);
    }
}

/** Whether there is an adapter. The note repeats the number of the latest report: nothing is missed behind it. */
LetterPtr_t Server_t::presence() const {
    MMCH_t word = ownMessage();
    word.general_use1 = adapter_ < 0 ? U32_t{0} : U32_t{1};
    const Arrival_t now{now_, std::chrono::system_clock::now()};
    const std::span bytes(reinterpret_cast<const U8_t*>(&word), sizeof word);
    return std::make_shared<const Letter_t>(
        Letter_t{noted(bytes, now, told_, run_), MMSG_E_EPID_MSMMP, Origin_t{}, now});
}

/** A report says nothing of an adapter that has died, and silence does not tell a dead one from a busy one. */
void Server_t::tellPresence() {
    const LetterPtr_t letter = presence();
    for (const int listener : listeners_) {
        Connection_t& receiver = *find(listener);
        wait(receiver, letter);
        if (!receiver.waitsToWrite) {
            pump(receiver);
        }
    }
}

void Server_t::beginToListen(Connection_t& listener) {
    listeners_.push_back(listener.descriptor);
    for (const LetterPtr_t& letter : news_) {
        wait(listener, letter);
    }
    wait(listener, presence());
    pump(listener);
}

/** Nobody speaks in another's name, and who may only ask does nothing else. */
bool Server_t::isRefused(Connection_t& sender, std::span<const U8_t> message) {
    const U8_t requestor = wireAt<MMCH_t>(message.data()).requestor;
    const bool isForeign = requestor != sender.endpoint;
    if (sender.door == Door_e::LISTEN) {
        return true;
    }
    if (!isForeign && (sender.door != Door_e::ASK || isQuestion(message))) {
        return false;
    }
    const std::string why = endpointName(sender.endpoint) +
                            (isForeign ? " sends in the name of " + endpointName(requestor) : " may only ask") +
                            ": message refused";
    ++sender.foreign;
    if (journal_.isTracing()) {
        journal_.trace(why + ": " + std::to_string(message.size()) + " bytes, " + describeContent(message));
    } else if (isWorthNotice(sender.foreign)) {
        journal_.notice(isForeign ? Notice_e::FOREIGN_NAME : Notice_e::NO_QUESTION,
                        why + ", " + std::to_string(sender.foreign) + " so far");
    }
    return true;
}

void Server_t::reportLosses(const Routing_t& routing) {
    if (routing.named == 0 && isWorthNotice(++unaddressed_)) {
        journal_.notice(Notice_e::LOST, "message for nobody dropped, " + std::to_string(unaddressed_) + " so far");
    }
    for (EndpointSet_t rest = routing.displaced; rest != 0; rest &= rest - 1) {
        const U8_t endpoint = firstEndpoint(rest);
        const std::uint64_t lost = router_.lostFromQueue(endpoint);
        if (isWorthNotice(lost)) {
            journal_.notice(Notice_e::LOST, "queue of " + endpointName(endpoint) + " full: oldest message dropped, " +
                                                std::to_string(lost) + " so far");
        }
    }
}

void Server_t::reportLoss(Connection_t& receiver, std::size_t count) {
    for (; count != 0; --count) {
        if (isWorthNotice(++receiver.lost)) {
            journal_.notice(Notice_e::LOST, endpointName(receiver.endpoint) + " reads too slowly: message dropped, " +
                                                std::to_string(receiver.lost) + " so far");
        }
    }
}

void Server_t::deliver(Connection_t& receiver, const Parcel_t& message) {
    if (!receiver.waitsToWrite && receiver.mail.isOpen(message.origin(), now_) && takesMore(receiver)) {
        receiver.mail.passed(message.origin(), now_);
        (void)sendNow(receiver, message.bytes());
        return;
    }
    wait(receiver, message.letter());
    if (!receiver.waitsToWrite) {
        pump(receiver);
    }
}

void Server_t::wait(Connection_t& receiver, const LetterPtr_t& letter) {
    reportLoss(receiver, receiver.mail.push(letter));
}

/** Sends what waits for a receiver, until it takes no more, nothing is left, or what is left has to wait for its pace.
 */
void Server_t::pump(Connection_t& receiver) {
    if (receiver.out.waiting() != 0) {
        const Send_e result = receiver.out.flush(receiver.descriptor);
        if (result != Send_e::SENT) {
            waitToWrite(receiver, result == Send_e::BUFFERED);
            return;
        }
        receiver.taken = now_;
    }
    while (sendNext(receiver)) {
    }
}

/** False when there is nothing more to be done for now. */
bool Server_t::sendNext(Connection_t& receiver) {
    const bool isBlocked = !receiver.mail.empty() && !takesMore(receiver);
    const LetterPtr_t letter = isBlocked ? nullptr : receiver.mail.next(now_);
    if (!letter) {
        waitToWrite(receiver, isBlocked);
        return false;
    }
    if (isPerishable(receiver.endpoint, letter->bytes) && now_ - letter->arrival.steady > staleAge()) {
        reportLoss(receiver, 1);
        return true;
    }
    return sendNow(receiver, letter->bytes);
}

/** What is kept for absent ones may be older than what anybody would leave waiting. */
MsmClock_t::duration Server_t::staleAge() const {
    return std::max<MsmClock_t::duration>(STALE, std::chrono::seconds(options_.keepSeconds));
}

/** Sends to a receiver for whom no bytes wait; false when it has not taken all. */
bool Server_t::sendNow(Connection_t& receiver, std::span<const U8_t> message) {
    const Send_e result = receiver.out.send(receiver.descriptor, message);
    if (result == Send_e::GONE) {
        return false; // its end of stream follows and takes it off the table
    }
    receiver.taken = now_;
    if (result == Send_e::BUFFERED) {
        waitToWrite(receiver, true);
    }
    return result == Send_e::SENT;
}

/**
 * Whether a receiver is to be given another message. For all but the adapter the kernel says so when it is tried; the
 * adapter is given the next one when it has taken up what it has.
 */
bool Server_t::takesMore(const Connection_t& receiver) {
    pollfd room{receiver.descriptor, POLLOUT, 0};
    return receiver.door != Door_e::ADAPTER || ::poll(&room, 1, 0) == 1;
}

void Server_t::waitToWrite(Connection_t& connection, bool wanted) {
    if (connection.waitsToWrite != wanted) {
        connection.waitsToWrite = wanted;
        const U32_t events = EPOLLIN | EPOLLRDHUP | EPOLLET;
        (void)watch(connection.descriptor, EPOLL_CTL_MOD, wanted ? events | EPOLLOUT : events);
    }
}
