"""Finds the places of a C++ source that a mutant can change.

Each place knows how to write all of it anew so that a number, read when the
program runs, tells whether the change is on: `a < b` becomes
`(zinMutants::Is(17) ? (a) <= (b) : (a) < (b))`. All mutants of a library are so
compiled at once. Written with a number that is decided already, the place
becomes plain code with or without its change; this serves where a mutant has to
stand in a constant expression.
"""
import dataclasses
import re
from typing import Callable

from clang.cindex import Cursor, CursorKind, Index, TokenKind

SHIFTED = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
INTEGER = re.compile(r"(0[xX][0-9a-fA-F']+|0[bB][01']+|[0-9][0-9']*)[uUlLzZ]*")

FUNCTIONS = (CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR,
             CursorKind.DESTRUCTOR, CursorKind.FUNCTION_TEMPLATE, CursorKind.CONVERSION_FUNCTION)
LOOPS = (CursorKind.WHILE_STMT, CursorKind.FOR_STMT, CursorKind.CXX_FOR_RANGE_STMT, CursorKind.DO_STMT)
KEYWORDS = {CursorKind.IF_STMT: "if", CursorKind.WHILE_STMT: "while", CursorKind.DO_STMT: "do",
            CursorKind.FOR_STMT: "for", CursorKind.RETURN_STMT: "return"}
JUMPS = (CursorKind.RETURN_STMT, CursorKind.BREAK_STMT, CursorKind.CONTINUE_STMT)


@dataclasses.dataclass
class Place:
    """What a mutant changes. Offsets are bytes of the file, the end exclusive."""
    start: int
    end: int
    kind: str     # compare, constant, negate, negate declared, omit, omit guard
    detail: str   # what the change is, for people
    function: str
    # write(text of a range with the places inside it written anew, switch)
    write: Callable[[Callable[[int, int], str], str], str]
    constant: bool = False  # stands where the compiler wants a constant expression
    line: int = 0
    occurrence: int = 0     # among places that read alike
    number: int = -1

    def priority(self):
        """Of places with one range, the outer comes first."""
        return {"omit": 0, "omit guard": 0, "negate declared": 1, "negate": 2}.get(self.kind, 3)


class Finder:
    """Walks one file of one translation unit."""

    def __init__(self, path, text):
        self.path = path
        self.text = text
        self.places = {}

    # ---- places -----------------------------------------------------------

    def add(self, start, end, kind, detail, function, write, constant):
        key = (start, end, kind)
        if key not in self.places:
            self.places[key] = Place(start, end, kind, detail, function, write, constant,
                                     self.text.count(b"\n", 0, start) + 1)

    def slice(self, start, end):
        return self.text[start:end].decode()

    def range_of(self, cursor: Cursor):
        """Offsets, or None for what a macro made: all of it stands at the macro's use."""
        extent = cursor.extent
        if extent.start.file is None or extent.start.file.name != self.path:
            return None
        return extent.start.offset, extent.end.offset

    def add_compare(self, left, right, operator_text, context):
        start, end = left[0], right[1]
        new = SHIFTED[operator_text]

        def write(sub, switch):
            a, b = sub(*left), sub(*right)
            return f"({switch} ? ({a}) {new} ({b}) : ({a}) {operator_text} ({b}))"
        self.add(start, end, "compare", f"{operator_text} becomes {new}", context.function, write,
                 context.constant)

    def add_constant(self, start, end, context):
        text = self.slice(start, end)
        if text in ("true", "false"):
            detail = f"{text} becomes {'false' if text == 'true' else 'true'}"

            def write(sub, switch):
                return f"({text} != {switch})"
        elif text.startswith("'"):
            detail = f"{text} becomes the next character"

            def write(sub, switch):
                return f"static_cast<char>({text} + {switch})"
        elif INTEGER.fullmatch(text):
            detail = f"{text} becomes {text} + 1"

            def write(sub, switch):
                return f"({text} + {switch})"
        else:
            return
        self.add(start, end, "constant", detail, context.function, write, context.constant)

    def add_negation(self, start, end, context):
        text = self.slice(start, end)

        def write(sub, switch):
            return f"(static_cast<bool>({sub(start, end)}) != {switch})"
        self.add(start, end, "negate", f"{shown(text)} is negated", context.function, write,
                 context.constant)

    def add_omission(self, start, end, context):
        text = self.slice(start, end)

        def write(sub, switch):
            return "{ if (!" + switch + ") { " + sub(start, end) + " } }"
        self.add(start, end, "omit", f"{shown(text)} is left out", context.function, write, False)

    # ---- the walk ---------------------------------------------------------

    def visit(self, cursor, context):
        location = self.range_of(cursor)
        if location is None:
            return
        kind = cursor.kind
        if kind in KEYWORDS and not self.slice(*location).startswith(KEYWORDS[kind]):
            return  # made by a macro
        context = context.inside(cursor, self)
        if context is None:
            return
        if kind == CursorKind.CALL_EXPR and self.slice(*location).startswith("__builtin_prefetch"):
            return  # a hint, whose other arguments have to be constants
        if kind == CursorKind.BINARY_OPERATOR:
            self.visit_operator(cursor, context)
        elif kind == CursorKind.CALL_EXPR and cursor.spelling.startswith("operator"):
            self.visit_operator(cursor, context)
        elif kind in (CursorKind.INTEGER_LITERAL, CursorKind.CHARACTER_LITERAL,
                      CursorKind.CXX_BOOL_LITERAL_EXPR):
            self.add_constant(*location, context)
        elif kind in (CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.DO_STMT, CursorKind.FOR_STMT,
                      CursorKind.CONDITIONAL_OPERATOR):
            self.visit_condition(cursor, context)
        elif kind == CursorKind.COMPOUND_STMT:
            self.visit_block(cursor, context)
        elif kind == CursorKind.UNEXPOSED_EXPR:
            self.visit_operator(cursor, context)  # != that the compiler makes of a ==
        for child in cursor.get_children():
            self.visit(child, context)

    def visit_operator(self, cursor, context):
        operands = self.operands(cursor)
        if operands is None:
            return
        left, right = operands
        between = self.slice(left[1], right[0]).strip()
        if between in SHIFTED:
            self.add_compare(left, right, between, context)
        elif between in ("&&", "||"):
            for operand in (left, right):
                if not self.is_equality(operand, cursor):
                    self.add_negation(*operand, context)

    def operands(self, cursor):
        """Ranges of what stands left and right. The compiler may have turned a == round."""
        children = [self.range_of(child) for child in cursor.get_children()]
        if len(children) < 2 or None in children:
            return None
        children.sort()
        return children[0], children[-1]

    def is_equality(self, location, cursor):
        """Negating it would be the same as shifting it."""
        for child in cursor.walk_preorder():
            if self.range_of(child) == location:
                operands = self.operands(child)
                if operands is not None and \
                        self.slice(operands[0][1], operands[1][0]).strip() in ("==", "!="):
                    return True
        return False

    def condition_range(self, cursor):
        """Of the parentheses behind if or while, or before the question mark."""
        children = list(cursor.get_children())
        if cursor.kind == CursorKind.CONDITIONAL_OPERATOR:
            return self.range_of(children[0])
        if cursor.kind == CursorKind.DO_STMT:
            return self.range_of(children[-1])
        start, end = self.range_of(cursor)
        opening = self.text.index(b"(", start)
        closing = self.matching(opening)
        if cursor.kind == CursorKind.FOR_STMT:
            parts = self.semicolons(opening + 1, closing)
            if len(parts) != 2 or not self.slice(parts[0] + 1, parts[1]).strip():
                return None
            return self.trimmed(parts[0] + 1, parts[1])
        initialised = self.semicolons(opening + 1, closing)
        return self.trimmed((initialised[-1] if initialised else opening) + 1, closing)

    def visit_condition(self, cursor, context):
        location = self.condition_range(cursor)
        if location is None:
            return
        declared = [child for child in cursor.get_children()
                    if child.kind == CursorKind.VAR_DECL and self.range_of(child)[0] >= location[0]
                    and self.range_of(child)[1] <= location[1]]
        if declared and cursor.kind in (CursorKind.IF_STMT, CursorKind.WHILE_STMT):
            self.add_declared_negation(cursor, declared[0].spelling, location, context)
        elif not self.is_equality(location, cursor):
            self.add_negation(*location, context)

    def add_declared_negation(self, cursor, name, condition, context):
        start, end = self.range_of(cursor)
        body_start = condition[1] + 1
        if self.text[end - 1:end] not in (b"}", b";"):
            end = self.text.index(b";", end) + 1
        is_if = cursor.kind == CursorKind.IF_STMT

        def write(sub, switch):
            declaration, body = sub(*condition), sub(body_start, end)
            if is_if:
                return f"if ({declaration}; static_cast<bool>({name}) != {switch}) {body}"
            return (f"while (true) {{ {declaration}; if (static_cast<bool>({name}) == {switch}) break; "
                    f"{body} }}")
        self.add(start, end, "negate declared", f"{shown(self.slice(*condition))} is negated",
                 context.function, write, False)

    def visit_block(self, block, context):
        statements = list(block.get_children())
        for statement in statements:
            self.visit_statement(statement, context, is_last=statement == statements[-1] and context.body == block)

    def visit_statement(self, statement, context, is_last):
        location = self.range_of(statement)
        if location is None:
            return
        start, end = location
        kind = statement.kind
        if kind == CursorKind.DECL_STMT:
            self.visit_guard(statement, context)
            return
        if kind == CursorKind.COMPOUND_STMT:
            return  # its statements are left out one by one
        if kind == CursorKind.NULL_STMT:
            return
        if kind.is_expression():
            end = self.text.index(b";", end) + 1 if self.text[end - 1:end] != b";" else end
            self.add_omission(start, end, context)
            return
        if kind in JUMPS:
            end = self.text.index(b";", end) + 1 if self.text[end - 1:end] != b";" else end
            if not (is_last and context.returns_value):
                self.add_omission(start, end, context)
            return
        if kind == CursorKind.IF_STMT or kind in LOOPS:
            for branch in self.branches(statement):
                self.visit_statement(branch, context, is_last=False)
            if self.text[end - 1:end] not in (b"}", b";"):
                end = self.text.index(b";", end) + 1
            must_return = is_last and context.returns_value
            if not must_return and not self.is_one_step(statement):
                self.add_omission(start, end, context)

    def branches(self, statement):
        """The statements without braces that hang on a condition or loop."""
        children = list(statement.get_children())
        location = None
        if statement.kind in (CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.FOR_STMT,
                              CursorKind.CXX_FOR_RANGE_STMT):
            opening = self.text.index(b"(", self.range_of(statement)[0])
            location = self.matching(opening)
        return [child for child in children
                if location is not None and self.range_of(child) is not None
                and self.range_of(child)[0] > location]

    def is_one_step(self, statement):
        """Left out, it would be the same as its only statement left out."""
        branches = self.branches(statement)
        if len(branches) != 1:
            return False
        if branches[0].kind == CursorKind.COMPOUND_STMT:
            inner = list(branches[0].get_children())
            return len(inner) == 1 and inner[0].kind != CursorKind.DECL_STMT
        return True

    def visit_guard(self, statement, context):
        """A variable that nobody reads: its constructor and destructor are what it is for."""
        variables = [child for child in statement.get_children() if child.kind == CursorKind.VAR_DECL]
        if len(variables) != 1 or context.block is None:
            return
        variable = variables[0]
        if variable.type.get_canonical().get_declaration().kind not in (
                CursorKind.CLASS_DECL, CursorKind.STRUCT_DECL, CursorKind.CLASS_TEMPLATE):
            return
        uses = sum(1 for child in context.block.walk_preorder()
                   if child.kind == CursorKind.DECL_REF_EXPR and child.referenced == variable)
        start, end = self.range_of(statement)
        text = self.slice(start, end)
        match = re.fullmatch(r"(?:const\s+)?([\w:<>, ]+?)\s+" + re.escape(variable.spelling) + r"(?:\((.*)\))?\s*;",
                             text, re.DOTALL)
        if uses or not match:
            return
        arguments = match.group(2) or ""
        value = f"{match.group(1)}({arguments})"
        name = variable.spelling

        def write(sub, switch):
            return (f"std::optional<decltype({value})> {name}; if (!{switch}) {name}.emplace({arguments});")
        self.add(start, end, "omit guard", f"{shown(text)} is left out", context.function, write, False)

    # ---- text -------------------------------------------------------------

    def matching(self, opening):
        """Offset of the parenthesis that closes the one at `opening`."""
        depth, offset = 0, opening
        while True:
            character = self.text[offset:offset + 1]
            if character in (b'"', b"'"):
                offset = self.end_of_literal(offset)
                continue
            depth += (character == b"(") - (character == b")")
            if depth == 0:
                return offset
            offset += 1

    def end_of_literal(self, offset):
        quote = self.text[offset:offset + 1]
        offset += 1
        while self.text[offset:offset + 1] != quote:
            offset += 2 if self.text[offset:offset + 1] == b"\\" else 1
        return offset + 1

    def semicolons(self, start, end):
        found, depth, offset = [], 0, start
        while offset < end:
            character = self.text[offset:offset + 1]
            if character in (b'"', b"'"):
                offset = self.end_of_literal(offset)
                continue
            depth += (character in (b"(", b"{")) - (character in (b")", b"}"))
            if character == b";" and depth == 0:
                found.append(offset)
            offset += 1
        return found

    def trimmed(self, start, end):
        text = self.text[start:end]
        return start + len(text) - len(text.lstrip()), end - (len(text) - len(text.rstrip()))

    # ---- macros -----------------------------------------------------------

    def find_in_macros(self):
        """The code in #define, which the compiler's tree does not show as written."""
        for define in re.finditer(rb"^[ \t]*#[ \t]*define[ \t]+(\w+)(\([^)]*\))?((?:\\\n|[^\n])*)", self.text,
                                  re.MULTILINE):
            start, end = define.span(3)
            context = Context(define.group(1).decode())
            for match in re.finditer(rb"\b\d+\b(?!\w)", self.text[start:end]):
                self.add_constant(start + match.start(), start + match.end(), context)
            for match in re.finditer(rb"\bif \(", self.text[start:end]):
                opening = start + match.end() - 1
                self.add_negation(opening + 1, self.matching(opening), context)


def shown(text, most=70):
    line = " ".join(text.split())
    return line if len(line) <= most else line[:most - 3] + "..."


@dataclasses.dataclass
class Context:
    """What stands around a cursor."""
    function: str = "-"
    body: Cursor = None          # of the innermost function or lambda
    block: Cursor = None
    returns_value: bool = False
    constant: bool = False

    def inside(self, cursor, finder):
        """None: nothing in there is code of ours to change."""
        kind = cursor.kind
        if kind in FUNCTIONS:
            if not cursor.is_definition():
                return None
            body = next((c for c in cursor.get_children() if c.kind == CursorKind.COMPOUND_STMT), None)
            name = cursor.spelling
            parent = cursor.semantic_parent
            if parent is not None and parent.kind in (CursorKind.CLASS_DECL, CursorKind.STRUCT_DECL):
                name = f"{parent.spelling}::{name}"
            has_value = kind in (CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.FUNCTION_TEMPLATE) \
                and cursor.result_type.spelling != "void"
            return Context(name, body, body, has_value, False)
        if kind == CursorKind.LAMBDA_EXPR:
            body = [c for c in cursor.get_children() if c.kind == CursorKind.COMPOUND_STMT][-1:]
            text = finder.slice(*finder.range_of(cursor))
            return dataclasses.replace(self, body=body[0] if body else None, returns_value="return " in text)
        if kind == CursorKind.COMPOUND_STMT:
            return dataclasses.replace(self, block=cursor)
        if kind in (CursorKind.STATIC_ASSERT, CursorKind.ENUM_CONSTANT_DECL, CursorKind.CASE_STMT):
            return dataclasses.replace(self, constant=True)
        if kind == CursorKind.VAR_DECL:
            tokens = self.declaration_tokens(cursor)
            if "constexpr" in tokens or "constinit" in tokens:
                return dataclasses.replace(self, constant=True, function=self.named(cursor))
            return dataclasses.replace(self, function=self.named(cursor))
        if kind == CursorKind.FIELD_DECL:
            return dataclasses.replace(self, function=self.named(cursor))
        return self

    def named(self, cursor):
        if self.function != "-":
            return self.function
        parent = cursor.semantic_parent
        if parent is not None and parent.kind in (CursorKind.CLASS_DECL, CursorKind.STRUCT_DECL):
            return f"{parent.spelling}::{cursor.spelling}"
        return cursor.spelling

    @staticmethod
    def declaration_tokens(cursor):
        words = []
        for token in cursor.get_tokens():
            if token.spelling == cursor.spelling:
                break
            words.append(token.spelling)
        return words


def parse(path, arguments, unsaved=None):
    unit = Index.create().parse(str(path), args=arguments, unsaved_files=unsaved or [])
    errors = [d for d in unit.diagnostics if d.severity >= 3]
    if errors:
        raise ValueError(f"{path}: {errors[0].spelling}")
    return unit


def declarations_by_file(unit):
    """The outermost declarations of a translation unit."""
    found = {}
    for cursor in unit.cursor.get_children():
        if cursor.location.file is not None:
            found.setdefault(cursor.location.file.name, []).append(cursor)
    return found


def find(declarations, path, text):
    """The places in the file `path` with these outermost declarations, by position."""
    finder = Finder(str(path), text)
    finder.find_in_macros()
    for cursor in declarations:
        finder.visit(cursor, Context())
    places = sorted(finder.places.values(), key=lambda p: (p.start, -p.end, p.priority()))
    seen = {}
    for place in places:
        key = (place.function, line_text(text, place), place.kind, place.detail)
        seen[key] = seen.get(key, 0) + 1
        place.occurrence = seen[key]
    return places


def line_text(text, place):
    return text.split(b"\n")[place.line - 1].decode().strip()


def missed_comparisons(unit, path, text, places):
    """Lines with a comparison that no place covers: the finder did not understand them."""
    covered = [(p.start, p.end) for p in places if p.kind == "compare"]
    missed = []
    for token in unit.get_tokens(extent=unit.get_extent(str(path), (0, len(text)))):
        if token.kind == TokenKind.PUNCTUATION and token.spelling in ("==", "!=", "<=", ">="):
            offset = token.extent.start.offset
            line = text.split(b"\n")[token.location.line - 1]
            if b"#" in line[:line.find(token.spelling.encode())]:
                continue
            if b"operator" in line:
                continue
            if not any(start <= offset < end for start, end in covered):
                missed.append(f"{path}:{token.location.line}: {line.decode().strip()}")
    return missed


def switched(place):
    return f"zinMutants::Is({place.number})"


def rewrite(text, places, switch_of=switched):
    """The text with every place written anew. switch_of(place) is the condition for its change."""
    def render(start, end, chosen):
        parts, offset, index = [], start, 0
        while index < len(chosen):
            place = chosen[index]
            inside = [p for p in chosen[index + 1:] if p.start >= place.start and p.end <= place.end]
            parts.append(text[offset:place.start].decode())

            def sub(first, last, inside=inside):
                return render(first, last, [p for p in inside if first <= p.start and p.end <= last])
            parts.append(place.write(sub, switch_of(place)))
            offset = place.end
            index += 1 + len(inside)
        parts.append(text[offset:end].decode())
        return "".join(parts)
    return render(0, len(text), places)


def function_lines(declarations):
    """(name, first line, last line) of each function with a body in the file."""
    found = []

    def visit(cursors):
        for child in cursors:
            if child.kind in FUNCTIONS and child.is_definition():
                parent = child.semantic_parent
                name = child.spelling
                if parent is not None and parent.kind in (CursorKind.CLASS_DECL, CursorKind.STRUCT_DECL):
                    name = f"{parent.spelling}::{name}"
                found.append((name, child.extent.start.line, child.extent.end.line))
            elif child.kind in (CursorKind.NAMESPACE, CursorKind.CLASS_DECL, CursorKind.STRUCT_DECL,
                                CursorKind.CLASS_TEMPLATE, CursorKind.UNEXPOSED_DECL, CursorKind.LINKAGE_SPEC):
                visit(child.get_children())
    visit(declarations)
    return found
