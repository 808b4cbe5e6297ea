/**
 * What nobody has at a real enclosure. Loaded only where the monitor says that it has a simulator behind it; there is
 * nothing behind these buttons otherwise.
 */

import {post} from "./api.js";
import {h, setText} from "./dom.js";
import {TEXT} from "./text.js";

const LOOK_MS = 2000;
const POWER_ON = {heat: 190, ambient: 22};
const OVERHEAT_WATTS = 1600;
// Enough transfers for longer than anybody watches.
const ALL_TRANSFERS = 1000000;

const VERBS = {
    fan: {ok: (n) => `fan ${n} ok`, stall: (n) => `fan ${n} stall`, remove: (n) => `fan ${n} remove`},
    supply: {ok: (n) => `psu ${n} ok`, fail: (n) => `psu ${n} fail`, pull: (n) => `psu ${n} pull`},
    drive: {insert: (n) => `drive ${n} insert`, pull: (n) => `drive ${n} pull`},
    sensor: {ok: (n) => `sensor ${n} ok`, hot: (n) => `sensor ${n} set 58`, gone: (n) => `sensor ${n} gone`},
};

/** What the simulator's own words for a state are here. */
const STATE = {
    fan: (fan) => ({ok: "ok", stalled: "stall", removed: "remove"})[fan.state],
    supply: (supply) => ({ok: "ok", failed: "fail", pulled: "pull"})[supply.state],
    drive: (drive) => (drive.present ? "insert" : "pull"),
    sensor: (sensor) => ({ok: "ok", set: "hot", gone: "gone"})[sensor.state],
};
const WORLD = {fan: "fans", supply: "supplies", drive: "drives", sensor: "sensors"};

async function say(command) {
    return (await post("simulator", {command})).reply;
}

class Hands {
    constructor(holder) {
        this.result = h("p", {class: "result", role: "status"});
        this.world = h("p", {class: "world"});
        this.choices = h("div", {class: "hands-groups"});
        this.heat = this.knob("heat", 0, 2500, 10, TEXT.hands.watts);
        this.ambient = this.knob("ambient", -10, 60, 1, TEXT.hands.celsius);
        const recipe = (name, act) => h("button", {type: "button", data: {hand: name}, onclick: act}, TEXT.hands.recipes[name]);
        holder.append(h("p", {class: "note"}, TEXT.hands.explain), h("div", {class: "row"},
            recipe("overheat", () => this.do(`heat ${OVERHEAT_WATTS}`)), recipe("cool", () => this.do(`heat ${POWER_ON.heat}`)),
            recipe("stall", () => this.do("fan 0 stall")), recipe("supply", () => this.do("psu 0 fail")), recipe("heal", () => this.heal())),
        this.heat.row, this.ambient.row, this.result,
        h("details", {class: "hands-more"}, h("summary", null, TEXT.hands.more), this.choices,
            h("div", {class: "row"}, ...this.bus()), this.world));
    }

    knob(name, min, max, step, text) {
        const out = h("output");
        const input = h("input", {type: "range", min, max, step, onchange: () => this.do(`${name} ${input.value}`),
            oninput: () => {
                setText(out, text(input.value));
                input.setAttribute("aria-valuetext", text(input.value));
            }});
        const row = h("label", {class: "knob"}, h("span", null, TEXT.hands[name]), input, out);
        return {row, input, show: (value) => {
            if (document.activeElement !== input) {
                input.value = value;
                setText(out, text(value));
                input.setAttribute("aria-valuetext", text(value));
            }
        }};
    }

    bus() {
        const button = (name, command) => h("button", {type: "button", data: {hand: name}, onclick: () => this.do(command)}, TEXT.hands.bus[name]);
        return [button("freeze", `bus fail ${ALL_TRANSFERS}`), button("unfreeze", "bus ok"), button("unplug", "line silent"), button("plug", "line ok")];
    }

    async do(...commands) {
        try {
            for (const command of commands) {
                await say(command);
            }
            setText(this.result, "");
        } catch (error) {
            setText(this.result, TEXT.hands.failed(error.message));
        }
        await this.look();
    }

    heal() {
        const all = Object.entries(WORLD).flatMap(([kind, list]) => this.seen[list].map((_, index) => Object.values(VERBS[kind])[0](index)));
        return this.do("line ok", "bus ok", `heat ${POWER_ON.heat}`, `ambient ${POWER_ON.ambient}`, ...all);
    }

    async look() {
        try {
            const reply = await say("show --json");
            this.seen = JSON.parse(reply.slice(reply.indexOf("{"), reply.lastIndexOf("}") + 1));
        } catch (error) {
            setText(this.result, TEXT.hands.failed(error.message));
            return;
        }
        this.heat.show(this.seen.heatWatts);
        this.ambient.show(this.seen.ambientCelsius);
        setText(this.world, TEXT.hands.world(this.seen.airCelsius.toFixed(1), Math.round(this.seen.seconds)));
        if (!this.selects) {
            this.build();
        }
        for (const [kind, list] of Object.entries(WORLD)) {
            this.seen[list].forEach((each, index) => (this.selects[kind][index].value = STATE[kind](each) ?? ""));
        }
    }

    build() {
        this.selects = {};
        for (const [kind, list] of Object.entries(WORLD)) {
            this.selects[kind] = this.seen[list].map((_, index) => h("select", {data: {hand: `${kind}${index}`},
                onchange: (event) => this.do(VERBS[kind][event.target.value](index))},
            ...Object.keys(VERBS[kind]).map((verb) => h("option", {value: verb}, TEXT.hands[kind][verb]))));
            this.choices.append(h("fieldset", {class: "hands-group"}, h("legend", null, TEXT.hands.groups[kind]),
                h("div", {class: "hands-grid"}, ...this.selects[kind].map((select, index) => h("label", null,
                    h("span", null, `${TEXT.kind[kind === "sensor" ? "temperature" : kind]} ${index}`), select)))));
        }
    }
}

/** Puts the hands into the page. Nothing is asked while nobody looks. */
export function showHands(holder) {
    const hands = new Hands(holder);
    hands.look();
    setInterval(() => document.hidden || hands.look(), LOOK_MS);
}
