#!/usr/bin/env python3
"""Evaluates random expressions here and in the program under test: equal results, and the same expressions refused.

    expressions_test.py PATH_OF_THE_TOOL

QUORVA_EXPRESSIONS_CASES and QUORVA_EXPRESSIONS_SEED set the number of cases and the seed; equal numbers produce equal
cases. Exits with status 0 if all results were equal, otherwise shows the first that differs.
"""

import collections
import json
import os
import random
import subprocess
import sys

from expressions_generator import Generator
from expressions_items import ATTRIBUTES
from expressions_language import Names, parse_condition, parse_projection, parse_update
from expressions_model import Failed, holds, projected, updated
from expressions_older import conditions_hold, update_actions
from expressions_values import Refused, decode_item

DEFAULT_CASES = 10000
DEFAULT_SEED = 20120810
AT_A_TIME = 2000

KINDS = ["Put", "Put", "Update", "Update", "Update", "Scan", "Get", "Query", "OlderPut", "OlderUpdate"]
OLDER_WRONG_TYPE = "Type mismatch for attribute to update"


def make_case(source):
    """A request of one kind with an item."""
    generator = Generator(source)
    kind = source.choice(KINDS)
    request = {}
    if kind == "Put":
        request["ConditionExpression"] = generator.condition()
    elif kind == "Update":
        request["UpdateExpression"] = generator.update()
        if source.randrange(4) == 0:
            request["ConditionExpression"] = generator.condition()
    elif kind == "Scan":
        request["FilterExpression"] = generator.condition()
        request["ProjectionExpression"] = generator.projection()
    elif kind == "Get":
        request["ProjectionExpression"] = generator.projection()
    elif kind == "Query":
        request["KeyConditionExpression"] = generator.key_condition()
    else:
        names = source.sample(ATTRIBUTES, 1 + source.randrange(3))
        if kind == "OlderUpdate":
            request["AttributeUpdates"] = {name: generator.older_update() for name in names}
        else:
            request["Expected"] = {name: generator.older_condition() for name in names}
            if source.randrange(3) == 0:
                request["ConditionalOperator"] = source.choice(["AND", "OR"])
        return {"kind": kind[len("Older"):], "request": request, "item": generator.item}
    if kind != "Query" and source.randrange(6) == 0:
        member = source.choice(sorted(request))
        request[member] = generator.damaged(request[member])
    generator.drop_unused("\n".join(request.values()))
    if generator.names:
        request["ExpressionAttributeNames"] = generator.names
    if generator.values:
        request["ExpressionAttributeValues"] = generator.values
    return {"kind": kind, "request": request, "item": generator.item}


def outcome_of_update(actions, item, *wrong_type):
    try:
        paths = [path for _, path, _ in actions]
        return {"updated": updated(actions, item, *wrong_type), "old": projected(paths, item)}
    except Failed as failed:
        return {"updateError": failed.messages}


def expected_outcome(case):
    """The expected output of the tool, decoded; of messages, every acceptable one."""
    request, item = case["request"], decode_item(case["item"])
    if "AttributeUpdates" in request:
        return outcome_of_update(update_actions(request["AttributeUpdates"]), item, OLDER_WRONG_TYPE)
    if "Expected" in request:
        return {"condition": conditions_hold(request["Expected"], request.get("ConditionalOperator"), item)}
    values = decode_item(request.get("ExpressionAttributeValues", {}))
    names = Names(request.get("ExpressionAttributeNames", {}), values)
    outcome = {}
    for member, result in (("ConditionExpression", "condition"), ("FilterExpression", "filter"),
                           ("KeyConditionExpression", "keys")):
        if member in request:
            outcome[result] = holds(parse_condition(request[member], names), item)
    if "ProjectionExpression" in request:
        outcome["projection"] = projected(parse_projection(request["ProjectionExpression"], names), item)
    if "UpdateExpression" in request:
        outcome.update(outcome_of_update(parse_update(request["UpdateExpression"], names), item))
    names.check_used()
    return outcome


def is_equal(expected, received):
    if expected is None:
        return "error" in received
    if set(expected) != set(received):
        return False
    for member, value in received.items():
        if member == "updateError":
            if value not in expected[member]:
                return False
        elif (decode_item(value) if isinstance(value, dict) else value) != expected[member]:
            return False
    return True


def evaluate(case):
    try:
        return expected_outcome(case)
    except Refused:
        return None


def compare(tool, cases, counts):
    lines = "".join(json.dumps(case) + "\n" for case in cases)
    output = subprocess.run([tool], input=lines.encode(), stdout=subprocess.PIPE, check=True).stdout.splitlines()
    if len(output) != len(cases):
        sys.exit("%d replies to %d cases" % (len(output), len(cases)))
    for case, line in zip(cases, output):
        expected, received = evaluate(case), json.loads(line)
        counts[", ".join(sorted(received)) if expected is None or "updateError" in received else "right"] += 1
        if not is_equal(expected, received):
            sys.exit("differs: %s\nexpected: %s\nreceived: %s" % (json.dumps(case), expected, line.decode()))


def main():
    count = int(os.environ.get("QUORVA_EXPRESSIONS_CASES", DEFAULT_CASES))
    seed = int(os.environ.get("QUORVA_EXPRESSIONS_SEED", DEFAULT_SEED))
    source, counts = random.Random(seed), collections.Counter()
    for done in range(0, count, AT_A_TIME):
        compare(sys.argv[1], [make_case(source) for _ in range(min(AT_A_TIME, count - done))], counts)
    print("%d cases with seed %d, 0 differences: %s" % (count, seed, dict(counts)))
    # A generator whose expressions are all invalid would compare nothing.
    if counts["right"] < count * 2 // 5:
        sys.exit("too few cases were right")


if __name__ == "__main__":
    main()
