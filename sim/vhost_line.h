/** The simulated bus as a virtual machine's: a socket to which the emulator's vhost-user I2C device connects. */
#pragma once

#include "line.h"
#include "listener.h"
#include "vhost_device.h"

/** Serves one emulator at a time, one after another; what a kernel waits for stays waiting while nobody serves it. */
class VhostLine_t : public Line_t, public Silenceable_t {
public:
    /** Throws ToolError_t when nothing can listen at `path`. */
    VhostLine_t(Bus_t& bus, const std::string& path) : bus_(bus), path_(path), listener_(path, "--vhost-user") {}

    Silenceable_t& silenceable() override { return *this; }
    std::string place() const override { return path_; }
    std::vector<pollfd> watched() const override;
    void serve(std::span<const pollfd> ready) override;
    void setSilent(bool silent) override;
    bool silent() const override { return silent_; }

private:
    void serveListener();
    bool serveMessage();
    void hangUp();

    Bus_t& bus_;
    std::string path_;
    Listener_t listener_;
    OwnedFd_t emulator_;
    std::optional<VhostDevice_t> device_;
    bool silent_ = false;
};
