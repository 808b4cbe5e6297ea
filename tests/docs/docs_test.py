"""Every command that the documentation shows is run, or says here why it cannot be."""

import contextlib
import glob
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

SOURCE = os.environ["ESA_SOURCE"]
PROGRAMS = os.environ["ESA_PROGRAMS"]

sys.path.insert(0, os.path.join(SOURCE, "tests", "support"))
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import stage  # noqa: E402
import transcript  # noqa: E402

# Why a line is not run here.
PICTURE = "no command"
MACHINE = "shown: needs a real machine"
ITSELF = "shown: runs the tests"
BUILD = "shown: ./test installs and builds the same, and the tests as well"
PACKAGE = "run by tests/package"
EMULATED = "run by ./test --machine"
RUN = "run by run_test.py"
WEB = "run by tests/web"
# How a line is run.
SESSION, LIVE, STATUS_SCRIPT, BRIDGE = "session", "live", "script", "bridge"

# Lines of code by page. A key that ends with "..." stands for a whole block that begins so.
LINES = {
    "README.md": {
        "Startup      event manager...": PICTURE,
        "./run": RUN,
        "./run --web": WEB,
        "./run --sim heat 1600": RUN,
        "./run --sim heat 190": RUN,
        "./test": ITSELF,
        "$ export PATH=...": SESSION,
    },
    "docs/architecture.md": {
        "main, esamain, esainit...": PICTURE,
    },
    "docs/panel.md": {
        "./run --web": WEB,
    },
    "docs/operations.md": {
        "scripts/packages build package": BUILD,
        "cmake --preset release -B build/package -DESA_TESTS=OFF && cmake --build build/package": BUILD,
        "(cd build/package && cpack -G DEB)": PACKAGE,
        "cmake --install build/package": PACKAGE,
        "ldconfig && systemd-sysusers esa.conf && systemd-tmpfiles --create esa.conf && modprobe i2c-dev": MACHINE,
        "systemctl daemon-reload && udevadm control --reload && udevadm trigger": MACHINE,
        "scripts/product": EMULATED,
        "tests/machine/bus_time.py": EMULATED,
        "systemctl enable --now msm esa-params esa": MACHINE,
        "[Unit]...": PICTURE,
        "systemctl daemon-reload": MACHINE,
        "systemctl add-wants switch.service esa.service": MACHINE,
        "mpuparams set --key 0x64 flags+=CmapTracingEnabled": LIVE,
        "systemctl restart esa": MACHINE,
    },
    "docs/esactl.md": {
        "esactl [--directory DIR] [--timeout SECONDS] [--json] COMMAND ...": PICTURE,
        "esactl status >/dev/null...": STATUS_SCRIPT,
        "esactl status --format prometheus --output /var/lib/prometheus/node-exporter/esa.prom": LIVE,
    },
    "docs/monitoring.md": {
        "$ esactl events --since 1h...": PICTURE,
    },
    "docs/simulator.md": {
        "encsim --chassis vsc055|quadra|xyratex|chenbro|w83782d...": PICTURE,
        "17 read 0x41 0x04 1 [80] ack...": PICTURE,
        "20 read 0x41 0x04 1 [80] ack = ...": PICTURE,
        "qemu-system-ppc ...": EMULATED,
    },
    "docs/serial-i2c-bridge.md": {
        "stty -F /dev/ttyS1 115200 raw -echo -crtscts clocal min 1 time 0...": BRIDGE,
    },
    "docs/wire-formats.md": {
        "0000  ...": PICTURE,
    },
    "examples/README.md": {
        "mpuparams check examples/quadra.conf chassisType=chenbro": LIVE,
        "mpuparams create --key 0x1234 --config examples/quadra.conf chassisType=chenbro flags+=RcpComplete": LIVE,
        "mpuparams set --key 0x1234 chassisType=vsc055             # of a block that is there": LIVE,
    },
}
# The examples in the table of esactl's commands. These go on until somebody ends them.
ENDLESS = ("esactl events --follow --json", "esactl watch")


# What a person has seen by the time of the next command.
STARTED = {"msm": lambda: os.path.exists("/run/esa/peer"),
           "esa": lambda: stage.contains("/run/esa/msm.log", "startup/notify-init-complete")}


def pages():
    found = glob.glob(os.path.join(SOURCE, "docs", "*.md"))
    return sorted(os.path.relpath(path, SOURCE) for path in [*found, os.path.join(SOURCE, "README.md"),
                                                             os.path.join(SOURCE, "examples", "README.md")])


def text_of(page):
    with open(os.path.join(SOURCE, page), encoding="utf-8") as file:
        return file.read()


def anchors(text):
    """What a link can name of a page: its headings, in small letters, without signs, with dashes for blanks."""
    headings = re.findall(r"^#+ (.*)$", text, re.MULTILINE)
    return [re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings]


def code_blocks(text):
    """The fenced and the indented blocks, each as its lines without the common indentation."""
    blocks, block, fenced, blank_before = [], [], False, True
    for line in [*text.splitlines(), ""]:
        if line.lstrip().startswith("```"):
            fenced = not fenced
            if not fenced:
                blocks.append(block)
                block = []
            elif block:
                blocks.append(block)
                block = []
            continue
        indented = line.startswith("    ") and (block or blank_before)
        if fenced or indented or (block and not line and not fenced):
            block.append(line)
        elif block:
            blocks.append(block)
            block = []
        blank_before = not line
    cleaned = []
    for lines in blocks + [block]:
        while lines and not lines[-1]:
            lines.pop()
        if lines:
            indent = min(len(line) - len(line.lstrip()) for line in lines if line)
            cleaned.append([line[indent:] for line in lines])
    return cleaned


def classified():
    """(page, lines, kind) of every block or line of code; kind None when nothing here knows it."""
    for page in pages():
        known = LINES.get(page, {})
        for block in code_blocks(text_of(page)):
            whole = next((key for key in known if key.endswith("...") and block[0].lstrip().startswith(key[:-3])), None)
            if whole:
                yield page, whole, block, known[whole]
                continue
            for line in filter(None, block):
                generic = ITSELF if re.match(r"(\./test|bench/\S+|tests/\S+/run)\b", line) else None
                yield page, line, [line], known.get(line, generic)


def of_kind(kind):
    return [(page, lines) for page, _, lines, has in classified() if has == kind]


class DocsTest(unittest.TestCase):
    maxDiff = None

    def test_every_line_of_code_is_known(self):
        self.assertEqual([], [(page, lines) for page, _, lines, kind in classified() if kind is None])

    def test_every_known_line_is_still_shown(self):
        shown = {(page, key) for page, key, _, _ in classified()}
        self.assertEqual(set(), {(page, key) for page, keys in LINES.items() for key in keys} - shown)

    def test_links_between_pages_lead_somewhere(self):
        for page in pages():
            for target, anchor in re.findall(r"\]\(([^)#:]*)(?:#([^)]*))?\)", text_of(page)):
                path = os.path.join(SOURCE, os.path.dirname(page), target) if target else os.path.join(SOURCE, page)
                self.assertTrue(os.path.exists(path), f"{page} links to {target}")
                if anchor:
                    self.assertIn(anchor, anchors(text_of(path)), f"{page} links to {target}#{anchor}")

    # ------------------------------------------------------------------------------------------ sessions

    def test_sessions_print_what_is_shown(self):
        ((_, lines),) = of_kind(SESSION)
        with stage.prepared(), contextlib.ExitStack() as stack:
            stage.emptied(stack, "/var/log", "/var/log/esa")
            stage.clean_later(stack, "/run/esa")
            shell = transcript.Shell(stack, {**os.environ, "LC_ALL": "C"}, SOURCE)
            for command, shown in transcript.parse(lines):
                here = command.replace("$PWD/build/run/bin", PROGRAMS)
                printed = shell.run(here, shown)
                if command.split()[0] in STARTED:
                    stage.wait_for(STARTED[command.split()[0]], f"what '{command}' starts")
                self.assertEqual(transcript.normal(shown), transcript.normal(printed), command)
            self.assertFalse(os.path.lexists("/dev/enc-0"))

    def test_commands_for_a_running_adapter(self):
        with stage.prepared(), contextlib.ExitStack() as stack, tempfile.TemporaryDirectory() as work:
            stage.emptied(stack, "/var/lib", "/var/lib/prometheus")
            os.makedirs("/var/lib/prometheus/node-exporter")
            programs = self.enclosure(stack, work)
            for page, (line,) in of_kind(LIVE):
                result = subprocess.run(["bash", "-c", line], env=programs.environment, cwd=SOURCE, text=True,
                                        capture_output=True, check=False)
                self.assertEqual(0, result.returncode, f"{page}: {line}: {result.stderr}")
            with open("/var/lib/prometheus/node-exporter/esa.prom", encoding="utf-8") as file:
                self.assertIn("\nesa_up 1\n", "\n" + file.read())
            programs.run("mpuparams", "delete", "--key", "0x1234")

    def test_examples_of_esactl(self):
        examples = re.findall(r"^\|.*\| `(esactl [^`]*)` \|$", text_of("docs/esactl.md"), re.MULTILINE)
        self.assertEqual(13, len(examples))
        with stage.prepared(), contextlib.ExitStack() as stack, tempfile.TemporaryDirectory() as work:
            programs = self.enclosure(stack, work)
            for line in examples:
                with self.subTest(line):
                    if line in ENDLESS:
                        self.ends_when_interrupted(programs, line)
                    else:
                        result = programs.run(*line.split())
                        # What will become of a fan, and what blinks, is said beside the result.
                    noted = line.startswith(("esactl fan", "esactl locate"))
                    self.assertEqual((0, noted), (result.returncode, result.stderr.startswith("esactl: ")), result.stderr)

    def ends_when_interrupted(self, programs, line):
        process = subprocess.Popen(programs.command(*line.split()), env=programs.environment, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        time.sleep(1)
        self.assertIsNone(process.poll())
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=stage.ANSWER_SECONDS)
        self.assertIn(process.returncode, (0, 130))

    def test_script_on_the_exit_status(self):
        ((_, lines),) = of_kind(STATUS_SCRIPT)
        with stage.prepared(), contextlib.ExitStack() as stack, tempfile.TemporaryDirectory() as work:
            programs = self.enclosure(stack, work, "--frozen")

            def say():
                return subprocess.run(["bash", "-c", "\n".join(lines)], env=programs.environment, text=True,
                                      capture_output=True, check=False).stdout

            self.assertEqual("", say())
            self.simulated(programs, work, "fan 0 stall")
            self.assertEqual("asked, and something is wrong\n", say())
            stack.close()
            self.assertEqual("could not ask\n", say())

    def test_trying_a_bridge_by_hand(self):
        ((_, lines),) = of_kind(BRIDGE)
        with stage.prepared(), contextlib.ExitStack() as stack, tempfile.TemporaryDirectory() as work:
            if os.path.lexists("/dev/ttyS1"):
                self.skipTest("/dev/ttyS1 is in use and this machine has no namespaces")
            programs = stage.Programs([PROGRAMS])
            log = os.path.join(work, "encsim.out")
            programs.start(stack, log, "encsim", "--chassis", "vsc055", "--frozen", "--link", "/dev/ttyS1")
            stage.wait_for_text(log, "ready")
            printed = subprocess.run(["bash", "-c", "\n".join(lines)], text=True, capture_output=True, check=False)
            self.assertRegex(printed.stdout, r"^ 41 [0-9a-f]{2}\n$", printed.stderr)

    @staticmethod
    def enclosure(stack, work, *simulator):
        programs = stage.Programs([PROGRAMS])
        stage.folder(stack, "/run/esa")
        config = os.path.join(work, "mpu.conf")
        with open(config, "w", encoding="utf-8") as file:
            file.write(f"Version = 15\nChassisType = Quadra\nMmsgDirectory = /run/esa\nLogDirectory = {work}\n")
        stage.Enclosure(stack, programs, work, config, simulator=simulator)
        return programs

    @staticmethod
    def simulated(programs, work, command):
        return programs.run("encsim", "--control", os.path.join(work, "encsim.control"), "--send", command)


if __name__ == "__main__":
    stage.main()
