"""A booted system with the package installed, and the enclosure that it manages."""

import contextlib
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import time

import bridge

BOOT_SECONDS = 120
COMMAND_SECONDS = 120
LOG_BYTES = "48m"
FAKETIME = "/usr/lib/x86_64-linux-gnu/faketime/libfaketime.so.1"


class Failed(Exception):
    pass


class Machine:
    def __init__(self, base, work, name, encsim, chassis):
        self.base, self.work, self.name, self.chassis = base, work, name, chassis
        self.encsim_program = encsim
        self.root = work / "root"
        self.container = self.leader = self.enclosure = self.bridge = None
        self.group = 0
        self.groups = []

    # ------------------------------------------------------------------------------------------ the place

    def build(self):
        shutil.rmtree(self.work, ignore_errors=True)
        for folder in ("upper", "overlay", "root", "log"):
            (self.work / folder).mkdir(parents=True)
        subprocess.run(["mount", "-t", "overlay", "overlay", "-o", f"lowerdir={self.base},upperdir={self.work}/upper,"
                        f"workdir={self.work}/overlay", str(self.root)], check=True)
        # A disk of its own for the adapter's logs, so that it can be full.
        subprocess.run(["mount", "-t", "tmpfs", "-o", f"mode=755,size={LOG_BYTES}", "tmpfs", str(self.work / "log")],
                       check=True)
        (self.root / "var/log/journal").mkdir(exist_ok=True)
        (self.root / "etc/systemd/journald.conf.d").mkdir(parents=True, exist_ok=True)
        (self.root / "etc/systemd/journald.conf.d/all.conf").write_text(
            "[Journal]\nStorage=persistent\nRateLimitIntervalSec=0\nSyncIntervalSec=1s\n", encoding="utf-8")
        self.enclosure = subprocess.Popen(
            [str(self.encsim_program), "--chassis", self.chassis, "--link", str(self.work / "line"), "--control",
             str(self.work / "control"), "--quiet"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        os.setpriority(os.PRIO_PROCESS, self.enclosure.pid, -15)
        if self.enclosure.stdout.readline() != "ready\n":
            raise Failed("the simulated enclosure does not start")
        self.bridge = bridge.Bridge(str(self.work / "line"))

    def destroy(self):
        with contextlib.suppress(Exception):
            self.halt()
        if self.bridge:
            self.bridge.close()
        if self.enclosure:
            self.enclosure.terminate()
            self.enclosure.wait()
        for folder in ("log", "root"):
            subprocess.run(["umount", "--lazy", str(self.work / folder)], stderr=subprocess.DEVNULL, check=False)
        self._remove_groups()
        shutil.rmtree(self.work, ignore_errors=True)

    # --------------------------------------------------------------------------------------- the system

    def boot(self, bus=True):
        """Returns when process 1 answers; `bus`: whether the enclosure's bus is there from the beginning."""
        groups = self._make_groups()
        with open(self.work / "console.txt", "a", encoding="utf-8") as console:
            self.container = subprocess.Popen(
                ["/bin/sh", "-c", 'for group; do [ "$group" = -- ] && break; echo $$ >"$group/cgroup.procs"; shift; done; '
                 'shift; exec "$@"', "sh", *groups, "--",
                 *self._command()], stdin=subprocess.DEVNULL, stdout=console, stderr=subprocess.STDOUT)
        end = time.monotonic() + BOOT_SECONDS
        self.leader = None
        while self.leader is None:
            if self.container.poll() is not None or time.monotonic() > end:
                raise Failed(f"the system does not boot; see {self.work}/console.txt")
            time.sleep(0.02)
            self.leader = self._find_leader()
        if bus:
            self.plug(end)
        while self.run("systemctl", "is-system-running").stdout.strip() not in ("running", "degraded"):
            if time.monotonic() > end:
                raise Failed(f"the system does not come up; see {self.work}/console.txt")
            time.sleep(0.3)

    def _command(self):
        return ["systemd-nspawn", "--quiet", "--boot", f"--directory={self.root}", f"--machine={self.name}",
                "--register=no", "--keep-unit", "--private-network", "--resolv-conf=off", "--timezone=off",
                "--link-journal=no", "--console=pipe", f"--bind={self.work}/log:/var/log/esa"]

    def _make_groups(self):
        """Control groups of its own: systems that share one would kill each other's processes."""
        folders = [pathlib.Path(place) / self.name for place in ("/sys/fs/cgroup/systemd", "/sys/fs/cgroup/unified")
                   if os.path.isdir(place)] or [pathlib.Path("/sys/fs/cgroup") / self.name]
        for folder in folders:
            folder.mkdir(exist_ok=True)
        self.groups = folders
        return [str(folder) for folder in folders]

    def _remove_groups(self):
        for top in self.groups:
            for folder, _, _ in os.walk(top, topdown=False):
                with contextlib.suppress(OSError):
                    os.rmdir(folder)

    def _find_leader(self):
        """The host's number of the container's process 1."""
        for status in pathlib.Path("/proc").glob("[0-9]*/status"):
            with contextlib.suppress(OSError):
                fields = dict(line.split(":\t", 1) for line in status.read_text().splitlines() if ":\t" in line)
                numbers = fields["NSpid"].split()
                if int(fields["PPid"]) == self.container.pid and len(numbers) > 1 and numbers[-1] == "1":
                    return int(status.parent.name)
        return None

    @property
    def inside(self):
        """The system's root folder as the host sees it, with everything that is mounted in it."""
        return f"/proc/{self.leader}/root"

    def plug(self, end=None):
        end = end or time.monotonic() + 10
        while True:
            try:
                self.bridge.plug(self.inside, self.group)
                return
            except OSError:
                if time.monotonic() > end:
                    raise
                time.sleep(0.02)

    def halt(self):
        """Ends the system at once, as a power failure does."""
        self.bridge.unplug()
        if self.container is None or self.container.poll() is not None:
            return
        with contextlib.suppress(ProcessLookupError, TypeError):
            os.kill(self.leader, signal.SIGKILL)
        self.container.wait(60)

    def run(self, *command, check=False, seconds=COMMAND_SECONDS):
        """Runs a command in the system, as root."""
        try:
            done = subprocess.run(["nsenter", "--target", str(self.leader), "--mount", "--uts", "--ipc", "--net", "--pid",
                                   "--", *command], stdin=subprocess.DEVNULL, capture_output=True, text=True,
                                  errors="replace", timeout=seconds, check=False)
        except subprocess.TimeoutExpired:
            raise Failed(f"{' '.join(command)} took more than {seconds} s") from None
        if check and done.returncode != 0:
            raise Failed(f"{' '.join(command)}: {done.stdout}{done.stderr}")
        return done

    def shell(self, script, **options):
        return self.run("/bin/sh", "-c", script, **options)

    # -------------------------------------------------------------------------------------- the package

    def install(self, package):
        shutil.copy(package, f"{self.inside}/root/{package.name}")
        self.run("dpkg", "--force-confold", "-i", f"/root/{package.name}", check=True)
        group = self.run("getent", "group", "esa", check=True).stdout
        self.group = int(group.split(":")[2])

    def configure(self):
        """What the documentation asks the operator for."""
        path = pathlib.Path(f"{self.inside}/etc/default/esa")
        text = path.read_text(encoding="utf-8")
        path.write_text(text.replace("\nESA_CHASSIS=\n", f"\nESA_CHASSIS={self.chassis}\n"), encoding="utf-8")
        self.run("systemctl", "enable", "--now", "msm", "esa-params", "esa", check=True)

    def fake_clock(self):
        """Lets the clock of adapter and switch be set by set_clock(); the kernel's belongs to the whole host."""
        self.set_clock(0)
        for unit in ("esa", "msm"):
            folder = pathlib.Path(f"{self.inside}/etc/systemd/system/{unit}.service.d")
            folder.mkdir(parents=True, exist_ok=True)
            (folder / "clock.conf").write_text(
                f"[Service]\nEnvironment=LD_PRELOAD={FAKETIME} FAKETIME_TIMESTAMP_FILE=/etc/clock FAKETIME_NO_CACHE=1 "
                "FAKETIME_DONT_FAKE_MONOTONIC=1 FAKETIME_DISABLE_SHM=1\n", encoding="utf-8")
        self.run("systemctl", "daemon-reload", check=True)
        self.run("systemctl", "restart", "msm", check=True)

    def true_clock(self):
        for unit in ("esa", "msm"):
            pathlib.Path(f"{self.inside}/etc/systemd/system/{unit}.service.d/clock.conf").unlink(missing_ok=True)
        self.run("systemctl", "daemon-reload", check=True)
        self.run("systemctl", "restart", "msm", check=True)

    def set_clock(self, seconds):
        pathlib.Path(f"{self.inside}/etc/clock").write_text(f"{seconds:+d}s\n", encoding="utf-8")

    def pid(self, unit):
        """The number, as the system sees it, of a unit's main process; 0 while it does not run."""
        text = self.run("systemctl", "show", "--property=MainPID", "--value", unit).stdout.strip()
        return int(text or 0)

    def signal(self, unit, name):
        number = self.pid(unit)
        if number == 0:
            return False
        return self.run("kill", "-s", name, str(number)).returncode == 0

    # ------------------------------------------------------------------------------------ the enclosure

    def command(self, text):
        """Gives the simulated enclosure a command; its reply without the last line."""
        with socket.socket(socket.AF_UNIX) as peer:
            peer.settimeout(30)
            peer.connect(str(self.work / "control"))
            peer.sendall(text.encode() + b"\n")
            reply = ""
            while not reply.endswith("ok\n") and "error: " not in reply:
                data = peer.recv(65536)
                if not data:
                    raise Failed("the simulated enclosure has gone")
                reply += data.decode()
        if not reply.endswith("ok\n"):
            raise Failed(reply)
        return reply[:-len("ok\n")]

    def enclosure_state(self):
        return json.loads(self.command("show --json"))

    def answers(self):
        """Whether the adapter answers a peer over the switch, with readings."""
        done = self.run("esactl", "--timeout", "3", "--json", "status")
        if not done.stdout.startswith("{"):
            return False
        status = json.loads(done.stdout)
        return any(fan.get("rpm") for fan in status.get("fans", ())) and done.returncode in (0, 1)

