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

struct Entry_t {
    enum Kind_e { TRACE, TRANSFER, SYSTEM, OUTPUT, STATE };
    Kind_e kind;
    std::string text;
    std::string function; /**< of a trace piece: who traced it */
};

class SimulatedWorld_t : public World_t {
public:
    explicit SimulatedWorld_t(const Life_t& life);

    /**
     * Tells what of the things that the adapter remembers has changed, a line a field; asked at every wait for input
     * and at the end.
     */
    std::function<std::vector<std::string>()> remembered;

    std::vector<Entry_t> stream;
    /** Registers that were read, some of them after the adapter's start too, or written in this life. */
    std::set<std::pair<std::uint8_t, unsigned>> read, readLater, written;

    /** Writes down what of the remembered has changed. */
    void takeSnapshot();
    /** Writes down how the process ended. */
    void ended(const std::string& how) { note(Entry_t::SYSTEM, how); }

    std::optional<Parameters_t> attachParameters(long key) override;
    std::uint32_t flags() override { return flagsNow_; }
    void standardOutput(std::string_view text) override;
    void standardError(std::string_view text) override;
    int socket() override;
    int connect(int fd, const std::string& path, unsigned addressLength) override;
    int openI2c(const std::string& path) override;
    SelectResult_t select(int fd, std::uint32_t seconds, std::uint32_t microseconds) override;
    ReceiveResult_t receive(int fd, std::size_t length, int receiveFlags) override;
    long send(int fd, std::span<const std::uint8_t> message, int sendFlags) override;
    void sleep(std::uint64_t microseconds) override;
    I2cResult_t readI2c(int fd, std::uint8_t address, std::uint8_t reg, int length) override;
    int writeI2c(int fd, std::uint8_t address, std::uint8_t reg, std::span<const std::uint8_t> data) override;
    void eventLog(std::span<const std::uint8_t> record, std::optional<int> action) override;
    void trace(std::string_view function, std::string_view text) override;

private:
    void note(Entry_t::Kind_e kind, std::string text);
    void output(const char* name, std::string_view text);
    void apply(const Step_t& step);
    /** Goes on to the end of the next pass; ends the life when there is none. */
    void advance();
    /** What the next `call` gives that is meant to fail. */
    std::optional<Outcome_t> planned(Call_e call);
    std::optional<Outcome_t> plannedTransfer(Call_e call, std::uint8_t address, std::uint8_t reg);
    long resultOf(Call_e call, long usual, long asked = 0);
    void waitForBytes(std::size_t count);
    ReceiveResult_t received(std::size_t count, bool peek);

    const Life_t life_;
    std::size_t nextStep_ = 0;
    unsigned passes_ = 0;
    std::size_t calls_ = 0;
    std::uint32_t flagsNow_;
    unsigned sleeps_ = 0;
    bool started_ = false;   /**< it has waited for input */
    bool receiving_ = false; /**< nothing but receives and what reports their failure since the last of them */
    bool closed_ = false;
    std::deque<std::uint8_t> queue_;
    Registers_t registers_;
    std::map<Call_e, unsigned> callCounts_;
    std::map<std::pair<Call_e, unsigned>, Outcome_t> failures_;
    std::map<std::pair<std::uint8_t, unsigned>, Outcome_t> dead_;
};

} // namespace model
