/** Events for the event manager, and the rule that reports temperatures band by band. */
#include "adapter.h"

#include <algorithm>

#include "outgoing.h"

namespace model {

void Adapter_t::sendEvent(std::uint16_t id, std::uint8_t type,
                          std::initializer_list<std::pair<std::size_t, std::uint32_t>> words) {
    const std::span<std::uint8_t> message = state.esaWorkSpace;
    putRequestHeader(message, 300, 0x08000001, 0x08000000);
    std::ranges::fill(message.subspan(64, 236), std::uint8_t{0});
    message[64 + 147] = type;
    message[64 + 148] = 3;
    message[64 + 149] = 1;
    putHalf(message, 64 + 150, id);
    message[216] = state.enclosureType;
    for (const auto& [offset, word] : words) {
        putWord(message, 216 + offset, word);
    }
    sendWorkSpace(300, "esaSendEventMmsgToEmp()");
}

void Adapter_t::sendPowerSupplyEvent(std::uint8_t type) {
    sendEvent(6, type, {{8, state.powerSupplyMaxNumber}, {32, state.powerSupplyStatus}});
}

void Adapter_t::sendFanEvent() {
    sendEvent(7, 2, {{12, state.coolingMaxNumber}, {36, state.fanFaultStatus}});
}

int Adapter_t::reportBusFault() {
    sendEvent(10, 2, {{56, 2}});
    esaManageCompositeFault(0x10, false);
    return BUS_UNUSABLE;
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

} // namespace

void Adapter_t::esaTemperatureEventLog() {
    const char* const function = "esaTemperatureEventLog";
    for (std::uint32_t i = 0; i < state.temperatureSensorMaxNumber; i++) {
        const int sensor = static_cast<int>(i);
        const int degrees = state.temperatureSensor[i];
        std::uint32_t& reported = state.temperatureReportStatus[i];
        const auto tell = [&](std::uint32_t eventState, std::uint8_t type) {
            const std::uint32_t upperHalf = static_cast<std::uint16_t>(degrees) * 0x10000U;
            sendEvent(8, type, {{16, state.temperatureSensorMaxNumber}, {40, eventState}, {44, i}, {48, upperHalf}});
        };
        if (degrees == 32767 || (degrees <= 35 && reported == 0)) {
            continue;
        }
        if (degrees <= 35) {
            trace(function, "temperatureReportStatus[%d] reset all Temperature Events.", sensor);
            reported = 0;
            tell(1, 1);
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
        tell(band.eventState, band.eventType);
    }
}

} // namespace model
