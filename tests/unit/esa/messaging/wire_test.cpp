/** The wire records: size of each, and the bytes of each field, stated as they travel. */
#include <gtest/gtest.h>

#include <cstring>

#include "esa_evl.h"
#include "esa_fixture.h"
#include "mmsg.h"
#include "ses_mesgs.h"

namespace {

/** A record in which one field is set, and the bytes that lead up to and hold it; all behind them are zero. */
struct FieldCase {
    const char* name;
    std::size_t size;
    Bytes bytes;
    const char* expected;
};

template <typename Record>
Bytes bytesOf(const Record& record) {
    const auto* first = reinterpret_cast<const U8_t*>(&record);
    return {first, first + sizeof(record)};
}

#define FIELD(record, field, value, size, expected)                                                                    \
    FieldCase {                                                                                                        \
#record "." #field, size, [] {                                                                                 \
            record one;                                                                                                \
            wireClear(one);                                                                                            \
            one.field = value;                                                                                         \
            return bytesOf(one);                                                                                       \
        }(), expected       \
    }

class WireRecord : public EsaTest {
protected:
    static Bytes padded(const char* expected, std::size_t size) {
        Bytes bytes = unhex(expected);
        bytes.resize(size);
        return bytes;
    }

    static void check(const std::vector<FieldCase>& cases) {
        for (const FieldCase& one : cases) {
            EXPECT_EQ(one.bytes.size(), one.size) << one.name;
            EXPECT_EQ(hex(one.bytes), hex(padded(one.expected, one.size))) << one.name;
        }
    }
};

TEST_F(WireRecord, RcvDiagResCommandHasEachFieldAtItsBits) {
    check({
        FIELD(RcvDiagResCommand_t, operationCode, 0x1C, 8, "1C 00 00 00 00 00 00 00"),
        FIELD(RcvDiagResCommand_t, pcv, 1, 8, "00 80"),
        FIELD(RcvDiagResCommand_t, reserved, 0x7F, 8, "00 7F"),
        FIELD(RcvDiagResCommand_t, pageCode, 2, 8, "00 00 02"),
        FIELD(RcvDiagResCommand_t, allocationLength, 0x1234, 8, "00 00 00 00 12 34"),
        FIELD(RcvDiagResCommand_t, control, 0x5A, 8, "00 00 00 00 00 00 5A"),
    });
}

TEST_F(WireRecord, SndDiagCommandHasEachFieldAtItsBits) {
    check({
        FIELD(SndDiagCommand_t, operationCode, 0x1D, 8, "1D"),
        FIELD(SndDiagCommand_t, unitOffL, 1, 8, "00 80"),
        FIELD(SndDiagCommand_t, devOffL, 1, 8, "00 40"),
        FIELD(SndDiagCommand_t, selfTest, 1, 8, "00 20"),
        FIELD(SndDiagCommand_t, reservedBit, 1, 8, "00 10"),
        FIELD(SndDiagCommand_t, pf, 1, 8, "00 08"),
        FIELD(SndDiagCommand_t, selfTestCode, 7, 8, "00 07"),
        FIELD(SndDiagCommand_t, reserved, 0x5A, 8, "00 00 5A"),
        FIELD(SndDiagCommand_t, parameterListLength, 0x1234, 8, "00 00 00 00 12 34"),
        FIELD(SndDiagCommand_t, control, 0x5A, 8, "00 00 00 00 00 00 5A"),
    });
}

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

TEST_F(WireRecord, ConfDiagPageHdrHasEachFieldAtItsBits) {
    check({
        FIELD(ConfDiagPageHdr_t, pageCode, 1, 8, "01"),
        FIELD(ConfDiagPageHdr_t, numberSubEnclosure, 0x5A, 8, "00 5A"),
        FIELD(ConfDiagPageHdr_t, pageLength, 0x1234, 8, "00 00 12 34"),
        FIELD(ConfDiagPageHdr_t, generationCode, 0x12345678, 8, "00 00 00 00 12 34 56 78"),
    });
}

TEST_F(WireRecord, EnclosureDescHdrHasEachFieldAtItsBits) {
    check({
        FIELD(EnclosureDescHdr_t, numberESProcesses, 7, 40, "E0"),
        FIELD(EnclosureDescHdr_t, reserved1, 1, 40, "10"),
        FIELD(EnclosureDescHdr_t, relESProcessId, 7, 40, "0E"),
        FIELD(EnclosureDescHdr_t, reserved2, 1, 40, "01"),
        FIELD(EnclosureDescHdr_t, subEnclosureId, 0x5A, 40, "00 5A"),
        FIELD(EnclosureDescHdr_t, numberElementTypeDescHdrs, 5, 40, "00 00 05"),
        FIELD(EnclosureDescHdr_t, enclosureDescLength, 36, 40, "00 00 00 24"),
        FIELD(EnclosureDescHdr_t, enclosureLogId[0], 0x5A, 40, "00 00 00 00 5A"),
        FIELD(EnclosureDescHdr_t, enclosureVendorId[0], 0x5A, 40, "00 00 00 00 00 00 00 00 00 00 00 00 5A"),
        FIELD(EnclosureDescHdr_t, productId[0], 0x5A, 40,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 5A"),
        FIELD(EnclosureDescHdr_t, productRevLevel[0], 0x5A, 40,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 5A"),
    });
}

TEST_F(WireRecord, TypeDescHdrHasEachFieldAtItsBits) {
    check({
        FIELD(TypeDescHdr_t, elementType, 6, 4, "06"),
        FIELD(TypeDescHdr_t, numberPossibleElements, 0x10, 4, "00 10"),
        FIELD(TypeDescHdr_t, subEnclosureId, 0x5A, 4, "00 00 5A"),
        FIELD(TypeDescHdr_t, typeDescTextLength, 0x5A, 4, "00 00 00 5A"),
    });
}

TEST_F(WireRecord, EncStatDiagPageHdrHasEachFieldAtItsBits) {
    check({
        FIELD(EncStatDiagPageHdr_t, pageCode, 2, 8, "02"),
        FIELD(EncStatDiagPageHdr_t, unrecov, 1, 8, "00 80"),
        FIELD(EncStatDiagPageHdr_t, crit, 1, 8, "00 40"),
        FIELD(EncStatDiagPageHdr_t, nonCrit, 1, 8, "00 20"),
        FIELD(EncStatDiagPageHdr_t, info, 1, 8, "00 10"),
        FIELD(EncStatDiagPageHdr_t, invop, 1, 8, "00 08"),
        FIELD(EncStatDiagPageHdr_t, reserved, 7, 8, "00 07"),
        FIELD(EncStatDiagPageHdr_t, pageLength, 0x1234, 8, "00 00 12 34"),
        FIELD(EncStatDiagPageHdr_t, generationCode, 0x12345678, 8, "00 00 00 00 12 34 56 78"),
    });
}

TEST_F(WireRecord, EncContDiagPageHdrHasEachFieldAtItsBits) {
    check({
        FIELD(EncContDiagPageHdr_t, pageCode, 2, 8, "02"),
        FIELD(EncContDiagPageHdr_t, unrecov, 1, 8, "00 80"),
        FIELD(EncContDiagPageHdr_t, crit, 1, 8, "00 40"),
        FIELD(EncContDiagPageHdr_t, nonCrit, 1, 8, "00 20"),
        FIELD(EncContDiagPageHdr_t, info, 1, 8, "00 10"),
        FIELD(EncContDiagPageHdr_t, reserved, 15, 8, "00 0F"),
        FIELD(EncContDiagPageHdr_t, pageLength, 0x1234, 8, "00 00 12 34"),
        FIELD(EncContDiagPageHdr_t, generationCode, 0x12345678, 8, "00 00 00 00 12 34 56 78"),
    });
}

TEST_F(WireRecord, DeviceElementStatHasEachFieldAtItsBits) {
    check({
        FIELD(DeviceElementStat_t, commonStatus, 1, 4, "01"),
        FIELD(DeviceElementStat_t, slotAddress, 3, 4, "00 03"),
        FIELD(DeviceElementStat_t, report, 1, 4, "00 00 80"),
        FIELD(DeviceElementStat_t, ident, 1, 4, "00 00 40"),
        FIELD(DeviceElementStat_t, rmv, 1, 4, "00 00 20"),
        FIELD(DeviceElementStat_t, readyToInsert, 1, 4, "00 00 10"),
        FIELD(DeviceElementStat_t, enclosureBypB, 1, 4, "00 00 08"),
        FIELD(DeviceElementStat_t, enclosureBypA, 1, 4, "00 00 04"),
        FIELD(DeviceElementStat_t, doNotRemove, 1, 4, "00 00 02"),
        FIELD(DeviceElementStat_t, appClientBypA, 1, 4, "00 00 01"),
        FIELD(DeviceElementStat_t, deviceBypB, 1, 4, "00 00 00 80"),
        FIELD(DeviceElementStat_t, deviceBypA, 1, 4, "00 00 00 40"),
        FIELD(DeviceElementStat_t, BypB, 1, 4, "00 00 00 20"),
        FIELD(DeviceElementStat_t, BypA, 1, 4, "00 00 00 10"),
        FIELD(DeviceElementStat_t, deviceOff, 1, 4, "00 00 00 08"),
        FIELD(DeviceElementStat_t, faultReqstd, 1, 4, "00 00 00 04"),
        FIELD(DeviceElementStat_t, faultSensed, 1, 4, "00 00 00 02"),
        FIELD(DeviceElementStat_t, appClientBypB, 1, 4, "00 00 00 01"),
    });
}

TEST_F(WireRecord, PowerSupplyElementStatHasEachFieldAtItsBits) {
    check({
        FIELD(PowerSupplyElementStat_t, commonStatus, 1, 4, "01"),
        FIELD(PowerSupplyElementStat_t, reserved1, 0x7F, 4, "00 FE"),
        FIELD(PowerSupplyElementStat_t, ident, 1, 4, "00 01"),
        FIELD(PowerSupplyElementStat_t, rsvd1, 1, 4, "00 00 80"),
        FIELD(PowerSupplyElementStat_t, dcOverCurrent, 1, 4, "00 00 40"),
        FIELD(PowerSupplyElementStat_t, dcUnderVoltage, 1, 4, "00 00 20"),
        FIELD(PowerSupplyElementStat_t, dcOverVoltage, 1, 4, "00 00 10"),
        FIELD(PowerSupplyElementStat_t, reserved2, 15, 4, "00 00 0F"),
        FIELD(PowerSupplyElementStat_t, dcFail, 1, 4, "00 00 00 80"),
        FIELD(PowerSupplyElementStat_t, acFail, 1, 4, "00 00 00 40"),
        FIELD(PowerSupplyElementStat_t, tempWarn, 1, 4, "00 00 00 20"),
        FIELD(PowerSupplyElementStat_t, ovrtmpFail, 1, 4, "00 00 00 10"),
        FIELD(PowerSupplyElementStat_t, off, 1, 4, "00 00 00 08"),
        FIELD(PowerSupplyElementStat_t, rqstedOn, 1, 4, "00 00 00 04"),
        FIELD(PowerSupplyElementStat_t, fail, 1, 4, "00 00 00 02"),
        FIELD(PowerSupplyElementStat_t, rsvd2, 1, 4, "00 00 00 01"),
    });
}

TEST_F(WireRecord, CoolingElementStatHasEachFieldAtItsBits) {
    check({
        FIELD(CoolingElementStat_t, commonStatus, 1, 4, "01"),
        FIELD(CoolingElementStat_t, actualFanSpeedMsb, 3, 4, "00 C0"),
        FIELD(CoolingElementStat_t, reserved, 0x1F, 4, "00 3E"),
        FIELD(CoolingElementStat_t, ident, 1, 4, "00 01"),
        FIELD(CoolingElementStat_t, actualFanSpeed, 200, 4, "00 00 C8"),
        FIELD(CoolingElementStat_t, actualSpeedCode, 7, 4, "00 00 00 E0"),
        FIELD(CoolingElementStat_t, rsvd1, 1, 4, "00 00 00 10"),
        FIELD(CoolingElementStat_t, off, 1, 4, "00 00 00 08"),
        FIELD(CoolingElementStat_t, rqstedOn, 1, 4, "00 00 00 04"),
        FIELD(CoolingElementStat_t, fail, 1, 4, "00 00 00 02"),
        FIELD(CoolingElementStat_t, rsvd2, 1, 4, "00 00 00 01"),
    });
}

TEST_F(WireRecord, TemperatureSensorElementStatHasEachFieldAtItsBits) {
    check({
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

TEST_F(WireRecord, AudibleAlarmElementStatHasEachFieldAtItsBits) {
    check({
        FIELD(AudibleAlarmElementStat_t, commonStatus, 1, 4, "01"),
        FIELD(AudibleAlarmElementStat_t, reserved1, 0x7F, 4, "00 FE"),
        FIELD(AudibleAlarmElementStat_t, ident, 1, 4, "00 01"),
        FIELD(AudibleAlarmElementStat_t, reserved2, 0x5A, 4, "00 00 5A"),
        FIELD(AudibleAlarmElementStat_t, unrecov, 1, 4, "00 00 00 80"),
        FIELD(AudibleAlarmElementStat_t, crit, 1, 4, "00 00 00 40"),
        FIELD(AudibleAlarmElementStat_t, nonCrit, 1, 4, "00 00 00 20"),
        FIELD(AudibleAlarmElementStat_t, info, 1, 4, "00 00 00 10"),
        FIELD(AudibleAlarmElementStat_t, remind, 1, 4, "00 00 00 08"),
        FIELD(AudibleAlarmElementStat_t, rsvd, 1, 4, "00 00 00 04"),
        FIELD(AudibleAlarmElementStat_t, muted, 1, 4, "00 00 00 02"),
        FIELD(AudibleAlarmElementStat_t, rqstMute, 1, 4, "00 00 00 01"),
    });
}

TEST_F(WireRecord, DeviceElementContHasEachFieldAtItsBits) {
    check({
        FIELD(DeviceElementCont_t, commonControl, 0x80, 4, "80"),
        FIELD(DeviceElementCont_t, reserved1, 0x5A, 4, "00 5A"),
        FIELD(DeviceElementCont_t, reserved2, 1, 4, "00 00 80"),
        FIELD(DeviceElementCont_t, rqstIdent, 1, 4, "00 00 40"),
        FIELD(DeviceElementCont_t, rqstRemove, 1, 4, "00 00 20"),
        FIELD(DeviceElementCont_t, rqstInsert, 1, 4, "00 00 10"),
        FIELD(DeviceElementCont_t, reserved3, 3, 4, "00 00 0C"),
        FIELD(DeviceElementCont_t, doNotRemove, 1, 4, "00 00 02"),
        FIELD(DeviceElementCont_t, rqstActive, 1, 4, "00 00 01"),
        FIELD(DeviceElementCont_t, reserved4, 3, 4, "00 00 00 C0"),
        FIELD(DeviceElementCont_t, enableBypB, 1, 4, "00 00 00 20"),
        FIELD(DeviceElementCont_t, enableBypA, 1, 4, "00 00 00 10"),
        FIELD(DeviceElementCont_t, deviceOff, 1, 4, "00 00 00 08"),
        FIELD(DeviceElementCont_t, rqstFault, 1, 4, "00 00 00 04"),
        FIELD(DeviceElementCont_t, reserved5, 3, 4, "00 00 00 03"),
    });
}

TEST_F(WireRecord, PowerSupplyElementContHasEachFieldAtItsBits) {
    check({
        FIELD(PowerSupplyElementCont_t, commonControl, 0x80, 4, "80"),
        FIELD(PowerSupplyElementCont_t, reserved1, 0x7F, 4, "00 FE"),
        FIELD(PowerSupplyElementCont_t, rqstIdent, 1, 4, "00 01"),
        FIELD(PowerSupplyElementCont_t, reserved2, 0x5A, 4, "00 00 5A"),
        FIELD(PowerSupplyElementCont_t, reserved3, 0x1F, 4, "00 00 00 F8"),
        FIELD(PowerSupplyElementCont_t, rqstOn, 1, 4, "00 00 00 04"),
        FIELD(PowerSupplyElementCont_t, rqstFail, 1, 4, "00 00 00 02"),
        FIELD(PowerSupplyElementCont_t, rsvd, 1, 4, "00 00 00 01"),
    });
}

TEST_F(WireRecord, CoolingElementContHasEachFieldAtItsBits) {
    check({
        FIELD(CoolingElementCont_t, commonControl, 0x80, 4, "80"),
        FIELD(CoolingElementCont_t, reserved1, 0x7F, 4, "00 FE"),
        FIELD(CoolingElementCont_t, rqstIdent, 1, 4, "00 01"),
        FIELD(CoolingElementCont_t, reserved2, 0x5A, 4, "00 00 5A"),
        FIELD(CoolingElementCont_t, requestedSpeedCode, 7, 4, "00 00 00 E0"),
        FIELD(CoolingElementCont_t, reserved3, 3, 4, "00 00 00 18"),
        FIELD(CoolingElementCont_t, rqstOn, 1, 4, "00 00 00 04"),
        FIELD(CoolingElementCont_t, rqstFail, 1, 4, "00 00 00 02"),
        FIELD(CoolingElementCont_t, rsvd, 1, 4, "00 00 00 01"),
    });
}

TEST_F(WireRecord, TemperatureSensorElementContHasEachFieldAtItsBits) {
    check({
        FIELD(TemperatureSensorElementCont_t, commonControl, 0x80, 4, "80"),
        FIELD(TemperatureSensorElementCont_t, reserved1, 0x7F, 4, "00 FE"),
        FIELD(TemperatureSensorElementCont_t, rqstIdent, 1, 4, "00 01"),
        FIELD(TemperatureSensorElementCont_t, reserved2[0], 0x5A, 4, "00 00 5A"),
        FIELD(TemperatureSensorElementCont_t, reserved2[1], 0x5A, 4, "00 00 00 5A"),
    });
}

TEST_F(WireRecord, AudibleAlarmElementContHasEachFieldAtItsBits) {
    check({
        FIELD(AudibleAlarmElementCont_t, commonControl, 0x80, 4, "80"),
        FIELD(AudibleAlarmElementCont_t, reserved1, 0x7F, 4, "00 FE"),
        FIELD(AudibleAlarmElementCont_t, rqstIdent, 1, 4, "00 01"),
        FIELD(AudibleAlarmElementCont_t, reserved2, 0x5A, 4, "00 00 5A"),
        FIELD(AudibleAlarmElementCont_t, unrecov, 1, 4, "00 00 00 80"),
        FIELD(AudibleAlarmElementCont_t, crit, 1, 4, "00 00 00 40"),
        FIELD(AudibleAlarmElementCont_t, nonCrit, 1, 4, "00 00 00 20"),
        FIELD(AudibleAlarmElementCont_t, info, 1, 4, "00 00 00 10"),
        FIELD(AudibleAlarmElementCont_t, setRemind, 1, 4, "00 00 00 08"),
        FIELD(AudibleAlarmElementCont_t, rsvd1, 1, 4, "00 00 00 04"),
        FIELD(AudibleAlarmElementCont_t, setMute, 1, 4, "00 00 00 02"),
        FIELD(AudibleAlarmElementCont_t, rsvd2, 1, 4, "00 00 00 01"),
    });
}

TEST_F(WireRecord, PayloadsAndPagesHoldTheirPartsBehindEachOther) {
    check({
        FIELD(SndDiagCommandMsg_t, sndDiagCommand.parameterListLength, 0x1234, 9, "00 00 00 00 12 34"),
        FIELD(SndDiagCommandMsg_t, sndDiagCommandList, 2, 9, "00 00 00 00 00 00 00 00 02"),
        FIELD(SesStatus_t, statusCode, 2, 2, "02"),
        FIELD(SesStatus_t, payloadList, 0xE0, 2, "00 E0"),
        FIELD(ConfDiagPage_t, confDiagPageHdr.pageCode, 1, 52, "01"),
        FIELD(ConfDiagPage_t, encDescList.encDescHdr.subEnclosureId, 3, 52, "00 00 00 00 00 00 00 00 00 03"),
        FIELD(ConfDiagPage_t, encDescList.typeDescList[0].elementType, 6, 52,
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 00 00 00 06"),
        FIELD(EncStatDiagPage_t, encStatDiagPageHdr.invop, 1, 16, "00 08"),
        FIELD(EncStatDiagPage_t, statusList.overallStatus, 0x12345678, 16, "00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(EncStatDiagPage_t, statusList.elementStatusList[0], 5, 16, "00 00 00 00 00 00 00 00 00 00 00 00 05"),
        FIELD(EncContDiagPage_t, encContDiagPageHdr.info, 1, 16, "00 10"),
        FIELD(EncContDiagPage_t, controlList.overallControl, 0x12345678, 16, "00 00 00 00 00 00 00 00 12 34 56 78"),
        FIELD(EncContDiagPage_t, controlList.elementControlList[0], 5, 16, "00 00 00 00 00 00 00 00 00 00 00 00 05"),
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
