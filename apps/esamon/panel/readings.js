/** Readings of the part of time that is looked at: asked for once, then continued from what arrives. */

import {get} from "./api.js";
import {NAME} from "./elements.js";
import {seconds} from "./time.js";

const SETTLE_MS = 250;
// Up to here every poll is a point; longer parts of time are asked for again now and then.
const RAW_SECONDS = 6 * 3600;
const REFRESH_MS = 60000;
const MARGIN = 0.25; // asked for at each side, so that a small pan needs no question

export class Readings {
    constructor(view, show, failed) {
        Object.assign(this, {view, show, failed});
        this.all = null;
        this.names = "";
    }

    configure(config) {
        const list = (kind, count) => Array.from({length: count}, (_, index) => NAME[kind](index));
        this.names = [...list("temperature", config.temperatures), ...list("fan", config.fans)].join();
        if (this.all) {
            this.load();
        }
    }

    /** Asks again where what is looked at lies outside of what is there, once the view stands still. */
    want() {
        const {from, to, following} = this.view;
        const width = to - from;
        const wider = this.loaded && width > 2.5 * this.loaded.width;
        const closer = this.loaded && this.loaded.step > 0 && width < 0.4 * this.loaded.width;
        const outside = this.loaded && (from < this.loaded.from - 1 || (!following && to > this.loaded.to + 1 && !this.loaded.live));
        const stale = this.loaded && following && width > RAW_SECONDS && performance.now() - this.loaded.when > REFRESH_MS;
        if (wider || closer || outside || stale) {
            clearTimeout(this.timer);
            this.timer = setTimeout(() => this.load(), SETTLE_MS);
        }
    }

    async load() {
        const {from, to, following} = this.view;
        const width = to - from;
        const part = {from: from - MARGIN * width, to: following ? to : to + MARGIN * width, width, live: following, when: performance.now()};
        try {
            const answer = await get("readings", {element: this.names, since: part.from.toFixed(3), until: part.to.toFixed(3)});
            this.loaded = {...part, step: answer.step};
            this.all = answer;
            this.failed("");
            this.show(answer);
        } catch (error) {
            this.failed(error.message);
        }
    }

    /** Continues the series with a status that has just arrived. */
    append(status) {
        if (!this.all || !this.loaded.live || this.view.to - this.view.from > RAW_SECONDS || status.monitor?.answering === false) {
            return;
        }
        const at = seconds(status.time);
        const values = new Map([...status.temperatures.map((each) => [each.name, each.celsius]), ...status.fans.map((each) => [each.name, each.rpm])]);
        for (const series of this.all.series) {
            const last = series.points.at(-1)?.[0] ?? 0;
            if (values.has(series.name) && at > last) {
                const value = values.get(series.name);
                series.points.push([at, value, value, value]);
                while (series.points.length > 2 && series.points[1][0] < this.loaded.from) {
                    series.points.shift();
                }
            }
        }
        this.show(this.all);
    }
}
