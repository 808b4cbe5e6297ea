"""What the tests of the monitor and its friends have in common: a place of their own with an enclosure in it."""

import os
import socket
import sys
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(os.environ["ESA_SOURCE"])
sys.path.insert(0, str(SOURCE / "tests/support"))
sys.path.insert(0, str(SOURCE / "tests/monitor"))
import stage
from client import Client


def free_port():
    with socket.socket() as one:
        one.bind(("127.0.0.1", 0))
        return one.getsockname()[1]


class EnclosureTest(unittest.TestCase):
    PORT = free_port()

    def setUp(self):
        context = stage.prepared()
        self.stack = context.__enter__()
        self.addCleanup(context.__exit__, None, None, None)
        self.work = tempfile.mkdtemp(prefix="esa-monitor.")
        self.stack.callback(stage.shutil.rmtree, self.work)
        stage.folder(self.stack, "/run/esa")
        stage.emptied(self.stack, "/var/log", "/var/log/esa")
        os.makedirs("/var/log/esa", exist_ok=True)
        self.socket = self.path("api")
        self.programs = stage.Programs([os.environ["ESA_PROGRAMS"]], environment={"ESA_MONITOR_SOCKET": self.socket})
        self.database = self.path("history.db")
        self.client = Client(self.socket)

    def path(self, name):
        return os.path.join(self.work, name)

    def write(self, name, text):
        Path(self.path(name)).write_text(text, encoding="utf-8")
        return self.path(name)

    def start_enclosure(self, chassis="vsc055"):
        config = self.write("mpu.conf", "Version = 15\nChassisType = Quadra\nMmsgDirectory = /run/esa\n"
                                        "LogDirectory = /var/log/esa\n")
        self.enclosure = stage.Enclosure(self.stack, self.programs, self.work, config, chassis)

    def start_monitor(self, *options, listen=None):
        log = tempfile.mktemp(dir=self.work)
        process = self.programs.start(self.stack, log, "esamon", "--database", self.database, "--socket", self.socket,
                                      "--directory", "/run/esa", "--state", self.work, "--poll", "2", "--listen",
                                      listen or f"127.0.0.1:{self.PORT}", *options)
        stage.wait_for_text(log, "ready")
        return process

    def wait_answer(self):
        stage.wait_for(lambda: self.client.ask("/api/v1/status").status == 200, "the first status")

    def esactl(self, *arguments):
        return self.programs.run("esactl", *arguments)
