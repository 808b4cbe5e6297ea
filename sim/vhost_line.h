#pragma once
/** The simulated bus as a virtual machine's: a socket to which the emulator's vhost-user I2C device connects. */

#include "sim/line.h"
#include "sim/listener.h"
#include "sim/vhost_device.h"

namespace encsim {

/** Serves one emulator at a time, one after another; what a kernel waits for stays waiting while nobody serves it. */
class VhostLine : public Line, public Silenceable {
public:
    /** Throws std::runtime_error when nothing can listen at `path`. */
    VhostLine(Bus& bus, const std::string& path) : bus_(bus), path_(path), listener_(path, "--vhost-user") {}

    Silenceable& silenceable() override { return *this; }
    std::string place() const override { return path_; }
    std::vector<pollfd> watched() const override;
    void serve(std::span<const pollfd> ready) override;
    void setSilent(bool silent) override;
    bool silent() const override { return silent_; }

private:
    void serveListener();
    bool serveMessage();
    void hangUp();

    Bus& bus_;
    std::string path_;
    Listener listener_;
    Descriptor emulator_;
    std::optional<VhostDevice> device_;
    bool silent_ = false;
};

} // namespace encsim
