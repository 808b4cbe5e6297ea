/** What an element is, beside it: on hover, focus and tap. Escape puts it away; the pointer may rest on it. */

import {h, stateIcon} from "./dom.js";
import {stateText, title} from "./elements.js";
import {TEXT} from "./text.js";
import {moment} from "./time.js";

const MARGIN = 8;
const LINGER_MS = 120;

/** The rows of an element: state, value, limit, since, notes. The inspector shows the same. */
export function facts(element, since) {
    const rows = [[TEXT.element.state, h("span", {class: "state"}, stateIcon(element.state), stateText(element.name, element.state))],
        [TEXT.element.value, element.value]];
    if (element.limit) {
        rows.push([TEXT.element.limit, element.limit]);
    }
    if (since) {
        rows.push([TEXT.element.since, moment(since)]);
    }
    return [h("dl", {class: "facts"}, ...rows.flatMap(([term, value]) => [h("dt", null, term), h("dd", null, value)])),
        ...element.notes.map((note) => h("p", {class: "note"}, note))];
}

export class Tip {
    /** `look(name)` gives {element, since} or null. */
    constructor(drawing, look) {
        this.look = look;
        this.box = h("div", {class: "tip", role: "tooltip", id: "tip", hidden: true});
        document.body.append(this.box);
        const over = (event) => {
            const cell = event.target.closest?.(".cell");
            if (cell) {
                this.open(cell);
            }
        };
        drawing.addEventListener("pointerover", over);
        drawing.addEventListener("focusin", over);
        drawing.addEventListener("pointerleave", () => this.leave());
        drawing.addEventListener("focusout", () => this.leave());
        this.box.addEventListener("pointerenter", () => clearTimeout(this.leaving));
        this.box.addEventListener("pointerleave", () => this.leave());
        document.addEventListener("keydown", (event) => event.key === "Escape" && this.close());
        addEventListener("scroll", () => this.close(), {passive: true, capture: true});
    }

    open(cell) {
        clearTimeout(this.leaving);
        if (this.cell !== cell) {
            this.cell?.removeAttribute("aria-describedby");
            this.cell = cell;
            this.refresh();
        }
    }

    refresh() {
        const seen = this.cell?.isConnected ? this.look(this.cell.dataset.element) : null;
        if (!seen) {
            this.close();
            return;
        }
        this.box.replaceChildren(h("strong", null, title(seen.element.name)), ...facts(seen.element, seen.since));
        this.box.hidden = false;
        this.cell.setAttribute("aria-describedby", "tip");
        this.put(this.cell.getBoundingClientRect(), this.box.getBoundingClientRect());
    }

    put(cell, box) {
        const below = cell.bottom + MARGIN + box.height < innerHeight;
        const top = below ? cell.bottom + MARGIN : Math.max(MARGIN, cell.top - box.height - MARGIN);
        const left = Math.min(Math.max(MARGIN, cell.left + cell.width / 2 - box.width / 2), innerWidth - box.width - MARGIN);
        this.box.style.top = `${top}px`;
        this.box.style.left = `${left}px`;
    }

    leave() {
        clearTimeout(this.leaving);
        this.leaving = setTimeout(() => this.close(), LINGER_MS);
    }

    close() {
        this.cell?.removeAttribute("aria-describedby");
        this.cell = null;
        this.box.hidden = true;
    }
}
