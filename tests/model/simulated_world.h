/**
 * The world that a life makes, and its diary: one ordered stream of what was done to it and what it answered, of the
 * trace log, and of what the adapter remembers whenever it waits for input.
 */
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "life.h"
#include "registers.h"
#include "world.h"

namespace model {

struct Entry {
    enum Kind { TRACE, TRANSFER, SYSTEM, OUTPUT, STATE };
    Kind kind;
    std::string text;
    std::string function; /**< of a trace piece: who traced it */
};

class SimulatedWorld : public World {
public:
    explicit SimulatedWorld(const Life& life);

    /** Tells what the adapter remembers, a line a field; asked at every wait for input and at the end. */
    std::function<std::vector<std::string>()> remembered;

    std::vector<Entry> stream;
    /** Registers that were read, or written, in this life. */
    std::set<std::pair<std::uint8_t, unsigned>> read, written;

    /** Writes down which lines of what is remembered have changed. */
    void takeSnapshot();
    /** Writes down how the process ended. */
    void ended(const std::string& how) { note(Entry::SYSTEM, how); }

    std::optional<Parameters> attachParameters(long key) override;
    std::uint32_t flags() override { return flagsNow; }
    void standardOutput(std::string_view text) override;
    void standardError(std::string_view text) override;
    int socket() override;
    int connect(int fd, const std::string& path, unsigned addressLength) override;
    int openI2c(const std::string& path) override;
    SelectResult select(int fd, std::uint32_t seconds, std::uint32_t microseconds) override;
    ReceiveResult receive(int fd, std::size_t length, int receiveFlags) override;
    long send(int fd, std::span<const std::uint8_t> message, int sendFlags) override;
    void sleep(std::uint64_t microseconds) override;
    I2cResult readI2c(int fd, std::uint8_t address, std::uint8_t reg, int length) override;
    int writeI2c(int fd, std::uint8_t address, std::uint8_t reg, std::span<const std::uint8_t> data) override;
    void eventLog(std::span<const std::uint8_t> record, std::optional<int> action) override;
    void trace(std::string_view function, std::string_view text) override;

private:
    void note(Entry::Kind kind, std::string text);
    void output(const char* name, std::string_view text);
    void apply(const Step& step);
    /** Goes on to the end of the next pass; ends the life when there is none. */
    void advance();
    /** What the next `call` gives that is meant to fail. */
    std::optional<Outcome> planned(Call call);
    std::optional<Outcome> plannedTransfer(Call call, std::uint8_t address, std::uint8_t reg);
    long resultOf(Call call, long usual, long asked = 0);
    void waitForBytes(std::size_t count);
    ReceiveResult received(std::size_t count, bool peek);

    const Life life;
    std::size_t nextStep = 0;
    unsigned passes = 0;
    std::size_t calls = 0;
    std::uint32_t flagsNow;
    unsigned sleeps = 0;
    bool receiving = false; /**< nothing but receives and what reports their failure since the last of them */
    bool closed = false;
    std::deque<std::uint8_t> queue;
    Registers registers;
    std::map<Call, unsigned> callCounts;
    std::map<std::pair<Call, unsigned>, Outcome> failures;
    std::map<std::pair<std::uint8_t, unsigned>, Outcome> dead;
    std::vector<std::string> lastSnapshot;
};

} // namespace model
