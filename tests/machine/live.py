#!/usr/bin/env python3
"""live.py CHASSIS FOLDER [--once]: the installed package at work in the machine, for a person to look at.

The machine's console is this terminal: the live view of the enclosure, until it is left. The simulator listens for
commands in FOLDER. With --once one status view and one JSON document are printed instead.
"""

import contextlib
import os
import signal
import subprocess
import sys

import machine
import places

VIEW = "run /usr/bin/esactl --timeout 60 config\nterminal /usr/bin/esactl watch\n"


def simulator(stack, chassis, folder, *more):
    bus = os.path.join(folder, "bus")
    words = [places.program("encsim"), "--chassis", chassis, "--vhost-user", bus, "--control",
             os.path.join(folder, "control"), *more]
    stack.enter_context(places.started(words, "ready\n", os.path.join(folder, "encsim.out")))
    return bus


def watch(chassis, folder):
    with contextlib.ExitStack() as stack:
        bus = simulator(stack, chassis, folder)
        disk = machine.ramdisk(folder, chassis, machine.SWITCH, more=VIEW)
        print(f"The machine starts; the {chassis} enclosure is shown when its LEDs have been tested, in about ten seconds. "
              "In another terminal try: ./run --sim heat 1600", flush=True)
        emulator = subprocess.Popen(machine.command(folder, disk, bus, console="stdio", ports=()))
        stack.callback(emulator.wait)
        stack.callback(emulator.terminate)  # by which it gives the terminal back as it was
        return emulator.wait()


def once(chassis, folder):
    with contextlib.ExitStack() as stack:
        bus = simulator(stack, chassis, folder, "--frozen")
        disk = machine.ramdisk(folder, chassis, machine.SWITCH)
        run = machine.Machine(stack, folder, disk, bus)
        for words in ("status", "status --json"):
            status, out, err = run.do("run /usr/bin/esactl --timeout 60 " + words)
            sys.stdout.write(out.decode())
            if status & 7:
                sys.exit(err.decode())
    return 0


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    sys.exit((once if "--once" in sys.argv else watch)(sys.argv[1], sys.argv[2]))
