/** The entries of the history that the page has, and what they tell of a moment. */

import {seconds} from "./time.js";

// The page keeps what a person may scroll through; older entries are asked for again.
const KEPT = 5000;
const ALARMS = ["idle", "fault", "remind", "mute", "critical"];

export class History {
    constructor() {
        this.entries = [];
        this.known = new Map();
        this.more = false;
    }

    /** Takes an entry in, or its repeat; true when it is new. Sequences may arrive in any order. */
    take(entry) {
        const old = this.known.get(entry.sequence);
        if (old) {
            Object.assign(old, entry);
            return false;
        }
        entry.at = seconds(entry.time);
        this.known.set(entry.sequence, entry);
        this.entries.push(entry);
        const last = this.entries.length - 1;
        if (last > 0 && this.entries[last - 1].sequence > entry.sequence) {
            this.entries.sort((one, other) => one.sequence - other.sequence);
        }
        if (this.entries.length > KEPT) {
            this.known.delete(this.entries.shift().sequence);
            this.more = true;
        }
        return true;
    }

    between(from, to) {
        return this.entries.filter((entry) => entry.at >= from && entry.at <= to);
    }

    latest(at, matches) {
        return this.entries.findLast((entry) => entry.at <= at && matches(entry));
    }

    /** When the element got the state it has at that moment; null where the history does not reach back so far. */
    since(name, at) {
        const change = this.latest(at, (entry) => entry.name === "state-change" && entry.elements.includes(name));
        return change?.at ?? null;
    }

    /**
     * {composite: boolean or null, alarm: word or null} as told until that moment. Where nobody has told, `healthy` does: the
     * LED is out while there is no cause. An alarm without states of its own follows the composite fault, unless a person
     * muted or sounded it.
     */
    told(at, layout, healthy) {
        const fault = this.latest(at, (entry) => entry.name === "composite-fault-led");
        const start = this.latest(at, (entry) => entry.name === "init-complete");
        const fresh = start && (!fault || start.at > fault.at);
        const quiet = fresh || (!fault && healthy);
        const composite = quiet ? false : fault ? fault.data.on === 1 : null;
        if (layout.ownAlarm) {
            const alarm = this.latest(at, (entry) => entry.name === "alarm-status");
            return {composite, alarm: alarm ? ALARMS[alarm.data.alarm_state] ?? null : quiet ? "idle" : null};
        }
        const hand = this.latest(at, (entry) => entry.name === "action" && entry.command === "alarm" && entry.result === "accepted");
        if (hand && hand.at > (fault?.at ?? 0) && hand.at > (start?.at ?? 0)) {
            return {composite, alarm: hand.request.includes("mute") ? "mute" : "sounding"};
        }
        return {composite, alarm: composite === null ? null : composite ? "sounding" : "silent"};
    }
}

/** The key of TEXT for an entry: its name, and what its data tell apart. */
export function keyOf(entry) {
    if (entry.name === "information") {
        return `information.${entry.data?.information}`;
    }
    if (entry.name === "composite-fault-led") {
        return `composite-fault-led.${entry.data?.on === 1 ? "on" : "off"}`;
    }
    return entry.name;
}
