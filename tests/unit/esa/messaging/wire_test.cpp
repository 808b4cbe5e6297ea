/** The wire records: size of each, and the bytes of each field, stated as they travel. */
#include <gtest/gtest.h>

#include <cstring>

#include "esa_evl.h"
#include "esa_fixture.h"
#include "mmsg.h"
#include "ses_mesgs.h"

namespace {

/** A record in which one field is set, and the bytes that lead up to and hold it; all behind them are zero. */
struct FieldCase_t {
    const char* name;
    std::size_t size;
    Bytes_t bytes;
    const char* expected;
};

template <typename Record>
Bytes_t bytesOf(const Record& record) {
    const auto* first = reinterpret_cast<const U8_t*>(&record);
    return {first, first + sizeof(record)};
}

#define FIELD(record, field, value, size, expected)                                                                    \
    FieldCase_t {                                                                                                      \
#record "." #field, size, [] {                                                                                 \
            record one;                                                                                                \
            wireClear(one);                                                                                            \
            one.field = value;                                                                                         \
            return bytesOf(one);                                                                                       \
        }(), expected       \
    }

class WireRecord : public EsaTest {
protected:
    static Bytes_t padded(const char* expected, std::size_t size) {
        Bytes_t bytes = unhex(expected);
        bytes.resize(size);
        return bytes;
    }

    static void check(const std::vector<FieldCase_t>& cases) {
        for (const FieldCase_t& one : cases) {
            EXPECT_EQ(one.bytes.size(), one.size) << one.name;
            EXPECT_EQ(hex(one.bytes), hex(padded(one.expected, one.size))) << one.name;
        }
    }
};

TEST_F(WireRecord, SenseDataHasEachFieldAtItsBits) {
    check({
        FIELD(SenseData_t, responseCode, 0x70, 24, "E0"),
        FIELD(SenseData_t, valid, 1, 24, "01"),
        FIELD(SenseData_t, obsolete, 0x5A, 24, "00 5A"),
        FIELD(SenseData_t, senseKey, 5, 24, "00 00 50"),
        FIELD(SenseData_t, reserved, 1, 24, "00 00 08"),
        FIELD(SenseData_t, ili, 1, 24, "00 00 04"),
        FIELD(SenseData_t, eom, 1, 24, "00 00 02"),
        FIELD(SenseData_t, filemark, 1, 24, "00 00 01"),
        FIELD(SenseData_t, information, 0x12345678, 24, "00 00 00 00 12 34 56 78"),
        FIELD(SenseData_t, additionalSenseLength, 0x5A, 24, "00 00 00 00 00 00 00 00 5A"),
        FIELD(SenseData_t, commandSpecificInformation, 0x12345678, 24,
              "00 00 00 00 00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(SenseData_t, additionalSenseCode, 0x24, 24, "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 24"),
        FIELD(SenseData_t, additionalSenseCodeQualifier, 0x5A, 24,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 5A"),
        FIELD(SenseData_t, fieldReplaceableUnitCode, 0x5A, 24,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 5A"),
        FIELD(SenseData_t, senseKeySpecific7Bits, 0x7F, 24,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 FE"),
        FIELD(SenseData_t, sksv, 1, 24, "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01"),
        FIELD(SenseData_t, senseKeySpecific16Bits, 0x1234, 24,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 12 34"),
    });
}

TEST_F(WireRecord, MMCHHasEachFieldAtItsBits) {
    check({
        FIELD(MMCH_t, mmch_lh.flink, 0x12345678, 64, "12 34 56 78"),
        FIELD(MMCH_t, mmch_lh.blink, 0x12345678, 64, "00 00 00 00 12 34 56 78"),
        FIELD(MMCH_t, message_type, 14, 64, "00 00 00 00 00 00 00 00 0E"),
        FIELD(MMCH_t, mmch_version, 1, 64, "00 00 00 00 00 00 00 00 00 01"),
        FIELD(MMCH_t, mmsg_length, 0x1234, 64, "00 00 00 00 00 00 00 00 00 00 12 34"),
        FIELD(MMCH_t, opcode.request.protocol, 18, 64, "00 00 00 00 00 00 00 00 00 00 00 00 12"),
        FIELD(MMCH_t, opcode.request.type, 0x123456, 64, "00 00 00 00 00 00 00 00 00 00 00 00 00 12 34 56"),
        FIELD(MMCH_t, opcode.whole, 0x12345678, 64, "00 00 00 00 00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(MMCH_t, requestor, 33, 64, "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 21"),
        FIELD(MMCH_t, mmsg_cont, 0x40, 64, "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 40"),
        FIELD(MMCH_t, dest_ep, 33, 64, "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 21"),
        FIELD(MMCH_t, recipient_loc_bm[0], 0x40000, 64,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 04 00 00"),
        FIELD(MMCH_t, recipient_loc_bm[1], 2, 64,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 02"),
        FIELD(MMCH_t, recipient_ob_bm[0], 1, 64,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01"),
        FIELD(MMCH_t, recipient_ob_bm[1], 2, 64,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 02"),
        FIELD(MMCH_t, return_code, 2, 64,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 02"),
        FIELD(MMCH_t, handle, 0x12345678, 64,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 12 34 56 78"),
        FIELD(MMCH_t, general_use1, 1, 64,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 01"),
        FIELD(MMCH_t, general_use2, 2, 64,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 02"),
        FIELD(MMCH_t, general_use3, 3, 64,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 03"),
        FIELD(MMCH_t, timestamp.high, 4, 64,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 04"),
        FIELD(MMCH_t, timestamp.low, 5, 64,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 05"),
    });
}

TEST_F(WireRecord, EmpEvLogHeaderHasEachFieldAtItsBits) {
    check({
        FIELD(EmpEvLogHeader_t, evEnclosureId[0], 0x41, 152, "41"),
        FIELD(EmpEvLogHeader_t, evBladeId[0], 0x41, 152,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 41"),
        FIELD(EmpEvLogHeader_t, evSlotId, 1, 152,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01"),
        FIELD(EmpEvLogHeader_t, evInstanceNumber, 1, 152,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01"),
        FIELD(
            EmpEvLogHeader_t, evSequenceId, 1, 152,
            "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
            "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
            "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
            "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01"),
        FIELD(EmpEvLogHeader_t, evTime, 1, 152,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 01"),
        FIELD(EmpEvLogHeader_t, evStructLength, 0x1234, 152,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 12 34"),
        FIELD(EmpEvLogHeader_t, evSource, 33, 152,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 21"),
        FIELD(EmpEvLogHeader_t, evType, 3, 152,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 03"),
        FIELD(EmpEvLogHeader_t, evCategory, 3, 152,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 03"),
        FIELD(EmpEvLogHeader_t, evIdVersion, 1, 152,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 01"),
        FIELD(EmpEvLogHeader_t, evId, 10, 152,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 0A"),
    });
}

TEST_F(WireRecord, EsaEventDataHasEachFieldAtItsBits) {
    check({
        FIELD(EsaEventData_t, enclosureType, 5, 84, "05"),
        FIELD(EsaEventData_t, numberOfDrive, 0x12345678, 84, "00 00 00 00 12 34 56 78"),
        FIELD(EsaEventData_t, numberOfPowerSupply, 0x12345678, 84, "00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(EsaEventData_t, numberOfFan, 0x12345678, 84, "00 00 00 00 00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(EsaEventData_t, numberOfTemperatureSensor, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(EsaEventData_t, numberOfAlarm, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(EsaEventData_t, driveFaultLedStatus0, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(EsaEventData_t, driveFaultLedStatus1, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(EsaEventData_t, powerSupplyStatus, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 12 34 "
              "56 78"),
        FIELD(EsaEventData_t, fanFaultStatus, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 12 34 56 78"),
        FIELD(EsaEventData_t, temperatureStatus, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 12 34 56 78"),
        FIELD(EsaEventData_t, temperatureSensorPosition, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(EsaEventData_t, temperature, 0x1234, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 12 34"),
        FIELD(EsaEventData_t, alarmState, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(EsaEventData_t, information, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(EsaEventData_t, reserved1, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(EsaEventData_t, reserved2, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(EsaEventData_t, reserved3, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "12 34 56 78"),
        FIELD(EsaEventData_t, reserved4, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 12 34 56 78"),
        FIELD(EsaEventData_t, reserved5, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(EsaEventData_t, reserved6, 0x12345678, 84,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 12 34 56 78"),
    });
}

TEST_F(WireRecord, FieldsThatNoLineOfTheLogShowsAreAtTheirBits) {
    check({
        FIELD(RcvDiagResCommand_t, pcv, 1, 8, "00 80"),
        FIELD(RcvDiagResCommand_t, allocationLength, 0x1234, 8, "00 00 00 00 12 34"),
        FIELD(DeviceElementCont_t, doNotRemove, 1, 4, "00 00 02"),
        FIELD(DeviceElementCont_t, deviceOff, 1, 4, "00 00 00 08"),
        FIELD(TemperatureSensorElementCont_t, commonControl, 0x80, 4, "80"),
        FIELD(TemperatureSensorElementCont_t, reserved1, 0x7F, 4, "00 FE"),
        FIELD(TemperatureSensorElementCont_t, rqstIdent, 1, 4, "00 01"),
        FIELD(TemperatureSensorElementCont_t, reserved2[0], 0x5A, 4, "00 00 5A"),
        FIELD(TemperatureSensorElementStat_t, commonStatus, 1, 4, "01"),
        FIELD(TemperatureSensorElementStat_t, reserved1, 0x7F, 4, "00 FE"),
        FIELD(TemperatureSensorElementStat_t, ident, 1, 4, "00 01"),
        FIELD(TemperatureSensorElementStat_t, temperature, 76, 4, "00 00 4C"),
        FIELD(TemperatureSensorElementStat_t, utWarning, 1, 4, "00 00 00 80"),
        FIELD(TemperatureSensorElementStat_t, utFailure, 1, 4, "00 00 00 40"),
        FIELD(TemperatureSensorElementStat_t, otWarning, 1, 4, "00 00 00 20"),
        FIELD(TemperatureSensorElementStat_t, otFailure, 1, 4, "00 00 00 10"),
        FIELD(TemperatureSensorElementStat_t, reserved2, 15, 4, "00 00 00 0F"),
    });
}

TEST_F(WireRecord, BitFieldWritesItsOwnBitsOnlyAndDropsWhatDoesNotFit) {
    CoolingElementStat_t status;
    std::memset(static_cast<void*>(&status), 0xFF, sizeof(status));
    status.actualSpeedCode = 0;
    EXPECT_EQ(hex(bytesOf(status)), "FF FF FF 1F");
    status.actualFanSpeedMsb = 5;
    EXPECT_EQ(hex(bytesOf(status)), "FF 7F FF 1F");
    EXPECT_EQ(status.actualFanSpeedMsb, 1);
    EXPECT_EQ(status.reserved, 0x1F);
}

TEST_F(WireRecord, IntegersAreBigEndianAtAnyAddress) {
    U8_t buffer[16] = {};
    wireAt<be16_t>(static_cast<void*>(buffer + 1)) = 0xABCD;
    wireAt<be24_t>(static_cast<void*>(buffer + 3)) = 0xFF123456;
    wireAt<be32_t>(static_cast<void*>(buffer + 7)) = 0x89ABCDEF;
    EXPECT_EQ(hex(buffer, 12), "00 AB CD 12 34 56 00 89 AB CD EF 00");
    EXPECT_EQ(wireAt<be16_t>(static_cast<const void*>(buffer + 1)), 0xABCD);
    EXPECT_EQ(wireAt<be24_t>(static_cast<const void*>(buffer + 3)), 0x123456U);
    EXPECT_EQ(wireAt<be32_t>(static_cast<const void*>(buffer + 7)), 0x89ABCDEFU);
}

TEST_F(WireRecord, RecipientBitmapHasABitForEachEndpointBelow64) {
    BM_ELEMENT_t bitmap[2] = {0U, 0U};
    mmsgAddRecipient(bitmap, 18);
    mmsgAddRecipient(bitmap, 33);
    mmsgAddRecipient(bitmap, 63);
    mmsgAddRecipient(bitmap, 64);
    mmsgAddRecipient(bitmap, 255);
    EXPECT_EQ(hex(bitmap, sizeof(bitmap)), "00 04 00 00 80 00 00 02");
    for (int endpoint = 0; endpoint < 256; ++endpoint) {
        const bool named = endpoint == 18 || endpoint == 33 || endpoint == 63;
        EXPECT_EQ(mmsgIsRecipient(bitmap, static_cast<U8_t>(endpoint)), named) << endpoint;
    }
}

TEST_F(WireRecord, MessagesAndBodiesHaveTheSizesThatTravel) {
    EXPECT_EQ(sizeof(MMSGLS_t), 4064U);
    EXPECT_EQ(sizeof(MMSGSS_t), 224U);
    EXPECT_EQ(sizeof(EsaEvent_t), 236U);
    EXPECT_EQ(sizeof(EsaErrorMsg_t), 196U);
    EXPECT_EQ(sizeof(EsaInfo_t), 500U);
    EXPECT_EQ(sizeof(SndDiagCommandMsg_t), 9U);
}

} // namespace
