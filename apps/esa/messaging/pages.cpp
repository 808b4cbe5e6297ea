#include "messaging/pages.h"

#include <iterator>

#include "core/operation.h"
#include "policy/chassis.h"
#include "policy/events.h"
#include "policy/temperatures.h"

namespace {

/** What a page's length field leaves out: the page's first four bytes. */
constexpr U16_t LENGTH_NOT_COUNTED = 4;
/** The alarm elements echo this bit of the control page's common byte and of its overall word. */
constexpr U8_t ALARM_ECHOED_BIT = 0x20;

/** The element types in the order of both pages. */
constexpr struct {
    U8_t type;
    U8_t EsaControl_t::*elements;
} ELEMENT_TYPES[] = {
    {SES_K_ELEMENT_TYPE_DEVICE, &EsaControl_t::deviceMaxNumber},
    {SES_K_ELEMENT_TYPE_POWER_SUPPLY, &EsaControl_t::powerSupplyMaxNumber},
    {SES_K_ELEMENT_TYPE_COOLING, &EsaControl_t::coolingMaxNumber},
    {SES_K_ELEMENT_TYPE_TEMPERATURE_SENSOR, &EsaControl_t::temperatureSensorMaxNumber},
    {SES_K_ELEMENT_TYPE_AUDIBLE_ALARM, &EsaControl_t::audibleAlarmMaxNumber},
};

/** Lays records one behind the other into a zeroed page. */
class PageWriter_t {
public:
    explicit PageWriter_t(std::span<U8_t, ESA_K_PAGE_SIZE> page) : begin_(page.data()), next_(begin_) {}

    template <typename T>
    T& next() {
        T& record = wireAt<T>(static_cast<void*>(next_));
        next_ += sizeof(T);
        return record;
    }

    template <typename T>
    bool hasRoom() const {
        return size() + sizeof(T) <= ESA_K_PAGE_SIZE;
    }

    /** Bytes laid so far. */
    U16_t size() const { return static_cast<U16_t>(next_ - begin_); }

private:
    U8_t* begin_;
    U8_t* next_;
};

void writeDevices(PageWriter_t& page) {
    page.next<be32_t>() = 0;
    for (U8_t slot = 0; slot < esaControl.deviceMaxNumber; ++slot) {
        auto& status = page.next<DeviceElementStat_t>();
        const bool absent = esaChassis().isDrivePresent(slot) != 0;
        status.commonStatus = absent ? SES_E_ELEMENT_STATUS_CODE_NOT_INSTALLED : SES_E_ELEMENT_STATUS_CODE_OK;
        status.slotAddress = slot;
        status.faultReqstd = U8_t{esaControl.deviceElementControl[slot].rqstFault};
    }
}

void writePowerSupplies(PageWriter_t& page) {
    page.next<be32_t>() = 0;
    bool changed = false;
    for (U8_t supply = 0; supply < esaControl.powerSupplyMaxNumber; ++supply) {
        auto& status = page.next<PowerSupplyElementStat_t>();
        const PowerSupplyElementCont_t& control = esaControl.powerSupplyElementControl[supply];
        changed |= esaFillPowerSupply(status, control);
        status.rqstedOn = U8_t{control.rqstOn};
        // The peers expect the reserved bit set in every supply.
        status.rsvd2 = 1;
    }
    if (changed) {
        esaSendPowerSupplyEvent(EMP_E_TYPE_WARNING);
    }
}

/** A fan that cannot be read is shown as running at the highest speed code, never as stopped. */
bool writeCoolingSpeed(CoolingElementStat_t& status, U8_t fan) {
    status.actualSpeedCode = SES_E_FAN_ACTUAL_HIGHEST_SPEED;
    U16_t rpm = 0;
    if (esaChassis().fanReadSpeed(fan, &rpm) != ESA_E_OK) {
        return false;
    }
    ESA_TRACE("Fan [%d] has RPM [%d] divided by a factor of 10.", fan, rpm);
    status.actualFanSpeedMsb = static_cast<U8_t>((rpm / 2560) & 3);
    status.actualFanSpeed = static_cast<U8_t>(rpm / 10);
    if (status.actualFanSpeedMsb == 0 && status.actualFanSpeed == 0) {
        status.off = 1;
        status.actualSpeedCode = SES_E_FAN_ACTUAL_STOP;
    }
    return esaMarkCoolingFault(status, fan, rpm);
}

void writeCoolings(PageWriter_t& page) {
    page.next<be32_t>() = 0;
    bool changed = false;
    for (U8_t fan = 0; fan < esaControl.coolingMaxNumber; ++fan) {
        auto& status = page.next<CoolingElementStat_t>();
        changed |= writeCoolingSpeed(status, fan);
        status.rqstedOn = U8_t{esaControl.coolingElementControl[fan].rqstOn};
    }
    if (changed) {
        esaSendFanFaultEvent(EMP_E_TYPE_WARNING);
    }
}

void writeTemperature(TemperatureSensorElementStat_t& status, S16_t degC) {
    if (degC == ESA_K_TEMPERATURE_NO_READING) {
        return;
    }
    status.temperature = static_cast<U8_t>(degC + SES_K_TEMPERATURE_OFFSET);
    status.otWarning = degC > SES_K_OVER_TEMPERATURE_WARNING;
    status.otFailure = degC > SES_K_OVER_TEMPERATURE_FAILURE;
    status.utWarning = degC < SES_K_UNDER_TEMPERATURE_WARNING;
    status.utFailure = degC < SES_K_UNDER_TEMPERATURE_FAILURE;
}

void writeTemperatures(PageWriter_t& page) {
    page.next<be32_t>() = 0;
    esaReadTemperatures(true);
    for (U8_t sensor = 0; sensor < esaControl.temperatureSensorMaxNumber; ++sensor) {
        writeTemperature(page.next<TemperatureSensorElementStat_t>(), esaControl.temperatureSensor[sensor]);
    }
}

void writeAlarm(AudibleAlarmElementStat_t& status, const AudibleAlarmElementCont_t& control) {
    status.commonStatus = control.commonControl & ALARM_ECHOED_BIT;
    status.unrecov = U8_t{control.unrecov};
    status.crit = U8_t{control.crit};
    status.nonCrit = U8_t{control.nonCrit};
    status.info = U8_t{control.info};
    status.remind = U8_t{control.setRemind};
    status.muted = esaChassis().isAlarmMuted(control.setMute != 0);
    status.rqstMute = U8_t{control.setMute};
}

void writeAlarms(PageWriter_t& page) {
    page.next<be32_t>() = esaControl.audibleAlarmElementControlOverall & ALARM_ECHOED_BIT;
    for (U8_t alarm = 0; alarm < esaControl.audibleAlarmMaxNumber; ++alarm) {
        writeAlarm(page.next<AudibleAlarmElementStat_t>(), esaControl.audibleAlarmElementControl[alarm]);
    }
}

} // namespace

U16_t esaBuildConfigurationPage(std::span<U8_t, ESA_K_PAGE_SIZE> page) {
    PageWriter_t writer(page);
    auto& header = writer.next<ConfDiagPageHdr_t>();
    header.pageCode = SES_K_CONFIGURATION_DIAGNOSTIC_PAGE;
    auto& descriptor = writer.next<EnclosureDescHdr_t>();
    descriptor.numberESProcesses = 1;
    descriptor.numberElementTypeDescHdrs = esaControl.elementTypeMaxNumber;
    descriptor.enclosureDescLength = sizeof(EnclosureDescHdr_t) - LENGTH_NOT_COUNTED;
    for (std::size_t i = 0; i < esaControl.elementTypeMaxNumber && writer.hasRoom<TypeDescHdr_t>(); ++i) {
        auto& type = writer.next<TypeDescHdr_t>();
        if (i < std::size(ELEMENT_TYPES)) {
            type.elementType = ELEMENT_TYPES[i].type;
            type.numberPossibleElements = esaControl.*ELEMENT_TYPES[i].elements;
        }
    }
    header.pageLength = static_cast<U16_t>(writer.size() - LENGTH_NOT_COUNTED);
    return writer.size();
}

U16_t esaBuildEnclosureStatusPage(std::span<U8_t, ESA_K_PAGE_SIZE> page) {
    PageWriter_t writer(page);
    auto& header = writer.next<EncStatDiagPageHdr_t>();
    header.pageCode = SES_K_ENCLOSURE_STATUS_DIAGNOSTIC_PAGE;
    writeDevices(writer);
    writePowerSupplies(writer);
    writeCoolings(writer);
    writeTemperatures(writer);
    writeAlarms(writer);
    header.pageLength = static_cast<U16_t>(writer.size() - LENGTH_NOT_COUNTED);
    return writer.size();
}
