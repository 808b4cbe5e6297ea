/** The serial I2C bridge on a pseudo-terminal. */
#pragma once

#include "bridge.h"
#include "pty.h"

class BridgeLine_t : public Line_t {
public:
    /** Throws ToolError_t when the link cannot be made. */
    BridgeLine_t(Bus_t& bus, const std::string& link) : bridge_(bus), pty_(link) {}

    Silenceable_t& silenceable() override { return bridge_; }
    std::string place() const override { return pty_.link() + " (" + pty_.device() + ")"; }
    std::vector<pollfd> watched() const override { return {{pty_.fd(), POLLIN, 0}}; }
    void serve(std::span<const pollfd> ready) override;

private:
    Bridge_t bridge_;
    Pty_t pty_;
};
