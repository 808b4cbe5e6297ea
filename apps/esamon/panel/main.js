/** The front panel: what the monitor says, put together into the drawing, the plots, the events and the acts. */

import {Act} from "./act.js";
import {get, openStream} from "./api.js";
import {h, setText, stateIcon} from "./dom.js";
import {Drawing, plainLayout} from "./drawing.js";
import {describe, kindOf, title, titleOf} from "./elements.js";
import {adviceForElement, EventList} from "./events.js";
import {History} from "./history.js";
import {buildPage} from "./page.js";
import {Plots} from "./plots.js";
import {Readings} from "./readings.js";
import {TEXT} from "./text.js";
import {themeChoice} from "./theme.js";
import {Timeline} from "./timeline.js";
import {facts, Tip} from "./tip.js";
import {age, dateAndTime, now, seconds, stamp} from "./time.js";
import {View} from "./view.js";

const RETRY_MS = 2000;
const FIRST_EVENTS = 300;
const OLDER_EVENTS = 500;

const history = new History();
let advice = [];
let status = null; // the present one
let shown = null; // the one that is drawn: of the present, or of view.at
let connected = null;
let heard = 0; // when the age below was true
let monitor = null;
let chosen = new Set();
let plots = null;
let drawn = false;
const page = {config: null, layout: null, elements: new Map(), changed: () => redraw(), pick: (slots) => pickSlots(slots),
    isPast: () => view.at !== null};

const view = new View({moved: () => viewMoved(), picked: () => showMoment(), returned: () => returned()});
const parts = buildPage(themeChoice(() => plots?.repaint()), {
    range: (name) => view.choose(name), earlier: () => view.shift(-0.5), later: () => view.shift(0.5), zoomIn: () => view.zoom(0.5),
    zoomOut: () => view.zoom(2), reset: () => view.choose(parts.range.value),
});
const drawing = new Drawing(parts.drawing, choose);
const tip = new Tip(parts.drawing, (name) => {
    const element = page.elements.get(name);
    return element ? {element, since: history.since(name, view.at ?? now())} : null;
});
const readings = new Readings(view, (all) => plots.set(all), (text) => setText(parts.plotError, text && TEXT.time.failed(text)));
const timeline = new Timeline(parts.line, view, history);
const events = new EventList(parts.events, history, {see: (at) => see(at), older, link: copyLink});
const act = new Act(parts.act, page);

function see(at) {
    timeline.stop();
    view.pick(at);
    document.getElementById("enclosure").scrollIntoView({block: "nearest"});
}

async function copyLink(at) {
    const link = `${location.href.split("#")[0]}#at=${stamp(at)}`;
    try {
        await navigator.clipboard.writeText(link);
    } catch {
        // Where the clipboard is closed to pages, the address bar has the link.
        location.hash = `at=${stamp(at)}`;
    }
}

async function older() {
    const answer = await get("events", {before: history.entries[0]?.sequence, limit: OLDER_EVENTS});
    answer.events.forEach((entry) => history.take(entry));
    history.more = answer.more;
    timeline.draw();
}

/** A chassis that the page has no layout of is drawn all the same. */
async function layoutFor(config) {
    const name = config.chassis_name;
    const response = name && name !== "none" ? await fetch(`layouts/${name}.json`) : null;
    return response?.ok ? response.json() : plainLayout(config);
}

async function configure(config) {
    page.config = config;
    page.layout = await layoutFor(config);
    const texts = [config.vendor, config.product].map((text) => text.trim()).filter(Boolean).join(" ");
    setText(parts.name, texts ? `${texts} (${page.layout.title})` : page.layout.title);
    drawing.build(config, page.layout);
    act.setup();
    readings.configure(config);
    if (config.simulator && parts.hands.hidden) {
        parts.hands.hidden = false;
        (await import("./hands.js")).showHands(parts.hands);
    }
    if (shown) {
        redraw();
    }
}

function pickSlots(slots) {
    chosen = new Set(slots.map((slot) => `slot${String(slot).padStart(2, "0")}`));
    inspect();
}

/** One element, a range with Shift, another one besides with Ctrl; again to put it aside. */
function choose(name, event) {
    const drives = [...chosen].filter((each) => kindOf(each) === "drive");
    if (event.shiftKey && drives.length && kindOf(name) === "drive") {
        const all = [...page.elements.keys()].filter((each) => kindOf(each) === "drive");
        const [from, to] = [all.indexOf(drives[0]), all.indexOf(name)].sort((one, other) => one - other);
        chosen = new Set(all.slice(from, to + 1));
    } else if (chosen.has(name)) {
        chosen.delete(name);
    } else {
        chosen = event.ctrlKey || event.metaKey ? chosen.add(name) : new Set([name]);
    }
    act.take(chosen);
    inspect();
}

function inspect() {
    drawing.select(chosen);
    const names = [...chosen].filter((name) => page.elements.has(name));
    if (names.length === 0) {
        parts.inspector.replaceChildren(h("p", {class: "hint"}, TEXT.inspector.hint));
        return;
    }
    parts.inspector.replaceChildren(...names.slice(0, 16).map((name) => h("div", {class: "card"}, h("h3", null, title(name)),
        ...facts(page.elements.get(name), history.since(name, view.at ?? now())),
        kindOf(name) !== "lamp" && h("button", {type: "button", class: "quiet", onclick: () => events.filter("", "", name)},
            TEXT.inspector.showEvents))));
}

function redraw() {
    if (!shown || !page.layout) {
        return;
    }
    const at = view.at ?? now();
    page.elements = describe(shown, page.layout, history.told(at, page.layout, shown.state === "ok" && accepted().length === 0));
    for (const [name, element] of page.elements) {
        const note = drawing.noteOf(name);
        if (note) {
            element.notes.unshift(note);
        }
    }
    if (view.at === null) {
        act.confirm();
    }
    const old = view.at === null ? connected === false || monitor?.answering === false : missing;
    drawing.show(page.elements, view.at === null ? act.asked : new Map(), old);
    showState();
    inspect();
    if (!drawn) {
        drawn = true;
        performance.mark("drawn"); // the first meaningful picture, for whoever measures
    }
    if (tip.cell) {
        tip.refresh();
    }
}

function showState() {
    if (parts.state.dataset.state !== shown.state) {
        parts.state.dataset.state = shown.state;
        parts.state.replaceChildren(stateIcon(shown.state), TEXT.overall[shown.state]);
        document.title = `${TEXT.overall[shown.state]} – ${TEXT.title}`;
    }
    const drawn = JSON.stringify([shown.problems, accepted()]);
    if (parts.problems.dataset.drawn === drawn) {
        return;
    }
    parts.problems.dataset.drawn = drawn;
    const one = (problem, state, todo) => h("li", {data: {element: problem.element, state}}, stateIcon(state),
        h("div", null, h("p", null, h("strong", null, titleOf(problem.elements ?? [problem.element])), ` ${withoutName(problem)}`), todo));
    parts.problems.replaceChildren(...shown.problems.map((problem) => {
        const todo = adviceForElement(problem.element, advice);
        return one(problem, problem.state, todo && h("p", {class: "todo"}, TEXT.problems.todo, todo));
    }), ...accepted().map((problem) => one(problem, "ok", h("p", {class: "todo"}, TEXT.problems.accepted(dateAndTime(seconds(problem.until)))))));
    if (shown.problems.length === 0) {
        parts.problems.append(h("li", {class: "well"}, stateIcon("ok"), accepted().length ? TEXT.problems.noneElse : TEXT.problems.none));
    }
}

/** What somebody lives with for a while: it does not count. */
function accepted() {
    return shown.accepted ?? [];
}

/** The text of a problem begins with the elements' names, which stand before it in words already. */
function withoutName({element, elements, text}) {
    const name = elements?.length > 1 ? `${element}-${elements.at(-1)}` : element;
    return text.startsWith(`${name} `) ? text.slice(name.length + 1) : text;
}

/** How old what is on the screen is, and whether more will come. */
function showLive() {
    const old = monitor ? monitor.age_seconds + (performance.now() - heard) / 1000 : null;
    const state = view.at !== null ? "history" : connected === null ? "connecting" : !connected ? "lost"
        : monitor && !monitor.answering ? "silent" : "live";
    parts.live.dataset.live = state;
    const fresh = state === "live" && old !== null && old < 3 * monitor.poll_seconds;
    setText(parts.live, fresh ? TEXT.live.live
        : `${TEXT.live[state]} · ${old === null ? TEXT.live.noData : TEXT.live.age(age(old))}`);
    const banner = view.at !== null ? [(missing ? TEXT.replay.nothing : TEXT.replay.banner)(dateAndTime(view.at)), missing ? "lost" : "history"]
        : (state === "lost" || state === "silent") && old !== null ? [TEXT.stale(age(old)), "lost"] : ["", "history"];
    parts.banner.hidden = !banner[0];
    parts.banner.dataset.kind = banner[1];
    if (parts.banner.dataset.said !== banner[0]) {
        parts.banner.dataset.said = banner[0];
        parts.banner.replaceChildren(banner[0], view.at !== null ? h("button", {type: "button", onclick: () => {
            timeline.stop();
            view.live();
        }}, TEXT.replay.live) : "");
    }
}

function viewMoved() {
    plots?.move();
    timeline.draw();
    readings.want();
}

let asking = false;
let missing = false; // nothing is kept of the moment that is asked for: what is drawn is of another one

/** Draws the enclosure as it was. One question at a time: a replay goes on to the moment that is wanted by then. */
async function showMoment() {
    window.history.replaceState(null, "", `#at=${stamp(view.at)}`);
    plots?.move();
    timeline.draw();
    showLive();
    if (asking) {
        return;
    }
    asking = true;
    for (let at = null; view.at !== null && view.at !== at;) {
        at = view.at;
        await showThen(at);
    }
    asking = false;
}

async function showThen(at) {
    try {
        const past = await get("status", {at: at.toFixed(3)});
        if (view.at !== null) {
            shown = past;
            missing = false;
            redraw();
        }
    } catch (error) {
        missing = error.status === 404;
        setText(parts.plotError, missing ? "" : error.message);
        redraw();
    }
    showLive();
}

function returned() {
    window.history.replaceState(null, "", location.pathname);
    setText(parts.plotError, "");
    shown = status;
    redraw();
    viewMoved();
    showLive();
}

function hear(document) {
    if (document.monitor) {
        monitor = document.monitor;
        heard = performance.now();
    }
}

const receive = {
    status: (body) => {
        status = body;
        hear(body);
        readings.append(body);
        if (view.at === null) {
            shown = body;
            redraw();
        }
        showLive();
    },
    alive: (body) => {
        hear(body);
        showLive();
    },
    config: (body) => configure(body),
    event: (entry) => {
        history.take(entry);
        scheduleEvents();
    },
    repeat: (entry) => {
        history.take(entry);
        scheduleEvents();
    },
};

let scheduled = false;
/** Many entries that come together are drawn together. */
function scheduleEvents() {
    if (!scheduled) {
        scheduled = true;
        requestAnimationFrame(() => {
            scheduled = false;
            events.draw();
            timeline.draw();
            redraw();
        });
    }
}

function follow(hash) {
    const at = Date.parse(new URLSearchParams(hash.slice(1)).get("at")) / 1000;
    if (Number.isFinite(at)) {
        view.pick(at);
    }
}

/** The plotting library comes after the first picture: nobody looks at curves before the enclosure. */
function loadLibrary() {
    return new Promise((resolve) => document.head.append(h("script", {src: "uplot.js", onload: resolve, onerror: resolve})));
}

async function begin() {
    try {
        // A monitor that has just begun has no status yet; the stream brings it.
        const [config, first, past, faults, rows] = await Promise.all([get("config"), get("status").catch(() => null),
            get("events", {limit: FIRST_EVENTS}), get("events", {type: "composite-fault-led", limit: 20}),
            fetch("advice.json").then((response) => response.json())]);
        events.advice = advice = rows;
        [...faults.events, ...past.events].forEach((entry) => history.take(entry));
        history.more = past.more;
        await configure(config);
        if (first) {
            receive.status(first);
        }
    } catch {
        setText(parts.drawing, TEXT.cannotLoad);
        setTimeout(begin, RETRY_MS);
        return;
    }
    listen();
    events.draw();
    timeline.draw();
    follow(location.hash);
    await loadLibrary();
    plots = new Plots(parts.plots, view);
    readings.load();
}

function listen() {
    openStream((kind, body) => receive[kind](body), (is) => {
        connected = is;
        showLive();
        redraw();
        if (is && plots) {
            readings.load();
        }
    }).seen(history.entries.at(-1)?.sequence ?? 0);
    setInterval(() => {
        showLive();
        view.tick();
    }, 1000);
}

addEventListener("hashchange", () => follow(location.hash));
begin();
