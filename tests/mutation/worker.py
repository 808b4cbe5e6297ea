"""Runs tests one after another, as told by lines of JSON on standard input; answers each with a line.

It is started in namespaces of its own, so that workers side by side do not meet in shared memory, sockets or /tmp.
"""

import ctypes
import fcntl
import json
import os
import re
import resource
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

PR_SET_CHILD_SUBREAPER = 36
LARGEST_FILE = 8 << 30  # sparse, in the tests of the size of logs


def raise_loopback():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as anything:
        fcntl.ioctl(anything, 0x8914, struct.pack("16sH14x", b"lo", 0x1 | 0x40))  # SIOCSIFFLAGS: up, running


def mount(*words):
    subprocess.run(["mount", *words], check=True)


def children():
    with open(f"/proc/self/task/{os.getpid()}/children", encoding="ascii") as file:
        return [int(word) for word in file.read().split()]


def end_leftovers():
    """What a test started and left behind has become a child of this process."""
    for _ in range(100):
        left = children()
        if not left:
            return
        for child in left:
            try:
                os.kill(child, signal.SIGKILL)
                os.waitpid(child, 0)
            except (ProcessLookupError, ChildProcessError):
                pass


def limits(cpu):
    def set_limits():
        resource.setrlimit(resource.RLIMIT_CPU, (cpu, cpu + 1))
        resource.setrlimit(resource.RLIMIT_FSIZE, (LARGEST_FILE, LARGEST_FILE))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

    return set_limits


def suspect(output):
    """Of several tests in one process: the one that failed, or the one that was running when it ended."""
    output.seek(0)
    text = output.read(16 << 20).decode(errors="replace")
    names = re.findall(r"^\[  FAILED  \] (\S+?)(?:,| \(|$)", text, re.M) or re.findall(r"^\[ RUN      \] (\S+)", text, re.M)[-1:]
    return names[0] if names else ""


def run_test(job):
    with tempfile.TemporaryFile() as output:
        answer = run_with(job, output)
        if answer["outcome"] != "passed" and job["several"]:
            answer["suspect"] = suspect(output)
        return answer


def run_with(job, output):
    start = time.monotonic()
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    process = subprocess.Popen(job["command"], cwd=job["directory"], env=os.environ | job["environment"],
                               stdin=subprocess.DEVNULL, stdout=output if job["several"] else subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL, start_new_session=True,
                               preexec_fn=limits(job["cpu"]))  # fmt: skip
    try:
        status = process.wait(job["wall"])
        outcome = "passed" if status in (0, 77) else "failed"
        if status in (-signal.SIGXCPU, -signal.SIGKILL):
            outcome = "endless"
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        process.wait()
        outcome = "hung"
    end_leftovers()
    now = resource.getrusage(resource.RUSAGE_CHILDREN)
    return {"outcome": outcome, "seconds": time.monotonic() - start,
            "cpu": now.ru_utime + now.ru_stime - used.ru_utime - used.ru_stime}  # fmt: skip


def clean_temporary(folder):
    for entry in os.scandir(folder):
        if entry.is_dir(follow_symlinks=False):
            shutil.rmtree(entry.path, ignore_errors=True)
        else:
            os.unlink(entry.path)


def main():
    setup = json.loads(sys.stdin.readline())
    if setup["apart"]:
        raise_loopback()
        for copy, place in setup["bind"]:
            mount("--bind", copy, place)
        if not setup["tree"].startswith("/tmp/"):
            mount("-t", "tmpfs", "tmpfs", "/tmp")
            os.environ["TMPDIR"] = "/tmp"
    ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
    print(json.dumps({"ready": True}), flush=True)
    for line in sys.stdin:
        job = json.loads(line)
        if "build" in job:
            done = subprocess.run(job["build"], capture_output=True, text=True, check=False)
            answer = {"outcome": "passed" if done.returncode == 0 else "failed", "output": done.stdout[-3000:]}
        elif "write" in job:
            with open(job["write"], "w", encoding="utf-8") as file:
                file.write(job["text"])
            answer = {}
        else:
            answer = run_test(job)
            if answer["outcome"] != "passed" and os.environ.get("TMPDIR") == "/tmp":
                clean_temporary("/tmp")
        print(json.dumps(answer), flush=True)


if __name__ == "__main__":
    try:
        main()
    except (BrokenPipeError, KeyboardInterrupt):
        pass  # the one who asks has gone
