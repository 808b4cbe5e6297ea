"""The monitor beside the real adapter, the switch and the simulated enclosure."""

import json
import os
import signal
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from place import EnclosureTest, stage
from client import Client, Stream

TOKEN = "0123456789abcdef-token"


def name(wanted):
    return lambda document: document.get("name") == wanted


class MonitorTest(EnclosureTest):
    def test_the_night_s_question_is_answered(self):
        """An overheat: what came when, once with its count, live, in the history, in the readings, and as it was."""
        self.start_enclosure()
        self.start_monitor()
        self.wait_answer()
        self.assertEqual(self.client.get("/api/v1/config")["drives"], 16)
        self.assertEqual(len(self.client.get("/api/v1/status")["fans"]), 3)
        stream = Stream(self.client)
        self.addCleanup(stream.close)
        self.assertEqual(stream.until("status")[1]["state"], "ok")
        self.assertIn('esa_events_total{type="orderly-shutdown"} 0\n', self.client.ask("/metrics").body.decode())
        before = time.time()
        for sensor in range(3):
            self.enclosure.simulator(f"sensor {sensor} set 65")
        _, shutdown = stream.until("event", name("orderly-shutdown"))
        self.assertGreater(shutdown["time"], time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(before)))
        hot = [entry for entry in self.client.events("?type=state-change") if entry["to"] == "fault"]
        self.assertEqual(sorted(entry["elements"][0] for entry in hot), ["temp0", "temp1", "temp2"])
        self.assertIn(" over ", hot[0]["text"])
        _, repeat = stream.until("repeat", name("orderly-shutdown"))
        self.assertEqual(repeat["sequence"], shutdown["sequence"])
        self.assertGreater(repeat["count"], 1)
        self.assertEqual(len(self.client.events("?type=orderly-shutdown")), 1)
        self.assertEqual(self.client.get("/api/v1/config")["chassis_name"], "vsc055")
        elements = {entry["name"] for entry in self.client.events("?element=temp1&since=1h")}
        self.assertEqual(elements, {"temperature-sensor-status", "state-change"})
        self.assertEqual(self.client.get("/api/v1/status")["state"], "fault")
        self.assertEqual(self.client.get(f"/api/v1/status?at={before}")["state"], "ok")
        readings = self.client.get("/api/v1/readings?element=temp0,fan0&step=0")
        self.assertEqual([series["quantity"] for series in readings["series"]], ["temperature", "speed"])
        temperatures = [point[1] for point in readings["series"][0]["points"]]
        self.assertIn(65, temperatures)
        self.assertLess(temperatures[0], 60)
        metrics = self.client.ask("/metrics").body.decode()
        self.assertIn('esa_temperature_celsius{sensor="temp0"} 65\n', metrics)
        self.assertIn('esa_events_total{type="orderly-shutdown"} ', metrics)
        self.assertIn('chassis="vsc055"', metrics)

    def test_switch_and_adapter_come_and_go(self):
        self.start_monitor()
        self.assertEqual(self.client.ask("/api/v1/status").status, 503)
        stream = Stream(self.client)
        self.addCleanup(stream.close)
        stage.wait_for(lambda: any(entry["name"] == "switch-lost" for entry in self.client.events()), "the loss")
        self.start_enclosure()
        stream.until("event", name("switch-back"))
        _, start = stream.until("event", name("init-complete")) if not self.client.events("?type=init-complete") \
            else (0, self.client.events("?type=init-complete")[0])
        self.assertEqual(start["count"], 1)

    def metrics(self):
        return self.client.ask("/metrics").body.decode()

    def losses(self):
        return [entry["text"] for entry in self.client.events("?type=adapter-lost")]

    def test_an_adapter_that_goes_is_told_at_once_and_one_that_is_slow_answers(self):
        self.start_enclosure()
        monitor = self.start_monitor()
        self.wait_answer()
        self.assertIn("\nesa_adapter_connected 1\n", self.metrics())
        self.enclosure.adapter.kill()
        self.enclosure.adapter.wait()
        stage.wait_for(lambda: "\nesa_adapter_connected 0\n" in self.metrics(), "the loss", seconds=3)
        self.assertIn("\nesa_up 0\n", self.metrics())
        self.assertEqual(self.losses(), ["no adapter is connected to the switch"])
        self.enclosure.start_adapter(self.stack)
        stage.wait_for(lambda: "\nesa_up 1\n" in self.metrics(), "the return")
        self.assertEqual(len(self.client.events("?type=adapter-back")), 1)
        self.enclosure.adapter.send_signal(signal.SIGSTOP)
        end = time.monotonic() + 6
        while time.monotonic() < end:  # three polls' time, and less than it is waited for
            self.assertIn("\nesa_up 1\n", self.metrics())
            time.sleep(0.2)
        self.enclosure.adapter.send_signal(signal.SIGCONT)
        stage.wait_for(lambda: self.client.get("/api/v1/status")["monitor"]["age_seconds"] < 2, "the late answer")
        self.assertEqual(len(self.losses()), 1)
        # One that has just begun does not know yet.
        monitor.send_signal(signal.SIGKILL)
        monitor.wait()
        self.enclosure.adapter.send_signal(signal.SIGSTOP)
        self.start_monitor()
        stage.wait_for(lambda: "\nesa_adapter_connected 1\n" in self.metrics(), "the adapter's presence")
        self.assertNotIn("\nesa_up ", "\n" + self.metrics())
        self.enclosure.adapter.send_signal(signal.SIGCONT)
        stage.wait_for(lambda: self.metrics().startswith("# HELP esa_up "), "the answer")

    def test_a_bus_that_dies_is_one_cause(self):
        self.start_enclosure()
        self.start_monitor()
        self.wait_answer()
        self.assertIn("esa_enclosure_reached 1\n", self.client.ask("/metrics").body.decode())
        self.enclosure.simulator("line silent")
        dead = stage.wait_for(lambda: self.client.events("?element=enclosure"), "the cause")
        self.assertEqual([entry["to"] for entry in dead], ["fault"])
        self.assertIn("no answer on the I2C bus", dead[0]["text"])
        status = self.client.get("/api/v1/status")
        self.assertEqual([problem["element"] for problem in status["problems"]], ["enclosure"])
        self.assertEqual({drive["state"] for drive in status["drives"]}, {"unknown"})
        metrics = self.client.ask("/metrics").body.decode()
        self.assertIn("esa_enclosure_reached 0\n", metrics)
        self.assertNotIn("esa_fan_healthy{", metrics)
        self.enclosure.simulator("line ok")
        stage.wait_for(lambda: len(self.client.events("?element=enclosure")) == 2, "the return")
        self.assertEqual(self.client.get("/api/v1/status")["cause"], None)

    def test_a_pulled_supply_is_one_line_and_one_accept(self):
        self.start_enclosure("quadra")
        self.start_monitor()
        self.wait_answer()
        self.enclosure.simulator("psu 1 pull")
        change = stage.wait_for(lambda: self.client.events("?element=psu2&type=state-change"), "the change")
        self.assertEqual([entry["elements"] for entry in change], [["psu0", "psu1", "psu2"]])
        self.assertEqual(change[0]["text"], "psu0-psu2 together report redundancy lost")
        silent = self.programs.run("esactl", "events", "--since", "1h", "--type", "supplies")
        self.assertEqual((silent.returncode, silent.stdout), (0, ""))
        self.assertIn("it has no event of type supplies (as --json names them: fan-fault-status, ", silent.stderr)
        self.assertEqual(self.programs.run("esactl", "--state", self.work, "status").returncode, 8)
        accepted = self.programs.run("esactl", "--state", self.work, "accept", "psu2", "--until", "1h")
        self.assertEqual(accepted.returncode, 0, accepted.stderr)
        self.assertEqual(self.programs.run("esactl", "--state", self.work, "status").returncode, 0)
        status = stage.wait_for(lambda: (now := self.client.get("/api/v1/status"))["state"] == "ok" and now, "what is accepted")
        self.assertEqual(status["problems"], [])
        self.assertEqual([condition["elements"] for condition in status["accepted"]], [["psu0", "psu1", "psu2"]])
        metrics = self.client.ask("/metrics").body.decode()
        for psu in ("psu0", "psu1", "psu2"):
            self.assertIn(f'esa_condition_accepted{{element="{psu}"}} 1\n', metrics)
            self.assertIn(f'esa_power_supply_healthy{{supply="{psu}"}} 0\n', metrics)
        self.assertIn('esa_enclosure_state{state="ok"} 1\n', metrics)
        self.programs.run("esactl", "--state", self.work, "accept", "psu0", "--revoke")
        self.assertEqual(self.client.get("/api/v1/status")["state"], "fault")
        self.enclosure.simulator("psu 1 insert")
        back = stage.wait_for(lambda: self.client.events("?element=psu0&type=state-change")[1:], "the return")
        self.assertEqual((back[0]["elements"], back[0]["text"]), (["psu0", "psu1", "psu2"], "psu0-psu2 are ok"))

    def test_a_monitor_that_was_killed_has_lost_and_doubled_nothing(self):
        self.start_enclosure()
        monitor = self.start_monitor()
        self.wait_answer()
        self.enclosure.simulator("fan 1 stall")
        stage.wait_for(lambda: self.client.events("?type=fan-fault-status"), "the fan's event")
        seen = self.client.events()
        monitor.send_signal(signal.SIGKILL)
        monitor.wait()
        self.programs.run("esactl", "led", "3", "on")
        self.start_monitor()
        self.wait_answer()
        entries = self.client.events()
        self.assertEqual(entries[:len(seen)], seen)
        self.assertEqual(len(self.client.events("?type=fan-fault-status")), 1)
        led = stage.wait_for(lambda: self.client.events("?type=drive-fault-led-status"), "what it did not see")
        self.assertEqual(led[0]["elements"], ["slot03"])
        stream = Stream(self.client, {"Last-Event-ID": str(seen[-1]["sequence"])})
        self.assertEqual(stream.until("event")[0], seen[-1]["sequence"] + 1)
        stream.close()

    def test_only_a_token_of_our_own_page_changes_something(self):
        self.start_enclosure()
        tokens = self.write("tokens", f"# who may\nanna {TOKEN}\n")
        os.chmod(tokens, 0o600)
        self.start_monitor("--token-file", tokens, "--host", "rack7")
        self.wait_answer()
        web = Client(f"127.0.0.1:{self.PORT}")
        good = {"Authorization": f"Bearer {TOKEN}", "Content-Type": "application/json"}
        ask = {"slots": ["slot03"], "state": "on"}
        self.assertEqual(web.ask("/api/v1/leds", "POST", ask, {"Content-Type": "application/json"}).status, 401)
        for wrong in (TOKEN[:-1], TOKEN + "x", "x" * len(TOKEN), ""):
            self.assertEqual(web.ask("/api/v1/leds", "POST", ask, {**good, "Authorization": f"Bearer {wrong}"}).status, 401)
        self.assertEqual(web.ask("/api/v1/leds", "POST", ask, {**good, "Origin": "http://evil.example"}).status, 403)
        self.assertEqual(web.ask("/api/v1/leds", "POST", ask, {**good, "Sec-Fetch-Site": "cross-site"}).status, 403)
        self.assertEqual(web.ask("/api/v1/leds", "POST", ask, {**good, "Content-Type": "text/plain"}).status, 415)
        self.assertEqual(web.ask("/api/v1/leds", "POST", {"slots": ["slot99"], "state": "on"}, good).status, 400)
        self.assertEqual(web.ask("/api/v1/leds", "POST", {"slots": [], "state": "on"}, good).status, 400)
        self.assertEqual(web.ask("/api/v1/leds", "POST", {"slots": "x" * 9000, "state": "on"}, good).status, 413)
        self.assertEqual(web.ask("/api/v1/status", headers={"Host": "evil.example"}).status, 403)
        self.assertEqual(web.ask("/api/v1/status", headers={"Host": "rack7"}).status, 200)
        # The adapter answers in order: what had been asked for would be lit by now. The monitor's status is of its last poll.
        self.assertEqual(self.esactl("config").returncode, 0)
        self.assertEqual(self.lit_drives(), [])
        reply = web.ask("/api/v1/leds", "POST", ask, {**good, "Origin": f"http://127.0.0.1:{self.PORT}"})
        self.assertEqual((reply.status, reply.json["elements"]), (200, ["slot03"]))
        self.assertEqual(self.lit_drives(), [3])
        stage.wait_for(lambda: self.client.get("/api/v1/status")["drives"][3]["fault_led"], "the LED")
        done = [entry for entry in self.client.events("?type=action") if entry["result"] == "accepted"]
        self.assertEqual([entry["text"] for entry in done], ["anna asked for leds on: slot03"])
        self.assertEqual(web.ask("/api/v1/fans", "POST", {"fan": "fan1", "state": "on"}, good).status, 200)
        self.assertEqual(web.ask("/api/v1/alarm", "POST", {"request": "mute"}, good).status, 200)

    def test_the_past_comes_in_portions_that_say_whether_there_is_more(self):
        tokens = self.write("tokens", f"anna {TOKEN}\n")
        os.chmod(tokens, 0o600)
        self.start_monitor("--token-file", tokens)
        stage.wait_for(lambda: self.client.events("?type=switch-lost"), "the missing switch")
        good = {"Authorization": f"Bearer {TOKEN}", "Content-Type": "application/json"}
        for _ in range(5):
            self.assertEqual(self.client.ask("/api/v1/alarm", "POST", {"request": "mute"}, good).status, 503)
        everything = self.client.get("/api/v1/events")
        self.assertFalse(everything["more"])
        entries = everything["events"]
        self.assertGreaterEqual(len(entries), 7)
        found, before = [], ""
        while True:
            portion = self.client.get("/api/v1/events?limit=3" + before)
            found = portion["events"] + found
            if not portion["more"]:
                break
            self.assertEqual(len(portion["events"]), 3)
            before = f"&before={min(entry['sequence'] for entry in found)}"
        self.assertEqual(found, entries)
        whole = self.client.get(f"/api/v1/events?limit={len(entries)}")
        self.assertEqual((whole["events"], whole["more"]), (entries, False))

    def test_it_ends_well_by_a_signal_and_says_why_it_cannot_start(self):
        # Whoever runs the tests may outlive a terminal; a program that inherits this outlives it as well.
        self.addCleanup(signal.signal, signal.SIGHUP, signal.signal(signal.SIGHUP, signal.SIG_DFL))
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            monitor = self.start_monitor()
            monitor.send_signal(number)
            self.assertEqual(monitor.wait(stage.ANSWER_SECONDS), 0)
            self.assertFalse(os.path.exists(self.socket))
        self.start_monitor()
        taken = f"another monitor listens at {self.socket}; give this one another --socket"
        for options, complaint in (
                (("--socket", self.socket, "--listen", "none"), taken),
                (("--socket", "none", "--listen", f"127.0.0.1:{self.PORT}"),
                 f"cannot listen at 127.0.0.1:{self.PORT}: Address already in use; give another --listen, or none"),
                (("--socket", "none", "--listen", "9634"), "'9634' is no ADDRESS:PORT; give one as 127.0.0.1:9634, or none"),
                (("--socket", "none", "--listen", "none"), "--socket none and --listen none together leave nothing to listen at"),
                (("--socket", "none", "--token-file", self.path("none")),
                 f"cannot read the token file '{self.path('none')}': No such file or directory")):
            refused = self.programs.run("esamon", "--database", self.path("other.db"), *options)
            self.assertEqual((refused.returncode, refused.stdout, refused.stderr), (1, "", f"esamon: {complaint}\n"))

    def lit_drives(self):
        return [drive["index"] for drive in json.loads(self.enclosure.simulator("show --json").splitlines()[0])["drives"]
                if drive["led"]]

    def test_pages_are_served_with_care(self):
        panel = Path(self.work) / "panel"
        panel.mkdir()
        (panel / "index.html").write_text("<!doctype html>", encoding="utf-8")
        (panel / "panel.js").write_text("1", encoding="utf-8")
        (panel / ".secret").write_text("x", encoding="utf-8")
        self.start_monitor("--panel", str(panel))
        page = self.client.ask("/")
        self.assertEqual((page.status, page.headers["Content-Type"]), (200, "text/html; charset=utf-8"))
        for path in ("/", "/none.html", "/api/v1/events", "/api/v1/status", "/metrics", "/healthz"):
            headers = self.client.ask(path).headers
            self.assertEqual(headers["Content-Security-Policy"],
                             "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; font-src 'self'; "
                             "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'", path)
            self.assertEqual(headers["X-Frame-Options"], "DENY", path)
            self.assertEqual(headers["X-Content-Type-Options"], "nosniff", path)
            self.assertEqual(headers["Referrer-Policy"], "no-referrer", path)
            self.assertIsNone(headers["Set-Cookie"], path)
        again = self.client.ask("/", headers={"If-None-Match": page.headers["ETag"]})
        self.assertEqual((again.status, again.body), (304, b""))
        self.assertEqual(self.client.ask("/panel.js").headers["Content-Type"], "text/javascript; charset=utf-8")
        for path in ("/.secret", "/../history.db", "/%2e%2e/history.db", "/none.html", "/api/v1/none"):
            self.assertEqual(self.client.ask(path).status, 404, path)
        self.assertEqual(self.client.ask("/api/v1/leds", "POST", {}).status, 404)
        self.assertEqual(self.client.ask("/api/v1/status", "DELETE").status, 405)
        for query in ("events?since=yesterday", "events?limit=0", "events?colour=red", "readings?element=nonsense",
                      "readings?step=-1", "status?at=x"):
            self.assertEqual(self.client.ask("/api/v1/" + query).status, 400, query)

    def test_two_hundred_streams_cost_less_than_twenty_megabytes(self):
        self.start_enclosure()
        monitor = self.start_monitor()
        self.wait_answer()

        def memory():
            for line in Path(f"/proc/{monitor.pid}/status").read_text(encoding="utf-8").splitlines():
                if line.startswith("VmRSS"):
                    return int(line.split()[1])

        before = memory()
        streams = [Stream(self.client) for _ in range(200)]
        for stream in streams:
            stream.until("alive")
            stream.until("status")
        cost = memory() - before
        print(f"200 streams: {cost} kB")
        self.assertLess(cost, 20 * 1024)
        for stream in streams:
            stream.close()
        self.assertEqual(self.client.ask("/healthz").body, b"ok\n")

    def test_a_damaged_history_is_set_aside(self):
        Path(self.database).write_bytes(b"not a database at all" * 1000)
        self.start_monitor()
        entries = self.client.events()
        self.assertEqual([entry["name"] for entry in entries[:2]], ["history-set-aside", "monitor-started"])
        self.assertIn(".aside-", entries[0]["text"])
        self.assertEqual(len(list(Path(self.work).glob("history.db.aside-*"))), 1)


if __name__ == "__main__":
    stage.main()
