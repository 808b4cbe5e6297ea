/** The wire records: size of each, and the bytes of each field, stated as they travel. */
#include <gtest/gtest.h>

#include <cstring>

#include "bytes.h"
#include "esa_evl.h"
#include "mmsg.h"
#include "ses_mesgs.h"

using testsupport::Bytes_t;
using testsupport::hex;
using testsupport::unhex;

namespace {

/** A value of one field, and what it makes of a record of zeros: these bytes at this offset. */
template <typename Record>
struct Field_t {
    const char* name;
    void (*set)(Record&);
    std::size_t at;
    const char* bytes;
};

template <typename Record>
void check(std::size_t size, std::initializer_list<Field_t<Record>> fields) {
    ASSERT_EQ(sizeof(Record), size);
    for (const Field_t<Record>& field : fields) {
        Record record;
        wireClear(record);
        field.set(record);
        Bytes_t expected(size);
        const Bytes_t bytes = unhex(field.bytes);
        std::copy(bytes.begin(), bytes.end(), expected.begin() + static_cast<std::ptrdiff_t>(field.at));
        EXPECT_EQ(hex(&record, sizeof(record)), hex(expected)) << field.name;
    }
}

// clang-format off
#define FIELD(field, value, at, bytes) {#field, [](RECORD& record) { record.field = value; }, at, bytes}

#define RECORD SenseData_t
TEST(WireRecord, SenseDataHasEachFieldAtItsBits) {
    check<RECORD>(24, {
        FIELD(responseCode, 0x70, 0, "E0"), FIELD(valid, 1, 0, "01"), FIELD(obsolete, 0x5A, 1, "5A"),
        FIELD(senseKey, 5, 2, "50"), FIELD(reserved, 1, 2, "08"), FIELD(ili, 1, 2, "04"), FIELD(eom, 1, 2, "02"),
        FIELD(filemark, 1, 2, "01"), FIELD(information, 0x12345678, 4, "12345678"),
        FIELD(additionalSenseLength, 0x5A, 8, "5A"), FIELD(commandSpecificInformation, 0x12345678, 12, "12345678"),
        FIELD(additionalSenseCode, 0x24, 16, "24"), FIELD(additionalSenseCodeQualifier, 0x5A, 17, "5A"),
        FIELD(fieldReplaceableUnitCode, 0x5A, 18, "5A"), FIELD(senseKeySpecific7Bits, 0x7F, 19, "FE"),
        FIELD(sksv, 1, 19, "01"), FIELD(senseKeySpecific16Bits, 0x1234, 20, "1234"),
    });
}
#undef RECORD

#define RECORD MMCH_t
TEST(WireRecord, HeaderHasEachFieldAtItsBits) {
    check<RECORD>(64, {
        FIELD(mmch_lh.flink, 0x12345678, 0, "12345678"), FIELD(mmch_lh.blink, 0x12345678, 4, "12345678"),
        FIELD(message_type, 14, 8, "0E"), FIELD(mmch_version, 1, 9, "01"), FIELD(mmsg_length, 0x1234, 10, "1234"),
        FIELD(opcode.request.protocol, 18, 12, "12"), FIELD(opcode.request.type, 0x123456, 13, "123456"),
        FIELD(opcode.whole, 0x12345678, 12, "12345678"), FIELD(requestor, 33, 16, "21"),
        FIELD(mmsg_cont, 0x40, 17, "40"), FIELD(dest_ep, 33, 18, "21"),
        FIELD(recipient_loc_bm[0], 0x40000, 20, "00040000"), FIELD(recipient_loc_bm[1], 2, 24, "00000002"),
        FIELD(recipient_ob_bm[0], 1, 28, "00000001"), FIELD(recipient_ob_bm[1], 2, 32, "00000002"),
        FIELD(return_code, 2, 36, "00000002"), FIELD(handle, 0x12345678, 40, "12345678"),
        FIELD(general_use1, 1, 44, "00000001"), FIELD(general_use2, 2, 48, "00000002"),
        FIELD(general_use3, 3, 52, "00000003"), FIELD(timestamp.high, 4, 56, "00000004"),
        FIELD(timestamp.low, 5, 60, "00000005"),
    });
}
#undef RECORD

#define RECORD EmpEvLogHeader_t
TEST(WireRecord, EventHeaderHasEachFieldAtItsBits) {
    check<RECORD>(152, {
        FIELD(evEnclosureId[0], 0x41, 0, "41"), FIELD(evBladeId[0], 0x41, 64, "41"), FIELD(evSlotId, 1, 128, "00000001"),
        FIELD(evInstanceNumber, 1, 132, "00000001"), FIELD(evSequenceId, 1, 136, "00000001"),
        FIELD(evTime, 1, 140, "00000001"), FIELD(evStructLength, 0x1234, 144, "1234"), FIELD(evSource, 33, 146, "21"),
        FIELD(evType, 3, 147, "03"), FIELD(evCategory, 3, 148, "03"), FIELD(evIdVersion, 1, 149, "01"),
        FIELD(evId, 10, 150, "000A"),
    });
}
#undef RECORD

#define RECORD EsaEventData_t
TEST(WireRecord, EventDataHasEachFieldAtItsBits) {
    check<RECORD>(84, {
        FIELD(enclosureType, 5, 0, "05"), FIELD(numberOfDrive, 0x12345678, 4, "12345678"),
        FIELD(numberOfPowerSupply, 0x12345678, 8, "12345678"), FIELD(numberOfFan, 0x12345678, 12, "12345678"),
        FIELD(numberOfTemperatureSensor, 0x12345678, 16, "12345678"), FIELD(numberOfAlarm, 0x12345678, 20, "12345678"),
        FIELD(driveFaultLedStatus0, 0x12345678, 24, "12345678"),
        FIELD(driveFaultLedStatus1, 0x12345678, 28, "12345678"), FIELD(powerSupplyStatus, 0x12345678, 32, "12345678"),
        FIELD(fanFaultStatus, 0x12345678, 36, "12345678"), FIELD(temperatureStatus, 0x12345678, 40, "12345678"),
        FIELD(temperatureSensorPosition, 0x12345678, 44, "12345678"), FIELD(temperature, 0x1234, 48, "1234"),
        FIELD(alarmState, 0x12345678, 52, "12345678"), FIELD(information, 0x12345678, 56, "12345678"),
        FIELD(reserved1, 0x12345678, 60, "12345678"), FIELD(reserved2, 0x12345678, 64, "12345678"),
        FIELD(reserved3, 0x12345678, 68, "12345678"), FIELD(reserved4, 0x12345678, 72, "12345678"),
        FIELD(reserved5, 0x12345678, 76, "12345678"), FIELD(reserved6, 0x12345678, 80, "12345678"),
    });
}
#undef RECORD

TEST(WireRecord, FieldsThatNoLineOfTheLogShowsAreAtTheirBits) {
#define RECORD RcvDiagResCommand_t
    check<RECORD>(8, {FIELD(pcv, 1, 1, "80"), FIELD(allocationLength, 0x1234, 4, "1234")});
#undef RECORD
#define RECORD DeviceElementCont_t
    check<RECORD>(4, {FIELD(doNotRemove, 1, 2, "02"), FIELD(deviceOff, 1, 3, "08")});
#undef RECORD
#define RECORD TemperatureSensorElementCont_t
    check<RECORD>(4, {FIELD(commonControl, 0x80, 0, "80"), FIELD(reserved1, 0x7F, 1, "FE"), FIELD(rqstIdent, 1, 1, "01"),
                      FIELD(reserved2[0], 0x5A, 2, "5A")});
#undef RECORD
#define RECORD TemperatureSensorElementStat_t
    check<RECORD>(4, {FIELD(commonStatus, 1, 0, "01"), FIELD(reserved1, 0x7F, 1, "FE"), FIELD(ident, 1, 1, "01"),
                      FIELD(temperature, 76, 2, "4C"), FIELD(utWarning, 1, 3, "80"), FIELD(utFailure, 1, 3, "40"),
                      FIELD(otWarning, 1, 3, "20"), FIELD(otFailure, 1, 3, "10"), FIELD(reserved2, 15, 3, "0F")});
#undef RECORD
}

#undef FIELD
// clang-format on

TEST(WireRecord, BitFieldWritesItsOwnBitsOnlyAndDropsWhatDoesNotFit) {
    CoolingElementStat_t status;
    std::memset(static_cast<void*>(&status), 0xFF, sizeof(status));
    status.actualSpeedCode = 0;
    EXPECT_EQ(hex(&status, sizeof(status)), "FF FF FF 1F");
    status.actualFanSpeedMsb = 5;
    EXPECT_EQ(hex(&status, sizeof(status)), "FF 7F FF 1F");
    EXPECT_EQ(status.actualFanSpeedMsb, 1);
    EXPECT_EQ(status.reserved, 0x1F);
}

TEST(WireRecord, IntegersAreBigEndianAtAnyAddress) {
    U8_t buffer[16] = {};
    wireAt<be16_t>(static_cast<void*>(buffer + 1)) = 0xABCD;
    wireAt<be24_t>(static_cast<void*>(buffer + 3)) = 0xFF123456;
    wireAt<be32_t>(static_cast<void*>(buffer + 7)) = 0x89ABCDEF;
    EXPECT_EQ(hex(buffer, 12), "00 AB CD 12 34 56 00 89 AB CD EF 00");
    EXPECT_EQ(wireAt<be16_t>(static_cast<const void*>(buffer + 1)), 0xABCD);
    EXPECT_EQ(wireAt<be24_t>(static_cast<const void*>(buffer + 3)), 0x123456U);
    EXPECT_EQ(wireAt<be32_t>(static_cast<const void*>(buffer + 7)), 0x89ABCDEFU);
}

TEST(WireRecord, RecipientBitmapHasABitForEachEndpointBelow64) {
    BM_ELEMENT_t bitmap[2] = {0U, 0U};
    for (const U8_t endpoint : {U8_t{18}, U8_t{33}, U8_t{63}, U8_t{64}, U8_t{255}}) {
        mmsgAddRecipient(bitmap, endpoint);
    }
    EXPECT_EQ(hex(bitmap, sizeof(bitmap)), "00 04 00 00 80 00 00 02");
    for (int endpoint = 0; endpoint < 256; ++endpoint) {
        const bool named = endpoint == 18 || endpoint == 33 || endpoint == 63;
        EXPECT_EQ(mmsgIsRecipient(bitmap, static_cast<U8_t>(endpoint)), named) << endpoint;
    }
}

TEST(WireRecord, MessagesAndBodiesHaveTheSizesThatTravel) {
    EXPECT_EQ(sizeof(MMSGLS_t), 4064U);
    EXPECT_EQ(sizeof(MMSGSS_t), 224U);
    EXPECT_EQ(sizeof(EsaEvent_t), 236U);
    EXPECT_EQ(sizeof(EsaErrorMsg_t), 196U);
    EXPECT_EQ(sizeof(EsaInfo_t), 500U);
    EXPECT_EQ(sizeof(SndDiagCommandMsg_t), 9U);
}

} // namespace
