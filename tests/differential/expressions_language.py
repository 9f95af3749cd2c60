"""The text of expressions to tuples, and everything that can be wrong with one without an item.

Operators are parsed by their binding power. What may stand where is checked afterwards, on the tuples:

    ("path", [name or index, ...])   ("value", value)   ("call", name, [...])   ("paren", x)   ("not", x)
    ("and" | "or" | "=" | "<>" | "<" | "<=" | ">" | ">=" | "+" | "-", x, y)   ("between", x, y, z)   ("in", x, [...])
"""

import re

from expressions_values import ORDERED, Refused, compare

TOKEN = re.compile(r"[ \t\r\n]+|<>|<=|>=|[#:][A-Za-z0-9_]+|[A-Za-z_][A-Za-z0-9_]*|[0-9]+|.", re.DOTALL)
WORD = re.compile(r"[A-Za-z_][A-Za-z0-9_]*\Z")

COMPARATORS = ("=", "<>", "<", "<=", ">", ">=")
POWERS = {"or": 1, "and": 2, "between": 4, "in": 4, "+": 5, "-": 5, **{symbol: 4 for symbol in COMPARATORS}}
NOT_POWER = 3
OPERAND_POWER = 6

ARGUMENTS = {"attribute_exists": 1, "attribute_not_exists": 1, "attribute_type": 2, "begins_with": 2, "contains": 2,
             "size": 1, "if_not_exists": 2, "list_append": 2}
RESERVED = {"NAME", "STATUS", "SET", "REMOVE", "ADD", "DELETE", "AND", "OR", "NOT", "BETWEEN", "IN", "SIZE", "VALUE"}
MOST_OPERATORS = 300


class Names:
    """What placeholders stand for, and which have been used."""

    def __init__(self, names, values):
        self.names, self.values, self.used = names, values, set()

    def take(self, definitions, placeholder):
        if placeholder not in definitions:
            raise Refused("undefined")
        self.used.add(placeholder)
        return definitions[placeholder]

    def check_used(self):
        if self.used != set(self.names) | set(self.values):
            raise Refused("unused")


class Text:
    """An expression that is being parsed."""

    def __init__(self, text, names, infixes):
        self.tokens = [token for token in TOKEN.findall(text) if not token.isspace()] + [""]
        self.names, self.infixes, self.operators = names, infixes, 0
        if not text or len(text.encode()) > 4096:
            raise Refused("size")

    def peek(self):
        return self.tokens[0]

    def take(self):
        return self.tokens.pop(0)

    def expect(self, token):
        if self.take().lower() != token:
            raise Refused("syntax")

    def end(self):
        if self.peek():
            raise Refused("syntax")
        if self.operators > MOST_OPERATORS:
            raise Refused("operators")

    def name(self):
        token = self.take()
        if token[:1] == "#" and len(token) > 1:
            return self.names.take(self.names.names, token)
        if not WORD.match(token) or token.upper() in RESERVED:
            raise Refused("name")
        return token

    def path(self):
        path = [self.name()]
        while self.peek() in (".", "["):
            if self.take() == ".":
                path.append(self.name())
            else:
                if not self.peek().isdigit() or len(self.peek()) > 9:
                    raise Refused("index")
                path.append(int(self.take()))
                self.expect("]")
        if len(path) > 32:
            raise Refused("nesting")
        return path

    def value(self):
        return self.names.take(self.names.values, self.take())

    def list(self):
        """Operands in parentheses."""
        self.expect("(")
        elements = [self.expression(OPERAND_POWER)]
        while self.peek() == ",":
            self.take()
            elements.append(self.expression(OPERAND_POWER))
        self.expect(")")
        return elements

    def operand(self):
        token = self.peek()
        if token == "(":
            self.take()
            inside = self.expression(0)
            self.expect(")")
            if inside[0] == "paren":
                raise Refused("redundant")
            return ("paren", inside)
        if token[:1] == ":" and len(token) > 1:
            return ("value", self.value())
        if token.lower() == "not" and "and" in self.infixes:
            self.take()
            self.operators += 1
            return ("not", self.expression(NOT_POWER))
        if WORD.match(token) and self.tokens[1] == "(":
            self.operators += 1
            return ("call", self.take(), self.list())
        return ("path", self.path())

    def expression(self, power):
        left = self.operand()
        while True:
            operator = self.peek().lower()
            if operator not in self.infixes or POWERS[operator] <= power:
                return left
            self.take()
            self.operators += 1
            if operator == "in":
                left = ("in", left, self.list())
            elif operator == "between":
                lower = self.expression(OPERAND_POWER)
                self.expect("and")
                left = ("between", left, lower, self.expression(OPERAND_POWER))
            else:
                left = (operator, left, self.expression(POWERS[operator]))


def bare(node):
    while node[0] == "paren":
        node = node[1]
    return node


def static_type(node):
    """The type of an operand if it does not depend on the item."""
    node = bare(node)
    if node[0] == "value":
        return node[1][0]
    if node[0] == "call":
        return {"size": "N", "list_append": "L"}.get(node[1])
    return None


def require(condition, reason):
    if not condition:
        raise Refused(reason)


def check_types(nodes, allowed):
    require(all(static_type(node) is None or static_type(node) in allowed for node in nodes), "type")


def check_distinct(first, others):
    first = bare(first)
    require(first[0] != "path" or all(bare(other) != first for other in others), "distinct")


def check_operand(node):
    node = bare(node)
    require(node[0] in ("path", "value") or node[:2] == ("call", "size"), "no operand")
    if node[0] == "call":
        check_call(node)


def check_call(node):
    _, name, arguments = node
    require(name in ARGUMENTS and ARGUMENTS[name] == len(arguments), "arguments")
    require(name not in ("if_not_exists", "list_append"), "function")
    for argument in arguments:
        check_operand(argument)
    if name in ("attribute_exists", "attribute_not_exists"):
        require(bare(arguments[0])[0] == "path", "path")
    if name == "begins_with":
        check_types(arguments, ("S", "B"))
    if name == "contains":
        check_types(arguments[:1], ("S", "B", "L", "SS", "NS", "BS"))
    if name == "size":
        check_types(arguments, ("S", "B", "L", "M", "SS", "NS", "BS"))
    if name == "attribute_type":
        kind = bare(arguments[1])
        require(kind[0] == "value" and kind[1][0] == "S" and
                kind[1][1] in ("S", "N", "B", "BOOL", "NULL", "M", "L", "SS", "NS", "BS"), "type name")
    check_distinct(arguments[0], arguments[1:])


def check_condition(node):
    node = bare(node)
    if node[0] in ("and", "or", "not"):
        for part in node[1:]:
            check_condition(part)
        return
    if node[0] == "call":
        require(node[1] != "size", "size is no condition")
        check_call(node)
        return
    require(node[0] in COMPARATORS or node[0] in ("between", "in"), "no condition")
    operands = [node[1]] + (node[2] if node[0] == "in" else list(node[2:]))
    for operand in operands:
        check_operand(operand)
    require(node[0] != "in" or len(operands) <= 101, "too many")
    if node[0] not in ("=", "<>", "in"):
        check_types(operands, ORDERED)
    check_distinct(operands[0], operands[1:])
    lower, upper = (bare(bound) for bound in operands[-2:])
    if node[0] == "between" and lower[0] == upper[0] == "value":
        require(compare("<=", lower[1], upper[1]), "bounds")


def check_sum(node, may_be_sum=True):
    """The right side of SET."""
    node = bare(node)
    if node[0] in ("+", "-"):
        require(may_be_sum, "sum of sums")
        check_types(node[1:], ("N",))
        for operand in node[1:]:
            check_sum(operand, may_be_sum=False)
    elif node[0] == "call":
        require(node[1] in ("if_not_exists", "list_append") and len(node[2]) == 2, "function")
        for argument in node[2]:
            check_sum(argument, may_be_sum=False)
        if node[1] == "if_not_exists":
            require(node[2][0][0] == "path", "path")
        else:
            check_types(node[2], ("L",))
    else:
        require(node[0] in ("path", "value"), "operand")


def check_clashes(paths):
    for i, first in enumerate(paths):
        for second in paths[:i]:
            shorter = min(len(first), len(second))
            require(first[:shorter] != second[:shorter], "overlap")
            for a, b in zip(first, second):
                require(isinstance(a, int) == isinstance(b, int), "conflict")
                if a != b:
                    break


def parse_condition(text, names):
    source = Text(text, names, COMPARATORS + ("and", "or", "between", "in"))
    condition = source.expression(0)
    source.end()
    check_condition(condition)
    return condition


def parse_update(text, names):
    """A list of (section, path, the tuple of a sum, value or None)."""
    source, actions, sections = Text(text, names, ("+", "-")), [], set()
    while not sections or source.peek():
        section = source.take().upper()
        require(section in ("SET", "REMOVE", "ADD", "DELETE") and section not in sections, "section")
        sections.add(section)
        comma = ","
        while comma == ",":
            path, argument = source.path(), None
            if section == "SET":
                source.expect("=")
                argument = source.expression(0)
                check_sum(argument)
            elif section != "REMOVE":
                argument = source.value()
                require(argument[0] in ("SS", "NS", "BS") or (section, argument[0]) == ("ADD", "N"), "type")
            actions.append((section, path, argument))
            comma = source.peek()
            if comma == ",":
                source.take()
    source.end()
    check_clashes([path for _, path, _ in actions])
    return actions


def parse_projection(text, names):
    source = Text(text, names, ())
    paths = [source.path()]
    while source.peek() == ",":
        source.take()
        paths.append(source.path())
    source.end()
    check_clashes(paths)
    return paths
