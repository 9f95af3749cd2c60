"""Measures what an operation costs as the server manages more, and draws it.

Each panel of the picture lets one thing grow: busy clients, idle connections, items of the table (the operations keep
to the same thousand of them), open environments, open tables. All points of all panels are measured in turn, round
after round, and the picture shows the medians. The cost of an operation is the time in which the server completes one,
with eight clients at once: the inverse of the rate.
"""

import argparse
import collections
import contextlib
import json
import os
import statistics
import sys

import plot
from processes import Workspace, note
from quorva import Failure

OPERATIONS = ["get", "put", "query", "scan"]
CLIENTS = 8
MEASURED_ITEMS = 1000  # of every table, the first ones
ITEM_BYTES = 1024
SMALL_ITEM_BYTES = 100  # of the tables whose size grows

Point = collections.namedtuple("Point", "panel x workspace server table clients options")

PANELS = {
    "clients": "busy clients",
    "idle": "idle connections",
    "items": "items in the table (100 bytes each)",
    "environments": "open environments",
    "tables": "open tables in the environment",
}


def exchange(connection, operation, body):
    """One request and its reply, which must be a success."""
    reply = connection.request(operation, body)
    if reply["__rc"] != 200:
        raise Failure(f"{operation} was answered {reply}")


def open_tables(server, names):
    """Creates tables with one item each; the server keeps them open."""
    with server.connect() as connection:
        for name in names:
            schema = {element: {"AttributeName": attribute, "AttributeType": "S"}
                      for element, attribute in (("HashKeyElement", "customer"), ("RangeKeyElement", "entry"))}
            exchange(connection, "CreateTable", {"TableName": name, "KeySchema": schema})
            exchange(connection, "PutItem", {"TableName": name, "Item": {"customer": {"S": "h"}, "entry": {"S": "r"}}})


def powers_of_ten(low, high):
    return [10**power for power in range(low, high + 1)]


def prepare(workspace, largest_table, panels):
    """All points, with their servers running and their tables loaded."""
    points = []

    def measured_server(directory):
        server = workspace.start_server("-n")
        workspace.make_directory(directory)
        workspace.load(server, directory + "|items")
        return server

    if "clients" in panels or "idle" in panels:
        server = measured_server("connections")
        points += [Point("clients", x, workspace, server, "connections|items", x, [])
                   for x in (1, 3, 10, 30, 100, 300, 1000)]
        points += [Point("idle", x, workspace, server, "connections|items", CLIENTS, ["--idle", str(x)])
                   for x in powers_of_ten(0, 3)]
    if "items" in panels:
        server = workspace.start_server("-n")
        small = workspace.with_workload(MEASURED_ITEMS, SMALL_ITEM_BYTES)
        for count in powers_of_ten(3, 7):
            if count > largest_table:
                break
            note(f"loading {count} items")
            workspace.make_directory(f"items{count}")
            workspace.with_workload(count, SMALL_ITEM_BYTES).load(server, f"items{count}|items")
            points.append(Point("items", count, small, server, f"items{count}|items", CLIENTS, []))
    if "environments" in panels:
        for count in powers_of_ten(0, 2):
            note(f"opening {count} environments")
            server = measured_server(f"first-of-{count}")
            others = [f"other-{number}-of-{count}" for number in range(1, count)]
            for name in others:
                workspace.make_directory(name)
            open_tables(server, [name + "|items" for name in others])
            points.append(Point("environments", count, workspace, server, f"first-of-{count}|items", CLIENTS, []))
    if "tables" in panels:
        for count in powers_of_ten(0, 2):
            note(f"opening {count} tables")
            server = measured_server(f"tables{count}")
            open_tables(server, [f"tables{count}|other{number}" for number in range(1, count)])
            points.append(Point("tables", count, workspace, server, f"tables{count}|items", CLIENTS, []))
    return [point for point in points if point.panel in panels]


def measure(points, rounds):
    """Panel: operation: a list of (x, microseconds for an operation)."""
    costs = collections.defaultdict(list)
    for turn in range(rounds):
        note(f"round {turn + 1} of {rounds}")
        for index, point in enumerate(points):
            for operation in OPERATIONS:
                result = point.workspace.measure(point.server, point.table, operation, point.clients,
                                                 *point.options)
                if result["errors"]:
                    raise Failure(f"{operation} at {point.x} {point.panel}: {result['errors']} errors")
                costs[index, operation].append(1e6 / max(1, result["rate"]))
    curves = collections.defaultdict(lambda: collections.defaultdict(list))
    for index, point in enumerate(points):
        for operation in OPERATIONS:
            curves[point.panel][operation].append((point.x, round(statistics.median(costs[index, operation]), 1)))
    return curves


def print_curves(curves):
    for panel, lines in curves.items():
        print(f"{PANELS[panel]}: microseconds for each operation")
        for operation, line in lines.items():
            print(f"    {operation:6} " + "  ".join(f"{x}: {y:.0f}" for x, y in line))


def main():
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    parser = argparse.ArgumentParser(prog="script/bench --curves", description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--seconds", type=float, default=0.7, help="length of one measurement in seconds (%(default)s)")
    parser.add_argument("--largest-table", type=int, default=10**6,
                        help="items of the largest table, 10000000 at most (%(default)s)")
    parser.add_argument("--panels", default=",".join(PANELS), help="comma-separated; all by default")
    parser.add_argument("--output", help="write the curves to this file as JSON; bench/plot.py draws such a file")
    parser.add_argument("--picture", default=os.path.join(root, "docs", "images", "costs.svg"))
    parser.add_argument("--binaries", default=os.path.join(root, "build", "bin"), help=argparse.SUPPRESS)
    options = parser.parse_args()

    # Every measurement uses the same thousand items; a table may have more.
    with contextlib.ExitStack() as stack:
        workspace = stack.enter_context(Workspace(options.binaries, MEASURED_ITEMS, ITEM_BYTES, options.seconds))
        points = prepare(workspace, options.largest_table, options.panels.split(","))
        curves = measure(points, options.rounds)
    print_curves(curves)
    if options.output:
        with open(options.output, "w", encoding="ascii") as file:
            json.dump(curves, file, indent=1)
            file.write("\n")
    with open(options.picture, "w", encoding="ascii") as file:
        file.write(plot.draw(curves, PANELS))
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Failure as failure:
        sys.exit(f"script/bench: {failure}")
