/** What the tests of the chassis drivers share: a cold control block, and messages told in one line each. */
#pragma once

#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <vector>

#include "esa_fixture.h"

using Lines = std::vector<std::string>;

/** Several runs of lines, one behind the other. */
inline Lines join(std::initializer_list<Lines> parts) {
    Lines all;
    for (const Lines& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

/** The first `count` lines, with the mark of a failed transfer on the last of them. */
inline Lines failedAt(const Lines& transfers, std::size_t last) {
    Lines some(transfers.begin(), transfers.begin() + static_cast<std::ptrdiff_t>(last) + 1);
    some.back() += " !";
    return some;
}

/** All lines, with the mark of a failed transfer on one of them. */
inline Lines failedWithin(Lines transfers, std::size_t which) {
    transfers[which] += " !";
    return transfers;
}

/** Formats one number into a text. */
template <typename... Numbers>
std::string text(const char* format, Numbers... numbers) {
    char line[256];
    std::snprintf(line, sizeof(line), format, numbers...);
    return line;
}

class DriverTest : public EsaTest {
protected:
    /** The control block as the start-up leaves it before the chassis is initialised. */
    void startCold(int type) {
        const S32_t socket = esaControl.socketFdMSM;
        wireClear(esaControl);
        esaControl.socketFdMSM = socket;
        esaControl.i2cFileFd = 99;
        esaControl.enclosureType = static_cast<VORAN_E_CHASSIS_t>(type);
        esaControl.i2cAddressVsc055 = type == 2 ? 0x63 : 0;
        esaControl.i2cAddressW83782d = type == 6 ? 0x28 : 0;
        esaSetDimensions({5, 16, 3, 8, 4, 1});
        fakeSleeps.clear();
        discard();
    }

    /** Forgets everything that was seen so far. */
    void discard() {
        (void)takeMessages();
        (void)takeTrace();
        (void)fakeBus.takeTransfers();
        fakeBus.heal();
        fakeBus.queues.clear();
    }

    static std::string dimensions() {
        const U8_t counts[] = {esaControl.elementTypeMaxNumber,       esaControl.deviceMaxNumber,
                               esaControl.powerSupplyMaxNumber,       esaControl.coolingMaxNumber,
                               esaControl.temperatureSensorMaxNumber, esaControl.audibleAlarmMaxNumber};
        return hex(counts, sizeof(counts));
    }

    /**
     * Messages sent since the last call: "led-on", "led-off", "email", "shutdown", and events with every field of
     * their record that is not zero, such as "event 6/2 chassis 4 supplies 3".
     */
    Lines takeReports() {
        Lines reports;
        for (const Bytes& message : takeMessages()) {
            reports.push_back(report(message));
        }
        return reports;
    }

private:
    static U32_t word(const Bytes& bytes, std::size_t at) {
        return U32_t{bytes[at]} << 24 | U32_t{bytes[at + 1]} << 16 | U32_t{bytes[at + 2]} << 8 | U32_t{bytes[at + 3]};
    }

    static std::string report(const Bytes& message) {
        const U32_t opcode = word(message, 12);
        if (opcode == 0x0C00000E) {
            return word(message, 48) == 2 ? "led-on" : "led-off";
        }
        if (opcode == 0x0C000010) {
            return "email";
        }
        if (opcode == 0x0D000001) {
            return "shutdown";
        }
        return opcode == 0x08000001 ? event(message) : text("message %08X", opcode);
    }

    static std::string event(const Bytes& message) {
        static constexpr const char* FIELDS[] = {"chassis", "drives",   "supplies", "fans",  "sensors",
                                                 "alarms",  "leds",     "leds1",    "power", "faults",
                                                 "band",    "position", "degrees",  "alarm", "info"};
        std::string told = text("event %d/%d", message[214] << 8 | message[215], message[211]);
        for (std::size_t i = 0; i < 21; ++i) {
            U32_t value = word(message, 216 + 4 * i);
            if (value == 0) {
                continue;
            }
            const char* name = i < std::size(FIELDS) ? FIELDS[i] : "reserved";
            if (i == 0 || i == 12) { // a byte and a half word, padded
                const unsigned shift = i == 0 ? 24 : 16;
                name = (value & ((1U << shift) - 1)) == 0 ? name : "padding";
                value >>= shift;
            }
            told += text(" %s %u", name, value);
        }
        return told;
    }
};
