"""One enclosure of the fleet: block, switch, simulator, adapter and monitor in namespaces of their own.

Run as a script it is that place; the class is its owner's handle on it. The place takes lines `kill NAME` and
`start NAME` (esa or esamon) on its standard input and goes away with it.
"""

import json
import os
import signal
import subprocess
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "support"))
import stage  # noqa: E402

PROGRAMS = ("esa", "msm", "esamon", "encsim")
# Fans, supplies, and sensors that give a reading.
ELEMENTS = {"vsc055": (3, 2, 3), "quadra": (3, 3, 3), "xyratex": (8, 2, 2), "w83782d": (3, 2, 1), "chenbro": (6, 3, 4)}
TICKS = os.sysconf("SC_CLK_TCK")


class Place:
    def __init__(self, stack, work, chassis, port, poll):
        self.stack, self.work, self.processes = stack, work, {}
        self.programs = stage.Programs([os.environ["ESA_PROGRAM_DIR"]])
        self.monitor = ["--database", str(work / "history.db"), "--socket", str(work / "api"), "--directory", "/run/esa",
                        "--poll", poll, "--listen", f"127.0.0.1:{port}"]  # fmt: skip
        start = self.programs.start

        def noted(owner, output, name, *arguments):
            self.processes[name] = start(owner, output, name, *arguments)
            return self.processes[name]

        self.programs.start = noted
        config = work / "mpu.conf"
        config.write_text("Version = 15\nChassisType = Quadra\nMmsgDirectory = /run/esa\nLogDirectory = /var/log/esa\n",
                          encoding="utf-8")
        stage.Enclosure(stack, self.programs, str(work), str(config), chassis)
        self.start("esamon")
        stage.wait_for_text(str(work / "esamon.out"), "ready")

    def start(self, name):
        arguments = self.monitor if name == "esamon" else [stage.Enclosure.KEY]
        self.programs.start(self.stack, str(self.work / f"{name}.out"), name, *arguments)
        self.tell()

    def kill(self, name):
        self.processes[name].send_signal(signal.SIGKILL)
        self.processes[name].wait()

    def tell(self):
        new = self.work / "processes.new"
        new.write_text(json.dumps({name: process.pid for name, process in self.processes.items()}), encoding="utf-8")
        new.rename(self.work / "processes")


def main():
    work = Path(sys.argv[1])
    os.environ["TMPDIR"] = str(work)
    stage.enter()
    if not stage.is_own():
        sys.exit("the fleet needs namespaces: several enclosures use the same names")
    with stage.prepared() as stack:
        stage.folder(stack, "/run/esa")
        stage.emptied(stack, "/var/log", "/var/log/esa")
        os.makedirs("/var/log/esa", exist_ok=True)
        place = Place(stack, work, *sys.argv[2:])
        print("ready", flush=True)
        for line in sys.stdin:
            what, name = line.split()
            getattr(place, what)(name)


class Handle:
    """The owner's end; `await_ready` before anything else."""

    def __init__(self, work, number, chassis, port, poll):
        self.work, self.name, self.chassis, self.target = work / f"{number:02}", f"{number:02}", chassis, f"127.0.0.1:{port}"
        self.fans, self.supplies, self.sensors = ELEMENTS[chassis]
        self.work.mkdir()
        with (self.work / "place.out").open("w", encoding="utf-8") as log:
            self.place = subprocess.Popen([sys.executable, "-B", __file__, str(self.work), chassis, str(port), poll],
                                          stdin=subprocess.PIPE, stdout=log, stderr=subprocess.STDOUT, text=True)

    def await_ready(self):
        stage.wait_for_text(str(self.work / "place.out"), "ready")

    def tell(self, line):
        """`kill`, `start`, or a command of the simulator."""
        if line.split()[0] in ("kill", "start"):
            self.place.stdin.write(line + "\n")
            self.place.stdin.flush()
            return
        program = os.path.join(os.environ["ESA_PROGRAM_DIR"], "encsim")
        subprocess.run([program, "--control", str(self.work / "encsim.control"), "--send", line], check=True,
                       stdout=subprocess.DEVNULL, timeout=30)

    def usage(self):
        """By program: process, seconds of processor time, seconds since its start, kB resident, kB of its own."""
        found = {}
        up = time.clock_gettime(time.CLOCK_BOOTTIME)
        for name, process in json.loads((self.work / "processes").read_text(encoding="utf-8")).items():
            folder = Path(f"/proc/{process}")
            fields = (folder / "stat").read_text(encoding="utf-8").rpartition(") ")[2].split()
            rollup = [line.split() for line in (folder / "smaps_rollup").read_text(encoding="utf-8").splitlines()[1:]]
            memory = {words[0]: int(words[1]) for words in rollup}
            found[name] = (process, (int(fields[11]) + int(fields[12])) / TICKS, up - int(fields[19]) / TICKS,
                           memory["Rss:"], memory["Private_Clean:"] + memory["Private_Dirty:"])  # fmt: skip
        return found

    def close(self):
        self.place.stdin.close()
        try:
            self.place.wait(60)
        except subprocess.TimeoutExpired:
            self.place.kill()
            self.place.wait()


if __name__ == "__main__":
    main()
