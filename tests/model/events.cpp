/** Events for the event manager, and the rule that reports temperatures band by band. */
#include "adapter.h"

#include <algorithm>

#include "outgoing.h"

namespace model {

Bytes_t Adapter_t::eventData() const {
    Bytes_t data(84);
    data[0] = state.enclosureType;
    return data;
}

void Adapter_t::setWord(Bytes_t& data, std::size_t offset, std::uint32_t value) {
    putWord(data, offset, value);
}

int Adapter_t::esaSendEventMmsgToEmp(std::uint16_t eventId, std::uint8_t eventType,
                                     std::span<const std::uint8_t> data) {
    const std::span<std::uint8_t> message = state.esaWorkSpace;
    putRequestHeader(message, 300, 0x08000001, 0x08000000);
    std::ranges::fill(message.subspan(64, 152), std::uint8_t{0});
    message[64 + 147] = eventType;
    message[64 + 148] = 3;
    message[64 + 149] = 1;
    putHalf(message, 64 + 150, eventId);
    std::ranges::copy(data.first(84), message.begin() + 216);
    return static_cast<int>(sendWorkSpace(300, "esaSendEventMmsgToEmp()"));
}

namespace {

struct TemperatureBand_t {
    int above; /**< degrees Celsius: the band is everything above this that no higher band takes */
    std::uint32_t reported;
    std::uint32_t eventState;
    std::uint8_t eventType;
};

constexpr TemperatureBand_t BANDS[] = {
    {55, 0x4, 4, 2},
    {45, 0x2, 3, 2},
    {35, 0x1, 2, 1},
};

void sendTemperature(Adapter_t& adapter, std::size_t sensor, std::uint32_t eventState, std::uint8_t eventType) {
    Bytes_t data = adapter.eventData();
    Adapter_t::setWord(data, 16, adapter.state.temperatureSensorMaxNumber);
    Adapter_t::setWord(data, 40, eventState);
    Adapter_t::setWord(data, 44, static_cast<std::uint32_t>(sensor));
    putHalf(data, 48, static_cast<std::uint16_t>(adapter.state.temperatureSensor[sensor]));
    adapter.esaSendEventMmsgToEmp(8, eventType, data);
}

} // namespace

void Adapter_t::esaTemperatureEventLog() {
    const char* const function = "esaTemperatureEventLog";
    for (std::size_t i = 0; i < state.temperatureSensorMaxNumber; i++) {
        const int sensor = static_cast<int>(i);
        const int degrees = state.temperatureSensor[i];
        std::uint32_t& reported = state.temperatureReportStatus[i];
        if (degrees == 32767) {
            continue;
        }
        if (degrees <= 35) {
            if (reported == 0) {
                continue;
            }
            trace(function, "temperatureReportStatus[%d] reset all Temperature Events.", sensor);
            reported = 0;
            sendTemperature(*this, i, 1, 1);
            continue;
        }
        const TemperatureBand_t& band =
            *std::ranges::find_if(BANDS, [&](const TemperatureBand_t& each) { return degrees > each.above; });
        if ((reported & band.reported) != 0) {
            trace(function, "temperatureReportStatus[%d] already reported over %d degrees Event.", sensor, band.above);
            continue;
        }
        reported = (reported & ~0x7U) | band.reported;
        trace(function, "temperatureReportStatus[%d] reporting over %d degrees Event.", sensor, band.above);
        sendTemperature(*this, i, band.eventState, band.eventType);
    }
}

} // namespace model
