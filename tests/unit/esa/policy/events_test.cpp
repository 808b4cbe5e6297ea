/** Events of the enclosure: whole messages, and the rule that turns temperatures into events. */
#include "policy/events.h"

#include <gmock/gmock.h>

#include <cstring>

#include "event_message.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Events : public EsaTest {
protected:
    /** The one message sent since the last call, without its links. */
    std::string sent() {
        const std::vector<Bytes_t> messages = takeMessages();
        EXPECT_EQ(messages.size(), 1U);
        return messages.empty() ? "" : behindLinks(messages[0]);
    }
};

} // namespace

TEST_F(Events, RecordIsCopiedWholeBehindALogHeaderOfZeros) {
    EsaEventData_t data;
    U8_t bytes[84];
    for (U8_t i = 0; i < 84; ++i) {
        bytes[i] = static_cast<U8_t>(i + 1);
    }
    static_assert(sizeof(data) == 84);
    std::memcpy(static_cast<void*>(&data), bytes, sizeof(data));
    std::memset(esaControl.esaWorkSpace, 0xA5, sizeof(esaControl.esaWorkSpace));

    EXPECT_EQ(esaSendEventMmsgToEmp(0x0A, 3, &data), 300);

    const std::vector<Bytes_t> messages = takeMessages();
    ASSERT_EQ(messages.size(), 1U);
    ASSERT_EQ(messages[0].size(), 300U);
    EXPECT_EQ(
        behindLinks(messages[0]),
        eventBytes("03", "0A", {0x01020304, 0x05060708, 0x090A0B0C, 0x0D0E0F10, 0x11121314, 0x15161718, 0x191A1B1C,
                                0x1D1E1F20, 0x21222324, 0x25262728, 0x292A2B2C, 0x2D2E2F30, 0x31323334, 0x35363738,
                                0x393A3B3C, 0x3D3E3F40, 0x41424344, 0x45464748, 0x494A4B4C, 0x4D4E4F50, 0x51525354}));
    const auto address = static_cast<U32_t>(reinterpret_cast<std::uintptr_t>(esaControl.esaWorkSpace));
    EXPECT_EQ(hex(messages[0].data(), 8), hexWords(std::array<U32_t, 2>{address, address}));
    EXPECT_EQ(esaControl.esaWorkSpace[300], 0xA5) << "the buffer behind the message was touched";
}

TEST_F(Events, IdentifierHasSixteenBits) {
    const EsaEventData_t data = {};
    (void)esaSendEventMmsgToEmp(0x1234, 0x56, &data);
    const Bytes_t message = takeMessages().at(0);
    EXPECT_EQ(hex(&message[211], 5), "56 03 01 12 34");
}

TEST_F(Events, DriveFaultLedEventHasTheFirstLedWordOnly) {
    startChassis(3);
    esaControl.driveFaultLedStatus0 = 0x00008001;
    esaControl.driveFaultLedStatus1 = 0xFFFFFFFF;
    EXPECT_EQ(esaSendDriveFaultLedEvent(EMP_E_TYPE_WARNING), 300);
    EXPECT_EQ(sent(), eventBytes("02", "05", {0x03000000, 16, 0, 0, 0, 0, 0x8001}));
}

TEST_F(Events, PowerSupplyEventHasSuppliesAndTheirStatus) {
    startChassis(5);
    esaControl.powerSupplyStatus = 0x1;
    EXPECT_EQ(esaSendPowerSupplyEvent(EMP_E_TYPE_INFORMATION), 300);
    EXPECT_EQ(sent(), eventBytes("01", "06", {0x05000000, 0, 2, 0, 0, 0, 0, 0, 0x1}));
}

TEST_F(Events, FanEventHasFansAndTheirMarks) {
    startChassis(4);
    esaControl.fanFaultStatus = 0x25;
    EXPECT_EQ(esaSendFanFaultEvent(EMP_E_TYPE_WARNING), 300);
    EXPECT_EQ(sent(), eventBytes("02", "07", {0x04000000, 0, 0, 6, 0, 0, 0, 0, 0, 0x25}));
}

TEST_F(Events, AlarmEventHasAlarmsAndTheState) {
    startChassis(2, 4);
    EXPECT_EQ(esaSendAlarmEvent(EMP_E_TYPE_WARNING), 300);
    EXPECT_EQ(sent(), eventBytes("02", "09", {0x02000000, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 4}));
}

TEST_F(Events, InformationEventHasItsCode) {
    startChassis(6);
    EXPECT_EQ(esaSendInformationEvent(EMP_E_TYPE_ERROR, ESA_E_EVENT_INFO_REQUEST_ORDERLY_SHUTDOWN), 300);
    EXPECT_EQ(sent(), eventBytes("03", "0A", {0x06000000, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
    EXPECT_EQ(esaSendInformationEvent(EMP_E_TYPE_WARNING, ESA_E_EVENT_INFO_I2C_BUS_FAULT), 300);
    EXPECT_EQ(sent(), eventBytes("02", "0A", {0x06000000, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2}));
}

TEST_F(Events, EventOfAnEnclosureWithoutAChassisNamesItsType) {
    esaControl.enclosureType = 9;
    (void)esaSendInformationEvent(EMP_E_TYPE_WARNING, ESA_E_EVENT_INFO_I2C_BUS_FAULT);
    EXPECT_EQ(sent(), eventBytes("02", "0A", {0x09000000, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2}));
}

TEST_F(Events, FailedSendIsReportedWithItsSenderAndLength) {
    startChassis(5);
    esaControl.socketFdMSM = -1;
    EXPECT_EQ(esaSendFanFaultEvent(EMP_E_TYPE_WARNING), -1);
    const std::vector<std::string> trace = takeTrace();
    EXPECT_THAT(trace, Contains("| File:      events.cpp"));
    EXPECT_THAT(trace, Contains("| Function:  esaSendEventMmsgToEmp()"));
    EXPECT_THAT(trace, Contains("| Message:   Linux send function fails, sendSize = [300] is wrong"));
    EXPECT_EQ(fakeEventLog.size(), 4U);
}
