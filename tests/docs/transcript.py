"""Sessions shown in the documentation: a line after "$ " is a command, the lines after it are what it prints."""

import contextlib
import os
import queue
import re
import signal
import subprocess
import threading

import stage

MARK = "--- done ---"
JOB_SECONDS = 5  # that a job may take to stop
# Different at every run.
VOLATILE = [(r"\d\d:\d\d:\d\d(\.\d{3})?", "HH:MM:SS"), (r"\b[A-Z][a-z]{2} [ \d]\d ", "DATE "),
            (r"handle 0x[0-9a-f]+", "handle H"), (r"segment \d+", "segment N"), (r"socket \[\d+\]", "socket [N]"), (r"(\w):\d+:  ", r"\1:LINE:  ")]


def normal(text):
    for pattern, stand_in in VOLATILE:
        text = re.sub(pattern, stand_in, text)
    return text.rstrip()


def parse(lines):
    """Pairs of a command and the lines shown after it."""
    steps = []
    for line in lines:
        if line.startswith("$ "):
            steps.append((line[2:], []))
        else:
            steps[-1][1].append(line)
    return [(command, "\n".join(shown)) for command, shown in steps]


class Shell:
    """A shell that lives through a session, so that jobs and settings do."""

    def __init__(self, stack, environment, folder):
        self.process = subprocess.Popen(["bash", "--norc"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT, text=True, env=environment, cwd=folder,
                                        start_new_session=True)
        stack.callback(self.close)
        self.pieces = queue.Queue()
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self):
        while piece := self.process.stdout.read(1):
            self.pieces.put(piece)

    def close(self):
        """Ends the shell and the jobs that a session which failed has left: they would keep its output open."""
        for end in (signal.SIGTERM, signal.SIGKILL):
            with contextlib.suppress(ProcessLookupError):
                os.killpg(self.process.pid, end)
            self.reader.join(JOB_SECONDS)
        self.process.wait()
        with contextlib.suppress(BrokenPipeError):
            self.process.stdin.close()
        self.process.stdout.close()

    def run(self, command, shown):
        """What the command prints; of one in the background, until it has printed what is shown of it."""
        self.process.stdin.write(f"{command}\n" + ("" if command.endswith("&") else f"echo '{MARK}'\n"))
        self.process.stdin.flush()
        end = shown if command.endswith("&") else MARK + "\n"
        text = ""

        def more():
            nonlocal text
            while not self.pieces.empty():
                text += self.pieces.get()
            return end in text

        stage.wait_for(more, f"'{end}' after '{command}'")
        return text.replace(MARK + "\n", "")
