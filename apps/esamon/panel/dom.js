/** Elements without markup: whatever a peer sent arrives as a text node, never as HTML. */

const SVG = "http://www.w3.org/2000/svg";

function fill(node, properties, children) {
    for (const [name, value] of Object.entries(properties ?? {})) {
        if (value === undefined || value === null || value === false) {
            continue;
        }
        if (name.startsWith("on")) {
            node.addEventListener(name.slice(2), value);
        } else if (name === "data") {
            Object.assign(node.dataset, value);
        } else {
            node.setAttribute(name, value === true ? "" : value);
        }
    }
    node.append(...children.flat().filter((child) => child !== null && child !== undefined && child !== false));
    return node;
}

export function h(tag, properties, ...children) {
    return fill(document.createElement(tag), properties, children);
}

export function s(tag, properties, ...children) {
    return fill(document.createElementNS(SVG, tag), properties, children);
}

/** Sets text only where it differs: an unchanged live region stays silent, an unchanged node is not laid out again. */
export function setText(node, text) {
    if (node.textContent !== text) {
        node.textContent = text;
    }
}

/** Percentages keep a drawing's proportions at any size; the rules against inline style leave the object model free. */
export function place(node, box, face) {
    node.style.left = `${(100 * box.x) / face.width}%`;
    node.style.top = `${(100 * box.y) / face.height}%`;
    node.style.width = `${(100 * box.w) / face.width}%`;
    node.style.height = `${(100 * box.h) / face.height}%`;
}

const SHAPES = {
    ok: ["M8 1a7 7 0 1 0 0 14A7 7 0 0 0 8 1Z", "M4.6 8.2 7 10.6l4.4-5"],
    warning: ["M8 1.2 15.4 14.6H.6Z", "M8 6v4M8 12.1v.9"],
    fault: ["M5 .8h6L15.2 5v6L11 15.2H5L.8 11V5Z", "m5.4 5.4 5.2 5.2m0-5.2-5.2 5.2"],
    absent: ["M2 2h12v12H2Z", "M5 8h6"],
    unknown: ["M8 1a7 7 0 1 0 0 14A7 7 0 0 0 8 1Z", "M6 6.3a2 2 0 1 1 2.9 1.8c-.6.3-.9.7-.9 1.4M8 11.6v.6"],
};

/** A state as a shape: told apart without colour; the text beside it says the same. */
export function stateIcon(state) {
    const [outline, sign] = SHAPES[state] ?? SHAPES.unknown;
    return s("svg", {class: `icon icon-${state}`, viewBox: "0 0 16 16", "aria-hidden": "true"},
        s("path", {class: "icon-body", d: outline}),
        s("path", {class: "icon-sign", d: sign}));
}

/** Replaces an icon where the state has changed. */
export function setIcon(holder, state) {
    if (holder.dataset.icon !== state) {
        holder.dataset.icon = state;
        holder.replaceChildren(stateIcon(state));
    }
}

export function glyph(name, path, viewBox = "0 0 24 24") {
    return s("svg", {class: `glyph glyph-${name}`, viewBox, "aria-hidden": "true"}, s("path", {d: path}));
}
