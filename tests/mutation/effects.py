"""Whether two neighbouring statements may change places without anybody being able to notice."""

import re

from clang.cindex import CursorKind as Kind

# Of the standard library: they only compute.
PURE = {"min", "max", "size", "ssize", "begin", "end", "data", "clamp", "countr_zero", "popcount", "empty", "front",
        "back", "at", "operator[]", "operator*", "operator->", "byteswap", "move", "forward"}  # fmt: skip
WORD = re.compile(r"[A-Za-z_]\w*")


def reference(node):
    found = node.referenced
    return found if found is not None and found != node else None


def calls(node, text):
    """Whether the statement calls anything that could do something."""
    for child in node.walk_preorder():
        if child.kind == Kind.CALL_EXPR:
            called = reference(child)
            if called is not None and called.kind in (Kind.CONSTRUCTOR, Kind.CONVERSION_FUNCTION):
                continue
            if child.spelling in PURE or child.spelling == "operator=":
                continue
            return True
        if child.kind in (Kind.CXX_THROW_EXPR, Kind.CXX_NEW_EXPR, Kind.CXX_DELETE_EXPR, Kind.RETURN_STMT):
            return True
    return False


def place_of(node):
    """The name of what an expression denotes, subscripts and pointers left out: "esaControl.pollTimeout.sec"."""
    if node.kind in (Kind.UNEXPOSED_EXPR, Kind.PAREN_EXPR, Kind.ARRAY_SUBSCRIPT_EXPR):
        inner = next(node.get_children(), None)
        return place_of(inner) if inner is not None else "*"
    if node.kind == Kind.MEMBER_REF_EXPR:
        inner = next(node.get_children(), None)
        return f"{place_of(inner) if inner is not None else 'this'}.{node.spelling}"
    if node.kind == Kind.DECL_REF_EXPR:
        return node.spelling
    return "*"


def is_assignment(node, text):
    if node.kind == Kind.COMPOUND_ASSIGNMENT_OPERATOR:
        return True
    if node.kind == Kind.CALL_EXPR:
        return node.spelling == "operator="
    children = list(node.get_children())
    if node.kind == Kind.UNARY_OPERATOR:
        start, end = node.extent.start.offset, node.extent.end.offset
        return text[start : start + 2] in ("++", "--") or text[end - 2 : end] in ("++", "--")
    if node.kind == Kind.BINARY_OPERATOR and len(children) == 2:
        between = text[children[0].extent.end.offset : children[1].extent.start.offset]
        return re.fullmatch(r"\s*=\s*", between) is not None
    return False


def effects(node, text):
    """Names of what the statement writes, and of what it reads or writes."""
    written, touched = set(), set()
    for child in node.walk_preorder():
        if is_assignment(child, text):
            written.add(place_of(next(child.get_children())))
        elif child.kind == Kind.VAR_DECL:
            written.add(child.spelling)
        elif child.kind in (Kind.DECL_REF_EXPR, Kind.MEMBER_REF_EXPR):
            touched.add(place_of(child))
        elif child.kind == Kind.UNARY_OPERATOR and text[child.extent.start.offset : child.extent.start.offset + 1] == "&":
            written.add(place_of(next(child.get_children())))
    # "esaControl" is touched by every mention of a member of it: only the longest names count.
    longest = {name for name in touched if not any(other.startswith(name + ".") for other in touched)}
    return written, longest | written


def overlap(one, other):
    if "*" in (one, other) or one == other:
        return True
    if one.startswith(other + ".") or other.startswith(one + "."):
        return True
    # Two ways to the same member: through a pointer, through a name.
    return one.rpartition(".")[2] == other.rpartition(".")[2] and "." in one and "." in other


def local_only(written, touched, other):
    """Whether what a statement touches are plain names that the other's text does not hold."""
    words = set(WORD.findall(other))
    return all("." not in name and name != "*" and name not in words for name in written | touched)


def is_local(node):
    """Whether every name that the statement touches is a local of plain type."""
    for child in node.walk_preorder():
        if child.kind != Kind.DECL_REF_EXPR:
            continue
        named = reference(child)
        if named is None or named.kind == Kind.ENUM_CONSTANT_DECL:
            continue
        if named.kind not in (Kind.VAR_DECL, Kind.PARM_DECL) or named.semantic_parent is None:
            return False
        if named.kind == Kind.VAR_DECL and named.semantic_parent.kind in (Kind.NAMESPACE, Kind.TRANSLATION_UNIT):
            if not named.type.is_const_qualified():
                return False
    return True


def source_of(node, text):
    return text[node.extent.start.offset : node.extent.end.offset]


def independent(first, second, text):
    """Whether their order shows nowhere: neither is known to the other, and one at least calls nothing."""
    calling = [calls(node, text) for node in (first, second)]
    if all(calling):
        return False
    (written1, touched1), (written2, touched2) = effects(first, text), effects(second, text)
    if any(calling):
        quiet, loud = (second, first) if calling[0] else (first, second)
        written, touched = (written2, touched2) if calling[0] else (written1, touched1)
        return is_local(quiet) and local_only(written, touched, source_of(loud, text))
    return not any(overlap(a, b) for a in written1 for b in touched2) and not any(
        overlap(a, b) for a in written2 for b in touched1
    )
