"""The front panel in a real browser: the page by itself, and behind it the real chain from simulated chip to monitor."""

import contextlib
import filecmp
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import unittest

SOURCE = os.environ["ESA_SOURCE"]
PROGRAMS = os.environ["ESA_PROGRAMS"]
LIBRARY = os.environ["ESA_LIBRARY"]
BUILD = os.environ["ESA_BUILD"]
HERE = os.path.dirname(os.path.abspath(__file__))

sys.path.insert(0, os.path.join(SOURCE, "tests", "support"))
import stage  # noqa: E402

# One enclosure of each kind, and one for each test that needs it for itself.
CHAINS = {"vsc055": "vsc055", "quadra": "quadra", "xyratex": "xyratex", "chenbro": "chenbro", "w83782d": "w83782d", "heat": "vsc055",
          "hand": "xyratex", "loss": "w83782d", "silence": "quadra", "crowd": "vsc055"}


def prepare():
    """The panel, and what drives the browser: from npm, once for a build. Before the stage hides the machine's network."""
    subprocess.run([os.path.join(SOURCE, "scripts", "packages"), "web"], check=True)
    subprocess.run([os.path.join(SOURCE, "scripts", "panel"), os.path.join(BUILD, "panel")], check=True)
    modules = os.path.join(BUILD, "web")
    os.makedirs(modules, exist_ok=True)
    given = [os.path.join(SOURCE, "apps", "esamon", name) for name in ("package.json", "package-lock.json")]
    lock = os.path.join(modules, "package-lock.json")
    installed = os.path.join(modules, "node_modules", "playwright-core", "package.json")
    if os.path.exists(installed) and filecmp.cmp(given[1], lock, shallow=False):
        return
    for file in given:
        shutil.copy(file, modules)
    subprocess.run(["npm", "--prefix", modules, "ci", "--ignore-scripts", "--no-audit", "--no-fund", "--prefer-offline"],
                   check=True, stdout=subprocess.DEVNULL)


class WebTest(unittest.TestCase):
    def node(self, script, **environment):
        result = subprocess.run(
            ["node", "--test", "--test-reporter=tap", os.path.join(HERE, script)], check=False, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            env={**os.environ, "ESA_WEB_MODULES": os.path.join(BUILD, "web"), "ESA_PANEL_DIR": os.path.join(BUILD, "panel"),
                 "ESA_WEB_RESULTS": os.path.join(BUILD, "web-results"), **environment})
        print(result.stdout)
        self.assertEqual(0, result.returncode)
        self.assertRegex(result.stdout, r"(?m)^# pass [1-9]")

    def test_page_by_itself(self):
        self.node("page.test.mjs")

    def test_panel_of_a_running_enclosure(self):
        with stage.prepared(), contextlib.ExitStack() as stack:
            # Somebody has the first port and does not answer there yet.
            first = stack.enter_context(socket.socket())
            with contextlib.suppress(OSError):
                first.bind(("127.0.0.1", 9634))
            runs = {name: Run(stack, chassis) for name, chassis in CHAINS.items()}
            chains = {name: run.ready() for name, run in runs.items()}
            # One looks for a free port while the other's monitor is only about to take it.
            self.assertEqual(len(chains), len({chain["address"] for chain in chains.values()} - {"http://127.0.0.1:9634/"}))
            self.node("chain.test.mjs", ESA_WEB_CHAINS=json.dumps(chains))
            for run in runs.values():
                run.interrupt()
                self.assertEqual([], os.listdir(run.runtime))


class Run:
    """`./run --web`, as a person starts it."""

    def __init__(self, stack, chassis):
        self.runtime = tempfile.mkdtemp(prefix=f"esa-web-{chassis}.")
        stack.callback(shutil.rmtree, self.runtime, ignore_errors=True)
        self.log = tempfile.NamedTemporaryFile("w+", encoding="utf-8", prefix="esa-web.")
        stack.callback(self.log.close)
        self.process = subprocess.Popen(
            [os.path.join(SOURCE, "run"), "--web", "--chassis", chassis], stdin=subprocess.DEVNULL, stdout=self.log,
            stderr=subprocess.STDOUT, start_new_session=True,
            env={**os.environ, "XDG_RUNTIME_DIR": self.runtime, "ESA_BIN_DIR": PROGRAMS, "ESA_PANEL_DIR": os.path.join(BUILD, "panel"),
                 "LD_LIBRARY_PATH": os.path.dirname(LIBRARY)})
        stack.callback(self.interrupt)
        # One after another as far as the simulator: only the first has the device's own name.
        stage.wait_for(lambda: self.process.poll() is not None or self.folder() and os.path.exists(os.path.join(self.folder(), "esamon.pid")),
                       f"the simulator of {chassis}")

    def folder(self):
        names = os.listdir(self.runtime)
        return os.path.join(self.runtime, names[0]) if names else None

    def ready(self):
        def printed():
            if self.process.poll() is not None:
                raise RuntimeError(self.text())
            return re.search(r"(http://127\.0\.0\.1:\d+/)\nToken for its LEDs and alarm: (\w+)\n", self.text())

        found = stage.wait_for(printed, "the address")
        return {"address": found[1], "token": found[2], "folder": self.folder()}

    def text(self):
        with open(self.log.name, encoding="utf-8") as file:
            return file.read()

    def interrupt(self):
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGINT)
            self.process.wait(20)


if __name__ == "__main__":
    if "ESA_STAGE" not in os.environ:
        prepare()
    stage.main()
