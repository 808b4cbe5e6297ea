"""Finds what can be changed in a C++ source: one constant, comparison, operator, call or string at a time."""

import re
from dataclasses import dataclass

SWAPS = {
    "==": "!=", "!=": "==", ">=": ">", "<=": "<", " < ": " <= ", " > ": " >= ",
    "&&": "||", "||": "&&", " & ": " | ", " | ": " & ", " ^ ": " | ", "|=": "&=", "&=": "|=", "^=": "|=",
    "<<": ">>", ">>": "<<", " + ": " - ", " - ": " + ", " * ": " / ", " / ": " * ", "+=": "-=", "-=": "+=",
    "true": "false", "false": "true", "continue;": ";", "break;": ";",
}  # fmt: skip
WORD = re.compile(r"\w")
NUMBER = re.compile(r"(?<![\w.])(0x[0-9A-Fa-f]+|\d+\.\d+|\d+)(U?)(?![\w.])")
STRING = re.compile(r'"((?:\\.|[^"\\])+)"')
# Escapes and conversions stay whole: a broken one would show as a crash instead of as a wrong text.
STRING_PART = re.compile(r"\\.|%[-+ #0-9.*]*(?:hh|h|ll|l|z)?[A-Za-z%]|.")
NEGATION = re.compile(r"!(?=[A-Za-z_(])")
CALL = re.compile(r"\s+(?:\(void\))?[A-Za-z_][\w:.>\-\[\]]*\(.*\);$")
ASSIGNMENT = re.compile(r"\s+[A-Za-z_][\w:.>\-\[\]*]* (?:[-+|&^]|<<|>>)?= .*;$")
STEP = re.compile(r"\s+(?:\+\+|--)[\w.\->]+;$")
NO_CODE = ("//", "/*", "*", "#", "static_assert", "using", "template", "case ")


@dataclass(frozen=True)
class Mutant:
    """One change: columns `start` to `end` of the line with index `row` become `text`."""

    path: str
    row: int
    start: int
    end: int
    text: str
    original: str

    @property
    def line(self):
        return self.original[: self.start] + self.text + self.original[self.end :]

    def apply(self, source):
        lines = source.split("\n")
        lines[self.row] = self.line
        return "\n".join(lines)

    def __str__(self):
        return f"{self.path}:{self.row + 1}\n    {self.original.strip()}\n    {self.line.strip() or '(nothing)'}"


def changed_number(text):
    if text.startswith("0x"):
        return f"0x{int(text, 16) + 1:0{len(text) - 2}X}"
    if "." not in text:
        return str(int(text) + 1)
    # The first digit that is not 0: a later one may be beyond what a double holds.
    at = next((i for i, digit in enumerate(text) if digit in "123456789"), 0)
    return text[:at] + str(int(text[at]) % 9 + 1) + text[at + 1 :]


def changed_string(text):
    """Changes the middle one of the plain characters; a string without any gets one more in front."""
    plain = [part.start() for part in STRING_PART.finditer(text) if len(part.group()) == 1]
    if not plain:
        return "Q" + text
    at = plain[len(plain) // 2]
    return text[:at] + ("Q" if text[at] != "Q" else "X") + text[at + 1 :]


def swaps(code):
    for old, new in SWAPS.items():
        for match in re.finditer(re.escape(old), code):
            around = code[max(match.start() - 1, 0) : match.start()] + code[match.end() : match.end() + 1]
            if WORD.match(old) and re.search(r"\w", around):
                continue
            # "<" of "<<=", "=" of "<=>" and the like belong to another operator.
            if not WORD.match(old) and re.search(r"[<>=|&]", around):
                continue
            yield match.start(), match.end(), new


def changes(line):
    """Every (start, end, text) that changes `line`."""
    code = STRING.sub(lambda match: '"' + "_" * len(match.group(1)) + '"', line)
    code = re.sub(r"//.*", lambda match: " " * len(match.group()), code)
    for match in NUMBER.finditer(code):
        yield match.start(1), match.end(1), changed_number(match.group(1))
    yield from swaps(code)
    for match in NEGATION.finditer(code):
        yield match.start(), match.end(), ""
    for match in STRING.finditer(line):
        if code[match.start()] == '"' and code[match.start() + 1] == "_":
            yield match.start(1), match.end(1), changed_string(match.group(1))
    if CALL.match(code) or ASSIGNMENT.match(code) or STEP.match(code):
        yield len(line) - len(line.lstrip()), len(line), ";"


def balanced(line):
    return line.count("(") == line.count(")")


def mutants_of(path, source):
    """Every mutant of the source at `path`."""
    found = []
    for row, line in enumerate(source.split("\n")):
        if line.strip().startswith(NO_CODE):
            continue
        for start, end, text in changes(line):
            if text == ";" and start == len(line) - len(line.lstrip()) and not balanced(line):
                continue  # the end of a statement that began on an earlier line
            found.append(Mutant(path, row, start, end, text, line))
    return found
