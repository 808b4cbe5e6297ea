"""The event log of a machine, and what is missing from it."""

import collections
import json

ERROR = "esa: critical error in "
RECORDS_OF_AN_ERROR = 4


class Evidence:
    """Looks again and again: what was seen once has to stay, and every critical error has to have its records."""

    def __init__(self, machine):
        self.machine = machine
        self.seen = []
        self.broken = []

    def _files(self):
        log = self.machine.work / "log"
        return [log / name for name in ("altevents.jsonl", *(f"altevents.jsonl.{n}" for n in range(1, 6)))]

    def _kept(self):
        """The records of the files and of the journal, which gets those that a full disk does not take."""
        lines = []
        for path in self._files():
            if path.exists():
                text = path.read_text(encoding="utf-8", errors="replace")
                if text and not text.endswith("\n"):
                    self.broken.append("a log ends inside a line")
                lines += text.splitlines()
        journal = self.machine.run("journalctl", "--unit=esa.service", "--output=cat", "--no-pager", "--quiet").stdout
        told = 0
        for line in journal.splitlines():
            # What the adapter prints when it starts has no line end.
            start = line.find('{"time":')
            if start >= 0:
                lines.append(line[start:])
            told += ERROR in line
        return lines, told

    def look(self):
        """How many records are missing by now, and how many there are; the journal's daemon writes with a delay."""
        self.machine.run("journalctl", "--sync")
        lines, told = self._kept()
        whole = []
        for line in lines:
            try:
                record = json.loads(line)
                if len(record["body"]) != 2 * record["evStructLength"]:
                    raise ValueError
                whole.append(line)
            except (ValueError, KeyError):
                self.broken.append(line[:80])
        missing = sum((_count(self.seen) - _count(whole)).values())
        self.seen = whole
        return max(missing, RECORDS_OF_AN_ERROR * told - len(whole), 0) + len(self.broken), len(whole)


def _count(lines):
    return collections.Counter(lines)
