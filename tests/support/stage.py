"""A place where programs that use fixed names (/dev/enc-0, /run/esa, keys of shared memory) disturb nobody.

enter() runs the calling script again in namespaces of its own, with a /dev and a /run of its own, where the kernel
allows that. Where it does not, root works on the machine's real names and takes away again what it made.
"""

import contextlib
import os
import shlex
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

ANSWER_SECONDS = 60
OWN_DEV = os.path.join(os.path.dirname(__file__), "..", "system", "own_dev")


def enter():
    if "ESA_STAGE" in os.environ:
        return
    for flags in ([], ["--user", "--map-root-user"]):
        command = ["unshare", "--mount", "--ipc", *flags, "--propagation", "private"]
        if flags == [] and os.geteuid() != 0:
            continue
        if subprocess.run([*command, "true"], stderr=subprocess.DEVNULL, check=False).returncode == 0:
            os.environ["ESA_STAGE"] = "own"
            os.execvp("unshare", [*command, sys.executable, *sys.argv])
    if os.geteuid() != 0:
        sys.exit("neither namespaces nor root: the programs' fixed names cannot be used here")
    os.environ["ESA_STAGE"] = "shared"


def is_own():
    return os.environ["ESA_STAGE"] == "own"


def _mount(*arguments):
    subprocess.run(["mount", *arguments], check=True)


@contextlib.contextmanager
def prepared():
    """The place, ready; afterwards nothing is left of it."""
    if is_own():
        _mount("-t", "tmpfs", "-o", "mode=755", "tmpfs", "/run")
        # There it goes away with the namespace; a place where something is mounted cannot be removed before.
        subprocess.run([OWN_DEV, "--here", tempfile.mkdtemp(prefix="esa-dev.", dir="/run")], check=True)
        os.environ.pop("XDG_RUNTIME_DIR", None)
    with contextlib.ExitStack() as stack:
        yield stack


def folder(stack, path):
    """Makes a folder with a fixed name, for as long as the stack lives."""
    made = path
    while not os.path.exists(os.path.dirname(made)):
        made = os.path.dirname(made)
    if os.path.exists(path):
        raise RuntimeError(f"{path} is in use")
    os.makedirs(path)
    stack.callback(shutil.rmtree, made, ignore_errors=True)


def clean_later(stack, path):
    """Takes a folder away when the stack is left, whoever makes it."""
    if os.path.exists(path):
        raise RuntimeError(f"{path} is in use")
    stack.callback(shutil.rmtree, path, ignore_errors=True)


def emptied(stack, path, made):
    """Makes a folder of the machine look empty for what will be `made` in it; without namespaces, only that goes again."""
    if is_own():
        _mount("-t", "tmpfs", "-o", "mode=755", "tmpfs", path)
    else:
        clean_later(stack, made)


def wait_for(condition, what, seconds=ANSWER_SECONDS):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        result = condition()
        if result:
            return result
        time.sleep(0.05)
    raise TimeoutError(f"{what} did not come in {seconds} seconds")


def wait_for_text(path, text):
    """Until a program has printed `text` into the file `path`."""
    try:
        wait_for(lambda: contains(path, text), f"'{text}' in {path}")
    except TimeoutError as error:
        with open(path, encoding="utf-8", errors="replace") as file:
            raise TimeoutError(f"{error}; there is: {file.read()[-2000:]}") from None


class Programs:
    """The programs of a build or of an installation, run by `emulator` where there is one."""

    def __init__(self, folders, emulator="", environment=None):
        self.emulator = shlex.split(emulator)
        self.environment = {**os.environ, **(environment or {})}
        self.environment["PATH"] = ":".join([*folders, os.environ["PATH"]])

    def command(self, name, *arguments):
        return [*self.emulator, shutil.which(name, path=self.environment["PATH"]), *arguments]

    def run(self, name, *arguments, **options):
        return subprocess.run(self.command(name, *arguments), env=self.environment, text=True, capture_output=True,
                              check=False, timeout=ANSWER_SECONDS, **options)

    def start(self, stack, output, name, *arguments):
        """Starts a program that runs until the stack is left; what it prints goes to the file `output`."""
        with open(output, "w", encoding="utf-8") as log:
            process = subprocess.Popen(self.command(name, *arguments), env=self.environment, stdin=subprocess.DEVNULL,
                                       stdout=log, stderr=subprocess.STDOUT)
        stack.callback(_stop, process)
        return process


def _stop(process):
    process.send_signal(signal.SIGTERM)
    try:
        process.wait(20)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


def contains(path, text):
    try:
        with open(path, encoding="utf-8", errors="replace") as file:
            return text in file.read()
    except FileNotFoundError:
        return False


class Enclosure:
    """A block, the switch, a simulated enclosure and the adapter, all by their usual names, until the stack is left."""

    KEY = "0x64"
    SOCKETS = "/run/esa"

    def __init__(self, stack, programs, work, config, chassis="vsc055", simulator=(), switch=(), adapter=True):
        self.programs = programs
        self.work = work
        self.control = os.path.join(work, "encsim.control")
        created = programs.run("mpuparams", "create", "--key", self.KEY, "--config", config)
        if created.returncode != 0:
            raise RuntimeError(created.stderr)
        stack.callback(programs.run, "mpuparams", "delete", "--key", self.KEY)
        programs.run("mpuparams", "set", "--key", self.KEY, f"chassisType={chassis}", "flags+=RcpComplete")
        programs.start(stack, self.path("msm.out"), "msm", "--directory", self.SOCKETS, *switch)
        programs.start(stack, self.path("encsim.out"), "encsim", "--chassis", chassis, "--control", self.control,
                       "--link", "/dev/enc-0", *simulator)
        for name in ("msm.out", "encsim.out"):
            wait_for_text(self.path(name), "ready")
        if adapter:
            self.start_adapter(stack)

    def path(self, name):
        return os.path.join(self.work, name)

    def start_adapter(self, stack):
        self.adapter = self.programs.start(stack, self.path("esa.out"), "esa", self.KEY)
        # The initialisation tests the LEDs for some seconds before the first answer.
        wait_for(lambda: self.programs.run("esactl", "--timeout", "5", "config").returncode == 0, "the adapter's answer")

    def simulator(self, command):
        return self.programs.run("encsim", "--control", self.control, "--send", command).stdout

    def connect(self, name):
        """A connection to one of the switch's sockets."""
        peer = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        peer.settimeout(ANSWER_SECONDS)
        peer.connect(os.path.join(self.SOCKETS, name))
        return peer


def main():
    """Runs the tests of the calling script in their place; the exit status 77 says that one was skipped."""
    enter()
    result = unittest.main(module="__main__", verbosity=2, exit=False).result
    sys.exit(1 if not result.wasSuccessful() else 77 if result.skipped else 0)
