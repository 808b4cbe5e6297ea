"""The monitor killed at random while it writes: what it has told is there afterwards, and nothing is broken."""

import http.client
import json
import os
import random
import signal
import sqlite3
import sys
import threading
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from place import EnclosureTest, stage
from client import Stream

TOKEN = "0123456789abcdef-token"
BODY = json.dumps({"request": "mute"})
HEADERS = {"Authorization": f"Bearer {TOKEN}", "Content-Type": "application/json"}
LONGEST_LIFE = 0.2  # seconds from its first answer on
LONGEST_START = 0.05
KILLED_AT_START = 0.2  # share of the lives
ALL_LOOKED_AT_EVERY = 50  # lives; the others look at what has been told since the last look
MOST_ENTRIES = 10000  # of one reply


class Asking(threading.Thread):
    """Asks for an action without a pause until the monitor is gone. Each has its entry on the disk when it is answered."""

    def __init__(self, client):
        super().__init__()
        self.client, self.answered = client, 0

    def run(self):
        connection = self.client.connection()
        try:
            while True:
                connection.request("POST", "/api/v1/alarm", BODY, HEADERS)
                connection.getresponse().read()
                self.answered += 1
        except (OSError, http.client.HTTPException):
            pass
        finally:
            connection.close()


class KillTest(EnclosureTest):
    def setUp(self):
        super().setUp()
        self.tokens = self.write("tokens", f"anna {TOKEN}\n")
        os.chmod(self.tokens, 0o600)
        self.told, self.looked_at, self.answered = {}, 0, 0
        self.chance = random.Random(int(os.environ.get("ESA_SEED", "1")))

    def start(self):
        return self.programs.start(self.stack, self.path("esamon.out"), "esamon", "--database", self.database, "--socket",
                                   self.socket, "--directory", "/run/esa", "--listen", "none", "--token-file", self.tokens)

    def wait_reachable(self):
        end = time.monotonic() + stage.ANSWER_SECONDS
        while time.monotonic() < end:
            try:
                if self.client.ask("/healthz").status == 200:
                    return
            except (OSError, http.client.HTTPException):
                time.sleep(0.002)
        self.fail("the monitor does not start: " + Path(self.path("esamon.out")).read_text(encoding="utf-8"))

    def entries(self, after):
        """What is there behind a sequence, as the monitor reads it; only what has not been told yet is held against a schema."""
        found, before = {}, None
        while True:
            connection = self.client.connection()
            connection.request("GET", f"/api/v1/events?limit={MOST_ENTRIES}&after={after}" + (f"&before={before}" if before else ""))
            document = json.loads(connection.getresponse().read())
            connection.close()
            found.update((entry["sequence"], entry) for entry in document["events"])
            if not document["more"]:
                return found
            before = min(found)

    def look(self, after):
        found = self.entries(after)
        told = {number: entry for number, entry in self.told.items() if number > after}
        self.assertEqual({number: found.get(number) for number in told}, told)
        self.assertEqual(sorted(found), list(range(after + 1, after + 1 + len(found))))
        self.looked_at = max(found)
        return found

    def look_at_all(self):
        found = self.look(0)
        actions = sum(entry["name"] == "action" for entry in found.values())
        self.assertGreaterEqual(actions, self.answered)
        connection = sqlite3.connect(self.database)
        self.assertEqual(connection.execute("PRAGMA integrity_check").fetchall(), [("ok",)])
        connection.close()
        return found

    def live(self, monitor):
        """Takes down everything that the stream tells, until the monitor is killed at a moment that it cannot know."""
        asking = Asking(self.client)
        end = threading.Timer(self.chance.uniform(0, LONGEST_LIFE), monitor.send_signal, [signal.SIGKILL])
        stream = Stream(self.client, {"Last-Event-ID": str(self.looked_at)})
        asking.start()
        end.start()
        try:
            while True:  # to the last byte that came before the end
                kind, number, document = stream.message()
                if kind == "event":
                    self.told[number] = document
        except (EOFError, OSError, http.client.HTTPException):
            pass
        stream.close()
        asking.join()
        self.answered += asking.answered
        monitor.wait()

    def test_killed_at_random_it_loses_nothing_that_it_has_told(self):
        """ESA_KILLS says how often."""
        lives = int(os.environ.get("ESA_KILLS", "40"))
        begin = time.monotonic()
        for life in range(lives):
            monitor = self.start()
            if self.chance.random() < KILLED_AT_START:
                time.sleep(self.chance.uniform(0, LONGEST_START))
                monitor.kill()
                monitor.wait()
                continue
            with self.subTest(life=life):
                self.wait_reachable()
                if life % ALL_LOOKED_AT_EVERY == 0:
                    self.look_at_all()
                else:
                    self.look(self.looked_at)
                self.live(monitor)
        self.start()
        self.wait_reachable()
        found = self.look_at_all()
        self.assertFalse(list(Path(self.work).glob("*.aside-*")))
        print(f"{lives} kills in {time.monotonic() - begin:.0f} s: {len(self.told)} entries told and {self.answered} actions "
              f"answered, none lost; {len(found)} entries in the history")
        self.assertGreater(len(self.told), lives)
        self.assertGreater(self.answered, lives // 2)


if __name__ == "__main__":
    stage.main()
