"""The parameters that expressions have replaced, as the API's documentation describes them."""

from expressions_values import ORDERED, SETS, Refused, begins_with, between, compare, contains, decode

COMPARATORS = {"EQ": "=", "NE": "<>", "LT": "<", "LE": "<=", "GT": ">", "GE": ">="}
COUNTS = {"NULL": 0, "NOT_NULL": 0, "BETWEEN": 2}
CONTAINED = ORDERED + ("BOOL", "NULL")
TYPES = {"LT": ORDERED, "LE": ORDERED, "GT": ORDERED, "GE": ORDERED, "BETWEEN": ORDERED, "IN": ORDERED,
         "CONTAINS": CONTAINED, "NOT_CONTAINS": CONTAINED, "BEGINS_WITH": ("S", "B")}


def operator_holds(name, value, arguments):
    if name in COMPARATORS:
        return compare(COMPARATORS[name], value, arguments[0])
    if name == "NULL":
        return value is None
    if name == "NOT_NULL":
        return value is not None
    if name == "CONTAINS":
        return contains(value, arguments[0])
    if name == "NOT_CONTAINS":
        return not contains(value, arguments[0])
    if name == "BEGINS_WITH":
        return begins_with(value, arguments[0])
    if name == "IN":
        return any(compare("=", value, argument) for argument in arguments)
    return between(value, *arguments)


def check_operator(name, arguments):
    if len(arguments) != COUNTS.get(name, 1) and not (name == "IN" and arguments):
        raise Refused("count")
    if name in TYPES and any(argument[0] not in TYPES[name] for argument in arguments):
        raise Refused("type")
    if name in TYPES and len({argument[0] for argument in arguments}) > 1:
        raise Refused("types")
    if name == "BETWEEN" and not compare("<=", *arguments):
        raise Refused("bounds")


def one_holds(condition, value):
    """A member of Expected, ScanFilter or QueryFilter."""
    arguments = [decode(argument) for argument in condition.get("AttributeValueList", [])]
    if "Value" in condition:
        arguments.append(decode(condition["Value"]))
    if "ComparisonOperator" in condition:
        if "Exists" in condition or ("Value" in condition and "AttributeValueList" in condition):
            raise Refused("together")
        check_operator(condition["ComparisonOperator"], arguments)
        return operator_holds(condition["ComparisonOperator"], value, arguments)
    exists = condition.get("Exists", True)
    if "AttributeValueList" in condition or exists != bool(arguments):
        raise Refused("exists")
    return operator_holds("EQ" if exists else "NULL", value, arguments)


def conditions_hold(conditions, operator, item):
    """None if there is no condition."""
    if operator is not None and (conditions is None or len(conditions) < 2):
        raise Refused("operator")
    if not conditions:
        return None
    results = [one_holds(condition, item.get(name)) for name, condition in conditions.items()]
    return any(results) if operator == "OR" else all(results)


def update_actions(updates):
    actions = []
    for name, update in updates.items():
        action, value = update.get("Action", "PUT"), update.get("Value")
        if value is None:
            if action != "DELETE":
                raise Refused("no value")
            actions.append(("REMOVE", [name], None))
            continue
        value = decode(value)
        if action == "PUT":
            actions.append(("SET", [name], ("value", value)))
            continue
        if value[0] not in SETS and not (action == "ADD" and value[0] in ("N", "L")):
            raise Refused("type")
        actions.append((action, [name], value))
    return actions
