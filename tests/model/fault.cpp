/** The critical-error handler: a boxed report, a dump of the control block, four records for the event log. */
#include <algorithm>

#include "adapter.h"
#include "octets.h"

namespace model {

namespace {

constexpr std::size_t LOG_HEADER = 152;

/** A record's log header, and room for its body. */
Bytes_t logRecord(std::uint32_t evId, std::size_t bodyLength) {
    Bytes_t record(LOG_HEADER + bodyLength, 0);
    octets::put(record, 144, 2, static_cast<std::uint32_t>(bodyLength));
    octets::put(record, 146, 1, 33); // evSource
    octets::put(record, 147, 1, 3);  // evType
    octets::put(record, 148, 1, 3);  // evCategory
    octets::put(record, 149, 1, 1);  // evIdVersion
    octets::put(record, 150, 2, evId);
    return record;
}

/** At most 64 bytes, without a terminator when there are more. */
void putText(Bytes_t& record, std::size_t offset, const std::string& text) {
    std::copy_n(text.begin(), std::min<std::size_t>(text.size(), 64), record.begin() + static_cast<long>(offset));
}

/** The file name's 64 bytes and the line number (a host word) at 128 stay zero: they are the source's own affair. */
Bytes_t errorRecord(const char* function, const std::string& message) {
    Bytes_t record = logRecord(1, 196);
    putText(record, LOG_HEADER + 64, function);
    putText(record, LOG_HEADER + 132, message);
    return record;
}

Bytes_t bufferRecord(std::uint32_t evId, std::span<const std::uint8_t> buffer) {
    Bytes_t record = logRecord(evId, 256);
    std::ranges::copy(buffer.first(256), record.begin() + LOG_HEADER);
    return record;
}

/** Element records behind one another. */
template <std::size_t N>
Bytes_t flat(const std::array<Element_t, N>& elements) {
    Bytes_t bytes;
    for (const Element_t& element : elements) {
        bytes.insert(bytes.end(), element.begin(), element.end());
    }
    return bytes;
}

int decimal(std::uint32_t word) {
    return static_cast<int>(word);
}

struct WordRow_t {
    std::size_t offset;
    std::size_t width;
    std::uint32_t value;
};

struct BytesRow_t {
    std::size_t offset;
    Bytes_t value;
};

template <std::size_t N>
Bytes_t bytesOf(const std::array<std::uint8_t, N>& bytes) {
    return Bytes_t(bytes.begin(), bytes.end());
}

/**
 * The snapshot of the control block. Rows of two or four bytes are host words, big-endian here; one-byte rows and all
 * of the byte rows are the same on every host.
 */
Bytes_t infoRecord(const State_t& s) {
    const std::uint32_t family = s.socketPath.empty() ? 0 : 1; // set together with the path
    std::vector<WordRow_t> words = {
        {0, 4, static_cast<std::uint32_t>(s.socketFdMSM)},
        {4, 2, family},
        {116, 4, static_cast<std::uint32_t>(s.i2cFileFd)},
        {120, 1, s.enclosureType},
        {121, 1, s.elementTypeMaxNumber},
        {122, 1, s.deviceMaxNumber},
        {123, 1, s.powerSupplyMaxNumber},
        {124, 1, s.coolingMaxNumber},
        {125, 1, s.temperatureSensorMaxNumber},
        {126, 1, s.audibleAlarmMaxNumber},
        {127, 1, s.pageCodeInRecentSndDiagCmd},
        {136, 4, s.deviceElementControlOverall},
        {204, 4, s.deviceElementStatusOverall},
        {272, 4, s.driveFaultLedStatus0},
        {276, 4, s.driveFaultLedStatus1},
        {280, 4, s.powerSupplyElementControlOverall},
        {296, 4, s.powerSupplyElementStatusOverall},
        {312, 4, s.powerSupplyStatus},
        {316, 4, s.coolingElementControlOverall},
        {352, 4, s.coolingElementStatusOverall},
        {396, 4, s.fanFaultStatus},
        {424, 4, s.audibleAlarmElementControlOverall},
        {432, 4, s.audibleAlarmElementStatusOverall},
        {440, 4, s.alarmState},
        {444, 4, s.compositeFaultStatus},
        {448, 1, s.esaDebug},
        {484, 4, s.selectTimeoutSec},
        {488, 4, s.selectTimeoutUsec},
        {492, 4, s.pollTimeoutSec},
        {496, 4, s.pollTimeoutUsec},
    };
    for (std::size_t i = 0; i < 4; ++i) {
        words.push_back({400 + 2 * i, 2, static_cast<std::uint16_t>(s.temperatureSensor[i])});
        words.push_back({408 + 4 * i, 4, s.temperatureReportStatus[i]});
    }
    const BytesRow_t arrays[] = {
        {6, Bytes_t(s.socketPath.begin(), s.socketPath.end())},
        {128, bytesOf(s.sesTypeDescriptorList)},
        {140, flat(s.deviceElementControl)},
        {208, flat(s.deviceElementStatus)},
        {284, flat(s.powerSupplyElementControl)},
        {300, flat(s.powerSupplyElementStatus)},
        {320, flat(s.coolingElementControl)},
        {356, flat(s.coolingElementStatus)},
        {388, bytesOf(s.coolingElementOnOff)},
        {428, flat(s.audibleAlarmElementControl)},
        {436, flat(s.audibleAlarmElementStatus)},
        {449, bytesOf(s.vsc055GPD)},
        {457, bytesOf(s.vsc055DDP)},
        {465, bytesOf(s.vsc055FSC)},
        {473, bytesOf(s.vsc055PWMC)},
    };
    Bytes_t record = logRecord(2, 500);
    for (const WordRow_t& row : words) {
        octets::put(record, LOG_HEADER + row.offset, row.width, row.value);
    }
    for (const BytesRow_t& row : arrays) {
        std::ranges::copy(row.value, record.begin() + static_cast<long>(LOG_HEADER + row.offset));
    }
    return record;
}

} // namespace

void Adapter_t::esaFault(const char* function, const std::string& message) {
    const char* const F = "esaFault";
    const std::string text = message.substr(0, 1023);
    trace(F, "********************** Critical Error *********************");
    trace(F, "| File:      <file>");
    trace(F, "| Function:  %s", function);
    trace(F, "| Line:      <line>");
    trace(F, "| Message:   %s", text.c_str());
    trace(F, "***********************************************************");
    traceControlBlock();
    world.eventLog(errorRecord(function, text), std::nullopt);
    world.eventLog(infoRecord(state), std::nullopt);
    world.eventLog(bufferRecord(3, state.esaInMsg), std::nullopt);
    world.eventLog(bufferRecord(4, state.esaWorkSpace), -1);
}

void Adapter_t::traceControlBlock() {
    const char* const F = "esaFault";
    const State_t& s = state;
    trace(F, "esaControl.socketFdMSM                       = [%d]", s.socketFdMSM);
    trace(F, "esaControl.socketAddressMSM.sun_path         = [%s]", s.socketPath.c_str());
    trace(F, "esaControl.i2cFileFd                         = [%d]", s.i2cFileFd);
    trace(F, "esaControl.enclosureType                     = [%d]", s.enclosureType);
    trace(F, "esaControl.elementTypeMaxNumber              = [%d]", s.elementTypeMaxNumber);
    trace(F, "esaControl.deviceMaxNumber                   = [%d]", s.deviceMaxNumber);
    trace(F, "esaControl.powerSupplyMaxNumber              = [%d]", s.powerSupplyMaxNumber);
    trace(F, "esaControl.coolingMaxNumber                  = [%d]", s.coolingMaxNumber);
    trace(F, "esaControl.temperatureSensorMaxNumber        = [%d]", s.temperatureSensorMaxNumber);
    trace(F, "esaControl.audibleAlarmMaxNumber             = [%d]", s.audibleAlarmMaxNumber);
    trace(F, "esaControl.pageCodeInRecentSndDiagCmd        = [%d]", s.pageCodeInRecentSndDiagCmd);
    dump(F, "esaControl.sesTypeDescriptorList =", s.sesTypeDescriptorList);

    trace(F, "esaControl.deviceElementControlOverall       = [%d]", decimal(s.deviceElementControlOverall));
    dump(F, "esaControl.deviceElementControl =", flat(s.deviceElementControl));
    trace(F, "esaControl.deviceElementStatusOverall        = [%d]", decimal(s.deviceElementStatusOverall));
    dump(F, "esaControl.deviceElementStatus =", flat(s.deviceElementStatus));
    trace(F, "esaControl.driveFaultLedStatus0              = [0x%x]", s.driveFaultLedStatus0);
    trace(F, "esaControl.driveFaultLedStatus1              = [0x%x]", s.driveFaultLedStatus1);

    trace(F, "esaControl.powerSupplyElementControlOverall  = [%d]", decimal(s.powerSupplyElementControlOverall));
    dump(F, "esaControl.powerSupplyElementControl  =", flat(s.powerSupplyElementControl));
    trace(F, "esaControl.powerSupplyElementStatusOverall   = [%d]", decimal(s.powerSupplyElementStatusOverall));
    dump(F, "esaControl.powerSupplyElementStatus  =", flat(s.powerSupplyElementStatus));
    trace(F, "esaControl.powerSupplyStatus                 = [0x%x]", s.powerSupplyStatus);

    trace(F, "esaControl.coolingElementControlOverall      = [%d]", decimal(s.coolingElementControlOverall));
    dump(F, "esaControl.coolingElementControl  =", flat(s.coolingElementControl));
    trace(F, "esaControl.coolingElementStatusOverall       = [%d]", decimal(s.coolingElementStatusOverall));
    dump(F, "esaControl.coolingElementStatus  =", flat(s.coolingElementStatus));
    dump(F, "esaControl.coolingElementOnOff  =", s.coolingElementOnOff);
    trace(F, "esaControl.fanFaultStatus                    = [0x%x]", s.fanFaultStatus);

    for (unsigned i = 0; i < 4; ++i) {
        trace(F, "esaControl.temperatureSensor[%d]         = %d", decimal(i), s.temperatureSensor[i]);
    }
    for (unsigned i = 0; i < 4; ++i) {
        trace(F, "esaControl.temperatureReportStatus[%d]   = %d", decimal(i), decimal(s.temperatureReportStatus[i]));
    }

    trace(F, "esaControl.audibleAlarmElementControlOverall = [%d]", decimal(s.audibleAlarmElementControlOverall));
    dump(F, "esaControl.audibleAlarmElementControl  =", flat(s.audibleAlarmElementControl));
    trace(F, "esaControl.audibleAlarmElementStatusOverall  = [%d]", decimal(s.audibleAlarmElementStatusOverall));
    dump(F, "esaControl.audibleAlarmElementStatus  =", flat(s.audibleAlarmElementStatus));
    trace(F, "esaControl.alarmState                        = %d", decimal(s.alarmState));
    trace(F, "esaControl.compositeFaultStatus              = [0x%x]", s.compositeFaultStatus);
    trace(F, "esaControl.esaDebug                          = [%d]", s.esaDebug);

    // The fourth bank is not shown.
    dump(F, "esaControl.vitesse.vsc055GPD  =", s.vsc055GPD);
    dump(F, "esaControl.vitesse.vsc055DDP  =", s.vsc055DDP);
    dump(F, "esaControl.vitesse.vsc055FSC  =", s.vsc055FSC);
    trace(F, "esaControl.selectTimeout.sec                 = [%d]", decimal(s.selectTimeoutSec));
    trace(F, "esaControl.pollTimeout.sec                   = [%d]", decimal(s.pollTimeoutSec));
    dump(F, "esaControl.esaInMsg  =", std::span(s.esaInMsg).first(256));
    dump(F, "esaControl.esaWorkSpace  =", std::span(s.esaWorkSpace).first(256));
    trace(F, "\nFinish the Enclosure Services Adapter internal data dump.");
}

} // namespace model
