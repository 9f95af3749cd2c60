"""Parses the text of expressions to tuples, by the binding power of operators:

    ("path", [name or index, ...])   ("value", value)   ("call", name, [...])   ("paren", x)   ("not", x)
    ("and" | "or" | "=" | "<>" | "<" | "<=" | ">" | ">=" | "+" | "-", x, y)   ("between", x, y, z)   ("in", x, [...])

What may stand where is checked afterwards, on the tuples.
"""

import re

from expressions_checks import COMPARATORS, check_clashes, check_condition, check_sum, require
from expressions_values import Refused

TOKEN = re.compile(r"[ \t\r\n]+|<>|<=|>=|[#:][A-Za-z0-9_]+|[A-Za-z_][A-Za-z0-9_]*|[0-9]+|.", re.DOTALL)
WORD = re.compile(r"[A-Za-z_][A-Za-z0-9_]*\Z")

POWERS = {"or": 1, "and": 2, "between": 4, "in": 4, "+": 5, "-": 5, **{symbol: 4 for symbol in COMPARATORS}}
NOT_POWER = 3
OPERAND_POWER = 6

RESERVED = {"NAME", "STATUS", "SET", "REMOVE", "ADD", "DELETE", "AND", "OR", "NOT", "BETWEEN", "IN", "SIZE", "VALUE"}
MOST_OPERATORS = 300


class Names:
    """The names and values of the placeholders, and which have been used."""

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
