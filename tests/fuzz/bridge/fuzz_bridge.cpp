/**
 * Transfers over the serial I2C bridge while the line does what the input says. A transfer gives its length or -1 with
 * the cause in errno, sends one request at most, takes no byte that is not its reply's, and ends within its time.
 */
#include <cerrno>
#include <pty.h>
#include <termios.h>

#include "bus_health.h"
#include "fuzz_input.h"
#include "i2c_bridge.h"
#include "platform.h"
#include "scripted_line.h"

namespace {

using Bytes_t = std::vector<std::uint8_t>;
using fuzz::require;

// Three greetings, each after old input that is thrown away for 100 ms at most, with 400 ms of what is no answer and
// the 150 ms after it; then old input again, and the reply has 500 ms.
constexpr std::uint64_t LONGEST_MS = 3 * (100 + 400 + 150) + 100 + 500 + 20;

int lineFd = -1;

struct Transfer_t {
    explicit Transfer_t(fuzz::Input_t& input) {
        const std::uint8_t flags = input.byte();
        reads = (flags & 0x80) != 0;
        address = input.byte();
        reg = input.byte();
        length = input.byte() - ((flags & 0x40) != 0 ? 1 : 0) + ((flags & 0x20) != 0 ? 1 : 0);
        wanted = address <= 0x7F && length >= 1 && length <= 255;
    }

    bool reads;
    std::uint8_t address;
    std::uint8_t reg;
    int length;
    bool wanted; /**< a transfer that there can be */
};

/** Exactly as large as the transfer may count on. */
Bytes_t dataOf(const Transfer_t& transfer) {
    Bytes_t data(transfer.length > 0 ? static_cast<std::size_t>(transfer.length) : 0U);
    std::uint8_t next = transfer.reg;
    std::ranges::generate(data, [&] { return next++; });
    return data;
}

bool isNumbered(const Bytes_t& request) {
    return !request.empty() && (request[0] == 0x72 || request[0] == 0x77);
}

/** The request as it has to be, numbered as `sent` is. */
Bytes_t requestOf(const Transfer_t& transfer, const Bytes_t& data, const Bytes_t& sent) {
    Bytes_t request{static_cast<std::uint8_t>(transfer.reads ? 0x52 : 0x57), transfer.address, transfer.reg,
                    static_cast<std::uint8_t>(transfer.length)};
    if (isNumbered(sent)) {
        require(sent.size() >= 2 && sent[1] >= 0x80);
        request[0] = transfer.reads ? 0x72 : 0x77;
        request.insert(request.begin() + 1, sent[1]);
    }
    if (!transfer.reads) {
        request.insert(request.end(), data.begin(), data.end());
    }
    return request;
}

/** What came last is the reply with the request's number, its length and its data. */
void requireNumberedSuccess(const Transfer_t& transfer, const ScriptedLine_t& line, const Bytes_t& data) {
    Bytes_t reply{0x61, line.sent[1], static_cast<std::uint8_t>(transfer.reads ? transfer.length : 0)};
    if (transfer.reads) {
        reply.insert(reply.end(), data.begin(), data.end());
    }
    require(line.received.size() >= reply.size());
    require(std::equal(reply.rbegin(), reply.rend(), line.received.rbegin()));
}

void requireSuccess(const Transfer_t& transfer, const Bytes_t& received, const Bytes_t& data) {
    require(!received.empty() && received[0] == 0x41);
    const Bytes_t rest(received.begin() + 1, received.end());
    require(transfer.reads ? rest == data : rest.empty());
}

void requireFailure(const ScriptedLine_t& line, int cause) {
    require(cause != 0 && cause != EINTR && cause != EAGAIN);
    if (line.writes == 0) { // no answer to a greeting, or a line that is asked once a second
        require(cause != ENXIO && cause != EPROTO);
        return;
    }
    if (cause == ETIMEDOUT) {
        require(line.timeMs - line.requestMs >= 500); // a reply that comes later is thrown away
        return;
    }
    if (isNumbered(line.sent)) {
        return;
    }
    const int status = line.received.empty() ? -1 : line.received[0];
    require((cause == ENXIO) == (status == 0x4E));
    require((cause == EPROTO) == (status != -1 && status != 0x41 && status != 0x4E));
}

void carryOut(const Transfer_t& transfer, ScriptedLine_t& line) {
    Bytes_t data = dataOf(transfer);
    const Bytes_t written = data;
    const std::uint64_t start = line.timeMs;
    line.newTransfer();
    errno = 0;
    const int result = transfer.reads
                           ? read_i2c_data(lineFd, transfer.address, transfer.reg, data.data(), transfer.length)
                           : write_i2c_data(lineFd, transfer.address, transfer.reg, data.data(), transfer.length);
    const int cause = errno;
    require(line.timeMs - start <= LONGEST_MS);
    if (!transfer.wanted) {
        require(result == -1 && cause == EINVAL && line.writes == 0);
        return;
    }
    require(line.writes <= 1 && (line.writes == 0 || line.sent == requestOf(transfer, written, line.sent)));
    if (result == transfer.length) {
        require(line.writes == 1);
        isNumbered(line.sent) ? requireNumberedSuccess(transfer, line, data)
                              : requireSuccess(transfer, line.received, data);
    } else {
        require(result == -1);
        requireFailure(line, cause);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // Only its kind matters: no byte ever goes through it.
    int far = -1;
    require(openpty(&far, &lineFd, nullptr, nullptr, nullptr) == 0);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input_t input(data, size);
    std::vector<Transfer_t> transfers;
    for (int i = 0; i < 3; ++i) {
        transfers.emplace_back(input);
    }
    I2C_BRIDGE.begin();
    busForgetHealth();
    ScriptedLine_t line(lineFd, input);
    for (const Transfer_t& transfer : transfers) {
        carryOut(transfer, line);
    }
    return 0;
}
