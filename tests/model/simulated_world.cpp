#include "simulated_world.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace model {
namespace {

/** Calls after which a life is over, whatever it has still in store. */
constexpr std::size_t MOST_CALLS = 50000;
constexpr unsigned WHOLE_DEVICE = 0xFFFF;
constexpr int PEEK = 0x02;
constexpr int LEAST_UNSELECTABLE = 1024;
constexpr std::size_t LONGEST_FUNCTION = 32; /**< what the log shows of a name */

constexpr std::size_t RECORD_HEADER = 152;
constexpr std::size_t FILE_FIELD = 64;
constexpr std::size_t LINE_FIELD_AT = RECORD_HEADER + 128;

[[gnu::format(printf, 1, 2)]] std::string text(const char* format, ...) {
    char line[256];
    std::va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
    return line;
}

std::string plainHex(std::span<const std::uint8_t> bytes) {
    static constexpr char DIGITS[] = "0123456789abcdef";
    std::string digits;
    digits.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        digits += DIGITS[byte >> 4];
        digits += DIGITS[byte & 0xF];
    }
    return digits;
}

/** Where in the source a critical error was noticed is nobody's business but the reader's of the log. */
std::string withoutPlace(std::span<const std::uint8_t> record) {
    const bool isErrorMessage = record.size() == 348 && record[150] == 0 && record[151] == 1;
    if (!isErrorMessage) {
        return plainHex(record);
    }
    return plainHex(record.first(RECORD_HEADER)) + "<file>" +
           plainHex(record.subspan(RECORD_HEADER + FILE_FIELD, LINE_FIELD_AT - RECORD_HEADER - FILE_FIELD)) + "<line>" +
           plainHex(record.subspan(LINE_FIELD_AT + 4));
}

bool startsWith(std::string_view whole, std::string_view start) {
    return whole.substr(0, start.size()) == start;
}

} // namespace

SimulatedWorld_t::SimulatedWorld_t(const Life_t& theLife) : life_(theLife), flagsNow_(theLife.flags) {
    flagsNow_ |= life_.rcp == 0 ? RCP_COMPLETE : 0;
    while (nextStep_ < life_.steps.size() && life_.steps[nextStep_].kind != Step_t::PASS) {
        apply(life_.steps[nextStep_++]);
    }
}

void SimulatedWorld_t::note(Entry_t::Kind_e kind, std::string line) {
    stream.push_back({kind, std::move(line), ""});
}

void SimulatedWorld_t::apply(const Step_t& step) {
    switch (step.kind) {
    case Step_t::PASS:
        passes_ = step.count;
        break;
    case Step_t::PUT:
        queue_.insert(queue_.end(), step.bytes.begin(), step.bytes.end());
        break;
    case Step_t::CLOSE:
        closed_ = true;
        break;
    case Step_t::REGISTER:
        registers_.set(step.address, step.reg.value_or(0), static_cast<std::uint8_t>(step.value));
        break;
    case Step_t::FAIL:
        failures_[{step.call, callCounts_[step.call] + step.count}] = step.outcome;
        break;
    case Step_t::DEAD:
        dead_[{step.address, step.reg.value_or(WHOLE_DEVICE)}] = step.outcome;
        break;
    case Step_t::HEAL:
        dead_.clear();
        failures_.clear();
        break;
    case Step_t::FLAGS:
        flagsNow_ = step.value;
        break;
    }
}

void SimulatedWorld_t::advance() {
    while (passes_ == 0) {
        if (nextStep_ == life_.steps.size()) {
            throw EndOfLife_t();
        }
        apply(life_.steps[nextStep_++]);
    }
    --passes_;
}

std::optional<Outcome_t> SimulatedWorld_t::planned(Call_e call) {
    if (++calls_ > MOST_CALLS) {
        throw EndOfLife_t();
    }
    const auto found = failures_.find({call, callCounts_[call]++});
    return found == failures_.end() ? std::nullopt : std::optional(found->second);
}

long SimulatedWorld_t::resultOf(Call_e call, long usual, long asked) {
    const std::optional<Outcome_t> outcome = planned(call);
    return outcome ? outcome->result(asked) : usual;
}

std::optional<Outcome_t> SimulatedWorld_t::plannedTransfer(Call_e call, std::uint8_t address, std::uint8_t reg) {
    receiving_ = false;
    std::optional<Outcome_t> outcome = planned(call);
    if (const auto either = planned(Call_e::TRANSFER)) {
        outcome = either;
    }
    for (const unsigned place : {WHOLE_DEVICE, unsigned{reg}}) {
        if (const auto found = dead_.find({address, place}); found != dead_.end()) {
            outcome = found->second;
        }
    }
    return outcome;
}

void SimulatedWorld_t::takeSnapshot() {
    if (!remembered) {
        return;
    }
    for (const std::string& line : remembered()) {
        note(Entry_t::STATE, "state " + line);
    }
}

std::optional<Parameters_t> SimulatedWorld_t::attachParameters(long key) {
    const bool attached = life_.attach == Attach_e::POSSIBLE;
    note(Entry_t::SYSTEM, text("attach %ld -> %s", key, attached ? "attached" : "none"));
    return attached ? std::optional(Parameters_t{life_.directory, "/log", life_.chassis}) : std::nullopt;
}

void SimulatedWorld_t::output(const char* name, std::string_view piece) {
    // How many calls a text takes is not seen outside.
    const std::string start = std::string(name) + ": ";
    if (!stream.empty() && stream.back().kind == Entry_t::OUTPUT && startsWith(stream.back().text, start)) {
        stream.back().text += piece;
        return;
    }
    note(Entry_t::OUTPUT, start + std::string(piece));
}

void SimulatedWorld_t::standardOutput(std::string_view piece) {
    output("stdout", piece);
}

void SimulatedWorld_t::standardError(std::string_view piece) {
    output("stderr", piece);
}

int SimulatedWorld_t::socket() {
    const auto fd = static_cast<int>(resultOf(Call_e::SOCKET, life_.socketFd));
    note(Entry_t::SYSTEM, text("socket -> %d", fd));
    return fd;
}

int SimulatedWorld_t::connect(int fd, const std::string& path, unsigned addressLength) {
    const auto result = static_cast<int>(resultOf(Call_e::CONNECT, 0));
    note(Entry_t::SYSTEM, text("connect %d '%s' %u -> %d", fd, path.c_str(), addressLength, result));
    return result;
}

int SimulatedWorld_t::openI2c(const std::string& path) {
    const auto fd = static_cast<int>(resultOf(Call_e::OPEN, life_.deviceFd));
    note(Entry_t::SYSTEM, text("open '%s' -> %d", path.c_str(), fd));
    return fd;
}

SelectResult_t SimulatedWorld_t::select(int fd, std::uint32_t seconds, std::uint32_t microseconds) {
    receiving_ = false;
    started_ = true;
    takeSnapshot();
    advance();
    const bool selectable = fd >= 0 && fd < LEAST_UNSELECTABLE;
    const bool waiting = selectable && (!queue_.empty() || closed_);
    const auto result = static_cast<int>(resultOf(Call_e::SELECT, waiting ? 1 : 0));
    // A call that fails leaves the set as it was given; 1 without anything there is the kernel's right as well.
    const bool readable = selectable && (result < 0 || result == 1);
    note(Entry_t::SYSTEM, text("select %d %u.%06u -> %d%s", selectable ? fd : -1, seconds, microseconds, result,
                               readable ? " readable" : ""));
    return {result, readable};
}

void SimulatedWorld_t::waitForBytes(std::size_t count) {
    while (queue_.size() < count && !closed_) {
        advance();
    }
}

ReceiveResult_t SimulatedWorld_t::received(std::size_t count, bool peek) {
    count = std::min(count, queue_.size());
    const auto end = queue_.begin() + static_cast<std::ptrdiff_t>(count);
    ReceiveResult_t result{static_cast<long>(count), {queue_.begin(), end}};
    if (!peek) {
        queue_.erase(queue_.begin(), end);
    }
    return result;
}

/** A peek gives what is there; the socket's low-water mark makes a read wait for all that it wants. */
ReceiveResult_t SimulatedWorld_t::receive(int fd, std::size_t length, int receiveFlags) {
    receiving_ = true;
    const bool peek = (receiveFlags & PEEK) != 0;
    const auto asked = static_cast<long>(length);
    ReceiveResult_t result;
    if (const std::optional<Outcome_t> outcome = planned(Call_e::RECEIVE)) {
        const long wanted = std::min(outcome->result(asked), asked);
        result = wanted > 0 ? received(static_cast<std::size_t>(wanted), peek) : ReceiveResult_t{wanted, {}};
    } else {
        waitForBytes(peek ? 1 : length);
        result = received(length, peek);
    }
    note(Entry_t::SYSTEM,
         text("recv %d %zu flags 0x%x -> %ld", fd, length, static_cast<unsigned>(receiveFlags), result.result));
    return result;
}

long SimulatedWorld_t::send(int fd, std::span<const std::uint8_t> message, int sendFlags) {
    receiving_ = false;
    const auto size = static_cast<long>(message.size());
    const long result = resultOf(Call_e::SEND, size, size);
    note(Entry_t::SYSTEM, text("send %d flags 0x%x %ld bytes ", fd, static_cast<unsigned>(sendFlags), size) +
                              plainHex(message) + text(" -> %ld", result));
    return result;
}

void SimulatedWorld_t::sleep(std::uint64_t microseconds) {
    if (++calls_ > MOST_CALLS) {
        throw EndOfLife_t();
    }
    note(Entry_t::SYSTEM, text("sleep %llu", static_cast<unsigned long long>(microseconds)));
    if (++sleeps_ == life_.rcp) {
        flagsNow_ |= RCP_COMPLETE;
    }
    // A pause between two receives is a chance for more to arrive.
    if (receiving_) {
        advance();
    }
}

I2cResult_t SimulatedWorld_t::readI2c(int fd, std::uint8_t address, std::uint8_t reg, int length) {
    read.insert({address, reg});
    if (started_) {
        readLater.insert({address, reg});
    }
    const std::optional<Outcome_t> outcome = plannedTransfer(Call_e::READ, address, reg);
    const auto got = outcome ? static_cast<int>(outcome->result(length)) : length;
    const I2cResult_t result{got, registers_.read(address, reg, length, got == length)};
    note(Entry_t::TRANSFER, text("read %d %02x:%02x %d -> %d [%s]", fd, address, reg, length, result.result,
                                 plainHex(result.data).c_str()));
    return result;
}

int SimulatedWorld_t::writeI2c(int fd, std::uint8_t address, std::uint8_t reg, std::span<const std::uint8_t> data) {
    written.insert({address, reg});
    const std::optional<Outcome_t> outcome = plannedTransfer(Call_e::WRITE, address, reg);
    const auto length = static_cast<int>(data.size());
    const int result = outcome ? static_cast<int>(outcome->result(length)) : length;
    if (result == length) {
        registers_.write(address, reg, data);
    }
    note(Entry_t::TRANSFER, text("write %d %02x:%02x [%s] -> %d", fd, address, reg, plainHex(data).c_str(), result));
    return result;
}

void SimulatedWorld_t::eventLog(std::span<const std::uint8_t> record, std::optional<int> action) {
    note(Entry_t::SYSTEM, "event log" + (action ? text(" action %d", *action) : "") + " " + withoutPlace(record));
    if (action && life_.bugCheckEnds) {
        throw EndOfLife_t();
    }
}

void SimulatedWorld_t::trace(std::string_view function, std::string_view piece) {
    static constexpr std::string_view FILE_LINE = "| File:      ", LINE_LINE = "| Line:      ";
    std::string line(piece);
    if (startsWith(piece, FILE_LINE)) {
        line = std::string(FILE_LINE) + "<file>";
    } else if (startsWith(piece, LINE_LINE)) {
        line = std::string(LINE_LINE) + "<line>";
    }
    stream.push_back({Entry_t::TRACE, std::move(line), std::string(function.substr(0, LONGEST_FUNCTION))});
}

} // namespace model
