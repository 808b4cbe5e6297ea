/** The page's frame: regions, headings and the controls that belong to no module of their own. */

import {h} from "./dom.js";
import {TEXT} from "./text.js";

function region(name, heading, ...children) {
    const id = `heading-${name}`;
    return h("section", {class: `panel panel-${name}`, id: name, "aria-labelledby": id}, h("h2", {id}, heading), ...children);
}

function tool(name, act) {
    return h("button", {type: "button", data: {tool: name}, onclick: act, "aria-label": TEXT.time[name], title: TEXT.time[name]},
        h("span", {class: `sign sign-${name}`, "aria-hidden": "true"}));
}

/** Builds the page into the body and gives the places that others fill. */
export function buildPage(theme, act) {
    const parts = {
        name: h("h1", null, TEXT.title),
        state: h("p", {class: "overall", role: "status"}),
        live: h("p", {class: "live", role: "status", data: {live: "connecting"}}),
        banner: h("p", {class: "banner", role: "status", hidden: true}),
        drawing: h("div", {class: "drawing"}, h("p", {class: "loading"}, TEXT.loading)),
        problems: h("ul", {class: "problems"}),
        inspector: h("div", {class: "inspect"}, h("p", {class: "hint"}, TEXT.inspector.hint)),
        plots: h("div", {class: "plots"}),
        plotError: h("p", {class: "result", role: "status"}),
        line: h("div", {class: "line"}),
        events: h("div"),
        range: h("select", {"aria-label": TEXT.time.range, onchange: (event) => act.range(event.target.value)},
            ...Object.entries(TEXT.time.ranges).map(([value, text]) => h("option", {value}, text))),
    };
    parts.act = region("act", TEXT.act.heading);
    parts.act.hidden = true;
    parts.hands = region("hands", TEXT.hands.heading);
    parts.hands.hidden = true;
    document.body.append(
        h("a", {class: "skip", href: "#enclosure"}, TEXT.skip),
        h("header", {class: "top"}, h("div", {class: "identity"}, parts.name), parts.state, parts.live, theme),
        parts.banner,
        h("main", null,
            h("div", {class: "column column-main"},
                h("section", {class: "panel panel-enclosure", id: "enclosure", "aria-label": TEXT.title, tabindex: "-1"}, parts.drawing),
                parts.hands,
                region("time", TEXT.time.heading,
                    h("div", {class: "tools"}, parts.range, tool("earlier", act.earlier), tool("later", act.later),
                        tool("zoomIn", act.zoomIn), tool("zoomOut", act.zoomOut), tool("reset", act.reset),
                        h("span", {class: "hint"}, TEXT.time.hint)),
                    parts.plotError, parts.line, parts.plots)),
            h("div", {class: "column column-side"},
                region("problems", TEXT.problems.heading, parts.problems),
                region("inspector", TEXT.inspector.heading, parts.inspector),
                parts.act,
                region("events", TEXT.events.heading, parts.events))));
    return parts;
}
