"""Conditions on items and changes to them."""

from differential_values import (
    CONDITION_FAILED, INTERNAL_ERROR, NOT_FOUND, Refused, as_bool, as_list, as_map, as_text, key_bytes, name_order,
    text_as_integer, wrapped,
)

# Conditions.

UPWARD = ("EQ", "GE", "GT", "BEGINS_WITH", "BETWEEN")
DOWNWARD = ("LE", "LT")


class Condition:
    def __init__(self, condition, forward=True):
        condition = as_map(condition)
        self.operator, self.low, self.high, self.forward = None, b"", b"", forward
        if "ComparisonOperator" not in condition:
            return
        if "AttributeValueList" not in condition:
            raise Refused(INTERNAL_ERROR)
        self.operator = as_text(condition["ComparisonOperator"])
        values = as_list(condition["AttributeValueList"])
        if len(values) != (2 if self.operator == "BETWEEN" else 1):
            raise Refused(INTERNAL_ERROR)
        if self.operator == "BETWEEN":
            self.high = self.value(values[1])
        self.low = self.value(values[0])
        if self.operator in UPWARD:
            self.forward = True
        elif self.operator in DOWNWARD:
            self.forward = False

    @staticmethod
    def value(value):
        typed = as_map(value)
        if "S" not in typed:
            raise Refused(INTERNAL_ERROR)
        return key_bytes(typed["S"])

    def match(self, value):
        """Whether a value matches, and whether an upward walk ends after it."""
        low, high = self.low, self.high
        return {
            "EQ": (value == low, value != low),
            "LE": (value <= low, False),
            "LT": (value < low, False),
            "GE": (value >= low, False),
            "GT": (value > low, False),
            "BEGINS_WITH": (value.startswith(low), not value.startswith(low)),
            "BETWEEN": (low <= value <= high, value > high),
        }.get(self.operator, (True, False))


# Reading and changing attributes.


def check_expected(old, expected):
    for name in sorted(expected, key=name_order):
        condition = as_map(expected[name])
        if "Exists" in condition:
            if name in old and not as_bool(condition["Exists"]):
                raise Refused(CONDITION_FAILED)
            continue
        if "Value" not in condition:
            raise Refused(INTERNAL_ERROR)
        if name not in old:
            raise Refused(CONDITION_FAILED)
        have, want = as_map(old[name]), as_map(condition["Value"])
        if "S" in have and "S" in want:
            equal = as_text(have["S"]) == as_text(want["S"])
        elif "N" in have and "N" in want:
            equal = text_as_integer(as_text(have["N"])) == text_as_integer(as_text(want["N"]))
        else:
            equal = False
        if not equal:
            raise Refused(CONDITION_FAILED)


def stored_text(text):
    """Latin-1 text is stored as bytes that end at a zero byte, other text as it is."""
    return text.split("\0")[0] if all(ord(character) <= 0xFF for character in text) else text


def added(current, addend):
    if "N" in addend:
        if "N" not in current:
            raise Refused(NOT_FOUND)
        total = text_as_integer(as_text(current["N"])) + text_as_integer(as_text(addend["N"]))
        return {**current, "N": str(wrapped(total))}
    if "S" not in addend or "S" not in current:
        raise Refused(NOT_FOUND)
    return {**current, "S": stored_text(as_text(current["S"]) + as_text(addend["S"]))}


def updated(item, updates, return_values):
    """The item after an update, and the attributes that the update returns."""
    item = dict(item)
    answer = dict(item) if return_values == "ALL_OLD" else {}
    for name in sorted(updates, key=name_order):
        update = as_map(updates[name])
        action = as_text(update.get("Action"))
        if action not in ("PUT", "DELETE", "ADD"):
            continue
        if name in item and return_values == "UPDATED_OLD":
            answer[name] = item[name]
        if action == "DELETE":
            item.pop(name, None)
            continue
        if action == "ADD" and name in item:
            item[name] = added(as_map(item[name]), as_map(update.get("Value")))
        else:
            item[name] = update.get("Value")
        if return_values == "UPDATED_NEW":
            answer[name] = item[name]
    return item, dict(item) if return_values == "ALL_NEW" else answer


def projected(item, names, always=()):
    wanted = {as_text(name) for name in names}.union(always)
    return {name: value for name, value in item.items() if name in wanted}
