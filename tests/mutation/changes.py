"""One change of a source, and how a source is written so that all of its changes can be switched at run time."""

import hashlib
from dataclasses import dataclass, field


@dataclass
class Change:
    """Bytes `start` to `end` of the source become `text`. `edits` do the same by a switch; without them it is compiled."""

    path: str
    kind: str
    start: int
    end: int
    text: str
    line: str  # the source line it starts on, without indentation
    row: int  # of that line, from 1
    shown: str  # what becomes of what
    function: int = -1  # index of the function it is in; -1 for none
    edits: list = field(default_factory=list)
    leader: "Change | None" = None  # whose edits hold the switch of this one too
    number: int = 0  # its switch, counted from 1 over all sources
    before: str = ""  # what of the line stands in front of it

    @property
    def switched(self):
        return bool((self.leader or self).edits)

    def key(self, digest):
        """The same for the same change of the same text, wherever the source is kept."""
        return hashlib.sha256(f"{digest} {self.kind} {self.start} {self.end} {self.text}".encode()).hexdigest()[:24]

    def apply(self, source):
        return source[: self.start] + self.text + source[self.end :]


SWITCH = "\x01"  # stands in an insertion for the number of its change


@dataclass(frozen=True)
class Insertion:
    """Text put in at `at`. `open` ones stand before what starts there, the others behind what ends there."""

    at: int
    text: str
    open: bool
    reach: int  # the other end of what it belongs to: outer ones stand further out


def around(start, end, before, behind):
    return [Insertion(start, before, True, end), Insertion(end, behind, False, start)]


def weave(source, insertions):
    """The source with all insertions, properly nested; none of them holds a line break."""

    def rank(item):
        order, insertion = item
        if insertion.open:
            return (insertion.at, 1, -insertion.reach, order)
        return (insertion.at, 0, -insertion.reach, -order)

    pieces, at = [], 0
    for _, insertion in sorted(enumerate(insertions), key=rank):
        pieces += [source[at : insertion.at], insertion.text]
        at = insertion.at
    return "".join(pieces) + source[at:]
