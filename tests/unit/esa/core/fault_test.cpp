/**
 * The critical-error handler with a control block in which every field shows: most status words and all status records
 * stay zero for as long as the adapter lives, and no text of its own is as long as a record's field.
 */
#include "core/fault.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstring>
#include <numeric>

#include "esa_fixture.h"

using testing::ElementsAreArray;

namespace {

class Fault : public EsaTest {
protected:
    /** Fills a field with `first`, `first` + 1, ... */
    template <typename T>
    static void count(T& field, int first) {
        auto* bytes = reinterpret_cast<U8_t*>(&field);
        std::iota(bytes, bytes + sizeof(field), static_cast<U8_t>(first));
    }

    /** A control block in which no two fields look alike. */
    static void fillControlBlock() {
        esaControl.socketAddressMSM = {};
        esaControl.socketAddressMSM.sun_family = 1;
        std::strcpy(esaControl.socketAddressMSM.sun_path, "/run/mpu/esadapter");
        esaControl.i2cFileFd = -2;
        esaControl.enclosureType = 5;
        esaControl.elementTypeMaxNumber = 6;
        esaControl.deviceMaxNumber = 7;
        esaControl.powerSupplyMaxNumber = 8;
        esaControl.coolingMaxNumber = 9;
        esaControl.temperatureSensorMaxNumber = 10;
        esaControl.audibleAlarmMaxNumber = 11;
        esaControl.i2cConnected = 12; // is not shown
        esaControl.pageCodeInRecentSndDiagCmd = 200;
        count(esaControl.sesTypeDescriptorList, 0x01);
        esaControl.deviceElementControlOverall = 0x01020304;
        count(esaControl.deviceElementControl, 0x10);
        esaControl.deviceElementStatusOverall = 0xFFFFFFFE;
        count(esaControl.deviceElementStatus, 0x50);
        esaControl.driveFaultLedStatus0 = 0x8000ABCD;
        esaControl.driveFaultLedStatus1 = 0x1E;
        esaControl.powerSupplyElementControlOverall = 21;
        count(esaControl.powerSupplyElementControl, 0x20);
        esaControl.powerSupplyElementStatusOverall = 22;
        count(esaControl.powerSupplyElementStatus, 0x30);
        esaControl.powerSupplyStatus = 0x7;
        esaControl.coolingElementControlOverall = 23;
        count(esaControl.coolingElementControl, 0x60);
        esaControl.coolingElementStatusOverall = 24;
        count(esaControl.coolingElementStatus, 0x80);
        count(esaControl.coolingElementOnOff, 0xA0);
        esaControl.fanFaultStatus = 0xA5;
        esaControl.fanFaultRpmLimit = 2000; // is not shown
        esaControl.temperatureSensor[0] = 25;
        esaControl.temperatureSensor[1] = -5;
        esaControl.temperatureSensor[2] = 32767;
        esaControl.temperatureSensor[3] = 0;
        esaControl.temperatureReportStatus[0] = 1;
        esaControl.temperatureReportStatus[1] = 2;
        esaControl.temperatureReportStatus[2] = 4;
        esaControl.temperatureReportStatus[3] = 0;
        esaControl.temperatureSensorAverage = 77; // is not shown
        esaControl.audibleAlarmElementControlOverall = 25;
        count(esaControl.audibleAlarmElementControl, 0xB0);
        esaControl.audibleAlarmElementStatusOverall = 26;
        count(esaControl.audibleAlarmElementStatus, 0xB4);
        esaControl.alarmState = 3;
        esaControl.compositeFaultStatus = 0x80000014;
        esaControl.esaDebug = 1;
        count(esaControl.vitesse.vsc055GPD, 0xC0);
        count(esaControl.vitesse.vsc055DDP, 0xC8);
        count(esaControl.vitesse.vsc055FSC, 0xD0);
        count(esaControl.vitesse.vsc055PWMC, 0xD8);
        esaControl.selectTimeout = {1, 500000};
        esaControl.pollTimeout = {9, 250000};
        count(esaControl.esaInMsg, 0x00);
        count(esaControl.esaWorkSpace, 0x80);
    }

    /** Adds the lines of a dump of `size` bytes that count from `first`. */
    static void addDump(Lines_t& lines, const char* label, const void* field, int first, int size) {
        lines.emplace_back(label);
        const auto address = static_cast<U32_t>(reinterpret_cast<std::uintptr_t>(field));
        for (int i = 0; i < size; ++i) {
            char text[16];
            if (i % 32 == 0) {
                std::snprintf(text, sizeof(text), "0x%08X: ", address + static_cast<U32_t>(i));
                lines.emplace_back(text);
            } else if (i % 8 == 0) {
                lines.back() += ' ';
            }
            std::snprintf(text, sizeof(text), "%02X", static_cast<unsigned>(first + i) & 0xFFU);
            lines.back() += text;
        }
    }

    /** What the handler traces of the control block above. */
    static Lines_t dumpOfControlBlock() {
        Lines_t lines = {
            "esaControl.socketFdMSM                       = [" + std::to_string(esaControl.socketFdMSM) + "]",
            "esaControl.socketAddressMSM.sun_path         = [/run/mpu/esadapter]",
            "esaControl.i2cFileFd                         = [-2]",
            "esaControl.enclosureType                     = [5]",
            "esaControl.elementTypeMaxNumber              = [6]",
            "esaControl.deviceMaxNumber                   = [7]",
            "esaControl.powerSupplyMaxNumber              = [8]",
            "esaControl.coolingMaxNumber                  = [9]",
            "esaControl.temperatureSensorMaxNumber        = [10]",
            "esaControl.audibleAlarmMaxNumber             = [11]",
            "esaControl.pageCodeInRecentSndDiagCmd        = [200]",
        };
        addDump(lines, "esaControl.sesTypeDescriptorList =", esaControl.sesTypeDescriptorList, 0x01, 5);
        lines.emplace_back("esaControl.deviceElementControlOverall       = [16909060]");
        addDump(lines, "esaControl.deviceElementControl =", esaControl.deviceElementControl, 0x10, 64);
        lines.emplace_back("esaControl.deviceElementStatusOverall        = [-2]");
        addDump(lines, "esaControl.deviceElementStatus =", esaControl.deviceElementStatus, 0x50, 64);
        lines.emplace_back("esaControl.driveFaultLedStatus0              = [0x8000abcd]");
        lines.emplace_back("esaControl.driveFaultLedStatus1              = [0x1e]");
        lines.emplace_back("esaControl.powerSupplyElementControlOverall  = [21]");
        addDump(lines, "esaControl.powerSupplyElementControl  =", esaControl.powerSupplyElementControl, 0x20, 12);
        lines.emplace_back("esaControl.powerSupplyElementStatusOverall   = [22]");
        addDump(lines, "esaControl.powerSupplyElementStatus  =", esaControl.powerSupplyElementStatus, 0x30, 12);
        lines.emplace_back("esaControl.powerSupplyStatus                 = [0x7]");
        lines.emplace_back("esaControl.coolingElementControlOverall      = [23]");
        addDump(lines, "esaControl.coolingElementControl  =", esaControl.coolingElementControl, 0x60, 32);
        lines.emplace_back("esaControl.coolingElementStatusOverall       = [24]");
        addDump(lines, "esaControl.coolingElementStatus  =", esaControl.coolingElementStatus, 0x80, 32);
        addDump(lines, "esaControl.coolingElementOnOff  =", esaControl.coolingElementOnOff, 0xA0, 8);
        for (const char* line : {
                 "esaControl.fanFaultStatus                    = [0xa5]",
                 "esaControl.temperatureSensor[0]         = 25",
                 "esaControl.temperatureSensor[1]         = -5",
                 "esaControl.temperatureSensor[2]         = 32767",
                 "esaControl.temperatureSensor[3]         = 0",
                 "esaControl.temperatureReportStatus[0]   = 1",
                 "esaControl.temperatureReportStatus[1]   = 2",
                 "esaControl.temperatureReportStatus[2]   = 4",
                 "esaControl.temperatureReportStatus[3]   = 0",
                 "esaControl.audibleAlarmElementControlOverall = [25]",
             }) {
            lines.emplace_back(line);
        }
        addDump(lines, "esaControl.audibleAlarmElementControl  =", esaControl.audibleAlarmElementControl, 0xB0, 4);
        lines.emplace_back("esaControl.audibleAlarmElementStatusOverall  = [26]");
        addDump(lines, "esaControl.audibleAlarmElementStatus  =", esaControl.audibleAlarmElementStatus, 0xB4, 4);
        lines.emplace_back("esaControl.alarmState                        = 3");
        lines.emplace_back("esaControl.compositeFaultStatus              = [0x80000014]");
        lines.emplace_back("esaControl.esaDebug                          = [1]");
        addDump(lines, "esaControl.vitesse.vsc055GPD  =", esaControl.vitesse.vsc055GPD, 0xC0, 8);
        addDump(lines, "esaControl.vitesse.vsc055DDP  =", esaControl.vitesse.vsc055DDP, 0xC8, 8);
        addDump(lines, "esaControl.vitesse.vsc055FSC  =", esaControl.vitesse.vsc055FSC, 0xD0, 8);
        lines.emplace_back("esaControl.selectTimeout.sec                 = [1]");
        lines.emplace_back("esaControl.pollTimeout.sec                   = [9]");
        addDump(lines, "esaControl.esaInMsg  =", esaControl.esaInMsg, 0x00, 256);
        addDump(lines, "esaControl.esaWorkSpace  =", esaControl.esaWorkSpace, 0x80, 256);
        lines.emplace_back("");
        lines.emplace_back("Finish the Enclosure Services Adapter internal data dump.");
        return lines;
    }

    static Bytes_t bodyOf(const FakeEvent_t& event) { return {event.bytes.begin() + 152, event.bytes.end()}; }
    static std::string bodyText(const FakeEvent_t& event) { return hex(bodyOf(event)); }

    /** Bytes that count from `first`. */
    static Bytes_t counting(int first, std::size_t size) {
        Bytes_t bytes(size);
        std::iota(bytes.begin(), bytes.end(), static_cast<U8_t>(first));
        return bytes;
    }
};

void put(Bytes_t& bytes, std::size_t at, const Bytes_t& field) {
    std::copy(field.begin(), field.end(), bytes.begin() + static_cast<long>(at));
}

void put(Bytes_t& bytes, std::size_t at, const char* text) {
    std::copy(text, text + std::strlen(text), bytes.begin() + static_cast<long>(at));
}

} // namespace

TEST_F(Fault, TracesABoxAndTheWholeControlBlock) {
    fillControlBlock();
    esaFault("esamain.cpp", 321, "main()", "Linux %s function fails, readSize = [%d] is wrong", "recv", -1);
    Lines_t expected = {
        "********************** Critical Error *********************",
        "| File:      esamain.cpp",
        "| Function:  main()",
        "| Line:      321",
        "| Message:   Linux recv function fails, readSize = [-1] is wrong",
        "***********************************************************",
    };
    const Lines_t dump = dumpOfControlBlock();
    expected.insert(expected.end(), dump.begin(), dump.end());
    EXPECT_THAT(takeTrace(), ElementsAreArray(expected));
}

TEST_F(Fault, FirstRecordSaysWhereAndWhy) {
    esaFault("esainit.cpp", 0x01020304, "esaInit()", "Linux %s", "socket");
    Bytes_t body(196, 0);
    put(body, 0, "esainit.cpp");
    put(body, 64, "esaInit()");
    put(body, 128, Bytes_t{1, 2, 3, 4});
    put(body, 132, "Linux socket");
    EXPECT_EQ(bodyText(fakeEventLog.at(0)), hex(body));
}

TEST_F(Fault, LongTextsAreCutToSixtyFourBytesWithoutATerminator) {
    for (std::size_t length : {63U, 64U, 65U, 500U}) {
        SCOPED_TRACE(length);
        fakeEventLog.clear();
        esaFault(std::string(length, 'a').c_str(), 7, std::string(length, 'b').c_str(), "%s",
                 std::string(length, 'c').c_str());
        Bytes_t body(196, 0);
        put(body, 0, Bytes_t(std::min<std::size_t>(length, 64), 'a'));
        put(body, 64, Bytes_t(std::min<std::size_t>(length, 64), 'b'));
        put(body, 128, Bytes_t{0, 0, 0, 7});
        put(body, 132, Bytes_t(std::min<std::size_t>(length, 64), 'c'));
        EXPECT_EQ(bodyText(fakeEventLog.at(0)), hex(body));
        EXPECT_EQ(takeTrace()[4], "| Message:   " + std::string(length, 'c')) << "the trace has the whole message";
    }
}

TEST_F(Fault, MessageIsCutToItsBuffer) {
    esaFault("f.cpp", 1, "f()", "%s", std::string(5000, 'x').c_str());
    ASSERT_EQ(fakeEventLog.size(), 4U);
    // A line's own buffer has 1024 bytes too: the label and the terminator are taken from it.
    EXPECT_EQ(takeTrace()[4], "| Message:   " + std::string(1010, 'x'));
}

TEST_F(Fault, SecondRecordIsASnapshotOfTheControlBlock) {
    fillControlBlock();
    esaFault("f.cpp", 1, "f()", "m");
    Bytes_t body(500, 0);
    put(body, 3, Bytes_t{static_cast<U8_t>(esaControl.socketFdMSM)});
    put(body, 4, Bytes_t{0, 1});
    put(body, 6, "/run/mpu/esadapter");
    put(body, 116, unhex("FFFFFFFE"));
    put(body, 120, Bytes_t{5, 6, 7, 8, 9, 10, 11, 200, 1, 2, 3, 4, 5});
    put(body, 136, unhex("01020304"));
    put(body, 140, counting(0x10, 64));
    put(body, 204, unhex("FFFFFFFE"));
    put(body, 208, counting(0x50, 64));
    put(body, 272, unhex("8000ABCD 0000001E 00000015"));
    put(body, 284, counting(0x20, 12));
    put(body, 296, unhex("00000016"));
    put(body, 300, counting(0x30, 12));
    put(body, 312, unhex("00000007 00000017"));
    put(body, 320, counting(0x60, 32));
    put(body, 352, unhex("00000018"));
    put(body, 356, counting(0x80, 32));
    put(body, 388, counting(0xA0, 8));
    put(body, 396, unhex("000000A5 0019 FFFB 7FFF 0000 00000001 00000002 00000004 00000000 00000019"));
    put(body, 428, counting(0xB0, 4));
    put(body, 432, unhex("0000001A"));
    put(body, 436, counting(0xB4, 4));
    put(body, 440, unhex("00000003 80000014 01"));
    put(body, 449, counting(0xC0, 32));
    put(body, 484, unhex("00000001 0007A120 00000009 0003D090"));
    EXPECT_EQ(bodyText(fakeEventLog.at(1)), hex(body));
}

TEST_F(Fault, SnapshotHoldsASocketPathThatFillsItsField) {
    std::memset(esaControl.socketAddressMSM.sun_path, 'p', 108);
    esaFault("f.cpp", 1, "f()", "m");
    const Bytes_t body = bodyOf(fakeEventLog.at(1));
    EXPECT_EQ(Bytes_t(body.begin() + 6, body.begin() + 114), Bytes_t(108, 'p'));
    EXPECT_EQ(body[114], 0);
}
