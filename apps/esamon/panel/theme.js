/** Light, dark, or as the system has it; kept by the browser where it keeps anything. */

import {h} from "./dom.js";
import {TEXT} from "./text.js";

const KEY = "esa-panel-theme";

function stored() {
    try {
        return localStorage.getItem(KEY) ?? "auto";
    } catch {
        return "auto";
    }
}

/** A selection that calls `changed` whenever the colours have changed, by hand or by the system. */
export function themeChoice(changed) {
    const apply = (name) => {
        document.documentElement.dataset.theme = name;
        changed();
    };
    const select = h("select", {"aria-label": TEXT.theme.label, onchange: () => {
        try {
            localStorage.setItem(KEY, select.value);
        } catch {
            // A browser that keeps nothing has the theme until the page is closed.
        }
        apply(select.value);
    }}, ...["auto", "light", "dark"].map((name) => h("option", {value: name}, TEXT.theme[name])));
    select.value = stored();
    apply(select.value);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", changed);
    return select;
}
