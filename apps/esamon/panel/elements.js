/** What a status document says of each element, in words: one description for drawing, tip, inspector and lists. */

import {TEXT} from "./text.js";

const two = (number) => String(number).padStart(2, "0");

export const NAME = {
    drive: (index) => `slot${two(index)}`,
    supply: (index) => `psu${index}`,
    fan: (index) => `fan${index}`,
    temperature: (index) => `temp${index}`,
    alarm: (index) => `alarm${index}`,
};

/** The member of the configuration and of the status that holds each kind, in the order of the drawing. */
export const LIST = {
    drive: "drives",
    supply: "power_supplies",
    fan: "fans",
    temperature: "temperatures",
    alarm: "alarms",
};

export function kindOf(name) {
    const stem = name.replace(/\d+$/, "");
    return {slot: "drive", psu: "supply", fan: "fan", temp: "temperature", alarm: "alarm"}[stem] ?? "lamp";
}

export function indexOf(name) {
    return Number(name.match(/\d+$/)?.[0] ?? 0);
}

/** "Bay 3", "Fan 0": the number first is what a person looks for at the machine. */
export function title(name) {
    if (name === "enclosure") {
        return TEXT.title;
    }
    const kind = kindOf(name);
    return kind === "lamp" ? TEXT.lamp[name].name : `${TEXT.kind[kind]} ${indexOf(name)}`;
}

/** Of one element, or of several that follow each other: "Supply 0 to 2". */
export function titleOf(names) {
    return names.length < 2 ? title(names[0]) : TEXT.several(title(names[0]), indexOf(names.at(-1)));
}

/** The word for an element's state: a bay is empty where anything else is not there. */
export function stateText(name, state) {
    return state === "absent" && kindOf(name) === "drive" ? TEXT.state.empty : TEXT.state[state];
}

function describeDrive(drive, layout) {
    const notes = [];
    if (!layout.driveLeds) {
        notes.push(TEXT.element.noLed);
    }
    if (!layout.presence) {
        notes.push(TEXT.element.noPresence);
    }
    const there = layout.presence ? TEXT.element.present : TEXT.element.presumed;
    const value = drive.present ? there : TEXT.element.empty;
    const led = drive.fault_led ? TEXT.element.ledOn : TEXT.element.ledOff;
    return {
        state: drive.state,
        value: layout.driveLeds ? `${value}, ${led}` : value,
        short: drive.present ? "" : TEXT.element.empty,
        led: layout.driveLeds ? drive.fault_led : null,
        present: drive.present,
        notes,
    };
}

function describeSupply(supply, layout) {
    const faults = [];
    if (supply.status === "not-installed") {
        faults.push(TEXT.element.redundancyOrVoltage[layout.suppliesTogether] ?? TEXT.element.redundancyLost);
    }
    if (supply.ac_fail && layout.suppliesTogether !== "voltage") {
        faults.push(TEXT.element.voltageBad);
    }
    if (supply.state !== "ok" && faults.length === 0) {
        faults.push(TEXT.element.supplyFail);
    }
    return {
        state: supply.state,
        value: faults.join(", ") || TEXT.element.supplyOk,
        short: TEXT.state[supply.state],
        notes: faults.length ? [TEXT.element.supplyTogether] : [],
    };
}

function describeFan(fan) {
    const value = fan.rpm === null ? TEXT.element.noReading : TEXT.element.rpm(fan.rpm);
    return {
        state: fan.state,
        value,
        short: String(fan.rpm ?? "–"),
        rpm: fan.rpm ?? 0,
        read: fan.rpm !== null,
        limit: TEXT.element.rpmLimit(fan.minimum_rpm),
        notes: fan.state === "fault" ? [TEXT.element.fanCommand] : [],
    };
}

function describeTemperature(sensor) {
    const none = sensor.state === "absent" ? TEXT.element.notRead : TEXT.element.noReading;
    const value = sensor.celsius === null ? none : TEXT.element.celsius(sensor.celsius);
    return {
        state: sensor.state,
        value,
        short: sensor.celsius === null ? "–" : TEXT.element.degrees(sensor.celsius),
        celsius: sensor.celsius,
        limit: TEXT.element.celsiusLimit(sensor.limits),
        notes: [],
    };
}

function describeAlarm(alarm, told) {
    const said = alarm.muted === null ? told.alarm : alarm.muted ? "silent" : "sounding";
    const sounds = ["sounding", "fault", "critical", "remind"].includes(said);
    return {
        state: said === null ? "unknown" : sounds ? "warning" : "ok",
        value: TEXT.element.alarm[said ?? "unknown"],
        short: TEXT.element.alarm[said ?? "unknown"],
        sounds,
        notes: alarm.muted === null ? [TEXT.element.alarmInferred] : [],
    };
}

function lamp(on, lit) {
    return {on, state: on === null ? "unknown" : on === lit ? "fault" : "ok"};
}

function lamps(status, told) {
    const supplies = status.power_supplies;
    const known = (on) => status.cause ? null : on;
    const all = {
        composite: lamp(told.composite, true),
        psuOk: lamp(known(!supplies.some((supply) => supply.ac_fail)), false),
        redundancyFail: lamp(known(supplies.some((supply) => supply.status === "not-installed")), true),
        // The record's own mark is not set for a fan that gives no pulses at all.
        fanFail: lamp(known(status.fans.some((fan) => fan.state === "fault")), true),
    };
    return Object.entries(all).map(([name, each]) => {
        const text = TEXT.lamp[name];
        const value = each.on === null ? TEXT.lamp.unknown : each.on ? text.on : text.off;
        return {name, kind: "lamp", value, short: text.short, notes: [], ...each};
    });
}

const DESCRIBE = {
    drive: describeDrive,
    supply: describeSupply,
    fan: describeFan,
    temperature: describeTemperature,
    alarm: (alarm, layout, told) => describeAlarm(alarm, told),
};

/** Name to description, of every element of the status. `told`: what only events tell (composite fault, alarm). */
export function describe(status, layout, told) {
    const all = new Map();
    for (const [kind, list] of Object.entries(LIST)) {
        for (const element of status[list]) {
            const unknown = element.state === "unknown" ? {value: TEXT.state.unknown, short: "–", notes: []} : {};
            all.set(element.name, {name: element.name, kind, ...DESCRIBE[kind](element, layout, told), ...unknown});
        }
    }
    for (const each of lamps(status, told)) {
        all.set(each.name, each);
    }
    return all;
}
