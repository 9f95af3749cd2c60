"""Attribute values in Python, and computations with them that need no item.

A value is a pair of its type and its content: numbers are Decimal, sets frozensets, maps dicts, lists tuples, binary
bytes.
"""

import base64
import decimal

LIMITED = decimal.Context(prec=1000, Emax=9999, Emin=-9999)

MANY_DIGITS = "Attempting to store more than 38 significant digits in a Number"
OVERFLOW = "Number overflow. Attempting to store a number with magnitude larger than supported range"
UNDERFLOW = "Number underflow. Attempting to store a number with magnitude smaller than supported range"

ORDERED = ("S", "N", "B")
SETS = ("SS", "NS", "BS")


class Refused(Exception):
    """The request itself is invalid."""


def decode(value):
    """A value from its JSON."""
    ((kind, content),) = value.items()
    if kind == "N":
        content = decimal.Decimal(content)
    elif kind == "B":
        content = base64.b64decode(content)
    elif kind == "L":
        content = tuple(decode(element) for element in content)
    elif kind == "M":
        content = decode_item(content)
    elif kind == "SS":
        content = frozenset(content)
    elif kind == "NS":
        content = frozenset(decimal.Decimal(element) for element in content)
    elif kind == "BS":
        content = frozenset(base64.b64decode(element) for element in content)
    return kind, content


def decode_item(item):
    return {name: decode(value) for name, value in item.items()}


def ordered(value):
    """A value with Python's order, for values that the API can order."""
    kind, content = value
    return content.encode() if kind == "S" else content


def compare(operator, left, right):
    """Whether a comparison holds; None stands for what is missing."""
    if operator == "<>":
        return not compare("=", left, right)
    if left is None or right is None or left[0] != right[0]:
        return False
    if operator == "=":
        return left[1] == right[1]
    if left[0] not in ORDERED:
        return False
    a, b = ordered(left), ordered(right)
    return {"<": a < b, "<=": a <= b, ">": a > b, ">=": a >= b}[operator]


def between(value, lower, upper):
    return compare(">=", value, lower) and compare("<=", value, upper)


def begins_with(value, prefix):
    return (None not in (value, prefix) and value[0] == prefix[0] and value[0] in ("S", "B")
            and value[1].startswith(prefix[1]))


def contains(value, part):
    if None in (value, part):
        return False
    if value[0] in ("S", "B"):
        return value[0] == part[0] and part[1] in value[1]
    if value[0] in SETS:
        return value[0] == part[0] + "S" and part[1] in value[1]
    return value[0] == "L" and part in value[1]


def size(value):
    if value is None or value[0] in ("N", "BOOL", "NULL"):
        return None
    return "N", decimal.Decimal(len(value[1]))


def number_faults(number):
    """All reasons why the result of a sum is not a number."""
    faults = set()
    if number == 0:
        return faults
    if len(number.normalize(LIMITED).as_tuple().digits) > 38:
        faults.add(MANY_DIGITS)
    if number.adjusted() > 125:
        faults.add(OVERFLOW)
    if number.adjusted() < -130:
        faults.add(UNDERFLOW)
    return faults


def levels(value):
    """How deep maps and lists are nested in a value."""
    if value[0] not in ("M", "L"):
        return 0
    below = value[1].values() if value[0] == "M" else value[1]
    return 1 + max(map(levels, below), default=0)
