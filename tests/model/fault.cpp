/** The critical-error handler: a boxed report, a dump of the control block, four records for the event log. */
#include <algorithm>
#include <cstdio>

#include "adapter.h"
#include "octets.h"

namespace model {

namespace {

constexpr std::size_t LOG_HEADER = 152;
constexpr std::size_t SNAPSHOT_SIZE = 500;
constexpr std::size_t NOWHERE = SNAPSHOT_SIZE;
constexpr const char* F = "esaFault";

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

std::span<const std::uint8_t> flat(std::span<const std::uint8_t> octets) {
    return octets;
}

/** Element records behind one another. */
template <std::size_t N>
std::span<const std::uint8_t> flat(const Elements_t<N>& elements) {
    return {elements[0].data(), 4 * N};
}

/** Shows the control block field by field in the log, and writes it into the snapshot. */
class Report_t {
public:
    explicit Report_t(Adapter_t& shown) : adapter_(shown) {}

    /** How a number is shown: "[-2]", "[0xfe]" or "-2". */
    enum Form_e { DECIMAL, HEX, BARE };

    /** A number of `width` bytes at that offset of the snapshot: host words, big-endian here. */
    void number(const char* name, std::size_t at, std::size_t width, std::uint32_t value, Form_e form = DECIMAL) {
        char text[32];
        (void)std::snprintf(text, sizeof(text), form == HEX ? "0x%x" : "%d", value);
        line(name, 34, form == BARE ? text : "[" + std::string(text) + "]");
        silent(at, width, value);
    }
    void silent(std::size_t at, std::size_t width, std::uint32_t value) {
        octets::put(record, LOG_HEADER + at, width, value);
    }
    void line(const char* name, std::size_t column, const std::string& value) {
        std::string label = name;
        label.resize(column, ' ');
        adapter_.trace(F, "esaControl.%s= %s", label.c_str(), value.c_str());
    }
    /** A dump; `label` goes up to the sign. */
    template <typename Octets>
    void dump(const char* label, std::size_t at, const Octets& octets) {
        adapter_.dump(F, std::string("esaControl.") + label + "=", flat(octets));
        bytes(at, octets);
    }
    template <typename Octets>
    void bytes(std::size_t at, const Octets& octets) {
        if (at != NOWHERE) {
            std::ranges::copy(flat(octets), record.begin() + static_cast<long>(LOG_HEADER + at));
        }
    }

    Bytes_t record = logRecord(2, SNAPSHOT_SIZE);

private:
    Adapter_t& adapter_;
};

Bytes_t report(Adapter_t& adapter) {
    const State_t& s = adapter.state;
    Report_t all(adapter);
    all.number("socketFdMSM", 0, 4, static_cast<std::uint32_t>(s.socketFdMSM));
    all.line("socketAddressMSM.sun_path", 34, "[" + s.socketPath + "]");
    all.silent(4, 2, s.socketPath.empty() ? 0 : 1); // the family, set together with the path
    all.bytes(6, std::span(reinterpret_cast<const std::uint8_t*>(s.socketPath.data()), s.socketPath.size()));
    all.number("i2cFileFd", 116, 4, static_cast<std::uint32_t>(s.i2cFileFd));
    all.number("enclosureType", 120, 1, s.enclosureType);
    all.number("elementTypeMaxNumber", 121, 1, s.elementTypeMaxNumber);
    all.number("deviceMaxNumber", 122, 1, s.deviceMaxNumber);
    all.number("powerSupplyMaxNumber", 123, 1, s.powerSupplyMaxNumber);
    all.number("coolingMaxNumber", 124, 1, s.coolingMaxNumber);
    all.number("temperatureSensorMaxNumber", 125, 1, s.temperatureSensorMaxNumber);
    all.number("audibleAlarmMaxNumber", 126, 1, s.audibleAlarmMaxNumber);
    all.number("pageCodeInRecentSndDiagCmd", 127, 1, s.pageCodeInRecentSndDiagCmd);
    all.dump("sesTypeDescriptorList ", 128, s.sesTypeDescriptorList);
    all.number("deviceElementControlOverall", 136, 4, s.deviceElementControlOverall);
    all.dump("deviceElementControl ", 140, s.deviceElementControl);
    all.number("deviceElementStatusOverall", 204, 4, s.deviceElementStatusOverall);
    all.dump("deviceElementStatus ", 208, s.deviceElementStatus);
    all.number("driveFaultLedStatus0", 272, 4, s.driveFaultLedStatus0, Report_t::HEX);
    all.number("driveFaultLedStatus1", 276, 4, s.driveFaultLedStatus1, Report_t::HEX);
    all.number("powerSupplyElementControlOverall", 280, 4, s.powerSupplyElementControlOverall);
    all.dump("powerSupplyElementControl  ", 284, s.powerSupplyElementControl);
    all.number("powerSupplyElementStatusOverall", 296, 4, s.powerSupplyElementStatusOverall);
    all.dump("powerSupplyElementStatus  ", 300, s.powerSupplyElementStatus);
    all.number("powerSupplyStatus", 312, 4, s.powerSupplyStatus, Report_t::HEX);
    all.number("coolingElementControlOverall", 316, 4, s.coolingElementControlOverall);
    all.dump("coolingElementControl  ", 320, s.coolingElementControl);
    all.number("coolingElementStatusOverall", 352, 4, s.coolingElementStatusOverall);
    all.dump("coolingElementStatus  ", 356, s.coolingElementStatus);
    all.dump("coolingElementOnOff  ", 388, s.coolingElementOnOff);
    all.number("fanFaultStatus", 396, 4, s.fanFaultStatus, Report_t::HEX);
    for (std::size_t i = 0; i < 4; ++i) {
        const std::string name = "temperatureSensor[" + std::to_string(i) + "]";
        all.line(name.c_str(), 29, std::to_string(s.temperatureSensor[i]));
        all.silent(400 + 2 * i, 2, static_cast<std::uint16_t>(s.temperatureSensor[i]));
    }
    for (std::size_t i = 0; i < 4; ++i) {
        const std::string name = "temperatureReportStatus[" + std::to_string(i) + "]";
        all.line(name.c_str(), 29, std::to_string(static_cast<std::int32_t>(s.temperatureReportStatus[i])));
        all.silent(408 + 4 * i, 4, s.temperatureReportStatus[i]);
    }
    all.number("audibleAlarmElementControlOverall", 424, 4, s.audibleAlarmElementControlOverall);
    all.dump("audibleAlarmElementControl  ", 428, s.audibleAlarmElementControl);
    all.number("audibleAlarmElementStatusOverall", 432, 4, s.audibleAlarmElementStatusOverall);
    all.dump("audibleAlarmElementStatus  ", 436, s.audibleAlarmElementStatus);
    all.number("alarmState", 440, 4, s.alarmState, Report_t::BARE);
    all.number("compositeFaultStatus", 444, 4, s.compositeFaultStatus, Report_t::HEX);
    all.number("esaDebug", 448, 1, s.esaDebug);
    all.dump("vitesse.vsc055GPD  ", 449, s.vsc055GPD);
    all.dump("vitesse.vsc055DDP  ", 457, s.vsc055DDP);
    all.dump("vitesse.vsc055FSC  ", 465, s.vsc055FSC);
    all.bytes(473, s.vsc055PWMC);
    all.number("selectTimeout.sec", 484, 4, s.selectTimeoutSec);
    all.silent(488, 4, s.selectTimeoutUsec);
    all.number("pollTimeout.sec", 492, 4, s.pollTimeoutSec);
    all.silent(496, 4, s.pollTimeoutUsec);
    all.dump("esaInMsg  ", NOWHERE, std::span(s.esaInMsg).first(256));
    all.dump("esaWorkSpace  ", NOWHERE, std::span(s.esaWorkSpace).first(256));
    adapter.trace(F, "\nFinish the Enclosure Services Adapter internal data dump.");
    return all.record;
}

} // namespace

void Adapter_t::esaFault(const char* function, const std::string& message) {
    const std::string text = message.substr(0, 1023);
    trace(F, "********************** Critical Error *********************");
    trace(F, "| File:      <file>");
    trace(F, "| Function:  %s", function);
    trace(F, "| Line:      <line>");
    trace(F, "| Message:   %s", text.c_str());
    trace(F, "***********************************************************");
    const Bytes_t snapshot = report(*this);
    world_.eventLog(errorRecord(function, text), std::nullopt);
    world_.eventLog(snapshot, std::nullopt);
    world_.eventLog(bufferRecord(3, state.esaInMsg), std::nullopt);
    world_.eventLog(bufferRecord(4, state.esaWorkSpace), -1);
}

} // namespace model
