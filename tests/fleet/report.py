"""The figures of a run: printed, and put into docs/quality.md and docs/monitoring.md."""

import collections
import math
import os
import statistics
import time
from pathlib import Path

from enclosure import PROGRAMS
from faults import INTERVAL

DOCS = Path(__file__).resolve().parents[2] / "docs"
BEGIN, END = "<!-- fleet: written by ./test --fleet -->", "<!-- end -->"
MANY = 10000
KEPT_DAYS = 15  # what Prometheus keeps unless told otherwise
CPU, RULES = "process_cpu_seconds_total", "prometheus_rule_group_duration_seconds_sum"
SAMPLES = "prometheus_tsdb_head_samples_appended_total"


class Measure:
    """What programs and server have taken between its making and its end."""

    def __init__(self, server, handles):
        self.server, self.handles = server, handles
        self.begin = time.monotonic()
        self.before = [handle.usage() for handle in handles]
        self.server_before = self._server()

    def _server(self):
        return {name: self.server.own(name) for name in (CPU, RULES, SAMPLES)}

    def end(self):
        self.seconds = time.monotonic() - self.begin
        self.after = [handle.usage() for handle in self.handles]
        self.of_server = {name: (value - self.server_before[name]) / self.seconds for name, value in self._server().items()}
        self.resident = self.server.own("process_resident_memory_bytes")
        self.series = self.server.own("prometheus_tsdb_head_series")
        self.sample_bytes = self.server.bytes_a_sample()

    def of_program(self, name):
        """In the middle: permille of a processor, MB resident, MB of its own. A program that was killed counts from its start."""
        shares, resident, own = [], [], []
        for before, after in zip(self.before, self.after):
            process, cpu, age, rss, private = after[name]
            earlier = before[name][1] if before[name][0] == process else 0
            shares.append(1000 * (cpu - earlier) / min(age, self.seconds))
            resident.append(rss / 1024)
            own.append(private / 1024)
        return statistics.median(shares), statistics.median(resident), statistics.median(own)


def _faults(lives):
    groups = collections.defaultdict(list)
    for fault in (fault for one in lives for fault in one.faults):
        groups[fault.kind.what].append(fault)
    for what, faults in sorted(groups.items()):
        delays = [delay for fault in faults for delay in fault.delays()]
        resolved = [fault.resolved_after() for fault in faults if fault.gone]
        failed = sum(bool(fault.complaints()) for fault in faults)
        figures = (f"{statistics.median(delays):.0f} s | {max(delays):.0f} s" if delays else "- | -",
                   f"{max(resolved):.0f} s" if resolved else "-")  # fmt: skip
        yield f"| {what} | {len(faults)} | {figures[0]} | {figures[1]} | {failed or 'none'} |"


def _quality(lives, measure, options, failed, false):
    total = sum(len(one.faults) for one in lives)
    text = [f"{options.enclosures} enclosures, faults for {options.minutes:g} minutes, seed {options.seed}: {total} faults, "
            f"{total - failed} alerted within {2 * INTERVAL} s and resolved; {false} false alerts. Where a rule waits for two "
            f"minutes, they are not counted. The machine's load was {os.getloadavg()[1]:.1f} at the end.", "",
            "| Fault | times | alerted after: median | longest | resolved after: longest | failed |", "|---|---|---|---|---|---|",
            *_faults(lives), "", f"In the middle of the enclosures, over {measure.seconds / 60:.0f} minutes:", "",
            "| Program | of a processor | resident | of its own |", "|---|---|---|---|"]  # fmt: skip
    for name in PROGRAMS:
        share, resident, own = measure.of_program(name)
        text.append(f"| `{name}` | {share / 10:.3f} % | {resident:.1f} MB | {own:.2f} MB |")
    text.append(f"| `prometheus`, of all | {100 * measure.of_server['process_cpu_seconds_total']:.1f} % | "
                f"{measure.resident / 1e6:.0f} MB | |")  # fmt: skip
    return "\n".join(text)


def _many(measure, length, options):
    """What more enclosures need, when all grows as their number does."""
    times = MANY / options.enclosures
    samples = measure.of_server[SAMPLES]
    cpu, rules = measure.of_server[CPU], measure.of_server[RULES]
    grown = measure.resident - measure.server.empty_bytes
    disk = samples * times * measure.sample_bytes * 86400 * KEPT_DAYS
    rows = [("series", f"{measure.series:.0f}", f"{measure.series * times / 1e6:.2f} million"),
            ("samples a second", f"{samples:.0f}", f"{samples * times:.0f}"),
            ("bytes a second from the monitors", f"{length * options.enclosures / INTERVAL / 1000:.0f} kB",
             f"{length * MANY / INTERVAL / 1e6:.1f} MB"),
            ("processor", f"{100 * cpu:.1f} %", f"{cpu * times:.1f} processors"),
            ("resident memory", f"{measure.resident / 1e6:.0f} MB", f"{(measure.server.empty_bytes + grown * times) / 1e9:.1f} GB"),
            ("of the time in rules", f"{100 * rules:.1f} %", f"{100 * rules * times:.0f} %"),
            (f"chunks on the disk for {KEPT_DAYS} days, {measure.sample_bytes:.2f} bytes a sample",
             f"{disk / times / 1e9:.1f} GB", f"{disk / 1e9:.0f} GB")]  # fmt: skip
    memory = (measure.server.empty_bytes + grown * times) / 1e9
    text = [f"| Prometheus | {options.enclosures} enclosures, measured | {MANY}, in proportion |", "|---|---|---|",
            *(" | ".join(("| " + row[0], *row[1:])) + " |" for row in rows), "",
            f"Measured over {measure.seconds / 60:.0f} minutes; the machine's load was {os.getloadavg()[1]:.1f} at the end. Time in "
            f"rules is by the clock. {MANY} enclosures thus need about {math.ceil(memory)} GB of memory, {cpu * times:.1f} processors "
            f"and {disk / 1e9:.0f} GB of disk with the index to come on top. {_servers(rules * times)}"]  # fmt: skip
    return "\n".join(text)


def _servers(share):
    """What follows from the share of the time that all rules would take, one after another as a server looks at them."""
    if share < 1:
        return "One server looks at all their rules in the time that it has."
    return (f"Their rules would take {share:.1f} times the time that one server has: they are shared among {math.ceil(share)}, "
            "or looked at less often.")  # fmt: skip


def _put(page, text):
    head, _, rest = page.read_text(encoding="utf-8").partition(BEGIN)
    page.write_text(f"{head}{BEGIN}\n{text}\n{END}{rest.partition(END)[2]}", encoding="utf-8")


def write(lives, measure, length, options):
    """Returns whether every fault was alerted in time and resolved, and nothing else alerted."""
    complaints = [f"{one.handle.name} {one.handle.chassis}: {fault.kind.what}: {text}"
                  for one in lives for fault in one.faults for text in fault.complaints()]  # fmt: skip
    false = [f"{one.handle.name} {one.handle.chassis}: false: {name} {element} after {at:.0f} s; latest fault: {what}"
             for one in lives for (name, element, what), at in one.false.items()]  # fmt: skip
    total = sum(len(one.faults) for one in lives)
    failed = sum(bool(fault.complaints()) for one in lives for fault in one.faults)
    pages = {"quality.md": _quality(lives, measure, options, failed, len(false)),
             "monitoring.md": _many(measure, length, options)}  # fmt: skip
    for name, text in pages.items():
        print(text + "\n")
        if not options.no_page:
            _put(DOCS / name, text)
    print("".join(line + "\n" for line in complaints + false) + f"{total - failed} passed, {failed + len(false)} failed")
    return total > 0 and not failed and not false
