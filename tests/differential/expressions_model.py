"""The results of expressions for an item, according to the API's documentation."""

from expressions_checks import bare
from expressions_values import (LIMITED, begins_with, between, compare, contains, levels, number_faults, size)

MISSING = "The provided expression refers to an attribute that does not exist in the item"
WRONG_TYPE = "An operand in the update expression has an incorrect data type"
INVALID_PATH = "The document path provided in the update expression is invalid for update"
TOO_DEEP = ("One or more parameter values were invalid: Nesting Levels have exceeded supported limits: "
            "Attributes in the item have nested levels beyond supported limit")


class Failed(Exception):
    """The update is refused; contains every acceptable message."""

    def __init__(self, messages):
        super().__init__(messages)
        self.messages = messages


def look_up(item, path):
    value = ("M", item)
    for element in path:
        if isinstance(element, int):
            if value[0] != "L" or element >= len(value[1]):
                return None
        elif value[0] != "M" or element not in value[1]:
            return None
        value = value[1][element]
    return value


def operand(node, item):
    node = bare(node)
    if node[0] == "value":
        return node[1]
    if node[0] == "path":
        return look_up(item, node[1])
    return size(operand(node[2][0], item))


def holds(node, item):
    node = bare(node)
    if node[0] == "and":
        return holds(node[1], item) and holds(node[2], item)
    if node[0] == "or":
        return holds(node[1], item) or holds(node[2], item)
    if node[0] == "not":
        return not holds(node[1], item)
    if node[0] == "in":
        return any(compare("=", operand(node[1], item), operand(other, item)) for other in node[2])
    if node[0] == "between":
        return between(*(operand(part, item) for part in node[1:]))
    if node[0] != "call":
        return compare(node[0], operand(node[1], item), operand(node[2], item))
    arguments = [operand(argument, item) for argument in node[2]]
    if node[1] == "attribute_exists":
        return arguments[0] is not None
    if node[1] == "attribute_not_exists":
        return arguments[0] is None
    if node[1] == "attribute_type":
        return arguments[0] is not None and arguments[0][0] == arguments[1][1]
    return {"begins_with": begins_with, "contains": contains}[node[1]](*arguments)


def computed(node, item):
    """The value of a sum in SET."""
    node = bare(node)
    if node[0] == "value":
        return node[1]
    if node[0] == "path":
        value = look_up(item, node[1])
        if value is None:
            raise Failed({MISSING})
        return value
    if node[:2] == ("call", "if_not_exists"):
        present = look_up(item, node[2][0][1])
        return computed(node[2][1], item) if present is None else present
    first, second = (computed(part, item) for part in (node[2] if node[0] == "call" else node[1:]))
    if node[0] == "call":
        if (first[0], second[0]) != ("L", "L"):
            raise Failed({WRONG_TYPE})
        return "L", first[1] + second[1]
    return add(first, second, -1 if node[0] == "-" else 1, WRONG_TYPE)


def add(first, second, sign, wrong_type):
    if (first[0], second[0]) != ("N", "N"):
        raise Failed({wrong_type})
    number = LIMITED.add(first[1], LIMITED.multiply(second[1], sign))
    faults = number_faults(number)
    if faults:
        raise Failed(faults)
    return "N", number


def changed(section, present, argument, wrong_type):
    """The result of ADD or DELETE for a value; None if nothing is left."""
    if present is None:
        return argument if section == "ADD" else None
    if section == "ADD" and argument[0] == "N":
        return add(present, argument, 1, wrong_type)
    if present[0] != argument[0]:
        raise Failed({wrong_type})
    if section == "ADD":
        return present[0], present[1] + argument[1] if argument[0] == "L" else present[1] | argument[1]
    left = present[1] - argument[1]
    return (present[0], left) if left else None


def rebuilt(value, results):
    """A value with the results at the paths in it, each a pair of a path and a value, None to remove it."""
    groups = {}
    for path, result in results:
        if not path:
            return result
        groups.setdefault(path[0], []).append((path[1:], result))
    if value[0] == "M":
        members = dict(value[1])
        for name, below in groups.items():
            member = rebuilt(members.get(name), below)
            members.pop(name, None)
            if member is not None:
                members[name] = member
        return "M", members
    length = len(value[1])
    elements = [rebuilt(element, groups[i]) if i in groups else element for i, element in enumerate(value[1])]
    appended = [rebuilt(None, groups[i]) for i in sorted(groups) if i >= length]
    return "L", tuple(element for element in elements + appended if element is not None)


def updated(actions, item, wrong_type=WRONG_TYPE):
    """The item after an update; raises Failed with all errors."""
    messages, results = set(), []
    for section, path, argument in actions:
        parent = look_up(item, path[:-1])
        if parent is None or parent[0] != ("L" if isinstance(path[-1], int) else "M"):
            messages.add(INVALID_PATH)
        try:
            if section == "SET":
                result = computed(argument, item)
            elif section == "REMOVE":
                result = None
            else:
                result = changed(section, look_up(item, path), argument, wrong_type)
            results.append((path, result))
        except Failed as failed:
            messages |= failed.messages
    if messages:
        raise Failed(messages)
    after = rebuilt(("M", item), results)[1]
    if any(levels(value) > 32 for value in after.values()):
        raise Failed({TOO_DEEP})
    return after


def projected(paths, item):
    """The parts of an item at the paths."""
    value = part(("M", item), paths)
    return {} if value is None else value[1]


def part(value, paths):
    if [] in paths:
        return value
    names = sorted({path[0] for path in paths})
    below = {name: [path[1:] for path in paths if path[0] == name] for name in names}
    kept = []
    for name in names:
        present = look_up_one(value, name)
        piece = None if present is None else part(present, below[name])
        if piece is not None:
            kept.append((name, piece))
    if not kept:
        return None
    return ("M", dict(kept)) if isinstance(names[0], str) else ("L", tuple(piece for _, piece in kept))


def look_up_one(value, element):
    kind = "L" if isinstance(element, int) else "M"
    if value[0] != kind or (element >= len(value[1]) if kind == "L" else element not in value[1]):
        return None
    return value[1][element]
