"""Starts workers and talks to them."""

import json
import os
import subprocess
import sys
from pathlib import Path

WORKER = Path(__file__).resolve().with_name("worker.py")


def namespaces():
    """The command that gives a process namespaces of its own; empty where the machine does not allow it."""
    command = ["unshare", "--mount", "--ipc", "--net", "--propagation", "private"]
    if os.getuid() != 0:
        command += ["--user", "--map-root-user"]
    return command if subprocess.run([*command, "true"], capture_output=True, check=False).returncode == 0 else []


def filter_of(test):
    """The name by which its program knows the test; empty for what is no single test of GoogleTest."""
    found = [word.partition("=")[2] for word in test["command"] if word.startswith("--gtest_filter=")]
    return found[0] if found else ""


class Worker:
    """One worker process; `bind` are pairs of a folder and the place where only this worker sees it."""

    def __init__(self, tree, bind=()):
        apart = namespaces()
        self.process = subprocess.Popen([*apart, sys.executable, "-B", str(WORKER)], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)  # fmt: skip
        self.ask({"apart": bool(apart), "tree": str(tree), "bind": [[str(a), str(b)] for a, b in bind]})

    def ask(self, job):
        self.process.stdin.write(json.dumps(job) + "\n")
        self.process.stdin.flush()
        line = self.process.stdout.readline()
        if not line:
            raise RuntimeError("a worker has ended")
        return json.loads(line)

    def test(self, test, environment, cpu, wall):
        return self.ask({"command": test["command"], "directory": test["directory"], "cpu": cpu, "wall": wall,
                         "several": False, "environment": test["environment"] | environment})  # fmt: skip

    def several(self, tests, environment, cpu, wall):
        """Tests of one GoogleTest program in one process, to the first that fails; its answer names a suspect."""
        names = ":".join(filter_of(test) for test in tests)
        return self.ask({"command": [tests[0]["command"][0], f"--gtest_filter={names}", "--gtest_fail_fast"],
                         "directory": tests[0]["directory"], "cpu": cpu, "wall": wall, "several": True,
                         "environment": tests[0]["environment"] | environment})  # fmt: skip

    def close(self):
        self.process.stdin.close()
        self.process.wait()
