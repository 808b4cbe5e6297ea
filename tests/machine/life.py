"""One life of an enclosure, the same wherever the adapter lives it, and the record of all that was to be seen of it."""

import json
import os
import re
import select
import socket
import struct
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from messages import RECEIVE_DIAGNOSTIC, SEND_DIAGNOSTIC, message  # noqa: E402

PATIENCE = 120

REPLY = 18  # the protocol of the page requests, and of the replies to them


def page_request(code):
    return message(28, RECEIVE_DIAGNOSTIC, bytes([0x1C, 0x80, code, 0, 0x10, 0, 0, 0]))


def control_request(counts, lit=(), alarm=0):
    """A control page: the fault LEDs of these drives, and the alarm's tones; it says nothing of the other elements."""
    page = bytearray(bytes.fromhex("0200000000000000") + bytes(4))
    for drive in range(counts["drives"]):
        page += bytes([0, 0, 0, 4 if drive in lit else 0])
    page += bytes(4 * (3 + counts["supplies"] + counts["fans"] + counts["records"]))
    page += bytes([0, 0, 0, 0x80, 0x80 if alarm else 0, 0, 0, alarm]) + bytes(16)
    page[2:4] = struct.pack(">H", len(page) - 4)
    return message(28, SEND_DIAGNOSTIC, bytes([0x1D, 0x10, 0, 0]) + struct.pack(">HH", len(page), 0) + bytes(page))


class Switch:
    """The message switch's end of the adapter's connection."""

    def __init__(self, peer):
        self.peer = peer
        self.pending = b""

    def send(self, bytes_):
        self.peer.sendall(bytes_)

    def receive(self):
        self._take(64)
        length = struct.unpack_from(">H", self.pending, 10)[0]
        self._take(length)
        whole, self.pending = self.pending[:length], self.pending[length:]
        return whole

    def _take(self, count):
        end = time.monotonic() + PATIENCE
        while len(self.pending) < count:
            if not select.select([self.peer], [], [], max(0, end - time.monotonic()))[0]:
                raise TimeoutError("the adapter sends nothing")
            got = self.peer.recv(65536)
            if not got:
                raise EOFError("the adapter has closed its connection")
            self.pending += got


class Simulator:
    """The simulator's control socket."""

    def __init__(self, path):
        self.peer = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.peer.settimeout(PATIENCE)
        self.peer.connect(path)

    def close(self):
        self.peer.close()

    def __call__(self, line):
        self.peer.sendall(line.encode() + b"\n")
        reply = b""
        while not re.search(rb"(^|\n)(ok|error: [^\n]*)\n$", reply):
            got = self.peer.recv(65536)
            if not got:
                raise EOFError("the simulator is gone")
            reply += got
        if not reply.endswith(b"ok\n"):
            raise RuntimeError(f"{line}: {reply.decode()}")
        return reply[:-3].decode()


class Life:
    """Drives adapter and simulator through the same events in the same order."""

    def __init__(self, switch, simulator):
        self.switch = Switch(switch)
        self.simulator = simulator
        self.seen = []  # (what, bytes): the steps, and every message both ways
        self.idle = None

    def note(self, text):
        self.seen.append(("step", text.encode()))

    def transfers(self):
        return int(self.simulator("transfers").split()[1])

    def keep(self, what, bytes_):
        # The first two words of the adapter's messages are addresses in its memory.
        self.seen.append((what, bytes_ if what == "to" else bytes(8) + bytes_[8:]))

    def ask(self, request, quiet=False):
        """The reply to a request; what comes before it is kept too. `quiet` requests leave no record of themselves."""
        if not quiet:
            self.keep("to", request)
        self.switch.send(request)
        while True:
            got = self.switch.receive()
            if got[12] == REPLY:
                if not quiet:
                    self.keep("from", got)
                return got
            self.keep("from", got)

    def page(self, code):
        return self.ask(page_request(code))

    def poll(self):
        """Makes passes of the main loop, by requests that touch no hardware, until the adapter has polled.

        How many it takes depends on how many seconds have passed, so they are no part of the record.
        """
        start = self.transfers()
        for _ in range(30):
            self.idle_pass()
            if self.transfers() != start:
                self.idle_pass()  # answered when the poll is over
                return
        raise AssertionError("the adapter does not poll")

    def idle_pass(self):
        reply = self.ask(page_request(1), quiet=True)
        reply = bytes(8) + reply[8:]
        self.idle = self.idle or reply
        if reply != self.idle:
            raise AssertionError("the configuration has changed")

    def polls(self, command, text, count=1):
        """A change of the world, the polls that see it, and the status page after them."""
        self.note(text)
        self.simulator(command)
        for _ in range(count):
            self.poll()
        self.page(2)

    def set_temperatures(self, sensors, celsius, text, count=1):
        self.note(text)
        for sensor in range(sensors):
            self.simulator(f"temp {sensor} {celsius}")
        for _ in range(count):
            self.poll()
        self.page(2)

    def controls(self, request, text):
        """A control page, the status page after it, and what the enclosure then shows."""
        self.note(text)
        self.ask(request)
        self.page(2)
        world = json.loads(self.simulator("show --json"))
        lit = [drive["index"] for drive in world["drives"] if drive["led"]]
        self.seen.append(("world", f"{lit} {world['alarm']['sounding']}".encode()))
        self.poll()  # every request brings the next poll nearer, which is to come in its own step

    def live(self, counts):
        """From the adapter's first message to its last."""
        self.note("start")
        self.keep("from", self.switch.receive())
        self.page(1)  # answered when the LEDs have been tested and the chassis is initialised
        self.note("healthy")
        self.page(2)
        self.poll()
        self.page(2)
        self.polls("fan 1 stall", "a fan stalls", 2)
        self.polls("fan 1 ok", "the fan turns again")
        self.polls("psu 0 fail", "a supply fails", 2)
        self.polls("psu 0 ok", "the supply is well again")
        self.set_temperatures(counts["sensors"], 56, "warm")
        self.set_temperatures(counts["sensors"], 61, "too hot: shut down", 2)
        self.set_temperatures(counts["sensors"], 30, "cool again")
        self.controls(control_request(counts, lit={0, 3, 11}), "LEDs of three drives")
        self.controls(control_request(counts), "LEDs off")
        self.controls(control_request(counts, alarm=0x20), "the alarm sounds")
        self.controls(control_request(counts, alarm=0x02), "the alarm is muted")
        if counts["sets its alarm"]:
            self.polls("alarm critical", "the enclosure's own alarm")
            self.polls("alarm idle", "the enclosure's alarm ends")
        self.polls("bus fail 1 skip 3 second", "a read fails behind the repeated start")
        self.poll()
        self.polls("bus fail 1 skip 4", "an address is not acknowledged")
        self.poll()
        self.polls("bus fail 100000 skip 2", "the bus is gone in the middle of a poll", 2)
        self.polls("bus ok", "the bus is back", 2)
        self.note("end")


def stripped_trace(text):
    """Trace lines without what differs from run to run: time stamps, addresses, the number of a descriptor, and how
    often the adapter was asked for the page that makes it pass the time."""
    text = re.sub(r"(?m)^[A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d  ", "", text)
    text = re.sub(r"(?m)^0x[0-9A-F]{8}: ", "0x: ", text)
    text = re.sub(r"connects to MSM with socket \[\d+\]", "connects to MSM", text)
    parts = re.split(r"(?m)^(?=\w+:\d+:  Receive a MMSG)", text)
    idle = max(set(parts), key=parts.count)
    return "".join(part.removeprefix(idle) for part in parts)
