/** The line below the plots: events as marks, and the replay of what was. */

import {h, setText, stateIcon} from "./dom.js";
import {stateText, titleOf} from "./elements.js";
import {keyOf} from "./history.js";
import {TEXT} from "./text.js";
import {dateAndTime, moment, now} from "./time.js";

const MARK_PX = 26;
const FRAME_MS = 400;
const STEP_SECONDS = 10; // about a poll of the adapter
const ICONS = {error: "fault", warning: "warning", information: "ok", unknown: "unknown"};
const WEIGHT = {error: 3, warning: 2, information: 1, unknown: 0};

export function kindHeading(entry) {
    return TEXT.events.names[keyOf(entry)] ?? TEXT.events.names[entry.name] ?? entry.name;
}

/** What happened, with the element where that is all it is about. */
export function heading(entry) {
    return entry.name === "state-change" ? `${titleOf(entry.elements)}: ${stateText(entry.elements[0], entry.to)}` : kindHeading(entry);
}

export function severityIcon(severity) {
    return stateIcon(ICONS[severity] ?? "unknown");
}

export class Timeline {
    /** `view`: {from, to, at, pick(at), live()}; `history`: the entries. */
    constructor(holder, view, history) {
        this.view = view;
        this.history = history;
        this.marks = h("div", {class: "marks", role: "group", "aria-label": TEXT.time.marks});
        this.slider = h("input", {type: "range", class: "moment", step: "1", "aria-label": TEXT.replay.moment,
            oninput: () => view.pick(Number(this.slider.value))});
        this.playButton = this.button("play", () => this.toggle());
        this.pace = h("select", {"aria-label": TEXT.replay.speed},
            ...Object.entries(TEXT.replay.speeds).map(([value, text]) => h("option", {value, selected: value === "10"}, text)));
        this.out = h("output", {class: "when"});
        holder.append(h("div", {class: "timeline"}, this.marks, this.slider),
            h("div", {class: "replay", role: "group", "aria-label": TEXT.replay.heading},
                this.button("previous", () => this.hop(-1)), this.button("back", () => this.step(-STEP_SECONDS)), this.playButton,
                this.button("forward", () => this.step(STEP_SECONDS)), this.button("next", () => this.hop(1)), this.pace, this.out));
        new ResizeObserver(() => this.draw()).observe(this.marks);
    }

    button(name, act) {
        return h("button", {type: "button", class: `step step-${name}`, data: {does: name}, "aria-label": TEXT.replay[name],
            title: TEXT.replay[name], onclick: act}, h("span", {class: `sign sign-${name}`, "aria-hidden": "true"}));
    }

    here() {
        return this.view.at ?? now();
    }

    step(by) {
        this.stop();
        this.go(this.here() + by);
    }

    /** To the neighbouring event. */
    hop(direction) {
        this.stop();
        const here = this.here();
        const next = direction > 0 ? this.history.entries.find((entry) => entry.at > here + 0.5)
            : this.history.entries.findLast((entry) => entry.at < here - 0.5);
        if (next) {
            this.view.pick(next.at);
        } else if (direction > 0) {
            this.view.live();
        }
    }

    go(at) {
        if (at >= now()) {
            this.stop();
            this.view.live();
        } else {
            this.view.pick(at);
        }
    }

    toggle() {
        if (this.playing) {
            this.stop();
            return;
        }
        if (this.view.at === null) {
            this.view.pick(this.view.from);
        }
        let before = performance.now();
        this.playing = setInterval(() => {
            const passed = performance.now() - before;
            before = performance.now();
            this.go(this.here() + (Number(this.pace.value) * passed) / 1000);
        }, FRAME_MS);
        this.showPlaying();
    }

    stop() {
        clearInterval(this.playing);
        this.playing = 0;
        this.showPlaying();
    }

    showPlaying() {
        const name = this.playing ? "pause" : "play";
        this.playButton.firstChild.className = `sign sign-${name}`;
        this.playButton.setAttribute("aria-label", TEXT.replay[name]);
        this.playButton.title = TEXT.replay[name];
    }

    draw() {
        const {from, to, at} = this.view;
        this.slider.min = Math.floor(from);
        this.slider.max = Math.ceil(to);
        this.slider.value = Math.round(at ?? to);
        const shown = dateAndTime(at ?? now());
        this.slider.setAttribute("aria-valuetext", at === null ? TEXT.live.live : shown);
        setText(this.out, at === null ? TEXT.live.live : shown);
        const groups = this.groups();
        const drawn = JSON.stringify(groups.map((group) => [group.left, group.entries.length, group.entries.at(-1).sequence]));
        if (drawn !== this.drawn) {
            this.drawn = drawn;
            this.marks.replaceChildren(...groups.map((group) => this.mark(group)));
        }
    }

    /** Events that would lie on each other are one mark. */
    groups() {
        const {from, to} = this.view;
        const width = this.marks.clientWidth;
        const groups = [];
        for (const entry of this.history.between(from, to)) {
            const left = Math.round(((entry.at - from) / (to - from)) * width);
            const last = groups.at(-1);
            if (last && left - last.left < MARK_PX) {
                last.entries.push(entry);
            } else {
                groups.push({left, entries: [entry]});
            }
        }
        return groups;
    }

    mark({left, entries}) {
        const worst = entries.reduce((one, other) => (WEIGHT[other.severity] >= WEIGHT[one.severity] ? other : one));
        const text = TEXT.time.mark(entries.length, `${heading(worst)}, ${moment(worst.at)}`);
        const mark = h("button", {type: "button", class: "event-mark", title: text, "aria-label": text, onclick: () => {
            this.stop();
            this.view.pick(worst.at);
        }}, severityIcon(worst.severity), entries.length > 1 && h("span", {class: "many"}, String(entries.length)));
        mark.style.left = `${left}px`;
        return mark;
    }
}
