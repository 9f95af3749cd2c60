"""Random values and items, chosen so that equal ones are frequent."""

import base64

NUMBERS = ["0", "-0", "1", "1.0", "1e0", "-1", "2", "10", "1e1", "0.1", "-0.10", "1E-130", "-1e-130", "9e125",
           "99999999999999999999999999999999999999", "0.12345678901234567890123456789012345678", "1e40", "3.50"]
STRINGS = ["", "a", "ab", "abc", "b", "\u00e9", "\u00e9t\u00e9", "\U0001d11e", "\uffff", "S", "N", "L", "SS", "NULL",
           "10"]
BINARIES = [base64.b64encode(data).decode() for data in (b"", b"\0", b"\0\xff", b"a", b"ab", b"\xff\xfe", b"10")]
ATTRIBUTES = ["a", "b", "c", "d", "l", "m", "h", "r"]
MEMBERS = ["a", "b", "x", "a.b", "name"]
TYPES = ["S", "N", "B", "BOOL", "NULL", "M", "L", "SS", "NS", "BS"]


def members(value):
    """Names or indexes in a map or list, with the values there."""
    ((kind, content),) = value.items()
    return list(content.items()) if kind == "M" else list(enumerate(content)) if kind == "L" else []


class Items:
    def __init__(self, random):
        self.random = random

    def one_in(self, chances):
        return self.random.randrange(chances) == 0

    def value(self, depth=0, kinds=None):
        kind = self.random.choice(kinds or (TYPES if depth < 3 else TYPES[:5] + TYPES[7:]))
        choice, below = self.random.choice, range(self.random.randrange(4))
        if kind in ("S", "N", "B"):
            return {kind: choice({"S": STRINGS, "N": NUMBERS, "B": BINARIES}[kind])}
        if kind == "BOOL":
            return {kind: self.one_in(2)}
        if kind == "NULL":
            return {kind: True}
        if kind == "L":
            return {kind: [self.value(depth + 1) for _ in below]}
        if kind == "M":
            return {kind: {choice(MEMBERS): self.value(depth + 1) for _ in below}}
        pool = {"SS": STRINGS, "NS": ["0", "1", "2.5", "10", "-1", "1e40"], "BS": BINARIES}[kind]
        return {kind: self.random.sample(pool, 1 + self.random.randrange(3))}

    def make_item(self):
        item = {name: self.value() for name in ATTRIBUTES if not self.one_in(4)}
        if not self.one_in(3):
            item["l"] = self.value(kinds=["L"])
            item["m"] = self.value(kinds=["M"])
        return item
