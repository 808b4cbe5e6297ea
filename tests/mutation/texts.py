"""A C++ source: where the text of each node stands, and the changes that were found in it."""

import bisect
import ctypes
import re
from dataclasses import dataclass, field

from clang import cindex
from clang.cindex import CursorKind as Kind

from changes import SWITCH, Change, around
from kinds import flat

LOOPS = (Kind.FOR_STMT, Kind.WHILE_STMT, Kind.DO_STMT, Kind.CXX_FOR_RANGE_STMT)


def file_place(location):
    """File and offset where the text stands: for an argument of a macro in the call, for its body at the call."""
    file, offset = ctypes.c_void_p(), ctypes.c_uint()
    cindex.conf.lib.clang_getFileLocation(location, ctypes.byref(file), None, None, ctypes.byref(offset))
    return offset.value


def spelled_place(location):
    file, offset = ctypes.c_void_p(), ctypes.c_uint()
    cindex.conf.lib.clang_getSpellingLocation(location, ctypes.byref(file), None, None, ctypes.byref(offset))
    return offset.value


@dataclass(frozen=True)
class Constant:
    """A variable that is constexpr: where the word stands, and what takes its place when it is to be set at run time."""

    name: str
    start: int
    end: int
    words: str
    stop: int  # where the declaration ends


@dataclass
class Source:
    """One file and what was found in it."""

    path: str
    text: str
    changes: list = field(default_factory=list)
    constants: list = field(default_factory=list)
    functions: list = field(default_factory=list)  # offset behind each body's brace, whether it is constexpr
    seen: set = field(default_factory=set)

    def __post_init__(self):
        self.rows = [0] + [match.end() for match in re.finditer("\n", self.text)]

    def row(self, offset):
        return bisect.bisect_right(self.rows, offset)

    def line(self, offset):
        start = self.rows[self.row(offset) - 1]
        return self.text[start:].split("\n", 1)[0].strip()

    def before(self, offset):
        return self.text[self.rows[self.row(offset) - 1] : offset].strip()


@dataclass(frozen=True)
class Context:
    """What surrounds a node."""

    function: int = -1
    function_end: int = -1
    switch: str = "ESA_M"  # empty where none can be thrown
    fixed: bool = False  # a constant expression by the language: sizes, labels, template arguments
    loop_condition: bool = False


class Texts:
    """Takes changes down by the places of their nodes; `sources` collects by path, so that headers are looked at once."""

    def __init__(self, sources, read):
        self.sources, self.read = sources, read
        self.source = None

    # --- places

    def span(self, node):
        """Start and end of a node's text where it stands; None when a macro's body made it."""
        start, end = node.extent.start, node.extent.end
        first, last = file_place(start), file_place(end)
        if first >= last or spelled_place(start) != first or spelled_place(end) != last:
            return None
        return first, last

    def loose_span(self, node):
        """The same, but a macro that stands for an operand or a condition counts as written: "errno != EINTR"."""
        span = self.span(node)
        if span:
            return span
        first, last = file_place(node.extent.start), file_place(node.extent.end)
        if spelled_place(node.extent.start) != first:
            first = node.extent.start.offset
        if spelled_place(node.extent.end) != last:
            last = node.extent.end.offset
        return (first, last) if first < last else None

    def operand_spans(self, operands):
        """Where two operands stand, and both together; None when a macro's body holds the operator as well."""
        spans = [self.loose_span(operand) for operand in operands]
        if len(spans) != 2 or None in spans or spans[0][1] > spans[1][0]:
            return None
        return *spans, (spans[0][0], spans[1][1])

    def text(self, span):
        return self.source.text[span[0] : span[1]]

    def statement_span(self, node):
        """A whole statement, semicolon included; a macro's call counts as a whole. None for what has no end of its own."""
        start, end = file_place(node.extent.start), node.extent.end.offset
        start = min(start, node.extent.start.offset)
        text = self.source.text
        if text[end - 1] in ";}" and node.kind in (*LOOPS, Kind.COMPOUND_STMT, Kind.IF_STMT, Kind.SWITCH_STMT,
                                                    Kind.DECL_STMT, Kind.NULL_STMT):  # fmt: skip
            return start, end
        rest = re.match(r"\s*;", text[end:])
        return (start, end + rest.end()) if rest else None

    # --- changes

    def add(self, kind, span, text, context, edits=(), shown=None):
        key = (kind, span, text)
        if key in self.source.seen:
            return None
        self.source.seen.add(key)
        old, new = flat(self.text(span)), flat(text)
        change = Change(self.source.path, kind, span[0], span[1], text, self.source.line(span[0]),
                        self.source.row(span[0]), shown or f"{old} -> {new or '(nothing)'}", context.function,
                        list(edits) if context.switch else [], before=self.source.before(span[0]))  # fmt: skip
        self.source.changes.append(change)
        return change

    def alternative(self, kind, span, text, context):
        """An expression that becomes another."""
        if flat(self.text(span)) == flat(text):
            return
        edits = () if context.fixed else around(*span, f"({context.switch}({SWITCH})?({flat(text)}):(", "))")
        self.add(kind, span, text, context, edits)

    def name_end(self, node):
        return node.location.offset + len(node.spelling)
