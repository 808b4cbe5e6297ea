"""What the monitor does not put up with, and what it leaves to others."""

import http.client
import json
import os
import socket
import sys
import threading
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from place import EnclosureTest, stage
from client import Client, Stream

TOKEN = "0123456789abcdef-token"
REQUESTS = 700  # each is an entry of half a kilobyte: twice what a socket holds and what is kept for streams
PATIENCE = 20  # seconds


class Reader(threading.Thread):
    """Reads a stream's entries until that of sequence `last`, or its end."""

    def __init__(self, stream):
        super().__init__()
        self.stream, self.numbers, self.last, self.has_ended = stream, [], None, False

    def run(self):
        try:
            while self.last is None or self.numbers[-1:] != [self.last]:
                kind, number, _ = self.stream.message()
                if kind == "event":
                    self.numbers.append(number)
        except (EOFError, OSError, http.client.HTTPException):
            self.has_ended = True


class HalfRequest(threading.Thread):
    """A request whose end never comes; what comes back, and after how long."""

    def __init__(self, port):
        super().__init__()
        self.port, self.received, self.seconds = port, None, 0

    def run(self):
        begin = time.monotonic()
        with socket.create_connection(("127.0.0.1", self.port), timeout=2 * PATIENCE) as connection:
            connection.sendall(b"GET /healthz HTTP/1.1\r\nHost: 127.0.0.1\r\n")
            self.received = connection.recv(1)
            self.seconds = time.monotonic() - begin


class LimitsTest(EnclosureTest):
    def ask_often(self, count):
        """Entries for the streams; the sequence of the latest."""
        connection = self.client.connection()
        for _ in range(count):
            connection.request("POST", "/api/v1/alarm", json.dumps({"request": "mute"}),
                               {"Authorization": f"Bearer {TOKEN}", "Content-Type": "application/json"})
            connection.getresponse().read()
        connection.close()
        return self.client.events("?limit=1")[0]["sequence"]

    def start_with_token(self, *options):
        tokens = self.write("tokens", f"anna {TOKEN}\n")
        os.chmod(tokens, 0o600)
        monitor = self.start_monitor("--token-file", tokens, *options)
        stage.wait_for(lambda: self.client.events("?type=switch-lost"), "the missing switch")
        return monitor

    def test_who_does_not_read_is_dropped_and_holds_up_nobody(self):
        monitor = self.start_with_token()

        def is_socket(descriptor):
            try:
                return os.readlink(descriptor).startswith("socket:")
            except FileNotFoundError:
                return False  # closed meanwhile

        def sockets():
            return sum(is_socket(descriptor) for descriptor in Path(f"/proc/{monitor.pid}/fd").iterdir())

        before = sockets()
        asked = time.monotonic()
        half = HalfRequest(self.PORT)
        half.start()
        slow, silent = Stream(self.client), Stream(self.client)
        reader = Reader(Stream(self.client))
        reader.start()
        last = self.ask_often(REQUESTS)
        # Who has read meanwhile has heard everything, in order.
        stage.wait_for(lambda: reader.numbers[-1:] == [last], "the latest entry")
        self.assertEqual(reader.numbers, list(range(reader.numbers[0], last + 1)))
        self.assertGreaterEqual(len(reader.numbers), REQUESTS)
        # Who begins to read now gets what was on its way, and then the end instead of a gap.
        late = Reader(slow)
        late.run()
        self.assertTrue(late.has_ended)
        self.assertEqual(late.numbers, list(range(late.numbers[0], late.numbers[0] + len(late.numbers))))
        self.assertLess(len(late.numbers), REQUESTS)
        self.assertLess(time.monotonic() - asked, PATIENCE, "too slow a machine: the stream may have ended for another reason")
        reader.last = last
        reader.join()
        reader.stream.close()
        slow.close()
        # Neither a request that is never whole nor a stream that is never read stays for ever.
        half.join()
        self.assertEqual(half.received, b"")
        self.assertAlmostEqual(half.seconds, PATIENCE, delta=3)
        stage.wait_for(lambda: sockets() == before, "the end of the stream that nobody reads", seconds=2 * PATIENCE)
        silent.close()

    def test_who_has_missed_much_is_told_in_pieces_without_a_gap(self):
        self.start_with_token()
        last = self.ask_often(1100)
        first = Reader(Stream(self.client, {"Last-Event-ID": "0"}))
        first.last = 1001
        first.run()
        self.assertEqual((first.has_ended, first.numbers), (True, list(range(1, 1001))))
        rest = Reader(Stream(self.client, {"Last-Event-ID": "1000"}))
        rest.last = last
        rest.run()
        self.assertEqual((rest.has_ended, rest.numbers), (False, list(range(1001, last + 1))))
        first.stream.close()
        rest.stream.close()

    def test_connections_streams_and_requests_have_their_bounds(self):
        self.start_with_token()
        web = Client(f"127.0.0.1:{self.PORT}")
        idle = [socket.create_connection(("127.0.0.1", self.PORT), timeout=5) for _ in range(300)]
        stage.wait_for(lambda: not self.is_answered(web), "the bound")
        self.assertEqual(self.client.ask("/healthz").status, 200)  # the local ones have their own
        for one in idle[:5]:
            one.close()
        stage.wait_for(lambda: self.is_answered(web), "a place")
        for one in idle[5:]:
            one.close()
        streams = [Stream(self.client) for _ in range(240)]
        self.assertEqual({stream.response.status for stream in streams}, {200})
        refused = self.client.ask("/api/v1/stream")
        self.assertEqual((refused.status, refused.json["error"]["code"]), (503, "too-many"))
        streams.pop().close()
        stage.wait_for(lambda: self.opens_stream(), "a stream's place")
        for stream in streams:
            stream.close()
        self.assertIn(web.ask("/healthz", headers={"X-Long": "x" * 20000}).status, (413, 431))
        self.assertIn(web.ask("/" + "x" * 20000).status, (414, 431))
        good = {"Authorization": f"Bearer {TOKEN}", "Content-Type": "application/json"}
        self.assertEqual(web.ask("/api/v1/alarm", "POST", "x" * 8191, good).status, 413)  # and two quotes
        self.assertEqual(web.ask("/api/v1/alarm", "POST", "x" * 8190, good).status, 400)
        self.assertEqual(web.ask("/healthz").status, 200)

    def is_answered(self, client):
        connection = http.client.HTTPConnection(client.place, timeout=1)
        try:
            connection.request("GET", "/healthz")
            return connection.getresponse().status == 200
        except (OSError, http.client.HTTPException):
            return False
        finally:
            connection.close()

    def opens_stream(self):
        stream = Stream(self.client)
        self.addCleanup(stream.close)
        return stream.response.status == 200

    def leds(self):
        return [entry["elements"] for entry in self.client.events("?type=drive-fault-led-status")]

    def received(self, manager):
        """The LEDs that are on, of each event that waits for the event manager."""
        manager.settimeout(2)
        found = []
        try:
            while True:
                header = manager.recv(64, socket.MSG_WAITALL)
                body = manager.recv(int.from_bytes(header[10:12], "big") - 64, socket.MSG_WAITALL)
                self.assertEqual((header[16], len(body)), (33, 236))
                found.append(int.from_bytes(body[176:180], "big"))
        except TimeoutError:
            return found

    def test_the_event_manager_s_place_is_taken_only_when_that_is_asked_for(self):
        self.start_enclosure()
        listening = self.start_monitor()
        self.wait_answer()
        self.programs.run("esactl", "led", "3", "on")
        stage.wait_for(lambda: len(self.leds()) == 1, "the report")
        with self.enclosure.connect("eventlog") as manager:
            self.assertIn(1 << 3, self.received(manager))
        listening.terminate()
        listening.wait()
        self.programs.run("esactl", "led", "4", "on")
        self.start_monitor("--event-manager")
        stage.wait_for(lambda: len(self.leds()) == 2, "what had waited for the event manager")
        self.wait_answer()
        with self.enclosure.connect("eventlog") as manager:
            self.assertEqual(self.received(manager), [])
            # Whoever comes all the same has a copy of everything from then on.
            self.programs.run("esactl", "led", "5", "on")
            stage.wait_for(lambda: len(self.leds()) == 3, "the next report")
            self.assertEqual(self.received(manager), [1 << 3 | 1 << 4 | 1 << 5])


if __name__ == "__main__":
    stage.main()
