/** The far end of the serial I2C bridge: bytes of the line in, transfers on the bus, bytes of the answer out. */
#pragma once

#include <chrono>
#include <vector>

#include "bus.h"
#include "line.h"

class Bridge_t : public Silenceable_t {
public:
    using Clock_t = std::chrono::steady_clock;

    /** A request that is not complete, and junk, are forgotten after this much silence on the line. */
    static constexpr std::chrono::milliseconds SILENCE{100};

    explicit Bridge_t(Bus_t& bus) : bus_(bus) {}

    /**
     * Takes what came over the line at time `now` and returns what to answer. Bytes that cannot begin a request make
     * everything up to the next silence junk; junk is never answered.
     */
    std::vector<std::uint8_t> feed(std::span<const std::uint8_t> bytes, Clock_t::time_point now);

    /** While silent the line takes everything. */
    void setSilent(bool silent) override;
    bool silent() const override { return silent_; }

private:
    void take(std::uint8_t byte, std::vector<std::uint8_t>& answer);
    void run(std::vector<std::uint8_t>& answer);

    Bus_t& bus_;
    bool silent_ = false;
    bool junk_ = false;
    std::vector<std::uint8_t> request_;
    Clock_t::time_point last_{};
};
