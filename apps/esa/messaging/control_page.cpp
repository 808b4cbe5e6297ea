#include "messaging/control_page.h"

#include <algorithm>

#include "core/operation.h"
#include "policy/chassis.h"
#include "policy/events.h"

namespace {

constexpr U32_t LED_BITS = 32;

/** One control list of the page: its overall word, then its records. */
class ListReader_t {
public:
    explicit ListReader_t(const U8_t* list) : list_(list) {}

    U32_t overall() const { return wireAt<be32_t>(static_cast<const void*>(list_)); }

    template <typename T>
    const T& record(U32_t index) const {
        static_assert(sizeof(T) == SES_K_ELEMENT_SIZE);
        return wireAt<T>(static_cast<const void*>(list_ + sizeof(be32_t) + SES_K_ELEMENT_SIZE * index));
    }

    /** Whether a record is to be acted on, and not only stored. */
    template <typename T>
    bool isSelected(const T& record) const {
        return (overall() & record.commonControl & SES_K_CONTROL_SELECT) != 0;
    }

    /** Stores the overall word and the first `count` records. */
    template <typename T, std::size_t N>
    void store(U32_t& overallWord, T (&records)[N], U8_t count) const {
        overallWord = overall();
        for (U8_t i = 0; i < std::min<std::size_t>(count, N); ++i) {
            wireCopy(records[i], record<T>(i));
        }
    }

    /** The list that starts behind `records` records of this one. */
    ListReader_t after(U32_t records) const {
        return ListReader_t(list_ + sizeof(be32_t) + SES_K_ELEMENT_SIZE * records);
    }

private:
    const U8_t* list_;
};

/** Brings one slot's fault LED to `on`; returns whether that changed anything. */
bool controlDevice(U8_t slot, bool on, S32_t& result) {
    const U32_t bit = slot < LED_BITS ? 1U << slot : 0;
    const bool isOn = (esaControl.driveFaultLedStatus0 & bit) != 0;
    if (on == isOn) {
        ESA_TRACE(on ? "Drive Fault LED already ON Drive [%d]." : "Drive Fault LED already OFF Drive [%d].", slot);
        return false;
    }
    ESA_TRACE(on ? "Turn On Fault LED on Drive [%d]." : "Turn Off Fault LED on Drive [%d].", slot);
    result = on ? esaChassis().setDriveFaultLed(slot) : esaChassis().clearDriveFaultLed(slot);
    esaControl.driveFaultLedStatus0 ^= bit;
    return true;
}

S32_t controlDevices(const ListReader_t& list) {
    S32_t result = ESA_E_OK;
    bool changed = false;
    esaControl.deviceElementControlOverall = list.overall();
    for (U8_t slot = 0; slot < esaControl.deviceMaxNumber; ++slot) {
        const auto& record = list.record<DeviceElementCont_t>(slot);
        wireCopy(esaControl.deviceElementControl[slot], record);
        changed |= controlDevice(slot, record.rqstFault != 0, result);
    }
    if (changed) {
        esaSendDriveFaultLedEvent(EMP_E_TYPE_WARNING);
    }
    return result;
}

/** Brings the supply fault indication to `fail`; returns whether that changed anything. */
bool controlPowerSupply(bool fail) {
    const bool isOff = (esaControl.powerSupplyStatus & ESA_K_POWER_FAULT_INDICATION_OFF) != 0;
    if (fail != isOff) {
        ESA_TRACE(fail ? "Fault LED already [ON] for Power Supply." : "Fault LED already [OFF] for Power Supply.");
        return false;
    }
    ESA_TRACE(fail ? "Turn On Fault LED for Power Supply." : "Turn Off Fault LED for Power Supply.");
    esaIndicatePowerSupply(fail);
    esaControl.powerSupplyStatus ^= ESA_K_POWER_FAULT_INDICATION_OFF;
    return true;
}

void controlPowerSupplies(const ListReader_t& list) {
    bool changed = false;
    list.store(esaControl.powerSupplyElementControlOverall, esaControl.powerSupplyElementControl,
               esaControl.powerSupplyMaxNumber);
    for (U8_t supply = 0; supply < esaControl.powerSupplyMaxNumber; ++supply) {
        const auto& record = list.record<PowerSupplyElementCont_t>(supply);
        if (list.isSelected(record)) {
            changed |= controlPowerSupply(record.rqstFail != 0);
        }
    }
    if (changed) {
        esaSendPowerSupplyEvent(EMP_E_TYPE_WARNING);
    }
}

/** Fans know full on and off only; the requested speed code is kept but never acted on. */
void controlCoolings(const ListReader_t& list) {
    list.store(esaControl.coolingElementControlOverall, esaControl.coolingElementControl, esaControl.coolingMaxNumber);
    for (U8_t fan = 0; fan < esaControl.coolingMaxNumber; ++fan) {
        const auto& record = list.record<CoolingElementCont_t>(fan);
        if (list.isSelected(record)) {
            const bool on = record.rqstOn != 0;
            ESA_TRACE(on ? "Turn On Fan [%d]." : "Turn Off Fan [%d].", fan);
            esaControlFan(fan, on);
        }
    }
}

void controlAlarm(const AudibleAlarmElementCont_t& record) {
    if (record.setMute) {
        esaSetAlarm(ESA_E_ALARM_STATE_MUTE_S3);
        esaChassis().silencePowerSupplyAlarm();
    } else if (record.unrecov || record.crit) {
        esaSetAlarm(esaChassis().criticalAlarmState);
    } else if (record.info || record.nonCrit) {
        esaSetAlarm(ESA_E_ALARM_STATE_FAULT_S1);
    }
}

void controlAlarms(const ListReader_t& list) {
    list.store(esaControl.audibleAlarmElementControlOverall, esaControl.audibleAlarmElementControl,
               esaControl.audibleAlarmMaxNumber);
    for (U8_t alarm = 0; alarm < esaControl.audibleAlarmMaxNumber; ++alarm) {
        const auto& record = list.record<AudibleAlarmElementCont_t>(alarm);
        if (list.isSelected(record)) {
            controlAlarm(record);
        }
    }
}

} // namespace

S32_t esaProcEncContPage(const MMSG_t& mmsg) {
    ESA_OPERATION();
    const auto& payload = wireAt<SndDiagCommandMsg_t>(static_cast<const void*>(&mmsg.user_data_start));
    const ListReader_t devices(&payload.sndDiagCommandList + sizeof(EncContDiagPageHdr_t));
    const S32_t result = controlDevices(devices);
    if (mmsg.mmch.requestor == MMSG_E_EPID_VOLMGRMP) {
        ESA_TRACE("Rx Drive Fault LED SES msg from VM. No further processing.");
        return result;
    }
    const ListReader_t supplies = devices.after(esaControl.deviceMaxNumber);
    controlPowerSupplies(supplies);
    const ListReader_t coolings = supplies.after(esaControl.powerSupplyMaxNumber);
    controlCoolings(coolings);
    // The peers lay their pages out with these two counts exchanged; the alarm list is at the same place either way.
    const ListReader_t temperatures = coolings.after(esaControl.temperatureSensorMaxNumber);
    temperatures.store(esaControl.temperatureSensorElementControlOverall, esaControl.temperatureSensorElementControl,
                       esaControl.temperatureSensorMaxNumber);
    const ListReader_t alarms = temperatures.after(esaControl.coolingMaxNumber);
    controlAlarms(alarms);
    return result;
}
