"""Changes to literals and operators."""

import ctypes
import re

from clang import cindex
from clang.cindex import CursorKind as Kind
from clang.cindex import TypeKind

from kinds import ASSIGNMENTS, COMPARISONS, SWAPS, changed_number, changed_string, flat
from texts import Texts

INTEGERS = {
    TypeKind.CHAR_U, TypeKind.UCHAR, TypeKind.USHORT, TypeKind.UINT, TypeKind.ULONG, TypeKind.ULONGLONG,
    TypeKind.CHAR_S, TypeKind.SCHAR, TypeKind.SHORT, TypeKind.INT, TypeKind.LONG, TypeKind.LONGLONG, TypeKind.ENUM,
}  # fmt: skip
RELATIONS = ("<", "<=", ">", ">=")
NARROW = (("low byte", 1, "static_cast<unsigned char>"), ("low 32 bits", 4, "static_cast<std::uint32_t>"))


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


class Expressions(Texts):
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
            return min(kind.get_size(), *map(self.bytes_of, operands))
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
