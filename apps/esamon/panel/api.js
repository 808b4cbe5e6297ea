/** The monitor's interface: questions, requests, and the stream that comes back by itself. */

export class ApiError extends Error {
    constructor(status, text) {
        super(text);
        this.status = status;
    }
}

async function answer(response) {
    const body = await response.json().catch(() => null);
    if (!response.ok) {
        throw new ApiError(response.status, body?.error?.text ?? `${response.status} ${response.statusText}`);
    }
    return body;
}

export async function get(path, parameters = {}) {
    const query = new URLSearchParams();
    for (const [name, value] of Object.entries(parameters)) {
        if (value !== undefined && value !== null && value !== "") {
            query.set(name, value);
        }
    }
    const text = query.toString();
    return answer(await fetch(`api/v1/${path}${text && `?${text}`}`, {cache: "no-store", credentials: "omit"}));
}

/** The token travels in a header only: never in an address, which logs and histories keep. */
export async function post(path, body, token) {
    const headers = {"Content-Type": "application/json"};
    if (token) {
        headers.Authorization = `Bearer ${token}`;
    }
    return answer(await fetch(`api/v1/${path}`, {method: "POST", headers, credentials: "omit", body: JSON.stringify(body)}));
}

const KINDS = ["status", "config", "event", "repeat", "alive"];
// The monitor gives a sign of life every five seconds.
const SILENCE_MS = 12000;
const FIRST_PAUSE_MS = 500;
const LONGEST_PAUSE_MS = 5000;

/**
 * Calls `receive(kind, document)` for each message and `connected(boolean)` on every change. Reconnects for as long as the
 * page lives, with the sequence of the last entry, so that nothing of the history is missed in between. A browser's own
 * reconnection gives up after an answer that is no stream, such as that of a monitor which is just starting.
 */
export function openStream(receive, connected) {
    let last = 0;
    let pause = FIRST_PAUSE_MS;
    let source = null;
    let watchdog = 0;

    function restart() {
        clearTimeout(watchdog);
        source.close();
        connected(false);
        setTimeout(open, pause);
        pause = Math.min(2 * pause, LONGEST_PAUSE_MS);
    }
    function alive() {
        clearTimeout(watchdog);
        watchdog = setTimeout(restart, SILENCE_MS);
    }
    function open() {
        source = new EventSource(`api/v1/stream${last ? `?after=${last}` : ""}`);
        alive();
        source.addEventListener("open", () => {
            pause = FIRST_PAUSE_MS;
            alive();
            connected(true);
        });
        source.addEventListener("error", restart);
        for (const kind of KINDS) {
            source.addEventListener(kind, (message) => {
                alive();
                const body = JSON.parse(message.data);
                if (kind === "event") {
                    last = Math.max(last, body.sequence);
                }
                receive(kind, body);
            });
        }
    }
    open();
    return {seen: (sequence) => (last = Math.max(last, sequence))};
}
