"""Finds, with libclang, everything in a C++ source that a change can be made to."""

import re
from dataclasses import replace

from clang.cindex import CursorKind as Kind
from clang.cindex import TypeKind

from changes import SWITCH, Insertion, around
from kinds import flat
from statements import Statements
from texts import LOOPS, Constant, Context, Source, file_place

FUNCTIONS = (Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.CONVERSION_FUNCTION,
             Kind.FUNCTION_TEMPLATE, Kind.LAMBDA_EXPR)  # fmt: skip


class Finder(Statements):
    """Walks one translation unit."""

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
        # The compiler looks into a lambda of such a function as well.
        switch = context.switch
        if switch and re.search(r"\bconsteval\b", head):
            switch = ""  # no switch is thrown while compiling
        elif switch == "ESA_M" and re.search(r"\bconstexpr\b", head):
            switch = "ESA_MC"
        self.source.functions.append((span[0] + 1, switch != "ESA_M"))
        return Context(len(self.source.functions) - 1, span[1], switch)

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
        switch = "ESA_MC" if node.kind == Kind.FIELD_DECL and context.switch else context.switch
        return replace(context, fixed=fixed, loop_condition=loop, switch=switch)

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
