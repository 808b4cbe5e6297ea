"""./run: what it shows agrees with the simulated world, and nothing is left of it afterwards."""

import contextlib
import glob
import json
import os
import pty
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

SOURCE = os.environ["ESA_SOURCE"]
PROGRAMS = os.environ["ESA_PROGRAMS"]
LIBRARY = os.environ["ESA_LIBRARY"]

sys.path.insert(0, os.path.join(SOURCE, "tests", "support"))
import stage  # noqa: E402

CHASSIS = ("vsc055", "quadra", "xyratex", "chenbro", "w83782d")


class Tree:
    """`run` and the programs in a folder that every user may read."""

    def __init__(self, stack):
        self.folder = tempfile.mkdtemp(prefix="esa-tree.")
        stack.callback(shutil.rmtree, self.folder)
        os.chmod(self.folder, 0o755)
        self.bin = os.path.join(self.folder, "bin")
        os.mkdir(self.bin, 0o755)
        for name in ("esa", "msm", "encsim", "esactl", "mpuparams"):
            shutil.copy(os.path.join(PROGRAMS, name), self.bin)
        self.witness()
        shutil.copy(LIBRARY, os.path.join(self.bin, "libesaplatform.so.1"))
        for name in ("run", "include/chassis_list.def", "tests/system/own_dev"):
            os.makedirs(os.path.join(self.folder, os.path.dirname(name)), exist_ok=True)
            shutil.copy(os.path.join(SOURCE, name), os.path.join(self.folder, name))
        self.runtime = os.path.join(self.folder, "runtime")
        os.mkdir(self.runtime)
        os.chmod(self.runtime, 0o777)
        self.environment = {**os.environ, "XDG_RUNTIME_DIR": self.runtime, "ESA_BIN_DIR": self.bin, "LD_LIBRARY_PATH": self.bin,
                            "TERM": "xterm"}

    def leftovers(self):
        """What a ./run could leave behind: processes, shared memory, folders, the device link."""
        found = set(os.listdir(self.runtime))
        with open("/proc/sysvipc/shm", encoding="ascii") as segments:
            keys = [int(line.split()[0]) for line in segments.readlines()[1:]]
            # The keys that ./run makes from its process id.
            found.update(f"segment {key:#x}" for key in keys if key >> 24 == 0x45)
        for path in glob.glob("/proc/[0-9]*/cmdline"):
            with contextlib.suppress(OSError), open(path, "rb") as file:
                command = file.read().replace(b"\0", b" ").decode(errors="replace")
                if self.folder in command:
                    found.add("process " + command)
        # Where names are the machine's, the link may be somebody else's.
        if stage.is_own() and os.path.islink("/dev/enc-0"):
            found.add("/dev/enc-0")
        return found

    def command(self, *arguments, user=None):
        run = [os.path.join(self.folder, "run"), *arguments]
        return ["runuser", "-u", user, "--", *run] if user else run

    def start(self, *arguments, user=None, **options):
        return subprocess.Popen(self.command(*arguments, user=user), env=self.environment, cwd=self.folder, text=True,
                                **options)

    def simulator(self, *command, user=None):
        return subprocess.run(self.command("--sim", *command, user=user), env=self.environment, cwd=self.folder, text=True,
                              capture_output=True, check=False)

    def witness(self):
        """Lets the simulator say what its world looks like whenever the status is asked for."""
        real = os.path.join(self.bin, "real-esactl")
        self.world = os.path.join(self.folder, "world.json")
        os.rename(os.path.join(self.bin, "esactl"), real)
        with open(os.path.join(self.bin, "esactl"), "w", encoding="utf-8") as script:
            script.write(f"""#!/bin/sh
if [ "$5" = status ]; then "{self.bin}/encsim" --control "$2/control" --send "show --json" >"{self.world}"; fi
exec "{real}" "$@"
""")
        os.chmod(script.name, 0o755)

    def once(self, chassis, user=None):
        """What `./run --once` prints, and what the simulator says of the same moment."""
        with open(self.world, "w", encoding="utf-8"):
            os.chmod(self.world, 0o666)
        process = self.start("--once", "--chassis", chassis, user=user, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        out, errors = process.communicate(timeout=2 * stage.ANSWER_SECONDS)
        with open(self.world, encoding="utf-8") as file:
            world = file.readline()
        return process.returncode, out, errors, json.loads(world) if world else None


class RunTest(unittest.TestCase):
    maxDiff = None

    def test_live_until_interrupted(self):
        with stage.prepared(), contextlib.ExitStack() as stack:
            tree = Tree(stack)
            master, slave = pty.openpty()
            stack.callback(os.close, master)
            process = self.start_on_terminal(tree, slave)
            os.close(slave)
            self.read_until(master, b"fan0")
            for watts in ("1600", "190"):
                result = tree.simulator("heat", watts)
                self.assertEqual((0, ""), (result.returncode, result.stderr))
            world = json.loads(tree.simulator("show", "--json").stdout.splitlines()[0])
            self.assertEqual(190, world["heatWatts"])
            os.write(master, b"\x03")
            self.drain(master, process)
            self.assertIn(process.returncode, (0, 130))
            self.assertEqual(set(), tree.leftovers())

    def test_a_signal_to_itself_alone_ends_everything(self):
        with stage.prepared(), contextlib.ExitStack() as stack:
            tree = Tree(stack)
            for number in (signal.SIGINT, signal.SIGTERM):
                master, _, process = self.started(tree, stack, "quadra")
                process.send_signal(number)
                self.drain(master, process)
                self.assertEqual(128 + number, process.returncode)
                self.assertEqual(set(), tree.leftovers())

    @staticmethod
    def start_on_terminal(tree, slave, *arguments):
        def own_terminal():
            os.setsid()
            import fcntl
            import termios
            fcntl.ioctl(slave, termios.TIOCSCTTY, 0)

        return tree.start(*arguments, stdin=slave, stdout=slave, stderr=slave, preexec_fn=own_terminal, pass_fds=(slave,))

    @staticmethod
    def read_until(master, text):
        seen = b""
        end = time.monotonic() + stage.ANSWER_SECONDS
        while text not in seen:
            if not select.select([master], [], [], max(0.0, end - time.monotonic()))[0]:
                raise TimeoutError(f"{text!r} not in {seen[-2000:]!r}")
            seen += os.read(master, 4096)
        return seen

    @staticmethod
    def drain(master, process):
        """Reads on until the process has ended: a full terminal would stop it."""
        end = time.monotonic() + stage.ANSWER_SECONDS
        while process.poll() is None and time.monotonic() < end:
            with contextlib.suppress(OSError):
                if select.select([master], [], [], 0.1)[0]:
                    os.read(master, 4096)
        process.wait(1)

    def test_once_agrees_with_the_simulator(self):
        with stage.prepared(), contextlib.ExitStack() as stack:
            tree = Tree(stack)
            for chassis in CHASSIS:
                with self.subTest(chassis):
                    self.agrees(*tree.once(chassis))
                    self.assertEqual(set(), tree.leftovers())

    def test_once_as_an_ordinary_user(self):
        user = "nobody" if os.geteuid() == 0 else None
        if user and subprocess.run(["runuser", "-u", user, "--", "unshare", "--user", "--map-root-user", "--mount", "true"],
                                   check=False, stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("this kernel gives an ordinary user no namespace")
        with stage.prepared(), contextlib.ExitStack() as stack:
            tree = Tree(stack)
            self.agrees(*tree.once("vsc055", user))
            self.assertEqual(set(), tree.leftovers())

    def test_once_leaves_a_device_that_is_there_alone(self):
        with stage.prepared(), contextlib.ExitStack() as stack:
            if not stage.is_own():
                self.skipTest("no namespace for another /dev")
            tree = Tree(stack)
            os.symlink("/dev/null", "/dev/enc-0")
            self.agrees(*tree.once("quadra"))
            self.assertEqual("/dev/null", os.readlink("/dev/enc-0"))

    def agrees(self, status, out, errors, world):
        self.assertEqual((0, ""), (status, errors))
        self.assertIsNotNone(world, "the simulator was never asked")
        table, document = out.split("\n{\n", 1)
        document = json.loads("{" + document)
        self.assertEqual([drive["present"] for drive in world["drives"]],
                         [drive["present"] for drive in document["drives"]])
        self.assertEqual([drive["led"] or False for drive in world["drives"]],
                         [drive["fault_led"] for drive in document["drives"]])
        self.assertEqual([supply["state"] == "ok" for supply in world["supplies"]],
                         [supply["state"] == "ok" for supply in document["power_supplies"]])
        self.assertEqual(len(world["fans"]), len(document["fans"]))
        for there, here in zip(world["fans"], document["fans"]):
            # A tachometer counts in steps, the page in tens of RPM.
            self.assertAlmostEqual(there["rpm"], here["rpm"], delta=there["rpm"] * 0.04)
            self.assertRegex(table, rf"{here['name']} +ok +{here['rpm']} RPM")
        for sensor in document["temperatures"]:
            if sensor["index"] >= len(world["sensors"]):
                self.assertIsNone(sensor["celsius"])
                continue
            self.assertAlmostEqual(world["sensors"][sensor["index"]]["celsius"], sensor["celsius"], delta=1)
            self.assertRegex(table, rf"{sensor['name']} +ok +{sensor['celsius']} C")
        self.assertGreaterEqual(len(document["temperatures"]), len(world["sensors"]))

    def test_simulator_of_the_one_that_lives(self):
        with stage.prepared(), contextlib.ExitStack() as stack:
            tree = Tree(stack)
            none = tree.simulator("show")
            self.assertEqual((1, "./run: no enclosure is running; start ./run in another terminal\n"),
                             (none.returncode, none.stderr))
            self.killed_run(tree, "1" * 7)
            masters = [self.started(tree, stack, chassis) for chassis in ("Xyratex2U12ATX", "quadra")]
            self.assertIn(b"./run --sim heat 1600, in another terminal, heats this xyratex enclosure", masters[0][1])
            self.assertEqual(2, len(os.listdir(tree.runtime)), "the killed run's folder is gone")
            several = tree.simulator("heat", "500")
            self.assertEqual(1, several.returncode)
            self.assertRegex(several.stderr, r"^./run: several enclosures are running: (xyratex, quadra|quadra, xyratex); name "
                             r"one: ./run --sim --chassis NAME heat 500\n$")
            self.assertEqual(0, tree.simulator("--chassis", "quadra", "heat", "500").returncode)
            heats = {name: json.loads(tree.simulator("--chassis=" + name, "show", "--json").stdout.splitlines()[0])["heatWatts"]
                     for name in ("xyratex", "quadra")}
            self.assertEqual(500, heats["quadra"])
            self.assertNotEqual(500, heats["xyratex"])
            other = tree.simulator("--chassis", "chenbro", "show")
            self.assertEqual(1, other.returncode)
            self.assertIn("no chenbro enclosure is running, but ", other.stderr)
            for master, _, process in masters:
                os.write(master, b"q")
                self.drain(master, process)
            self.assertEqual(set(), tree.leftovers())

    def started(self, tree, stack, chassis):
        """A live view on a terminal: the terminal, what was seen first, the process."""
        master, slave = pty.openpty()
        stack.callback(os.close, master)
        process = self.start_on_terminal(tree, slave, "--chassis", chassis)
        os.close(slave)
        return master, self.read_until(master, b"fan0"), process

    @staticmethod
    def killed_run(tree, pid):
        """What a ./run that was killed leaves: its folder, with the process id that is another's or nobody's now."""
        folder = os.path.join(tree.runtime, f"esa-run-{os.getuid()}.killed")
        os.mkdir(folder)
        for name, text in (("owner", pid + " 1"), ("chassis", "chenbro"), ("key", "0x45ffffff")):
            with open(os.path.join(folder, name), "w", encoding="ascii") as file:
                file.write(text + "\n")

    def test_refuses_what_it_does_not_know(self):
        with contextlib.ExitStack() as stack:
            tree = Tree(stack)
            for arguments, text in ((["--chassis", "other"], "no chassis 'other': one of xyratex, quadra, chenbro, vsc055, "
                                     "w83782d"), (["--twice"], "unknown argument '--twice'"),
                                    (["--chassis"], "--chassis needs a name"), (["--sim"], "--sim needs a command"),
                                    (["--web", "0"], "no port 0: from 1 to 65535"),
                                    (["--web", "65536"], "no port 65536: from 1 to 65535"),
                                    (["--web", "--once"], "--web goes with neither --once nor --machine"),
                                    (["--machine", "--web"], "--web goes with neither --once nor --machine")):
                result = subprocess.run(tree.command(*arguments), text=True, capture_output=True, check=False)
                self.assertEqual((2, "", f"./run: {text}; try ./run --help\n"),
                                 (result.returncode, result.stdout, result.stderr))


if __name__ == "__main__":
    stage.main()
