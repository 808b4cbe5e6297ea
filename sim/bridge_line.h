#pragma once
/** The serial I2C bridge on a pseudo-terminal. */

#include "sim/bridge.h"
#include "sim/pty.h"

namespace encsim {

class BridgeLine : public Line {
public:
    /** Throws std::runtime_error when the link cannot be made. */
    BridgeLine(Bus& bus, const std::string& link) : bridge_(bus), pty_(link) {}

    Silenceable& silenceable() override { return bridge_; }
    std::string place() const override { return pty_.link() + " (" + pty_.device() + ")"; }
    std::vector<pollfd> watched() const override { return {{pty_.fd(), POLLIN, 0}}; }
    void serve(std::span<const pollfd> ready) override;

private:
    Bridge bridge_;
    Pty pty_;
};

} // namespace encsim
