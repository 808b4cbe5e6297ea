/** Temperatures and speeds over time, with their limits drawn in; the events of that time as marks between them. */

import {h, setText} from "./dom.js";
import {title} from "./elements.js";
import {TEXT} from "./text.js";
import {dateAndTime, timeOfDay} from "./time.js";

/* global uPlot */

const PLOTS = {
    temperature: {heading: TEXT.time.temperatures, unit: TEXT.time.celsius, floor: (least) => Math.min(15, least - 3), ceiling: (most) => Math.max(65, most + 4)},
    speed: {heading: TEXT.time.speeds, unit: TEXT.time.rpm, floor: () => 0, ceiling: (most) => Math.max(3000, most * 1.1)},
};
// Line styles tell the series apart where colours do not.
const DASHES = [[], [8, 4], [2, 3], [10, 3, 2, 3], [5, 2], [1, 2], [12, 4], [6, 2, 2, 2]];
const HEIGHT = 200;
export const LEAST_SPAN = 20; // seconds

/** A colour of the theme, resolved for the canvas. */
function colour(name) {
    const probe = h("span", {class: "probe"});
    probe.style.color = `var(--${name})`;
    document.body.append(probe);
    const value = getComputedStyle(probe).color;
    probe.remove();
    return value;
}

/** Series of their own times as one table: undefined where a series has no point at a time, null where it had no reading. */
export function align(series) {
    const times = [...new Set(series.flatMap((each) => each.points.map((point) => point[0])))].sort((one, other) => one - other);
    const row = new Map(times.map((time, index) => [time, index]));
    const columns = series.map((each) => {
        const column = new Array(times.length).fill(undefined);
        for (const point of each.points) {
            column[row.get(point[0])] = point[2];
        }
        return column;
    });
    return [times, ...columns];
}

class Plot {
    constructor(holder, quantity, view) {
        this.quantity = quantity;
        this.text = PLOTS[quantity];
        this.view = view;
        this.canvas = h("div", {class: "canvas", role: "img"});
        this.legend = h("div", {class: "legend"});
        this.series = [];
        this.hidden = new Set();
        holder.append(h("section", {class: "plot", data: {plot: quantity}},
            h("h3", null, this.text.heading, " ", h("small", null, this.text.unit)), this.legend, this.canvas));
        new ResizeObserver(() => this.fit()).observe(this.canvas);
    }

    set(series) {
        const names = series.map((each) => each.name).join();
        this.series = series;
        if (names !== this.names || !this.plot) {
            this.names = names;
            this.make();
        }
        this.plot.setData(align(series), false);
        this.rescale();
        this.describe();
    }

    make() {
        this.plot?.destroy();
        const ink = colour("ink-soft");
        const grid = {stroke: colour("line"), width: 1};
        const axis = {stroke: ink, grid, ticks: grid, font: "12px system-ui, sans-serif"};
        const options = {
            width: Math.max(200, this.canvas.clientWidth),
            height: HEIGHT,
            legend: {show: false},
            cursor: {y: false, drag: {x: true, y: false, setScale: false}, bind: {mousedown: (plot, target, handle) => this.press(handle)},
                sync: {key: "time"}, points: {size: 7}},
            scales: {x: {time: true, auto: false}, y: {auto: false}},
            axes: [{...axis, size: 32, space: 80, values: timeTicks()}, {...axis, size: 60}],
            series: [{}, ...this.series.map((each, index) => ({
                label: each.name, stroke: colour(`series-${index % 8}`), width: 2, dash: DASHES[index % 8],
                show: !this.hidden.has(each.name), points: {show: false},
            }))],
            hooks: {draw: [(plot) => this.limits(plot), (plot) => this.cursor(plot)], setSelect: [(plot) => this.zoom(plot)]},
        };
        this.plot = new uPlot(options, align(this.series), this.canvas);
        this.plot.over.addEventListener("click", (event) => this.click(event));
        this.keys();
    }

    /** Shift and drag pans; else the library's own drag chooses a part. */
    press(handle) {
        return (event) => {
            if (event.button === 0 && event.shiftKey) {
                this.pan(event);
            } else {
                this.pressed = event.clientX;
                handle(event);
            }
        };
    }

    pan(start) {
        const {from, to} = this.view;
        const each = (to - from) / this.plot.over.clientWidth;
        const move = (event) => this.view.set(from - (event.clientX - start.clientX) * each, to - (event.clientX - start.clientX) * each);
        addEventListener("pointermove", move);
        addEventListener("pointerup", () => removeEventListener("pointermove", move), {once: true});
    }

    click(event) {
        if (!event.shiftKey && Math.abs(event.clientX - this.pressed) < 4) {
            this.view.pick(this.plot.posToVal(event.offsetX, "x"));
        }
    }

    zoom(plot) {
        const {left, width} = plot.select;
        if (width > 5) {
            this.view.set(plot.posToVal(left, "x"), plot.posToVal(left + width, "x"));
        }
        plot.setSelect({left: 0, width: 0, top: 0, height: 0}, false);
    }

    rescale() {
        const shown = this.series.filter((each) => !this.hidden.has(each.name));
        const values = shown.flatMap((each) => each.points).filter((point) => point[2] !== null && point[0] >= this.view.from - 60)
            .map((point) => point[2]);
        const least = Math.min(...values, Infinity);
        const most = Math.max(...values, -Infinity);
        this.plot.batch(() => {
            this.plot.setScale("x", {min: this.view.from, max: this.view.to});
            this.plot.setScale("y", {min: this.text.floor(least), max: this.text.ceiling(most)});
        });
    }

    limits(plot) {
        const {ctx, bbox} = plot;
        const seen = new Map(this.series.flatMap((each) => Object.entries(each.limits)).map(([name, value]) => [value, name]));
        ctx.save();
        ctx.font = `${11 * devicePixelRatio}px system-ui, sans-serif`;
        ctx.textAlign = "left";
        ctx.lineWidth = 1.5 * devicePixelRatio;
        for (const [value, name] of seen) {
            const y = Math.round(plot.valToPos(value, "y", true));
            if (y <= bbox.top || y >= bbox.top + bbox.height) {
                continue;
            }
            ctx.strokeStyle = ctx.fillStyle = colour(name.endsWith("warning") ? "warning-ink" : "fault-ink");
            ctx.setLineDash(name.endsWith("warning") ? [4, 6] : [10, 5]);
            ctx.beginPath();
            ctx.moveTo(bbox.left, y);
            ctx.lineTo(bbox.left + bbox.width, y);
            ctx.stroke();
            this.label(plot, `${TEXT.time.limits[name] ?? name} ${value} ${this.text.unit}`, y);
        }
        ctx.restore();
    }

    /** On a ground of its own: curves run through it. */
    label({ctx, bbox}, text, y) {
        const dot = devicePixelRatio;
        const ink = ctx.fillStyle;
        const width = ctx.measureText(text).width + 8 * dot;
        ctx.fillStyle = colour("panel");
        ctx.fillRect(bbox.left + 4 * dot, y - 8 * dot, width, 16 * dot);
        ctx.fillStyle = ink;
        ctx.fillText(text, bbox.left + 8 * dot, y + 4 * dot);
    }

    /** The moment that the drawing shows, while it is not the present. */
    cursor(plot) {
        if (this.view.at === null || this.view.at < this.view.from || this.view.at > this.view.to) {
            return;
        }
        const {ctx, bbox} = plot;
        const x = plot.valToPos(this.view.at, "x", true);
        ctx.save();
        ctx.strokeStyle = colour("accent");
        ctx.lineWidth = 2 * devicePixelRatio;
        ctx.beginPath();
        ctx.moveTo(x, bbox.top);
        ctx.lineTo(x, bbox.top + bbox.height);
        ctx.stroke();
        ctx.restore();
    }

    /** A legend of buttons: what is shown, by keyboard too. */
    keys() {
        this.legend.replaceChildren(...this.series.map((each, index) => {
            const button = h("button", {type: "button", class: "key", "aria-pressed": String(!this.hidden.has(each.name)),
                onclick: () => this.toggle(each.name, index, button)},
            h("span", {class: `swatch swatch-${index % 8}`, "aria-hidden": "true"}), title(each.element), h("output", null));
            return button;
        }));
    }

    toggle(name, index, button) {
        const show = this.hidden.delete(name);
        if (!show) {
            this.hidden.add(name);
        }
        button.setAttribute("aria-pressed", String(show));
        this.plot.setSeries(index + 1, {show});
        this.rescale();
    }

    describe() {
        const parts = this.series.map((each, index) => {
            const values = each.points.map((point) => point[2]).filter((value) => value !== null);
            const last = values.at(-1);
            setText(this.legend.children[index].lastChild, last === undefined ? "" : `${Math.round(last)}`);
            return values.length ? TEXT.time.summary(title(each.element), this.text.unit, Math.round(Math.min(...values)), Math.round(Math.max(...values)))
                : `${title(each.element)}: ${TEXT.time.empty}`;
        });
        this.canvas.setAttribute("aria-label",
            TEXT.time.plotLabel(this.text.heading, `${dateAndTime(this.view.from)} – ${dateAndTime(this.view.to)}`, parts.join("; ")));
    }

    fit() {
        const width = this.canvas.clientWidth;
        if (this.plot && width > 100 && width !== this.plot.width) {
            this.plot.setSize({width, height: HEIGHT});
        }
    }
}

/** Hours of a day of 24, whatever the library's own language. */
function timeTicks() {
    return (plot, splits, axis, space, step) => splits.map((at) => {
        if (step >= 86400) {
            return new Date(at * 1000).toLocaleDateString(undefined, {day: "numeric", month: "short"});
        }
        return step >= 60 ? timeOfDay(at).slice(0, 5) : timeOfDay(at);
    });
}

export class Plots {
    /** `view`: {from, to, at, set(from, to), pick(at)}. */
    constructor(holder, view) {
        this.view = view;
        this.all = Object.keys(PLOTS).map((quantity) => new Plot(holder, quantity, view));
    }

    set(readings) {
        for (const plot of this.all) {
            plot.set(readings.series.filter((each) => each.quantity === plot.quantity));
        }
    }

    /** Colours come from the theme and are part of the canvas. */
    repaint() {
        this.all.forEach((plot) => plot.plot && (plot.make(), plot.rescale(), plot.describe()));
    }

    move() {
        this.all.forEach((plot) => plot.plot && (plot.rescale(), plot.plot.redraw(false)));
    }
}

export function clampSpan(from, to) {
    const middle = (from + to) / 2;
    return to - from < LEAST_SPAN ? [middle - LEAST_SPAN / 2, middle + LEAST_SPAN / 2] : [from, to];
}
