/** Initialisation of the VSC055 backplane: every transfer in order, and each of them failing. */
#include <gmock/gmock.h>

#include <cstring>

#include "enclosures/vsc055.h"
#include "esa_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Lines = std::vector<std::string>;

class Vsc055Init : public EsaTest {
protected:
    /** The control block as the start-up leaves it before the chassis is initialised. */
    void start(int type) {
        startChassis(type, 0);
        wireClear(esaControl.vitesse);
        esaSetDimensions({5, 16, 3, 8, 4, 1});
        esaControl.i2cConnected = 0;
        esaControl.fanFaultRpmLimit = 0;
        esaControl.powerSupplyStatus = 0;
        esaControl.compositeFaultStatus = 0;
        std::memset(esaControl.fanPwmLoad, 0, 8);
        std::memset(esaControl.coolingElementOnOff, 0, 8);
        fakeSleeps.clear();
        (void)takeTrace();
    }

    static std::string dimensions() {
        const U8_t counts[] = {esaControl.elementTypeMaxNumber,       esaControl.deviceMaxNumber,
                               esaControl.powerSupplyMaxNumber,       esaControl.coolingMaxNumber,
                               esaControl.temperatureSensorMaxNumber, esaControl.audibleAlarmMaxNumber};
        return hex(counts, sizeof(counts));
    }
};

struct ChassisCase {
    int type;
    const char* dimensions;
    const char* fanSpeedConfiguration;
};

constexpr ChassisCase CHASSIS[] = {{3, "05 10 03 03 03 01", "82"}, {5, "05 10 02 03 03 01", "81"}};

Lines transfersOf(const ChassisCase& chassis) {
    const std::string configuration = chassis.fanSpeedConfiguration;
    return {
        "R 41 10", // probe
        "W 41 04 10",
        "W 41 04 50", // supplies and alarm
        "W 41 10 00",
        "R 41 10", // data directions
        "W 41 11 00",
        "R 41 11", //
        "W 41 12 3F",
        "R 41 12", //
        "W 41 13 00",
        "R 41 13", //
        "W 41 14 A7",
        "R 41 14", //
        "W 41 15 00",
        "R 41 15", //
        "W 41 16 00",
        "R 41 16", //
        "W 41 17 00",
        "R 41 17", //
        "W 41 98 2F",
        "W 41 99 2F", // fans
        "W 41 9A 2F", //
        "W 41 06 FF",
        "W 41 06 FF", // lamp test
        "W 41 06 00",
        "W 41 06 00", //
        "W 41 06 FF",
        "W 41 06 FF",               //
        "W 41 30 " + configuration, // tachometers
        "W 41 34 " + configuration, //
        "W 41 38 " + configuration,
    };
}

} // namespace

TEST_F(Vsc055Init, RowsNameTheirChassis) {
    EXPECT_STREQ(quadraChassis.typeName, "VORAN_E_CHASSIS_TELMA_QUADRA");
    EXPECT_STREQ(vsc055Chassis.typeName, "VORAN_E_CHASSIS_VORAN_VSC055");
    for (const Chassis_t* row : {&quadraChassis, &vsc055Chassis}) {
        EXPECT_STREQ(row->initDoneText, "Finish initializing for the Vsc055 based Enclosure.");
        EXPECT_STREQ(row->initFailedText, "Initializing for the Vsc055 based Enclosure fails.");
    }
}

TEST_F(Vsc055Init, TransfersInOrderAndTheStateTheyLeave) {
    for (const ChassisCase& chassis : CHASSIS) {
        SCOPED_TRACE(chassis.type);
        start(chassis.type);
        EXPECT_EQ(esaVsc055Init(), 0);
        EXPECT_EQ(fakeBus.takeTransfers(), transfersOf(chassis));
        EXPECT_EQ(dimensions(), chassis.dimensions);
        EXPECT_EQ(esaControl.i2cConnected, 1);
        EXPECT_EQ(esaControl.fanFaultRpmLimit, 2000U);
        EXPECT_EQ(esaControl.alarmState, 3U);
        EXPECT_EQ(esaControl.powerSupplyStatus, 0x3U);
        EXPECT_EQ(esaControl.compositeFaultStatus, 0U);
        EXPECT_EQ(hex(esaControl.fanPwmLoad, 8), "32 32 32 00 00 00 00 00");
        EXPECT_EQ(hex(esaControl.coolingElementOnOff, 8), "02 02 02 00 00 00 00 00");
        EXPECT_EQ(hex(esaControl.vitesse.vsc055GPD, 8), "00 00 00 00 50 00 FF FF");
        EXPECT_EQ(hex(esaControl.vitesse.vsc055DDP, 8), "00 00 3F 00 A7 00 00 00");
        const std::string fsc = chassis.fanSpeedConfiguration;
        EXPECT_EQ(hex(esaControl.vitesse.vsc055FSC, 8), fsc + " " + fsc + " " + fsc + " 00 00 00 00 00");
        EXPECT_EQ(hex(esaControl.vitesse.vsc055PWMC, 8), "2F 2F 2F 00 00 00 00 00");
        EXPECT_THAT(takeMessages(), IsEmpty());
    }
}

TEST_F(Vsc055Init, LampTestPausesThreeSecondsWithTheLampsLit) {
    start(5);
    Lines before;
    onFakeSleep = [&](unsigned long long) {
        before = fakeBus.transfers;
        EXPECT_EQ(esaControl.vitesse.vsc055GPD[6], 0x00);
        EXPECT_EQ(esaControl.vitesse.vsc055GPD[7], 0x00);
    };
    EXPECT_EQ(esaVsc055Init(), 0);
    EXPECT_THAT(fakeSleeps, ElementsAre(3000000ULL));
    ASSERT_EQ(before.size(), 26U);
    EXPECT_EQ(before.back(), "W 41 06 00");
}

TEST_F(Vsc055Init, PresetBitsOfThePowerPortAndTheSupplyStatusAreKept) {
    start(3);
    esaControl.vitesse.vsc055GPD[4] = 0x8A;
    esaControl.powerSupplyStatus = 0x4;
    EXPECT_EQ(esaVsc055Init(), 0);
    const Lines transfers = fakeBus.takeTransfers();
    EXPECT_EQ(transfers[1], "W 41 04 9A");
    EXPECT_EQ(transfers[2], "W 41 04 D2");
    EXPECT_EQ(esaControl.powerSupplyStatus, 0x7U);
}

TEST_F(Vsc055Init, TracesEveryStep) {
    start(3);
    for (int port = 0; port < 8; ++port) {
        fakeBus.set(0x41, 0x10 + port, 0xA0 + port);
    }
    EXPECT_EQ(esaVsc055Init(), 0);
    EXPECT_EQ(takeTrace(), (Lines{"Read I2C succeeds. I2C cable is connected",
                                  "Set Backplane Alarm State to [MUTE_S3].",
                                  "Setup the data direction for all VSC055 ports.",
                                  "ESA internal database, esaControl.vitesse.vsc055DDP[0] = [0x0]",
                                  "Read VSC055_DDP[0] Register, returned value = [0xa0]",
                                  "ESA internal database, esaControl.vitesse.vsc055DDP[1] = [0x0]",
                                  "Read VSC055_DDP[1] Register, returned value = [0xa1]",
                                  "ESA internal database, esaControl.vitesse.vsc055DDP[2] = [0x3f]",
                                  "Read VSC055_DDP[2] Register, returned value = [0xa2]",
                                  "ESA internal database, esaControl.vitesse.vsc055DDP[3] = [0x0]",
                                  "Read VSC055_DDP[3] Register, returned value = [0xa3]",
                                  "ESA internal database, esaControl.vitesse.vsc055DDP[4] = [0xa7]",
                                  "Read VSC055_DDP[4] Register, returned value = [0xa4]",
                                  "ESA internal database, esaControl.vitesse.vsc055DDP[5] = [0x0]",
                                  "Read VSC055_DDP[5] Register, returned value = [0xa5]",
                                  "ESA internal database, esaControl.vitesse.vsc055DDP[6] = [0x0]",
                                  "Read VSC055_DDP[6] Register, returned value = [0xa6]",
                                  "ESA internal database, esaControl.vitesse.vsc055DDP[7] = [0x0]",
                                  "Read VSC055_DDP[7] Register, returned value = [0xa7]",
                                  "Load PWM [50] Percent to Fan [0]",
                                  "Load PWM [50] Percent to Fan [1]",
                                  "Load PWM [50] Percent to Fan [2]",
                                  "Initialize vsc055FSC[0] Register with value = [0x82]",
                                  "Initialize vsc055FSC[1] Register with value = [0x82]",
                                  "Initialize vsc055FSC[2] Register with value = [0x82]"}));
}

TEST_F(Vsc055Init, ChipThatDoesNotAnswerIsABusFaultAndNothingElse) {
    for (const ChassisCase& chassis : CHASSIS) {
        SCOPED_TRACE(chassis.type);
        start(chassis.type);
        fakeBus.failTransfer(0);
        EXPECT_EQ(esaVsc055Init(), 1);
        EXPECT_THAT(fakeBus.takeTransfers(), ElementsAre("R 41 10 !"));
        const std::vector<Bytes> messages = takeMessages();
        ASSERT_EQ(messages.size(), 3U);
        EXPECT_EQ(messages[0].size(), 300U);
        EXPECT_EQ(hex(&messages[0][211], 5), "02 03 01 00 0A"); // warning 10
        EXPECT_EQ(messages[0][216], chassis.type);              // chassis
        EXPECT_EQ(hex(&messages[0][272], 4), "00 00 00 02");    // bus fault
        EXPECT_EQ(hex(&messages[1][12], 4), "0C 00 00 0E");     // LED on
        EXPECT_EQ(hex(&messages[2][12], 4), "0C 00 00 10");     // e-mail
        EXPECT_EQ(esaControl.compositeFaultStatus, 0x80000010U);
        EXPECT_EQ(esaControl.i2cConnected, 0);
        EXPECT_EQ(dimensions(), "05 10 03 08 04 01");
        EXPECT_EQ(esaControl.fanFaultRpmLimit, 0U);
        EXPECT_EQ(esaControl.alarmState, 0U);
        EXPECT_THAT(fakeSleeps, IsEmpty());
        EXPECT_EQ(takeTrace().at(0), "Read I2C fails. I2C cable is not connected or wrong enclosure type.");
    }
}

TEST_F(Vsc055Init, FailedReadBackOfADataDirectionEndsIt) {
    for (const ChassisCase& chassis : CHASSIS) {
        for (unsigned failing = 4; failing <= 18; failing += 2) {
            SCOPED_TRACE(testing::Message() << "type " << chassis.type << " transfer " << failing);
            start(chassis.type);
            fakeBus.failTransfer(failing);
            EXPECT_EQ(esaVsc055Init(), -1);
            Lines expected = transfersOf(chassis);
            expected.resize(failing + 1);
            expected.back() += " !";
            EXPECT_EQ(fakeBus.takeTransfers(), expected);
            EXPECT_EQ(esaControl.i2cConnected, 1);
            EXPECT_EQ(dimensions(), chassis.dimensions);
            EXPECT_EQ(esaControl.alarmState, 3U);
            EXPECT_EQ(esaControl.powerSupplyStatus, 0U);
            EXPECT_EQ(hex(esaControl.fanPwmLoad, 8), "00 00 00 00 00 00 00 00");
            EXPECT_THAT(fakeSleeps, IsEmpty());
            EXPECT_THAT(takeMessages(), IsEmpty());
        }
    }
}

TEST_F(Vsc055Init, FailedWriteChangesNothingButTheChip) {
    for (const ChassisCase& chassis : CHASSIS) {
        const Lines all = transfersOf(chassis);
        for (unsigned failing = 1; failing < all.size(); ++failing) {
            if (all[failing][0] != 'W') {
                continue;
            }
            SCOPED_TRACE(testing::Message() << "type " << chassis.type << " transfer " << failing);
            start(chassis.type);
            fakeBus.failTransfer(failing);
            EXPECT_EQ(esaVsc055Init(), 0);
            Lines expected = all;
            expected[failing] += " !";
            EXPECT_EQ(fakeBus.takeTransfers(), expected);
            EXPECT_EQ(hex(esaControl.vitesse.vsc055GPD, 8), "00 00 00 00 50 00 FF FF");
            EXPECT_EQ(hex(esaControl.vitesse.vsc055PWMC, 8), "2F 2F 2F 00 00 00 00 00");
            EXPECT_EQ(esaControl.powerSupplyStatus, 0x3U);
            EXPECT_THAT(takeMessages(), IsEmpty());
        }
    }
}

TEST_F(Vsc055Init, EnclosureOfAnotherTypeKeepsItsDimensionsAndItsOwnTachometersAreSet) {
    start(5);
    esaControl.enclosureType = 1;
    esaControl.coolingMaxNumber = 1;
    EXPECT_EQ(esaVsc055Init(), 0);
    EXPECT_EQ(dimensions(), "05 10 03 01 04 01");
    EXPECT_EQ(fakeBus.takeTransfers().back(), "W 41 06 FF");
    start(5);
    esaControl.enclosureType = 2;
    EXPECT_EQ(esaVsc055Init(), 0);
    EXPECT_EQ(dimensions(), "05 10 03 08 04 01");
    const Lines transfers = fakeBus.takeTransfers();
    const Lines speeds(transfers.end() - 8, transfers.end());
    EXPECT_EQ(speeds, (Lines{"W 41 30 80", "W 41 34 80", "W 41 38 80", "W 41 3C 80", "W 41 40 80", "W 41 44 80",
                             "W 41 48 80", "W 41 4C 80"}));
}
