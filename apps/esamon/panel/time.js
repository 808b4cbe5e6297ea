/** Times: the monitor speaks in UTC seconds, people in their own clock. */

import {TEXT} from "./text.js";

export const UNITS = {m: 60, h: 3600, d: 86400, y: 365 * 86400};

export function seconds(iso) {
    return Date.parse(iso) / 1000;
}

export function now() {
    return Date.now() / 1000;
}

/** "10m" as seconds. */
export function span(name) {
    return Number(name.slice(0, -1)) * UNITS[name.slice(-1)];
}

export function age(value) {
    const whole = Math.max(0, Math.round(value));
    if (whole < 120) {
        return TEXT.seconds(whole);
    }
    if (whole < 7200) {
        return TEXT.minutes(Math.round(whole / 60));
    }
    return whole < 2 * 86400 ? TEXT.hours(Math.round(whole / 3600)) : TEXT.days(Math.round(whole / 86400));
}

const clock = new Intl.DateTimeFormat(undefined, {hour: "2-digit", minute: "2-digit", second: "2-digit", hour12: false});
const day = new Intl.DateTimeFormat(undefined, {day: "numeric", month: "short", year: "numeric"});

export function timeOfDay(at) {
    return clock.format(at * 1000);
}

export function dateAndTime(at) {
    return `${day.format(at * 1000)}, ${clock.format(at * 1000)}`;
}

/** Short where it is of today, whole otherwise. */
export function moment(at) {
    return day.format(at * 1000) === day.format(Date.now()) ? timeOfDay(at) : dateAndTime(at);
}

/** UTC to the millisecond, as the history has it: what goes into a link. */
export function stamp(at) {
    return new Date(at * 1000).toISOString();
}
