/**
 * The critical-error handler with a control block in which every field shows: most status words and all status records
 * stay zero for as long as the adapter lives, and no text of its own is as long as a record's field.
 */
#include "core/fault.h"

#include <cstring>
#include <numeric>

#include "esa_fixture.h"

namespace {

void put(Bytes_t& bytes, std::size_t at, const Bytes_t& field) {
    std::copy(field.begin(), field.end(), bytes.begin() + static_cast<long>(at));
}

Bytes_t bytesOf(const char* text) {
    return {text, text + std::strlen(text)};
}

/** Of the record with that number. */
Bytes_t bodyOf(std::size_t record) {
    return {fakeEventLog.at(record).begin() + 152, fakeEventLog.at(record).end()};
}

/** Bytes that count from `first`. */
Bytes_t counting(int first, std::size_t size) {
    Bytes_t bytes(size);
    std::iota(bytes.begin(), bytes.end(), static_cast<U8_t>(first));
    return bytes;
}

/** Fills a control block in which no two fields look alike, and keeps what is to be seen of it. */
class Expected_t {
public:
    Expected_t() {
        esaControl.socketAddressMSM = {};
        esaControl.socketAddressMSM.sun_family = 1;
        std::strcpy(esaControl.socketAddressMSM.sun_path, "/run/mpu/esadapter");
        esaControl.i2cConnected = 12;             // is not shown, as
        esaControl.fanFaultRpmLimit = 2000;       // this is not
        esaControl.temperatureSensorAverage = 77; // and this is not
        put(snapshot, 3, {static_cast<U8_t>(esaControl.socketFdMSM), 0, 1});
        put(snapshot, 6, bytesOf("/run/mpu/esadapter"));
        lines = {text("esaControl.socketFdMSM                       = [%d]", esaControl.socketFdMSM),
                 "esaControl.socketAddressMSM.sun_path         = [/run/mpu/esadapter]"};
    }

    /** A field with that number: its line, and its bytes in the snapshot at an offset. */
    template <typename Field, typename Number>
    void number(Field& field, Number value, const char* line, std::size_t at, const char* bytes) {
        field = static_cast<Field>(value);
        lines.emplace_back(line);
        put(snapshot, at, unhex(bytes));
    }

    /** A field whose bytes count from `first`: its dump, of `shown` bytes, and the bytes in the snapshot. */
    template <typename Field>
    void dump(Field& field, int first, const char* label, std::size_t at, std::size_t shown = sizeof(Field)) {
        const Bytes_t bytes = counting(first, sizeof(field));
        std::memcpy(static_cast<void*>(&field), bytes.data(), bytes.size());
        if (at != NOWHERE) {
            put(snapshot, at, bytes);
        }
        if (label == nullptr) {
            return;
        }
        lines.emplace_back(label);
        const auto address = static_cast<U32_t>(reinterpret_cast<std::uintptr_t>(&field));
        for (std::size_t i = 0; i < shown; ++i) {
            if (i % 32 == 0) {
                lines.push_back(text("0x%08X: ", address + static_cast<U32_t>(i)));
            } else if (i % 8 == 0) {
                lines.back() += ' ';
            }
            lines.back() += text("%02X", unsigned{bytes[i]});
        }
    }

    static constexpr std::size_t NOWHERE = 0; /**< not in the snapshot */
    Bytes_t snapshot = Bytes_t(500, 0);
    Lines_t lines;
};

Expected_t fillControlBlock() {
    EsaControl_t& esa = esaControl;
    Expected_t all;
    // clang-format off
    all.number(esa.i2cFileFd, -2, "esaControl.i2cFileFd                         = [-2]", 116, "FFFFFFFE");
    all.number(esa.enclosureType, 5, "esaControl.enclosureType                     = [5]", 120, "05");
    all.number(esa.elementTypeMaxNumber, 6, "esaControl.elementTypeMaxNumber              = [6]", 121, "06");
    all.number(esa.deviceMaxNumber, 7, "esaControl.deviceMaxNumber                   = [7]", 122, "07");
    all.number(esa.powerSupplyMaxNumber, 8, "esaControl.powerSupplyMaxNumber              = [8]", 123, "08");
    all.number(esa.coolingMaxNumber, 9, "esaControl.coolingMaxNumber                  = [9]", 124, "09");
    all.number(esa.temperatureSensorMaxNumber, 10, "esaControl.temperatureSensorMaxNumber        = [10]", 125, "0A");
    all.number(esa.audibleAlarmMaxNumber, 11, "esaControl.audibleAlarmMaxNumber             = [11]", 126, "0B");
    all.number(esa.pageCodeInRecentSndDiagCmd, 200, "esaControl.pageCodeInRecentSndDiagCmd        = [200]", 127, "C8");
    all.dump(esa.sesTypeDescriptorList, 0x01, "esaControl.sesTypeDescriptorList =", 128);
    all.number(esa.deviceElementControlOverall, 16909060, "esaControl.deviceElementControlOverall       = [16909060]", 136, "01020304");
    all.dump(esa.deviceElementControl, 0x10, "esaControl.deviceElementControl =", 140);
    all.number(esa.deviceElementStatusOverall, -2, "esaControl.deviceElementStatusOverall        = [-2]", 204, "FFFFFFFE");
    all.dump(esa.deviceElementStatus, 0x50, "esaControl.deviceElementStatus =", 208);
    all.number(esa.driveFaultLedStatus0, 0x8000ABCD, "esaControl.driveFaultLedStatus0              = [0x8000abcd]", 272, "8000ABCD");
    all.number(esa.driveFaultLedStatus1, 30, "esaControl.driveFaultLedStatus1              = [0x1e]", 276, "0000001E");
    all.number(esa.powerSupplyElementControlOverall, 21, "esaControl.powerSupplyElementControlOverall  = [21]", 280, "00000015");
    all.dump(esa.powerSupplyElementControl, 0x20, "esaControl.powerSupplyElementControl  =", 284);
    all.number(esa.powerSupplyElementStatusOverall, 22, "esaControl.powerSupplyElementStatusOverall   = [22]", 296, "00000016");
    all.dump(esa.powerSupplyElementStatus, 0x30, "esaControl.powerSupplyElementStatus  =", 300);
    all.number(esa.powerSupplyStatus, 7, "esaControl.powerSupplyStatus                 = [0x7]", 312, "00000007");
    all.number(esa.coolingElementControlOverall, 23, "esaControl.coolingElementControlOverall      = [23]", 316, "00000017");
    all.dump(esa.coolingElementControl, 0x60, "esaControl.coolingElementControl  =", 320);
    all.number(esa.coolingElementStatusOverall, 24, "esaControl.coolingElementStatusOverall       = [24]", 352, "00000018");
    all.dump(esa.coolingElementStatus, 0x80, "esaControl.coolingElementStatus  =", 356);
    all.dump(esa.coolingElementOnOff, 0xA0, "esaControl.coolingElementOnOff  =", 388);
    all.number(esa.fanFaultStatus, 0xA5, "esaControl.fanFaultStatus                    = [0xa5]", 396, "000000A5");
    all.number(esa.temperatureSensor[0], 25, "esaControl.temperatureSensor[0]         = 25", 400, "0019");
    all.number(esa.temperatureSensor[1], -5, "esaControl.temperatureSensor[1]         = -5", 402, "FFFB");
    all.number(esa.temperatureSensor[2], 32767, "esaControl.temperatureSensor[2]         = 32767", 404, "7FFF");
    all.number(esa.temperatureSensor[3], 0, "esaControl.temperatureSensor[3]         = 0", 406, "0000");
    all.number(esa.temperatureReportStatus[0], 1, "esaControl.temperatureReportStatus[0]   = 1", 408, "00000001");
    all.number(esa.temperatureReportStatus[1], 2, "esaControl.temperatureReportStatus[1]   = 2", 412, "00000002");
    all.number(esa.temperatureReportStatus[2], 4, "esaControl.temperatureReportStatus[2]   = 4", 416, "00000004");
    all.number(esa.temperatureReportStatus[3], 0, "esaControl.temperatureReportStatus[3]   = 0", 420, "00000000");
    all.number(esa.audibleAlarmElementControlOverall, 25, "esaControl.audibleAlarmElementControlOverall = [25]", 424, "00000019");
    all.dump(esa.audibleAlarmElementControl, 0xB0, "esaControl.audibleAlarmElementControl  =", 428);
    all.number(esa.audibleAlarmElementStatusOverall, 26, "esaControl.audibleAlarmElementStatusOverall  = [26]", 432, "0000001A");
    all.dump(esa.audibleAlarmElementStatus, 0xB4, "esaControl.audibleAlarmElementStatus  =", 436);
    all.number(esa.alarmState, 3, "esaControl.alarmState                        = 3", 440, "00000003");
    all.number(esa.compositeFaultStatus, 0x80000014, "esaControl.compositeFaultStatus              = [0x80000014]", 444, "80000014");
    all.number(esa.esaDebug, 1, "esaControl.esaDebug                          = [1]", 448, "01");
    all.dump(esa.vitesse.vsc055GPD, 0xC0, "esaControl.vitesse.vsc055GPD  =", 449);
    all.dump(esa.vitesse.vsc055DDP, 0xC8, "esaControl.vitesse.vsc055DDP  =", 457);
    all.dump(esa.vitesse.vsc055FSC, 0xD0, "esaControl.vitesse.vsc055FSC  =", 465);
    all.dump(esa.vitesse.vsc055PWMC, 0xD8, nullptr, 473);
    all.number(esa.selectTimeout, MPU_TIME_t{1, 500000}, "esaControl.selectTimeout.sec                 = [1]", 484, "00000001 0007A120");
    all.number(esa.pollTimeout, MPU_TIME_t{9, 250000}, "esaControl.pollTimeout.sec                   = [9]", 492, "00000009 0003D090");
    all.dump(esa.esaInMsg, 0x00, "esaControl.esaInMsg  =", Expected_t::NOWHERE, 256);
    all.dump(esa.esaWorkSpace, 0x80, "esaControl.esaWorkSpace  =", Expected_t::NOWHERE, 256);
    // clang-format on
    all.lines.emplace_back("");
    all.lines.emplace_back("Finish the Enclosure Services Adapter internal data dump.");
    return all;
}

using Fault = EsaTest;

} // namespace

TEST_F(Fault, TracesABoxAndTheWholeControlBlockAndKeepsASnapshotOfIt) {
    const Expected_t expected = fillControlBlock();
    esaFault("esamain.cpp", 321, "main()", "Linux %s function fails, readSize = [%d] is wrong", "recv", -1);
    Lines_t lines = {"********************** Critical Error *********************",
                     "| File:      esamain.cpp",
                     "| Function:  main()",
                     "| Line:      321",
                     "| Message:   Linux recv function fails, readSize = [-1] is wrong",
                     "***********************************************************"};
    lines.insert(lines.end(), expected.lines.begin(), expected.lines.end());
    EXPECT_EQ(takeTrace(), lines);
    EXPECT_EQ(hex(bodyOf(1)), hex(expected.snapshot));
}

TEST_F(Fault, FirstRecordSaysWhereAndWhyInTextsOfSixtyFourBytesWithoutATerminator) {
    for (std::size_t length : {11U, 63U, 64U, 65U, 500U}) {
        SCOPED_TRACE(length);
        fakeEventLog.clear();
        const std::string message(length, 'c');
        esaFault(std::string(length, 'a').c_str(), 0x01020304, std::string(length, 'b').c_str(), "%s", message.c_str());
        Bytes_t body(196, 0);
        put(body, 0, Bytes_t(std::min<std::size_t>(length, 64), 'a'));
        put(body, 64, Bytes_t(std::min<std::size_t>(length, 64), 'b'));
        put(body, 128, {1, 2, 3, 4});
        put(body, 132, Bytes_t(std::min<std::size_t>(length, 64), 'c'));
        EXPECT_EQ(hex(bodyOf(0)), hex(body));
        EXPECT_EQ(takeTrace()[4], "| Message:   " + message) << "the trace has the whole message";
    }
}

TEST_F(Fault, MessageIsCutToItsBuffer) {
    esaFault("f.cpp", 1, "f()", "%s", std::string(5000, 'x').c_str());
    ASSERT_EQ(fakeEventLog.size(), 4U);
    // A line's own buffer has 1024 bytes too: the label and the terminator are taken from it.
    EXPECT_EQ(takeTrace()[4], "| Message:   " + std::string(1010, 'x'));
}

TEST_F(Fault, SnapshotHoldsASocketPathThatFillsItsField) {
    std::memset(esaControl.socketAddressMSM.sun_path, 'p', 108);
    esaFault("f.cpp", 1, "f()", "m");
    const Bytes_t body = bodyOf(1);
    EXPECT_EQ(Bytes_t(body.begin() + 6, body.begin() + 114), Bytes_t(108, 'p'));
    EXPECT_EQ(body[114], 0);
}
