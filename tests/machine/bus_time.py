#!/usr/bin/env python3
"""Prints, as the table of docs/operations.md, how long each chassis keeps its I2C bus busy at 100 and at 400 kHz.

The transfers are those that the simulator sees of the adapter. A byte takes nine clocks, with its acknowledgement; start,
repeated start and stop one each, and the bus then rests for as long as the standard demands. Exit status 1 when the page
has other figures.
"""

import os
import sys

import life
import machine
import places

SPEEDS = {100: 4.7, 400: 1.3}  # kHz, and microseconds that the bus is free between two transfers


def clocks(transfer):
    words = transfer.split(" [")[0].split()
    length = int(words[4])
    if transfer.endswith(" nack"):
        return 1 + 9 + 1
    if words[1] == "read":
        return 1 + 9 + 9 + 1 + 9 + 9 * length + 1
    return 1 + 9 + 9 + 9 * length + 1


def milliseconds(transfers, speed):
    return sum(clocks(transfer) / speed + SPEEDS[speed] / 1000 for transfer in transfers)


class Short(life.Life):
    """Start, status page, poll, and where in the simulator's log each of them ends."""

    def live(self, counts):
        self.switch.receive()
        self.page(1)
        self.marks = [self.transfers()]
        self.page(2)
        self.marks.append(self.transfers())
        for _ in range(4):  # until the fans have the load that suits the temperature
            self.marks.append(self.transfers())
            self.poll()
        self.marks.append(self.transfers())


def main():
    os.environ.setdefault("ESA_PROGRAM_DIR", os.path.join(machine.SOURCE, "build", "run", "bin"))
    life.Life = Short
    rows = ["| chassis | | transfers | ms at 100 kHz | ms at 400 kHz |", "|---|---|---|---|---|"]
    for chassis in places.CHASSIS:
        record = places.native(chassis)
        marks = record.marks
        parts = {"initialisation": record.log[:marks[0]], "poll": record.log[marks[-2]:marks[-1]],
                 "status page": record.log[marks[0]:marks[1]]}
        for name, transfers in parts.items():
            rows.append(f"| `{chassis}` | {name} | {len(transfers)} | {milliseconds(transfers, 100):.1f} | "
                        f"{milliseconds(transfers, 400):.1f} |")
    print("\n".join(rows))
    if "\n".join(rows) not in places.read(os.path.join(machine.SOURCE, "docs", "operations.md")):
        return "docs/operations.md has another table"
    return 0


if __name__ == "__main__":
    sys.exit(main())
