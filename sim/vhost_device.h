/** The device's end of the vhost-user protocol: an emulator's messages in, a virtio I2C adapter out of them. */
#pragma once

#include "owned_fd.h"
#include "virtio_i2c.h"

/** A message of the emulator, numbers in this machine's byte order. */
struct VhostMessage_t {
    std::uint32_t request = 0;
    std::uint32_t flags = 0;
    std::vector<std::uint8_t> payload;
    std::vector<OwnedFd_t> files;
};

/** Memory shared with the emulator, for as long as the object lives. */
class SharedMapping_t {
public:
    /** `size` bytes from `offset` of a file; empty when the file has not that many. */
    SharedMapping_t(const OwnedFd_t& file, std::uint64_t offset, std::uint64_t size);
    ~SharedMapping_t();
    SharedMapping_t(SharedMapping_t&& other) noexcept;
    SharedMapping_t& operator=(SharedMapping_t&&) = delete;

    std::span<std::uint8_t> bytes() const { return bytes_; }

private:
    void* base_ = nullptr;
    std::size_t length_ = 0;
    std::span<std::uint8_t> bytes_;
};

/** One emulator's device, from its connection to its end. */
class VhostDevice_t {
public:
    static constexpr std::size_t HEADER = 12; /**< three 32-bit numbers: request, flags, size of the payload */
    static constexpr std::size_t LARGEST_PAYLOAD = 512;
    static constexpr std::size_t MOST_FILES = 8;

    explicit VhostDevice_t(Bus_t& bus) : bus_(bus) {}

    /** What to reply, often nothing; no value when the message breaks the protocol, and the connection is to end. */
    std::optional<std::vector<std::uint8_t>> handle(VhostMessage_t message);

    /** Becomes readable when the machine has requests; -1 while it has no way to tell. */
    int kick() const { return queue_ ? kick_.get() : -1; }
    /** Carries out what waits; nothing while silent. */
    void serve();
    /** While silent requests wait. */
    void setSilent(bool silent);

private:
    struct Rule_t;
    static const Rule_t RULES[];

    bool getFeatures(VhostMessage_t& message);
    bool setFeatures(VhostMessage_t& message);
    bool accept(VhostMessage_t& message);
    bool setMemory(VhostMessage_t& message);
    bool setSize(VhostMessage_t& message);
    bool setAddresses(VhostMessage_t& message);
    bool setBase(VhostMessage_t& message);
    bool getBase(VhostMessage_t& message);
    bool setKick(VhostMessage_t& message);
    bool setCall(VhostMessage_t& message);
    bool getProtocolFeatures(VhostMessage_t& message);
    bool setProtocolFeatures(VhostMessage_t& message);
    bool getQueueCount(VhostMessage_t& message);
    bool setEnabled(VhostMessage_t& message);

    void stop();
    void startWhenReady();

    Bus_t& bus_;
    GuestMemory_t memory_;
    std::vector<SharedMapping_t> mappings_;
    Virtqueue_t::Layout_t layout_;
    std::optional<Virtqueue_t> queue_;
    OwnedFd_t kick_, call_;
    bool acknowledges_ = false; /**< the emulator may ask whether a message was taken */
    bool hasAddresses_ = false;
    bool kickSet_ = false;
    bool enabled_ = true;
    bool silent_ = false;
};
