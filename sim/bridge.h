#pragma once
// The far end of the serial I2C bridge: bytes of the line in, transfers on the bus, bytes of the answer out.

#include "sim/bus.h"
#include "sim/line.h"

#include <chrono>
#include <vector>

namespace encsim {

class Bridge : public Silenceable {
public:
    using Clock = std::chrono::steady_clock;

    /// A request that is not complete, and junk, are forgotten after this much silence on the line.
    static constexpr std::chrono::milliseconds kSilence{100};

    explicit Bridge(Bus& bus) : bus_(bus) {}

    /// Takes what came over the line at time `now` and returns what to answer. Bytes that cannot begin a request make
    /// everything up to the next silence junk; junk is never answered.
    std::vector<std::uint8_t> feed(std::span<const std::uint8_t> bytes, Clock::time_point now);

    /// While silent the line takes everything.
    void setSilent(bool silent) override;
    bool silent() const override { return silent_; }

private:
    void take(std::uint8_t byte, std::vector<std::uint8_t>& answer);
    void run(std::vector<std::uint8_t>& answer);

    Bus& bus_;
    bool silent_ = false;
    bool junk_ = false;
    std::vector<std::uint8_t> request_;
    Clock::time_point last_{};
};

} // namespace encsim
