/**
 * A monitor that is none: serves the panel and documents that a well-behaved peer never sends, such as vendor names made of
 * markup. What the real monitor can be brought to say is tested with the real one.
 */

import {createReadStream, existsSync, statSync} from "node:fs";
import {createServer} from "node:http";
import {extname, join, normalize} from "node:path";

const TYPES = {".html": "text/html", ".js": "text/javascript", ".css": "text/css", ".json": "application/json", ".svg": "image/svg+xml"};
const POLICY = "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; font-src 'self'; connect-src 'self'; " +
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
const COUNTS = {vsc055: [16, 2, 3, 3], quadra: [16, 3, 3, 3], xyratex: [12, 2, 8, 2], chenbro: [16, 3, 6, 4], w83782d: [16, 2, 3, 3]};
const LIMITS = {low_failure: 0, low_warning: 1, high_warning: 55, high_failure: 60};

const iso = (at) => new Date(at * 1000).toISOString();
const two = (number) => String(number).padStart(2, "0");

/** `evil`: put wherever a document has free text. `mends`: changes to the status before it is sent. */
export function startFake({panel, chassis = "xyratex", evil = "", mend = (status) => status, known = true, port = 0, trouble = false,
    now = () => Date.now() / 1000}) {
    const [drives, supplies, fans, temps] = COUNTS[chassis];
    const celsius = (n, at) => Math.round(31 + 2 * n + 6 * Math.sin(at / 200 + n) + (trouble && n === 1 ? 24 : 0));
    const rpm = (n, at) => (trouble && n === 2 ? 0 : Math.round((5200 + 140 * n + 300 * Math.sin(at / 150 + n)) / 10) * 10);
    const list = (count, make) => Array.from({length: count}, (_, n) => make(n));
    const status = (at) => {
        const each = {
            drives: list(drives, (n) => ({name: `slot${two(n)}`, slot: n, state: trouble && n === 9 && chassis === "xyratex" ? "absent" : "ok",
                status: "ok", present: !(trouble && n === 9 && chassis === "xyratex"), fault_led: trouble && n === 4})),
            power_supplies: list(supplies, (n) => ({name: `psu${n}`, index: n, state: "ok", status: "ok", fail: false, ac_fail: false,
                requested_on: true, requested_fail: false})),
            fans: list(fans, (n) => ({name: `fan${n}`, index: n, state: rpm(n, at) ? "ok" : "fault", rpm: rpm(n, at), minimum_rpm: 2000,
                running: rpm(n, at) > 0, fail: false, requested_on: true})),
            temperatures: list(temps, (n) => ({name: `temp${n}`, index: n, celsius: celsius(n, at), limits: LIMITS,
                state: celsius(n, at) > 60 ? "fault" : celsius(n, at) > 55 ? "warning" : "ok"})),
        };
        const problems = [...each.fans, ...each.temperatures].filter((one) => one.state !== "ok")
            .map((one) => ({element: one.name, state: one.state, text: evil || "at 0 RPM is under its limit of 2000 RPM"}));
        return mend({schema: "esactl.status", version: 1, time: iso(at), state: problems.length ? problems[0].state : "ok", exit_status: 0, problems,
            ...each, alarms: [{name: "alarm0", index: 0, muted: null, requested: {mute: null, remind: null, information: null, noncritical: null,
                critical: null, unrecoverable: null}}],
            monitor: asking});
    };
    const entry = (sequence, at, name, severity, more) => ({schema: "esactl.event", version: 1, time: iso(at), id: 7, name, severity, elements: [],
        data: {}, repeats_held_back: 0, chassis: 2, chassis_name: chassis, sequence, count: 1, last_time: iso(at), text: evil || `something of ${name}`, ...more});
    const begun = now();
    const history = [
        entry(1, begun - 580, "monitor-started", "information", {schema: "esamon.monitor"}),
        entry(2, begun - 400, "temperature-sensor-status", "warning", {id: 8, elements: ["temp1"], data: {sensor: 1}}),
        entry(3, begun - 240, "fan-fault-status", "warning", {elements: [evil ? "fan0" : "fan2"]}),
        entry(4, begun - 238, "composite-fault-led", "warning", {schema: "esactl.startup", id: 14, data: {led: 2, on: trouble ? 1 : 0}}),
        entry(5, begun - 100, "information", "error", {id: 10, data: {information: 1}, count: 9, last_time: iso(begun - 8)}),
    ];
    const readings = (since, until) => {
        const step = Math.max(5, (until - since) / 400);
        const times = list(Math.floor((until - since) / step), (n) => since + n * step).filter((at) => at <= now());
        const series = (name, quantity, unit, limits, value) => ({name, element: name, quantity, unit, limits,
            points: times.map((at) => [at, value(at), value(at), value(at)])});
        return {schema: "esamon.readings", version: 1, since, until, step: 0, source: "raw", series: [
            ...list(temps, (n) => series(`temp${n}`, "temperature", "celsius", LIMITS, (at) => celsius(n, at))),
            ...list(fans, (n) => series(`fan${n}`, "speed", "rpm", {minimum: 2000}, (at) => rpm(n, at)))]};
    };
    const config = {schema: "esactl.config", version: 1, generation: 0, sub_enclosures: 0, processes: 1, logical_id: "0".repeat(16), vendor: evil,
        product: evil, revision: "", drives, power_supplies: supplies, fans, temperatures: temps, alarms: 1, chassis_name: known ? chassis : null,
        actions: ["leds", "alarm"], simulator: false};
    const streams = new Set();
    // What the monitor says of its asking; taken on by every status from then on.
    let asking = {answering: true, switch: true, age_seconds: 0.1, poll_seconds: 5, error: null};
    const say = (to, kind, body) => to.write(`event: ${kind}\ndata: ${JSON.stringify(body)}\n\n`);
    const answers = {
        config: () => config,
        status: (query) => status(query.has("at") ? Number(query.get("at")) : now()),
        events: (query) => ({schema: "esamon.events", version: 1, time: iso(now()), more: false,
            events: history.filter((one) => !query.has("type") || one.name === query.get("type"))}),
        readings: (query) => readings(Number(query.get("since")), Number(query.get("until"))),
    };
    const server = createServer((request, response) => {
        const url = new URL(request.url, "http://127.0.0.1");
        response.setHeader("Content-Security-Policy", POLICY);
        const name = url.pathname.replace("/api/v1/", "");
        if (name === "stream") {
            response.writeHead(200, {"Content-Type": "text/event-stream"});
            say(response, "status", status(now()));
            streams.add(response);
            response.on("close", () => streams.delete(response));
        } else if (answers[name]) {
            response.setHeader("Content-Type", "application/json");
            response.end(JSON.stringify(answers[name](url.searchParams)));
        } else {
            const file = join(panel, normalize(url.pathname === "/" ? "/index.html" : url.pathname));
            const there = existsSync(file) && statSync(file).isFile();
            response.writeHead(there ? 200 : 404, {"Content-Type": TYPES[extname(file)] ?? "text/plain"});
            if (there) {
                createReadStream(file).pipe(response);
            } else {
                response.end();
            }
        }
    });
    const timer = setInterval(() => streams.forEach((one) => say(one, "status", status(now()))), 5000);
    return new Promise((resolve) => server.listen(port, "127.0.0.1", () => resolve({
        address: `http://127.0.0.1:${server.address().port}/`,
        event: (one) => streams.forEach((to) => say(to, "event", one)),
        ask: (how) => {
            asking = {...asking, ...how};
            streams.forEach((to) => say(to, "alive", {schema: "esamon.alive", version: 1, time: iso(now()), monitor: asking}));
        },
        stop: () => {
            clearInterval(timer);
            server.closeAllConnections();
            return new Promise((done) => server.close(done));
        },
    })));
}
