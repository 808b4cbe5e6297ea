#include "policy/composite_fault.h"

#include "core/fault.h"
#include "core/operation.h"
#include "core/outgoing.h"
#include "policy/chassis.h"
#include "policy/events.h"
#include "startup.h"

namespace {

struct CauseName_t {
    U32_t bit;
    const CHAR_t* text;
};

constexpr CauseName_t CAUSE_NAMES[] = {
    {ESA_K_FAULT_POWER_SUPPLY_VOLTAGE_TOLERANCE, "This Fault bit is [POWER_SUPPLY_VOLTAGE_TOLERANCE]"},
    {ESA_K_FAULT_POWER_SUPPLY_REDUNDANCY, "This Fault bit is [POWER_SUPPLY_REDUNDANCY]"},
    {ESA_K_FAULT_FAN, "This Fault bit is [FAN]"},
    {ESA_K_FAULT_TEMPERATURE_OVERHEAT, "This Fault bit is [TEMPERATURE_OVERHEAT]"},
    {ESA_K_FAULT_I2C_BUS_FAULT, "This Fault bit is [I2C_BUS_FAULT]"},
};

void traceCause(U32_t cause) {
    for (const CauseName_t& name : CAUSE_NAMES) {
        if ((cause & name.bit) != 0) {
            ESA_TRACE("%s", name.text);
            return;
        }
    }
}

/** Outcomes are compared in eight bits, as the platform's peers have always handed them over. */
constexpr U8_t low8(S32_t status) {
    return static_cast<U8_t>(status);
}

void setAlarm(EsaAlarmState_e state) {
    if (esaChassis().faultMovesAlarm) {
        esaSetAlarm(state);
    }
}

S32_t clearCause(U32_t cause) {
    ESA_TRACE("Clear the current Fault bit [0x%x].", cause);
    esaControl.compositeFaultStatus &= ~cause;
    const bool ledIsOn = (esaControl.compositeFaultStatus & ESA_K_FAULT_LED_ON) != 0;
    if (!ledIsOn || (esaControl.compositeFaultStatus & ESA_K_FAULT_CAUSES) != 0) {
        return 0;
    }
    esaControl.compositeFaultStatus &= ~ESA_K_FAULT_LED_ON;
    const S32_t result = esaSendCompositeFaultMmsgToStartup(ESA_E_OK);
    if (esaControl.alarmState != ESA_E_ALARM_STATE_MUTE_S3) {
        setAlarm(ESA_E_ALARM_STATE_MUTE_S3);
    }
    return result;
}

S32_t setCause(U32_t cause) {
    ESA_TRACE("Set the new Fault bit [0x%x].", cause);
    esaControl.compositeFaultStatus |= cause;
    if ((esaControl.compositeFaultStatus & ESA_K_FAULT_LED_ON) == 0) {
        ESA_TRACE("Turn on the Composite Fault LED.");
        esaControl.compositeFaultStatus |= ESA_K_FAULT_LED_ON;
        esaSendCompositeFaultMmsgToStartup(ESA_E_GENERR);
        // Only a muted alarm starts to sound: one in any other state was put there by somebody who meant it.
        if (esaControl.alarmState == ESA_E_ALARM_STATE_MUTE_S3) {
            setAlarm(ESA_E_ALARM_STATE_FAULT_S1);
        }
    } else {
        ESA_TRACE("The Composite Fault LED is currently ON for other Faults.");
    }
    return esaSendEmailNotificationMmsgToStartup();
}

} // namespace

S32_t esaManageCompositeFault(U32_t compositeFaultTypeBitMap, S32_t compositeFaultStatus) {
    ESA_OPERATION();
    traceCause(compositeFaultTypeBitMap);
    if ((esaControl.compositeFaultStatus & compositeFaultTypeBitMap) != 0) {
        ESA_TRACE("This Fault bit [0x%x] exists currently.", compositeFaultTypeBitMap);
        if (low8(compositeFaultStatus) == low8(ESA_E_OK)) {
            return clearCause(compositeFaultTypeBitMap);
        }
        ESA_TRACE("The Fault bit [0x%x] is already set.", compositeFaultTypeBitMap);
        return 0;
    }
    ESA_TRACE("This Fault bit [0x%x] does NOT exist currently.", compositeFaultTypeBitMap);
    if (low8(compositeFaultStatus) == low8(ESA_E_GENERR)) {
        return setCause(compositeFaultTypeBitMap);
    }
    ESA_TRACE("The Fault bit [0x%x] is already clear.", compositeFaultTypeBitMap);
    return 0;
}

S32_t esaSendCompositeFaultMmsgToStartup(S32_t status) {
    ESA_OPERATION();
    const bool on = low8(status) != low8(ESA_E_OK);
    MMSG_t& mmsg = esaStartMmsg(MMSG_E_PROTOCOL_STARTUP, SUS_E_MMSG_CHANGE_LED_COLOR, MMSG_E_EPID_STARTUPMP);
    mmsg.mmch.general_use1 = SUS_K_LED_COMPOSITE_FAULT;
    mmsg.mmch.general_use2 = on ? SUS_K_LED_ON : SUS_K_LED_OFF;
    ESA_TRACE("[%s] Composite Fault LED in Startup.", on ? "Set" : "Clear");
    return esaSendMmsg(ESA_CALL_SITE("esaSendCompositeFaultMmsgToStartup()"));
}

S32_t esaSendEmailNotificationMmsgToStartup() {
    ESA_OPERATION();
    esaStartMmsg(MMSG_E_PROTOCOL_STARTUP, SUS_E_MMSG_SEND_EMAIL_NOTIFICATION, MMSG_E_EPID_STARTUPMP);
    ESA_TRACE("Send Email Notification MMSG To Startup.");
    return esaSendMmsg(ESA_CALL_SITE("esaSendEmailNotificationMmsgToStartup()"));
}

S32_t esaSendOrderlyShutdownMmsgToStartup() {
    ESA_OPERATION();
    MMSG_t& mmsg = esaStartMmsg(MMSG_E_PROTOCOL_SHUTDOWN, SHUTDOWN_K_MMSG_ORDERLY, MMSG_E_EPID_STARTUPMP);
    mmsg.mmch.general_use2 = SHUTDOWN_K_REASON_OVERHEAT;
    ESA_TRACE("Send request of Orderly Shutdown to Startup");
    // Whoever reads the platform's event logs looks for this failure under the event sender's name.
    return esaSendMmsg(ESA_CALL_SITE("esaSendEventMmsgToEmp()"));
}

ESA_CODE_e esaReportI2cBusFault() {
    esaSendInformationEvent(EMP_E_TYPE_WARNING, ESA_E_EVENT_INFO_I2C_BUS_FAULT);
    esaManageCompositeFault(ESA_K_FAULT_I2C_BUS_FAULT, ESA_E_GENERR);
    return ESA_E_GENERR_I2C_UNAVAILABLE;
}
