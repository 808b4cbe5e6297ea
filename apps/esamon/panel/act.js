/** Switching fault LEDs and the alarm: asked once, carried out with a token, shown as requested until the adapter says so. */

import {ApiError, post} from "./api.js";
import {h, setText} from "./dom.js";
import {indexOf, NAME, title} from "./elements.js";
import {TEXT} from "./text.js";

// The adapter shows a change with the monitor's next poll.
const CONFIRM_MS = 30000;
const BLINK_MS = 1500;
const BLINKS = 20;

/** "0-3, 7" or "all" as slot numbers; null when it names something that is not there. */
export function parseSlots(text, count) {
    if (text.trim().toLowerCase() === "all") {
        return Array.from({length: count}, (_, slot) => slot);
    }
    const slots = new Set();
    for (const part of text.split(/[\s,]+/).filter(Boolean)) {
        const [, first, last] = part.match(/^(\d+)(?:-(\d+))?$/) ?? [];
        const from = Number(first);
        const to = Number(last ?? first);
        if (first === undefined || from > to || to >= count) {
            return null;
        }
        for (let slot = from; slot <= to; ++slot) {
            slots.add(slot);
        }
    }
    return slots.size ? [...slots].sort((one, other) => one - other) : null;
}

/** Slot numbers as people write them: 0-3, 7. */
export function slotsText(slots) {
    const parts = [];
    for (const slot of slots) {
        const last = parts.at(-1);
        if (last && last[1] === slot - 1) {
            last[1] = slot;
        } else {
            parts.push([slot, slot]);
        }
    }
    return parts.map(([from, to]) => (from === to ? `${from}` : `${from}-${to}`)).join(", ");
}

/** A question in a dialog of the page; true for yes. */
function ask(question) {
    const dialog = h("dialog", {class: "ask", "aria-label": question}, h("form", {method: "dialog"}, h("p", null, question),
        h("div", {class: "row"}, h("button", {value: "yes", class: "strong"}, TEXT.act.yes), h("button", {value: "no"}, TEXT.act.no))));
    document.body.append(dialog);
    dialog.showModal();
    return new Promise((resolve) => dialog.addEventListener("close", () => {
        dialog.remove();
        resolve(dialog.returnValue === "yes");
    }));
}

export class Act {
    /** `page`: {config, layout, elements, changed(), pick(slots), isPast()}; `holder` stays hidden where nothing may be asked for. */
    constructor(holder, page) {
        this.holder = holder;
        this.page = page;
        this.token = null; // in the page's memory only
        this.asked = new Map(); // element to what it shall become
        this.result = h("p", {class: "result", role: "status"});
        this.slots = h("input", {type: "text", inputmode: "numeric", autocomplete: "off", "aria-describedby": "slots-hint",
            placeholder: TEXT.act.slotsHint, oninput: () => this.page.pick(parseSlots(this.slots.value, this.page.config.drives) ?? [])});
    }

    setup() {
        const {config, layout} = this.page;
        const may = config.actions ?? [];
        this.holder.hidden = may.length === 0;
        const led = may.includes("leds") && layout.driveLeds;
        const button = (name, act) => h("button", {type: "button", data: {act: name}, onclick: act}, TEXT.act[name]);
        this.blinkButton = button("blink", () => this.blink());
        const controls = this.token === null ? [] : [
            led && h("div", {class: "row"}, h("label", null, h("span", null, TEXT.act.slots), this.slots),
                h("span", {id: "slots-hint", class: "hint"}, TEXT.act.slotsHint)),
            led && h("div", {class: "row"}, button("on", () => this.leds("on")), button("off", () => this.leds("off")), this.blinkButton),
            may.includes("alarm") && config.alarms > 0 && h("div", {class: "row"}, button("mute", () => this.alarm("mute")),
                button("sound", () => this.alarm("fault"))),
        ];
        const key = this.token === null ? h("button", {type: "button", data: {act: "enter"}, onclick: () => this.enter()}, TEXT.act.enter)
            : h("button", {type: "button", data: {act: "forget"}, class: "quiet", onclick: () => this.forget()}, TEXT.act.forget);
        this.controls ??= this.holder.appendChild(h("div", {class: "controls"}));
        this.controls.replaceChildren(...controls.filter(Boolean), key, this.result);
    }

    enter() {
        const input = h("input", {type: "password", autocomplete: "off", required: true});
        const dialog = h("dialog", {class: "ask", "aria-label": TEXT.act.enter}, h("form", {method: "dialog"}, h("p", null, TEXT.act.explain),
            h("label", null, h("span", null, TEXT.act.token), input),
            h("div", {class: "row"}, h("button", {value: "keep", class: "strong"}, TEXT.act.keep),
                h("button", {value: "cancel", formnovalidate: true}, TEXT.act.cancel))));
        document.body.append(dialog);
        dialog.showModal();
        dialog.addEventListener("close", () => {
            dialog.remove();
            if (dialog.returnValue === "keep" && input.value.trim()) {
                this.token = input.value.trim();
                this.say("");
                this.setup();
                this.holder.querySelector("button").focus();
            }
        });
    }

    forget() {
        this.token = null;
        this.setup();
    }

    say(text) {
        setText(this.result, text);
    }

    /** The selection of the drawing, as text that can be changed by hand. */
    take(names) {
        const slots = [...names].filter((name) => /^slot/.test(name)).map(indexOf).sort((one, other) => one - other);
        if (document.activeElement !== this.slots) {
            this.slots.value = slotsText(slots);
        }
    }

    chosen() {
        const slots = parseSlots(this.slots.value, this.page.config.drives);
        if (!slots) {
            this.say(TEXT.act.slotsWrong(this.slots.value, this.page.config.drives - 1));
            this.slots.focus();
        }
        return slots;
    }

    namesOf(slots) {
        return slots.length === 1 ? title(NAME.drive(slots[0])) : `${TEXT.act.slots} ${slotsText(slots)}`;
    }

    /** False, and said, while the page shows the past: what was asked for would not be seen. */
    isNow() {
        if (this.page.isPast()) {
            this.say(TEXT.act.history);
        }
        return !this.page.isPast();
    }

    /** Sends a request; true when the adapter has accepted it. */
    async send(path, body) {
        this.say(TEXT.act.asking);
        try {
            await post(path, body, this.token);
            return true;
        } catch (error) {
            if (error instanceof ApiError && error.status === 401) {
                this.forget();
                this.say(TEXT.act.badToken);
            } else {
                this.say(TEXT.act.refused(error.message));
            }
            return false;
        }
    }

    async setLeds(slots, state) {
        const names = slots.map(NAME.drive);
        names.forEach((name) => this.asked.set(name, state === "on"));
        this.page.changed();
        const done = await this.send("leds", {slots: names, state});
        if (!done) {
            names.forEach((name) => this.asked.delete(name));
            this.page.changed();
        }
        return done;
    }

    async leds(state) {
        const slots = this.isNow() && this.chosen();
        if (slots && await ask(TEXT.act.confirm[state](this.namesOf(slots))) && await this.setLeds(slots, state)) {
            this.accepted();
        }
    }

    async alarm(request) {
        if (this.isNow() && await ask(TEXT.act.confirm[request === "mute" ? "mute" : "sound"]()) && await this.send("alarm", {request})) {
            this.say(TEXT.act.confirmed);
        }
    }

    accepted() {
        // The adapter's report may have come before its answer to the request was read.
        this.say(this.asked.size ? TEXT.act.accepted : TEXT.act.confirmed);
        clearTimeout(this.waiting);
        this.waiting = setTimeout(() => {
            if (this.asked.size) {
                this.asked.clear();
                this.say(TEXT.act.unconfirmed);
                this.page.changed();
            }
        }, CONFIRM_MS);
        this.confirm();
    }

    /** What the adapter reports settles what was asked for. */
    confirm() {
        let settled = false;
        for (const [name, on] of this.asked) {
            if (this.page.elements.get(name)?.led === on) {
                this.asked.delete(name);
                settled = true;
            }
        }
        if (settled && this.asked.size === 0 && !this.blinking) {
            this.say(TEXT.act.confirmed);
        }
    }

    /** By turns on and off, then as each was before. The same button ends it. */
    async blink() {
        if (this.blinking) {
            this.blinking = false;
            return;
        }
        const slots = this.isNow() && this.chosen();
        if (!slots || !await ask(TEXT.act.confirm.blink(this.namesOf(slots)))) {
            return;
        }
        const before = slots.filter((slot) => this.page.elements.get(NAME.drive(slot))?.led);
        this.blinking = true;
        setText(this.blinkButton, TEXT.act.blinkStop);
        for (let turn = 0; turn < BLINKS && this.blinking; ++turn) {
            this.blinking = await this.setLeds(slots, turn % 2 === 0 ? "on" : "off") && this.blinking;
            await new Promise((resolve) => setTimeout(resolve, BLINK_MS));
        }
        this.blinking = false;
        const dark = slots.filter((slot) => !before.includes(slot));
        if ((dark.length === 0 || await this.setLeds(dark, "off")) && (before.length === 0 || await this.setLeds(before, "on"))) {
            this.accepted();
        }
        setText(this.blinkButton, TEXT.act.blink);
    }
}
