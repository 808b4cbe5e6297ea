"""Changes to conditions, loops and the order of statements."""

import re

from clang.cindex import CursorKind as Kind

from changes import SWITCH, Insertion, around
from effects import independent
from expressions import Expressions
from kinds import flat
from texts import LOOPS, file_place, spelled_place

JUMPS = (Kind.RETURN_STMT, Kind.BREAK_STMT, Kind.CONTINUE_STMT, Kind.GOTO_STMT)
LABELS = (Kind.CASE_STMT, Kind.DEFAULT_STMT, Kind.LABEL_STMT)


class Statements(Expressions):
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
        if self.span(node) is None or body.kind != Kind.COMPOUND_STMT or context.fixed or not context.switch:
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
        if leader is None or len(run) > 60 or not context.switch:
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
