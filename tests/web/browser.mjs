/** What the tests of the front panel share: the browser, its pages, and what no page may ever do. */

import assert from "node:assert/strict";
import {createRequire} from "node:module";
import {readFileSync} from "node:fs";
import {join} from "node:path";

const from = createRequire(join(process.env.ESA_WEB_MODULES, "node_modules", "x.js"));
const {chromium} = from("playwright-core");
const AXE = readFileSync(from.resolve("axe-core/axe.min.js"), "utf8");

export const PANEL = process.env.ESA_PANEL_DIR;
export const RESULTS = process.env.ESA_WEB_RESULTS;
export const CHASSIS = ["vsc055", "quadra", "xyratex", "chenbro", "w83782d"];

export function launch() {
    // Chromium's own sandbox needs rights that a test's namespace does not have; only pages of this tree are opened.
    return chromium.launch({executablePath: process.env.ESA_CHROMIUM ?? "/usr/bin/chromium",
        args: ["--no-sandbox", "--disable-dev-shm-usage", "--disable-background-networking"]});
}

/**
 * A page that remembers what it complained about and whom it asked. `check()` fails when either is wrong. Its fans stand still
 * unless a test is about them: what is painted without a graphics processor takes the other tests' time.
 */
export async function open(browser, address, options = {}) {
    const {path = "", expected = [], ...rest} = options;
    const context = await browser.newContext({viewport: {width: 1440, height: 900}, timezoneId: "UTC", locale: "en-GB",
        colorScheme: "dark", reducedMotion: "reduce", ...rest});
    const page = await context.newPage();
    page.setDefaultTimeout(60000);
    const wrong = [];
    page.on("pageerror", (error) => wrong.push(`error ${error.message}`));
    page.on("console", (message) => message.type() === "error" && wrong.push(message.text()));
    page.on("dialog", (dialog) => {
        wrong.push(`dialog ${dialog.message()}`);
        dialog.dismiss();
    });
    page.on("request", (request) => request.url().startsWith(address) || wrong.push(`asked ${request.url()}`));
    await page.goto(address + path);
    await page.waitForSelector(".cell[data-state]", {timeout: 60000});
    page.check = () => assert.deepEqual(wrong.filter((text) => !expected.some((each) => text.includes(each))), []);
    page.leave = () => context.close();
    return page;
}

/** Findings of axe-core, as lines. */
export async function axe(page) {
    await page.evaluate(AXE);
    const {violations} = await page.evaluate(() => window.axe.run(document,
        {runOnly: ["wcag2a", "wcag2aa", "wcag21a", "wcag21aa", "wcag22aa", "best-practice"]}));
    return violations.flatMap((each) => each.nodes.map((node) => `${each.id}: ${node.target} ${node.failureSummary.split("\n").slice(1).join(" ")}`));
}

/** Each cell of the drawing by its name, as a person or a screen reader finds it; of one name only, where it is given. */
export async function cells(page, only) {
    const found = await page.evaluate((element) => [...document.querySelectorAll(element ? `.cell[data-element="${element}"]` : ".cell")].map((node) => {
        const box = node.getBoundingClientRect();
        const plate = node.closest(".plate");
        const around = plate.getBoundingClientRect();
        return {...node.dataset, label: node.querySelector(".said").textContent, short: node.querySelector(".short")?.textContent,
            number: node.querySelector(".number")?.textContent, hasLed: !!node.querySelector(".led")?.checkVisibility(), side: plate.dataset.side,
            box: [(box.left - around.left - 1) / (around.width - 2), (box.top - around.top - 1) / (around.height - 2), box.width / (around.width - 2),
                box.height / (around.height - 2)]};
    }), only);
    return new Map(found.map((each) => [each.element, each]));
}

export async function cell(page, name) {
    return (await cells(page, name)).get(name) ?? null;
}

/** Where the layout file says that an element is, as shares of its face; worked out here once more. */
export function places(chassis) {
    const layout = JSON.parse(readFileSync(join(PANEL, "layouts", `${chassis}.json`), "utf8"));
    const stems = {drive: "slot", supply: "psu", fan: "fan", temperature: "temp", alarm: "alarm"};
    const found = new Map();
    for (const face of layout.faces) {
        for (const item of face.items) {
            const count = item.count ?? 1;
            const columns = item.columns ?? 1;
            const rows = Math.ceil(count / columns);
            const w = (item.w - 2.4 * (columns - 1)) / columns;
            const tall = (item.h - 2.4 * (rows - 1)) / rows;
            for (let n = 0; n < count; ++n) {
                const column = item.order === "columns" ? Math.floor(n / rows) : n % columns;
                const row = item.order === "columns" ? n % rows : Math.floor(n / columns);
                const index = String(item.first + n);
                const name = item.kind === "lamp" ? item.name : stems[item.kind] + (item.kind === "drive" ? index.padStart(2, "0") : index);
                found.set(name, {side: face.side, box: [(item.x + column * (w + 2.4)) / face.width, (item.y + row * (tall + 2.4)) / face.height,
                    w / face.width, tall / face.height]});
            }
        }
    }
    return {layout, found};
}

export async function until(what, condition, seconds = 60) {
    const end = Date.now() + 1000 * seconds;
    let last;
    while (Date.now() < end) {
        last = await condition();
        if (last) {
            return last;
        }
        await new Promise((resolve) => setTimeout(resolve, 400));
    }
    throw new Error(`${what} did not come in ${seconds} seconds; there is ${JSON.stringify(last)}`);
}
