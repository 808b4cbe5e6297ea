/** An enclosure seen from the bus. */
#pragma once

#include <gtest/gtest.h>

#include "enclosure.h"
#include "hex.h"

class Chassis : public testing::Test {
protected:
    void power(const char* name) {
        enclosure = makeEnclosure(name);
        ASSERT_NE(enclosure, nullptr);
    }
    World_t& world() { return enclosure->world(); }

    std::string read(unsigned address, unsigned reg) { return readHex(enclosure->bus(), 1, address, reg); }
    void write(unsigned address, unsigned reg, const std::string& data) {
        EXPECT_TRUE(
            enclosure->bus().write(static_cast<std::uint8_t>(address), static_cast<std::uint8_t>(reg), unhex(data)))
            << address << " " << reg;
    }
    /** Half-degree byte, then whole degrees, as two reads bring them. */
    std::string lm75(unsigned address) {
        const std::string half = read(address, 0);
        return half + " " + read(address, 0);
    }
    void directions(unsigned address, const std::string& eight) {
        const std::vector<std::uint8_t> all = unhex(eight);
        for (unsigned port = 0; port < 8; ++port) {
            EXPECT_TRUE(enclosure->bus().write(static_cast<std::uint8_t>(address),
                                               static_cast<std::uint8_t>(0x10 + port),
                                               std::span(all).subspan(port, 1)));
        }
    }
    void supply(std::size_t index, SupplyState_e state) {
        world().supplies.at(index) = {state, state == SupplyState_e::FAILED};
        enclosure->changed();
    }

    std::unique_ptr<Enclosure_t> enclosure;
};
