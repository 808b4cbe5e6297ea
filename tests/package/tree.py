"""The installed tree that the tests of the package look at, and ways to try what is in it."""

import os
import subprocess
import sys

ROOT = os.environ["ESA_ROOT"]
LIBDIR = os.environ["ESA_LIBDIR"]
BUILD = os.environ["ESA_BUILD"]
SOURCE = os.environ["ESA_SOURCE"]
VERSION = os.environ["ESA_VERSION"]

sys.path.insert(0, os.path.join(SOURCE, "tests", "support"))
import stage  # noqa: E402

UNITS = ("esa.service", "esa-params.service", "msm.service")


def files_below(root):
    found = set()
    for folder, _, names in os.walk(root):
        found.update("/" + os.path.relpath(os.path.join(folder, name), root) for name in names)
    return found


def installed(path):
    return os.path.join(ROOT, path.lstrip("/"))


def read(path):
    with open(installed(path), encoding="utf-8") as file:
        return file.read()


def read_at(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def output(*command, **options):
    return subprocess.run(command, text=True, capture_output=True, check=True, **options).stdout


def programs(**environment):
    # The tree stands where no loader looks for a library.
    environment.setdefault("LD_LIBRARY_PATH", installed(LIBDIR))
    return stage.Programs([installed("/usr/bin"), installed("/usr/sbin")], environment=environment)


def config(work):
    """The packaged settings, with the logs below `work`."""
    path = os.path.join(work, "mpu.conf")
    with open(path, "w", encoding="utf-8") as file:
        file.write(read("/etc/esa/mpu.conf").replace("/var/log/esa", os.path.join(work, "log")))
    return path
