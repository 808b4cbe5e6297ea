"""Finds, with libclang, everything in a C++ source that a change can be made to."""

import bisect
import ctypes
import re
from dataclasses import dataclass, field, replace

from clang import cindex
from clang.cindex import CursorKind as Kind
from clang.cindex import TypeKind

from changes import SWITCH, Change, Insertion, around
from effects import independent
from kinds import ASSIGNMENTS, COMPARISONS, SWAPS, changed_number, changed_string, flat

INTEGERS = {
    TypeKind.CHAR_U, TypeKind.UCHAR, TypeKind.USHORT, TypeKind.UINT, TypeKind.ULONG, TypeKind.ULONGLONG,
    TypeKind.CHAR_S, TypeKind.SCHAR, TypeKind.SHORT, TypeKind.INT, TypeKind.LONG, TypeKind.LONGLONG, TypeKind.ENUM,
}  # fmt: skip
RELATIONS = ("<", "<=", ">", ">=")
FUNCTIONS = (Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.CONVERSION_FUNCTION,
             Kind.FUNCTION_TEMPLATE, Kind.LAMBDA_EXPR)  # fmt: skip
JUMPS = (Kind.RETURN_STMT, Kind.BREAK_STMT, Kind.CONTINUE_STMT, Kind.GOTO_STMT)
LOOPS = (Kind.FOR_STMT, Kind.WHILE_STMT, Kind.DO_STMT, Kind.CXX_FOR_RANGE_STMT)
LABELS = (Kind.CASE_STMT, Kind.DEFAULT_STMT, Kind.LABEL_STMT)
NARROW = (("low byte", 1, "static_cast<unsigned char>"), ("low 32 bits", 4, "static_cast<std::uint32_t>"))


def file_place(location):
    """File and offset where the text stands: for an argument of a macro in the call, for its body at the call."""
    file, offset = ctypes.c_void_p(), ctypes.c_uint()
    cindex.conf.lib.clang_getFileLocation(location, ctypes.byref(file), None, None, ctypes.byref(offset))
    return offset.value


def spelled_place(location):
    file, offset = ctypes.c_void_p(), ctypes.c_uint()
    cindex.conf.lib.clang_getSpellingLocation(location, ctypes.byref(file), None, None, ctypes.byref(offset))
    return offset.value


def value_of(node):
    """The value of an integer constant, or None."""
    library = cindex.conf.lib
    library.clang_Cursor_Evaluate.restype = ctypes.c_void_p
    result = ctypes.c_void_p(library.clang_Cursor_Evaluate(node))
    if not result:
        return None
    integer = library.clang_EvalResult_getKind(result) == 1
    value = library.clang_EvalResult_getAsInt(result) if integer else None
    library.clang_EvalResult_dispose(result)
    return value


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


@dataclass(frozen=True)
class Context:
    """What surrounds a node."""

    function: int = -1
    function_end: int = -1
    switch: str = "ESA_M"
    fixed: bool = False  # a constant expression by the language: sizes, labels, template arguments
    loop_condition: bool = False


class Finder:
    """Walks one translation unit; `sources` collects by path, so that headers are looked at once."""

    def __init__(self, sources, read):
        self.sources, self.read = sources, read
        self.source = None

    def walk_unit(self, unit, wanted):
        before = set(self.sources)
        for node in unit.cursor.get_children():
            file = node.location.file
            path = wanted(file.name) if file else None
            if path is None or path in before:
                continue
            if path not in self.sources:
                self.sources[path] = Source(path, self.read(path))
            self.source = self.sources[path]
            self.visit(node, Context())

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
                        list(edits))  # fmt: skip
        self.source.changes.append(change)
        return change

    def alternative(self, kind, span, text, context):
        """An expression that becomes another."""
        if flat(self.text(span)) == flat(text):
            return
        edits = () if context.fixed else around(*span, f"({context.switch}({SWITCH})?({flat(text)}):(", "))")
        self.add(kind, span, text, context, edits)

    # --- walking

    def visit(self, node, context):
        kind = node.kind
        if kind == Kind.STATIC_ASSERT or kind.is_attribute():
            return
        if kind in FUNCTIONS:
            context = self.enter_function(node, context)
        handler = HANDLERS.get(kind)
        if handler:
            handler(self, node, context)
        for child in node.get_children():
            self.visit(child, self.context_of(node, child, context))

    def enter_function(self, node, context):
        body = next((child for child in node.get_children() if child.kind == Kind.COMPOUND_STMT), None)
        span = self.span(body) if body else None
        if span is None or self.source.text[span[0]] != "{":
            return context
        head = self.source.text[node.extent.start.offset : span[0]]
        # The compiler looks into a lambda of a constexpr function as well.
        constant = context.switch == "ESA_MC" or re.search(r"\b(constexpr|consteval)\b", head) is not None
        self.source.functions.append((span[0] + 1, constant))
        return Context(len(self.source.functions) - 1, span[1], "ESA_MC" if constant else "ESA_M")

    def context_of(self, node, child, context):
        fixed = context.fixed or node.kind == Kind.ENUM_CONSTANT_DECL
        if node.kind == Kind.CASE_STMT and child.kind.is_expression():
            fixed = fixed or child == next(node.get_children())
        if node.kind in (Kind.VAR_DECL, Kind.FIELD_DECL) and child.kind.is_expression():
            initializer = file_place(child.extent.start) > self.name_end(node)
            fixed = fixed or not initializer
            if initializer and self.source.text[self.name_end(node) :].lstrip()[:1] == "[":
                fixed = fixed or child.kind == Kind.INTEGER_LITERAL
        loop = False
        if node.kind in LOOPS:
            loop = self.loose_span(child) is not None and self.loose_span(child) == self.condition_of(node)
        # What a member has by default may be wanted in a constexpr function.
        switch = "ESA_MC" if node.kind == Kind.FIELD_DECL else context.switch
        return replace(context, fixed=fixed, loop_condition=loop, switch=switch)

    def name_end(self, node):
        return node.location.offset + len(node.spelling)

    # --- literals

    def literal(self, node, context):
        span = self.span(node)
        changed = changed_number(self.text(span)) if span else None
        if changed:
            self.alternative("number", span, changed, context)

    def boolean(self, node, context):
        span = self.span(node)
        if span and self.text(span) in ("true", "false"):
            self.alternative("truth value", span, "false" if self.text(span) == "true" else "true", context)

    def string(self, node, context):
        span = self.span(node)
        if span is None:
            return
        token = re.match(r'R"\(.*?\)"|(?:u8|L)?"(?:\\.|[^"\\\n])*"', self.text(span), re.S)
        changed = changed_string(token.group()) if token else None
        if changed and "\n" not in token.group():
            self.alternative("text", span, changed + self.text(span)[token.end() :], context)

    # --- operators

    def binary(self, node, context):
        operands = list(node.get_children())
        spans = self.operand_spans(operands)
        if spans is None:
            return
        one, two, whole = spans
        operator, left, right = flat(self.text((one[1], two[0]))), self.text(one), self.text(two)
        if operator in SWAPS:
            kind = "comparison" if operator in COMPARISONS else "operator"
            self.alternative(kind, whole, f"{left} {SWAPS[operator]} {right}", context)
        if operator in COMPARISONS:
            self.narrow(whole, operands, (left, operator, right), context)
        if operator in RELATIONS and context.loop_condition and self.is_integer(operands[1]):
            self.alternative("loop bound", whole, f"{left} {operator} ({right}) - 1", context)
        if operator in ("&&", "||"):
            for operand in operands:
                self.negate(operand, context)

    def compound_assignment(self, node, context):
        spans = self.operand_spans(list(node.get_children()))
        if spans is None:
            return
        one, two, whole = spans
        operator = flat(self.text((one[1], two[0])))
        if operator in ASSIGNMENTS:
            self.alternative("operator", whole, f"{self.text(one)} {ASSIGNMENTS[operator]} {self.text(two)}", context)

    @staticmethod
    def bare(node):
        """The operand before the language widens it."""
        while node.kind in (Kind.UNEXPOSED_EXPR, Kind.PAREN_EXPR):
            children = list(node.get_children())
            if len(children) != 1:
                break
            node = children[0]
        return node

    def bytes_of(self, node):
        """How many bytes tell the operand's values apart."""
        node = self.bare(node)
        kind = node.type.get_canonical()
        if kind.kind == TypeKind.ENUM:
            values = [child.enum_value for child in kind.get_declaration().get_children() if child.kind == Kind.ENUM_CONSTANT_DECL]
            if len({value & 0xFF for value in values}) == len(set(values)):
                return 1
        operands = list(node.get_children())
        if node.kind == Kind.BINARY_OPERATOR and node.binary_operator.name == "And":
            if any(value is not None and 0 <= value < 256 for value in map(value_of, operands)):
                return 1
        return kind.get_size()

    def is_integer(self, node):
        return node.type.get_canonical().kind in INTEGERS

    def narrow(self, span, operands, texts, context):
        """Comparisons of the low byte or word only, where the operands have more."""
        if not all(self.is_integer(operand) for operand in operands):
            return
        literals = [changed_number(texts[i]) is not None for i in (0, 2)]
        sizes = [self.bytes_of(operand) for operand in operands]
        wide = max((size for size, literal in zip(sizes, literals) if not literal), default=0)
        if context.loop_condition and self.small_constant(operands[1]):
            return  # a counter that stops at a small number never has more
        for name, size, cast in NARROW:
            if wide > size:
                text = f"{cast}({texts[0]}) {texts[1]} {cast}({texts[2]})"
                self.alternative(name, span, text, context)

    def small_constant(self, node):
        if self.bytes_of(node) == 1:
            return True
        value = value_of(node)
        return value is not None and 0 <= value < 256

    def unary(self, node, context):
        span = self.span(node)
        if span and self.text(span).startswith("!"):
            self.alternative("negation", span, self.text(span)[1:], context)

    def negate(self, node, context):
        """A condition negated, where no other change does just that."""
        while node.kind in (Kind.UNEXPOSED_EXPR, Kind.PAREN_EXPR) and len(list(node.get_children())) == 1:
            inner = next(node.get_children())
            if self.span(inner) is None:
                break
            node = inner
        span = self.loose_span(node)
        if span is None or self.text(span).startswith("!"):
            return
        if node.kind == Kind.BINARY_OPERATOR and node.binary_operator.name in ("EQ", "NE"):
            if self.operand_spans(list(node.get_children())):
                return
        self.alternative("condition", span, f"!({self.text(span)})", context)

    # --- conditions and loops

    def parenthesis(self, node):
        """The text between the parentheses of an if, a while, a for, as (start, end)."""
        text, depth = self.source.text, 0
        at = start = text.index("(", node.extent.start.offset) + 1
        for match in re.finditer(r'"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\])+\'|//[^\n]*|[()]', text[start:]):
            if match.group() == "(":
                depth += 1
            elif match.group() == ")":
                depth -= 1
                if depth < 0:
                    return start, start + match.start()
            at = start + match.end()
        return start, at

    def condition_of(self, node):
        """The condition of an if or a loop as (start, end), or None."""
        if spelled_place(node.extent.start) != file_place(node.extent.start):
            return None
        children = list(node.get_children())
        if node.kind == Kind.DO_STMT:
            return self.loose_span(children[-1])
        start, end = self.parenthesis(node)
        if node.kind == Kind.FOR_STMT:
            parts = [match.start() for match in re.finditer(";", self.source.text[start:end])]
            if len(parts) != 2:
                return None
            start, end = start + parts[0] + 1, start + parts[1]
        declared = [child.extent for child in children if child.kind in (Kind.DECL_STMT, Kind.VAR_DECL)]
        for child in children:
            span = self.loose_span(child)
            if not span or not child.kind.is_expression() or not start <= span[0] <= span[1] <= end:
                continue
            if not any(extent.start.offset <= span[0] < extent.end.offset for extent in declared):
                return span
        return None

    def condition(self, node, context):
        span = self.condition_of(node)
        for child in node.get_children():
            if span and self.loose_span(child) == span and child.kind.is_expression():
                self.negate(child, context)
                break

    def ternary(self, node, context):
        if self.span(node):
            self.negate(next(node.get_children()), context)

    def range_loop(self, node, context):
        """Leaves out the first element, or the last."""
        body = list(node.get_children())[-1]
        if self.span(node) is None or body.kind != Kind.COMPOUND_STMT or context.fixed:
            return
        start, end = self.parenthesis(node)
        head = self.source.text[start:end]
        colon = re.search(r"(?<!:):(?!:)", head)
        if ";" in head or not colon:
            return
        inside = self.span(body)[0] + 1
        name = f"esaAt{start}"
        shared = [Insertion(start, f"unsigned long {name}=0;", True, end),
                  Insertion(inside, f"++{name};", True, self.span(body)[1])]  # fmt: skip
        checks = [("first", "1")]
        of = flat(head[colon.end() :])
        if re.fullmatch(r"[\w.:>\-\[\]]+", of):
            checks.append(("last", f"std::size({of})"))
        leader = None
        for which, place in checks:
            change = self.add("loop bound", (start, end), f"{which} of {head}", context, [], f"leaves out the {which}: {flat(head)}")
            if change is None:
                return
            change.leader, leader = leader, leader or change
            skip = f"if({context.switch}({'+'.join((SWITCH, str(int(which == 'last'))))})&&{name}=={place})continue;"
            leader.edits += [*shared, Insertion(inside, skip, True, self.span(body)[1])]
            shared = []

    # --- statements

    def compound(self, node, context):
        if self.span(node) is None:
            return
        run, before = [], None
        for child in node.get_children():
            statement = child
            while statement.kind in LABELS:
                self.exchange(run, context)
                run, before = [], None
                statement = list(statement.get_children())[-1]
            self.leave_out(statement, node, context)
            if before is not None and Kind.DECL_STMT in (before.kind, statement.kind):
                self.exchange_declared(before, statement, context)
            if self.movable(statement):
                run.append(statement)
            else:
                self.exchange(run, context)
                run = []
            before = statement
        self.exchange(run, context)

    def body(self, node, context):
        """A single statement without braces."""
        if self.span(node) is None:
            return
        for child in node.get_children():
            if child.kind != Kind.COMPOUND_STMT and child.kind.is_statement():
                self.leave_out(child, node, context)

    def leave_out(self, statement, parent, context):
        if statement.kind in (Kind.DECL_STMT, Kind.NULL_STMT, Kind.COMPOUND_STMT, *LABELS) or context.fixed:
            return
        if statement.kind == Kind.RETURN_STMT and self.ends_function(statement, parent, context):
            return
        span = self.statement_span(statement)
        if span is None:
            return
        edits = around(*span, f"{{if(!{context.switch}({SWITCH}))" + "{", "}}")
        old = flat(self.text(span))
        self.add("left out", span, ";", context, edits, f"left out: {old[:100]}")

    def ends_function(self, statement, parent, context):
        """Without it a function that returns something would end without; a void one would end all the same."""
        children = list(parent.get_children())
        return bool(children) and children[-1] == statement and parent.extent.end.offset == context.function_end

    def free_jump(self, node, inside=()):
        """Whether a break or continue in the statement leaves it."""
        for child in node.get_children():
            if child.kind == Kind.BREAK_STMT and not inside:
                return True
            if child.kind == Kind.CONTINUE_STMT and "loop" not in inside:
                return True
            if child.kind == Kind.LAMBDA_EXPR:
                continue
            more = inside
            if child.kind in LOOPS:
                more = (*inside, "loop")
            elif child.kind == Kind.SWITCH_STMT:
                more = (*inside, "switch")
            if self.free_jump(child, more):
                return True
        return False

    def movable(self, node):
        if node.kind in (Kind.DECL_STMT, Kind.NULL_STMT, *JUMPS, *LABELS):
            return False
        inside = ("loop",) if node.kind in LOOPS else ("switch",) if node.kind == Kind.SWITCH_STMT else ()
        return self.statement_span(node) is not None and not self.free_jump(node, inside)

    def exchange(self, run, context):
        """Exchanges neighbours of a run of statements that declare nothing, where anybody could notice."""
        spans = [self.statement_span(statement) for statement in run]
        if len(run) < 2 or context.fixed:
            return
        name, end = f"esaPlace{spans[0][0]}", spans[-1][1]
        leader, pairs = None, 0
        for pair, (one, two) in enumerate(zip(spans, spans[1:])):
            if independent(run[pair], run[pair + 1], self.source.text):
                continue
            change = self.add_exchange(one, two, context)
            if change is not None:
                change.leader, leader = leader, leader or change
                pairs |= 1 << pair
        if leader is None or len(run) > 60:
            return
        head = f"for(int {name}=0;{name}<{len(run)};++{name})switch(esaOrder({SWITCH},{pairs},{name})){{case 0:"
        # Outside of what else begins there: the labels belong to the switch.
        leader.edits += [Insertion(spans[0][0], head, True, end + 1), Insertion(end, "break;}", False, spans[0][0])]
        leader.edits += [Insertion(span[0], f"break;case {i}:", True, end + 1) for i, span in enumerate(spans) if i > 0]

    def add_exchange(self, one, two, context):
        between = self.text((one[1], two[0]))
        shown = f"exchanged: {flat(self.text(one))[:60]} <> {flat(self.text(two))[:60]}"
        return self.add("exchanged", (one[0], two[1]), self.text(two) + between + self.text(one), context, [], shown)

    def exchange_declared(self, first, second, context):
        """Exchanges two statements of which one declares something: compiled one by one."""
        pair = (first, second)
        if context.fixed or any(node.kind in (*JUMPS, *LABELS, Kind.NULL_STMT) for node in pair):
            return
        one, two = (self.statement_span(node) for node in pair)
        if one is None or two is None or any(self.free_jump(node) for node in pair):
            return
        names = [child.spelling for child in first.get_children()] if first.kind == Kind.DECL_STMT else []
        if any(re.search(rf"\b{re.escape(name)}\b", self.text(two)) for name in names if name):
            return
        if not independent(*pair, self.source.text):
            self.add_exchange(one, two, context)

    # --- declarations

    @staticmethod
    def plain_words(node, head):
        if not re.search(r"\bconst\b", head):
            return "const"
        inside = node.semantic_parent.kind not in (Kind.NAMESPACE, Kind.TRANSLATION_UNIT)
        return "" if inside or re.search(r"\b(static|inline)\b", head) else "static"

    def variable(self, node, context):
        start = node.extent.start.offset
        head = self.source.text[start : node.location.offset]
        word = re.search(r"\bconstexpr\b", head)
        if word:
            if self.span(node):
                self.source.constants.append(Constant(node.spelling, start + word.start(), start + word.end(),
                                                      self.plain_words(node, head), node.extent.end.offset))  # fmt: skip
            return
        if context.function < 0 or self.span(node) is None or re.search(r"\b(static|extern|thread_local)\b|&", head):
            return
        initializer = self.source.text[self.name_end(node) : node.extent.end.offset].strip()
        if not initializer.strip("={} "):
            initializer = "0" if initializer else ""
        if not initializer:
            return  # nobody may read it before it is written: kept or not is the same
        if re.match(r"(const\b|.*\bconst$)", head.strip()) and re.fullmatch(r"=?\s*\{?[\w\s\"']*\}?", initializer):
            if not any(child.kind.is_reference() or child.kind == Kind.DECL_REF_EXPR for child in node.walk_preorder()):
                return
        semantic = node.semantic_parent
        if semantic is not None and node.kind == Kind.VAR_DECL:
            shown = f"made static: {flat(self.text(self.span(node)))[:100]}"
            self.add("made static", (start, start), "static ", context, self.kept(node, head, context), shown)

    def kept(self, node, head, context):
        """Edits that keep a local from one pass of its scope to the next; none where only the word can."""
        text, end = self.source.text, node.extent.end.offset
        start, kind = node.extent.start.offset, node.type.get_canonical()
        behind = re.match(r"\s*;", text[end:])
        name = kind.spelling.replace("(anonymous namespace)::", "")
        if not behind or text[:start].rstrip()[-1:] not in "{};" or context.switch != "ESA_M" or not kind.is_pod():
            return []
        stop = end + behind.end()
        keeper = f"EsaKeeper<{SWITCH},decltype({node.spelling})>esaKeeper{SWITCH}({node.spelling});"
        edits = [Insertion(stop, keeper, False, start)]
        value = re.match(r"\s*=\s*(?!\s|\{)", text[self.name_end(node) :])
        if value and kind.kind != TypeKind.CONSTANTARRAY and "(" not in name:
            # Not asked for a second time either: the asking may be what does something.
            return around(self.name_end(node) + value.end(), end, f"esaKept<{SWITCH},{name}>([&]()->{name}" + "{return ", ";})") + edits
        return [] if kind.is_const_qualified() or re.search(r"\bconst\b", head) and "*" not in head else edits


HANDLERS = {
    Kind.INTEGER_LITERAL: Finder.literal,
    Kind.FLOATING_LITERAL: Finder.literal,
    Kind.CXX_BOOL_LITERAL_EXPR: Finder.boolean,
    Kind.STRING_LITERAL: Finder.string,
    Kind.BINARY_OPERATOR: Finder.binary,
    Kind.COMPOUND_ASSIGNMENT_OPERATOR: Finder.compound_assignment,
    Kind.UNARY_OPERATOR: Finder.unary,
    Kind.CONDITIONAL_OPERATOR: Finder.ternary,
    Kind.COMPOUND_STMT: Finder.compound,
    Kind.VAR_DECL: Finder.variable,
    Kind.CXX_FOR_RANGE_STMT: Finder.range_loop,
}


def with_body(handler):
    def both(self, node, context):
        handler(self, node, context)
        self.body(node, context)

    return both


for _kind in (Kind.IF_STMT, Kind.WHILE_STMT, Kind.FOR_STMT, Kind.DO_STMT):
    HANDLERS[_kind] = with_body(Finder.condition)
