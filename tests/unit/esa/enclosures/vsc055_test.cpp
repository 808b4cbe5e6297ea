/** The VSC055 chip: PWM outputs, tachometers, ports and their set-up. */
#include <gmock/gmock.h>

#include "chips/vsc055.h"
#include "enclosures/vsc055.h"
#include "esa_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Vsc055Chip : public EsaTest {
protected:
    void start(int type) {
        startChassis(type);
        wireClear(esaControl.vitesse);
        (void)takeTrace();
    }
};

} // namespace

TEST_F(Vsc055Chip, PwmKnowsFivePercentagesAndRefusesAllOthers) {
    start(5);
    for (int percent = 0; percent < 256; ++percent) {
        SCOPED_TRACE(percent);
        esaControl.vitesse.vsc055GPD[1] = 0xFF;
        esaControl.vitesse.vsc055PWMC[2] = 0xEE;
        esaVsc055FanLoadPwm(2, static_cast<U8_t>(percent));
        const int code = percent == 0     ? 0x00
                         : percent == 25  ? 0x27
                         : percent == 50  ? 0x2F
                         : percent == 75  ? 0x37
                         : percent == 100 ? 0x3F
                                          : -1;
        Lines_t writes;
        Lines_t trace = {text("Load PWM [%d] Percent to Fan [2]", percent)};
        if (code < 0) {
            trace.push_back(text("Un-supported PWM Percentage [%d]", percent));
        } else {
            writes.push_back(text("W 41 9A %02X", code));
        }
        if (percent == 0) {
            writes.push_back("W 41 01 FB");
        }
        EXPECT_EQ(fakeBus.takeTransfers(), writes);
        EXPECT_EQ(takeTrace(), trace);
        EXPECT_EQ(esaControl.vitesse.vsc055PWMC[2], code < 0 ? 0xEE : code);
        EXPECT_EQ(esaControl.vitesse.vsc055GPD[1], percent == 0 ? 0xFB : 0xFF);
    }
}

TEST_F(Vsc055Chip, EveryFanHasItsOwnPwmRegisterAndPowerBit) {
    start(5);
    esaControl.vitesse.vsc055GPD[1] = 0xFF;
    for (U8_t fan = 0; fan < 3; ++fan) {
        esaVsc055FanLoadPwm(fan, 0);
    }
    esaVsc055FanLoadPwm(7, 0);
    esaVsc055FanLoadPwm(7, 25);
    EXPECT_THAT(fakeBus.takeTransfers(),
                ElementsAre("W 41 98 00", "W 41 01 FE", "W 41 99 00", "W 41 01 FC", "W 41 9A 00", "W 41 01 F8",
                            "W 41 9F 00", "W 41 01 78", "W 41 9F 27"));
    EXPECT_EQ(hex(esaControl.vitesse.vsc055PWMC, 8), "00 00 00 00 00 00 00 27");
}

TEST_F(Vsc055Chip, FanThatIsSwitchedOnAgainKeepsItsPowerBitClear) {
    start(3);
    esaControl.vitesse.vsc055GPD[1] = 0xFF;
    esaVsc055FanLoadPwm(0, 0);
    (void)fakeBus.takeTransfers();
    esaVsc055FanLoadPwm(0, 100);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 41 98 3F"));
    EXPECT_EQ(esaControl.vitesse.vsc055GPD[1], 0xFE);
}

TEST_F(Vsc055Chip, FanThatTheChipDoesNotHaveIsRefused) {
    start(5);
    esaVsc055FanLoadPwm(8, 50);
    esaVsc055FanLoadPwm(255, 0);
    EXPECT_THAT(fakeBus.takeTransfers(), IsEmpty());
    EXPECT_THAT(takeTrace(), ElementsAre("Load PWM [50] Percent to Fan [8]", "Un-supported PWM Percentage [50]",
                                         "Load PWM [0] Percent to Fan [255]", "Un-supported PWM Percentage [0]"));
}

TEST_F(Vsc055Chip, TachometerOfEveryChassisOverAllValues) {
    struct {
        int type;
        unsigned divisor;
        const char* read;
    } const chassis[] = {{2, 1, "R 63 36"}, {3, 4, "R 41 36"}, {5, 2, "R 41 36"}};
    for (const auto& one : chassis) {
        for (unsigned value = 0; value < 256; ++value) {
            SCOPED_TRACE(testing::Message() << "type " << one.type << " value " << value);
            start(one.type);
            fakeBus.set(one.type == 2 ? 0x63 : 0x41, 0x36, static_cast<int>(value));
            U16_t rpm = 0xABCD;
            const S32_t result = esaVsc055FanReadSpeed(1, &rpm);
            Lines_t trace = {text("Fan [1] has Vitesse Fan Speed value = [%d].", static_cast<int>(value))};
            if (value == 255) {
                EXPECT_EQ(result, -1);
                EXPECT_EQ(rpm, 0xABCD);
                trace.push_back("No techometer pulses present, NOT able to read speed for Fan [1].");
                trace.push_back("Return read error for Fan [1].");
            } else if (value == 0) {
                EXPECT_EQ(result, 0);
                EXPECT_EQ(rpm, 0);
                trace.push_back("Fan [1] has speed [0].");
            } else {
                EXPECT_EQ(result, 0);
                EXPECT_EQ(rpm, 1200000U / (value * one.divisor) % 65536U);
            }
            EXPECT_EQ(takeTrace(), trace);
            EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre(one.read));
        }
    }
}

TEST_F(Vsc055Chip, PortsAreWrittenFromTheirShadowAndReadFromTheChip) {
    start(5);
    for (U8_t port = 0; port < 8; ++port) {
        esaControl.vitesse.vsc055GPD[port] = static_cast<U8_t>(0x10 + port);
        vsc055WritePort(0x41, port);
    }
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("W 41 00 10", "W 41 01 11", "W 41 02 12", "W 41 03 13",
                                                     "W 41 04 14", "W 41 05 15", "W 41 06 16", "W 41 07 17"));
    fakeBus.set(0x63, 0x05, 0x5A);
    U8_t value = 0;
    EXPECT_EQ(vsc055ReadPort(0x63, 5, &value), 0);
    EXPECT_EQ(value, 0x5A);
    EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 63 05"));
    EXPECT_EQ(esaControl.vitesse.vsc055GPD[5], 0x15) << "a read never changes what the outputs are known to hold";
}
