/** A chip as the bus sees it: registers that are read and written by number. */
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>

class Device_t {
public:
    virtual ~Device_t() = default;

    virtual std::string name() const = 0;

    /**
     * Fills `out` from register `reg`. False when the chip does not acknowledge: it has no such register, or the
     * register cannot give that many bytes. `out` is then unspecified.
     */
    bool read(std::uint8_t reg, std::span<std::uint8_t> out);

    /**
     * Stores `data` into register `reg`. False, with nothing changed, when the register does not exist, cannot be
     * written, or takes another number of bytes.
     */
    bool write(std::uint8_t reg, std::span<const std::uint8_t> data);

    /** Bytes register `reg` holds: 1 or 2; 0 when the chip has no such register. */
    virtual unsigned width(std::uint8_t reg) const = 0;

    /**
     * From now on reads of `reg` give `value`, whatever the chip would say; writes still reach the chip. False when
     * the register does not exist or the value does not fit into it.
     */
    bool pin(std::uint8_t reg, unsigned value);
    /** Ends a pin; harmless where there is none. */
    void unpin(std::uint8_t reg) { pins_.erase(reg); }
    bool pinned(std::uint8_t reg) const { return pins_.count(reg) != 0; }

    /**
     * The value a read would find now, most significant byte first, without any side effect of a read. Empty when
     * the register does not exist.
     */
    std::optional<unsigned> peek(std::uint8_t reg) const;

    /** Another device was addressed, or a transfer to this one failed. */
    virtual void otherTraffic() {}

protected:
    virtual unsigned load(std::uint8_t reg) const = 0;
    virtual bool store(std::uint8_t reg, unsigned value) = 0;
    /** The bytes of a read of `value` of `out.size()` bytes; a chip with one-byte registers takes the default. */
    virtual bool deliver(std::uint8_t reg, unsigned value, std::span<std::uint8_t> out);

private:
    std::map<std::uint8_t, unsigned> pins_;
};
