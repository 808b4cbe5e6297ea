/** What happened, newest first: with the count, the moment, what to do about it, and a link to send on. */

import {h, setText} from "./dom.js";
import {kindOf, title} from "./elements.js";
import {keyOf} from "./history.js";
import {TEXT} from "./text.js";
import {heading, kindHeading, severityIcon} from "./timeline.js";
import {dateAndTime, moment, seconds, stamp} from "./time.js";

const SHOWN = 100;
const NOT_EVENTS = {supply: "6", fan: "7", temperature: "8"};

/** What operations.md says about an entry, or the panel's own word where that has none. */
export function adviceFor(entry, advice) {
    if (entry.schema === "esactl.event") {
        const row = advice.find((each) => each.id === entry.id && (each.severity ?? entry.severity) === entry.severity &&
            (each.information ?? entry.data.information) === entry.data.information);
        return row?.todo ?? null;
    }
    if (entry.name === "state-change" && (entry.to === "fault" || entry.to === "warning")) {
        return adviceForElement(entry.elements[0], advice);
    }
    return TEXT.events.advice[keyOf(entry)] ?? null;
}

export function adviceForElement(name, advice) {
    const id = NOT_EVENTS[kindOf(name)];
    return advice.find((each) => String(each.id) === id && (each.severity ?? "warning") === "warning")?.todo ?? null;
}

export class EventList {
    /** `act`: {see(at), older(), link(at)}. */
    constructor(holder, history, act) {
        this.history = history;
        this.act = act;
        this.advice = [];
        this.rows = new Map();
        this.shown = SHOWN;
        this.severity = this.choice(TEXT.events.severity, TEXT.events.severities);
        this.kind = this.choice(TEXT.events.kindLabel, {});
        this.element = this.choice(TEXT.events.elementLabel, {});
        this.counted = h("p", {class: "counted", role: "status"});
        this.list = h("ol", {class: "events"});
        this.older = h("button", {type: "button", class: "older", hidden: true, onclick: () => this.showOlder()}, TEXT.events.more);
        holder.append(h("div", {class: "filters"}, ...[this.severity, this.kind, this.element].map((each) => each.label),
            h("button", {type: "button", onclick: () => this.filter("", "", "")}, TEXT.events.reset)), this.counted, this.list, this.older);
    }

    choice(text, options) {
        const select = h("select", {onchange: () => this.draw()});
        const label = h("label", null, h("span", null, text), select);
        const choice = {label, select, known: new Set()};
        this.offer(choice, "", TEXT.events.all);
        Object.entries(options).forEach(([value, name]) => this.offer(choice, value, name));
        return choice;
    }

    offer(choice, value, name) {
        if (!choice.known.has(value)) {
            choice.known.add(value);
            choice.select.append(h("option", {value}, name));
        }
    }

    filter(severity, kind, element) {
        if (element) {
            this.offer(this.element, element, title(element));
        }
        this.severity.select.value = severity;
        this.kind.select.value = kind;
        this.element.select.value = element;
        this.draw();
    }

    matches(entry) {
        const {severity, kind, element} = this;
        return (!severity.select.value || entry.severity === severity.select.value) &&
            (!kind.select.value || keyOf(entry) === kind.select.value) &&
            (!element.select.value || entry.elements.includes(element.select.value));
    }

    draw() {
        for (const entry of this.history.entries) {
            this.offer(this.kind, keyOf(entry), kindHeading(entry));
            entry.elements.forEach((name) => this.offer(this.element, name, title(name)));
        }
        const all = this.history.entries;
        const matching = all.filter((entry) => this.matches(entry));
        setText(this.counted, all.length === 0 ? TEXT.events.none : matching.length === 0 ? TEXT.events.noneMatch
            : TEXT.events.counted(matching.length, all.length));
        const rows = matching.slice(-this.shown).reverse().map((entry) => this.row(entry));
        // Rows that stay are not touched: a button in one of them keeps the focus.
        rows.forEach((row, index) => this.list.children[index] !== row && this.list.insertBefore(row, this.list.children[index] ?? null));
        while (this.list.children.length > rows.length) {
            this.list.lastChild.remove();
        }
        this.older.hidden = !this.history.more && matching.length <= this.shown;
    }

    async showOlder() {
        this.shown += SHOWN;
        if (this.history.more) {
            await this.act.older();
        }
        this.draw();
    }

    row(entry) {
        const version = `${entry.count} ${entry.last_time}`;
        const old = this.rows.get(entry.sequence);
        if (old?.version === version) {
            return old.row;
        }
        const row = this.build(entry);
        this.rows.set(entry.sequence, {row, version});
        return row;
    }

    build(entry) {
        const advice = adviceFor(entry, this.advice);
        const repeated = entry.count > 1;
        return h("li", {class: `event event-${entry.severity}`, data: {sequence: entry.sequence, name: entry.name}},
            h("span", {class: "weight"}, severityIcon(entry.severity), h("span", {class: "said"}, TEXT.events.severities[entry.severity])),
            h("div", {class: "what"},
                h("p", {class: "title"}, h("strong", null, heading(entry)),
                    repeated && h("span", {class: "count"}, TEXT.events.count(entry.count))),
                h("p", {class: "text"}, entry.text),
                entry.elements.length > 0 && h("p", {class: "chips"}, ...entry.elements.map((name) => h("button",
                    {type: "button", class: "chip", onclick: () => this.filter("", "", name)}, title(name)))),
                advice && h("details", null, h("summary", null, TEXT.events.todo), h("p", {class: "advice"}, advice))),
            h("div", {class: "moment-of"},
                h("button", {type: "button", class: "see", title: TEXT.events.see, "aria-label": `${TEXT.events.see}: ${dateAndTime(entry.at)}`,
                    onclick: () => this.act.see(entry.at)}, h("time", {datetime: stamp(entry.at)}, moment(entry.at))),
                repeated && h("span", {class: "last"}, TEXT.events.last(moment(seconds(entry.last_time)))),
                this.linkButton(entry)));
    }

    linkButton(entry) {
        const button = h("button", {type: "button", class: "link", "aria-label": `${TEXT.events.link}: ${dateAndTime(entry.at)}`,
            title: TEXT.events.link, onclick: async () => {
                await this.act.link(entry.at);
                setText(button, TEXT.events.linked);
                setTimeout(() => setText(button, "#"), 1500);
            }}, "#");
        return button;
    }
}
