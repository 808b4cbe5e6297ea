"""The packages that a distribution would have, and their own tests (packaging/debian/tests), as autopkgtest runs them: all
installed, one test after the other, each by itself. The other rows have everything in one package."""

import re
import shutil
import subprocess

import base

FOLDER = base.BUILD / "parts"
TESTS = base.ROOT / "packaging/debian/tests"


def names(text):
    """Of the tests that a control file names, in its order."""
    return [name for line in re.findall(r"^Tests: (.*)$", text, re.M) for name in line.split()]


def test_all(machine):
    """Installs the packages, runs their tests, and takes the packages away again. What failed is a complaint."""
    packages = sorted(FOLDER.glob("*.deb"))
    place = f"{machine.inside}/root/parts"
    shutil.copytree(TESTS, place)
    for package in packages:
        shutil.copy(package, place)
    machine.shell("dpkg -i /root/parts/*.deb", check=True)
    for name in names((TESTS / "control").read_text(encoding="utf-8")):
        done = machine.run("/bin/sh", f"/root/parts/{name}")
        if done.returncode != 0:
            said = (done.stdout + done.stderr).strip().splitlines()[-8:]
            machine.complain(f"the packages' own test '{name}' ends with {done.returncode}: {' | '.join(said)}")
    installed = [subprocess.run(["dpkg-deb", "-f", str(package), "Package"], capture_output=True, text=True,
                                check=True).stdout.strip() for package in packages]
    machine.run("dpkg", "--purge", *installed, check=True)
    shutil.rmtree(place)
