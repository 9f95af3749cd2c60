"""Measures the server and its limits, one after the other within each round, and prints what share of them it reaches.

A row is an operation with a number of clients. In each round every row is measured at the server, at bdb-limit and,
when no write waits for the disk, at echo-limit, so that whatever else the machine does falls on all of them alike.
Ratios are made within a round; the table shows their medians, and the medians of the rates. Timing decides nothing
here: the status is 0 whatever the ratios are.
"""

import argparse
import collections
import contextlib
import json
import os
import sys
import time

import postgres
import report
from processes import Workspace, note
from quorva import Failure
from rows import BOUND, IDLE_CONNECTIONS, LOCK_MIXES, LOCK_WAIT, PAUSE, ROWS, label, ratio_of

BUSY_LOAD = 0.5  # processes that wait or run


class Bench:
    """The processes and directories of a run, and what was measured."""

    def __init__(self, workspace, with_postgres, options):
        self.workspace = workspace
        self.durable = workspace.start_server()
        self.relaxed = workspace.start_server("-n")
        self.echo = workspace.start_echo()
        workspace.make_directory("durable")
        workspace.make_directory("plainlog", "log_set_config db_log_dsync off\n")
        workspace.make_directory("relaxed")
        self.direct = workspace.make_directory("direct")
        workspace.load(self.durable, "durable|items")
        workspace.load(self.durable, "plainlog|items")
        workspace.load(self.relaxed, "relaxed|items")
        workspace.load_direct(self.direct)
        self.postgres = None
        if with_postgres:
            self.postgres = postgres.Postgres(workspace.directory, options.items, options.item_size)
        self.rounds = collections.defaultdict(list)  # row: one dictionary of results for each round

    def close(self):
        if self.postgres is not None:
            self.postgres.close()

    def measure(self, row):
        run = self.workspace
        server, table = (self.durable, "durable|items") if row.sync else (self.relaxed, "relaxed|items")
        direct_options = [] if row.sync else ["-n"]
        result = {"server": run.measure(server, table, row.operation, row.clients),
                  "bdb-limit": run.measure_direct(self.direct, row.operation, row.clients, *direct_options)}
        if row.against == BOUND:
            reply_bytes = result["server"]["replyBytes"]
            result["echo-limit"] = run.measure_echo(self.echo, row.operation, row.clients, reply_bytes)
        if row.sync:
            result["paused"] = run.measure_direct(self.direct, row.operation, row.clients, "--pause", str(PAUSE))
            result["plainlog"] = run.measure(self.durable, "plainlog|items", row.operation, row.clients)
        if self.postgres is not None and row.postgres is not None:
            result["postgres"] = {"rate": self.postgres.measure(row.postgres, row.clients, run.seconds)}
        self.rounds[row].append(result)
        return result


def measure_memory(workspace):
    """The resident memory, in KiB, of a server that has just started, has answered, and holds idle connections."""
    server = workspace.start_server()
    started = server.resident_kib()
    workspace.make_directory("memory")
    workspace.with_workload(200, 1024).load(server, "memory|items")
    answered = server.resident_kib()
    with workspace.idle_connections(server, "memory|items", IDLE_CONNECTIONS):
        connected = server.resident_kib()
    return {"started": started, "answered": answered, "connected": connected}


def measure_lock_waits(workspace):
    """How many requests there were, and how many of them waited too long for a lock: Berkeley DB is told to give up by
    then, and to say so with a code of its own, which the server passes on."""
    server = workspace.start_server()
    workspace.make_directory("locks", f"set_lock_timeout {LOCK_WAIT * 1000}\nset_flags db_time_notgranted on\n")
    workspace.load(server, "locks|items")
    results = [workspace.measure(server, "locks|items", operation, clients) for operation, clients in LOCK_MIXES]
    return {"requests": sum(result["ops"] for result in results),
            "late": sum(result["errors"] for result in results)}


def write_results(path, options, measured, memory, lock_waits):
    rows = [{"operation": row.operation, "clients": row.clients, "durable": row.sync, "against": row.against,
             "target": row.target, "ratios": [ratio_of(row, result) for result in rounds], "rounds": rounds}
            for row, rounds in measured.items()]
    settings = {name: value for name, value in vars(options).items() if name != "output"}
    with open(path, "w", encoding="ascii") as file:
        json.dump({"settings": settings, "processors": os.cpu_count(), "rows": rows, "memory": memory,
                   "lockWaits": lock_waits}, file, indent=1)
        file.write("\n")


def parse_arguments():
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    parser = argparse.ArgumentParser(prog="script/bench", description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--seconds", type=float, default=1.5, help="length of one measure (%(default)s)")
    parser.add_argument("--items", type=int, default=10000, help="items of each table (%(default)s)")
    parser.add_argument("--item-size", type=int, default=1024, help="bytes of an item (%(default)s)")
    parser.add_argument("--only", default="", help="comma-separated operations; the others are left out")
    parser.add_argument("--quick", action="store_true", help="one round of short measures, to see that it works")
    parser.add_argument("--postgres", action="store_true", help="compare with PostgreSQL, when it is installed")
    parser.add_argument("--output", help="write all results to this file as JSON")
    parser.add_argument("--binaries", default=os.path.join(root, "build", "bin"), help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.quick:
        options.rounds, options.seconds, options.items = 1, 0.3, 2000
    return options


def main():
    options = parse_arguments()
    rows = [row for row in ROWS if not options.only or row.operation in options.only.split(",")]
    with_postgres = options.postgres and postgres.binaries() is not None
    if options.postgres and not with_postgres:
        note("PostgreSQL is not installed (package postgresql): measuring without it")
    began, load = time.monotonic(), os.getloadavg()[0]
    if load > BUSY_LOAD:
        note("the machine is busy with other things: whatever waits for its turn looks slower than it is")
    with Workspace(options.binaries, options.items, options.item_size, options.seconds) as workspace:
        memory = measure_memory(workspace)
        note("loading")
        with contextlib.closing(Bench(workspace, with_postgres, options)) as bench:
            for turn in range(options.rounds):
                for row in rows:
                    result = bench.measure(row)
                    rates = ", ".join(f"{program} {each['rate']:,.0f}/s" for program, each in result.items())
                    note(f"round {turn + 1} of {options.rounds}: {label(row)}, {row.clients} clients: {rates}")
        note("lock waits")
        lock_waits = measure_lock_waits(workspace)
    measured = dict(bench.rounds)
    print(f"Medians of {options.rounds} rounds of {options.seconds} s, {os.cpu_count()} processors, {options.items} "
          f"items of {options.item_size} bytes, {time.monotonic() - began:.0f} s in all; load average before: "
          f"{load:.1f}.\n")
    report.print_all(measured, memory, lock_waits, with_postgres)
    if options.output:
        write_results(options.output, options, measured, memory, lock_waits)
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Failure as failure:
        sys.exit(f"script/bench: {failure}")
