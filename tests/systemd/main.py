"""The installed package on a real service manager; tests/systemd/run tells how to call it."""

import argparse
import concurrent.futures
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import threading
import time

import base
import calamities
import evidence
import machine
import report
import watch

RATED_UNITS = ("esa.service", "esa-params.service", "msm.service", "esamon.service")
MOST_EXPOSED = 1.5
SECOND_CALAMITY = 0.2  # how often a random one is followed by another at once
printing = threading.Lock()
stopped = threading.Event()  # by Ctrl-C: each system ends with the calamity that it is at


def say(text):
    with printing:
        print(text, flush=True)


class Subject(machine.Machine):
    """A machine with packages to install, and a place for what else is wrong with it."""

    def __init__(self, system, name, chassis):
        self.build_folder = base.ROOT / "build/package"
        super().__init__(system, base.BUILD / f"{name}-{os.getpid()}", f"esa-{name}-{os.getpid()}", self.build_folder / "bin/encsim", chassis)
        self.version = 0
        self.complaints = []

    def complain(self, text):
        self.complaints.append(text)

    def package(self, number):
        """The package as it was built, or for numbers above 0 the same as a later version."""
        (built,) = (base.BUILD / "whole").glob("esa_*.deb")
        if number == 0:
            return built
        later = self.work / f"esa-later-{number}.deb"
        if not later.exists():
            tree = self.work / "later"
            subprocess.run(["rm", "-rf", str(tree)], check=True)
            subprocess.run(["dpkg-deb", "-R", str(built), str(tree)], check=True)
            control = tree / "DEBIAN/control"
            control.write_text(re.sub(r"^(Version: .*)$", rf"\1+{number}", control.read_text(encoding="utf-8"), flags=re.M),
                               encoding="utf-8")
            subprocess.run(["dpkg-deb", "--root-owner-group", "-Znone", "-b", str(tree), str(later)], check=True,
                           stdout=subprocess.DEVNULL)
        return later

    def install_tree(self):
        subprocess.run(["cmake", "--install", str(self.build_folder)], env={**os.environ, "DESTDIR": self.inside},
                       check=True, stdout=subprocess.DEVNULL)

    def start(self):
        self.build()
        self.boot(bus=False)
        self.install(self.package(0))
        self.plug()
        self.configure()
        self.evidence = evidence.Evidence(self)
        outcome = watch.watch(self, time.monotonic(), False)
        if outcome.answers is None:
            raise machine.Failed(f"the installed package does not run: {outcome.complaints}; "
                                 + self.run("journalctl", "--no-pager", "-n", "40").stdout)


def suffer(subject, calamity, rng):
    """Lets a calamity happen, and waits until it is over. Its outcome."""
    subject.complaints = []
    start = calamity.action(subject, rng)
    outcome = watch.watch(subject, start, calamity.full_speed_only)
    if calamity.undo:
        calamity.undo(subject)
        again = watch.watch(subject, time.monotonic(), False)
        outcome.complaints += [f"afterwards: {text}" for text in again.complaints]
    outcome.complaints += subject.complaints
    outcome.lost, outcome.records = subject.evidence.look()
    return outcome


def exposures(subject):
    """How much each unit could do to the system, by systemd-analyze: 0 is nothing."""
    found = {}
    # The monitor is not of this package, and does nothing here; its unit is rated all the same.
    monitor = subject.build_folder / "install/esamon.service"
    if monitor.exists():
        shutil.copy(monitor, f"{subject.inside}/etc/systemd/system/esamon.service")
    for unit in RATED_UNITS:
        text = subject.run("systemd-analyze", "security", "--no-pager", unit).stdout
        rating = re.search(r"Overall exposure level for \S+: ([0-9.]+)", text)
        if rating is None:
            raise machine.Failed(f"{unit} cannot be rated: {text}")
        found[unit] = float(rating[1])
    pathlib.Path(f"{subject.inside}/etc/systemd/system/esamon.service").unlink(missing_ok=True)
    return found


def run_table(system, names, chassis):
    subject = Subject(system, "table", chassis)
    rows, rated = [], {}
    rng = random.Random(1)
    try:
        subject.start()
        rated = exposures(subject)
        for calamity in calamities.TABLE:
            wanted = not names or calamity.name in names or any(calamities.NEEDS.get(name) == calamity.name for name in names)
            if not wanted:
                continue
            clocked = calamity.name.startswith("clock")
            if clocked:
                subject.fake_clock()
                watch.watch(subject, time.monotonic(), False)
            try:
                outcome = suffer(subject, calamity, rng)
            except machine.Failed as error:
                outcome = watch.Outcome(complaints=[str(error)])
            if clocked:
                subject.true_clock()
                watch.watch(subject, time.monotonic(), False)
            rows.append((calamity, outcome))
            say(report.line(calamity.what, outcome))
    finally:
        subject.destroy()
    return rows, rated


def run_random(system, number, count, seed, chassis):
    rng = random.Random(f"{seed}/{number}")
    subject = Subject(system, f"random{number}", chassis)
    candidates = [calamity for calamity in calamities.TABLE if calamity.at_random]
    rows = []
    try:
        subject.start()
        subject.fake_clock()
        watch.watch(subject, time.monotonic(), False)
        while len(rows) < count and not stopped.is_set():
            time.sleep(rng.uniform(0, 3))
            calamity = rng.choice(candidates)
            what = calamity.what
            try:
                if not calamity.undo and rng.random() < SECOND_CALAMITY:
                    first = rng.choice([other for other in candidates if not other.undo])
                    what = f"{first.what}, then {what}"
                    first.action(subject, rng)
                outcome = suffer(subject, calamity, rng)
            except machine.Failed as error:
                outcome = watch.Outcome(complaints=[str(error)])
            rows.append((calamity, outcome))
            say(f"{number}: {len(rows):4} {report.line(what, outcome)}")
            if not outcome.good:
                journal = subject.run("journalctl", "--no-pager", "-n", "120").stdout
                (base.BUILD / f"failed-{number}-{len(rows)}.txt").write_text(journal, encoding="utf-8")
    finally:
        subject.destroy()
    return rows


def shares(total, parts):
    return [total // parts + (index < total % parts) for index in range(parts)]


def parse():
    parser = argparse.ArgumentParser(prog="./test --systemd", add_help=False)
    parser.add_argument("names", nargs="*")
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--random", type=int, metavar="N")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1_000_000))
    parser.add_argument("--machines", type=int, default=1)
    parser.add_argument("--chassis", default="vsc055", choices=("vsc055", "quadra", "xyratex", "chenbro", "w83782d"))
    parser.add_argument("--no-page", action="store_true")
    options = parser.parse_args()
    unknown = set(options.names) - {calamity.name for calamity in calamities.TABLE}
    if unknown:
        parser.error(f"no calamity {', '.join(sorted(unknown))}; --list names them")
    if options.machines < 1 or (options.random is not None and options.random < options.machines):
        parser.error("--machines takes 1 or more, and no more than --random")
    return options


def main():
    options = parse()
    if options.list:
        print("\n".join(f"{calamity.name:<18}{calamity.what}" for calamity in calamities.TABLE))
        return 0
    os.nice(5)
    system = base.make()
    start = time.monotonic()
    if options.random is None:
        rows, rated = run_table(system, options.names, options.chassis)
        good = report.table(rows, rated, MOST_EXPOSED, options)
    else:
        say(f"{options.random} random calamities, seed {options.seed}, {options.machines} systems")
        parts = shares(options.random, options.machines)
        with concurrent.futures.ThreadPoolExecutor(options.machines) as pool:
            work = [pool.submit(run_random, system, number, count, options.seed, options.chassis)
                    for number, count in enumerate(parts)]
            try:
                concurrent.futures.wait(work)
            except KeyboardInterrupt:
                stopped.set()
            done = [part.result() for part in work]
        good = report.randomly([row for rows in done for row in rows], options)
    print(f"{(time.monotonic() - start) / 60:.0f} minutes")
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
