/**
 * The panel in front of the real chain: simulator, adapter, switch, monitor. ESA_WEB_CHAINS has one of each chassis, and one for
 * each test that needs an enclosure for itself; so they can all wait at the same time.
 */

import assert from "node:assert/strict";
import {readFileSync} from "node:fs";
import {cpus, loadavg} from "node:os";
import {join} from "node:path";
import {after, before, describe, test} from "node:test";
import {cell, cells, CHASSIS, launch, open as openPage, places, RESULTS, until} from "./browser.mjs";

const CHAINS = JSON.parse(process.env.ESA_WEB_CHAINS);
const WITH_LEDS = ["vsc055", "quadra", "xyratex"];

let browser;
before(async () => (browser = await launch()));
after(() => browser.close());

function open(address, options) {
    return openPage(browser, address, options);
}

/** Gives the simulator a command, as its page does. */
async function hand(chain, command) {
    const response = await fetch(`${CHAINS[chain].address}api/v1/simulator`,
        {method: "POST", headers: {"Content-Type": "application/json"}, body: JSON.stringify({command})});
    const body = await response.json();
    assert.equal(response.status, 200, JSON.stringify(body));
    return body.reply;
}

async function world(chain) {
    const reply = await hand(chain, "show --json");
    return JSON.parse(reply.slice(reply.indexOf("{"), reply.lastIndexOf("}") + 1));
}

const two = (number) => String(number).padStart(2, "0");

/** What is drawn otherwise than the simulator holds it, as lines; the rest of a change is still on its way. */
async function differences(page, chassis) {
    const held = await world(chassis);
    const all = await cells(page);
    const wrong = [];
    const want = (name, what, there, here) => there === here || wrong.push(`${name}: ${what} is ${there}, drawn ${here}`);
    for (const drive of held.drives) {
        const drawn = all.get(`slot${two(drive.index)}`);
        if (chassis === "xyratex") {
            want(drawn.element, "presence", String(drive.present), drawn.present);
        }
        want(drawn.element, "LED", drive.led === null ? "none" : drive.led ? "on" : "off", drawn.led);
        want(drawn.element, "visible LED", drive.led !== null, drawn.hasLed);
        want(drawn.element, "number", String(drive.index), drawn.number);
    }
    for (const fan of held.fans) {
        const drawn = all.get(`fan${fan.index}`);
        const slow = Math.max(40, fan.rpm * 0.06);
        const rpm = drawn.short === "–" ? 0 : Number(drawn.short);
        want(drawn.element, "speed", true, Math.abs(rpm - fan.rpm) <= slow || `${drawn.short} for ${fan.rpm}`);
        want(drawn.element, "state", fan.rpm < 2000 ? "fault" : "ok", drawn.state);
    }
    for (const sensor of held.sensors) {
        const drawn = all.get(`temp${sensor.index}`);
        want(drawn.element, "temperature", true, Math.abs(parseInt(drawn.short, 10) - sensor.celsius) <= 1.6 || `${drawn.short} for ${sensor.celsius}`);
    }
    const bad = held.supplies.some((supply) => supply.state === "failed" || (supply.state === "pulled" && WITH_LEDS.includes(chassis)));
    for (const supply of held.supplies) {
        // The adapter knows of its supplies together.
        want(`psu${supply.index}`, "state", bad ? "fault" : "ok", all.get(`psu${supply.index}`).state);
    }
    const alarm = all.get("alarm0");
    want("alarm0", "sound", String(held.alarm.sounding), alarm.sounds);
    for (const [lamp, on] of Object.entries(held.leds)) {
        want(lamp, "light", String(on), all.get(lamp).on);
    }
    return wrong;
}

function agrees(page, chassis, seconds = 45) {
    let wrong;
    return until(`a drawing of ${chassis} like the simulator`, async () => {
        wrong = await differences(page, chassis);
        return wrong.length === 0;
    }, seconds).catch((error) => {
        throw new Error(`${error.message}: ${wrong.join("; ")}`);
    });
}

/** Keeps in the page how many milliseconds after its arrival at the switch each event of now on is on the screen. */
function watchEvents(page) {
    return page.evaluate(() => {
        window.delays = new Map([...document.querySelectorAll(".event")].map((entry) => [entry.dataset.sequence, null]));
        new MutationObserver(() => {
            for (const entry of document.querySelectorAll(".event")) {
                if (!window.delays.has(entry.dataset.sequence)) {
                    window.delays.set(entry.dataset.sequence, Date.now() - Date.parse(entry.querySelector("time").dateTime));
                }
            }
        }).observe(document.body, {childList: true, subtree: true});
    });
}

describe("the panel in front of the real chain", {concurrency: 5}, () => {
    // The longest first.
    test("heat is seen everywhere: fans, plot, events, alarm, shutdown request; and later again", async () => {
        // The steps back go on to where nothing was kept yet, and the page says so.
        const page = await open(CHAINS.heat.address, {expected: ["404"]});
        const before = Number((await cell(page, "fan0")).short);
        await watchEvents(page);
        await hand("heat", "speed 3");
        // By the hand that a person would use.
        await page.locator('[data-hand="overheat"]').click();
        await until("fault of a sensor", async () => (await cell(page, "temp0")).state === "fault", 60);
        await until("faster fans", async () => Number((await cell(page, "fan0")).short) > before + 500, 60);
        for (const name of ["information", "orderly-shutdown", "composite-fault-led", "temperature-sensor-status", "email-notification"]) {
            await until(`the event ${name}`, async () => (await page.locator(`.event[data-name="${name}"]`).count()) > 0, 60);
        }
        const delays = await page.evaluate(() => [...window.delays.values()].filter((delay) => delay !== null));
        console.log(`from the switch to the screen: ${delays.length} events, at most ${Math.max(...delays)} ms`);
        assert.ok(delays.length >= 5 && Math.max(...delays) < 1000 * Math.max(1, loadavg()[0] / cpus().length), `${delays} ms`);
        assert.match(await page.locator('.event[data-name="information"]').first().textContent(), /Overheated: orderly shutdown requested/);
        assert.match(await page.locator('.event[data-name="information"] .advice').first().textContent(),
            /let the shutdown happen; find the cause before power-on/);
        assert.equal((await cell(page, "alarm0")).sounds, "true");
        assert.match(await page.locator(".overall").textContent(), /In fault/);
        const curve = async () => page.evaluate(() => Number(document.querySelector('[data-plot="temperature"] .key output').textContent));
        await until("the curve above 60 degrees", async () => (await curve()) > 60);
        assert.match(await page.locator('[data-plot="temperature"] .canvas').getAttribute("aria-label"), /Sensor 0: \d\d to (6|7|8|9)\d °C/);
        assert.ok((await page.locator(".event-mark").count()) > 0);
        await page.setViewportSize({width: 1440, height: 1700});
        await page.screenshot({path: join(RESULTS, "overheated.png")});

        await page.locator('[data-act="enter"]').click();
        await page.locator("dialog input").fill(CHAINS.heat.token);
        await page.keyboard.press("Enter");
        await page.locator('[data-act="mute"]').click();
        await page.locator("dialog button", {hasText: "Yes"}).click();
        await until("silence", async () => !(await world("heat")).alarm.sounding);
        await until("the muted alarm", async () => (await cell(page, "alarm0")).short === "muted");

        await page.locator('[data-hand="cool"]').click();
        await until("the end of the fault", async () => (await cell(page, "temp0")).state === "ok", 90);

        // The event's own moment: the drawing goes back to it, and comes again by one click.
        await page.locator('.event[data-name="information"] .see').first().click();
        await until("the past", async () => (await page.locator(".banner").textContent()).includes("as it was"));
        await until("the heat of then", async () => parseInt((await cell(page, "temp0")).short, 10) > 58);
        assert.ok(page.url().includes("#at="));
        const hot = await page.locator(".replay .when").textContent();
        await page.locator('[data-does="back"]').click();
        await until("a step back", async () => (await page.locator(".replay .when").textContent()) !== hot);
        for (let step = 0; step < 12; ++step) {
            await page.locator('[data-does="back"]').click();
        }
        await until("the cool time before, or none", async () => parseInt((await cell(page, "temp0")).short, 10) < 45 ||
            (await page.locator(".banner").textContent()).startsWith("Nothing is kept"));
        await page.locator(".replay select").selectOption("10");
        await page.locator('[data-does="play"]').click();
        await until("the replay's heat", async () => parseInt((await cell(page, "temp0")).short, 10) > 55, 40);
        await page.locator('[data-does="play"]').click();
        await page.locator(".banner button").click();
        await until("the present again", async () => !(await page.locator(".banner").isVisible()));

        // A link to a moment shows the same to a colleague.
        const at = await page.locator('.event[data-name="information"] time').first().getAttribute("datetime");
        const other = await open(CHAINS.heat.address, {path: `#at=${at}`});
        await until("the colleague's past", async () => parseInt((await cell(other, "temp0")).short, 10) > 58);
        await other.leave();
        page.check();
        await page.leave();
    });

    for (const chassis of CHASSIS) {
        test(`every element of ${chassis} shows what the simulator holds, healthy and in trouble`, async () => {
            const page = await open(CHAINS[chassis].address);
            const {layout, found} = places(chassis);
            assert.equal(await page.locator("h1").textContent(), layout.title);
            assert.deepEqual([...(await cells(page)).keys()].sort(), [...found.keys()].sort());
            await agrees(page, chassis);
            await hand(chassis, "speed 4");
            await hand(chassis, "fan 1 stall");
            await hand(chassis, "sensor 0 set 57");
            await hand(chassis, "psu 0 fail");
            if (chassis === "xyratex") {
                await hand(chassis, "drive 3 pull");
            }
            await until("the trouble", async () => (await cell(page, "fan1")).state === "fault" && (await cell(page, "temp0")).state === "warning", 45);
            await agrees(page, chassis);
            await until("the fan's own event", async () => (await page.locator(".event strong", {hasText: "Fan 1: Fault"}).count()) > 0);
            await until("the composite fault", async () => (await cell(page, "composite")).on === "true");
            await page.screenshot({path: join(RESULTS, `trouble-${chassis}.png`)});
            for (const command of ["fan 1 ok", "sensor 0 ok", "psu 0 ok", ...(chassis === "xyratex" ? ["drive 3 insert"] : [])]) {
                await hand(chassis, command);
            }
            await agrees(page, chassis);
            await until("the end of the composite fault", async () => (await cell(page, "composite")).on === "false");
            page.check();
            await page.leave();
        });
    }

    test("an LED is asked for once, shown as asked, then as lit, and put out at the same place", async () => {
        const page = await open(CHAINS.hand.address);
        assert.equal(await page.locator('[data-act="on"]').count(), 0);
        await page.locator('[data-act="enter"]').click();
        await page.locator("dialog input").fill(CHAINS.hand.token);
        await page.keyboard.press("Enter");
        await page.locator('.cell[data-element="slot02"]').click();
        await page.locator('.cell[data-element="slot05"]').click({modifiers: ["Shift"]});
        assert.equal(await page.locator(".panel-act input").inputValue(), "2-5");
        await page.locator('[data-act="on"]').click();
        assert.match(await page.locator("dialog").textContent(), /Light the fault LED of Bays 2-5\?/);
        await page.locator("dialog button", {hasText: "No"}).click();
        assert.deepEqual((await world("hand")).drives.filter((drive) => drive.led), []);
        await page.locator('[data-act="on"]').click();
        await page.locator("dialog button", {hasText: "Yes"}).click();
        await until("the lit LEDs", async () => (await cell(page, "slot02")).led === "on" && (await cell(page, "slot05")).led === "on")
            .catch(async (error) => assert.fail(`${error.message}: ${await page.locator(".panel-act .result").textContent()}`));
        assert.deepEqual((await world("hand")).drives.filter((drive) => drive.led).map((drive) => drive.index), [2, 3, 4, 5]);
        await until("the word that it is done", async () => (await page.locator(".panel-act .result").textContent()) === "Done: the adapter reports it.");
        await until("the history", async () => (await page.locator('.event[data-name="action"]').first().textContent()).includes("guest"));
        await page.locator('[data-act="off"]').click();
        await page.locator("dialog button", {hasText: "Yes"}).click();
        await until("the dark LEDs", async () => (await cell(page, "slot02")).led === "off");
        assert.deepEqual((await world("hand")).drives.filter((drive) => drive.led), []);
        // In the past nothing is asked for.
        await page.locator('[data-does="back"]').click();
        await page.locator('[data-act="on"]').click();
        assert.match(await page.locator(".panel-act .result").textContent(), /acting needs the present/);
        await page.locator(".banner button").click();
        // Found by its blinking, the bay is as dark as it was.
        await page.locator(".panel-act input").fill("7");
        await page.locator('[data-act="blink"]').click();
        await page.locator("dialog button", {hasText: "Yes"}).click();
        await until("the blinking LED", async () => (await world("hand")).drives[7].led);
        await page.locator('[data-act="blink"]').click();
        await until("the end of the blinking", async () => (await page.locator('[data-act="blink"]').textContent()) === "Blink to find");
        assert.deepEqual((await world("hand")).drives.filter((drive) => drive.led), []);
        assert.ok(!page.url().includes(CHAINS.hand.token));
        assert.deepEqual(await page.context().cookies(), []);
        page.check();
        await page.leave();
    });

    test("a wrong token switches nothing and is not kept", async () => {
        const page = await open(CHAINS.quadra.address, {expected: ["401"]});
        await page.locator('[data-act="enter"]').click();
        await page.locator("dialog input").fill("wrong");
        await page.keyboard.press("Enter");
        await page.locator(".panel-act input").fill("all");
        await page.locator('[data-act="on"]').click();
        await page.locator("dialog button", {hasText: "Yes"}).click();
        await until("the refusal", async () => (await page.locator(".panel-act").textContent()).includes("does not know this token"));
        assert.equal(await page.locator('[data-act="on"]').count(), 0);
        assert.deepEqual((await world("quadra")).drives.filter((drive) => drive.led), []);
        page.check();
        await page.leave();
    });

    test("an enclosure without LEDs offers none", async () => {
        const page = await open(CHAINS.chenbro.address);
        await page.locator('[data-act="enter"]').click();
        await page.locator("dialog input").fill(CHAINS.chenbro.token);
        await page.keyboard.press("Enter");
        assert.equal(await page.locator('[data-act="mute"]').count(), 1);
        assert.equal(await page.locator('[data-act="on"], [data-act="blink"]').count(), 0);
        await page.leave();
    });

    test("a monitor that is killed is missed at once, and found again without a hand", async () => {
        const page = await open(CHAINS.loss.address, {expected: ["ERR_"]});
        await until("the live page", async () => (await page.locator(".live").getAttribute("data-live")) === "live");
        process.kill(Number(readFileSync(join(CHAINS.loss.folder, "esamon.pid"), "utf8")), "SIGKILL");
        await until("the loss", async () => (await page.locator(".live").getAttribute("data-live")) === "lost", 5);
        assert.match(await page.locator(".live").textContent(), /^Connection lost · data \d+ s old$/);
        assert.match(await page.locator(".banner").textContent(), /What you see is \d+ s old/);
        await until("the return", async () => (await page.locator(".live").getAttribute("data-live")) === "live", 30);
        await until("what happened meanwhile", async () => (await page.locator('.event[data-name="monitor-started"]').count()) === 2);
        page.check();
        await page.leave();
    });

    test("a bus that does not answer makes every element unknown, until it does again", async () => {
        const page = await open(CHAINS.silence.address);
        await page.locator(".hands-more summary").click();
        await page.locator('[data-hand="unplug"]').click();
        await until("what the bridge's silence does", async () => (await cell(page, "fan0")).state === "unknown", 60);
        for (const name of ["slot00", "psu0", "fan2", "temp0"]) {
            assert.equal((await cell(page, name)).state, "unknown", name);
        }
        assert.match(await page.locator(".problems li").first().textContent(), /no answer on the I2C bus/);
        await page.locator('[data-hand="plug"]').click();
        await until("the healthy enclosure", async () => (await page.locator(".live").getAttribute("data-live")) === "live" &&
            (await cell(page, "fan0")).state === "ok", 60);
        page.check();
        await page.leave();
    });

    test("a hundred browsers cost the enclosure not one transfer", async () => {
        const transfers = async () => Number((await hand("crowd", "transfers")).match(/total (\d+)/)[1]);
        const pace = async () => {
            const begin = await transfers();
            const start = Date.now();
            await new Promise((resolve) => setTimeout(resolve, 20000));
            return (1000 * (await transfers() - begin)) / (Date.now() - start);
        };
        const alone = await pace();
        const stop = new AbortController();
        const streams = await Promise.all(Array.from({length: 100}, () => fetch(`${CHAINS.crowd.address}api/v1/stream`, {signal: stop.signal})));
        assert.deepEqual(new Set(streams.map((each) => each.status)), new Set([200]));
        const crowded = await pace();
        stop.abort();
        console.log(`transfers a second: ${alone.toFixed(2)} alone, ${crowded.toFixed(2)} with 100 streams`);
        assert.ok(alone > 1 && Math.abs(crowded - alone) < 0.25 * alone, `${alone} ${crowded}`);
    });

    test("the page is guarded by its headers, and nobody but this machine reaches it", async () => {
        const response = await fetch(CHAINS.quadra.address);
        const policy = response.headers.get("content-security-policy");
        assert.match(policy, /default-src 'none'; script-src 'self'; style-src 'self';/);
        assert.doesNotMatch(policy, /unsafe|\*|http/);
        assert.equal(response.headers.get("x-frame-options"), "DENY");
        assert.equal(response.headers.get("set-cookie"), null);
        const port = Number(new URL(CHAINS.quadra.address).port).toString(16).toUpperCase().padStart(4, "0");
        const listening = ["tcp", "tcp6"].flatMap((name) => readFileSync(`/proc/net/${name}`, "utf8").split("\n")).map((line) => line.trim().split(/\s+/))
            .filter((fields) => fields[3] === "0A" && fields[1].endsWith(`:${port}`)).map((fields) => fields[1]);
        assert.deepEqual(listening, [`0100007F:${port}`]);
        const framed = await fetch(`${CHAINS.quadra.address}api/v1/simulator`, {method: "POST", body: JSON.stringify({command: "heat 10"}),
            headers: {"Content-Type": "application/json", Origin: "http://somewhere.example"}});
        assert.equal(framed.status, 403);
    });
});
