"""Errors in an expression that do not depend on an item, although its text could be parsed."""

from expressions_values import ORDERED, Refused, compare

COMPARATORS = ("=", "<>", "<", "<=", ">", ">=")
ARGUMENTS = {"attribute_exists": 1, "attribute_not_exists": 1, "attribute_type": 2, "begins_with": 2, "contains": 2,
             "size": 1, "if_not_exists": 2, "list_append": 2}


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
