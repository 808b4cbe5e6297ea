/** The control block's layout: who looks at a core dump reads it field by field, in this order. */
#include "core/control_block.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace {

struct Place_t {
    const char* name;
    std::size_t offset;
    std::size_t size;
};

/** Fields in this order, each behind the one before with no more than what aligns it between them. */
void expectInOrder(std::initializer_list<Place_t> fields, std::size_t size) {
    std::size_t end = 0;
    for (const Place_t& field : fields) {
        EXPECT_GE(field.offset, end) << field.name;
        EXPECT_LT(field.offset, end + 4) << field.name;
        end = field.offset + field.size;
    }
    EXPECT_LT(size, end + 4);
}

} // namespace

// clang-format off
#define AT(field) {#field, offsetof(RECORD, field), sizeof(RECORD::field)}

TEST(ControlBlock, FieldsAreInOrderWithNothingBetweenThem) {
#define RECORD EsaControl_t
    expectInOrder({
        AT(socketFdMSM), AT(socketAddressMSM), AT(i2cFileFd), AT(enclosureType), AT(i2cAddressVsc055),
        AT(i2cAddressLM75), AT(i2cAddressW83782d), AT(elementTypeMaxNumber), AT(deviceMaxNumber),
        AT(powerSupplyMaxNumber), AT(coolingMaxNumber), AT(temperatureSensorMaxNumber), AT(audibleAlarmMaxNumber),
        AT(i2cConnected), AT(pageCodeInRecentSndDiagCmd), AT(sesTypeDescriptorList), AT(deviceElementControlOverall),
        AT(deviceElementControl), AT(deviceElementStatusOverall), AT(deviceElementStatus), AT(driveFaultLedStatus0),
        AT(driveFaultLedStatus1), AT(powerSupplyElementControlOverall), AT(powerSupplyElementControl),
        AT(powerSupplyElementStatusOverall), AT(powerSupplyElementStatus), AT(powerSupplyStatus),
        AT(coolingElementControlOverall), AT(coolingElementControl), AT(coolingElementStatusOverall),
        AT(coolingElementStatus), AT(coolingElementOnOff), AT(fanFaultStatus), AT(fanFaultRpmLimit), AT(fanPwmLoad),
        AT(temperatureSensorElementControlOverall), AT(temperatureSensorElementControl),
        AT(temperatureSensorElementStatusOverall), AT(temperatureSensorElementStatus), AT(temperatureSensor),
        AT(temperatureReportStatus), AT(temperatureSensorAverage), AT(audibleAlarmElementControlOverall),
        AT(audibleAlarmElementControl), AT(audibleAlarmElementStatusOverall), AT(audibleAlarmElementStatus),
        AT(alarmState), AT(compositeFaultStatus), AT(esaDebug), AT(esaInMsg), AT(esaWorkSpace), AT(vitesse),
        AT(winbond), AT(selectTimeout), AT(pollTimeout),
    }, sizeof(EsaControl_t));
#undef RECORD
}

TEST(ControlBlock, ShadowsOfTheVsc055AreFourBanksOfEightBytes) {
#define RECORD VitesseControl_t
    expectInOrder({AT(vsc055GPD), AT(vsc055DDP), AT(vsc055FSC), AT(vsc055PWMC)}, sizeof(VitesseControl_t));
#undef RECORD
    EXPECT_EQ(offsetof(VitesseControl_t, vsc055PWMC), 24U);
    EXPECT_EQ(sizeof(VitesseControl_t), 32U);
}

TEST(ControlBlock, ShadowsOfTheW83782dHaveThePwmOutputsInTheOrderTwoOneThreeFour) {
#define RECORD WinbondControl_t
    expectInOrder({
        AT(vcoreaHighLimitRegister), AT(vcoreaLowLimitRegister), AT(vinr0HighLimitRegister),
        AT(vinr0LowLimitRegister), AT(positive3_3VinHighLimitRegister), AT(positive3_3VinLowLimitRegister),
        AT(positive5VinHighLimitRegister), AT(positive5VinLowLimitRegister), AT(positive12VinHighLimitRegister),
        AT(positive12VinLowLimitRegister), AT(negative12VinHighLimitRegister), AT(negative12VinLowLimitRegister),
        AT(negative5VinHighLimitRegister), AT(negative5VinLowLimitRegister), AT(temperatureSensor1HighLimitRegister),
        AT(temperatureSensor1HysteresisRegister), AT(configurationRegister), AT(serialBusAddressRegister),
        AT(fanInOutBeepGpoRegister), AT(pwmOut2ControlRegister), AT(pwmOut1ControlRegister),
        AT(pwmOut3ControlRegister), AT(pwmOut4ControlRegister),
    }, sizeof(WinbondControl_t));
#undef RECORD
    EXPECT_EQ(sizeof(WinbondControl_t), 23U);
}

#undef AT
// clang-format on
