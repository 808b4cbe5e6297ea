"""Where a life is lived: on this machine, or in the product's kind of machine."""

import contextlib
import json
import os
import re
import subprocess
import tempfile
import time

import life
import machine

PATIENCE = 120

# Type of the parameter block; what the status page lists: drives, supplies, fans, temperature records.
CHASSIS = {
    "vsc055": (5, {"drives": 16, "supplies": 2, "fans": 3, "records": 3}),
    "quadra": (3, {"drives": 16, "supplies": 3, "fans": 3, "records": 3}),
    "xyratex": (2, {"drives": 12, "supplies": 2, "fans": 8, "records": 2}),
    "chenbro": (4, {"drives": 16, "supplies": 3, "fans": 6, "records": 4}),
    "w83782d": (6, {"drives": 16, "supplies": 2, "fans": 3, "records": 3}),
}
KEY = 0x64


def program(name):
    return os.path.join(os.environ["ESA_PROGRAM_DIR"], name)


@contextlib.contextmanager
def started(words, ready, log, **options):
    """A program that runs as long as the block; it is ready when `ready` is in its output, the file `log`."""
    with open(log, "wb") as out:
        process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=out, stderr=subprocess.STDOUT, **options)
    try:
        end = time.monotonic() + PATIENCE
        while ready and ready not in read(log):
            if process.poll() is not None or time.monotonic() > end:
                raise RuntimeError(f"{words[0]} does not start: {read(log)}")
            time.sleep(0.02)
        yield process
    finally:
        process.terminate()
        process.wait()


def read(path):
    with open(path, encoding="utf-8", errors="replace") as file:
        return file.read()


class Record:
    """All that was to be seen of a life."""

    def __init__(self, lived, log, trace, events, fail_safe):
        self.fail_safe = fail_safe
        self.seen = lived.seen
        self.marks = getattr(lived, "marks", [])
        self.log = log.splitlines()
        self.trace = life.stripped_trace(trace)
        self.events = [{key: value for key, value in json.loads(line).items() if key != "time"}
                       for line in events.splitlines()]

    def transfers(self):
        """The simulator's log without the kernel's messages, which the serial bridge has none of."""
        return [line.split(" = ")[0] for line in self.log]


def counts_of(chassis, simulator):
    world = json.loads(simulator("show --json"))
    return {**CHASSIS[chassis][1], "sensors": len(world["sensors"]), "sets its alarm": chassis == "xyratex"}


def loads(simulator):
    return [fan["dutyPercent"] for fan in json.loads(simulator("show --json"))["fans"]]


def live(chassis, connection, simulator):
    lived = life.Life(connection, simulator)
    lived.live(counts_of(chassis, simulator))
    return lived


def simulated(chassis, work, *where):
    control = os.path.join(work, "control")
    return control, started([program("encsim"), "--chassis", chassis, "--frozen", "--control", control, *where],
                            "ready\n", os.path.join(work, "encsim.out"))


class Native:
    """An adapter on this machine, over the serial bridge on a pseudo-terminal; the switch's end is held here."""

    def __init__(self, stack, chassis, folder, config=machine.CONFIG, emulator=(), plugin=()):
        self.work = stack.enter_context(tempfile.TemporaryDirectory(prefix="esa-native."))
        link = os.path.join(self.work, "enc-0")
        self.control, running = simulated(chassis, self.work, "--link", link)
        stack.enter_context(running)
        server = machine.listener(os.path.join(self.work, "esadapter"))
        stack.callback(server.close)
        path = os.path.join(self.work, "mpu.conf")
        with open(path, "w", encoding="utf-8") as file:
            file.write(config.replace("/run/esa", self.work).replace("/var/log/esa", self.work))
        self.key = str(0x45000000 + os.getpid())
        params = [*emulator, os.path.join(folder, "mpuparams")]
        quiet = {"check": True, "stdout": subprocess.DEVNULL}
        subprocess.run([*params, "create", "--key", self.key, "--config", path], **quiet)
        stack.callback(subprocess.run, [*params, "delete", "--key", self.key], **quiet)
        subprocess.run([*params, "set", "--key", self.key, f"chassisType={CHASSIS[chassis][0]}", "flags+=RcpComplete"],
                       **quiet)
        own_dev = os.path.join(machine.SOURCE, "tests", "system", "own_dev")
        self.in_own_dev = [own_dev, os.path.join(self.work, "dev"), link, *emulator]
        self.process = stack.enter_context(started([*self.in_own_dev, *plugin, os.path.join(folder, "esa"), self.key], "",
                                                   os.path.join(self.work, "esa.out")))
        self.connection = server.accept()[0]
        stack.callback(self.connection.close)


def native(chassis):
    """The life of the adapter of this machine's own build."""
    with contextlib.ExitStack() as stack:
        here = Native(stack, chassis, os.environ["ESA_PROGRAM_DIR"])
        simulator = life.Simulator(here.control)
        stack.callback(simulator.close)
        lived = live(chassis, here.connection, simulator)
        here.process.kill()
        here.process.wait()
        before = loads(simulator)
        left = subprocess.run([*here.in_own_dev, program("esafailsafe"), here.key], capture_output=True, check=False)
        events = os.path.join(here.work, "altevents.jsonl")
        return Record(lived, simulator("log 10000"), read(os.path.join(here.work, "esa_01.log")),
                      read(events) if os.path.exists(events) else "",
                      (before, left.returncode, left.stdout, left.stderr, loads(simulator)))


@contextlib.contextmanager
def booted(chassis, switch, serial=False, queue=""):
    """A machine with the chassis on its kernel's I2C bus, or behind its second serial port, and the simulator."""
    with contextlib.ExitStack() as stack:
        work = stack.enter_context(tempfile.TemporaryDirectory(prefix="esa-machine."))
        bus = None if serial else os.path.join(work, "bus")
        link = os.path.join(work, "enc-0")
        control, running = simulated(chassis, work, *(["--link", link] if serial else ["--vhost-user", bus]))
        stack.enter_context(running)
        disk = machine.ramdisk(work, CHASSIS[chassis][0], switch, "/dev/ttyS1" if serial else "/dev/i2c-1")
        run = machine.Machine(stack, work, disk, bus, os.path.realpath(link) if serial else None, queue)
        simulator = life.Simulator(control)
        stack.callback(simulator.close)
        try:
            yield run, simulator
        except (EOFError, TimeoutError) as error:
            raise RuntimeError(f"{error}; the machine's console:\n{run.said()}") from error


def in_machine(chassis, serial=False, queue=""):
    """The adapter of the package in the machine; the switch's end is held here."""
    with booted(chassis, machine.RELAY, serial, queue) as (run, simulator):
        lived = live(chassis, run.switch, simulator)
        stack = re.search(r"\[stack\]\n(?:.*\n)*?Rss:\s+(\d+) kB", run.read(f"/proc/{run.output('pid esa')}/smaps"))
        run.do("end esa 9")
        before = loads(simulator)
        left = run.do(f"run /usr/sbin/esafailsafe {KEY}")
        status, events, _ = run.do("read /var/log/esa/altevents.jsonl")
        record = Record(lived, simulator("log 10000"), run.read("/var/log/esa/esa_01.log"),
                        events.decode() if status == 0 else "", (before, *left, loads(simulator)))
        record.stack = int(stack.group(1))
        record.unaligned = int(run.read("/sys/kernel/debug/powerpc/emulated_instructions/unaligned"), 0)
        return record
