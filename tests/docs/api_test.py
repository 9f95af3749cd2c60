#!/usr/bin/env python3
"""Compares the tables of docs/api.md with the program: the operations that are served or refused, and the parameters of
those that have a table of parameters.

    api_test.py SOURCE DUMP      DUMP prints the shapes of requests (tests/api/shapesdump.cpp)
"""

import json
import os
import re
import subprocess
import sys

OPERATION = re.compile(r'^    (?:Operation)?\{"(\w+)", ', re.MULTILINE)
ROW = re.compile(r"^\| (.*?) \| (.*?) ?\|$")
PARAMETER = re.compile(r"`(\w+)`")


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def tables_of(text):
    """The tables: for each the first cell of its head, and its rows of two cells."""
    tables = []
    is_inside = False
    for line in text.splitlines():
        row = ROW.match(line)
        if row and not is_inside:
            tables.append((row[1], []))
        elif row:
            tables[-1][1].append((row[1], row[2]))
        is_inside = line.startswith("|")
    return tables


def operation_problems(rows, operations):
    listed = [(name, text) for names, text in rows for name in names.split(", ")]
    for name in sorted(operations.keys() - dict(listed).keys()):
        yield f"{name} is not listed"
    for name, text in listed:
        if [other for other, _ in listed].count(name) > 1:
            yield f"{name} is listed more than once"
        if name not in operations:
            yield f"there is no operation {name}"
        elif text.startswith("refused") != isinstance(operations[name], str):
            yield f"{name} is not as it is listed: {text}"


def parameter_problems(head, rows, dump):
    listed = {parameter for names, _ in rows for parameter in PARAMETER.findall(names)}
    for name in head.removeprefix("parameter of ").split(", "):
        members = dump["shapes"][dump["operations"][name]]["members"]
        for member in sorted(members.keys() - listed):
            yield f"the parameter {member} of {name} is not listed"


def main():
    root, program = sys.argv[1:]
    names = OPERATION.findall("".join(read(os.path.join(root, "src", "api", name))
                                      for name in ("operation.cpp", "refusals.cpp")))
    dump = json.loads(subprocess.run([program, *names], check=True, capture_output=True).stdout)
    problems = []
    heads = []
    for head, rows in tables_of(read(os.path.join(root, "docs", "api.md"))):
        heads.append(head)
        if head == "operation":
            problems += operation_problems(rows, dump["operations"])
        elif head.startswith("parameter of "):
            problems += parameter_problems(head, rows, dump)
    if "operation" not in heads or sum(head.startswith("parameter of ") for head in heads) < 4:
        problems.append(f"tables are missing: {heads}")
    print("\n".join(problems + [f"{len(names)} operations, {len(problems)} problems"]))
    return 1 if problems or not names else 0


if __name__ == "__main__":
    sys.exit(main())
