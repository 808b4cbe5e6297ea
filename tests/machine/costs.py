#!/usr/bin/env python3
"""Counts what the adapter costs in instructions, natively beside PowerPC, and prints a table.

usage: costs.py [PRODUCT-BUILD [NATIVE-BIN]]   folders; build/product and build/run/bin unless given

Both run the same work in user-mode QEMU with a plug-in that counts: the vsc055 chassis behind the serial bridge.
"""

import contextlib
import mmap
import os
import statistics
import struct
import subprocess
import sys
import tempfile
import time

import life
import machine
import places

PLUGIN = os.path.join(machine.WORK, "count_plugin.so")


def build_plugin():
    subprocess.run(["g++", "-std=c++20", "-O2", "-Wall", "-Wextra", "-fPIC", "-shared", "-fvisibility=hidden",
                    os.path.join(machine.HERE, "count_plugin.cpp"), "-o", PLUGIN], check=True)


class Adapter(places.Native):
    """The adapter under the counting emulator, connected and initialised."""

    def __init__(self, stack, emulator, folder, tracing):
        counts = stack.enter_context(tempfile.NamedTemporaryFile())
        counts.truncate(16)
        self.shared = mmap.mmap(counts.fileno(), 16)
        config = machine.CONFIG if tracing else machine.CONFIG.replace("CmapTracingEnabled\n", "")
        super().__init__(stack, "vsc055", folder, config, emulator, ["-plugin", f"{PLUGIN},to={counts.name}"])
        self.switch = life.Switch(self.connection)
        self.switch.receive()  # it tells that it is up
        self.connected = self.counts()[0]
        self.ask(1)
        self.ready = self.counts()[0]

    def counts(self):
        """Instructions and unaligned accesses, when the adapter has come to rest."""
        before = None
        while before != (now := struct.unpack("=QQ", self.shared[:])):
            before = now
            time.sleep(0.03)
        return now

    def ask(self, code):
        self.switch.send(life.page_request(code))
        while self.switch.receive()[12] != life.REPLY:
            pass

    def costs_of(self, code, count=33):
        """Instructions of each of so many requests for a page; every eleventh makes the adapter poll."""
        costs = []
        for _ in range(count):
            start = self.counts()[0]
            self.ask(code)
            costs.append(self.counts()[0] - start)
        return costs

    def lines(self):
        with open(os.path.join(self.work, "esa_01.log"), "rb") as file:
            return file.read().count(b"\n")


def measure(emulator, folder):
    """Name and instructions of each item, and the unaligned accesses of both adapters."""
    with contextlib.ExitStack() as stack:
        adapter = Adapter(stack, emulator, folder, False)
        idle = adapter.costs_of(1)
        status = adapter.costs_of(2)
        unaligned = adapter.counts()[1]
    with contextlib.ExitStack() as stack:
        traced = Adapter(stack, emulator, folder, True)
        lines = traced.lines()
        all_of_them = sum(traced.costs_of(2))
        lines = traced.lines() - lines
        unaligned += traced.counts()[1]
    plain = statistics.median(status)
    return {
        "start up to the lamp test, loader included": adapter.connected,
        "the chassis after its lamp test": adapter.ready - adapter.connected,
        "poll": max(idle) - statistics.median(idle),
        "status request": plain,
        "status request, every line traced, with its share of a poll": all_of_them / 33,
        "trace line": (all_of_them - sum(status)) / lines,
        "trace lines a status request": lines / 33,
        "accesses that are not aligned": unaligned,
    }


def main():
    words = sys.argv[1:]
    product = words[0] if words else os.path.join(machine.SOURCE, "build", "product")
    os.environ.setdefault("ESA_PROGRAM_DIR", os.path.join(machine.SOURCE, "build", "run", "bin"))
    folder = words[1] if len(words) > 1 else os.environ["ESA_PROGRAM_DIR"]
    os.makedirs(machine.WORK, exist_ok=True)
    build_plugin()
    here = measure(["qemu-x86_64"], folder)
    there = measure(["qemu-ppc", "-L", "/usr/powerpc-linux-gnu"], os.path.join(product, "bin"))
    print("| instructions of the adapter | x86-64 | PowerPC |\n|---|---|---|")
    for name, count in here.items():
        print(f"| {name} | {count:.0f} | {there[name]:.0f} |")


if __name__ == "__main__":
    main()
