#!/usr/bin/env python3
"""How long others wait while somebody misuses the switch.

usage: bench/switch_under_abuse.py MSM [SECONDS]

MSM is the switch's program. For every kind of misuse: a peer asks an adapter that needs 1 ms for an answer, a newcomer
connects and asks, and the adapter sends an event to the event manager, 10 times a second each; the table has the median
and the greatest time in milliseconds. The misuse runs in processes of its own.
"""
import contextlib
import multiprocessing
import os
import signal
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "support"))
from messages import ADAPTER, EVENTLOG, RECEIVE_DIAGNOSTIC, STARTUP, connect, message, receive, word  # noqa: E402

PAGE_SECONDS = 0.001
INTERVAL = 0.1


def peer(directory):
    there = connect(directory, "peer")
    return there, receive(there)[18]


class Adapter(threading.Thread):
    """Answers requests, one after the other, and counts them; sends events when asked to."""

    def __init__(self, directory):
        super().__init__(daemon=True)
        self.socket = connect(directory, "esadapter")
        self.served = 0
        self.lock = threading.Lock()

    def run(self):
        with contextlib.suppress(OSError, EOFError):
            while True:
                request = receive(self.socket)
                self.served += 1
                time.sleep(PAGE_SECONDS)
                handle = word(request, 40)
                with self.lock:
                    self.socket.sendall(message(ADAPTER, RECEIVE_DIAGNOSTIC, bytes(128), handle, [request[16]]))

    def event(self, handle):
        with self.lock:
            self.socket.sendall(message(ADAPTER, 0x08000001, bytes(236), handle, [EVENTLOG]))


def ask(there, number, handle):
    there.sendall(message(number, RECEIVE_DIAGNOSTIC, bytes(8), handle))
    while word(receive(there), 40) != handle:
        pass


def newcomer(directory):
    there, number = peer(directory)
    with there:
        ask(there, number, 0x7E57)


def flood(directory, to, name="peer", length=72):
    there = connect(directory, name)
    number = receive(there)[18] if name == "peer" else {"startup": STARTUP, "eventlog": EVENTLOG}[name]
    there.settimeout(5)
    junk = message(number, RECEIVE_DIAGNOSTIC, bytes(length - 64), 1, to) * 64
    while True:
        with contextlib.suppress(TimeoutError):
            there.sendall(junk)


def crowd(directory, count):
    """Many connections that flood the adapter from one process."""
    def one():
        with contextlib.suppress(OSError):
            flood(directory, [ADAPTER])

    for _ in range(count):
        threading.Thread(target=one, daemon=True).start()
    signal.pause()


def storm(directory, name):
    while True:
        with contextlib.suppress(OSError):
            connect(directory, name).close()


def hold_all(directory, count):
    held = []
    for name in ("peer", "startup", "eventlog", "volmgr", "esadapter"):
        for _ in range(count):
            with contextlib.suppress(OSError):
                held.append(connect(directory, name))
    signal.pause()


def never_read(directory):
    """Asks and asks, and reads no answer."""
    there, number = peer(directory)
    while True:
        there.sendall(message(number, RECEIVE_DIAGNOSTIC, bytes(8), 0, [ADAPTER, number]))


def to_everybody(directory):
    flood(directory, range(64), length=4064)


ABUSES = {
    "none": [],
    "flood of requests": [(flood, [ADAPTER])],
    "flood of greatest messages to all": [(to_everybody,)],
    "flood to the event manager": [(flood, [EVENTLOG])],
    "flood through startup's socket": [(flood, [ADAPTER], "startup")],
    "29 connections that flood": [(crowd, 29)],
    "storm of connections": [(storm, "peer"), (storm, "esadapter")],
    "every place taken": [(hold_all, 300)],
    "asks, never reads": [(never_read,)],
    "all of it": [(flood, [ADAPTER]), (to_everybody,), (flood, [EVENTLOG]), (storm, "peer"), (hold_all, 300),
                  (never_read,)],
}


def repeat(seconds, times, failures, action):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        start = time.monotonic()
        try:
            action()
            times.append(time.monotonic() - start)
        except (OSError, EOFError) as error:
            failures.append(error)
        time.sleep(INTERVAL)


def measure(msm, abuses, seconds):
    with tempfile.TemporaryDirectory() as directory, contextlib.ExitStack() as stack:
        switch = subprocess.Popen([msm, "--directory", directory], stdout=subprocess.PIPE)
        stack.callback(switch.wait)
        stack.callback(switch.terminate)
        switch.stdout.readline()
        threading.Thread(target=switch.stdout.read, daemon=True).start()
        adapter = Adapter(directory)
        adapter.start()
        manager = connect(directory, "eventlog")
        asker, number = peer(directory)
        for function, *arguments in abuses:
            process = multiprocessing.Process(target=function, args=(directory, *arguments), daemon=True)
            process.start()
            stack.callback(process.join)
            stack.callback(process.kill)
        time.sleep(0.5)

        handles = iter(range(0x1000000, 0x2000000))

        def event():
            handle = next(handles)
            adapter.event(handle)
            while word(receive(manager), 40) != handle:
                pass

        actions = {"ask": lambda: ask(asker, number, next(handles)), "newcomer": lambda: newcomer(directory),
                   "event": event}
        served, start = adapter.served, time.monotonic()
        results = {name: ([], []) for name in actions}
        threads = [threading.Thread(target=repeat, args=(seconds, *results[name], action), daemon=True)
                   for name, action in actions.items()]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(seconds + 10)
        return results, (adapter.served - served) / (time.monotonic() - start)


def cell(times, failures):
    if not times:
        return "never"
    ordered = sorted(times)
    text = f"{ordered[len(ordered) // 2] * 1e3:.1f} / {ordered[-1] * 1e3:.1f}"
    return text + (f", {len(failures)} failed" if failures else "")


def main():
    msm = sys.argv[1]
    seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 5
    print("| Misuse | a peer asks | a newcomer asks | event arrives | requests the adapter got a second |")
    print("|---|---|---|---|---|")
    for name, abuses in ABUSES.items():
        results, rate = measure(msm, abuses, seconds)
        print(f"| {name} | {cell(*results['ask'])} | {cell(*results['newcomer'])} | {cell(*results['event'])} "
              f"| {rate:.0f} |", flush=True)


if __name__ == "__main__":
    main()
