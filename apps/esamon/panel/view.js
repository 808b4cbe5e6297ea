/** The part of time that the plots show, and the moment that the drawing shows. */

import {clampSpan, LEAST_SPAN} from "./plots.js";
import {now, span} from "./time.js";

export class View {
    constructor({moved, picked, returned}) {
        Object.assign(this, {moved, picked, returned});
        this.range = "10m";
        this.at = null; // null: the present
        this.following = true; // the right end is the present
        this.to = now();
        this.from = this.to - span(this.range);
    }

    choose(range) {
        this.range = range;
        this.following = this.at === null;
        const to = this.at === null ? now() : Math.min(now(), this.at + span(range) / 2);
        this.apply(to - span(range), to);
    }

    set(from, to) {
        this.following = false;
        this.apply(...clampSpan(from, to));
    }

    apply(from, to) {
        const past = Math.max(0, to - now());
        this.from = from - past;
        this.to = to - past;
        this.moved();
    }

    shift(share) {
        const width = this.to - this.from;
        this.set(this.from + share * width, this.to + share * width);
    }

    /** About the moment that is shown; the present stays where it is. */
    zoom(factor) {
        if (this.following) {
            this.apply(this.to - Math.max(LEAST_SPAN, (this.to - this.from) * factor), this.to);
            return;
        }
        const middle = this.at ?? (this.from + this.to) / 2;
        this.set(middle - (middle - this.from) * factor, middle + (this.to - middle) * factor);
    }

    pick(at) {
        this.at = Math.min(at, now());
        this.following = false;
        if (this.at < this.from || this.at > this.to) {
            const width = this.to - this.from;
            this.apply(this.at - width / 2, this.at + width / 2);
        }
        this.picked();
    }

    live() {
        this.at = null;
        this.following = true;
        this.to = now();
        this.from = this.to - span(this.range);
        this.returned();
    }

    tick() {
        if (this.following) {
            const width = this.to - this.from;
            this.to = now();
            this.from = this.to - width;
            this.moved();
        }
    }
}
