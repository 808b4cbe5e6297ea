"""The Debian system that the tests boot: made once, kept, and never written to afterwards."""

import hashlib
import pathlib
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build/systemd"
SUITE = "bookworm"
# What the packages depend on, what a small server has, and what their own tests ask for. libfaketime sets one program's
# clock.
PACKAGES = ("systemd", "systemd-sysv", "udev", "kmod", "procps", "libstdc++6", "libmicrohttpd12", "libsqlite3-0", "g++",
            "pkg-config", "libfaketime")


def make():
    """The folder of the system; ends the program with a clear word when its packages cannot be had."""
    key = hashlib.sha256(" ".join((SUITE, *PACKAGES)).encode()).hexdigest()[:12]
    base = BUILD / f"root-{key}"
    if base.exists():
        return base
    for old in BUILD.glob("root-*"):
        shutil.rmtree(old)
    print(f"making a Debian system of {SUITE} in {base.relative_to(ROOT)}", flush=True)
    BUILD.mkdir(parents=True, exist_ok=True)
    fresh = base.with_suffix(".new")
    shutil.rmtree(fresh, ignore_errors=True)
    log = BUILD / "debootstrap.log"
    with log.open("w", encoding="utf-8") as output:
        done = subprocess.run(["nice", "debootstrap", "--variant=minbase", "--include=" + ",".join(PACKAGES), SUITE,
                               str(fresh)], stdout=output, stderr=subprocess.STDOUT, check=False)
    if done.returncode != 0:
        last = log.read_text(encoding="utf-8", errors="replace").strip().splitlines()[-1:]
        sys.exit(f"./test --systemd: NOT RUN: the Debian packages of the system cannot be had ({' '.join(last)}); "
                 f"the whole log is {log.relative_to(ROOT)}")
    shutil.rmtree(fresh / "var/cache/apt/archives", ignore_errors=True)
    fresh.rename(base)
    return base
