/** The enclosure as it stands in the rack: every element of the configuration at its place in the chassis' layout. */

import {glyph, h, place, s, setIcon, setText} from "./dom.js";
import {indexOf, LIST, NAME, stateText, title} from "./elements.js";
import {TEXT} from "./text.js";

const GAP = 2.4; // millimetres between cells
// The least that a finger hits and an eye reads, in CSS pixels: width, height.
const LEAST = {drive: [25, 26], supply: [48, 44], fan: [38, 52], temperature: [52, 26], alarm: [24, 32], lamp: [24, 25]};
const PER_TURN_MS = 3600000; // at one RPM: 6000 RPM is shown as a turn in 0.6 s, which an eye can follow

const still = matchMedia("(prefers-reduced-motion: reduce)");

const BELL = "M12 3a6 6 0 0 0-6 6v5l-2 3h16l-2-3V9a6 6 0 0 0-6-6Zm-2 16a2 2 0 0 0 4 0";
const PLUG = "M8 3v5m8-5v5M6 8h12v3a6 6 0 0 1-12 0Zm6 9v4";
const BULB = "M12 3a6 6 0 0 0-3 11v3h6v-3a6 6 0 0 0-3-11Zm-2 17h4";
const BLADE = "M0-5C9-20 25-21 28-35A44 44 0 0 0-13-43C-17-29-9-17 0-5Z";

function rotor() {
    const blades = [0, 72, 144, 216, 288].map((angle) => s("path", {d: BLADE, transform: `rotate(${angle})`}));
    const svg = s("svg", {viewBox: "-50 -50 100 100", "aria-hidden": "true"},
        s("g", {class: "blades"}, ...blades), s("circle", {class: "hub", r: 12}), s("circle", {class: "hub-dot", cx: 5, cy: -5, r: 2.5}));
    return h("span", {class: "rotor"}, svg);
}

/** Turns at a pace that follows the speed; a change of the rate does not make the blades jump. */
function turn(cell, rpm) {
    cell.turning ??= cell.querySelector(".rotor").animate([{transform: "rotate(0)"}, {transform: "rotate(360deg)"}],
        {duration: 1000, iterations: Infinity});
    if (still.matches || rpm <= 0) {
        cell.turning.pause();
        return;
    }
    cell.turning.updatePlaybackRate((1000 * rpm) / PER_TURN_MS);
    if (cell.turning.playState !== "running") {
        cell.turning.play();
    }
}

const INSIDE = {
    drive: () => [h("span", {class: "led"}), h("span", {class: "short"})],
    fan: () => [h("span", {class: "duct"}, rotor()), h("span", {class: "short", data: {unit: TEXT.time.rpm}})],
    supply: () => [glyph("plug", PLUG), h("span", {class: "short"})],
    temperature: () => [h("span", {class: "short"})],
    alarm: () => [wide(glyph("bell", BELL))],
    lamp: () => [wide(h("span", {class: "bulb"}, glyph("bulb", BULB)))],
};

/** Picture and word, side by side where the cell is wide enough. */
function wide(picture) {
    return h("span", {class: "wide"}, picture, h("span", {class: "short"}));
}

function makeCell(name, kind) {
    const number = kind === "lamp" || kind === "alarm" ? null : h("span", {class: "number"}, String(indexOf(name)));
    return h("button", {type: "button", class: `cell cell-${kind}`, data: {element: name, kind}, tabindex: "-1", "aria-pressed": "false"},
        // The name says in words what the parts show; they are not read out besides.
        h("span", {class: "said"}), h("span", {class: "seen", "aria-hidden": "true"}, number, ...INSIDE[kind](), h("span", {class: "mark"})));
}

/** The boxes of an item's cells, first to last. */
function cells(item) {
    const count = item.count ?? 1;
    const columns = item.columns ?? 1;
    const rows = Math.ceil(count / columns);
    const w = (item.w - GAP * (columns - 1)) / columns;
    const tall = (item.h - GAP * (rows - 1)) / rows;
    return Array.from({length: count}, (_, each) => {
        const byRow = item.order !== "columns";
        const column = byRow ? each % columns : Math.floor(each / rows);
        const row = byRow ? Math.floor(each / columns) : each % rows;
        return {x: item.x + column * (w + GAP), y: item.y + row * (tall + GAP), w, h: tall};
    });
}

function nameOf(item, each) {
    return item.kind === "lamp" ? item.name : NAME[item.kind](item.first + each);
}

/** For an enclosure without a layout: each kind in a row of its own, so that nothing is left out. */
export function plainLayout(config) {
    const items = [];
    let y = 8;
    for (const [kind, list] of Object.entries(LIST)) {
        const count = config[list];
        if (count) {
            const columns = Math.min(count, kind === "drive" ? 8 : 4);
            const tall = Math.ceil(count / columns) * (kind === "fan" ? 44 : 26);
            items.push({kind, first: 0, count, columns, order: "rows", x: 20, y, w: 443, h: tall});
            y += tall + 6;
        }
    }
    items.push({kind: "lamp", name: "composite", x: 20, y, w: 60, h: 26});
    return {title: TEXT.unknownChassis, driveLeds: true, presence: true, suppliesTogether: "both",
        faces: [{side: "front", width: 483, height: y + 34, items}]};
}

/** What the configuration has and the layout does not place. */
function leftOver(config, placed) {
    const names = Object.entries(LIST).flatMap(([kind, list]) => Array.from({length: config[list]}, (_, each) => NAME[kind](each)));
    return names.filter((name) => !placed.has(name));
}

export class Drawing {
    /** `choose(name, event)` when an element is activated. */
    constructor(holder, choose) {
        this.holder = holder;
        this.choose = choose;
        this.cells = new Map();
        holder.addEventListener("click", (event) => this.activate(event));
        holder.addEventListener("keydown", (event) => this.walk(event));
        still.addEventListener("change", () => this.cells.forEach((cell) => cell.rpm !== undefined && turn(cell, cell.rpm)));
    }

    build(config, layout) {
        this.cells.clear();
        const counts = Object.fromEntries(Object.entries(LIST).map(([kind, list]) => [kind, config[list]]));
        const faces = layout.faces.map((face) => this.face(face, counts));
        const rest = leftOver(config, this.cells);
        if (rest.length) {
            faces.push(this.rest(rest));
        }
        this.holder.replaceChildren(...faces);
        const first = this.cells.values().next().value;
        first?.setAttribute("tabindex", "0");
    }

    face(face, counts) {
        const plate = h("div", {class: "plate", role: "group", "aria-label": TEXT.faceLabel(face.side), data: {side: face.side}});
        let width = 0;
        let height = 0;
        for (const item of face.items) {
            cells(item).forEach((box, each) => {
                const known = item.kind === "lamp" || item.first + each < counts[item.kind];
                const name = nameOf(item, each);
                const cell = known ? makeCell(name, item.kind) : h("span", {class: "blank"}, TEXT.blank);
                place(cell, box, face);
                plate.append(cell);
                if (known) {
                    this.cells.set(name, cell);
                    cell.note = TEXT.label[item.label];
                }
                const [least, low] = LEAST[item.kind];
                width = Math.max(width, (least * face.width) / box.w);
                height = Math.max(height, (low * face.height) / box.h);
            });
        }
        plate.style.aspectRatio = `${face.width} / ${face.height}`;
        plate.style.minWidth = `${Math.min(width, 620)}px`;
        plate.style.minHeight = `${height}px`;
        return h("figure", {class: "face"}, h("figcaption", null, TEXT.side[face.side]),
            h("div", {class: "rack"}, h("span", {class: "ear"}), plate, h("span", {class: "ear"})));
    }

    rest(names) {
        const plate = h("div", {class: "plate plate-rest", role: "group", "aria-label": TEXT.side.rest});
        for (const name of names) {
            const kind = Object.keys(NAME).find((each) => NAME[each](indexOf(name)) === name);
            const cell = makeCell(name, kind);
            this.cells.set(name, cell);
            plate.append(cell);
        }
        return h("figure", {class: "face"}, h("figcaption", null, TEXT.side.rest), plate);
    }

    /** Shows the descriptions. `asked`: slots whose LED somebody here has asked for and the adapter has not confirmed. */
    show(all, asked, old) {
        this.holder.classList.toggle("old", old);
        for (const [name, cell] of this.cells) {
            const element = all.get(name);
            if (element) {
                this.showCell(cell, element, asked.has(name));
            }
        }
    }

    showCell(cell, element, asked) {
        cell.dataset.state = element.state;
        setText(cell.querySelector(".short"), element.short);
        setIcon(cell.querySelector(".mark"), element.state);
        const said = `${title(element.name)}: ${stateText(element.name, element.state)}, ${element.value}${asked ? `, ${TEXT.element.ledAsked}` : ""}`;
        setText(cell.querySelector(".said"), said);
        if (element.kind === "drive") {
            cell.dataset.present = String(element.present);
            cell.dataset.led = asked ? "asked" : element.led === null ? "none" : element.led ? "on" : "off";
        } else if (element.kind === "fan") {
            cell.rpm = element.rpm;
            cell.querySelector(".short").classList.toggle("bare", element.read === false);
            turn(cell, element.rpm);
        } else if (element.kind === "lamp") {
            cell.dataset.on = String(element.on);
        } else if (element.kind === "alarm") {
            cell.dataset.sounds = String(element.sounds);
        }
    }

    /** What only the place of an element tells, such as its bank. */
    noteOf(name) {
        return this.cells.get(name)?.note;
    }

    select(names) {
        for (const [name, cell] of this.cells) {
            cell.setAttribute("aria-pressed", String(names.has(name)));
        }
    }

    activate(event) {
        const cell = event.target.closest(".cell");
        if (cell) {
            this.hold(cell);
            this.choose(cell.dataset.element, event);
        }
    }

    /** One stop of the Tab key for the drawing; the arrow keys go on from there. */
    hold(cell) {
        this.holder.querySelector('.cell[tabindex="0"]')?.setAttribute("tabindex", "-1");
        cell.setAttribute("tabindex", "0");
        cell.focus();
    }

    walk(event) {
        const here = event.target.closest(".cell");
        const step = {ArrowRight: [1, 0], ArrowLeft: [-1, 0], ArrowDown: [0, 1], ArrowUp: [0, -1]}[event.key];
        if (!here || event.ctrlKey || event.altKey || event.metaKey) {
            return;
        }
        const list = [...this.cells.values()];
        if (event.key === "Home" || event.key === "End") {
            event.preventDefault();
            this.hold(event.key === "Home" ? list[0] : list[list.length - 1]);
        } else if (step) {
            event.preventDefault();
            const next = nearest(here, list, step);
            if (next) {
                this.hold(next);
            }
        }
    }
}

/** The next cell in a direction, by what a person sees: ahead, and as little aside as possible. */
function nearest(here, list, [dx, dy]) {
    const centre = (cell) => {
        const box = cell.getBoundingClientRect();
        return [box.left + box.width / 2, box.top + box.height / 2];
    };
    const [x, y] = centre(here);
    let best = null;
    let least = Infinity;
    for (const cell of list) {
        const [otherX, otherY] = centre(cell);
        const ahead = dx * (otherX - x) + dy * (otherY - y);
        const aside = Math.abs(dy * (otherX - x)) + Math.abs(dx * (otherY - y));
        const cost = ahead + 3 * aside;
        if (cell !== here && ahead > 4 && cost < least) {
            least = cost;
            best = cell;
        }
    }
    return best;
}
