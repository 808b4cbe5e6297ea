/** The page by itself, with a monitor that says what a test wants. */

import assert from "node:assert/strict";
import {mkdirSync, readdirSync, readFileSync, statSync, writeFileSync} from "node:fs";
import {join} from "node:path";
import {cpus, loadavg} from "node:os";
import {after, before, test} from "node:test";
import {fileURLToPath} from "node:url";
import {axe, cell, cells, CHASSIS, launch, open, PANEL, places, RESULTS, until} from "./browser.mjs";
import {startFake} from "./fake.mjs";

const REFERENCE = fileURLToPath(new URL("reference", import.meta.url));
const NOON = 1795262400; // 2026-11-21T12:00:00Z

let browser;
before(async () => (browser = await launch()));
after(() => browser.close());

async function withFake(options, act) {
    const fake = await startFake({panel: PANEL, ...options});
    try {
        await act(fake);
    } finally {
        await fake.stop();
    }
}

test("the panel has less than 200 kB", () => {
    const size = (folder) => readdirSync(folder, {withFileTypes: true}).reduce((sum, each) => sum +
        (each.isDirectory() ? size(join(folder, each.name)) : each.name.endsWith(".gz") ? 0 : statSync(join(folder, each.name)).size), 0);
    const bytes = size(PANEL);
    console.log(`panel: ${bytes} bytes`);
    assert.ok(bytes > 50000 && bytes < 200000, `${bytes}`);
});

for (const chassis of CHASSIS) {
    test(`every element of ${chassis} is where its layout says, at every width`, () => withFake({chassis}, async (fake) => {
        const {found} = places(chassis);
        const page = await open(browser, fake.address);
        for (const width of [360, 1440, 3840]) {
            await page.setViewportSize({width, height: 900});
            const all = await cells(page);
            assert.deepEqual([...all.keys()].sort(), [...found.keys()].sort());
            for (const [name, {side, box}] of found) {
                const drawn = all.get(name);
                assert.equal(drawn.side, side, name);
                box.forEach((share, index) => assert.ok(Math.abs(share - drawn.box[index]) < 0.01, `${name}: ${drawn.box} is not ${box}`));
            }
            assert.equal(await page.evaluate(() => document.documentElement.scrollWidth - innerWidth), 0, `the page is wider than ${width}`);
        }
        page.check();
        await page.leave();
    }));
}

test("nothing of the drawing lies on something else, and fingers find it", () => withFake({}, async (fake) => {
    for (const width of [360, 1440]) {
        const page = await open(browser, fake.address, {viewport: {width, height: 900}});
        const boxes = await page.evaluate(() => [...document.querySelectorAll(".cell")].map((each) => {
            const {left, top, right, bottom} = each.getBoundingClientRect();
            return {name: each.dataset.element, left, top, right, bottom};
        }));
        for (const one of boxes) {
            assert.ok(one.right - one.left >= 23.9 && one.bottom - one.top >= 23.9, `${one.name} at ${width}: ${JSON.stringify(one)}`);
            const other = boxes.find((each) => each !== one && each.left < one.right - 1 && each.right > one.left + 1 && each.top < one.bottom - 1 &&
                each.bottom > one.top + 1);
            assert.equal(other?.name, undefined, one.name);
        }
        await page.leave();
    }
}));

test("texts of peers are shown as text", () => {
    const evil = "<img src=x onerror=alert(1)><script>alert(2)</script>\"'&amp;{{7*7}}";
    return withFake({evil, trouble: true}, async (fake) => {
        const page = await open(browser, fake.address);
        await until("the events", async () => (await page.locator(".event").count()) === 5);
        assert.ok((await page.locator("h1").textContent()).startsWith(`${evil} ${evil}`));
        assert.equal(await page.locator(".event .text").first().textContent(), evil);
        assert.ok((await page.locator(".problems li").first().textContent()).includes(evil));
        await page.locator(".event-mark").first().hover();
        assert.equal(await page.locator("img, body script").count(), 0);
        page.check();
        await page.leave();
    });
});

test("a sensor that the enclosure never reads is not there, and no bay", () => withFake({chassis: "w83782d", mend: (status) => {
    Object.assign(status.temperatures[2], {state: "absent", celsius: null});
    return status;
}}, async (fake) => {
    const page = await open(browser, fake.address);
    assert.equal((await cell(page, "temp2")).label, "Sensor 2: Not there, never read in this enclosure");
    await page.leave();
}));

test("one condition of all supplies is one line, and what is accepted is listed as such", () => {
    const lost = {element: "psu0", elements: ["psu0", "psu1"], state: "fault", text: "psu0-psu1 together report redundancy lost"};
    const slow = {element: "fan1", elements: ["fan1"], state: "fault", text: "fan1 at 1500 RPM is slow", until: "2026-12-01T00:00:00Z"};
    const shown = async (more) => {
        let lines;
        await withFake({mend: (status) => ({...status, ...more})}, async (fake) => {
            const page = await open(browser, fake.address);
            lines = await page.locator(".problems li").allTextContents();
            await page.leave();
        });
        return lines;
    };
    return (async () => {
        const [first, second, ...rest] = await shown({state: "fault", problems: [lost], accepted: [slow]});
        assert.match(first, /^Supply 0 to 1 together report redundancy lost/);
        assert.match(second, /^Fan 1 at 1500 RPM is slowaccepted until .*2026/);
        assert.deepEqual(rest, []);
        assert.equal((await shown({accepted: [slow]})).at(-1), "Nothing else.");
        assert.deepEqual(await shown({accepted: []}), ["Nothing. Every element is within its limits."]);
    })();
});

test("an adapter that does not answer is said to be silent, with the age of what is drawn", () => withFake({}, async (fake) => {
    const page = await open(browser, fake.address);
    const live = () => page.locator(".live").getAttribute("data-live");
    await until("the live page", async () => (await live()) === "live");
    assert.equal(await page.locator(".banner").isVisible(), false);
    fake.ask({answering: false, age_seconds: 125, error: "no answer"});
    await until("the silence", async () => (await live()) === "silent", 5);
    assert.match(await page.locator(".live").textContent(), /^Adapter does not answer · data 2 min old$/);
    assert.match(await page.locator(".banner").textContent(), /^What you see is 2 min old and may no longer be true\.$/);
    fake.ask({answering: true, age_seconds: 0.1, error: null});
    await until("the live page again", async () => (await live()) === "live", 5);
    assert.equal(await page.locator(".banner").isVisible(), false);
    page.check();
    await page.leave();
}));

test("an enclosure without a layout is drawn all the same", () => withFake({chassis: "chenbro", known: false}, async (fake) => {
    const page = await open(browser, fake.address, {expected: ["404"]});
    const names = [...(await cells(page)).keys()];
    assert.deepEqual(names.filter((name) => /slot|psu|fan|temp|alarm/.test(name)).length, 16 + 3 + 6 + 4 + 1);
    await page.leave();
}));

for (const colorScheme of ["light", "dark"]) {
    test(`axe-core finds nothing in the ${colorScheme} theme`, () => withFake({trouble: true}, async (fake) => {
        const page = await open(browser, fake.address, {colorScheme});
        await page.locator('.cell[data-element="fan2"]').click();
        await page.locator("details summary").first().click();
        await page.waitForTimeout(300);
        assert.deepEqual(await axe(page), []);
        await page.leave();
    }));
}

test("state is told by word and shape, not by colour alone", () => withFake({trouble: true}, async (fake) => {
    const page = await open(browser, fake.address);
    const fan = await cell(page, "fan2");
    assert.equal(fan.label, "Fan 2: Fault, 0 RPM");
    assert.match((await cell(page, "slot04")).label, /^Bay 4: OK, drive present, fault LED on$/);
    assert.match((await cell(page, "slot09")).label, /^Bay 9: Empty, empty, fault LED off$/);
    const shapes = await page.evaluate(() => ["fan2", "fan1"].map((name) =>
        document.querySelector(`[data-element="${name}"] .icon-body`).getAttribute("d")));
    assert.notEqual(shapes[0], shapes[1]);
    assert.match(await page.locator("[role=status].overall").textContent(), /In fault/);
    await page.leave();
}));

test("the keyboard alone reaches every element and tells about it", () => withFake({trouble: true}, async (fake) => {
    const page = await open(browser, fake.address);
    const here = () => page.evaluate(() => document.activeElement.dataset?.element ?? document.activeElement.textContent);
    for (let tabs = 0; tabs < 10 && !/^(temp|slot)/.test(await here()); ++tabs) {
        await page.keyboard.press("Tab");
    }
    assert.equal(await here(), "temp0");
    const reached = new Set([await here()]);
    for (const key of ["ArrowDown", "ArrowRight", "ArrowRight", "ArrowDown", "ArrowLeft", "ArrowDown", "ArrowDown", "ArrowDown", "ArrowUp", "End"]) {
        await page.keyboard.press(key);
        reached.add(await here());
    }
    assert.ok(reached.size >= 8, [...reached].join());
    await page.keyboard.press("Home");
    await page.keyboard.press("ArrowDown");
    assert.equal(await here(), "slot00");
    assert.match(await page.locator("#tip").textContent(), /^Bay 0State.*ValueDrive|^Bay 0State/);
    await page.keyboard.press("Escape");
    assert.equal(await page.locator("#tip").isVisible(), false);
    await page.keyboard.press("Enter");
    assert.match(await page.locator(".inspect").textContent(), /Bay 0/);
    await page.leave();
}));

test("reduced motion stands still, and speeds set the pace otherwise", () => withFake({trouble: true}, async (fake) => {
    // A new rate holds once the compositor has taken it.
    const turning = () => Promise.all([...document.querySelectorAll(".cell-fan")].map(async (each) => {
        const animation = await each.querySelector(".rotor").getAnimations()[0].ready;
        return [each.querySelector(".short").textContent, animation.playState, animation.playbackRate];
    }));
    const page = await open(browser, fake.address, {reducedMotion: "no-preference"});
    for (const [rpm, state, rate] of await page.evaluate(turning)) {
        assert.equal(state, Number(rpm) > 0 ? "running" : "paused");
        assert.ok(Number(rpm) === 0 || Math.abs(rate - rpm / 3600) < 0.01, `${rpm} ${rate}`);
    }
    await page.leave();
    const calm = await open(browser, fake.address, {reducedMotion: "reduce"});
    assert.deepEqual(new Set((await calm.evaluate(turning)).map(([, state]) => state)), new Set(["paused"]));
    await calm.leave();
}));

test("the first picture comes within a second, and turning fans leave the page idle", () => withFake({}, async (fake) => {
    const times = [];
    for (let each = 0; each < 2; ++each) {
        const page = await open(browser, fake.address, {reducedMotion: "no-preference"});
        times.push(await page.evaluate(() => performance.getEntriesByName("drawn")[0].startTime));
        if (each === 1) {
            const session = await page.context().newCDPSession(page);
            await session.send("Performance.enable");
            const spent = async () => (await session.send("Performance.getMetrics")).metrics.find(({name}) => name === "ThreadTime").value;
            const begin = await spent();
            const frames = await page.evaluate(() => new Promise((resolve) => {
                let count = 0;
                const start = performance.now();
                const tick = () => (++count, performance.now() - start < 1000 ? requestAnimationFrame(tick) : resolve(count));
                requestAnimationFrame(tick);
            }));
            const share = await spent() - begin;
            console.log(`first picture: ${times.map(Math.round)} ms; ${frames} frames a second; page's thread ${(100 * share).toFixed(1)} %`);
            assert.ok(share < 0.3, `${share}`);
        }
        await page.leave();
    }
    // A machine with more to do than it has processors takes as much longer.
    const busy = Math.max(1, loadavg()[0] / cpus().length);
    assert.ok(Math.min(...times) < 1000 * busy, `${times} ms, ${busy} times busy`);
}));

/** A picture as 48 times 48 brightnesses: letters vanish, boxes stay. */
function coarse(page, picture) {
    return page.evaluate(async (data) => {
        const image = await createImageBitmap(await (await fetch(data)).blob());
        const canvas = new OffscreenCanvas(48, 48);
        const context = canvas.getContext("2d");
        context.imageSmoothingQuality = "high";
        context.drawImage(image, 0, 0, 48, 48);
        const {data: bytes} = context.getImageData(0, 0, 48, 48);
        return Array.from({length: 48 * 48}, (_, n) => Math.round((bytes[4 * n] + bytes[4 * n + 1] + bytes[4 * n + 2]) / 3));
    }, `data:image/png;base64,${picture.toString("base64")}`);
}

for (const [width, height, colorScheme] of [[360, 800, "dark"], [1440, 900, "light"], [3840, 2160, "dark"]]) {
    test(`the layout holds at ${width} pixels`, () => withFake({trouble: true, now: () => NOON}, async (fake) => {
        const blank = await (await browser.newContext()).newPage();
        const page = await open(browser, fake.address, {viewport: {width, height}, colorScheme, reducedMotion: "reduce"});
        await page.clock.setFixedTime(NOON * 1000);
        await page.reload();
        await page.waitForSelector(".plot canvas");
        await page.waitForTimeout(500);
        const picture = await page.screenshot();
        mkdirSync(RESULTS, {recursive: true});
        writeFileSync(join(RESULTS, `panel-${width}-${colorScheme}.png`), picture);
        const seen = await coarse(blank, picture);
        const file = join(REFERENCE, `panel-${width}-${colorScheme}.json`);
        if (process.env.ESA_WEB_RENEW) {
            mkdirSync(REFERENCE, {recursive: true});
            writeFileSync(file, `${JSON.stringify(seen).replace(/((?:\d+,){47}\d+),/g, "$1,\n")}\n`);
        }
        const reference = JSON.parse(readFileSync(file, "utf8"));
        const off = seen.filter((value, index) => Math.abs(value - reference[index]) > 24).length / seen.length;
        console.log(`${width} pixels: ${(100 * off).toFixed(1)} % of the picture differ`);
        assert.ok(off < 0.1, `${(100 * off).toFixed(1)} % of the picture differ from ${file}`);
        await blank.context().close();
        await page.leave();
    }));
}
