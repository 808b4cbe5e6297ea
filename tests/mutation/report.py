"""Who survived, and why it may: accepted.txt, the results file and the page's figures."""

import collections
import re
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
PAGE = HERE.parents[1] / "docs/quality.md"
FIELDS = {"file", "line", "before", "kind", "change", "reason"}


class Accepted:
    """The stanzas of accepted.txt: fields file, line, before, kind, change and reason."""

    def __init__(self, path=HERE / "accepted.txt"):
        self.stanzas = []
        for block in re.split(r"\n\s*\n", path.read_text(encoding="utf-8")):
            lines = [line for line in block.splitlines() if line and not line.startswith("#")]
            if not lines:
                continue
            fields = dict(line.partition(": ")[::2] for line in lines)
            if not {"file", "kind", "reason"} <= set(fields) <= FIELDS or not fields.get("line", fields.get("change")):
                raise ValueError(f"accepted.txt: a stanza has file, kind, reason, and line or change; not\n{block}")
            self.stanzas.append({name: value.strip() for name, value in fields.items()})
        self.used = set()

    def reason(self, change):
        """The reason why the change may survive, or None."""
        for index, stanza in enumerate(self.stanzas):
            if not is_about(stanza, change.path):
                continue
            texts = {"line": change.line, "before": change.before, "kind": change.kind, "change": change.shown}
            if all(matches(text, stanza[name]) for name, text in texts.items() if name in stanza):
                self.used.add(index)
                return stanza["reason"]
        return None

    def unused(self, paths):
        """Stanzas about these sources that no survivor needs any more."""
        return [stanza for index, stanza in enumerate(self.stanzas) if index not in self.used
                and any(is_about(stanza, path) for path in paths)]  # fmt: skip


def matches(text, pattern):
    """Like a shell's pattern in which only "<*>" is special: code holds the shell's other characters."""
    return re.fullmatch(".*".join(re.escape(part) for part in pattern.split("<*>")), text) is not None


def is_about(stanza, path):
    return matches("/" + path, "<*>/" + stanza["file"])


def stanza(change):
    return f"file: {change.path}\nline: {change.line}\nkind: {change.kind}\nchange: {change.shown}"


class Report:
    """What became of the changes."""

    def __init__(self, target, changes, outcomes, accepted):
        self.target = target
        self.changes = [change for change in changes if outcomes[change.id]["outcome"] != "invalid"]
        self.invalid = len(changes) - len(self.changes)
        self.outcomes = outcomes
        self.survivors = [change for change in self.changes if outcomes[change.id]["outcome"] == "survived"]
        self.reasons = {id(change): accepted.reason(change) for change in self.survivors}
        self.accepted = accepted
        self.killed = len(self.changes) - len(self.survivors)
        self.unexplained = [change for change in self.survivors if self.reasons[id(change)] is None]

    @property
    def faults(self):
        """How many changes somebody could notice, as far as is known."""
        return self.killed + len(self.unexplained)

    @property
    def percent(self):
        return 100 * self.killed / max(self.faults, 1)

    def table(self, key):
        counts = collections.defaultdict(lambda: [0, 0, 0])
        for change in self.changes:
            row = counts[key(change)]
            row[0] += 1
            if self.outcomes[change.id]["outcome"] == "killed":
                row[1] += 1
            elif self.reasons[id(change)] is not None:
                row[2] += 1
        return sorted(counts.items())

    def text(self, complete, seconds, processor):
        lines = [f"target {self.target}, {time.strftime('%Y-%m-%d')}, {'every change' if complete else 'a part of the changes'}"]
        lines.append(f"{self.invalid} changes did not compile; the run took {seconds:.0f} s, {processor:.0f} s of processor time\n")
        for title, key in (("kind", lambda change: change.kind), ("source", lambda change: change.path)):
            lines.append(f"{title:<44} made  noticed accepted")
            lines += [f"{name:<44} {made:>5} {killed:>7} {fine:>7}" for name, (made, killed, fine) in self.table(key)]
            lines.append("")
        noticers = collections.Counter(self.outcomes[c.id]["test"].split(".")[0] for c in self.changes if self.outcomes[c.id].get("test"))  # fmt: skip
        lines += ["noticed by: " + ", ".join(f"{name} {count}" for name, count in noticers.most_common()), ""]
        for title, explained in (("Survivors with a reason", True), ("Survivors without a reason", False)):
            lines.append(f"{title}:")
            for change in self.survivors:
                reason = self.reasons[id(change)]
                if (reason is not None) == explained:
                    lines.append(f"# {change.path}:{change.row}\n{stanza(change)}\n" + (f"reason: {reason}\n" if reason else ""))
        lines += [f"accepted.txt explains nothing with: {s}" for s in self.accepted.unused({c.path for c in self.changes})]
        lines.append(self.summary())
        return "\n".join(lines) + "\n"

    def summary(self):
        return (f"killed {self.killed} of {len(self.changes)} ({self.percent:.1f} % of those that can be noticed), "
                f"{len(self.survivors)} survived, {len(self.unexplained)} of them unexplained")  # fmt: skip

    def write_page(self):
        """Puts the figures between the marks of this target on the page."""
        begin, end = f"<!-- mutation {self.target}: written by ./test --mutation -->", "<!-- end -->"
        text = PAGE.read_text(encoding="utf-8")
        if begin not in text:
            return
        rows = [f"| {kind} | {made} | {killed} | {fine} |" for kind, (made, killed, fine) in self.table(lambda c: c.kind)]
        rows.append(f"| all | {len(self.changes)} | {self.killed} | {len(self.survivors) - len(self.unexplained)} |")
        table = "\n".join(["| Change | made | noticed | accepted |", "|---|---|---|---|", *rows])
        head, _, rest = text.partition(begin)
        PAGE.write_text(f"{head}{begin}\n{table}\n{end}{rest.partition(end)[2]}", encoding="utf-8")
