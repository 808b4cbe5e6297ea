/** The critical-error handler: its report, its dump of the control block, and its four event records. */
#include "core/fault.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <numeric>

#include "core_test.h"

using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

class Fault : public CoreTest {
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
    static void addDump(std::vector<std::string>& lines, const char* label, const void* field, int first, int size) {
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
    static std::vector<std::string> dumpOfControlBlock() {
        std::vector<std::string> lines = {
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

    /** The header of a record: 152 bytes of which the last eight are filled. */
    static std::string header(const char* lengthAndFields) {
        std::string text;
        for (int i = 0; i < 144; ++i) {
            text += "00 ";
        }
        return text + lengthAndFields;
    }

    static std::string headerOf(const FakeEvent& event) { return hex(event.bytes.data(), 152); }
    static Bytes bodyOf(const FakeEvent& event) { return {event.bytes.begin() + 152, event.bytes.end()}; }
    static std::string bodyText(const FakeEvent& event) { return hex(bodyOf(event)); }

    /** Bytes that count from `first`. */
    static Bytes counting(int first, std::size_t size) {
        Bytes bytes(size);
        std::iota(bytes.begin(), bytes.end(), static_cast<U8_t>(first));
        return bytes;
    }
};

void put(Bytes& bytes, std::size_t at, const Bytes& field) {
    std::copy(field.begin(), field.end(), bytes.begin() + static_cast<long>(at));
}

void put(Bytes& bytes, std::size_t at, const char* text) {
    std::copy(text, text + std::strlen(text), bytes.begin() + static_cast<long>(at));
}

} // namespace

TEST_F(Fault, TracesABoxAndTheWholeControlBlock) {
    fillControlBlock();
    esaFault("esamain.cpp", 321, "main()", "Linux %s function fails, readSize = [%d] is wrong", "recv", -1);
    std::vector<std::string> expected = {
        "********************** Critical Error *********************",
        "| File:      esamain.cpp",
        "| Function:  main()",
        "| Line:      321",
        "| Message:   Linux recv function fails, readSize = [-1] is wrong",
        "***********************************************************",
    };
    const std::vector<std::string> dump = dumpOfControlBlock();
    expected.insert(expected.end(), dump.begin(), dump.end());
    EXPECT_THAT(takeTrace(), ElementsAreArray(expected));
}

TEST_F(Fault, SendsFourRecordsTheLastAsABugCheck) {
    esaFault("f.cpp", 1, "f()", "m");
    ASSERT_EQ(fakeEventLog.size(), 4U);
    EXPECT_EQ(headerOf(fakeEventLog[0]), header("00 C4 21 03 03 01 00 01"));
    EXPECT_EQ(headerOf(fakeEventLog[1]), header("01 F4 21 03 03 01 00 02"));
    EXPECT_EQ(headerOf(fakeEventLog[2]), header("01 00 21 03 03 01 00 03"));
    EXPECT_EQ(headerOf(fakeEventLog[3]), header("01 00 21 03 03 01 00 04"));
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(fakeEventLog[static_cast<std::size_t>(i)].params, &params);
        EXPECT_EQ(fakeEventLog[static_cast<std::size_t>(i)].action, i == 3 ? -1 : 0);
    }
    EXPECT_THAT(takeMessages(), IsEmpty()) << "the records do not go through the switch";
}

TEST_F(Fault, FirstRecordSaysWhereAndWhy) {
    esaFault("esainit.cpp", 0x01020304, "esaInit()", "Linux %s", "socket");
    Bytes body(196, 0);
    put(body, 0, "esainit.cpp");
    put(body, 64, "esaInit()");
    put(body, 128, Bytes{1, 2, 3, 4});
    put(body, 132, "Linux socket");
    EXPECT_EQ(bodyText(fakeEventLog.at(0)), hex(body));
}

TEST_F(Fault, LongTextsAreCutToSixtyFourBytesWithoutATerminator) {
    for (std::size_t length : {63U, 64U, 65U, 500U}) {
        SCOPED_TRACE(length);
        fakeEventLog.clear();
        esaFault(std::string(length, 'a').c_str(), 7, std::string(length, 'b').c_str(), "%s",
                 std::string(length, 'c').c_str());
        Bytes body(196, 0);
        put(body, 0, Bytes(std::min<std::size_t>(length, 64), 'a'));
        put(body, 64, Bytes(std::min<std::size_t>(length, 64), 'b'));
        put(body, 128, Bytes{0, 0, 0, 7});
        put(body, 132, Bytes(std::min<std::size_t>(length, 64), 'c'));
        EXPECT_EQ(bodyText(fakeEventLog.at(0)), hex(body));
        EXPECT_EQ(takeTrace()[4], "| Message:   " + std::string(length, 'c')) << "the trace has the whole message";
    }
}
