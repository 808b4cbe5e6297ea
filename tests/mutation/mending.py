"""Gets a tree in which every change can be switched on to compile: what the language does not allow is taken back."""

import concurrent.futures
import os
import re
import shlex
import subprocess
from pathlib import Path

# How often to compile before giving up; how long only the change that has the wrong type is taken back, not its line.
ATTEMPTS, PATIENT_ATTEMPTS = 40, 10
WRONG_TYPE = re.compile(r"invalid operands|no matching|no match for|convert|conversion|invalid type|void value|conditional")
ERROR = re.compile(r"^(?P<file>[^\s:][^:\s]*):(?P<row>\d+):(?P<column>\d+): (?P<kind>error|note): (?P<text>.*)$", re.M)
NOT_CONSTANT = re.compile(r"was not (?:declared|initialized)|is not (?:usable|a constant)|not 'constexpr'")


class BuildError(RuntimeError):
    """The tree cannot be built."""


def run(command, **options):
    return subprocess.run(command, capture_output=True, text=True, check=False, **options)


class Mending:
    """The part of a tree that compiles it, again and again until it can be compiled."""

    def compile(self, say):
        """Builds, and takes back every switch that the language does not allow where it stands."""
        self.check(say)
        for attempt in range(ATTEMPTS):
            self.write()
            result = run(["ninja", "-C", str(self.build), "-j", str(self.jobs), "-k", "0", *self.programs()])
            if result.returncode == 0:
                return
            (self.place / "build.log").write_text(result.stdout, encoding="utf-8")
            self.mend(result.stdout, attempt, say)
        raise BuildError("the instrumented tree does not compile")

    def check(self, say):
        """The same for the sources by themselves, without making anything of them: that takes a tenth of the time."""
        commands, waiting = self.checks(), set()
        for attempt in range(ATTEMPTS):
            changed = self.write()
            waiting |= {name for name in commands if not changed.isdisjoint(self.included[name])}
            with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
                results = list(pool.map(lambda name: run(commands[name], cwd=self.build), sorted(waiting)))
            waiting = {name for name, result in zip(sorted(waiting), results) if result.returncode != 0}
            if not waiting:
                return
            self.mend("\n".join(result.stderr for result in results), attempt, say)
        raise BuildError("the instrumented sources do not compile")

    def checks(self):
        """For each instrumented source a command that only tells its errors."""
        found = {}
        for entry in self.commands:
            name = entry["file"].removeprefix(f"{self.source}/")
            if self.is_instrumented(name):
                words = shlex.split(entry["command"])
                words = words[1:] if words[0].endswith("ccache") else words
                found[name] = [*(word for i, word in enumerate(words) if word not in ("-MD", "-MF", "-MT", "-o")
                                 and words[i - 1] not in ("-MF", "-MT", "-o")), "-fsyntax-only"]  # fmt: skip
        return found

    def mend(self, output, attempt, say):
        taken = self.take_back(output, attempt)
        self.save()
        say(f"compiled, attempt {attempt + 1}: {taken} places cannot be switched")
        if not taken:
            raise BuildError("the instrumented tree does not compile:\n" + "\n".join(
                match.group() for match in list(ERROR.finditer(output))[:20]) + output[-1500:])  # fmt: skip

    def take_back(self, output, attempt):
        taken = 0
        for match in ERROR.finditer(output):
            path = os.path.normpath(self.build / match.group("file"))
            source = self.sources.get(path.removeprefix(f"{self.source}/"))
            row, text = int(match.group("row")), match.group("text")
            if match.group("kind") == "note" and NOT_CONSTANT.search(text):
                taken += source is not None and self.keep_constants(lambda s, c: s is source and s.row(c.start) == row)
            elif source is not None and (match.group("kind") == "error" or "expansion of macro ‘ESA_M" in text):
                by_type = WRONG_TYPE.search(text) and attempt < PATIENT_ATTEMPTS
                taken += (self.take_back_before(source, row, int(match.group("column"))) if by_type
                          else self.take_back_at(source, row))  # fmt: skip
            elif match.group("kind") == "error" and path.startswith(f"{self.source}/"):
                taken += self.keep_constants_on(Path(path), row)
        return taken

    def take_back_before(self, source, row, column):
        """The change whose switch is the last one in front of the place that the compiler names."""
        line = self.instrumented(source).split("\n")[row + 1].encode()[: column + 8].decode(errors="replace")
        numbers = [int(number) for number in re.findall(r"(?:ESA_MC?\(|esaKept<|EsaKeeper<)(\d+)", line)]
        named = [change for change in source.changes if change.edits and numbers and change.number == numbers[-1]]
        for change in named:
            change.edits = []
        return bool(named) or self.take_back_at(source, row)

    def keep_constants(self, wanted):
        """Leaves constants alone, and with each what it is made of: that has to be constant too."""
        waiting = [(source, constant) for source in self.sources.values() for constant in source.constants
                   if wanted(source, constant)]  # fmt: skip
        taken = False
        while waiting:
            source, constant = waiting.pop()
            if (source.path, constant.start) in self.kept_constants:
                continue
            self.kept_constants.add((source.path, constant.start))
            taken = True
            self.strip(source, constant)
            words = set(re.findall(r"\w+", source.text[constant.end : constant.stop])) - {constant.name}
            waiting += [(other, named) for other in self.sources.values() for named in other.constants if named.name in words]
        return taken

    def keep_constants_on(self, path, row):
        """Those that the line names: it needs their values when it is compiled."""
        words = set(re.findall(r"\w+", (path.read_text(encoding="utf-8").split("\n") + [""] * 2)[row - 1]))
        return self.keep_constants(lambda _, constant: constant.name in words)

    def take_back_at(self, source, row):
        """What the line names or declares as a constant, else what is changed on it, else the smallest around it."""
        words = set(re.findall(r"\w+", source.text.split("\n")[row - 1]))
        if self.keep_constants(lambda _, constant: constant.name in words):
            return True
        on_line = [change for change in source.changes if change.edits and change.row == row == source.row(change.end)]
        wide = [change for change in source.changes if change.edits and change.row <= row <= source.row(change.end)]
        chosen = on_line or sorted(wide, key=lambda change: change.end - change.start)[:1] or self.in_constant(source, row)
        for change in chosen:
            change.edits = []
        return bool(chosen)

    @staticmethod
    def in_constant(source, row):
        """Changes of the constexpr function around the line: the compiler names a line of what it makes a constant of."""
        around_row = [number for number, (at, _) in enumerate(source.functions) if source.row(at) <= row]
        if not around_row or not source.functions[around_row[-1]][1]:
            return []
        return [change for change in source.changes if change.edits and change.function == around_row[-1]]
